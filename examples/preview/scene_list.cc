#include "preview/scene_list.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <utility>

namespace preview {
namespace {

bool Has(const SceneList::Items& items, const scoped_refptr<GsItem>& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

// What is new is there and in its place before anything goes.
void Bring(GsScene* scene, const SceneList::Items& from, const SceneList::Items& to) {
  for (std::size_t i = 0; i < to.size(); ++i) {
    to[i]->SetZ(static_cast<int>(i));
    if (!Has(from, to[i])) scene->AddItem(to[i]);
  }
  scene->OrderItem();
  for (const auto& item : from) {
    if (!Has(to, item)) scene->RemoveItem(item);
  }
}

}  // namespace

// The host's thread holds the mutex for a moment only, and calls nothing of the library meanwhile.
struct SceneList::Shared {
  std::mutex mutex;
  GsScene* scene = nullptr;  // Null once the list is gone.
  Items wanted;
  Items present;
  Items removed;  // Until the host's thread lets go of them.
  bool queued = false;
};

SceneList::SceneList(GsScene* scene, GsDevice* device)
    : device_(device), scene_(scene), shared_(std::make_shared<Shared>()) {
  shared_->scene = scene;
}

SceneList::~SceneList() {
  Items wanted, present, removed;
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->scene = nullptr;
    wanted = std::move(shared_->wanted);
    present = std::move(shared_->present);
    removed = std::move(shared_->removed);
  }
  for (const auto& item : present) scene_->RemoveItem(item);
}

void SceneList::Set(Items items) {
  Items removed, unwanted;
  bool at_once = false, queue = false;
  {
    const std::lock_guard lock(shared_->mutex);
    removed = std::move(shared_->removed);
    shared_->removed.clear();
    if (items == set_) return;
    unwanted = std::exchange(shared_->wanted, items);
    at_once = !shared_->queued && shared_->present.empty();
    queue = !shared_->queued && !at_once;
    if (at_once) shared_->present = items;
    if (queue) shared_->queued = true;
  }
  set_ = std::move(items);
  if (at_once) Bring(scene_, {}, set_);
  // A render thread runs what is queued before it ends.
  if (queue) device_->QueueTask(&SceneList::Exchange, new std::shared_ptr<Shared>(shared_));
}

// Render thread.
void SceneList::Exchange(void* task) {
  const std::unique_ptr<std::shared_ptr<Shared>> owner(static_cast<std::shared_ptr<Shared>*>(task));
  Shared& shared = **owner;
  const std::lock_guard lock(shared.mutex);
  shared.queued = false;
  if (!shared.scene) return;
  Bring(shared.scene, shared.present, shared.wanted);
  for (auto& item : shared.present) {
    if (!Has(shared.wanted, item)) shared.removed.push_back(std::move(item));
  }
  shared.present = shared.wanted;
}

}  // namespace preview
