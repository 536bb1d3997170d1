// The programs of examples/main-loop in an X server of the test's own, from outside: a window that shows the scene,
// follows a resize and is closed.
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>

#include "tests/examples/example_program.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

namespace {

// What stays whatever the card does, which sways about the centre.
test::Picture Landmarks(const test::Picture& window) {
  test::Picture picture(3, 1, 4);
  const auto copy = [&](int to, int x, int y) { std::copy_n(window.at(x, y), 4, picture.at(to, 0)); };
  if (window.width < 50 || window.height < 50) return picture;
  copy(0, 1, 1);                                  // The margin.
  copy(1, window.width / 2, window.height / 2);   // The card.
  copy(2, window.width / 16, window.height / 2);  // The scene.
  return picture;
}

class MainLoopProgramTest : public ExampleTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    ASSERT_NE(server_.display(), "") << "Xvfb did not start";
    setenv("DISPLAY", server_.display().c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);  // Toolkits look for the desktop's, and want none here.
  }

  test::XServer server_;
};

TEST_P(MainLoopProgramTest, ShowsASceneThatFollowsItsWindow) {
  const pid_t program = Start(GetParam(), {});
  const test::XConnection x11;
  ASSERT_TRUE(x11.ok());
  xcb_window_t id = 0;
  if (!test::ComesTrue([&] { return (id = x11.FindWindow(GetParam())) != 0; })) {
    kill(program, SIGKILL);
    FAIL() << "there is no window: " << Wait(program).err;
  }
  test::XWindow window(x11, id);
  test::Picture expected(3, 1, 4);
  expected.pixels = {51, 51, 64, 255, 255, 128, 0, 255, 0, 0, 0, 255};
  const auto shows = [&](int width, int height) {
    test::Picture last;
    const bool came = test::ComesTrue([&] {
      last = window.Read();
      return last.width == width && last.height == height && AreAlike(Landmarks(last), expected, {1});
    });
    if (came) return testing::AssertionSuccess();
    return PicturesMatch(Landmarks(last), expected, {1}) << "\nin a window of " << last.width << "x" << last.height;
  };
  EXPECT_TRUE(shows(640, 360));
  window.Resize(400, 225);
  EXPECT_TRUE(shows(400, 225));
  window.Resize(320, 400);
  EXPECT_TRUE(shows(320, 400));
  window.AskToClose();
  const bool ends = test::ComesTrue([&] {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(program), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
  });
  if (!ends) kill(program, SIGKILL);
  const Ended ended = Wait(program);
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
}

// Without a window system they say so and end.
TEST_P(MainLoopProgramTest, EndsWithoutAWindowSystem) {
  server_.Kill();
  EXPECT_NE(Wait(Start(GetParam(), {})).exit_code, 0);
}

INSTANTIATE_TEST_SUITE_P(Programs, MainLoopProgramTest,
                         testing::Values("main-loop-glib", "main-loop-gtk", "main-loop-qt", "main-loop-sdl"),
                         [](const auto& program) { return std::string(program.param).substr(10); });

}  // namespace
