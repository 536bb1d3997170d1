// The host's handle on pictures of video: checks and forwarding. Any thread.
#include <quarn/gs_video_texture.h>

#include <atomic>
#include <memory>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/graphics_video_texture.h"
#include "graphics/public/to_engine.h"

struct GsVideoTextureState {
  std::unique_ptr<GraphicsVideoTexture> engine;
  VideoLayout layout;
  unsigned int width;
  unsigned int height;
  std::atomic<VideoColor> color{VideoColor()};
  static_assert(std::atomic<VideoColor>::is_always_lock_free);
  std::atomic<bool> update_refused{false};  // So that a row of updates that show nothing is one line in the log.
};

namespace {

// Returns null, with an error line, when there can be no such texture.
GsVideoTextureState* MakeState(unsigned int width, unsigned int height, GsVideoTexture::Layout layout,
                               GsDevice* device) {
  GraphicsDevice* const engine = ResolveDevice(device);
  if (!engine) return nullptr;
  VideoLayout internal_layout;
  if (!ToVideoLayout(layout, &internal_layout)) {
    Logger::default_logger()->Error("[GsVideoTexture] no layout %d", static_cast<int>(layout));
    return nullptr;
  }
  if (width == 0 || height == 0) {
    Logger::default_logger()->Error("[GsVideoTexture] no picture of %u x %u pixels", width, height);
    return nullptr;
  }
  std::unique_ptr<GsVideoTextureState> state;
  EvenWithoutMemory("GsVideoTexture::GsVideoTexture", [&] {
    auto made = std::make_unique<GsVideoTextureState>();
    made->layout = internal_layout;
    made->width = width;
    made->height = height;
    made->engine.reset(CreateVideoTexture(engine, internal_layout, width, height));
    if (made->engine) state = std::move(made);
  });
  return state.release();
}

// Returns null, or what is wrong with the planes.
const char* Mistake(const GsVideoTextureState& state, const unsigned char* const* planes, const unsigned int* strides) {
  if (!planes || !strides) return "there are no planes";
  for (int i = 0; i < VideoPlanes(state.layout); ++i) {
    if (!planes[i]) return "a plane is missing";
    if (strides[i] < VideoPlaneOf(state.layout, i, state.width, state.height).row_bytes()) {
      return "a stride is less than a row";
    }
  }
  return nullptr;
}

}  // namespace

GsVideoTexture::GsVideoTexture(unsigned int width, unsigned int height, Layout layout, GsDevice* device)
    : GsVideoTexture(MakeState(width, height, layout, device)) {}

GsVideoTexture::GsVideoTexture(GsVideoTextureState* state)
    : GsTexture(state ? state->engine->image() : nullptr), state_(state) {}

GsVideoTexture::~GsVideoTexture() { delete state_; }

bool GsVideoTexture::SetColor(Matrix matrix, Range range, ChromaSite site) {
  if (!state_) return false;
  VideoColor color;
  if (!ToVideoColor(matrix, range, site, &color)) {
    Logger::default_logger()->Error("[GsVideoTexture] no colours of matrix %d, range %d, chroma site %d",
                                    static_cast<int>(matrix), static_cast<int>(range), static_cast<int>(site));
    return false;
  }
  state_->color.store(color, std::memory_order_relaxed);
  return true;
}

bool GsVideoTexture::Update(const unsigned char* const* planes, const unsigned int* strides) {
  if (!state_) return false;
  const char* mistake = Mistake(*state_, planes, strides);
  if (!mistake) mistake = state_->engine->Update(state_->color.load(std::memory_order_relaxed), planes, strides);
  if (state_->update_refused.exchange(mistake != nullptr, std::memory_order_relaxed) || !mistake) return !mistake;
  Logger::default_logger()->Error("[GsVideoTexture] an update of %u x %u pixels changes nothing: %s", state_->width,
                                  state_->height, mistake);
  return false;
}
