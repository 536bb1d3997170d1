// Runs the example programs that have windows at a Wayland compositor, with somebody at it.
#ifndef QUARN_TESTS_EXAMPLES_WAYLAND_PROGRAM_H_
#define QUARN_TESTS_EXAMPLES_WAYLAND_PROGRAM_H_

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/examples/example_program.h"
#include "tests/support/wayland_compositor.h"
#include "tests/support/wayland_user.h"
#include "tests/support/wayland_window.h"

// The programs' windows lie at the upper left of the screen. Sizes and places are in pixels of the screen.
class WaylandProgramTest : public ExampleTest {
 protected:
  static constexpr int kScreenWidth = 780, kScreenHeight = 600;

  ~WaylandProgramTest() override;

  // At a compositor with that scale, which other tests of the process have used: or at one of the test's own.
  void SitDown(double scale);
  void SitDownAt(const test::WaylandCompositor& compositor);
  // Starts the program. Toolkits choose the window system as they would at a desktop.
  void Open(const std::string& program, const std::vector<std::string>& arguments, const std::string& title);
  // Waits for the end of the program.
  Ended End();
  // Asks it to close its window, as the user does, and waits for its end.
  Ended Close();
  // Gives the window another size.
  void Resize(int width, int height);
  // Has sway do something with the window.
  bool Command(const std::string& what) const;

  test::Picture Screen(int width, int height) const { return screen_->ReadScreen(0, 0, width, height); }
  // Looks at that much of the screen again and again, until it looks right.
  bool ComesToShow(int width, int height, const std::function<bool(const test::Picture&)>& looks_right);
  // With patience for a program that sanitizers and other tests slow down.
  static bool ComesTrue(const std::function<bool()>& condition);

  test::WaylandUser& user() { return *user_; }
  const test::WaylandCompositor& compositor() const { return *compositor_; }
  // What the program has printed so far, and what it has complained of.
  std::string Printed() const { return ReadFile(Path(".run-" + std::to_string(program_) + ".out")); }
  std::string Complained() const { return ReadFile(Path(".run-" + std::to_string(program_) + ".err")); }

  pid_t program_ = -1;
  std::string title_;

 private:
  const test::WaylandCompositor* compositor_ = nullptr;
  std::unique_ptr<test::WaylandConnection> screen_;
  std::unique_ptr<test::WaylandUser> user_;
};

#endif  // QUARN_TESTS_EXAMPLES_WAYLAND_PROGRAM_H_
