// The host's mutex: forwards to Mutex. Any thread enters.
#include <quarn/qn_mutex.h>

#include <new>

#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"

// The Mutex under a name of ours: public headers name nothing that a host may have a name for.
class QNMutexPri : public Mutex {};

namespace {

// What all mutexes are that found no memory: a host that locks one must be alone. It is recursive, so a thread may hold
// several of them.
QNMutexPri& SharedMutex() {
  static NeverDestroyed<QNMutexPri> mutex;
  return mutex.get();
}

}  // namespace

QNMutex::QNMutex() : impl_(new (std::nothrow) QNMutexPri) {
  if (!impl_) Logger::default_logger()->Error("[QNMutex] no memory: it shares one mutex with others without memory");
}

QNMutex::~QNMutex() = default;

// Locks are held from one call to the next here: the analysis cannot follow them.
bool QNMutex::valid() const { return impl_ != nullptr; }

void QNMutex::Lock() QUARN_NO_THREAD_SAFETY_ANALYSIS { (impl_ ? *impl_ : SharedMutex()).Lock(); }

void QNMutex::Unlock() QUARN_NO_THREAD_SAFETY_ANALYSIS { (impl_ ? *impl_ : SharedMutex()).Unlock(); }

QNMutexLocker::QNMutexLocker(QNMutex& mutex) : mutex_(mutex) { mutex_.Lock(); }

QNMutexLocker::~QNMutexLocker() { mutex_.Unlock(); }
