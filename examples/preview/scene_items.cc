#include "preview/scene_items.h"

#include <utility>

#include "studio/canvas_scene.h"
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
      scene_(MakeRefCounted<studio::CanvasScene>(description, device, &times_)),
      clock_(0, device),
      list_(scene_, device) {
  if (scene_->width() == 0) throw studio::Error(studio::kNoGraphics);
}

void SceneItems::Make(int id, const Layer& layer, studio::LayerSource source, bool from_now) {
  const studio::Stage stage{device_, description_.canvas, &clock_, &times_};
  Item& item = items_[id];
  item.opened_at = DrawnSize(layer, source.natural_size());
  item.opened_for = seeks_;
  item.begin_ns = from_now ? clock_.now_ns() : 0;
  item.item = source.MakeItem(stage, item.begin_ns);
}

std::vector<studio::LiveLayer> SceneItems::LiveLayers(const Editor& editor) const {
  std::vector<studio::LiveLayer> layers;
  for (const Entry& entry : editor.entries()) {
    const auto made = items_.find(entry.id);
    if (made != items_.end() && made->second.item) layers.push_back({entry.id, entry.layer, made->second.begin_ns});
  }
  return layers;
}

// A video goes forward only: for another time it is opened anew, from there on.
void SceneItems::Seek(std::int64_t film_ns) {
  clock_.Set(film_ns);
  sought_s_ = static_cast<double>(film_ns) * 1e-9;
  ++seeks_;
}

SceneItems::Item& SceneItems::ItemOf(const Entry& entry) {
  const auto made = items_.find(entry.id);
  if (made != items_.end()) return made->second;
  Item& item = items_[entry.id];
  try {
    Make(entry.id, entry.layer, studio::LayerSource(entry.layer, description_), true);
  } catch (const studio::Error& error) {
    problem_ = error.what();
  }
  return item;
}

void SceneItems::Show(const Editor& editor) {
  SceneList::Items items;
  const int hovered = editor.hovered();
  for (const Entry& entry : editor.entries()) {
    const Size size = DrawnSize(entry.layer, entry.natural);
    Item& item = ItemOf(entry);
    if (!item.item) continue;
    if (!editor.dragging() && IsStale(entry, size, item)) Reopen(entry, size, &item);
    item.item->Place(entry.layer, size);
    item.item->SetVisible(entry.layer.visible);
    item.item->SetSelected(editor.IsSelected(entry.id));
    item.item->SetHovered(entry.id == hovered);
    items.push_back(item.item);
  }
  list_.Set(std::move(items));
}

// A picture is scaled once, when it is opened, which looks better than what the graphics engine makes of it while it is
// drawn: so another size is another opening. A video goes forward only.
bool SceneItems::IsStale(const Entry& entry, Size size, const Item& item) const {
  switch (entry.layer.kind) {
    case LayerKind::kColor: return false;
    case LayerKind::kText:
    case LayerKind::kPicture: return !Same(size, item.opened_at);
    case LayerKind::kVideo: break;
  }
  return item.opened_for != seeks_;
}

// From the time on that is shown; the film's end stays. A file that cannot be opened any more is kept as it is.
void SceneItems::Reopen(const Entry& entry, Size size, Item* item) {
  item->opened_at = size;
  item->opened_for = seeks_;
  try {
    studio::Description description = description_;
    description.start_s = sought_s_;
    description.duration_s = description_.EndSeconds() - sought_s_;
    Make(entry.id, entry.layer, studio::LayerSource(entry.layer, description), false);
  } catch (const studio::Error&) {
  }
}

}  // namespace preview
