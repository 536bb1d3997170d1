// Where threads wait, for a limited time, until something holds that other threads change.
#ifndef QUARN_FOUNDATION_WAIT_POINT_H_
#define QUARN_FOUNDATION_WAIT_POINT_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

// Any thread. Whoever changes what is waited for calls Wake afterwards, without a lock that `holds` takes.
class WaitPoint {
 public:
  // Has everybody who waits look again.
  void Wake() {
    { const std::lock_guard<std::mutex> lock(mutex_); }  // Whoever has looked is waiting by now.
    changed_.notify_all();
  }

  // Returns whether holds() within that time; it is asked once at least.
  template <class Predicate>
  bool WaitFor(unsigned int ms, Predicate holds) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(ms), holds);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

#endif  // QUARN_FOUNDATION_WAIT_POINT_H_
