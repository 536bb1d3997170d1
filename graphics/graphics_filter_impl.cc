// What every engine filter shares. Any thread attaches, detaches and resizes; the render thread draws.
#include "graphics/graphics_filter_impl.h"

#include "foundation/logger.h"

GraphicsFilterImpl::GraphicsFilterImpl(unsigned int width, unsigned int height) : width_(width), height_(height) {}

void GraphicsFilterImpl::Attach(DrawCallback* callback) {
  MutexLocker<Mutex> lock(mutex_);
  callback_ = callback;
}

void GraphicsFilterImpl::Detach() {
  MutexLocker<Mutex> lock(mutex_);
  callback_ = nullptr;
}

void GraphicsFilterImpl::Draw() {
  MutexLocker<Mutex> lock(mutex_);
  if (callback_) callback_->Draw();
}

unsigned int GraphicsFilterImpl::width() { return width_; }

unsigned int GraphicsFilterImpl::height() { return height_; }

// The target keeps its size. Kept: C26.
void GraphicsFilterImpl::Resize(unsigned int width, unsigned int height) {
  width_ = width;
  height_ = height;
}

GraphicsTexture* GraphicsFilterImpl::texture() {
  Logger::default_logger()->Warn("GraphicsFilter::texture() is unimplemented");
  return nullptr;
}
