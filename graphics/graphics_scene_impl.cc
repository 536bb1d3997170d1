// What every engine scene shares. Any thread attaches, detaches and counts; the render thread draws.
#include "graphics/graphics_scene_impl.h"

GraphicsSceneImpl::GraphicsSceneImpl(unsigned int width, unsigned int height) : width_(width), height_(height) {}

void GraphicsSceneImpl::Attach(DrawCallback* callback) {
  MutexLocker<Mutex> lock(mutex_);
  callback_ = callback;
}

void GraphicsSceneImpl::Detach() {
  MutexLocker<Mutex> lock(mutex_);
  callback_ = nullptr;
}

unsigned int GraphicsSceneImpl::width() { return width_; }

unsigned int GraphicsSceneImpl::height() { return height_; }

void GraphicsSceneImpl::Draw() {
  MutexLocker<Mutex> lock(mutex_);
  if (callback_) callback_->Draw();
}

void GraphicsSceneImpl::AddRef() { ++use_count_; }

void GraphicsSceneImpl::ReleaseRef() { --use_count_; }

bool GraphicsSceneImpl::HasRef() { return use_count_ > 0; }

GraphicsTexture* GraphicsSceneImpl::texture() { return nullptr; }

void SetSceneOwner(GraphicsScene* scene, const void* owner) {
  if (auto* const impl = dynamic_cast<GraphicsSceneImpl*>(scene)) impl->SetOwner(owner);
}
