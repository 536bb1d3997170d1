// X11 as a window system: what it answers to those who want windows, and what the log says then.
#include "graphics/opengl/cgl/linux/x11_window_system.h"

#include <EGL/eglext.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "graphics/opengl/cgl/linux/x11_window.h"
#include "tests/support/log_capture.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fit = WindowSystem::Fit;
using Place = NativeContext::Place;

// A process keeps the connection that it has once opened, so one server serves all cases.
class X11WindowSystemTest : public ::testing::Test {
 protected:
  X11WindowSystemTest() {
    EXPECT_NE(TheXServer().display(), "") << "Xvfb did not start";
    setenv("DISPLAY", TheXServer().display().c_str(), 1);
    host_ = std::make_unique<test::XConnection>(TheXServer().display());
    system_ = OpenX11WindowSystem();
  }
  void SetUp() override { ASSERT_NE(system_, nullptr); }

  static test::XServer& TheXServer() {
    static test::XServer server;
    return server;
  }
  const test::XConnection& host() const { return *host_; }
  WindowSystem* system() { return system_; }
  Place Create(void* host_window, bool looked_for_before, std::unique_ptr<NativeWindow>* window) {
    const auto visual = static_cast<EGLint>(host().screen()->root_visual);
    const Place place = system_->CreateWindow({host_window, 40, 30, visual, looked_for_before}, window);
    if (place == Place::kMade) (*window)->Enter();
    return place;
  }
  std::vector<std::string> TakeLog() {
    std::vector<std::string> texts;
    for (const LogCapture::Line& line : log_.Lines()) texts.push_back(line.text);
    log_.Clear();
    return texts;
  }

 private:
  LogCapture log_;
  std::unique_ptr<test::XConnection> host_;
  WindowSystem* system_ = nullptr;
};

std::string Hex(xcb_window_t id) {
  char text[20];
  std::snprintf(text, sizeof(text), "0x%x", id);
  return text;
}

TEST_F(X11WindowSystemTest, IsOneForTheProcess) {
  EXPECT_EQ(OpenX11WindowSystem(), system());
  EXPECT_TRUE(system()->Poll());
}

TEST_F(X11WindowSystemTest, EglFindsADisplayWithWindowsOfTheScreensOwnVisual) {
  const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  const WindowSystem::EglPlatform platform = system()->egl_platform();
  const EGLDisplay display = get(platform.platform, platform.native_display, platform.attributes);
  ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
  EGLint count = 0;
  ASSERT_TRUE(eglGetConfigs(display, nullptr, 0, &count));
  std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
  ASSERT_TRUE(eglGetConfigs(display, configs.data(), count, &count));
  bool best = false;
  for (const EGLConfig config : configs) {
    EGLint visual = 0;
    ASSERT_TRUE(eglGetConfigAttrib(display, config, EGL_NATIVE_VISUAL_ID, &visual));
    const Fit fit = system()->FitOf(display, config);
    const bool own = static_cast<xcb_visualid_t>(visual) == host().screen()->root_visual;
    EXPECT_EQ(fit, visual == 0 ? Fit::kNone : own ? Fit::kBest : Fit::kUsable);
    best = best || fit == Fit::kBest;
  }
  EXPECT_TRUE(best);
  EXPECT_EQ(system()->FitOf(display, nullptr), Fit::kNone) << "no configuration at all";
}

TEST_F(X11WindowSystemTest, MakesAWindowInTheHostsAndTakesItOut) {
  const test::XWindow host_window(host(), 100, 80);
  std::unique_ptr<NativeWindow> window;
  EXPECT_EQ(Create(host_window.handle(), false, &window), Place::kMade);
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(window->Alive());
  EXPECT_EQ(window->width(), 40u);
  EXPECT_EQ(window->height(), 30u);
  EXPECT_TRUE(host_window.ComesToHold(1));
  window.reset();
  EXPECT_TRUE(host_window.ComesToHold(0));
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(X11WindowSystemTest, EglIsGivenAPointerToTheWindowsId) {
  const test::XWindow host_window(host(), 100, 80);
  std::unique_ptr<NativeWindow> window;
  ASSERT_EQ(Create(host_window.handle(), false, &window), Place::kMade);
  EXPECT_EQ(*static_cast<xcb_window_t*>(window->egl_window()), static_cast<X11Window*>(window.get())->id());
}

TEST_F(X11WindowSystemTest, SizesAreWithinTheServersLimits) {
  const test::XWindow host_window(host(), 100, 80);
  std::unique_ptr<NativeWindow> window;
  ASSERT_EQ(Create(host_window.handle(), false, &window), Place::kMade);
  window->Resize(0, 100000);
  EXPECT_EQ(window->width(), 1u);
  EXPECT_EQ(window->height(), 32767u);
  EXPECT_TRUE(window->Alive());
}

TEST_F(X11WindowSystemTest, LiesWhereItIsPut) {
  const test::XWindow host_window(host(), 100, 80);
  std::unique_ptr<NativeWindow> window;
  const auto visual = static_cast<EGLint>(host().screen()->root_visual);
  ASSERT_EQ(system()->CreateWindow({host_window.handle(), 40, 30, visual, false, 7, -9}, &window), Place::kMade);
  window->Enter();
  const auto lies_at = [&](int x, int y) {
    xcb_connection_t* const xcb = host().get();
    const xcb_window_t id = static_cast<X11Window*>(window.get())->id();
    return test::ComesTrue([&] {
      const X11Reply<xcb_get_geometry_reply_t> is{xcb_get_geometry_reply(xcb, xcb_get_geometry(xcb, id), nullptr)};
      return is && is->x == x && is->y == y && is->width == 40 && is->height == 30;
    });
  };
  EXPECT_TRUE(lies_at(7, -9));
  window->Move(50, 60);
  EXPECT_TRUE(lies_at(50, 60));
  window->Move(-100000, 100000);
  EXPECT_TRUE(lies_at(-32768, 32767)) << "the server's limits";
  window->Move(0, 0);
  EXPECT_TRUE(lies_at(0, 0));
  host_window.ComesToHold(1);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(X11WindowSystemTest, BackgroundFillsTheWindow) {
  const test::XWindow host_window(host(), 40, 30);
  std::unique_ptr<NativeWindow> window;
  ASSERT_EQ(Create(host_window.handle(), false, &window), Place::kMade);
  window->SetBackground(1, 0, 2);
  window->Resize(20, 15);
  window->Resize(40, 30);  // What it has grown by is filled.
  EXPECT_TRUE(test::ComesTrue([&] {
    const test::Picture shown = host_window.Read();
    if (shown.width != 40 || shown.height != 30) return false;
    const unsigned char* const corner = shown.at(39, 29);
    return corner[0] == 255 && corner[1] == 0 && corner[2] == 255;
  }));
}

TEST_F(X11WindowSystemTest, GoesWithTheHostsWindow) {
  auto host_window = std::make_unique<test::XWindow>(host(), 100, 80);
  const std::string name = Hex(host_window->id());
  std::unique_ptr<NativeWindow> window;
  ASSERT_EQ(Create(host_window->handle(), false, &window), Place::kMade);
  host_window.reset();
  EXPECT_TRUE(test::ComesTrue([&] { return !window->Alive(); }));
  EXPECT_TRUE(system()->Poll());
  EXPECT_THAT(TakeLog(), IsEmpty());
  window->LogGone();
  EXPECT_THAT(TakeLog(), ElementsAre("A view shows nothing any more: its window " + name + " is gone"));
}

TEST_F(X11WindowSystemTest, HasGoneWhereItsHostsWindowWentBeforeItEntered) {
  auto host_window = std::make_unique<test::XWindow>(host(), 100, 80);
  const auto visual = static_cast<EGLint>(host().screen()->root_visual);
  std::unique_ptr<NativeWindow> window;
  ASSERT_EQ(system()->CreateWindow({host_window->handle(), 40, 30, visual, false}, &window), Place::kMade);
  EXPECT_EQ(host_window->ChildCount(), 0) << "it begins in the root";
  EXPECT_TRUE(window->Alive());
  host_window.reset();
  window->Enter();
  EXPECT_FALSE(window->Alive());
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(X11WindowSystemTest, WindowThatTheServerDoesNotKnowMayStillCome) {
  const xcb_window_t id = xcb_generate_id(host().get());
  void* const handle = reinterpret_cast<void*>(static_cast<std::uintptr_t>(id));
  std::unique_ptr<NativeWindow> window;
  EXPECT_EQ(Create(handle, false, &window), Place::kNotYet);
  EXPECT_EQ(window, nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown in window " + Hex(id) +
                                     ": there is no such window, or the connection that made it was not flushed; it is "
                                     "looked for again for a while"));
  EXPECT_EQ(Create(handle, true, &window), Place::kNotYet);
  EXPECT_THAT(TakeLog(), IsEmpty()) << "said once";
}

TEST_F(X11WindowSystemTest, SaysThatAWindowHasComeAfterAll) {
  const test::XWindow host_window(host(), 100, 80);
  std::unique_ptr<NativeWindow> window;
  EXPECT_EQ(Create(host_window.handle(), true, &window), Place::kMade);
  EXPECT_THAT(TakeLog(), ElementsAre("The window " + Hex(host_window.id()) + " of a view is there now"));
}

TEST_F(X11WindowSystemTest, NeverShowsInWhatIsNoWindowForPictures) {
  std::unique_ptr<NativeWindow> window;
  EXPECT_EQ(Create(nullptr, false, &window), Place::kNever);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown: it was given no window"));
  EXPECT_EQ(Create(reinterpret_cast<void*>(std::uintptr_t{0x123456789}), false, &window), Place::kNever);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown in window 0x123456789: there is no such window"));
  const xcb_window_t input_only = host().MakeInputOnlyWindow(20, 20);
  EXPECT_EQ(Create(reinterpret_cast<void*>(static_cast<std::uintptr_t>(input_only)), false, &window), Place::kNever);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown in window " + Hex(input_only) +
                                     ": it takes no pictures, or is on another screen"));
  EXPECT_EQ(window, nullptr);
}

// A process of its own, for the connection is lost for good.
TEST_F(X11WindowSystemTest, EndOfTheServerIsSaidOnce) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        const test::XWindow host_window(host(), 100, 80);
        std::unique_ptr<NativeWindow> window;
        bool right = Create(host_window.handle(), false, &window) == Place::kMade;
        TheXServer().Kill();
        right = right && test::ComesTrue([&] { return !system()->Poll(); });
        right = right && !system()->Poll() && !window->Alive();
        const std::vector<std::string> lines = TakeLog();
        right = right && lines == std::vector<std::string>{"The X server is gone: views show nothing any more"};
        std::_Exit(right ? 7 : 1);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
