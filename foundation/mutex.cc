// The recursive mutex on POSIX. Any thread enters.
#include "foundation/mutex.h"

Mutex::~Mutex() { pthread_mutex_destroy(&mutex_); }

void Mutex::Lock() {
  Renew();
  pthread_mutex_lock(&mutex_);
}

void Mutex::Unlock() {
  if (!Renew()) pthread_mutex_unlock(&mutex_);
}

bool Mutex::TryLock() {
  Renew();
  return pthread_mutex_trylock(&mutex_) != 0;
}
