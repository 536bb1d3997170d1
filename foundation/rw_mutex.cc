// The reader-writer lock on POSIX. Any thread enters.
#include "foundation/rw_mutex.h"

RWMutex::~RWMutex() { pthread_rwlock_destroy(&lock_); }

void RWMutex::ReadLock() {
  Renew();
  pthread_rwlock_rdlock(&lock_);
}

void RWMutex::ReadUnlock() {
  if (!Renew()) pthread_rwlock_unlock(&lock_);
}

void RWMutex::WriteLock() {
  Renew();
  pthread_rwlock_wrlock(&lock_);
}

void RWMutex::WriteUnlock() {
  if (!Renew()) pthread_rwlock_unlock(&lock_);
}

bool RWMutex::TryReadLock() {
  Renew();
  return pthread_rwlock_tryrdlock(&lock_) == 0;
}

bool RWMutex::TryWriteLock() {
  Renew();
  return pthread_rwlock_trywrlock(&lock_) != 0;
}
