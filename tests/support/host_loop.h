// A host's main loop, which runs when the test says so.
#ifndef QUARN_TESTS_SUPPORT_HOST_LOOP_H_
#define QUARN_TESTS_SUPPORT_HOST_LOOP_H_

#include <cstddef>
#include <deque>
#include <utility>

#include <quarn/qn_main_queue.h>

namespace test {

// The main queue for as long as it lives. One thread posts and runs.
class HostLoop {
 public:
  HostLoop() { qn_set_main_queue(&HostLoop::Post, this); }
  ~HostLoop() { qn_set_main_queue(nullptr, nullptr); }
  HostLoop(const HostLoop&) = delete;
  HostLoop& operator=(const HostLoop&) = delete;

  std::size_t size() const { return works_.size(); }
  // Returns how many there were.
  std::size_t Run() {
    const std::size_t count = works_.size();
    while (!works_.empty()) {
      const auto work = works_.front();
      works_.pop_front();
      work.first(work.second);
    }
    return count;
  }

 private:
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    static_cast<HostLoop*>(user)->works_.emplace_back(function, argument);
  }

  std::deque<std::pair<QnMainQueueFunction, void*>> works_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_HOST_LOOP_H_
