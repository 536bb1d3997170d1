// The one lock that orders attaching and detaching.
#ifndef QUARN_GRAPHICS_PUBLIC_CONTEXT_LOCK_H_
#define QUARN_GRAPHICS_PUBLIC_CONTEXT_LOCK_H_

#include "graphics/graphics_context_impl.h"

// The context whose lock orders the objects of `context`; null when there is none.
inline GraphicsContextImpl* LockableContext(GraphicsContext* context) {
  return dynamic_cast<GraphicsContextImpl*>(context);
}

// The same with a reference, for an object that may outlive its device; ReleaseContext gives it back.
inline GraphicsContextImpl* AcquireContext(GraphicsContext* context) {
  GraphicsContextImpl* const lockable = LockableContext(context);
  if (lockable) lockable->AddRef();
  return lockable;
}

inline void ReleaseContext(GraphicsContextImpl* context) {
  if (context) context->Release();
}

// Holds the lock of a context, when there is one, for as long as it lives.
//
// Whoever attaches or detaches a scene, an item or a filter holds it throughout: so the render loop, and host threads
// among themselves, see each step whole. It is taken before every other lock but the callback mutex of a raw output,
// which is held when a host attaches or detaches something from inside OnFrame. Queued tasks and ticks run with it
// held; were it taken after any other lock, one of them that attaches something could deadlock.
class ContextLock {
 public:
  explicit ContextLock(GraphicsContextImpl* context) QUARN_NO_THREAD_SAFETY_ANALYSIS : context_(context) {
    if (context_) context_->Lock();
  }
  ~ContextLock() QUARN_NO_THREAD_SAFETY_ANALYSIS {
    if (context_) context_->Unlock();
  }
  ContextLock(const ContextLock&) = delete;
  ContextLock& operator=(const ContextLock&) = delete;

 private:
  GraphicsContextImpl* context_;
};

#endif  // QUARN_GRAPHICS_PUBLIC_CONTEXT_LOCK_H_
