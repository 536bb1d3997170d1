// An X server of a test's own.
#ifndef QUARN_TESTS_SUPPORT_X_SERVER_H_
#define QUARN_TESTS_SUPPORT_X_SERVER_H_

#include <sys/types.h>

#include <string>

namespace test {

// Runs Xvfb on a display that is free, for as long as it lives.
class XServer {
 public:
  XServer();
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  // What DISPLAY has to be, for instance ":7"; empty when the server did not start.
  const std::string& display() const { return display_; }
  // Ends the server as a crash would, and waits for its end.
  void Kill();

 private:
  pid_t process_ = -1;
  std::string display_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_X_SERVER_H_
