// An item's registration with the render loop. Any thread attaches and detaches; the render thread ticks.
#include "graphics/graphics_item.h"

GraphicsItem::GraphicsItem(GraphicsContext* context)
    : ContextObject(GraphicsContextImpl::From(context)), context_(context) {
  CountAs(Kind::kItem);
}

GraphicsItem::~GraphicsItem() = default;

void GraphicsItem::Attach(TickCallback* callback) {
  {
    MutexLocker<Mutex> lock(*mutex_);
    callback_ = callback;
  }
  // Without the item's mutex: the render thread holds the context's lock when it takes that.
  if (context_) context_->AddItem(this);
}

void GraphicsItem::Detach() {
  if (context_) context_->RemoveItem(this);
  MutexLocker<Mutex> lock(*mutex_);
  callback_ = nullptr;
}

// The analysis does not see that the copy is the same mutex.
void GraphicsItem::Tick() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  // A tick may drop the last reference on its item: the mutex has to outlast that until it is unlocked.
  const std::shared_ptr<Mutex> mutex = mutex_;
  MutexLocker<Mutex> lock(*mutex);
  if (callback_) callback_->OnTick();
}
