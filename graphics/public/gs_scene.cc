// The host's side of a scene. Any thread changes the list, attaches and detaches; the render thread draws, through the
// bridge.
#include <quarn/gs_scene.h>

#include <utility>

#include <quarn/gs_item.h>
#include <quarn/gs_texture.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_scene.h"
#include "graphics/public/gs_bridge.h"
#include "graphics/public/gs_item_list.h"
#include "graphics/public/gs_scene_use.h"
#include "graphics/public/to_engine.h"

// Leads the engine scene's draw to the host's.
class GsSceneOnDraw : public GsBridge<GraphicsScene::DrawCallback, GsScene> {
 public:
  using GsBridge::GsBridge;
  void Draw() override {
    if (GsScene* const scene = host()) LeadDraw(&GsScene::Draw, scene->context_, scene->width(), scene->height());
  }
};

GsScene::GsScene(unsigned int width, unsigned int height, GsDevice* device) {
  EvenWithoutMemory("The items of a scene", [this] { items_ = std::make_unique<GsItemList>(); });
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine) return;
  context_ = AcquireContext(engine->gs_context());
  EvenWithoutMemory("GsScene::GsScene", [&] {
    impl_ = engine->CreateScene(width, height);
    SetSceneOwner(impl_, this);
    GraphicsTexture* const target = impl_ ? impl_->texture() : nullptr;
    if (target && items_) items_->picture = std::make_unique<GsTexture>(target);
  });
}

GsScene::~GsScene() {
  if (on_draw_) {
    Logger::default_logger()->Error("[GsScene] destroyed while attached: release its outputs and views first");
    Detach();
  }
  delete impl_;
  const GsItemList::Walk items(items_.get());
  for (const auto& item : items) {
    item->Detach();
    // Another scene may have taken the item, or take it at this moment on another thread: then that one stays its
    // scene(). The ticks have ended all the same, as they do whenever one of an item's scenes detaches it.
    GsScene* scene = this;
    item->scene_.compare_exchange_strong(scene, nullptr);
  }
  ReleaseContext(context_);
}

bool GsScene::valid() const { return impl_ && CanDraw(context_); }

void GsScene::Draw() {
  const GsItemList::Walk items(items_.get());
  for (const auto& item : items) {
    if (item->visible()) item->Draw();
  }
}

void GsScene::Attach() {
  GsItemList::Walk items;  // Outlives the lock: dropping an item's last reference runs the host's code.
  ContextLock lock(context_);
  if (on_draw_) return;
  if (!AttachBridge("GsScene::Attach", this, impl_, &on_draw_)) return Detach();
  items = GsItemList::Walk(items_.get());
  for (const auto& item : items) item->Attach();
}

void GsScene::Detach() {
  GsItemList::Walk items;  // Outlives the lock: dropping an item's last reference runs the host's code.
  ContextLock lock(context_);
  DetachBridge(impl_, &on_draw_);
  items = GsItemList::Walk(items_.get());
  for (const auto& item : items) item->Detach();
}

void GsScene::AddItem(GsItem* item) {
  if (!item || !items_) return;
  GraphicsContext* const its_context = item->impl_ ? item->impl_->context() : nullptr;
  if (its_context && context_ && its_context != context_) {
    Logger::default_logger()->Error("[GsScene] the item is of another device: what it draws is not for this scene");
  }
  ContextLock lock(context_);
  if (on_draw_) item->Attach();  // Also one that is in the list already. Kept: C43.
  const bool added = EvenWithoutMemory("GsScene::AddItem", [&] { items_->Add(item, this); });
  if (!added && !item->scene()) item->Detach();
}

void GsScene::RemoveItem(GsItem* item) {
  if (!item || !items_) return;
  // Holds the item, perhaps by its last reference, until it is detached and the lock has been given back.
  GsItemList::Snapshot removed;
  ContextLock lock(context_);
  EvenWithoutMemory("GsScene::RemoveItem", [&] { removed = items_->Remove(item); });
  item->Detach();  // Also one that was not in the list. Kept: C43.
}

void GsScene::OrderItem() {
  if (items_) EvenWithoutMemory("GsScene::OrderItem", [this] { items_->Order(); });
}

unsigned int GsScene::item_count() const { return items_ ? static_cast<unsigned int>(items_->size()) : 0; }

void GsScene::EnumItems(bool (*fn)(GsItem* item, void* user), void* user) {
  if (!fn) return;
  const GsItemList::Walk items(items_.get());
  for (const auto& item : items) {
    if (!fn(item.get(), user)) return;
  }
}

unsigned int GsScene::width() const { return impl_ ? impl_->width() : 0; }

unsigned int GsScene::height() const { return impl_ ? impl_->height() : 0; }

GsTexture* GsScene::texture() const { return items_ ? items_->picture.get() : nullptr; }

GraphicsScene* GsScene::impl() const { return impl_; }

GsSceneHold::GsSceneHold(GsScene* scene) : scene_(GsSceneUse(scene).Leave()) {}

GsSceneHold::~GsSceneHold() { const GsSceneUse last_use = GsSceneUse::Adopt(scene_); }

GsSceneHold::GsSceneHold(GsSceneHold&& other) noexcept : scene_(std::exchange(other.scene_, nullptr)) {}

GsSceneHold& GsSceneHold::operator=(GsSceneHold&& other) noexcept {
  GsSceneHold taken(std::move(other));
  std::swap(scene_, taken.scene_);
  return *this;
}

GsScene* GsSceneHold::scene() const { return scene_; }
