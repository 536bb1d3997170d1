// A mutex for a thread that comes back for it again and again, and others that want it now and then.
#ifndef QUARN_AUDIO_FAIR_MUTEX_H_
#define QUARN_AUDIO_FAIR_MUTEX_H_

#include <atomic>

#include "foundation/mutex.h"

// Whoever gives a plain mutex back and takes it again at once keeps the waiters out, for as long as it likes. Here
// those who come now and then wait in a turnstile, and the thread that comes back goes through it too when somebody is
// there: then, as a rule, the waiter is next. While nobody waits, coming back costs the one mutex and nothing else. Not
// recursive.
class QUARN_CAPABILITY("mutex") FairMutex {
 public:
  // Now and then.
  void Lock() QUARN_ACQUIRE() QUARN_NO_THREAD_SAFETY_ANALYSIS {
    ++waiting_;
    {
      MutexLocker<Mutex> turnstile(turnstile_);
      mutex_.Lock();
    }
    --waiting_;
  }
  // Again and again.
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
class QUARN_SCOPED_CAPABILITY FairMutexReturn {
 public:
  explicit FairMutexReturn(FairMutex& mutex) QUARN_ACQUIRE(mutex) : mutex_(mutex) { mutex_.LockReturning(); }
  ~FairMutexReturn() QUARN_RELEASE() { mutex_.Unlock(); }
  FairMutexReturn(const FairMutexReturn&) = delete;
  FairMutexReturn& operator=(const FairMutexReturn&) = delete;

 private:
  FairMutex& mutex_;
};

#endif  // QUARN_AUDIO_FAIR_MUTEX_H_
