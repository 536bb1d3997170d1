#include "tests/examples/wayland_program.h"

#include <sys/wait.h>

#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "tests/support/comes_true.h"

namespace {

// A theme with one pointer, which is one clear pixel: the compositor draws pointers into what is seen of its screen.
// Toolkits show it for all that the theme lacks.
void WriteCursors(const std::string& folder) {
  constexpr std::uint32_t kImage = 0xfffd0002, kSize = 24;
  constexpr std::uint32_t kFile[] = {
      0x72756358, 16,     0x10000, 1,                 // "Xcur", with one entry:
      kImage,     kSize,  28,                         // where it is,
      36,         kImage, kSize,   1, 1, 1, 0, 0, 0,  // its header,
      0,                                              // and its pixel.
  };
  std::filesystem::create_directories(folder + "/clear/cursors");
  std::ofstream(folder + "/clear/cursors/left_ptr", std::ios::binary)
      .write(reinterpret_cast<const char*>(kFile), sizeof(kFile));
}

}  // namespace

WaylandProgramTest::~WaylandProgramTest() {
  if (program_ <= 0) return;
  kill(program_, SIGKILL);
  Wait(program_);
}

bool WaylandProgramTest::ComesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 4; ++i) {
    if (test::ComesTrue(condition)) return true;
  }
  return false;
}

void WaylandProgramTest::SitDown(double scale) {
  static std::map<double, std::unique_ptr<test::WaylandCompositor>> compositors;
  std::unique_ptr<test::WaylandCompositor>& compositor = compositors[scale];
  if (!compositor) {
    compositor = std::make_unique<test::WaylandCompositor>(
        test::WaylandCompositor::Options{test::WaylandCompositor::kSway, kScreenWidth, kScreenHeight, scale});
  }
  SitDownAt(*compositor);
}

void WaylandProgramTest::SitDownAt(const test::WaylandCompositor& compositor) {
  ASSERT_NE(compositor.socket(), "");
  compositor_ = &compositor;
  setenv("WAYLAND_DISPLAY", compositor.socket().c_str(), 1);
  setenv("XDG_RUNTIME_DIR", compositor.folder().c_str(), 1);
  setenv("XDG_SESSION_TYPE", "wayland", 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);  // Toolkits look for the desktop's, and want none here.
  WriteCursors(Path(".run-cursors"));
  setenv("XCURSOR_PATH", Path(".run-cursors").c_str(), 1);
  setenv("XCURSOR_THEME", "clear", 1);
  for (const char* const name : {"DISPLAY", "QT_QPA_PLATFORM", "GDK_BACKEND", "SDL_VIDEODRIVER"}) unsetenv(name);
  screen_ = std::make_unique<test::WaylandConnection>(compositor);
  ASSERT_TRUE(screen_->ok());
  user_ = std::make_unique<test::WaylandUser>(compositor);
  ASSERT_TRUE(user_->ok());
  user_->MoveTo(kScreenWidth - 1, kScreenHeight - 1);  // Out of the programs' way.
}

void WaylandProgramTest::Open(const std::string& program, const std::vector<std::string>& arguments,
                              const std::string& title) {
  title_ = title;
  program_ = Start(program, arguments);
  ASSERT_TRUE(ComesTrue([this] { return Command("focus") || kill(program_, 0) != 0; })) << Complained();
}

bool WaylandProgramTest::Command(const std::string& what) const {
  return compositor_->Command("[title=\"" + title_ + "\"] " + what);
}

void WaylandProgramTest::Resize(int width, int height) {
  const auto units = [this](int pixels) {
    return std::to_string(std::lround(pixels / compositor_->options().scale)) + " px";
  };
  // It would go on about its middle.
  EXPECT_TRUE(Command("resize set " + units(width) + " " + units(height) + ", move absolute position 0 px 0 px"));
}

bool WaylandProgramTest::ComesToShow(int width, int height,
                                     const std::function<bool(const test::Picture&)>& looks_right) {
  return ComesTrue([&] {
    const test::Picture seen = Screen(width, height);
    return seen.width == width && seen.height == height && looks_right(seen);
  });
}

Ended WaylandProgramTest::End() {
  const bool ended = ComesTrue([this] {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(program_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
  });
  EXPECT_TRUE(ended) << "it goes on";
  if (!ended) kill(program_, SIGKILL);
  return Wait(std::exchange(program_, -1));
}

Ended WaylandProgramTest::Close() {
  EXPECT_TRUE(Command("kill"));
  return End();
}
