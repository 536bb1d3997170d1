// An X server of a test's own.
#ifndef QUARN_TESTS_SUPPORT_X_SERVER_H_
#define QUARN_TESTS_SUPPORT_X_SERVER_H_

#include <sys/types.h>

#include <string>

struct xcb_connection_t;

namespace test {

// Runs an X server on a display that is free, for as long as it lives: Xvfb, or the server that a Wayland compositor
// (cage, without a screen) runs for programs of X.
class XServer {
 public:
  enum Kind { kXvfb, kXWayland };

  // `screen`: width x height x depth, of Xvfb's screen.
  explicit XServer(Kind kind = kXvfb, const char* screen = "640x480x24");
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  // What DISPLAY has to be, for instance ":7"; empty when the server did not start.
  const std::string& display() const { return display_; }
  // Ends the server as a crash would, and waits for its end.
  void Kill();
  // Makes it do nothing, as a machine that is out of memory would, and go on. For Xvfb.
  void Stall();
  void GoOn();

 private:
  pid_t process_ = -1;
  int life_ = -1;       // A pipe: when it is closed, the server ends.
  std::string folder_;  // Where the compositor has its files.
  xcb_connection_t* connection_ = nullptr;
  std::string display_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_X_SERVER_H_
