// Whatever is done to the editor, in whatever order: what holds all the time. Each run does the same.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <iomanip>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "editing.h"

namespace preview {
namespace {

using studio::Layer;
using studio::Vec;

// All that is edited, as a text.
std::string TextOf(const Editor& editor) {
  std::ostringstream text;
  text << std::setprecision(9);
  for (const Entry& entry : editor.entries()) {
    const Layer& layer = entry.layer;
    text << entry.id << ' ' << layer.name << ' ' << layer.pos.x << ' ' << layer.pos.y << ' ' << layer.rotation_deg
         << ' ' << layer.z << ' ' << layer.opacity << ' ' << layer.visible << layer.locked;
    if (layer.size) text << ' ' << layer.size->width << 'x' << layer.size->height;
    text << '\n';
  }
  return text.str();
}

class Somebody {
 public:
  explicit Somebody(unsigned int seed) : random_(seed) {}

  float Any(float from, float to) { return std::uniform_real_distribution<float>(from, to)(random_); }
  int Whole(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }
  bool Perhaps() { return Whole(0, 1) == 1; }
  Vec Point() { return Vec{Any(-400, 400), Any(-250, 250)}; }
  Modifiers AnyModifiers() { return Modifiers{Whole(0, 3) == 0, Whole(0, 3) == 0, Whole(0, 5) == 0}; }

  Layer AnyLayer() {
    Layer layer = MakeLayer(Any(-300, 300), Any(-200, 200), Whole(4, 300), Whole(4, 300), Whole(-3, 3));
    layer.rotation_deg = Perhaps() ? 0 : Any(-180, 180);
    if (Whole(0, 3) == 0) layer.drift_px_s = Vec{Any(-9, 9), Any(-9, 9)};
    if (Whole(0, 3) == 0) layer.spin_deg_s = Any(-50, 50);
    return layer;
  }

  // A handle or the grip of what is selected, some layer's middle, or anywhere.
  Vec PlaceToPress(const Editor& editor) {
    const Entry* const last = editor.SelectedEntry();
    if (last && Perhaps()) {
      if (editor.RotationGrip() && Whole(0, 3) == 0) return *editor.RotationGrip();
      return HandlePoint(editor.ShapeOf(*last), Handle{Whole(-1, 1), Whole(-1, 1)});
    }
    if (editor.entries().empty() || Whole(0, 3) == 0) return Point();
    return editor.ShapeOf(AnyEntry(editor)).pos;
  }
  const Entry& AnyEntry(const Editor& editor) {
    return editor.entries()[static_cast<std::size_t>(Whole(0, static_cast<int>(editor.entries().size()) - 1))];
  }
  int AnyId(const Editor& editor) {
    return editor.entries().empty() || Whole(0, 9) == 0 ? Whole(-1, 99) : AnyEntry(editor).id;
  }

  void Drag(Editor* editor) {
    editor->Press(PlaceToPress(*editor), AnyModifiers());
    for (int moves = Whole(0, 4); moves > 0; --moves) {
      editor->MovePointer(Point(), AnyModifiers());
      if (Whole(0, 9) == 0) editor->PointerLeft();
      if (Whole(0, 9) == 0) editor->SetTime(Any(0, 20));
      if (Whole(0, 9) == 0) editor->Nudge(1, 1, false);
      if (!editor->dragging() || Whole(0, 9) != 0) continue;
      Perhaps() ? editor->Escape() : editor->Undo();
      break;
    }
    editor->Release();
  }

  // One step at most.
  void DoSomething(Editor* editor) {
    const bool all_the_way = Perhaps();
    switch (Whole(0, 17)) {
      case 0: editor->Nudge(Any(-9, 9), Any(-9, 9), Perhaps()); break;
      case 1: editor->Rotate(Any(-40, 40), Perhaps()); break;
      case 2: editor->Raise(all_the_way); break;
      case 3: editor->Lower(all_the_way); break;
      case 4: editor->ToggleVisible(); break;
      case 5:
        if (Whole(0, 3) == 0) editor->Delete();
        break;
      case 6:
        if (editor->entries().size() < 9) editor->Duplicate();
        break;
      case 7: editor->SetVisible(AnyId(*editor), Whole(0, 3) != 0); break;
      case 8: editor->SetLocked(AnyId(*editor), Whole(0, 3) == 0); break;
      case 9: editor->Rename(AnyId(*editor), std::to_string(Whole(0, 9))); break;
      case 10: editor->MoveTo({AnyId(*editor), AnyId(*editor)}, static_cast<std::size_t>(Whole(0, 9))); break;
      case 11: editor->SetPos(Point(), Perhaps()); break;
      case 12: editor->SetSize({Whole(-5, 500), Whole(1, 500)}, Perhaps()); break;
      case 13: editor->SetOpacity(Any(-1, 2), Perhaps()); break;
      case 14:
        if (editor->entries().size() < 9) editor->AddAll({Entry{3, AnyLayer(), {64, 36}}});
        break;
      default: Drag(editor);
    }
    editor->EndGesture();
  }

  void SelectSomething(Editor* editor) {
    switch (Whole(0, 5)) {
      case 0: editor->SelectAll(); break;
      case 1: editor->SelectNext(Perhaps() ? 1 : -1); break;
      case 2: editor->SelectNone(); break;
      case 3: editor->SetTime(Any(0, 20)); break;
      case 4: editor->SetScale(std::exp(Any(std::log(0.1f), std::log(20.0f)))); break;
      default: editor->Select(AnyId(*editor), Perhaps());
    }
  }

 private:
  std::mt19937 random_;
};

void ExpectSound(const Editor& editor) {
  std::set<int> ids;
  int z = -100;
  for (const Entry& entry : editor.entries()) {
    EXPECT_GT(entry.id, 0);
    EXPECT_TRUE(ids.insert(entry.id).second) << entry.id << " is there twice";
    EXPECT_GE(entry.layer.z, z);
    z = entry.layer.z;
    EXPECT_TRUE(std::isfinite(entry.layer.pos.x) && std::isfinite(entry.layer.pos.y));
    EXPECT_GE(entry.layer.size->width, 1);
    EXPECT_GE(entry.layer.size->height, 1);
  }
  std::set<int> selected;
  for (const int id : editor.selection()) {
    EXPECT_TRUE(ids.count(id) == 1) << id << " is selected and not there";
    EXPECT_TRUE(selected.insert(id).second) << id << " is selected twice";
  }
  EXPECT_FALSE(editor.dragging() || editor.rubber_band() || editor.guide_x() || editor.guide_y());
}

TEST(EditorRandomTest, EveryStepIsUndoneAndRedone) {
  for (unsigned int seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Somebody somebody(seed);
    Editor editor = MakeEditor({somebody.AnyLayer(), somebody.AnyLayer(), somebody.AnyLayer()});
    std::vector<std::string> states{TextOf(editor)};
    for (int i = 0; i < 120; ++i) {
      somebody.SelectSomething(&editor);
      const bool was_changed = editor.changed();
      somebody.DoSomething(&editor);
      ExpectSound(editor);
      const std::string after = TextOf(editor);
      if (after == states.back()) {
        ASSERT_EQ(editor.changed(), was_changed);
        continue;
      }
      ASSERT_TRUE(editor.changed());
      editor.Undo();
      ExpectSound(editor);
      ASSERT_EQ(TextOf(editor), states.back());
      ASSERT_EQ(editor.changed(), was_changed);
      editor.Redo();
      ASSERT_EQ(TextOf(editor), after);
      states.push_back(after);
      if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(states.size(), 20u);  // Something was done.
    for (auto state = states.rbegin() + 1; state != states.rend(); ++state) {
      editor.Undo();
      ASSERT_EQ(TextOf(editor), *state);
    }
    EXPECT_FALSE(editor.changed());
    for (std::size_t i = 1; i < states.size(); ++i) editor.Redo();
    ASSERT_EQ(TextOf(editor), states.back());
  }
}

TEST(EditorRandomTest, LockedAndHiddenLayersAreNotChangedByThePointer) {
  Somebody somebody(5);
  Layer locked = MakeLayer(0, 0, 300, 200), hidden = MakeLayer(50, 20, 300, 200);
  locked.locked = true;
  hidden.visible = false;
  Editor editor = MakeEditor({MakeLayer(-20, 10, 200, 100), locked, hidden, MakeLayer(30, 0, 100, 90)});
  for (int i = 0; i < 500; ++i) {
    // By the pointer the hidden one moves only along with others; alone it is not there.
    editor.Select(somebody.Perhaps() ? 2 : 1, false);
    somebody.Drag(&editor);
    editor.EndGesture();
    ExpectPoint(LayerOf(editor, 2).pos, 0, 0);
    ExpectPoint(LayerOf(editor, 3).pos, 50, 20);
    ASSERT_EQ(LayerOf(editor, 2).size->width, 300);
    ASSERT_EQ(LayerOf(editor, 2).rotation_deg, 0);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(EditorRandomTest, WhatIsSeenIsHitAtEveryScaleAndAngle) {
  Somebody somebody(11);
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    Editor editor = MakeEditor({somebody.AnyLayer()});
    const float scale = std::exp(somebody.Any(std::log(0.1f), std::log(20.0f)));
    editor.SetScale(scale);
    editor.SetTime(somebody.Any(0, 10));
    const Shape shape = editor.ShapeOf(editor.entries()[0]);
    // A place in the shape or beside it, counted in its half sides.
    const float x = somebody.Any(-2, 2), y = somebody.Any(-2, 2);
    const auto near = [](float v) { return std::fabs(std::fabs(v) - 1) < 0.01f; };
    if (near(x) || near(y)) continue;
    const Vec right = HandlePoint(shape, {1, 0}), bottom = HandlePoint(shape, {0, 1});
    const Vec point{shape.pos.x + (right.x - shape.pos.x) * x + (bottom.x - shape.pos.x) * y,
                    shape.pos.y + (right.y - shape.pos.y) * x + (bottom.y - shape.pos.y) * y};
    const bool inside = std::fabs(x) < 1 && std::fabs(y) < 1;
    Click(&editor, point);
    ASSERT_EQ(editor.selected(), inside ? 1 : 0);
    editor.Select(1, false);
    for (int h = 0; h < 9; ++h) {
      const Handle handle{h % 3 - 1, h / 3 - 1};
      editor.MovePointer(HandlePoint(shape, handle), {});
      if (handle == Handle{}) {
        ASSERT_EQ(editor.active_grip(), Grip::kMove);
      } else {
        ASSERT_EQ(editor.active_grip(), Grip::kResize);
        ASSERT_TRUE(*editor.active_handle() == handle);
      }
    }
    editor.MovePointer(*editor.RotationGrip(), {});
    ASSERT_EQ(editor.active_grip(), Grip::kRotate);
  }
}

}  // namespace
}  // namespace preview
