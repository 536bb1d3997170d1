// The reader-writer lock on POSIX. Any thread enters.
#include "foundation/rw_mutex.h"

#include <pthread.h>

class RWMutexImpl {
 public:
  RWMutexImpl() { pthread_rwlock_init(&lock_, nullptr); }
  ~RWMutexImpl() { pthread_rwlock_destroy(&lock_); }
  RWMutexImpl(const RWMutexImpl&) = delete;
  RWMutexImpl& operator=(const RWMutexImpl&) = delete;

  void ReadLock() { pthread_rwlock_rdlock(&lock_); }
  void WriteLock() { pthread_rwlock_wrlock(&lock_); }
  void Unlock() { pthread_rwlock_unlock(&lock_); }
  bool TryReadLock() { return pthread_rwlock_tryrdlock(&lock_) == 0; }
  bool TryWriteLock() { return pthread_rwlock_trywrlock(&lock_) != 0; }

 private:
  pthread_rwlock_t lock_;
};

RWMutex::RWMutex() : impl_(std::make_unique<RWMutexImpl>()) {}

RWMutex::~RWMutex() = default;

void RWMutex::ReadLock() { impl_->ReadLock(); }

void RWMutex::ReadUnlock() { impl_->Unlock(); }

void RWMutex::WriteLock() { impl_->WriteLock(); }

void RWMutex::WriteUnlock() { impl_->Unlock(); }

bool RWMutex::TryReadLock() { return impl_->TryReadLock(); }

bool RWMutex::TryWriteLock() { return impl_->TryWriteLock(); }
