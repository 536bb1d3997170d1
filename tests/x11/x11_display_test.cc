// Which display the engine renders on. A process keeps the display that it once chose, so every case runs in a process
// of its own.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include <quarn/quarn.h>

#include "tests/support/x_server.h"

namespace {

class RedSquare : public GsItem {
 public:
  explicit RedSquare(GsDevice* device) : GsItem(gs_vec2(8, 8), device), device_(device) {}
  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, 16, 16);
    if (!context.BindShader("rgba")) return;
    {
      GsTextureBinder binder(&picture_);
      context.DrawRect(gs_transform(pos(), size()), gs_vec2(16, 16));
    }
    context.UnbindShader();
  }

 private:
  GsDevice* const device_;
  const unsigned char red_[4] = {255, 0, 0, 255};
  GsTexture picture_{red_, 4, GsTexture::kTextureRGBA, 1, 1, device_};
};

class Receiver : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  void OnFrame(const GsFrame& frame) override {
    const unsigned char* const corner = frame.data[0];
    const unsigned char* const middle = frame.data[0] + 8 * frame.linesize[0] + 8 * 4;
    right_ = corner[0] == 0 && corner[3] == 255 && middle[0] == 255 && middle[1] == 0;
    received_.Signal();
  }
  bool WaitForTheRightPicture() { return received_.Wait() && right_; }

 private:
  bool right_ = false;
  QNEvent received_{false};
};

class DisplayProbe : public GsOutputTex {
 public:
  using GsOutputTex::GsOutputTex;
  void OnTexture(GsTexture*, unsigned long long) override { display_ = eglGetCurrentDisplay(); }
  EGLDisplay display() const { return display_; }

 private:
  EGLDisplay display_ = EGL_NO_DISPLAY;
};

EGLDisplay SurfacelessDisplay() {
  const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  return get(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
}

enum Verdict { kSurfaceless = 0, kWindowSystem = 10, kWrongPicture = 20, kNoDevice = 30 };

// Renders frames, `between` being called after the first, and ends the process with a verdict.
[[noreturn]] void Render(const std::function<void()>& between) {
  qn_set_log_handle(nullptr, nullptr);
  Verdict verdict = kNoDevice;
  {
    GsDevice device;
    device.Init();
    device.InitThreadContext();
    auto scene = MakeRef<RefCounted<GsScene>>(16u, 16u, &device);
    if (scene->width() == 16) {
      scene->AddItem(MakeRef<RefCounted<RedSquare>>(&device));
      Receiver receiver(scene, 16, 16, kGsFormatRGBA, &device);
      DisplayProbe probe(scene, 16, 16, &device);
      receiver.Start();
      probe.Start();
      bool right = true;
      for (unsigned int frame = 0; frame < 3; ++frame) {
        device.OutputFrame(frame, 1);
        right = receiver.WaitForTheRightPicture() && right;
        if (frame == 0) between();
      }
      probe.Stop();
      receiver.Stop();
      verdict = !right ? kWrongPicture : probe.display() == SurfacelessDisplay() ? kSurfaceless : kWindowSystem;
    }
    scene = nullptr;
    device.UninitThreadContext();
  }
  std::exit(verdict);
}

class X11DisplayTest : public testing::Test {
 protected:
  void SetUp() override {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    ASSERT_NE(server_.display(), "") << "Xvfb did not start";
  }

  test::XServer server_;
};

TEST_F(X11DisplayTest, RendersOnADisplayThatCanBeOpened) {
  setenv("DISPLAY", server_.display().c_str(), 1);
  EXPECT_EXIT(Render([] {}), testing::ExitedWithCode(kWindowSystem), "");
}

TEST_F(X11DisplayTest, RendersWithoutOneElse) {
  setenv("DISPLAY", server_.display().c_str(), 1);
  server_.Kill();
  // A threadsafe death test runs this whole test again in its process, so the server is gone there too.
  EXPECT_EXIT(Render([] {}), testing::ExitedWithCode(kSurfaceless), "");
}

TEST_F(X11DisplayTest, RendersOnWhenTheDisplayGoesAway) {
  setenv("DISPLAY", server_.display().c_str(), 1);
  EXPECT_EXIT(Render([this] { server_.Kill(); }), testing::ExitedWithCode(kWindowSystem), "");
}

}  // namespace
