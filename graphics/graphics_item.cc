// An item's registration with the render loop. Any thread attaches and detaches; the render thread ticks.
#include "graphics/graphics_item.h"

#include "graphics/graphics_context.h"

GraphicsItem::GraphicsItem(GraphicsContext* context) : context_(context) {}

GraphicsItem::~GraphicsItem() = default;

void GraphicsItem::Attach(TickCallback* callback) {
  {
    MutexLocker<Mutex> lock(mutex_);
    callback_ = callback;
  }
  // Without the item's mutex: the render thread holds the context's lock when it takes that.
  if (context_) context_->AddItem(this);
}

void GraphicsItem::Detach() {
  if (context_) context_->RemoveItem(this);
  MutexLocker<Mutex> lock(mutex_);
  callback_ = nullptr;
}

void GraphicsItem::Tick() {
  MutexLocker<Mutex> lock(mutex_);
  if (callback_) callback_->OnTick();
}
