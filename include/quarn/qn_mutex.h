// A recursive mutex for hosts.
#ifndef QUARN_QN_MUTEX_H_
#define QUARN_QN_MUTEX_H_

#include <memory>

#include <quarn/export.h>

class QNMutexPri;

// A mutex that the owning thread may lock again; every Lock needs its Unlock. One that finds no memory says so in the
// log and shares one mutex with all others that found none: it excludes as it should, and more than that.
//
// Thread: any. Unlock belongs to the thread that locked.
class QUARN_EXPORT QNMutex {
 public:
  QNMutex();
  ~QNMutex();
  QNMutex(const QNMutex&) = delete;
  QNMutex& operator=(const QNMutex&) = delete;

  // Blocks: until no other thread holds the mutex.
  void Lock();
  void Unlock();

 private:
  std::unique_ptr<QNMutexPri> impl_;
};

// Holds a QNMutex for as long as it lives.
class QUARN_EXPORT QNMutexLocker {
 public:
  explicit QNMutexLocker(QNMutex& mutex);
  ~QNMutexLocker();
  QNMutexLocker(const QNMutexLocker&) = delete;
  QNMutexLocker& operator=(const QNMutexLocker&) = delete;

 private:
  QNMutex& mutex_;
};

#endif  // QUARN_QN_MUTEX_H_
