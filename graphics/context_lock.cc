// The lock and the references of a context, for those who know it by its interface only. Any thread.
#include "graphics/context_lock.h"

#include "graphics/graphics_context_impl.h"

ContextLock::ContextLock(GraphicsContext* context) : ContextLock(GraphicsContextImpl::From(context)) {}

// The analysis cannot follow a lock that may not be there.
ContextLock::ContextLock(GraphicsContextImpl* context) QUARN_NO_THREAD_SAFETY_ANALYSIS : context_(context) {
  if (context_) context_->Lock();
}

ContextLock::~ContextLock() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  if (context_) context_->Unlock();
}

bool HoldsContextLock(const GraphicsContext* context) {
  const GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  return impl && impl->HeldByCaller();
}

bool CanDraw(const GraphicsContext* context) {
  const GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  return impl && impl->can_draw();
}

GraphicsContext* AcquireContext(GraphicsContext* context) {
  GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  if (impl) impl->AddRef();
  return impl;
}

void ReleaseContext(GraphicsContext* context) {
  if (GraphicsContextImpl* const impl = GraphicsContextImpl::From(context)) impl->Release();
}
