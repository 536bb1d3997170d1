// The connection that a host names: what is taken, and what the device comes to be made on.
#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include <quarn/qn_native_display.h>

#include "graphics/opengl/cgl/linux/egl_display.h"
#include "tests/support/log_capture.h"
#include "tests/support/run_in_fork.h"
#include "tests/support/scripted_client.h"
#include "tests/support/scripted_compositor.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kTooLate[] = "The native display stays as it is: a device was made on it, or on another, before";

class NativeDisplayTest : public ::testing::Test {
 protected:
  NativeDisplayTest() { unsetenv("DISPLAY"); }
  ~NativeDisplayTest() override { qn_set_native_display(kQnNativeDisplayNone, nullptr); }

  std::vector<std::string> TakeLog() {
    std::vector<std::string> texts;
    for (const LogCapture::Line& line : log_.Lines()) {
      EXPECT_EQ(line.level, Logger::Level::Warn) << line.text;
      texts.push_back(line.text);
    }
    log_.Clear();
    return texts;
  }

 private:
  LogCapture log_;
};

TEST_F(NativeDisplayTest, RefusesWhatIsNoDisplay) {
  EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, nullptr));
  EXPECT_THAT(TakeLog(), ElementsAre("The Wayland display is not taken: it is null"));
  EXPECT_FALSE(qn_set_native_display(static_cast<QnNativeDisplayKind>(7), this));
  EXPECT_THAT(TakeLog(), ElementsAre("The native display is not taken: there is no kind 7"));
}

TEST_F(NativeDisplayTest, RefusesADisplayThatServesNoViews) {
  test::ScriptedCompositor::Options options;
  options.subcompositor = false;
  test::ScriptedCompositor compositor(options);
  test::ScriptedClient host(&compositor);
  EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
  EXPECT_THAT(TakeLog(), ElementsAre("The Wayland display is not taken: its compositor has no wl_subcompositor"));
}

TEST_F(NativeDisplayTest, MayBeSetAgainBeforeThereIsADevice) {
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
  test::ScriptedCompositor compositor, other_compositor;
  test::ScriptedClient host(&compositor), other(&other_compositor);
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, other.display()));
  EXPECT_EQ(static_cast<WindowSystem*>(OpenWaylandWindowSystem())->egl_platform().native_display, other.display());
  EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, nullptr));
  EXPECT_NE(OpenWaylandWindowSystem(), nullptr) << "the one before stays";
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
  EXPECT_EQ(OpenWaylandWindowSystem(), nullptr);
  EXPECT_TRUE(host.Roundtrip());
  EXPECT_TRUE(other.Roundtrip());
  EXPECT_EQ(TakeLog().size(), 1u);
}

TEST_F(NativeDisplayTest, AForkLeavesWhatItsParentHasNamed) {
  test::ScriptedCompositor compositor, other_compositor;
  test::ScriptedClient host(&compositor);
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
  EXPECT_EQ(test::RunInFork([] {
              if (OpenWaylandWindowSystem()) return 1;
              return qn_set_native_display(kQnNativeDisplayNone, nullptr) ? 7 : 2;
            }),
            7);
  EXPECT_TRUE(host.Roundtrip()) << "nothing of the child's has come in between";
  EXPECT_NE(OpenWaylandWindowSystem(), nullptr);
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
}

// In a fork, for it decides for the process.
TEST_F(NativeDisplayTest, WhatADeviceHasPassedOverDoesNotServeItLater) {
  const auto child = [this] {
    test::ScriptedCompositor compositor;
    test::ScriptedClient host(&compositor);
    if (!qn_set_native_display(kQnNativeDisplayWayland, host.display())) return 1;
    compositor.Disconnect();
    NativeContext::Error error = NativeContext::Error::kNone;
    const auto context = EglContext::Create(nullptr, &error);
    if (!context || context->display().window_system) return 2;
    if (TakeLog() !=
        std::vector<std::string>{"The device is not made on the Wayland display: its connection is broken"}) {
      return 3;
    }
    if (qn_set_native_display(kQnNativeDisplayWayland, host.display())) return 4;
    return TakeLog() == std::vector<std::string>{kTooLate} ? 7 : 5;
  };
  EXPECT_EQ(test::RunInFork(child), 7);
}

// The last, for it decides for the process.
TEST_F(NativeDisplayTest, TheFirstDeviceDecidesAndPassesOverADisplayThatHasBroken) {
  {
    test::ScriptedCompositor compositor;
    test::ScriptedClient host(&compositor);
    EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
    compositor.Disconnect();
    EXPECT_EQ(OpenWaylandWindowSystem(), nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("The device is not made on the Wayland display: its connection is broken"));
    EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
  }
  static test::ScriptedCompositor compositor;
  static test::ScriptedClient host(&compositor);
  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display()));
  NativeContext::Error error = NativeContext::Error::kNone;
  const auto context = EglContext::Create(nullptr, &error);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(context->display().window_system, OpenWaylandWindowSystem());
  EXPECT_THAT(TakeLog(), IsEmpty());

  EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, host.display())) << "that changes nothing";
  EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
  EXPECT_THAT(TakeLog(), ElementsAre(kTooLate));
  test::ScriptedCompositor other_compositor;
  test::ScriptedClient other(&other_compositor);
  EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, other.display()));
  EXPECT_THAT(TakeLog(), ElementsAre(kTooLate));
}

}  // namespace
