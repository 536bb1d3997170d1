// The editor's logic: which layer is under the pointer, what a drag, a key or an undo makes of the layers. Knows
// neither windows nor graphics; one thread.
#ifndef QUARN_EXAMPLES_PREVIEW_EDITOR_H_
#define QUARN_EXAMPLES_PREVIEW_EDITOR_H_

#include <optional>
#include <vector>

#include "preview/shape.h"
#include "studio/description.h"

namespace preview {

// A layer in the editor.
struct Entry {
  int id = 0;  // Above 0. Stays the layer's for good, also while it is deleted.
  studio::Layer layer;
  studio::Size natural;  // The size that it has without one of its own.
};

// Held while the pointer moves.
struct Modifiers {
  bool keep_proportions = false;
  bool no_snapping = false;
};

// Positions of the pointer are in canvas pixels from the canvas' centre.
class Editor {
 public:
  // In the order in which the layers were given.
  explicit Editor(std::vector<Entry> entries);

  // The layers in the order in which they are drawn: by z, equals as they were given or moved.
  const std::vector<Entry>& entries() const { return state_.entries; }
  std::vector<studio::Layer> Layers() const;
  // Ids; 0 for none.
  int selected() const { return state_.selected; }
  int hovered() const { return hovered_; }
  const Entry* SelectedEntry() const;
  bool dragging() const { return drag_ && drag_->moved; }
  // Where a guide goes: the centre of the layer in hand lies on that axis of the canvas.
  bool on_vertical_axis() const { return on_vertical_axis_; }
  bool on_horizontal_axis() const { return on_horizontal_axis_; }
  // The handle of the selected layer that is in hand or under the pointer.
  std::optional<Handle> active_handle() const;
  Shape ShapeOf(const Entry& entry) const;

  // The film's time, which moves layers that drift or spin. What is in hand stays with the pointer.
  void SetTime(double seconds);
  // Pixels of the screen for each of the canvas: handles and the reach of snapping have their size on the screen.
  void SetScale(float scale);

  void MovePointer(studio::Vec point, Modifiers modifiers);
  void PointerLeft();
  // Selects what is under the pointer, or nothing, and takes it in hand.
  void Press(studio::Vec point);
  void Release();
  // Puts what is in hand back; else selects nothing.
  void Escape();

  // Selects the next (1) or the previous (-1) layer in the order of drawing, hidden ones included.
  void SelectNext(int step);
  // Each changes the selected layer and does nothing without one, or while something is in hand. What is `repeated` by
  // a key that is held down is undone with the first.
  void Nudge(float x, float y, bool repeated);
  void Rotate(float degrees, bool repeated);
  // By one place, or with `all_the_way` over or under every other layer.
  void Raise(bool all_the_way);
  void Lower(bool all_the_way);
  void ToggleVisible();
  void Delete();

  // Puts a layer on top and selects it. Returns its id.
  int Add(studio::Layer layer, studio::Size natural);

  void Undo();
  void Redo();

  // Whether there is something that was not saved.
  bool changed() const { return state_.revision != saved_revision_; }
  void MarkSaved() { saved_revision_ = state_.revision; }

 private:
  struct State {
    std::vector<Entry> entries;
    int selected = 0;
    int revision = 0;  // Another one for each state that differs.
  };
  struct Drag {
    std::optional<Handle> handle;  // Of a resize; a move else.
    studio::Vec pressed;
    Shape start;
    bool moved = false;  // The pointer has left the place where a click stays a click.
  };

  Entry* Find(int id);
  // The selected layer, to be changed: the present state can be undone. Null when there is nothing to change.
  Entry* Change(bool repeated = false);
  void Remember();
  void MoveInOrder(int step, bool all_the_way);
  void Drop();
  void ApplyDrag();
  void ApplyMove(Entry* entry);
  void ApplyResize(Entry* entry);
  int HitLayer(studio::Vec point) const;
  std::optional<Handle> HitHandle(studio::Vec point) const;
  void Hover();

  studio::Vec DriftedBy(const studio::Layer& layer) const;

  State state_;
  std::vector<State> undo_;
  std::vector<State> redo_;
  int last_id_ = 0;
  int last_revision_ = 0;
  int saved_revision_ = 0;

  double seconds_ = 0;
  float scale_ = 1;
  std::optional<studio::Vec> pointer_;  // While it is over the window.
  Modifiers modifiers_;
  std::optional<Drag> drag_;
  int hovered_ = 0;
  bool on_vertical_axis_ = false;
  bool on_horizontal_axis_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_EDITOR_H_
