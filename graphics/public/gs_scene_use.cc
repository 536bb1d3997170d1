// Taking a scene into use and letting it go. Host threads, through outputs and views.
#include "graphics/public/gs_scene_use.h"

#include <utility>

#include <quarn/gs_scene.h>

#include "graphics/context_lock.h"
#include "graphics/graphics_scene.h"

GsSceneUse::GsSceneUse(GsScene* scene) : scene_(scene) {
  if (!scene) return;
  scene->AddRef();
  GraphicsScene* const impl = scene->impl();
  if (!impl) return;
  ContextLock lock(scene->context_);
  if (!impl->HasRef()) scene->Attach();
  impl->AddRef();
}

GsSceneUse::~GsSceneUse() {
  if (!scene_) return;
  if (GraphicsScene* const impl = scene_->impl()) {
    ContextLock lock(scene_->context_);
    impl->ReleaseRef();
    if (!impl->HasRef()) scene_->Detach();
  }
  scene_->Release();  // Perhaps the last reference, so not under the lock.
}

GsSceneUse::GsSceneUse(GsSceneUse&& other) noexcept : scene_(other.Leave()) {}

GsSceneUse& GsSceneUse::operator=(GsSceneUse&& other) noexcept {
  std::swap(scene_, other.scene_);
  return *this;
}

GsSceneUse GsSceneUse::Adopt(GsScene* scene) {
  GsSceneUse use;
  use.scene_ = scene;
  return use;
}

GsScene* GsSceneUse::Leave() { return std::exchange(scene_, nullptr); }

GraphicsContext* GsSceneUse::Context(GsScene* scene) { return scene->context_; }
