// The recursive mutex on POSIX. Any thread enters.
#include "foundation/mutex.h"

#include <pthread.h>

class MutexImpl {
 public:
  MutexImpl() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  ~MutexImpl() { pthread_mutex_destroy(&mutex_); }
  MutexImpl(const MutexImpl&) = delete;
  MutexImpl& operator=(const MutexImpl&) = delete;

  void Lock() { pthread_mutex_lock(&mutex_); }
  void Unlock() { pthread_mutex_unlock(&mutex_); }
  bool TryLock() { return pthread_mutex_trylock(&mutex_) != 0; }

 private:
  pthread_mutex_t mutex_;
};

Mutex::Mutex() : impl_(std::make_unique<MutexImpl>()) {}

Mutex::~Mutex() = default;

void Mutex::Lock() { impl_->Lock(); }

void Mutex::Unlock() { impl_->Unlock(); }

bool Mutex::TryLock() { return impl_->TryLock(); }
