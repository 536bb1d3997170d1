// Wayland as a window system: which connections it takes, and what the log says then.
#include "graphics/opengl/cgl/linux/wayland_window_system.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <gmock/gmock.h>

#include "tests/graphics/opengl/cgl/linux/wayland_test.h"
#include "tests/support/failing_wayland.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fit = WindowSystem::Fit;
using Place = NativeContext::Place;

class WaylandWindowSystemTest : public WaylandTest {
 protected:
  // What the log says of a connection to such a compositor, which is not taken.
  std::vector<std::string> Refusal(
      const Options& options, const std::function<void()>& before = [] {}) {
    compositor_ = std::make_unique<test::ScriptedCompositor>(options);
    host_ = std::make_unique<test::ScriptedClient>(compositor_.get());
    before();
    EXPECT_EQ(WaylandWindowSystem::Open(host_->display(), 100), nullptr);
    return TakeLog();
  }
};

TEST_F(WaylandWindowSystemTest, RefusesACompositorWithoutWhatViewsNeed) {
  Options options;
  options.compositor = false;
  EXPECT_THAT(Refusal(options), ElementsAre("The Wayland display is not taken: its compositor has no wl_compositor"));
  options = Options();
  options.subcompositor = false;
  EXPECT_THAT(Refusal(options),
              ElementsAre("The Wayland display is not taken: its compositor has no wl_subcompositor"));
  options = Options();
  options.shm = false;
  EXPECT_THAT(Refusal(options), ElementsAre("The Wayland display is not taken: its compositor has no wl_shm"));
}

TEST_F(WaylandWindowSystemTest, RefusesAConnectionThatIsBrokenOrDoesNotAnswer) {
  EXPECT_THAT(Refusal(Options(), [&] { compositor_->Disconnect(); }),
              ElementsAre("The Wayland display is not taken: its connection is broken"));
  EXPECT_THAT(Refusal(Options(), [&] { compositor_->Stop(); }),
              ElementsAre("The Wayland display is not taken: its compositor does not answer"));
  compositor_->GoOn();
}

TEST_F(WaylandWindowSystemTest, MissingMemoryIsNoRefusal) {
  compositor_ = std::make_unique<test::ScriptedCompositor>();
  host_ = std::make_unique<test::ScriptedClient>(compositor_.get());
  for (const char* const part : {"wl_registry", "wl_callback"}) {
    const test::NoneOfInterface none(part);
    EXPECT_THROW(WaylandWindowSystem::Open(host_->display()), std::bad_alloc) << part;
    EXPECT_THAT(TakeLog(), IsEmpty()) << part;
  }
  for (const char* const part : {"wl_compositor", "wl_output"}) {
    const test::NoneOfInterface none(part);
    WaylandWindowSystem::Open(host_->display());
    EXPECT_THAT(TakeLog(), Contains("A global of the Wayland compositor comes to nothing: no memory")) << part;
  }
  system_ = WaylandWindowSystem::Open(host_->display());
  ASSERT_NE(system_, nullptr);
  const test::NoneOfInterface none("wl_callback");
  EXPECT_THROW(system_->Answers(), std::bad_alloc);
}

TEST_F(WaylandWindowSystemTest, AConnectionThatIsFullForAMomentIsWrittenToAgain) {
  compositor_ = std::make_unique<test::ScriptedCompositor>();
  host_ = std::make_unique<test::ScriptedClient>(compositor_.get());
  const test::FullConnection full(2);
  system_ = WaylandWindowSystem::Open(host_->display());
  EXPECT_NE(system_, nullptr);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(WaylandWindowSystemTest, DoesWithoutAllElse) {
  Options options;
  options.viewporter = options.fractional_scales = options.xdg_output = false;
  options.outputs = 0;
  Begin(options);
  EXPECT_TRUE(system_->Answers());
  EXPECT_NE(MakeWindow(40, 30), nullptr);
  EXPECT_TRUE(Lives());
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(WaylandWindowSystemTest, AnswersSaysWhyNot) {
  Begin();
  compositor_->Disconnect();
  EXPECT_FALSE(system_->Answers());
  EXPECT_THAT(TakeLog(), ElementsAre("The device is not made on the Wayland display: its connection is broken"));
}

TEST_F(WaylandWindowSystemTest, EglFindsAConfigurationWithoutAlpha) {
  Begin();
  const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  const WindowSystem::EglPlatform platform = system_->egl_platform();
  EXPECT_EQ(platform.native_display, host_->display());
  const EGLDisplay display = get(platform.platform, platform.native_display, platform.attributes);
  ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
  EGLint count = 0;
  ASSERT_TRUE(eglGetConfigs(display, nullptr, 0, &count));
  std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
  ASSERT_TRUE(eglGetConfigs(display, configs.data(), count, &count));
  bool best = false;
  for (const EGLConfig config : configs) {
    EGLint alpha = 0, red = 0;
    ASSERT_TRUE(eglGetConfigAttrib(display, config, EGL_ALPHA_SIZE, &alpha));
    ASSERT_TRUE(eglGetConfigAttrib(display, config, EGL_RED_SIZE, &red));
    const Fit fit = system_->FitOf(display, config);
    EXPECT_EQ(fit, alpha == 0 && red == 8 ? Fit::kBest : Fit::kUsable);
    best = best || fit == Fit::kBest;
  }
  EXPECT_TRUE(best);
  EXPECT_EQ(system_->FitOf(display, nullptr), Fit::kNone) << "no configuration at all";
  EXPECT_TRUE(eglTerminate(display));
}

TEST_F(WaylandWindowSystemTest, ACompositorThatGoesIsNoticedOnce) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(Ready(window));
  compositor_->Disconnect();
  EXPECT_TRUE(log_.WaitFor(Logger::Level::Warn, "The Wayland compositor is gone: views show nothing any more"))
      << "nobody has asked: the thread that listens has";
  OnWindowThread([&] {
    EXPECT_FALSE(window->Alive());
    window->LogGone();
    EXPECT_FALSE(system_->Poll());
  });
  EXPECT_EQ(MakeWindow(40, 30), nullptr);
  EXPECT_EQ(place_, Place::kNever);
  EXPECT_EQ(TakeLog().size(), 1u);
}

TEST_F(WaylandWindowSystemTest, AnErrorOfTheProtocolIsNamed) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  compositor_->PostError(View().id, 2);
  EXPECT_TRUE(log_.WaitFor(
      Logger::Level::Warn,
      "The Wayland compositor has ended the connection, for error 2 of wl_surface: views show nothing any more"));
  OnWindowThread([&] {
    EXPECT_FALSE(window->Alive());
    window->Move(5, 6);
    window->Resize(50, 60);
    window->BeginPresent();
    window->EndPresent(false);
    EXPECT_FALSE(system_->Poll());
  });
  EXPECT_EQ(TakeLog().size(), 1u);
}

}  // namespace
