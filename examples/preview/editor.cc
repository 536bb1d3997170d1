// What the commands make of the layers; editor_pointer.cc has the pointer's side.
#include "preview/editor.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "studio/placement.h"

namespace preview {
namespace {

using studio::Layer;
using studio::Size;
using studio::Vec;

constexpr float kCopyOffset = 20;
constexpr float kFarthest = 1e6f;  // As far from the canvas' centre as a layer is put by numbers.

Entry* FindIn(EditState* state, int id) {
  const auto found =
      std::find_if(state->entries.begin(), state->entries.end(), [id](const Entry& entry) { return entry.id == id; });
  return found == state->entries.end() ? nullptr : &*found;
}

bool LiesLower(const Entry& a, const Entry& b) { return a.layer.z < b.layer.z; }

bool Has(const std::vector<int>& ids, int id) { return std::find(ids.begin(), ids.end(), id) != ids.end(); }

std::vector<Entry> Sorted(std::vector<Entry> entries) {
  std::stable_sort(entries.begin(), entries.end(), LiesLower);
  return entries;
}

}  // namespace

Editor::Editor(std::vector<Entry> entries, Size canvas) : canvas_(canvas), history_(Sorted(std::move(entries))) {
  for (const Entry& entry : this->entries()) last_id_ = std::max(last_id_, entry.id);
}

std::vector<Layer> Editor::Layers() const {
  std::vector<Layer> layers;
  for (const Entry& entry : entries()) layers.push_back(entry.layer);
  return layers;
}

const Entry* Editor::Find(int id) const {
  const auto found =
      std::find_if(entries().begin(), entries().end(), [id](const Entry& entry) { return entry.id == id; });
  return found == entries().end() ? nullptr : &*found;
}

bool Editor::IsSelected(int id) const { return Has(selection(), id); }

Shape Editor::ShapeOf(const Entry& entry) const {
  return Shape{studio::PosAt(entry.layer, seconds_), studio::DrawnSize(entry.layer, entry.natural),
               studio::RotationAt(entry.layer, seconds_)};
}

void Editor::Select(int id, bool extend) {
  if (drag_) return;
  std::vector<int> selected = extend ? selection() : std::vector<int>();
  if (Has(selected, id)) {
    selected.erase(std::find(selected.begin(), selected.end(), id));
  } else if (Find(id)) {
    selected.push_back(id);
  }
  history_.SetSelection(std::move(selected));
}

void Editor::SelectAll() {
  if (drag_) return;
  std::vector<int> all;
  for (const Entry& entry : entries()) {
    if (!entry.layer.locked) all.push_back(entry.id);
  }
  history_.SetSelection(std::move(all));
}

void Editor::SelectNone() {
  if (!drag_) history_.SetSelection({});
}

void Editor::SelectNext(int step) {
  if (drag_ || entries().empty()) return;
  const int count = static_cast<int>(entries().size());
  const Entry* const entry = SelectedEntry();
  const int first = step > 0 ? 0 : count - 1;
  const int next = entry ? (static_cast<int>(entry - entries().data()) + step + count) % count : first;
  history_.SetSelection({entries()[static_cast<std::size_t>(next)].id});
}

EditState* Editor::Change(Gesture gesture, bool continues) {
  return drag_ ? nullptr : history_.Change(gesture, continues);
}

std::vector<Entry*> Editor::ChangeSelected(Gesture gesture, bool continues) {
  std::vector<Entry*> selected;
  if (drag_ || selection().empty()) return selected;
  EditState* const state = history_.Change(gesture, continues);
  for (const int id : state->selection) selected.push_back(FindIn(state, id));
  return selected;
}

Entry* Editor::ChangeLayer(int id, Gesture gesture, bool continues) {
  if (drag_ || !Find(id)) return nullptr;
  return FindIn(history_.Change(gesture, continues), id);
}

void Editor::Nudge(float x, float y, bool repeated) {
  if (!std::isfinite(x) || !std::isfinite(y)) return;
  for (Entry* const entry : ChangeSelected(Gesture::kNudge, repeated)) {
    entry->layer.pos.x += x;
    entry->layer.pos.y += y;
  }
}

void Editor::Rotate(float degrees, bool repeated) {
  if (!std::isfinite(degrees)) return;
  for (Entry* const entry : ChangeSelected(Gesture::kTurn, repeated)) {
    entry->layer.rotation_deg = std::fmod(entry->layer.rotation_deg + degrees, 360.0f);
  }
}

void Editor::Raise(bool all_the_way) { MoveInOrder(1, all_the_way); }

void Editor::Lower(bool all_the_way) { MoveInOrder(-1, all_the_way); }

// The selected ones keep their order among themselves, and none passes another.
void Editor::MoveInOrder(int step, bool all_the_way) {
  if (drag_ || selection().empty()) return;
  std::vector<Entry> order = entries();
  const auto is_selected = [this](const Entry& entry) { return IsSelected(entry.id); };
  const auto move = [&](auto begin, auto end) {  // Towards the beginning.
    if (all_the_way) {
      std::stable_partition(begin, end, is_selected);
      return;
    }
    for (auto at = begin; at != end && std::next(at) != end; ++at) {
      if (!is_selected(*at) && is_selected(*std::next(at))) std::swap(*at, *std::next(at));
    }
  };
  step > 0 ? move(order.rbegin(), order.rend()) : move(order.begin(), order.end());
  Reorder(std::move(order));
}

void Editor::MoveTo(const std::vector<int>& ids, std::size_t index) {
  if (drag_) return;
  std::vector<Entry> moved, order;
  for (const Entry& entry : entries()) (Has(ids, entry.id) ? moved : order).push_back(entry);
  if (moved.empty()) return;
  order.insert(order.begin() + static_cast<std::ptrdiff_t>(std::min(index, order.size())), moved.begin(), moved.end());
  Reorder(std::move(order));
}

// Each place keeps its z: layers that do not move keep theirs.
void Editor::Reorder(std::vector<Entry> order) {
  for (std::size_t i = 0; i < order.size(); ++i) order[i].layer.z = entries()[i].layer.z;
  if (EditState* const state = Change()) state->entries = std::move(order);
  history_.End();
}

void Editor::ToggleVisible() {
  const Entry* const last = SelectedEntry();
  const bool visible = last && !last->layer.visible;
  for (Entry* const entry : ChangeSelected()) entry->layer.visible = visible;
  EndGesture();
}

void Editor::ToggleLocked() {
  const Entry* const last = SelectedEntry();
  const bool locked = last && !last->layer.locked;
  for (Entry* const entry : ChangeSelected()) entry->layer.locked = locked;
  EndGesture();
}

void Editor::Delete() {
  if (drag_ || selection().empty()) return;
  EditState* const state = Change();
  const auto gone = std::remove_if(state->entries.begin(), state->entries.end(),
                                   [this](const Entry& entry) { return IsSelected(entry.id); });
  state->entries.erase(gone, state->entries.end());
  state->selection.clear();
  history_.End();
}

void Editor::Duplicate() {
  if (drag_) return;
  std::vector<Entry> copies;
  for (const Entry& entry : entries()) {
    if (!IsSelected(entry.id)) continue;
    copies.push_back(entry);
    copies.back().layer.pos.x += kCopyOffset;
    copies.back().layer.pos.y += kCopyOffset;
  }
  AddAll(std::move(copies));
}

void Editor::SetVisible(int id, bool visible) {
  if (Entry* const entry = ChangeLayer(id)) entry->layer.visible = visible;
  EndGesture();
}

void Editor::SetLocked(int id, bool locked) {
  if (Entry* const entry = ChangeLayer(id)) entry->layer.locked = locked;
  EndGesture();
}

void Editor::Rename(int id, const std::string& name) {
  if (Entry* const entry = ChangeLayer(id)) entry->layer.name = name;
  EndGesture();
}

void Editor::SetPos(Vec pos, bool continues) {
  if (!std::isfinite(pos.x) || !std::isfinite(pos.y)) return;
  if (Entry* const entry = ChangeLayer(selected(), Gesture::kPos, continues)) {
    entry->layer.pos = Vec{std::clamp(pos.x, -kFarthest, kFarthest), std::clamp(pos.y, -kFarthest, kFarthest)};
  }
}

void Editor::SetSize(Size size, bool continues) {
  if (Entry* const entry = ChangeLayer(selected(), Gesture::kSize, continues)) {
    entry->layer.size = Size{std::clamp(size.width, 1, kMaxSide), std::clamp(size.height, 1, kMaxSide)};
  }
}

void Editor::SetRotation(float degrees, bool continues) {
  if (!std::isfinite(degrees)) return;
  if (Entry* const entry = ChangeLayer(selected(), Gesture::kRotation, continues)) {
    entry->layer.rotation_deg = std::fmod(degrees, 360.0f);
  }
}

void Editor::SetOpacity(float opacity, bool continues) {
  if (!std::isfinite(opacity)) return;
  if (Entry* const entry = ChangeLayer(selected(), Gesture::kOpacity, continues)) {
    entry->layer.opacity = std::clamp(opacity, 0.0f, 1.0f);
  }
}

void Editor::EndGesture() {
  if (!drag_) history_.End();
}

int Editor::Add(Layer layer, Size natural) {
  AddAll({Entry{0, std::move(layer), natural}});
  return selected();
}

std::vector<int> Editor::AddAll(std::vector<Entry> added) {
  Drop();
  std::vector<int> ids;
  if (added.empty()) return ids;
  for (Entry& entry : added) ids.push_back(entry.id = ++last_id_);
  EditState* const state = Change();
  state->selection.clear();
  added = Sorted(std::move(added));
  for (Entry& entry : added) {
    if (!state->entries.empty()) entry.layer.z = std::max(entry.layer.z, state->entries.back().layer.z);
    state->selection.push_back(entry.id);
    state->entries.push_back(std::move(entry));
  }
  history_.End();
  return ids;
}

std::vector<Layer> Editor::CopyLayers() const {
  std::vector<Layer> layers;
  for (const Entry& entry : entries()) {
    if (IsSelected(entry.id)) layers.push_back(entry.layer);
  }
  return layers;
}

void Editor::Undo() { drag_ ? Escape() : history_.Undo(); }

void Editor::Redo() {
  if (!drag_) history_.Redo();
}

}  // namespace preview
