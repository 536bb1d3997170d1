// A window system that keeps the window thread waiting.
#ifndef QUARN_TESTS_SUPPORT_STALLED_WINDOW_THREAD_H_
#define QUARN_TESTS_SUPPORT_STALLED_WINDOW_THREAD_H_

#include <future>

#include "graphics/opengl/cgl/window_thread.h"

namespace test {

// Keeps the window thread from its works for as long as it lives.
class StalledWindowThread {
 public:
  StalledWindowThread() {
    WindowThread::Get().Post([this, go_on = go_on_.get_future().share()] {
      stalled_.set_value();
      go_on.wait();
    });
    stalled_.get_future().wait();
  }
  ~StalledWindowThread() { go_on_.set_value(); }
  StalledWindowThread(const StalledWindowThread&) = delete;
  StalledWindowThread& operator=(const StalledWindowThread&) = delete;

 private:
  std::promise<void> stalled_;
  std::promise<void> go_on_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_STALLED_WINDOW_THREAD_H_
