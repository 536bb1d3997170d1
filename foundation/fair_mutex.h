// Mutexes for a thread that comes back for its lock again and again, and others that want it from time to time.
//
// Whoever gives a plain mutex back and takes it again at once keeps the waiters out, for as long as it likes. Here
// those who wait do so in a turnstile, and whoever comes back has to go through it too: then the waiter is next. Which
// of several waiters that is, is not said.
#ifndef QUARN_FOUNDATION_FAIR_MUTEX_H_
#define QUARN_FOUNDATION_FAIR_MUTEX_H_

#include <atomic>
#include <thread>

#include "foundation/fork_count.h"
#include "foundation/mutex.h"

// For one known thread that comes back, with LockReturning: while nobody waits, that costs the one mutex and nothing
// else. Not recursive.
class QUARN_CAPABILITY("mutex") FairMutex {
 public:
  // For everybody but the thread that comes back.
  void Lock() QUARN_ACQUIRE() QUARN_NO_THREAD_SAFETY_ANALYSIS {
    ++waiting_;
    {
      MutexLocker<Mutex> turnstile(turnstile_);
      mutex_.Lock();
    }
    --waiting_;
  }
  // For the thread that comes back. As a rule whoever waits is served first: one that comes to wait in this very moment
  // may be served after it.
  void LockReturning() QUARN_ACQUIRE() QUARN_NO_THREAD_SAFETY_ANALYSIS {
    if (waiting_ > 0) {
      MutexLocker<Mutex> turnstile(turnstile_);
      mutex_.Lock();
    } else {
      mutex_.Lock();
    }
  }
  void Unlock() QUARN_RELEASE() QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex_.Unlock(); }

 private:
  Mutex mutex_;
  Mutex turnstile_;
  std::atomic<int> waiting_{0};
};

// Holds a FairMutex, for the thread that comes back, for as long as it lives.
class QUARN_SCOPED_CAPABILITY ReturningLocker {
 public:
  explicit ReturningLocker(FairMutex& mutex) QUARN_ACQUIRE(mutex) : mutex_(mutex) { mutex_.LockReturning(); }
  ~ReturningLocker() QUARN_RELEASE() { mutex_.Unlock(); }
  ReturningLocker(const ReturningLocker&) = delete;
  ReturningLocker& operator=(const ReturningLocker&) = delete;

 private:
  FairMutex& mutex_;
};

// For threads of which any may come back. The owner may lock again; every lock needs its unlock. In a fork of the
// process, where its holder may be gone, it is free, and an unlock of what was locked before the fork does nothing; nor
// does one by a thread that does not hold it.
class QUARN_CAPABILITY("mutex") RecursiveFairMutex {
 public:
  void Lock() QUARN_ACQUIRE();
  // Takes the lock if the caller holds it already, or nobody holds or awaits it. Returns whether the caller has it now;
  // false asks for a Lock, which will wait.
  bool LockAtOnce() QUARN_TRY_ACQUIRE(true);
  void Unlock() QUARN_RELEASE();
  // Whether the calling thread holds the lock.
  bool HeldByCaller() const;

 private:
  // Returns whether this process had not used the lock yet: nobody holds it then.
  bool ForgetOwnerInFork();
  void NoteOwner();

  Mutex mutex_;
  Mutex turnstile_;                       // Held by the thread that waits for the mutex.
  std::atomic<std::thread::id> owner_{};  // Of the mutex.
  int lock_count_ = 0;                    // How often the owner has locked it.
  ForkRenewal renewal_;                   // Of the two, for the mutexes are free in a fork.
};

#endif  // QUARN_FOUNDATION_FAIR_MUTEX_H_
