// The part of a view that needs no backend. Host threads attach, resize and colour; the render thread draws.
#include "graphics/graphics_view_impl.h"

#include "foundation/logger.h"

GraphicsViewImpl::GraphicsViewImpl(unsigned int width, unsigned int height)
    : drawn_width_(width), drawn_height_(height), width_(width), height_(height) {}

GraphicsViewImpl::~GraphicsViewImpl() = default;

void GraphicsViewImpl::Attach(DrawCallback* callback) {
  MutexLocker<Mutex> lock(callback_mutex_);
  callback_ = callback;
}

void GraphicsViewImpl::Detach() {
  MutexLocker<Mutex> lock(callback_mutex_);
  callback_ = nullptr;
}

bool GraphicsViewImpl::BindRenderTarget() {
  Logger::default_logger()->Warn("GraphicsView::BindRenderTarget is unimplemented");
  return false;
}

void GraphicsViewImpl::UnbindRenderTarget() {
  Logger::default_logger()->Warn("GraphicsView::UnbindRenderTarget is unimplemented");
}

unsigned int GraphicsViewImpl::width() { return width_.load(std::memory_order_relaxed); }

unsigned int GraphicsViewImpl::height() { return height_.load(std::memory_order_relaxed); }

void GraphicsViewImpl::Resize(unsigned int width, unsigned int height) {
  MutexLocker<Mutex> lock(size_mutex_);
  width_.store(width, std::memory_order_relaxed);
  height_.store(height, std::memory_order_relaxed);
}

void GraphicsViewImpl::SetBackgroundColor(float r, float g, float b, float a) {
  MutexLocker<Mutex> lock(background_mutex_);
  background_ = {r, g, b, a};
}

void GraphicsViewImpl::Draw() {
  {
    MutexLocker<Mutex> lock(size_mutex_);
    drawn_width_ = width();
    drawn_height_ = height();
  }
  MutexLocker<Mutex> lock(callback_mutex_);
  if (callback_) callback_->Draw();
}

void GraphicsViewImpl::SetPresentationTime(long long) {}

GraphicsTexture* GraphicsViewImpl::frame_buffer_texture() { return nullptr; }

PresentedView* ToPresented(GraphicsView* view) { return dynamic_cast<PresentedView*>(view); }

ViewCounts ReadViewCounts(const GraphicsView* view) {
  const auto* const presented = dynamic_cast<const PresentedView*>(view);
  return presented ? presented->counts() : ViewCounts();
}
