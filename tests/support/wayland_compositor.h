// A Wayland compositor of a test's own, without a screen.
#ifndef QUARN_TESTS_SUPPORT_WAYLAND_COMPOSITOR_H_
#define QUARN_TESTS_SUPPORT_WAYLAND_COMPOSITOR_H_

#include <sys/types.h>

#include <string>

namespace test {

// Runs a compositor for as long as it lives, in a folder of its own. The processor draws its screen.
class WaylandCompositor {
 public:
  // Weston shows one window, the newest, in the middle of a black screen. Sway has windows at the upper left of its
  // screen, without any frame, and takes commands.
  enum Kind { kWeston, kSway };
  struct Options {
    Kind kind = kSway;
    // Of the screen, in its own pixels.
    int width = 600;
    int height = 480;
    double scale = 1;  // Weston has whole ones only.
  };

  explicit WaylandCompositor(const Options& options);
  // Another process's, which stays its own.
  WaylandCompositor(const Options& options, const std::string& folder);
  WaylandCompositor() : WaylandCompositor(Options{}) {}
  ~WaylandCompositor();
  WaylandCompositor(const WaylandCompositor&) = delete;
  WaylandCompositor& operator=(const WaylandCompositor&) = delete;

  // What WAYLAND_DISPLAY has to be: a path. Empty when the compositor did not start; what it said is on stderr then.
  const std::string& socket() const { return socket_; }
  // Where programs that keep files of theirs want XDG_RUNTIME_DIR to be.
  const std::string& folder() const { return folder_; }
  const Options& options() const { return options_; }

  // Has sway do something, as swaymsg would. Returns whether it was done: for instance whether there is such a window.
  bool Command(const std::string& command) const;

  // Ends it as a crash would, and waits for its end.
  void Kill();
  // Starts another one under the same name. Returns false when that did not start.
  bool Restart();
  // Makes it do nothing, as a machine that is out of memory would, and go on.
  void Stall();
  void GoOn();

 private:
  void Start();

  const Options options_;
  const bool is_own_ = true;
  pid_t process_ = -1;
  std::string folder_;
  std::string socket_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_WAYLAND_COMPOSITOR_H_
