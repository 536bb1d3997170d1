// The host's mutex: forwards to Mutex. Any thread enters.
#include <quarn/qn_mutex.h>

#include "foundation/mutex.h"

// The Mutex under a name of ours: public headers name nothing that a host may have a name for.
class QNMutexPri : public Mutex {};

QNMutex::QNMutex() : impl_(std::make_unique<QNMutexPri>()) {}

QNMutex::~QNMutex() = default;

// Locks are held from one call to the next here: the analysis cannot follow them.
void QNMutex::Lock() QUARN_NO_THREAD_SAFETY_ANALYSIS { impl_->Lock(); }

void QNMutex::Unlock() QUARN_NO_THREAD_SAFETY_ANALYSIS { impl_->Unlock(); }

QNMutexLocker::QNMutexLocker(QNMutex& mutex) : mutex_(mutex) { mutex_.Lock(); }

QNMutexLocker::~QNMutexLocker() { mutex_.Unlock(); }
