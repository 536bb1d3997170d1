// A lock with many readers or one writer.
#ifndef QUARN_FOUNDATION_RW_MUTEX_H_
#define QUARN_FOUNDATION_RW_MUTEX_H_

#include <pthread.h>

#include "foundation/fork_count.h"
#include "foundation/thread_annotations.h"

// The POSIX lock lies in the object itself, as a Mutex's does, and is free in a fork of the process like that: a fork
// gives back at most one of the locks that its thread held.
class QUARN_CAPABILITY("mutex") RWMutex {
 public:
  RWMutex();
  ~RWMutex();
  RWMutex(const RWMutex&) = delete;
  RWMutex& operator=(const RWMutex&) = delete;

  void ReadLock() QUARN_ACQUIRE_SHARED();
  void ReadUnlock() QUARN_RELEASE_SHARED();
  void WriteLock() QUARN_ACQUIRE();
  void WriteUnlock() QUARN_RELEASE();
  // Returns true when the read lock WAS obtained.
  bool TryReadLock() QUARN_TRY_ACQUIRE_SHARED(true);
  // Returns true when the write lock was NOT obtained. The two answer in opposite senses, as the interface has it.
  bool TryWriteLock() QUARN_TRY_ACQUIRE(false);

 private:
  // Returns whether this process had not used it yet: nobody holds it then.
  bool Renew() {
    return renewal_.Check([this] { pthread_rwlock_init(&lock_, nullptr); });
  }

  pthread_rwlock_t lock_;
  ForkRenewal renewal_;
};

#endif  // QUARN_FOUNDATION_RW_MUTEX_H_
