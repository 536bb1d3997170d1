// What is edited, and how it was before: steps that are undone and redone. Knows neither windows nor graphics; one
// thread.
#ifndef QUARN_EXAMPLES_PREVIEW_HISTORY_H_
#define QUARN_EXAMPLES_PREVIEW_HISTORY_H_

#include <optional>
#include <utility>
#include <vector>

#include "studio/description.h"

namespace preview {

// A layer in the editor.
struct Entry {
  int id = 0;  // Above 0. Stays the layer's for good, also while it is deleted.
  studio::Layer layer;
  studio::Size natural;  // The size that it has without one of its own.
};

// What an undo brings back.
struct EditState {
  std::vector<Entry> entries;  // In the order in which they are drawn.
  std::vector<int> selection;  // Ids of entries, in the order in which they were selected.
  int revision = 0;            // Another one for each state that differs.
};

// What a step is made by: only more of the same can go on with it.
enum class Gesture { kOnce, kPointer, kNudge, kTurn, kPos, kSize, kRotation, kOpacity };

class History {
 public:
  explicit History(std::vector<Entry> entries) { state_.entries = std::move(entries); }

  const EditState& state() const { return state_; }
  // To select is no step of its own, but ends the open one.
  void SetSelection(std::vector<int> selection);

  // The state, to be changed in the open step if it `continues` that and is of the same kind, else in a new one, which
  // stays open.
  EditState* Change(Gesture gesture, bool continues);
  // Closes the open step, if there is one. What has changed nothing is none.
  void End();
  // Leaves the open step, if there is one: all is as it was before.
  void PutBack();

  void Undo();
  void Redo();

  // Whether there is something that was not saved.
  bool changed() const;
  void MarkSaved();

 private:
  struct Step {
    Gesture gesture = Gesture::kOnce;
    EditState before;
  };

  EditState state_;
  std::optional<Step> open_;
  std::vector<EditState> undo_;
  std::vector<EditState> redo_;
  int last_revision_ = 0;
  int saved_revision_ = 0;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_HISTORY_H_
