// What every engine filter shares: its size and its callback.
#ifndef QUARN_GRAPHICS_GRAPHICS_FILTER_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_FILTER_IMPL_H_

#include <atomic>

#include "foundation/mutex.h"
#include "graphics/graphics_filter.h"

// The callback runs under the filter's mutex, so that Detach waits for a draw in progress.
class GraphicsFilterImpl : public GraphicsFilter {
 public:
  GraphicsFilterImpl(unsigned int width, unsigned int height);

  void Attach(DrawCallback* callback) override;
  void Detach() override;
  void Draw() override;
  unsigned int width() override;
  unsigned int height() override;
  // Takes no lock: each side is atomic on its own.
  void Resize(unsigned int width, unsigned int height) override;
  GraphicsTexture* texture() override;

 private:
  std::atomic<unsigned int> width_;
  std::atomic<unsigned int> height_;
  DrawCallback* callback_ QUARN_GUARDED_BY(mutex_) = nullptr;
  Mutex mutex_;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_FILTER_IMPL_H_
