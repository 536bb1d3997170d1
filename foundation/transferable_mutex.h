// A recursive lock that is not bound to the thread that took it.
#ifndef QUARN_FOUNDATION_TRANSFERABLE_MUTEX_H_
#define QUARN_FOUNDATION_TRANSFERABLE_MUTEX_H_

#include <condition_variable>
#include <mutex>
#include <thread>

// The holder may lock again; every lock needs its unlock. Another thread than the holder may give it back, when it
// knows that the holder has done with what the lock guards; and it may be destroyed while it is held. Neither is
// allowed with a Mutex. It wears no thread annotations, for those bind a lock to a thread.
class TransferableMutex {
 public:
  TransferableMutex() = default;
  TransferableMutex(const TransferableMutex&) = delete;
  TransferableMutex& operator=(const TransferableMutex&) = delete;

  void Lock() {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(mutex_);
    free_.wait(lock, [&] { return depth_ == 0 || owner_ == self; });
    owner_ = self;
    ++depth_;
  }
  // Returns whether it has locked, which is so where Lock would not wait.
  bool TryLock() {
    const std::thread::id self = std::this_thread::get_id();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (depth_ != 0 && owner_ != self) return false;
    owner_ = self;
    ++depth_;
    return true;
  }
  // Takes one Lock back, whoever made it. Does nothing where nobody holds it.
  void Unlock() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (depth_ > 0 && --depth_ == 0) free_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable free_;
  std::thread::id owner_;  // Whose lock it is while depth_ is not 0.
  int depth_ = 0;
};

#endif  // QUARN_FOUNDATION_TRANSFERABLE_MUTEX_H_
