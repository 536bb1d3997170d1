// The host's event: forwards to Event. Any thread enters.
#include <quarn/qn_event.h>

#include <new>

#include "foundation/event.h"
#include "foundation/logger.h"

// The Event under a name of ours, as QNMutexPri is.
class QNEventPri : public Event {
 public:
  using Event::Event;
};

QNEvent::QNEvent(bool manual_reset) : impl_(new (std::nothrow) QNEventPri(manual_reset)) {
  if (!impl_ || !impl_->valid()) {
    Logger::default_logger()->Error("[QNEvent] no memory: nothing is signalled, and nobody waits");
  }
}

QNEvent::~QNEvent() {
  delete impl_;
  impl_ = nullptr;
}

bool QNEvent::valid() const { return impl_ && impl_->valid(); }

bool QNEvent::Signal() { return impl_ && impl_->Signal(); }

bool QNEvent::Reset() { return impl_ && impl_->Reset(); }

bool QNEvent::Wait() { return impl_ && impl_->Wait(); }

bool QNEvent::TimedWait(unsigned long ms) { return impl_ && impl_->TimedWait(ms); }

bool QNEvent::Try() { return impl_ && impl_->Try(); }
