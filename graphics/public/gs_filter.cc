// The host's side of a filter. Any thread attaches and detaches; the render thread draws, through the bridge.
#include <quarn/gs_filter.h>

#include <utility>

#include <quarn/gs_texture.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_filter.h"
#include "graphics/public/gs_bridge.h"
#include "graphics/public/to_engine.h"

// Leads the engine filter's draw to the host's.
class GsFilterOnDraw : public GsBridge<GraphicsFilter::DrawCallback, GsFilter> {
 public:
  using GsBridge::GsBridge;
  void Draw() override {
    GsFilter* const filter = host();
    const GsTexture* const target = filter ? filter->texture_ : nullptr;  // It may have another size than is reported.
    if (filter)
      LeadDraw(&GsFilter::Draw, filter->context_, target ? target->width() : 0, target ? target->height() : 0);
  }
};

namespace {

// A wrapper of the filter's target; null without one.
GsTexture* WrapTarget(GraphicsFilter* filter) {
  GraphicsTexture* target = filter ? filter->texture() : nullptr;
  return target ? new GsTexture(target) : nullptr;
}

}  // namespace

GsFilter::GsFilter(unsigned int width, unsigned int height, GsDevice* device) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine) return;
  context_ = AcquireContext(engine->gs_context());
  EvenWithoutMemory("GsFilter::GsFilter", [&] {
    impl_ = engine->CreateFilter(width, height);
    texture_ = WrapTarget(impl_);
  });
}

GsFilter::~GsFilter() {
  // The context must not keep the filter: the next frame would draw it.
  if (on_draw_) {
    Logger::default_logger()->Error("[GsFilter] destroyed while attached: call Detach first");
    Detach();
  }
  delete impl_;
  delete texture_;
  ReleaseContext(context_);
}

bool GsFilter::valid() const { return texture_ && CanDraw(context_); }

void GsFilter::Draw() {}

void GsFilter::Attach() {
  ContextLock lock(context_);
  if (on_draw_) return;
  if (!AttachBridge("GsFilter::Attach", this, impl_, &on_draw_)) Detach();
}

void GsFilter::Detach() {
  ContextLock lock(context_);
  DetachBridge(impl_, &on_draw_);
}

unsigned int GsFilter::width() const { return impl_ ? impl_->width() : 0; }

unsigned int GsFilter::height() const { return impl_ ? impl_->height() : 0; }

void GsFilter::Resize(unsigned int width, unsigned int height) {
  if (!impl_) return;
  ContextLock lock(context_);  // A frame may be about to bind what the old wrapper wraps.
  impl_->Resize(width, height);
  EvenWithoutMemory("A new GsFilter::texture", [this] {
    // The old wrapper goes last, so that a host can tell the new one by its address.
    GsTexture* const wrapper = WrapTarget(impl_);
    delete std::exchange(texture_, wrapper);
  });
}

GsTexture* GsFilter::texture() const { return texture_; }
