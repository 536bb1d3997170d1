// Taking a scene into use and letting it go. Host threads, through outputs and views.
#include "graphics/public/gs_scene_use.h"

#include <quarn/gs_scene.h>

#include "graphics/context_lock.h"
#include "graphics/graphics_scene.h"

void GsSceneUse::Acquire(GsScene* scene) {
  if (!scene) return;
  scene->AddRef();
  GraphicsScene* impl = scene->impl();
  if (!impl) return;
  ContextLock lock(scene->context_);
  if (!impl->HasRef()) scene->Attach();
  impl->AddRef();
}

void GsSceneUse::Release(GsScene* scene) {
  if (!scene) return;
  if (GraphicsScene* impl = scene->impl()) {
    ContextLock lock(scene->context_);
    impl->ReleaseRef();
    if (!impl->HasRef()) scene->Detach();
  }
  scene->Release();  // Perhaps the last reference, so not under the lock.
}

GraphicsContext* GsSceneUse::Context(GsScene* scene) { return scene->context_; }
