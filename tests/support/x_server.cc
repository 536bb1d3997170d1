#include "tests/support/x_server.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace test {
namespace {

constexpr uid_t kNobody = 65534;  // The user that runs the compositor, which refuses to run as root.

// In the child process: the server, which writes the number of its display and a line break into `display` once it
// takes connections. It ends when `life` is at its end. A client that comes while the last one goes would find it
// starting anew, and be cut off: it does not.
[[noreturn]] void BecomeXvfb(int display, const char* screen) {
  const std::string fd = std::to_string(display);
  execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen, "-nolisten", "tcp", "-noreset",
         static_cast<char*>(nullptr));
  _exit(127);
}

// The compositor ends with its only program, and that with the test.
[[noreturn]] void BecomeCage(int display, int life, const std::string& folder) {
  if (geteuid() == 0 && (chown(folder.c_str(), kNobody, kNobody) != 0 || setgroups(0, nullptr) != 0 ||
                         setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
    _exit(127);
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // Lost with the user's id.
  setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  setenv("WLR_BACKENDS", "headless", 1);
  setenv("WLR_RENDERER", "pixman", 1);
  setenv("WLR_LIBINPUT_NO_DEVICES", "1", 1);
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  const std::string program = "echo ${DISPLAY#:} >&" + std::to_string(display) + "; exec cat <&" + std::to_string(life);
  execlp("cage", "cage", "--", "sh", "-c", program.c_str(), static_cast<char*>(nullptr));
  _exit(127);
}

// Lets everybody of the machine in, root for one. Lasts as long as the connection.
xcb_connection_t* OpenToAll(const std::string& display) {
  const bool is_root = geteuid() == 0;
  if (is_root && seteuid(kNobody) != 0) return nullptr;
  xcb_connection_t* const connection = xcb_connect(display.c_str(), nullptr);
  if (is_root && seteuid(0) != 0) std::abort();
  const auto request = xcb_set_access_control_checked(connection, XCB_ACCESS_CONTROL_DISABLE);
  std::free(xcb_request_check(connection, request));
  return connection;
}

}  // namespace

XServer::XServer(Kind kind, const char* screen) {
  int display[2];
  int life[2];
  if (pipe(display) != 0 || pipe(life) != 0) return;
  if (kind == kXWayland) {
    folder_ = (std::filesystem::temp_directory_path() / "quarn-wayland-XXXXXX").string();
    if (!mkdtemp(folder_.data())) return;
  }
  process_ = fork();
  if (process_ == 0) {
    close(display[0]);
    close(life[1]);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // It must not outlive a test that ends without its destructors.
    unsetenv("LD_PRELOAD");            // What the tests preload is not for a program that was not built with it.
    if (kind == kXvfb) BecomeXvfb(display[1], screen);
    BecomeCage(display[1], life[0], folder_);
  }
  close(display[1]);
  close(life[0]);
  life_ = life[1];
  fcntl(life_, F_SETFD, FD_CLOEXEC);
  std::string number;
  char c = 0;
  while (process_ > 0 && read(display[0], &c, 1) == 1 && c != '\n') number += c;
  close(display[0]);
  if (c != '\n') return;
  display_ = ":" + number;
  if (kind == kXWayland) connection_ = OpenToAll(display_);
}

XServer::~XServer() {
  Kill();
  if (connection_) xcb_disconnect(connection_);
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

void XServer::Kill() {
  if (process_ <= 0) return;
  close(life_);
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

void XServer::Stall() {
  if (process_ <= 0 || kill(process_, SIGSTOP) != 0) return;
  int status = 0;
  waitpid(process_, &status, WUNTRACED);
}

void XServer::GoOn() {
  if (process_ > 0) kill(process_, SIGCONT);
}

}  // namespace test
