// The recursive fair mutex. Any thread enters.
#include "foundation/fair_mutex.h"

// This class is the capability that callers see, and the mutexes inside are taken and given back by different
// functions: the analysis cannot follow that.
void RecursiveFairMutex::Lock() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  ForgetOwnerInFork();
  if (HeldByCaller()) {
    ++lock_count_;
    return;
  }
  // Whoever comes back stops at the turnstile, which the waiter holds, and so cannot keep the waiter out.
  MutexLocker<Mutex> turnstile(turnstile_);
  mutex_.Lock();
  NoteOwner();
}

bool RecursiveFairMutex::LockAtOnce() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  ForgetOwnerInFork();
  if (HeldByCaller()) {
    ++lock_count_;
    return true;
  }
  if (turnstile_.TryLock()) return false;  // True says that it was not obtained.
  const bool obtained = !mutex_.TryLock();
  if (obtained) NoteOwner();
  turnstile_.Unlock();
  return obtained;
}

void RecursiveFairMutex::Unlock() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  if (ForgetOwnerInFork() || !HeldByCaller() || --lock_count_ > 0) return;
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  mutex_.Unlock();
}

bool RecursiveFairMutex::HeldByCaller() const {
  return !renewal_.IsDue() && owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

bool RecursiveFairMutex::ForgetOwnerInFork() {
  return renewal_.Check([this] {
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    lock_count_ = 0;
  });
}

void RecursiveFairMutex::NoteOwner() {
  owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  lock_count_ = 1;
}
