// A thread that is known to wait.
#ifndef QUARN_TESTS_SUPPORT_WAITER_H_
#define QUARN_TESTS_SUPPORT_WAITER_H_

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

namespace test {

// Runs a function on a thread of its own. Once constructed that thread waits, as far as the system can tell; the
// destructor waits for the function's end.
class Waiter {
 public:
  template <class Wait>
  explicit Waiter(Wait wait)
      : thread_([this, wait] {
          id_ = static_cast<int>(syscall(SYS_gettid));
          wait();
        }) {
    while (id_ == 0 || !Sleeps()) std::this_thread::yield();
  }
  ~Waiter() { thread_.join(); }

 private:
  bool Sleeps() const {
    std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
    std::string number, name, state;
    file >> number >> name >> state;
    return state == "S";
  }

  std::atomic<int> id_{0};
  std::thread thread_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_WAITER_H_
