// A recursive mutex and the scoped guard of every lockable class.
#ifndef QUARN_FOUNDATION_MUTEX_H_
#define QUARN_FOUNDATION_MUTEX_H_

#include <pthread.h>

#include "foundation/fork_count.h"
#include "foundation/thread_annotations.h"

// The owning thread may lock again; every lock needs its unlock. The POSIX mutex lies in the object itself: what has a
// mutex needs no memory for it. In a fork of the process, where its holder may be gone, it is free.
class QUARN_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() QUARN_ACQUIRE();
  void Unlock() QUARN_RELEASE();
  // Returns true when the lock was NOT obtained. Kept: C6.
  bool TryLock() QUARN_TRY_ACQUIRE(false);

 private:
  // Made by a value, for the functions that make one may fail.
  static constexpr pthread_mutex_t kFree = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

  // Returns whether this process had not used it yet: nobody holds it then.
  bool Renew() {
    return renewal_.Check([this] { mutex_ = kFree; });
  }

  pthread_mutex_t mutex_ = kFree;
  ForkRenewal renewal_;
};

// Holds the lock of a T, any class with Lock() and Unlock(), for as long as it lives.
template <class T>
class QUARN_SCOPED_CAPABILITY MutexLocker {
 public:
  explicit MutexLocker(T& lockable) QUARN_ACQUIRE(lockable) : lockable_(lockable) { lockable_.Lock(); }
  ~MutexLocker() QUARN_RELEASE() { lockable_.Unlock(); }
  MutexLocker(const MutexLocker&) = delete;
  MutexLocker& operator=(const MutexLocker&) = delete;

 private:
  T& lockable_;
};

#endif  // QUARN_FOUNDATION_MUTEX_H_
