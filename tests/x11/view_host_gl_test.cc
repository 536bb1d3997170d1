// Hosts that draw with GL themselves, in the very windows that they give to views: what is current on a thread of
// theirs is current after each call of the library.
#include "tests/x11/view_host.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::XWindow;

// A host with a surface of its own on a window, current on the thread that made it.
class HostGl {
 public:
  virtual ~HostGl() = default;
  // Whether it was made.
  virtual bool ok() const = 0;
  // Whether everything that was current at first still is.
  virtual bool IsCurrent() const = 0;
  // Fills the window.
  virtual void Draw(float r, float g, float b) = 0;

 protected:
  using ClearColor = void (*)(float, float, float, float);
  using Clear = void (*)(unsigned int);
  static void FillWith(void (*clear_color)(), void (*clear)(), float r, float g, float b) {
    reinterpret_cast<ClearColor>(clear_color)(r, g, b, 1);
    reinterpret_cast<Clear>(clear)(GL_COLOR_BUFFER_BIT);
  }
};

class EglHost : public HostGl {
 public:
  EglHost(const test::XConnection& x11, const XWindow& window, EGLenum api) : api_(api) {
    const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    display_ = get(EGL_PLATFORM_XCB_EXT, x11.get(), nullptr);
    if (!eglInitialize(display_, nullptr, nullptr) || !eglBindAPI(api)) return;
    const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE,
                             api == EGL_OPENGL_API ? EGL_OPENGL_BIT : EGL_OPENGL_ES2_BIT, EGL_NONE};
    EGLConfig configs[256];
    EGLint count = 0;
    eglChooseConfig(display_, wanted, configs, 256, &count);
    for (EGLint i = 0; i < count && surface_ == EGL_NO_SURFACE; ++i) {
      EGLint visual = 0;
      eglGetConfigAttrib(display_, configs[i], EGL_NATIVE_VISUAL_ID, &visual);
      if (static_cast<xcb_visualid_t>(visual) != x11.screen()->root_visual) continue;
      const EGLint es[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
      context_ = eglCreateContext(display_, configs[i], EGL_NO_CONTEXT, api == EGL_OPENGL_API ? nullptr : es);
      surface_ = eglCreateWindowSurface(display_, configs[i], window.id(), nullptr);
    }
    made_ = eglMakeCurrent(display_, surface_, surface_, context_);
  }
  ~EglHost() override {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroySurface(display_, surface_);
    eglDestroyContext(display_, context_);
    eglTerminate(display_);  // The host's own: it is on the host's connection.
    eglReleaseThread();
  }
  bool ok() const override { return made_; }
  bool IsCurrent() const override {
    return eglQueryAPI() == api_ && eglGetCurrentDisplay() == display_ && eglGetCurrentContext() == context_ &&
           eglGetCurrentSurface(EGL_DRAW) == surface_ && eglGetCurrentSurface(EGL_READ) == surface_;
  }
  void Draw(float r, float g, float b) override {
    FillWith(eglGetProcAddress("glClearColor"), eglGetProcAddress("glClear"), r, g, b);
    eglSwapBuffers(display_, surface_);
  }

 private:
  const EGLenum api_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
  EGLSurface surface_ = EGL_NO_SURFACE;
  bool made_ = false;
};

class EglGlHost : public EglHost {
 public:
  EglGlHost(const test::XConnection& x11, const XWindow& window) : EglHost(x11, window, EGL_OPENGL_API) {}
};

class EglEsHost : public EglHost {
 public:
  EglEsHost(const test::XConnection& x11, const XWindow& window) : EglHost(x11, window, EGL_OPENGL_ES_API) {}
};

// A host that draws through GLX and Xlib, as programs of the old kind do.
class GlxHost : public HostGl {
 public:
  GlxHost(const test::XConnection& x11, const XWindow& window) : display_(XOpenDisplay(nullptr)), window_(window.id()) {
    if (!display_) return;
    int count = 0;
    const int wanted[] = {GLX_DOUBLEBUFFER, True, GLX_X_VISUAL_TYPE, GLX_TRUE_COLOR, None};
    GLXFBConfig* const configs = glXChooseFBConfig(display_, DefaultScreen(display_), wanted, &count);
    for (int i = 0; i < count && !context_; ++i) {
      int visual = 0;
      glXGetFBConfigAttrib(display_, configs[i], GLX_VISUAL_ID, &visual);
      if (static_cast<xcb_visualid_t>(visual) != x11.screen()->root_visual) continue;
      context_ = glXCreateNewContext(display_, configs[i], GLX_RGBA_TYPE, nullptr, True);
    }
    XFree(configs);
    made_ = context_ && glXMakeCurrent(display_, window_, context_);
  }
  ~GlxHost() override {
    if (!display_) return;
    glXMakeCurrent(display_, None, nullptr);
    glXDestroyContext(display_, context_);
    XCloseDisplay(display_);
  }
  bool ok() const override { return made_; }
  bool IsCurrent() const override {
    return glXGetCurrentContext() == context_ && glXGetCurrentDisplay() == display_ &&
           glXGetCurrentDrawable() == window_ && glXGetCurrentReadDrawable() == window_;
  }
  void Draw(float r, float g, float b) override {
    const auto get = [](const char* name) { return glXGetProcAddress(reinterpret_cast<const GLubyte*>(name)); };
    FillWith(get("glClearColor"), get("glClear"), r, g, b);
    glXSwapBuffers(display_, window_);
  }

 private:
  Display* const display_;
  const Window window_;
  GLXContext context_ = nullptr;
  bool made_ = false;
};

// A host's surface shows in the window itself before and after, and the view over it meanwhile.
template <class Host>
class ViewHostGlTest : public ::testing::Test {
 protected:
  void SetUp() override { host::log::Clear(); }
  void TearDown() override { EXPECT_EQ(host::log::Complaints(), ""); }

  const test::XConnection x11;
};

using Hosts = ::testing::Types<EglGlHost, EglEsHost, GlxHost>;
class HostName {
 public:
  template <class Host>
  static std::string GetName(int) {
    if constexpr (std::is_same_v<Host, EglGlHost>) return "Egl";
    if constexpr (std::is_same_v<Host, EglEsHost>) return "EglForGles";
    if constexpr (std::is_same_v<Host, GlxHost>) return "Glx";
  }
};
TYPED_TEST_SUITE(ViewHostGlTest, Hosts, HostName);

TYPED_TEST(ViewHostGlTest, IsLeftCurrentByEveryCall) {
  XWindow window(this->x11, 120, 90);
  TypeParam host_gl(this->x11, window);
  ASSERT_TRUE(host_gl.ok());
  ASSERT_TRUE(host_gl.IsCurrent());
  host_gl.Draw(1, 0, 0);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0xff0000), {}));

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_TRUE(host_gl.IsCurrent()) << "after CreateDefaultDevice";
  GsDevice* const device = GsDevice::DefaultDevice();
  EXPECT_TRUE(device->AddShader("tint", glsl_src[kGsGlslRgba + 1], host::kTintSource));
  EXPECT_TRUE(host_gl.IsCurrent()) << "after AddShader";
  {
    auto scene = std::make_unique<PatternScene>(64, 48, device);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after making a scene, an item and a texture";
    const std::unique_ptr<GsTexture> texture = host::MakeColor(1, 2, 3, 255, device);
    const unsigned char pixel[] = {4, 5, 6, 255};
    texture->Update(pixel, 4, GsTexture::kTextureRGBA, 1, 1);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsTexture::Update";
    const float values[4] = {};
    GsConstantBuffer constants(values, sizeof(values), device);
    constants.Update(values, sizeof(values));
    EXPECT_TRUE(host_gl.IsCurrent()) << "after making and updating a constant buffer";
    auto receiver = std::make_unique<host::Receiver>(scene->scene(), 64, 48, kGsFormatI420, device);
    EXPECT_TRUE(receiver->Start());
    EXPECT_TRUE(host_gl.IsCurrent()) << "after starting an output";

    GsViewImpl view({window.handle()}, 120, 90, nullptr);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after making a view";
    view.SetBackgroundColor(host::kBackdrop.r, host::kBackdrop.g, host::kBackdrop.b, 1);
    view.SetScene(scene->scene());
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::SetScene";
    view.Attch();
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Attch";
    EXPECT_TRUE(window.ComesToShow(ViewOf(scene->picture(), 120, 90).picture(), host::kViewTolerance));
    host_gl.Draw(0, 1, 0);  // Its frames go on, beneath the view.
    EXPECT_TRUE(host_gl.IsCurrent());
    {
      test::HostLoop queue;  // This thread is the host's main thread.
      window.Resize(200, 160);
      view.Resize(200, 160);
      EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Resize";
      EXPECT_TRUE(host::PassFrames(device, 3));
      EXPECT_EQ(queue.Run(), 1u);
      EXPECT_TRUE(host_gl.IsCurrent()) << "after the main queue's work";
    }
    EXPECT_TRUE(window.ComesToShow(ViewOf(scene->picture(), 200, 160).picture(), host::kViewTolerance));
    view.Detach();
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Detach";
    view.Attch();
    EXPECT_FALSE(receiver->WaitFor(3).empty());
    receiver->Stop();
    receiver.reset();  // It has kept the scene in use.
    EXPECT_TRUE(host_gl.IsCurrent()) << "after stopping and destroying an output";
    view.SetScene(nullptr);
    scene.reset();
    EXPECT_TRUE(host_gl.IsCurrent()) << "after destroying a scene, an item and a texture";
    view.Detach();
  }
  EXPECT_TRUE(host_gl.IsCurrent()) << "after destroying a view";
  GsDevice::DestroyDefaultDevice();
  EXPECT_TRUE(host_gl.IsCurrent()) << "after DestroyDefaultDevice";
  host_gl.Draw(0, 0, 1);
  host_gl.Draw(0, 0, 1);
  EXPECT_TRUE(window.ComesToShow(Flat(200, 160, 0x0000ff), {}, [&] { host_gl.Draw(0, 0, 1); }));
}

// On a thread that is the host's and the render thread in one.
TYPED_TEST(ViewHostGlTest, IsLeftCurrentByFramesThatTheHostDrives) {
  XWindow window(this->x11, 120, 90);
  TypeParam host_gl(this->x11, window);
  ASSERT_TRUE(host_gl.ok());
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  GsDevice* const device = GsDevice::DefaultDevice();
  ASSERT_TRUE(device->InitThreadContext());
  EXPECT_TRUE(host_gl.IsCurrent()) << "after InitThreadContext";
  {
    const PatternScene scene(64, 48, device);
    host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
    ASSERT_TRUE(receiver.Start());
    const View view(window.handle(), 120, 90, scene.scene());
    for (unsigned int frame = 1; frame <= 3; ++frame) {
      device->TickSource();
      EXPECT_TRUE(host_gl.IsCurrent()) << "after TickSource";
      device->HandleFilter();
      EXPECT_TRUE(host_gl.IsCurrent()) << "after HandleFilter";
      device->OutputFrame(frame, 1);
      EXPECT_TRUE(host_gl.IsCurrent()) << "after OutputFrame";
      device->DrawDisplay();
      EXPECT_TRUE(host_gl.IsCurrent()) << "after DrawDisplay";
      device->DoTask();
      EXPECT_TRUE(host_gl.IsCurrent()) << "after DoTask";
      host_gl.Draw(1, 0, 0);
    }
    EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance));
    const auto deliveries = receiver.WaitFor(3);
    ASSERT_EQ(deliveries.size(), 3u);
    EXPECT_TRUE(test::PicturesMatch(deliveries[2].planes[0], scene.picture(), {}));
    receiver.Stop();
  }
  device->UninitThreadContext();
  EXPECT_TRUE(host_gl.IsCurrent()) << "after UninitThreadContext";
  GsDevice::DestroyDefaultDevice();
  EXPECT_TRUE(host_gl.IsCurrent()) << "after DestroyDefaultDevice";
}

// The surface comes after the view, and goes before it.
TYPED_TEST(ViewHostGlTest, MayComeAndGoUnderAView) {
  XWindow window(this->x11, 120, 90);
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  {
    const PatternScene scene(64, 48, GsDevice::DefaultDevice());
    const View view(window.handle(), 120, 90, scene.scene());
    const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
    EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance));
    {
      TypeParam host_gl(this->x11, window);
      ASSERT_TRUE(host_gl.ok());
      host_gl.Draw(1, 0, 0);
      EXPECT_TRUE(host::PassFrames(GsDevice::DefaultDevice(), 3));
    }
    EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance));
  }
  GsDevice::DestroyDefaultDevice();
}

}  // namespace
