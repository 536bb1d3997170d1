// The window of docs/first-host.md in an X server of the test's own: it shows the scene, follows its size, and frames
// what is under the pointer.
#include <csignal>
#include <cstdlib>

#include "tests/examples/example_program.h"
#include "tests/support/x_server.h"
#include "tests/support/x_user.h"
#include "tests/support/x_window.h"

namespace {

class FirstWindowTest : public ExampleTest {
 protected:
  void SetUp() override {
    ASSERT_NE(server_.display(), "") << "Xvfb did not start";
    setenv("DISPLAY", server_.display().c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);  // SDL looks for the desktop's, and wants none here.
  }

  test::XServer server_;
};

TEST_F(FirstWindowTest, ShowsTheSquareAndFramesItUnderThePointer) {
  const pid_t program = Start("first-window", {});
  const test::XConnection x11;
  ASSERT_TRUE(x11.ok());
  xcb_window_t id = 0;
  if (!test::ComesTrue([&] { return (id = x11.FindWindow("first-window")) != 0; })) {
    kill(program, SIGKILL);
    FAIL() << "there is no window: " << Wait(program).err;
  }
  test::XWindow window(x11, id);
  // Whether a pixel comes to have that colour in a window of that width.
  const auto shows = [&](int width, int x, int y, int r, int g, int b) {
    return test::ComesTrue([&] {
      const test::Picture picture = window.Read();
      if (picture.width != width) return false;
      const unsigned char* const pixel = picture.at(x, y);
      return pixel[0] == r && pixel[1] == g && pixel[2] == b;
    });
  };
  EXPECT_TRUE(shows(640, 320, 180, 255, 0, 0));
  EXPECT_TRUE(shows(640, 100, 180, 0, 0, 0));

  // The scene lies in a margin of 5 pixels, so its square of 160 pixels reaches 79 to each side, and the frame another.
  test::XUser user(x11, id);
  const double scale = 630.0 / 640;
  const int side = 320 - static_cast<int>(80 * scale + 0.5);
  user.MoveTo(320, 180);
  EXPECT_TRUE(shows(640, side, 180, 0, 0, 255));
  user.MoveTo(100, 180);
  EXPECT_TRUE(shows(640, side - 1, 180, 0, 0, 0));

  window.Resize(320, 180);
  EXPECT_TRUE(shows(320, 160, 90, 255, 0, 0));
  window.AskToClose();
  EXPECT_EQ(Wait(program).exit_code, 0);
}

}  // namespace
