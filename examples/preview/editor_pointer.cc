// The editor under the pointer: what a press takes in hand, and what becomes of it.
#include "preview/editor.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "studio/placement.h"

namespace preview {
namespace {

using studio::Vec;

// Pixels on the screen, whatever the scale.
constexpr float kHandleReachPx = 6;  // Handles are squares of 8; a little more is easier to hit.
constexpr float kRotationGripPx = 24;
constexpr float kClickReachPx = 3;
constexpr float kSnapReachPx = 8;

constexpr double kTurnStepDeg = 15;
constexpr double kTurnReachDeg = 3;  // Within which a turn is pulled upright, or to lie.
constexpr float kGuideSlack = 1;     // Canvas pixels: sides are whole pixels, the lines need not lie on them.

bool IsNumber(Vec v) { return std::isfinite(v.x) && std::isfinite(v.y); }

Vec Difference(Vec a, Vec b) { return Vec{a.x - b.x, a.y - b.y}; }
Vec Sum(Vec a, Vec b) { return Vec{a.x + b.x, a.y + b.y}; }

Box BoxBetween(Vec a, Vec b) {
  return Box{{std::min(a.x, b.x), std::min(a.y, b.y)}, {std::max(a.x, b.x), std::max(a.y, b.y)}};
}

Entry& EntryOf(EditState* state, int id) {
  return *std::find_if(state->entries.begin(), state->entries.end(),
                       [id](const Entry& entry) { return entry.id == id; });
}

bool CanBeHit(const Entry& entry) { return entry.layer.visible && !entry.layer.locked; }

}  // namespace

std::vector<int> Editor::HitLayers(Vec point) const {
  std::vector<int> hit;
  for (auto entry = entries().rbegin(); entry != entries().rend(); ++entry) {
    if (CanBeHit(*entry) && Contains(ShapeOf(*entry), point)) hit.push_back(entry->id);
  }
  return hit;
}

int Editor::HitTopmost(Vec point) const {
  const std::vector<int> hit = HitLayers(point);
  return hit.empty() ? 0 : hit.front();
}

int Editor::HitUnderneath(Vec point) const {
  const std::vector<int> hit = HitLayers(point);
  const auto above = std::find(hit.begin(), hit.end(), selected());
  if (above == hit.end() || above + 1 == hit.end()) return hit.empty() ? 0 : hit.front();
  return above[1];
}

Grip Editor::HitGrip(Vec point, Handle* handle) const {
  const Entry* const entry = SelectedEntry();
  if (!entry || !CanBeHit(*entry)) return Grip::kNone;
  if (const auto hit = HandleAt(ShapeOf(*entry), point, kHandleReachPx / scale_)) {
    *handle = *hit;
    return Grip::kResize;
  }
  const Vec away = Difference(point, *RotationGrip());
  return std::hypot(away.x, away.y) * scale_ <= kHandleReachPx ? Grip::kRotate : Grip::kNone;
}

std::optional<Vec> Editor::RotationGrip() const {
  const Entry* const entry = SelectedEntry();
  if (!entry || !CanBeHit(*entry)) return std::nullopt;
  return RotationGripPoint(ShapeOf(*entry), kRotationGripPx / scale_);
}

int Editor::hovered() const {
  if (drag_) return drag_->hit;
  if (!pointer_) return 0;
  Handle ignored;
  return HitGrip(*pointer_, &ignored) != Grip::kNone ? selected() : HitTopmost(*pointer_);
}

Grip Editor::active_grip() const {
  if (drag_) return drag_->grip;
  if (!pointer_) return Grip::kNone;
  Handle ignored;
  const Grip grip = HitGrip(*pointer_, &ignored);
  return grip == Grip::kNone && HitTopmost(*pointer_) != 0 ? Grip::kMove : grip;
}

std::optional<Handle> Editor::active_handle() const {
  Handle handle;
  if (drag_) return drag_->grip == Grip::kResize ? std::optional<Handle>(drag_->handle) : std::nullopt;
  if (pointer_ && HitGrip(*pointer_, &handle) == Grip::kResize) return handle;
  return std::nullopt;
}

std::optional<Box> Editor::rubber_band() const {
  if (!drag_ || !drag_->moved || drag_->grip != Grip::kNone) return std::nullopt;
  return BoxBetween(drag_->pressed, *pointer_);
}

void Editor::SetTime(double seconds) {
  seconds_ = seconds;
  ApplyDrag();
}

void Editor::SetScale(float scale) {
  if (std::isfinite(scale) && scale > 0) scale_ = scale;
}

void Editor::MovePointer(Vec point, Modifiers modifiers) {
  if (!IsNumber(point)) return;
  pointer_ = point;
  modifiers_ = modifiers;
  ApplyDrag();
}

void Editor::PointerLeft() {
  if (!drag_) pointer_.reset();
}

void Editor::Press(Vec point, Modifiers modifiers) {
  if (!IsNumber(point)) return;
  Drop();
  pointer_ = point;
  modifiers_ = modifiers;
  Drag drag;
  drag.pressed = point;
  drag.selection = selection();
  drag.grip = modifiers.alt ? Grip::kNone : HitGrip(point, &drag.handle);
  if (drag.grip != Grip::kNone) {
    drag.hit = selected();
    drag_ = std::move(drag);
    Hold({selected()});
    return;
  }
  const bool extend = modifiers.shift || modifiers.control;
  drag.hit = modifiers.alt ? HitUnderneath(point) : HitTopmost(point);
  if (drag.hit == 0) {
    if (!extend) drag.selection.clear();
    history_.SetSelection(drag.selection);
  } else {
    drag.grip = Grip::kMove;
    if (!IsSelected(drag.hit) || modifiers.alt) {
      Select(drag.hit, extend && !modifiers.alt);
      drag.selection = selection();
    } else if (extend) {  // The others stay selected if it is only a click.
      drag.selection.erase(std::find(drag.selection.begin(), drag.selection.end(), drag.hit));
    } else {
      drag.selection = {drag.hit};
    }
  }
  const bool moves = drag.grip == Grip::kMove;
  drag_ = std::move(drag);
  if (moves) Hold(selection());
}

void Editor::Hold(const std::vector<int>& ids) {
  for (const int id : ids) {
    const Entry* const entry = Find(id);
    if (!entry->layer.locked) drag_->held.push_back(Held{id, ShapeOf(*entry)});
  }
}

bool Editor::IsHeld(int id) const {
  return std::any_of(drag_->held.begin(), drag_->held.end(), [id](const Held& held) { return held.id == id; });
}

void Editor::Release() {
  if (drag_ && !drag_->moved) history_.SetSelection(drag_->selection);
  Drop();
}

void Editor::Escape() {
  if (!drag_) {
    history_.SetSelection({});
  } else if (drag_->grip == Grip::kNone) {
    history_.SetSelection(drag_->selection);
  } else {
    history_.PutBack();
  }
  Drop();
}

// Lets go of what is in hand, where it is.
void Editor::Drop() {
  drag_.reset();
  guide_x_.reset();
  guide_y_.reset();
  history_.End();
}

void Editor::ApplyDrag() {
  if (!drag_) return;
  if (!drag_->moved) {
    const Vec away = Difference(*pointer_, drag_->pressed);
    if (std::hypot(away.x, away.y) * scale_ <= kClickReachPx) return;
    drag_->moved = true;
  }
  guide_x_.reset();
  guide_y_.reset();
  if (drag_->grip == Grip::kNone) {
    ApplyBand();
    return;
  }
  EditState* const state = history_.Change(Gesture::kPointer, true);
  const Held& first = drag_->held.front();
  switch (drag_->grip) {
    case Grip::kNone: break;
    case Grip::kMove: ApplyMove(state); break;
    case Grip::kResize: ApplyResize(&EntryOf(state, first.id), first.start); break;
    case Grip::kRotate: ApplyRotation(&EntryOf(state, first.id), first.start); break;
  }
}

void Editor::ApplyBand() {
  const Box band = *rubber_band();
  std::vector<int> selected = drag_->selection;
  for (const Entry& entry : entries()) {
    if (!CanBeHit(entry) || !Touches(ShapeOf(entry), band)) continue;
    if (std::find(selected.begin(), selected.end(), entry.id) == selected.end()) selected.push_back(entry.id);
  }
  history_.SetSelection(std::move(selected));
}

// Those of the canvas, and of all layers that are seen and not in hand.
SnapLines Editor::LinesAround() const {
  const Vec half{static_cast<float>(canvas_.width) / 2, static_cast<float>(canvas_.height) / 2};
  SnapLines lines;
  lines.Add(Box{{-half.x, -half.y}, half});
  for (const Entry& entry : entries()) {
    if (entry.layer.visible && !IsHeld(entry.id)) lines.Add(BoundsOf(ShapeOf(entry)));
  }
  return lines;
}

Vec Editor::DriftedBy(const studio::Layer& layer) const {
  return Difference(studio::PosAt(layer, seconds_), layer.pos);
}

void Editor::ApplyMove(EditState* state) {
  // By whole pixels, so that what lay on the pixels stays there.
  const Vec moved = Difference(*pointer_, drag_->pressed);
  Vec by{std::round(moved.x), std::round(moved.y)};
  const bool along_x = std::fabs(moved.x) >= std::fabs(moved.y);
  if (modifiers_.shift) (along_x ? by.y : by.x) = 0;
  if (!modifiers_.control) {
    Box box = BoundsOf(drag_->held.front().start);
    for (const Held& held : drag_->held) box = Joined(box, BoundsOf(held.start));
    SnappedBox snapped = SnapBox(LinesAround(), Box{Sum(box.min, by), Sum(box.max, by)}, kSnapReachPx / scale_);
    if (!modifiers_.shift || along_x) {
      by.x += snapped.offset.x;
      guide_x_ = snapped.x;
    }
    if (!modifiers_.shift || !along_x) {
      by.y += snapped.offset.y;
      guide_y_ = snapped.y;
    }
  }
  for (const Held& held : drag_->held) {
    Entry& entry = EntryOf(state, held.id);
    entry.layer.pos = Difference(Sum(held.start.pos, by), DriftedBy(entry.layer));
  }
}

void Editor::ApplyResize(Entry* entry, const Shape& pressed) {
  const Handle handle = drag_->handle;
  const bool keep_proportions = handle.IsCorner() && !modifiers_.shift;
  // The handle keeps its distance from the pointer.
  const Vec point = Sum(Difference(*pointer_, drag_->pressed), HandlePoint(pressed, handle));
  const Vec anchor = HandlePoint(pressed, handle.Opposite());
  Shape start = pressed;
  start.rotation_deg = studio::RotationAt(entry->layer, seconds_);
  Shape resized = Resized(start, handle, anchor, point, keep_proportions);
  if (!modifiers_.control) {
    const float reach = kSnapReachPx / scale_;
    const Vec corner = HandlePoint(resized, handle);
    const SnappedPoint snapped = handle.IsCorner() && !keep_proportions
                                     ? SnapPoint(LinesAround(), corner, reach)
                                     : SnapAlong(LinesAround(), anchor, corner, reach);
    resized = Resized(start, handle, anchor, snapped.point, keep_proportions);
    const Vec reached = HandlePoint(resized, handle);
    if (snapped.x && std::fabs(*snapped.x - reached.x) <= kGuideSlack) guide_x_ = snapped.x;
    if (snapped.y && std::fabs(*snapped.y - reached.y) <= kGuideSlack) guide_y_ = snapped.y;
  }
  entry->layer.size = resized.size;
  entry->layer.pos = Difference(resized.pos, DriftedBy(entry->layer));
}

void Editor::ApplyRotation(Entry* entry, const Shape& pressed) const {
  const Shape now = ShapeOf(*entry);
  const float turned = DirectionTo(now, *pointer_) - DirectionTo(pressed, drag_->pressed);
  const double free = pressed.rotation_deg + turned;
  const double square = std::round(free / 90) * 90;
  const bool snaps = !modifiers_.control && std::fabs(free - square) <= kTurnReachDeg;
  const double step = modifiers_.shift ? kTurnStepDeg : snaps ? 90 : 0.1;
  const double seen = std::round(free / step) * step;
  const double spun = entry->layer.spin_deg_s * seconds_;
  entry->layer.rotation_deg = static_cast<float>(std::remainder(seen - spun, 360.0));
}

}  // namespace preview
