#include "preview/editor.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "studio/placement.h"

namespace preview {
namespace {

using studio::Layer;
using studio::Size;
using studio::Vec;

// Pixels on the screen, whatever the scale.
constexpr float kHandleReachPx = 6;  // Handles are squares of 8; a little more is easier to hit.
constexpr float kClickReachPx = 3;
constexpr float kSnapReachPx = 8;

constexpr std::size_t kUndoDepth = 200;

}  // namespace

Editor::Editor(std::vector<Entry> entries) {
  for (const Entry& entry : entries) last_id_ = std::max(last_id_, entry.id);
  state_.entries = std::move(entries);
  std::stable_sort(state_.entries.begin(), state_.entries.end(),
                   [](const Entry& a, const Entry& b) { return a.layer.z < b.layer.z; });
}

std::vector<Layer> Editor::Layers() const {
  std::vector<Layer> layers;
  for (const Entry& entry : state_.entries) layers.push_back(entry.layer);
  return layers;
}

Entry* Editor::Find(int id) {
  const auto found =
      std::find_if(state_.entries.begin(), state_.entries.end(), [id](const Entry& entry) { return entry.id == id; });
  return found == state_.entries.end() ? nullptr : &*found;
}

const Entry* Editor::SelectedEntry() const { return const_cast<Editor*>(this)->Find(state_.selected); }

Vec Editor::DriftedBy(const Layer& layer) const {
  const Vec now = studio::PosAt(layer, seconds_);
  return Vec{now.x - layer.pos.x, now.y - layer.pos.y};
}

Shape Editor::ShapeOf(const Entry& entry) const {
  return Shape{studio::PosAt(entry.layer, seconds_), studio::DrawnSize(entry.layer, entry.natural),
               studio::RotationAt(entry.layer, seconds_)};
}

void Editor::SetTime(double seconds) {
  seconds_ = seconds;
  ApplyDrag();
  Hover();
}

void Editor::SetScale(float scale) {
  if (scale > 0) scale_ = scale;
}

void Editor::MovePointer(Vec point, Modifiers modifiers) {
  pointer_ = point;
  modifiers_ = modifiers;
  ApplyDrag();
  Hover();
}

void Editor::PointerLeft() {
  if (!drag_) pointer_.reset();
  Hover();
}

void Editor::Press(Vec point) {
  Drop();
  pointer_ = point;
  const std::optional<Handle> handle = HitHandle(point);
  if (!handle) state_.selected = HitLayer(point);
  if (const Entry* entry = SelectedEntry()) drag_ = Drag{handle, point, ShapeOf(*entry), false};
  Hover();
}

void Editor::Release() {
  Drop();
  Hover();
}

void Editor::Escape() {
  if (!drag_) {
    state_.selected = 0;
  } else {
    if (drag_->moved) {
      state_ = std::move(undo_.back());
      undo_.pop_back();
    }
    Drop();
  }
  Hover();
}

// Lets go of what is in hand, where it is.
void Editor::Drop() {
  drag_.reset();
  on_vertical_axis_ = on_horizontal_axis_ = false;
}

void Editor::ApplyDrag() {
  if (!drag_ || !pointer_) return;
  if (!drag_->moved) {
    const float distance = std::hypot(pointer_->x - drag_->pressed.x, pointer_->y - drag_->pressed.y);
    if (distance * scale_ <= kClickReachPx) return;
    Remember();
    drag_->moved = true;
  }
  Entry* const entry = Find(state_.selected);
  drag_->handle ? ApplyResize(entry) : ApplyMove(entry);
}

void Editor::ApplyMove(Entry* entry) {
  const float reach = kSnapReachPx / scale_;
  // By whole pixels, so that what lay on the pixels stays there.
  const auto moved = [&](float start, float from, float to, bool* on_axis) {
    const float target = start + std::round(to - from);
    *on_axis = !modifiers_.no_snapping && std::fabs(start + to - from) <= reach;
    return *on_axis ? 0 : target;
  };
  const Vec drift = DriftedBy(entry->layer);
  const Vec start = drag_->start.pos;
  entry->layer.pos = Vec{moved(start.x, drag_->pressed.x, pointer_->x, &on_vertical_axis_) - drift.x,
                         moved(start.y, drag_->pressed.y, pointer_->y, &on_horizontal_axis_) - drift.y};
}

void Editor::ApplyResize(Entry* entry) {
  const Handle handle = *drag_->handle;
  // The handle keeps its distance from the pointer.
  const Vec grabbed = HandlePoint(drag_->start, handle);
  const Vec point{pointer_->x - drag_->pressed.x + grabbed.x, pointer_->y - drag_->pressed.y + grabbed.y};
  Shape start = drag_->start;
  start.rotation_deg = studio::RotationAt(entry->layer, seconds_);
  const Vec anchor = HandlePoint(drag_->start, handle.Opposite());
  const Shape resized = Resized(start, handle, anchor, point, modifiers_.keep_proportions);
  const Vec drift = DriftedBy(entry->layer);
  entry->layer.size = resized.size;
  entry->layer.pos = Vec{resized.pos.x - drift.x, resized.pos.y - drift.y};
}

int Editor::HitLayer(Vec point) const {
  const auto hit = std::find_if(state_.entries.rbegin(), state_.entries.rend(), [&](const Entry& entry) {
    return entry.layer.visible && Contains(ShapeOf(entry), point);
  });
  return hit == state_.entries.rend() ? 0 : hit->id;
}

std::optional<Handle> Editor::HitHandle(Vec point) const {
  const Entry* const entry = SelectedEntry();
  if (!entry || !entry->layer.visible) return std::nullopt;  // No handle is seen.
  return HandleAt(ShapeOf(*entry), point, kHandleReachPx / scale_);
}

std::optional<Handle> Editor::active_handle() const {
  if (drag_) return drag_->handle;
  return pointer_ ? HitHandle(*pointer_) : std::nullopt;
}

void Editor::Hover() {
  if (drag_ || active_handle()) {
    hovered_ = state_.selected;
  } else {
    hovered_ = pointer_ ? HitLayer(*pointer_) : 0;
  }
}

void Editor::SelectNext(int step) {
  if (drag_ || state_.entries.empty()) return;
  const int count = static_cast<int>(state_.entries.size());
  const Entry* const entry = SelectedEntry();
  const int first = step > 0 ? 0 : count - 1;
  const int next = entry ? (static_cast<int>(entry - state_.entries.data()) + step + count) % count : first;
  state_.selected = state_.entries[static_cast<std::size_t>(next)].id;
  Hover();
}

void Editor::Remember() {
  undo_.push_back(state_);
  if (undo_.size() > kUndoDepth) undo_.erase(undo_.begin());
  redo_.clear();
  state_.revision = ++last_revision_;
}

Entry* Editor::Change(bool repeated) {
  if (drag_ || !SelectedEntry()) return nullptr;
  if (repeated && !undo_.empty()) {
    redo_.clear();
    state_.revision = ++last_revision_;
  } else {
    Remember();
  }
  return Find(state_.selected);
}

void Editor::Nudge(float x, float y, bool repeated) {
  if (Entry* const entry = Change(repeated)) {
    entry->layer.pos.x += x;
    entry->layer.pos.y += y;
    Hover();
  }
}

void Editor::Rotate(float degrees, bool repeated) {
  if (Entry* const entry = Change(repeated)) {
    entry->layer.rotation_deg = std::fmod(entry->layer.rotation_deg + degrees, 360.0f);
    Hover();
  }
}

void Editor::Raise(bool all_the_way) { MoveInOrder(1, all_the_way); }

void Editor::Lower(bool all_the_way) { MoveInOrder(-1, all_the_way); }

// Neighbours change places, and their z with them: all others keep theirs.
void Editor::MoveInOrder(int step, bool all_the_way) {
  const Entry* const entry = SelectedEntry();
  if (drag_ || !entry) return;
  std::vector<Entry>& entries = state_.entries;
  const auto at = static_cast<int>(entry - entries.data());
  const auto last = static_cast<int>(entries.size()) - 1;
  const auto in_range = [last](int place) { return place >= 0 && place <= last; };
  if (!in_range(at + step)) return;
  Remember();
  for (int place = at; in_range(place + step); place += step) {
    Entry& mine = entries[static_cast<std::size_t>(place)];
    Entry& other = entries[static_cast<std::size_t>(place + step)];
    std::swap(mine, other);
    std::swap(mine.layer.z, other.layer.z);
    if (!all_the_way) break;
  }
  Hover();
}

void Editor::ToggleVisible() {
  if (Entry* const entry = Change()) {
    entry->layer.visible = !entry->layer.visible;
    Hover();
  }
}

void Editor::Delete() {
  if (Entry* const entry = Change()) {
    state_.entries.erase(state_.entries.begin() + (entry - state_.entries.data()));
    state_.selected = 0;
    Hover();
  }
}

int Editor::Add(Layer layer, Size natural) {
  Drop();
  Remember();
  if (!state_.entries.empty()) layer.z = std::max(layer.z, state_.entries.back().layer.z);
  state_.entries.push_back(Entry{++last_id_, std::move(layer), natural});
  state_.selected = last_id_;
  Hover();
  return last_id_;
}

void Editor::Undo() {
  if (drag_ || undo_.empty()) return;
  redo_.push_back(std::exchange(state_, std::move(undo_.back())));
  undo_.pop_back();
  Hover();
}

void Editor::Redo() {
  if (drag_ || redo_.empty()) return;
  undo_.push_back(std::exchange(state_, std::move(redo_.back())));
  redo_.pop_back();
  Hover();
}

}  // namespace preview
