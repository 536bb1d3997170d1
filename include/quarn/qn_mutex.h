// A recursive mutex for hosts. Words and tags: quarn.h.
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
  // A mutex that nobody holds.
  QNMutex();
  // Destroys the mutex, which nobody may hold any more.
  //
  // Thread: caller-serialised.
  ~QNMutex();
  QNMutex(const QNMutex&) = delete;
  QNMutex& operator=(const QNMutex&) = delete;

  // Returns whether there was memory for a mutex of its own.
  bool valid() const;
  // Takes the mutex.
  //
  // Blocks: until no other thread holds the mutex.
  void Lock();
  // Gives the mutex back, once for each Lock.
  //
  // Thread: the one that locked.
  void Unlock();

 private:
  std::unique_ptr<QNMutexPri> impl_;
};

// Holds a QNMutex for as long as it lives.
//
// Thread: the one that it is made on.
class QUARN_EXPORT QNMutexLocker {
 public:
  // Takes a mutex.
  //
  // `mutex`: held until the locker ends.
  //
  // Blocks: until no other thread holds the mutex.
  // Ownership: `mutex` stays the caller's, and must outlive the locker.
  explicit QNMutexLocker(QNMutex& mutex);
  // Gives the mutex back.
  ~QNMutexLocker();
  QNMutexLocker(const QNMutexLocker&) = delete;
  QNMutexLocker& operator=(const QNMutexLocker&) = delete;

 private:
  QNMutex& mutex_;
};

#endif  // QUARN_QN_MUTEX_H_
