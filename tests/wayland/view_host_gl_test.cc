// Hosts that draw with GL themselves, in the very surfaces that they give to views, as toolkits do: EGL gives both the
// same display, for it is of one connection.
#include "tests/wayland/view_host.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <wayland-egl.h>

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::WaylandWindow;

constexpr int kGlColorBufferBit = 0x4000;

// A host with a surface of its own on a window, current on the thread that made it.
class HostGl {
 public:
  HostGl(const test::WaylandConnection& wayland, const WaylandWindow& window, int width, int height)
      : window_(wl_egl_window_create(window.surface(), width, height)) {
    const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    display_ = get(EGL_PLATFORM_WAYLAND_EXT, wayland.get(), nullptr);
    if (!eglInitialize(display_, nullptr, nullptr) || !eglBindAPI(EGL_OPENGL_ES_API)) return;
    const EGLint wanted[] = {
        EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_ALPHA_SIZE, 0, EGL_NONE};
    const EGLint es[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display_, wanted, &config, 1, &count) || count != 1) return;
    context_ = eglCreateContext(display_, config, EGL_NO_CONTEXT, es);
    surface_ = eglCreateWindowSurface(display_, config, reinterpret_cast<EGLNativeWindowType>(window_), nullptr);
    made_ = eglMakeCurrent(display_, surface_, surface_, context_) && eglSwapInterval(display_, 0);
  }
  // The display stays as it is: the library's devices use it too.
  ~HostGl() {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroySurface(display_, surface_);
    eglDestroyContext(display_, context_);
    wl_egl_window_destroy(window_);
    eglReleaseThread();
  }
  HostGl(const HostGl&) = delete;
  HostGl& operator=(const HostGl&) = delete;

  bool ok() const { return made_; }
  // Whether everything that was current at first still is.
  bool IsCurrent() const {
    return eglQueryAPI() == EGL_OPENGL_ES_API && eglGetCurrentDisplay() == display_ &&
           eglGetCurrentContext() == context_ && eglGetCurrentSurface(EGL_DRAW) == surface_ &&
           eglGetCurrentSurface(EGL_READ) == surface_;
  }
  // Fills the window. Returns whether that worked.
  bool Draw(float r, float g, float b) {
    reinterpret_cast<void (*)(float, float, float, float)>(eglGetProcAddress("glClearColor"))(r, g, b, 1);
    reinterpret_cast<void (*)(unsigned int)>(eglGetProcAddress("glClear"))(kGlColorBufferBit);
    return eglSwapBuffers(display_, surface_);
  }

 private:
  wl_egl_window* const window_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
  EGLSurface surface_ = EGL_NO_SURFACE;
  bool made_ = false;
};

class ViewHostGlTest : public ::testing::Test {
 protected:
  void SetUp() override { host::log::Clear(); }
  void TearDown() override { EXPECT_EQ(host::log::Complaints(), ""); }

  test::WaylandConnection& wayland = host::TheConnection();
};

// The host's surface shows in the window before and after, and the view over it meanwhile.
TEST_F(ViewHostGlTest, IsLeftCurrentByEveryCall) {
  WaylandWindow window(wayland, 120, 90);
  HostGl host_gl(wayland, window, 120, 90);
  ASSERT_TRUE(host_gl.ok());
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0xff0000), {}, [&] { EXPECT_TRUE(host_gl.Draw(1, 0, 0)); }));
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_TRUE(host_gl.IsCurrent()) << "after CreateDefaultDevice";
  GsDevice* const device = GsDevice::DefaultDevice();
  {
    const PatternScene scene(64, 48, device);
    GsViewImpl view({window.handle()}, 60, 48, nullptr);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after making a view";
    view.SetBackgroundColor(host::kBackdrop.r, host::kBackdrop.g, host::kBackdrop.b, 1);
    view.SetScene(scene.scene());
    view.Attch();
    view.Move(30, 12);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Attch and Move";
    test::Picture expected = Flat(120, 90, 0x00ff00);
    const test::Picture shown = ViewOf(scene.picture(), 60, 48).picture();
    for (int y = 0; y < 48; ++y) std::copy_n(shown.at(0, y), 4 * 60, expected.at(30, 12 + y));
    // Its frames go on, beneath the view and beside it.
    EXPECT_TRUE(window.ComesToShow(expected, host::kViewTolerance, [&] { EXPECT_TRUE(host_gl.Draw(0, 1, 0)); }));
    EXPECT_TRUE(host_gl.IsCurrent());
    view.Resize(54, 42);
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Resize";
    EXPECT_TRUE(host::PassFrames(device, 3));
    view.Detach();
    EXPECT_TRUE(host_gl.IsCurrent()) << "after GsView::Detach";
  }
  EXPECT_TRUE(host_gl.IsCurrent()) << "after destroying a view";
  GsDevice::DestroyDefaultDevice();
  EXPECT_TRUE(host_gl.IsCurrent()) << "after DestroyDefaultDevice";
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0x0000ff), {}, [&] { EXPECT_TRUE(host_gl.Draw(0, 0, 1)); }));
}

// The surface comes after the view, and goes before it.
TEST_F(ViewHostGlTest, MayComeAndGoUnderAView) {
  WaylandWindow window(wayland, 120, 90);
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  {
    const PatternScene scene(64, 48, GsDevice::DefaultDevice());
    const View view(window.handle(), 120, 90, scene.scene());
    const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
    EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance, [&] { window.Commit(); }));
    {
      HostGl host_gl(wayland, window, 120, 90);
      ASSERT_TRUE(host_gl.ok());
      EXPECT_TRUE(host_gl.Draw(1, 0, 0));
      EXPECT_TRUE(host::PassFrames(GsDevice::DefaultDevice(), 3));
    }
    window.Resize(120, 90);  // The surface's end has taken its picture along.
    EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance, [&] { window.Commit(); }));
  }
  GsDevice::DestroyDefaultDevice();
}

}  // namespace
