// The host's side of an item. Any thread sets values, attaches and detaches; the render thread ticks, through the
// bridge, and draws, through the scene.
#include <quarn/gs_item.h>

#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_item.h"
#include "graphics/public/gs_bridge.h"
#include "graphics/public/to_engine.h"

// Leads the engine item's tick to the host's.
class GsItemOnTick : public GsBridge<GraphicsItem::TickCallback, GsItem> {
 public:
  using GsBridge::GsBridge;
  void OnTick() override { Lead(&GsItem::TickSource); }
};

namespace {

GraphicsContext* ContextOf(const GraphicsItem* item) { return item ? item->context() : nullptr; }

}  // namespace

GsItem::GsItem(GsDevice* device) {
  GraphicsDevice* const engine = ResolveDevice(device);
  if (engine) EvenWithoutMemory("GsItem::GsItem", [&] { impl_ = new GraphicsItem(engine->gs_context()); });
}

GsItem::GsItem(const gs_vec2& size, GsDevice* device) : GsItem(device) {
  // Read by nobody here, as reserved0_ and reserved1_ are. Kept: C46.
  base_size_.store(size, std::memory_order_relaxed);
  size_.store(size, std::memory_order_relaxed);
}

GsItem::~GsItem() {
  if (impl_) impl_->Detach();
  delete impl_;
  // There is still a bridge only when the item is destroyed while attached.
  delete on_tick_;
}

bool GsItem::valid() const { return impl_ && CanDraw(impl_->context()); }

void GsItem::TickSource() {}

void GsItem::Draw() {}

void GsItem::Attach() {
  ContextLock lock(ContextOf(impl_));
  if (on_tick_) return;
  if (!AttachBridge("GsItem::Attach", this, impl_, &on_tick_)) Detach();
}

void GsItem::Detach() {
  ContextLock lock(ContextOf(impl_));
  DetachBridge(impl_, &on_tick_);
}

// Each value stands for itself, so relaxed order is enough. The scene needs more: whoever reads the pointer goes on to
// use the object.
void GsItem::SetScene(GsScene* scene) { scene_.store(scene, std::memory_order_release); }
GsScene* GsItem::scene() const { return scene_.load(std::memory_order_acquire); }

gs_vec2 GsItem::pos() const { return pos_.load(std::memory_order_relaxed); }
void GsItem::MoveTo(const gs_vec2& pos) { pos_.store(pos, std::memory_order_relaxed); }

gs_vec2 GsItem::size() const { return size_.load(std::memory_order_relaxed); }
void GsItem::Resize(const gs_vec2& size) { size_.store(size, std::memory_order_relaxed); }

float GsItem::rotation() const { return rotation_.load(std::memory_order_relaxed); }
void GsItem::SetRotation(float rotation) { rotation_.store(rotation, std::memory_order_relaxed); }

int GsItem::z() const { return z_.load(std::memory_order_relaxed); }
void GsItem::SetZ(int z) { z_.store(z, std::memory_order_relaxed); }

bool GsItem::visible() const { return visible_.load(std::memory_order_relaxed); }
void GsItem::SetVisible(bool visible) { visible_.store(visible, std::memory_order_relaxed); }

bool GsItem::hovered() const { return hovered_.load(std::memory_order_relaxed); }
void GsItem::SetHovered(bool hovered) { hovered_.store(hovered, std::memory_order_relaxed); }

bool GsItem::selected() const { return selected_.load(std::memory_order_relaxed); }
void GsItem::SetSelected(bool selected) { selected_.store(selected, std::memory_order_relaxed); }
