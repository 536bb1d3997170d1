// A host's main loop, which runs when the test says so.
#ifndef QUARN_TESTS_SUPPORT_HOST_LOOP_H_
#define QUARN_TESTS_SUPPORT_HOST_LOOP_H_

#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

#include <quarn/qn_main_queue.h>

namespace test {

// The main queue for as long as it lives; any thread posts. What has not run by its end is dropped, and nothing may
// reach it then: the sanitizers would tell.
class HostLoop {
 public:
  using Work = std::pair<QnMainQueueFunction, void*>;

  HostLoop() { qn_set_main_queue(&HostLoop::Post, this); }
  ~HostLoop() { qn_set_main_queue(nullptr, nullptr); }
  HostLoop(const HostLoop&) = delete;
  HostLoop& operator=(const HostLoop&) = delete;

  std::size_t size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return works_.size();
  }
  // Takes the first work out, for the caller to call as often as it likes. There must be one.
  Work Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Work work = works_.front();
    works_.pop_front();
    return work;
  }
  // Runs what is queued, in order, and what that queues. Returns how much it was.
  std::size_t Run() {
    std::size_t count = 0;
    for (; size() > 0; ++count) {
      const Work work = Take();
      work.first(work.second);
    }
    return count;
  }

 private:
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    auto* const loop = static_cast<HostLoop*>(user);
    const std::lock_guard<std::mutex> lock(loop->mutex_);
    loop->works_.emplace_back(function, argument);
  }

  mutable std::mutex mutex_;
  std::deque<Work> works_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_HOST_LOOP_H_
