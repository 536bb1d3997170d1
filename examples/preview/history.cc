#include "preview/history.h"

#include <algorithm>
#include <cstddef>

namespace preview {
namespace {

constexpr std::size_t kUndoDepth = 200;

bool Same(studio::Vec a, studio::Vec b) { return a.x == b.x && a.y == b.y; }

bool Same(const std::optional<studio::Size>& a, const std::optional<studio::Size>& b) {
  return a.has_value() == b.has_value() && (!a || (a->width == b->width && a->height == b->height));
}

// All that is edited in a layer.
bool Same(const Entry& a, const Entry& b) {
  return a.id == b.id && a.layer.name == b.layer.name && a.layer.locked == b.layer.locked &&
         a.layer.visible == b.layer.visible && Same(a.layer.pos, b.layer.pos) && Same(a.layer.size, b.layer.size) &&
         a.layer.rotation_deg == b.layer.rotation_deg && a.layer.z == b.layer.z && a.layer.opacity == b.layer.opacity;
}

bool Same(const std::vector<Entry>& a, const std::vector<Entry>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const Entry& left, const Entry& right) { return Same(left, right); });
}

}  // namespace

void History::SetSelection(std::vector<int> selection) {
  End();
  state_.selection = std::move(selection);
}

EditState* History::Change(Gesture gesture, bool continues) {
  if (open_ && !(continues && open_->gesture == gesture)) End();
  if (!open_) {
    open_ = Step{gesture, state_};
    state_.revision = ++last_revision_;
  }
  return &state_;
}

void History::End() {
  if (!open_) return;
  if (Same(state_.entries, open_->before.entries)) {
    state_.revision = open_->before.revision;
  } else {
    undo_.push_back(std::move(open_->before));
    if (undo_.size() > kUndoDepth) undo_.erase(undo_.begin());
    redo_.clear();
  }
  open_.reset();
}

void History::PutBack() {
  if (!open_) return;
  state_ = std::move(open_->before);
  open_.reset();
}

void History::Undo() {
  End();
  if (undo_.empty()) return;
  redo_.push_back(std::exchange(state_, std::move(undo_.back())));
  undo_.pop_back();
}

void History::Redo() {
  End();
  if (redo_.empty()) return;
  undo_.push_back(std::exchange(state_, std::move(redo_.back())));
  redo_.pop_back();
}

bool History::changed() const {
  const bool undone = open_ && Same(state_.entries, open_->before.entries);
  return (undone ? open_->before.revision : state_.revision) != saved_revision_;
}

void History::MarkSaved() {
  End();
  saved_revision_ = state_.revision;
}

}  // namespace preview
