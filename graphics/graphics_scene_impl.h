// What every engine scene shares: its size, its use count and its callback.
#ifndef QUARN_GRAPHICS_GRAPHICS_SCENE_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_SCENE_IMPL_H_

#include <atomic>
#include <cstdint>

#include "foundation/mutex.h"
#include "graphics/graphics_scene.h"

// The callback runs under the scene's mutex, so that Detach waits for a draw in progress.
class GraphicsSceneImpl : public GraphicsScene {
 public:
  GraphicsSceneImpl(unsigned int width, unsigned int height);

  void Attach(DrawCallback* callback) override;
  void Detach() override;
  unsigned int width() override;
  unsigned int height() override;
  void Draw() override;
  void AddRef() override;
  void ReleaseRef() override;
  bool HasRef() override;
  GraphicsTexture* texture() override;

  // Which of the host's objects the scene is of: a name for it, which is only compared.
  const void* owner() const { return owner_; }
  // Thread: before anything else uses the scene.
  void SetOwner(const void* owner) { owner_ = owner; }

 private:
  const void* owner_ = nullptr;
  unsigned int width_;
  unsigned int height_;
  std::atomic<std::uint32_t> use_count_{0};
  DrawCallback* callback_ QUARN_GUARDED_BY(mutex_) = nullptr;
  Mutex mutex_;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_SCENE_IMPL_H_
