// What views of every backend share: the sizes, the background and the callback.
#ifndef QUARN_GRAPHICS_GRAPHICS_VIEW_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_VIEW_IMPL_H_

#include <atomic>
#include <cstdint>

#include "foundation/mutex.h"
#include "graphics/graphics_view.h"

// Host threads attach, resize and colour; the render thread draws.
class GraphicsViewImpl : public GraphicsView {
 public:
  GraphicsViewImpl(unsigned int width, unsigned int height);
  ~GraphicsViewImpl() override;

  void Attach(DrawCallback* callback) override;
  // Waits for a Draw in progress.
  void Detach() override;
  bool BindRenderTarget() override;
  void UnbindRenderTarget() override;
  // The size last asked for.
  unsigned int width() override;
  unsigned int height() override;
  // Takes effect at the next Draw.
  void Resize(unsigned int width, unsigned int height) override;
  void SetBackgroundColor(float r, float g, float b, float a) override;
  // Puts the size asked for into force and calls the callback.
  void Draw() override;
  void SetPresentationTime(long long time) override;
  GraphicsTexture* frame_buffer_texture() override;

 protected:
  struct Color {
    float r, g, b, a;
  };

  std::uint32_t drawn_width_ QUARN_GUARDED_BY(size_mutex_);
  std::uint32_t drawn_height_ QUARN_GUARDED_BY(size_mutex_);
  // Written under the mutex, read without it.
  std::atomic<std::uint32_t> width_;
  std::atomic<std::uint32_t> height_;
  Mutex size_mutex_;
  Color background_ QUARN_GUARDED_BY(background_mutex_) = {0, 0, 0, 1};
  Mutex background_mutex_;

 private:
  DrawCallback* callback_ QUARN_GUARDED_BY(callback_mutex_) = nullptr;
  Mutex callback_mutex_;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_VIEW_IMPL_H_
