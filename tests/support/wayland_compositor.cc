#include "tests/support/wayland_compositor.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>
#include <vector>

#include "tests/support/comes_true.h"

namespace test {
namespace {

constexpr uid_t kNobody = 65534;  // Who runs sway, which refuses to run as root.
// Its own choice in a folder without another.
constexpr char kSocket[] = "wayland-1";

std::string Whole(double value) { return std::to_string(static_cast<int>(value)); }

// In the child process. What it says goes into the folder's file "log".
[[noreturn]] void Become(const WaylandCompositor::Options& options, const std::string& folder, pid_t parent) {
  const int null = open("/dev/null", O_RDWR);
  const int said = open((folder + "/log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  dup2(null, STDIN_FILENO);
  dup2(said, STDOUT_FILENO);
  dup2(said, STDERR_FILENO);
  if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(127);
  // It must not outlive a test that ends without its destructors. The change of the user would have undone this.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);
  unsetenv("LD_PRELOAD");  // What the tests preload is not for a program that was not built with it.
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  setenv("HOME", folder.c_str(), 1);
  std::vector<std::string> words;
  if (options.kind == WaylandCompositor::kWeston) {
    words = {"weston",
             "--backend=headless-backend.so",
             "--use-pixman",
             "--config=" + folder + "/config",
             "--debug",  // Screenshots are for everyone.
             "--idle-time=0",
             std::string("--socket=") + kSocket,
             "--width=" + Whole(options.width / options.scale),
             "--height=" + Whole(options.height / options.scale),
             "--scale=" + Whole(options.scale)};
  } else {
    setenv("WLR_BACKENDS", "headless", 1);
    setenv("WLR_RENDERER", "pixman", 1);
    setenv("WLR_LIBINPUT_NO_DEVICES", "1", 1);
    setenv("SWAYSOCK", (folder + "/ipc").c_str(), 1);
    words = {"sway", "--config", folder + "/config"};
  }
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  execvp(argv[0], argv.data());
  _exit(127);
}

// -1 when nobody listens there.
int Connect(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fd;
  close(fd);
  return -1;
}

bool Receive(int fd, char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = read(fd, data, size);
    if (count <= 0) return false;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

WaylandCompositor::WaylandCompositor(const Options& options) : options_(options) {
  folder_ = (std::filesystem::temp_directory_path() / "quarn-wayland-XXXXXX").string();
  if (!mkdtemp(folder_.data())) {
    folder_.clear();
    return;
  }
  std::ofstream config(folder_ + "/config");
  if (options.kind == kWeston) {
    config << "[shell]\n"
              "panel-position=none\n"
              "background-color=0xff000000\n"
              "animation=none\n"
              "startup-animation=none\n"
              "close-animation=none\n"
              "focus-animation=none\n"
              "locking=false\n"
              "[input-method]\n"
              "path=\n";
  } else {
    config << "xwayland disable\n"
              "default_border none\n"
              "default_floating_border none\n"
              "focus_follows_mouse no\n"
              "for_window [app_id=\".*\"] floating enable, move absolute position 0 px 0 px\n"
              // A window may be as small as a pixel, and leave the screen.
              "floating_minimum_size 1 x 1\n"
              "floating_maximum_size -1 x -1\n"
              "output HEADLESS-1 mode "
           << options.width << "x" << options.height << "@100Hz position 0 0 scale " << options.scale << "\n";
  }
  config.close();
  if (geteuid() == 0 && chown(folder_.c_str(), kNobody, kNobody) != 0) return;
  Start();
}

WaylandCompositor::WaylandCompositor(const Options& options, const std::string& folder)
    : options_(options), is_own_(false), folder_(folder), socket_(folder + "/" + kSocket) {}

WaylandCompositor::~WaylandCompositor() {
  if (!is_own_) return;
  Kill();
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

void WaylandCompositor::Start() {
  const std::string path = folder_ + "/" + kSocket;
  // Sway takes no name that is there.
  unlink((folder_ + "/ipc").c_str());
  unlink(path.c_str());
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) Become(options_, folder_, parent);
  bool ended = process_ < 0;
  const bool listens = ComesTrue([&] {
    ended = ended || waitpid(process_, nullptr, WNOHANG) != 0;
    const int fd = ended ? -1 : Connect(path);
    if (fd >= 0) close(fd);
    return ended || fd >= 0;
  });
  if (ended) process_ = -1;
  if (ended || !listens) {
    std::ifstream said(folder_ + "/log");
    std::cerr << "The compositor did not start. It said:\n" << said.rdbuf() << "\n";
    Kill();
    return;
  }
  socket_ = path;
}

bool WaylandCompositor::Command(const std::string& command) const {
  const int fd = Connect(folder_ + "/ipc");
  if (fd < 0) return false;
  // The magic, the length of what follows, and what kind of message it is: 0, a command.
  struct Header {
    char magic[6] = {'i', '3', '-', 'i', 'p', 'c'};
    char length_and_kind[8] = {};
  } header;
  const auto length = static_cast<std::uint32_t>(command.size());
  std::memcpy(header.length_and_kind, &length, sizeof(length));
  const std::string message(reinterpret_cast<const char*>(&header), sizeof(header));
  const std::string request = message + command;
  bool done = send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size());
  std::uint32_t answer_length = 0;
  done = done && Receive(fd, reinterpret_cast<char*>(&header), sizeof(header));
  std::memcpy(&answer_length, header.length_and_kind, sizeof(answer_length));
  std::string answer(done ? answer_length : 0, '\0');
  done = done && Receive(fd, answer.data(), answer.size());
  close(fd);
  return done && answer.find("\"success\": false") == std::string::npos &&
         answer.find("\"success\": true") != std::string::npos;
}

void WaylandCompositor::Kill() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

bool WaylandCompositor::Restart() {
  Kill();
  socket_.clear();
  Start();
  return !socket_.empty();
}

void WaylandCompositor::Stall() {
  if (process_ <= 0 || kill(process_, SIGSTOP) != 0) return;
  int status = 0;
  waitpid(process_, &status, WUNTRACED);
}

void WaylandCompositor::GoOn() {
  if (process_ > 0) kill(process_, SIGCONT);
}

}  // namespace test
