// A lock with many readers or one writer, and its scoped guards.
#ifndef QUARN_FOUNDATION_RW_MUTEX_H_
#define QUARN_FOUNDATION_RW_MUTEX_H_

#include <pthread.h>

#include "foundation/fork_count.h"
#include "foundation/thread_annotations.h"

// The POSIX lock lies in the object itself, as a Mutex's does, and is free in a fork of the process like that: a fork
// gives back at most one of the locks that its thread held.
class QUARN_CAPABILITY("mutex") RWMutex {
 public:
  RWMutex() = default;
  ~RWMutex();
  RWMutex(const RWMutex&) = delete;
  RWMutex& operator=(const RWMutex&) = delete;

  void ReadLock() QUARN_ACQUIRE_SHARED();
  void ReadUnlock() QUARN_RELEASE_SHARED();
  void WriteLock() QUARN_ACQUIRE();
  void WriteUnlock() QUARN_RELEASE();
  // Returns true when the read lock WAS obtained.
  bool TryReadLock() QUARN_TRY_ACQUIRE_SHARED(true);
  // Returns true when the write lock was NOT obtained, the opposite sense. Kept: C6.
  bool TryWriteLock() QUARN_TRY_ACQUIRE(false);

 private:
  // Made by a value, for the function that makes one may fail.
  static constexpr pthread_rwlock_t kFree = PTHREAD_RWLOCK_INITIALIZER;

  // Returns whether this process had not used it yet: nobody holds it then.
  bool Renew() {
    return renewal_.Check([this] { lock_ = kFree; });
  }

  pthread_rwlock_t lock_ = kFree;
  ForkRenewal renewal_;
};

// Holds the lock for reading, beside other readers, for as long as it lives.
class QUARN_SCOPED_CAPABILITY ReadLocker {
 public:
  explicit ReadLocker(RWMutex& mutex) QUARN_ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.ReadLock(); }
  ~ReadLocker() QUARN_RELEASE() { mutex_.ReadUnlock(); }
  ReadLocker(const ReadLocker&) = delete;
  ReadLocker& operator=(const ReadLocker&) = delete;

 private:
  RWMutex& mutex_;
};

// Holds the lock for writing, alone, for as long as it lives.
class QUARN_SCOPED_CAPABILITY WriteLocker {
 public:
  explicit WriteLocker(RWMutex& mutex) QUARN_ACQUIRE(mutex) : mutex_(mutex) { mutex_.WriteLock(); }
  ~WriteLocker() QUARN_RELEASE() { mutex_.WriteUnlock(); }
  WriteLocker(const WriteLocker&) = delete;
  WriteLocker& operator=(const WriteLocker&) = delete;

 private:
  RWMutex& mutex_;
};

#endif  // QUARN_FOUNDATION_RW_MUTEX_H_
