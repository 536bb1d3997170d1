// The editor's logic: which layer is under the pointer, what a drag, a key or an undo makes of the layers. Knows
// neither windows nor graphics; one thread.
#ifndef QUARN_EXAMPLES_PREVIEW_EDITOR_H_
#define QUARN_EXAMPLES_PREVIEW_EDITOR_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "preview/history.h"
#include "preview/shape.h"
#include "preview/snapping.h"
#include "studio/description.h"

namespace preview {

// Held while the pointer presses and moves.
//
// Shift: a corner changes its layer's proportions, a turn goes by steps of 15 degrees, a move keeps to one axis.
// Control: nothing snaps, neither to lines nor a turn to right angles.
// A press with Shift or Control adds what it hits to the selection, or takes it from there; one with Alt selects the
// layer underneath the one that is selected, and after the last the first again.
struct Modifiers {
  bool shift = false;
  bool control = false;
  bool alt = false;
};

// What the pointer has in hand, or would take.
enum class Grip { kNone, kMove, kResize, kRotate };

// Positions of the pointer are in canvas pixels from the canvas' centre, and may be anywhere.
//
// What the pointer, a key that is held down or a number that is dragged makes of the layers is one step for an undo.
// The commands, selecting included, do nothing while something is in hand, and without something to change.
class Editor {
 public:
  // In the order in which the layers were given.
  Editor(std::vector<Entry> entries, studio::Size canvas);

  // The layers in the order in which they are drawn: by z, equals as they were given or moved.
  const std::vector<Entry>& entries() const { return history_.state().entries; }
  std::vector<studio::Layer> Layers() const;
  const Entry* Find(int id) const;
  Shape ShapeOf(const Entry& entry) const;

  // Ids in the order in which they were selected.
  const std::vector<int>& selection() const { return history_.state().selection; }
  bool IsSelected(int id) const;
  // The last of them, which has the handles; 0 for none.
  int selected() const { return selection().empty() ? 0 : selection().back(); }
  const Entry* SelectedEntry() const { return Find(selected()); }
  // The layer that a press would take, or that is in hand; 0 for none.
  int hovered() const;
  // A press holds something: layers, a handle or a corner of a rubber band.
  bool holding() const { return drag_.has_value(); }
  // Layers are being changed by the pointer.
  bool dragging() const { return drag_ && drag_->moved && drag_->grip != Grip::kNone; }
  // The rectangle that is drawn over what is to be selected.
  std::optional<Box> rubber_band() const;
  // Where guides go: the lines of the canvas which what is in hand keeps to.
  std::optional<float> guide_x() const { return guide_x_; }
  std::optional<float> guide_y() const { return guide_y_; }
  // What is in hand or under the pointer, and for kResize which handle.
  Grip active_grip() const;
  std::optional<Handle> active_handle() const;
  // Where the grip is that turns the selected layer, if it has one: not while it is hidden or locked.
  std::optional<studio::Vec> RotationGrip() const;

  // The film's time, which moves layers that drift or spin. What is in hand stays with the pointer.
  void SetTime(double seconds);
  // Pixels of the screen for each of the canvas: handles and the reach of snapping have their size on the screen.
  void SetScale(float scale);

  void MovePointer(studio::Vec point, Modifiers modifiers);
  // Nothing is under the pointer any more; what is in hand stays there.
  void PointerLeft();
  // Selects what is under the pointer and takes it in hand, or begins a rubber band. What is locked or hidden is not
  // there for it.
  void Press(studio::Vec point, Modifiers modifiers = {});
  void Release();
  // Puts what is in hand back; else selects nothing.
  void Escape();

  // Selects a layer, or none for an id that is not there. To `extend` adds it, or takes it from the selection.
  void Select(int id, bool extend);
  // All that are not locked.
  void SelectAll();
  void SelectNone();
  // Selects the next (1) or the previous (-1) layer in the order of drawing, hidden ones included.
  void SelectNext(int step);

  // Each of these changes all selected layers. What is `repeated` by a key that is held down is undone with the first.
  void Nudge(float x, float y, bool repeated);
  void Rotate(float degrees, bool repeated);
  // By one place, or with `all_the_way` over or under every other layer.
  void Raise(bool all_the_way);
  void Lower(bool all_the_way);
  // Hides them if the last is visible, else shows them.
  void ToggleVisible();
  // Locks them if the last is not, else unlocks them.
  void ToggleLocked();
  void Delete();
  // Puts copies on top, a little aside, and selects them instead.
  void Duplicate();

  // These change one layer; an id that is not there changes nothing.
  void SetVisible(int id, bool visible);
  void SetLocked(int id, bool locked);
  void Rename(int id, const std::string& name);

  // Puts layers one over the other, in the order that they have, and the first to a place in entries(); where there are
  // too few above, all of them on top.
  void MoveTo(const std::vector<int>& ids, std::size_t index);

  // These change the layer that was selected last. What `continues` is undone with what came before, until EndGesture
  // or another change. Values are brought into their range; what is no number changes nothing.
  void SetPos(studio::Vec pos, bool continues = false);
  void SetSize(studio::Size size, bool continues = false);
  void SetRotation(float degrees, bool continues = false);
  void SetOpacity(float opacity, bool continues = false);
  // The next change is a step of its own.
  void EndGesture();

  // Puts a layer on top and selects it. Returns its id. What is in hand is let go.
  int Add(studio::Layer layer, studio::Size natural);
  // The same with several, in one step. Returns their ids, in the order in which they were given.
  std::vector<int> AddAll(std::vector<Entry> entries);
  // The selected layers, in the order in which they are drawn.
  std::vector<studio::Layer> CopyLayers() const;

  // In the middle of a drag an undo puts back what is in hand, and a redo does nothing.
  void Undo();
  void Redo();

  // Whether there is something that was not saved.
  bool changed() const { return history_.changed(); }
  void MarkSaved() { history_.MarkSaved(); }

 private:
  // A layer in hand, as it was seen when it was pressed.
  struct Held {
    int id = 0;
    Shape start;
  };
  struct Drag {
    Grip grip = Grip::kNone;  // None for a rubber band.
    Handle handle;            // Of a resize.
    studio::Vec pressed;
    int hit = 0;  // The layer under the pointer, then.
    std::vector<Held> held;
    std::vector<int> selection;  // What a release in the same place selects, and a rubber band adds to.
    bool moved = false;          // The pointer has left the place where a click stays a click.
  };

  // The state to be changed; null while something is in hand.
  EditState* Change(Gesture gesture = Gesture::kOnce, bool continues = false);
  // The same for the selected layers, and for one; nothing when there is nothing to change.
  std::vector<Entry*> ChangeSelected(Gesture gesture = Gesture::kOnce, bool continues = false);
  Entry* ChangeLayer(int id, Gesture gesture = Gesture::kOnce, bool continues = false);
  void MoveInOrder(int step, bool all_the_way);
  void Reorder(std::vector<Entry> order);

  // The layers that are hit by the point, the topmost first.
  std::vector<int> HitLayers(studio::Vec point) const;
  int HitTopmost(studio::Vec point) const;
  int HitUnderneath(studio::Vec point) const;
  // What of the selected layer's handles and its grip is under the point; a handle is written to `handle`.
  Grip HitGrip(studio::Vec point, Handle* handle) const;
  void Hold(const std::vector<int>& ids);
  void Drop();
  bool IsHeld(int id) const;
  SnapLines LinesAround() const;
  void ApplyDrag();
  void ApplyBand();
  void ApplyMove(EditState* state);
  void ApplyResize(Entry* entry, const Shape& pressed);
  void ApplyRotation(Entry* entry, const Shape& pressed) const;
  studio::Vec DriftedBy(const studio::Layer& layer) const;

  const studio::Size canvas_;
  History history_;
  int last_id_ = 0;

  double seconds_ = 0;
  float scale_ = 1;
  std::optional<studio::Vec> pointer_;  // While it is over the window.
  Modifiers modifiers_;
  std::optional<Drag> drag_;
  std::optional<float> guide_x_;
  std::optional<float> guide_y_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_EDITOR_H_
