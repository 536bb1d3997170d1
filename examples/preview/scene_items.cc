#include "preview/scene_items.h"

#include <algorithm>
#include <utility>

#include "studio/device.h"
#include "studio/error.h"
#include "studio/placement.h"

namespace preview {
namespace {

using studio::DrawnSize;
using studio::Layer;
using studio::LayerKind;
using studio::Size;

bool Same(Size a, Size b) { return a.width == b.width && a.height == b.height; }

}  // namespace

SceneItems::SceneItems(const studio::Description& description, GsDevice* device)
    : description_(description),
      device_(device),
      scene_(MakeRefCounted<GsScene>(static_cast<unsigned int>(description.canvas.width),
                                     static_cast<unsigned int>(description.canvas.height), device)),
      clock_(0, device) {
  if (scene_->width() == 0) throw studio::Error(studio::kNoGraphics);
}

SceneItems::~SceneItems() {
  for (const auto& [id, item] : items_) {
    if (item.in_scene) scene_->RemoveItem(item.item);
  }
}

void SceneItems::Make(int id, const Layer& layer, studio::LayerSource source, bool from_now) {
  const studio::Stage stage{device_, description_.canvas, &clock_, &times_};
  Item& item = items_[id];
  item.opened_at = DrawnSize(layer, source.natural_size());
  item.opened_for = rewinds_;
  item.item = source.MakeItem(stage, from_now ? clock_.now_ns() : 0);
}

void SceneItems::Rewind() {
  clock_.Set(0);
  ++rewinds_;
}

void SceneItems::Show(const Editor& editor) {
  std::vector<int> order;
  bool reorder = false;
  for (const Entry& entry : editor.entries()) {
    const Size size = DrawnSize(entry.layer, entry.natural);
    Item& item = items_.at(entry.id);
    if (!editor.dragging() && IsStale(entry, size, item)) Reopen(entry, size, &item);
    item.item->Place(entry.layer, size);
    item.item->SetVisible(entry.layer.visible);
    item.item->SetSelected(editor.IsSelected(entry.id));
    item.item->SetHovered(entry.id == editor.hovered());
    item.item->SetZ(static_cast<int>(order.size()));
    if (!item.in_scene) {
      scene_->AddItem(item.item);  // On top, wherever it belongs.
      item.in_scene = reorder = true;
    }
    order.push_back(entry.id);
  }
  for (auto& [id, item] : items_) {
    if (!item.in_scene || std::find(order.begin(), order.end(), id) != order.end()) continue;
    scene_->RemoveItem(item.item);
    item.in_scene = false;
  }
  if (reorder || order != order_) scene_->OrderItem();
  order_ = std::move(order);
}

// A picture is scaled once, when it is opened, which looks better than what the graphics engine makes of it while it is
// drawn: so another size is another opening. A video goes forward only.
bool SceneItems::IsStale(const Entry& entry, Size size, const Item& item) const {
  switch (entry.layer.kind) {
    case LayerKind::kColor: return false;
    case LayerKind::kPicture: return !Same(size, item.opened_at);
    case LayerKind::kVideo: break;
  }
  return item.opened_for != rewinds_;
}

// A file that cannot be opened any more is kept as it is.
void SceneItems::Reopen(const Entry& entry, Size size, Item* item) {
  item->opened_at = size;
  item->opened_for = rewinds_;
  try {
    const scoped_refptr<studio::LayerItem> old = item->item;
    Make(entry.id, entry.layer, studio::LayerSource(entry.layer, description_), false);
    if (item->in_scene) scene_->RemoveItem(old);
    item->in_scene = false;
  } catch (const studio::Error&) {
  }
}

}  // namespace preview
