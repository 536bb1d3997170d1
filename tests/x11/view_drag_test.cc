// Views and the pointer, in windows of several toolkits: a drag that begins over a view and ends outside the window is
// its host's from the press to the release.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "tests/support/x_server.h"
#include "tests/support/x_user.h"
#include "tests/support/x_window.h"

namespace {

constexpr int kWidth = 300, kHeight = 200;  // As in drag_host.h.

// A program that says something on its standard output.
class Program {
 public:
  explicit Program(const std::string& path) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    process_ = fork();
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(ends[1], STDOUT_FILENO);
      execl(path.c_str(), path.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(ends[1]);
    output_ = ends[0];
    fcntl(output_, F_SETFL, O_NONBLOCK);
  }
  ~Program() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    close(output_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // What it has said so far.
  const std::string& said() {
    char text[256];
    for (ssize_t size = 0; (size = read(output_, text, sizeof(text))) > 0;) {
      said_.append(text, static_cast<std::size_t>(size));
    }
    return said_;
  }
  // Whether it comes to say that line.
  bool Says(const std::string& line) {
    return test::ComesTrue([&] { return ("\n" + said()).find("\n" + line + "\n") != std::string::npos; });
  }
  // How it ended, -1 when it does not.
  int WaitForItsEnd() {
    int status = 0;
    if (!test::ComesTrue([&] { return waitpid(process_, &status, WNOHANG) == process_; })) return -1;
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t process_ = -1;
  int output_ = -1;
  std::string said_;
};

class ViewDragTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    ASSERT_NE(server_.display(), "") << "Xvfb did not start";
    setenv("DISPLAY", server_.display().c_str(), 1);
    // Toolkits look for the desktop's services, and there are none here.
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
  }

  test::XServer server_;
};

TEST_P(ViewDragTest, ThatEndsOutsideIsTheHosts) {
  Program program(std::string(QUARN_BIN_DIR) + "/" + GetParam());
  const test::XConnection x11;
  ASSERT_TRUE(x11.ok());
  xcb_window_t id = 0;
  ASSERT_TRUE(test::ComesTrue([&] { return (id = x11.FindWindow(GetParam())) != 0; })) << "there is no window";
  const test::XWindow window(x11, id);
  ASSERT_TRUE(window.ComesToShow(test::Flat(kWidth, kHeight, 0xff0000), {})) << "the view shows nothing";

  test::XUser user(x11, id);
  user.MoveTo(60, 45);
  user.Press();
  ASSERT_TRUE(program.Says("press 60 45")) << program.said();
  // What the press has led to is done when the host hears of a move.
  user.MoveTo(70, 50);
  ASSERT_TRUE(program.Says("move 70 50")) << program.said();
  user.MoveTo(kWidth + 100, kHeight + 50);
  EXPECT_TRUE(program.Says("move 400 250")) << "a drag that has left the window is not heard of:\n" << program.said();
  user.Release();
  EXPECT_EQ(program.WaitForItsEnd(), 0) << "the drag sticks:\n" << program.said();
  EXPECT_TRUE(program.Says("release 400 250")) << program.said();
  EXPECT_EQ(program.said().find("enter"), std::string::npos) << program.said();
}

INSTANTIATE_TEST_SUITE_P(Hosts, ViewDragTest,
                         testing::Values("drag-host-x11", "drag-host-sdl", "drag-host-qt", "drag-host-gtk"),
                         [](const auto& host) { return std::string(host.param).substr(10); });

}  // namespace
