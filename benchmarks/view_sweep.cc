// Views of one scene, on an X server that is started here. The bare loop draws the scene and, for each window, makes it
// current, draws the scene's picture into it and swaps. What the server does is counted for neither.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <quarn/quarn.h>

#include "benchmarks/bare_gl.h"
#include "benchmarks/layer_gl.h"
#include "benchmarks/sweep.h"
#include "tests/support/x_server.h"

namespace {

// Of the scene and of each view; sixteen of the engine's and sixteen bare ones lie side by side on the screen, whose
// pixels are compared. The picture keeps five pixels of distance to the view's left and right, and its proportions.
constexpr unsigned int kWidth = 80;
constexpr unsigned int kHeight = 45;
constexpr unsigned int kPictureWidth = 70;
constexpr unsigned int kPictureHeight = 39;
constexpr int kColumns = 8;
constexpr int kMostViews = 16;

gs_transform ScenePlacement(unsigned int frame) {
  return Moved(gs_transform(gs_vec2(), gs_vec2(kHeight, kHeight)), frame);
}

class Screen {
 public:
  explicit Screen(const std::string& display) : connection_(xcb_connect(display.c_str(), &number_)) {
    if (!ok()) return;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    screen_ = screens.data;
  }
  ~Screen() { xcb_disconnect(connection_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  bool ok() const { return xcb_connection_has_error(connection_) == 0; }
  xcb_connection_t* connection() const { return connection_; }
  xcb_visualid_t visual() const { return screen_->root_visual; }

  // At a place of its own, which goes by the number.
  xcb_window_t MakeWindow(int number) const {
    const xcb_window_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen_->root, X(number), Y(number), kWidth, kHeight,
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, 0, nullptr);
    xcb_map_window(connection_, window);
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));  // Until it is done.
    return window;
  }
  void Destroy(xcb_window_t window) const {
    xcb_destroy_window(connection_, window);
    xcb_flush(connection_);
  }
  std::vector<unsigned char> Read(int number) const {
    xcb_get_image_reply_t* const reply =
        xcb_get_image_reply(connection_,
                            xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, X(number), Y(number),
                                          kWidth, kHeight, ~0u),
                            nullptr);
    if (!reply) return {};
    const unsigned char* const data = xcb_get_image_data(reply);
    std::vector<unsigned char> pixels(data, data + xcb_get_image_data_length(reply));
    std::free(reply);
    for (std::size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 0;  // It is no colour, and anything.
    return pixels;
  }

 private:
  static std::int16_t X(int number) { return static_cast<std::int16_t>(number % kColumns * static_cast<int>(kWidth)); }
  static std::int16_t Y(int number) { return static_cast<std::int16_t>(number / kColumns * static_cast<int>(kHeight)); }

  int number_ = 0;
  xcb_connection_t* const connection_;
  const xcb_screen_t* screen_ = nullptr;
};

class TurningItem : public GsItem {
 public:
  explicit TurningItem(GsTexture* image) : GsItem(nullptr), image_(image) {}
  void Draw() override {
    GsContextDefault::SetViewport(0, 0, kWidth, kHeight);
    if (!GsContextDefault::BindShader("rgba")) return;
    {
      GsTextureBinder binder(image_);
      GsContextDefault::DrawRect(ScenePlacement(frame_++), gs_vec2(kWidth, kHeight));
    }
    GsContextDefault::UnbindShader();
  }

 private:
  GsTexture* const image_;
  unsigned int frame_ = 0;
};

class EngineViews {
 public:
  EngineViews(const Screen& screen, int views) : screen_(screen) {
    GsDevice::CreateDefaultDevice(false);
    device_ = GsDevice::DefaultDevice();
    device_->InitThreadContext();
    image_ = std::make_unique<GsTexture>(Image().data(), kImageSide * 4, GsTexture::kTextureRGBA, kImageSide,
                                         kImageSide, device_);
    scene_ = MakeRef<RefCounted<GsScene>>(kWidth, kHeight, device_);
    scene_->AddItem(MakeRef<RefCounted<TurningItem>>(image_.get()));
    for (int i = 0; i < views; ++i) {
      windows_.push_back(screen.MakeWindow(i));
      GsWindowInfo info;
      info.window = reinterpret_cast<void*>(static_cast<std::uintptr_t>(windows_.back()));
      views_.push_back(std::make_unique<GsViewImpl>(info, kWidth, kHeight, device_));
      views_.back()->SetScene(scene_);
      views_.back()->Attch();
    }
  }
  ~EngineViews() {
    for (const auto& view : views_) view->Detach();
    views_.clear();
    scene_ = nullptr;
    image_.reset();
    device_->UninitThreadContext();
    GsDevice::DestroyDefaultDevice();
    for (const xcb_window_t window : windows_) screen_.Destroy(window);
  }
  EngineViews(const EngineViews&) = delete;
  EngineViews& operator=(const EngineViews&) = delete;

  void MakeFrame() {
    device_->TickSource();
    device_->HandleFilter();
    device_->OutputFrame(frame_++ * 33'333'333ull, 1);
    device_->DrawDisplay();
    device_->DoTask();
  }

 private:
  const Screen& screen_;
  GsDevice* device_ = nullptr;
  std::unique_ptr<GsTexture> image_;
  scoped_refptr<RefCounted<GsScene>> scene_;
  std::vector<xcb_window_t> windows_;
  std::vector<std::unique_ptr<GsViewImpl>> views_;
  unsigned int frame_ = 0;
};

class BareViews {
 public:
  BareViews(const Screen& screen, int views) : screen_(screen) {
    const auto get_display =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!get_display) return;
    display_ = get_display(EGL_PLATFORM_XCB_EXT, screen.connection(), nullptr);
    EGLConfig config = nullptr;
    if (!eglInitialize(display_, nullptr, nullptr) || !eglBindAPI(EGL_OPENGL_API) || !ChooseConfig(&config)) return;
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 2, EGL_NONE};
    context_ = eglCreateContext(display_, config, EGL_NO_CONTEXT, attributes);
    for (int i = 0; i < views; ++i) {
      windows_.push_back(screen.MakeWindow(kMostViews + i));
      surfaces_.push_back(eglCreateWindowSurface(display_, config, windows_.back(), nullptr));
      eglMakeCurrent(display_, surfaces_.back(), surfaces_.back(), context_);
      eglSwapInterval(display_, 0);
    }
    program_ = LinkLayerProgram("rgba");
    glUseProgram(program_);
    BindLayerVertices();
    image_ = MakeTexture(GL_RGBA, kImageSide, kImageSide, GL_LINEAR, FlippedImage(0).data());
    canvas_ = MakeTarget(GL_RGBA, kWidth, kHeight, GL_LINEAR);
    glClearColor(0, 0, 0, 1);
    glEnable(GL_BLEND);  // For views, too.
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glViewport(0, 0, kWidth, kHeight);
    PlaceLayer(gs_transform(gs_vec2(), gs_vec2(kPictureWidth, kPictureHeight)), kWidth, kHeight, corners_ + 4);
    ClearCurrent();
  }
  ~BareViews() {
    if (context_ == EGL_NO_CONTEXT) return;
    ClearCurrent();
    for (const EGLSurface surface : surfaces_) eglDestroySurface(display_, surface);
    eglDestroyContext(display_, context_);
    for (const xcb_window_t window : windows_) screen_.Destroy(window);
  }
  BareViews(const BareViews&) = delete;
  BareViews& operator=(const BareViews&) = delete;

  bool ok() const {
    return context_ != EGL_NO_CONTEXT &&
           std::find(surfaces_.begin(), surfaces_.end(), EGL_NO_SURFACE) == surfaces_.end();
  }

  void MakeFrame() {
    eglMakeCurrent(display_, surfaces_[0], surfaces_[0], context_);
    PlaceLayer(ScenePlacement(frame_++), kWidth, kHeight, corners_);
    glBufferData(GL_ARRAY_BUFFER, sizeof(corners_), corners_, GL_STREAM_DRAW);
    glBindFramebuffer(GL_FRAMEBUFFER, canvas_.frame_buffer);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindTexture(GL_TEXTURE_2D, image_);
    DrawLayer(0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glBindTexture(GL_TEXTURE_2D, canvas_.texture);
    for (const EGLSurface surface : surfaces_) {
      eglMakeCurrent(display_, surface, surface, context_);
      glClear(GL_COLOR_BUFFER_BIT);
      DrawLayer(1);
      eglSwapBuffers(display_, surface);
    }
    ClearCurrent();
  }

 private:
  // The engine's device takes turns on this thread.
  void ClearCurrent() { eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }

  bool ChooseConfig(EGLConfig* config) const {
    const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLConfig configs[128];
    EGLint count = 0;
    eglChooseConfig(display_, wanted, configs, 128, &count);
    for (EGLint i = 0; i < count; ++i) {
      EGLint visual = 0;
      eglGetConfigAttrib(display_, configs[i], EGL_NATIVE_VISUAL_ID, &visual);
      *config = configs[i];
      if (static_cast<xcb_visualid_t>(visual) == screen_.visual()) return true;
    }
    return false;
  }

  const Screen& screen_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
  std::vector<xcb_window_t> windows_;
  std::vector<EGLSurface> surfaces_;
  GLuint program_ = 0;
  GLuint image_ = 0;
  Target canvas_;
  LayerVertex corners_[8] = {};
  unsigned int frame_ = 0;
};

struct Views {
  Views(const Screen& screen, int views) : engine(screen, views), bare(screen, views) {}
  EngineViews engine;
  BareViews bare;
};

// A picture reaches the screen when the server comes to it.
bool ComeToShowTheSame(const Screen& screen, int views, int patience_ms) {
  for (int waited = 0; waited <= patience_ms; ++waited) {
    bool same = true;
    for (int i = 0; i < views && same; ++i) same = screen.Read(i) == screen.Read(kMostViews + i);
    if (same) return true;
    usleep(1000);
  }
  return false;
}

// Whether several frames in a row show the same in the views as in the bare windows. The first pictures of a view may
// be lost, for its window is made by a thread of its own.
bool ShowTheSame(const Screen& screen, int number, Views* views) {
  constexpr int kFirstFrames = 100;
  constexpr int kFrames = 5;
  for (int i = 0; i < kFirstFrames + kFrames; ++i) {
    const bool first = i < kFirstFrames;
    views->engine.MakeFrame();
    views->bare.MakeFrame();
    const bool same = ComeToShowTheSame(screen, number, first ? 100 : 10000);
    if (same && first) i = kFirstFrames - 1;
    if (!same && !first) return false;
  }
  return true;
}

std::optional<Ways> MakeViews(int number) {
  // Both last as long as the process, which runs this sweep only.
  static const test::XServer server;
  if (server.display().empty()) {
    std::fprintf(stderr, "views: left out, for there is no Xvfb here\n");
    return std::nullopt;
  }
  setenv("DISPLAY", server.display().c_str(), 1);
  static const Screen screen(server.display());
  if (!screen.ok()) return std::nullopt;
  const auto views = std::make_shared<Views>(screen, number);
  if (!views->bare.ok()) {
    std::fprintf(stderr, "views: no OpenGL 3.2 in windows here\n");
    return std::nullopt;
  }
  if (!ShowTheSame(screen, number, views.get())) {
    std::fprintf(stderr, "%d views and as many bare windows show different pictures\n", number);
    return std::nullopt;
  }
  return Ways{[views] { views->engine.MakeFrame(); }, [views] { views->bare.MakeFrame(); }};
}

}  // namespace

Sweep ViewSweep() {
  return {"views",
          "Views of one scene",
          "view",
          "frame",
          {"engine", "least"},
          {1, 2, 4, 6, 8, 10, 12, 14, kMostViews},
          MakeViews,
          true};
}
