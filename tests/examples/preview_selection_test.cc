// Several layers at a time: how they are selected, and what is done to all of them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "editing.h"

namespace preview {
namespace {

using studio::Layer;
using studio::Vec;
using Ids = std::vector<int>;

constexpr Modifiers kShift{true, false, false}, kControl{false, true, false}, kAlt{false, false, true};

// Three in a row, 60 by 60, at -200, 0 and 200.
Editor ThreeInARow() {
  return MakeEditor({MakeLayer(-200, 0, 60, 60), MakeLayer(0, 0, 60, 60), MakeLayer(200, 0, 60, 60)});
}

// Where the layer has no handles.
void ClickWith(Editor* editor, Vec point, Modifiers modifiers) {
  editor->MovePointer(point, modifiers);
  editor->Press(point, modifiers);
  editor->Release();
}

TEST(SelectionTest, PressesWithShiftOrControlAddAndTake) {
  Editor editor = ThreeInARow();
  Click(&editor, {0, 0});
  ClickWith(&editor, {-200, 0}, kShift);
  ClickWith(&editor, {200, 0}, kControl);
  EXPECT_EQ(editor.selection(), (Ids{2, 1, 3}));
  EXPECT_EQ(editor.selected(), 3);
  ClickWith(&editor, {-200, 0}, kControl);
  EXPECT_EQ(editor.selection(), (Ids{2, 3}));
  ClickWith(&editor, {100, 100}, kShift);  // Nothing is there: nothing is lost.
  EXPECT_EQ(editor.selection(), (Ids{2, 3}));
  Click(&editor, {0, 0});  // A click without them selects one only.
  EXPECT_EQ(editor.selection(), (Ids{2}));
  Click(&editor, {100, 100});
  EXPECT_EQ(editor.selection(), Ids());
  EXPECT_EQ(editor.selected(), 0);
}

TEST(SelectionTest, ADragMovesAllThatAreSelected) {
  Editor editor = ThreeInARow();
  Click(&editor, {0, 0});
  ClickWith(&editor, {-200, 0}, kShift);
  DragTo(&editor, {0, 0}, {17, 31}, {});  // Without them, on one that is selected.
  editor.MovePointer({17, 31}, kControl);
  editor.Release();
  EXPECT_EQ(editor.selection(), (Ids{2, 1}));
  ExpectPoint(LayerOf(editor, 1).pos, -183, 31);
  ExpectPoint(LayerOf(editor, 2).pos, 17, 31);
  ExpectPoint(LayerOf(editor, 3).pos, 200, 0);
  DragTo(&editor, {17, 31}, {17, 131}, kShift);  // A drag that begins with Shift takes none out.
  editor.Release();
  EXPECT_EQ(editor.selection(), (Ids{2, 1}));
  ExpectPoint(LayerOf(editor, 1).pos, -183, 131);
  editor.Undo();
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, -200, 0);
  ExpectPoint(LayerOf(editor, 2).pos, 0, 0);
  EXPECT_FALSE(editor.changed());
}

TEST(SelectionTest, AltGoesRoundUnderThePointer) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 60), MakeLayer(5, 0, 60, 60), MakeLayer(9, 0, 60, 60)});
  Ids seen;
  for (int i = 0; i < 4; ++i) {
    ClickWith(&editor, {0, 0}, kAlt);
    seen.push_back(editor.selected());
    EXPECT_EQ(editor.selection().size(), 1u);
  }
  EXPECT_EQ(seen, (Ids{3, 2, 1, 3}));
  DragTo(&editor, {0, 0}, {40, 40}, kAlt);  // What is underneath is in hand.
  editor.Release();
  EXPECT_EQ(editor.selected(), 2);
  EXPECT_NE(LayerOf(editor, 2).pos.y, 0);
  ExpectPoint(LayerOf(editor, 3).pos, 9, 0);
}

TEST(SelectionTest, ARubberBandSelectsWhatItTouches) {
  Layer turned = MakeLayer(0, 100, 100, 100);
  turned.rotation_deg = 45;  // Reaches from -70.7 to 70.7, but not in the corners.
  Layer hidden = MakeLayer(-200, 0, 60, 60);
  hidden.visible = false;
  Layer locked = hidden;
  locked.visible = locked.locked = true;
  Editor editor = MakeEditor({MakeLayer(-200, 0, 60, 60), hidden, locked, MakeLayer(200, 0, 60, 60), turned});
  DragTo(&editor, {-300, -100}, {-250, -50});
  ASSERT_TRUE(editor.rubber_band());
  ExpectPoint(editor.rubber_band()->min, -300, -100);
  ExpectPoint(editor.rubber_band()->max, -250, -50);
  EXPECT_FALSE(editor.dragging());
  EXPECT_EQ(editor.selection(), Ids());
  editor.MovePointer({-229, -29}, {});
  EXPECT_EQ(editor.selection(), (Ids{1}));
  editor.MovePointer({900, 28}, {});  // Far outside.
  EXPECT_EQ(editor.selection(), (Ids{1, 4}));
  editor.MovePointer({-50, 40}, {});  // Of the turned one only what is around it is touched.
  EXPECT_EQ(editor.selection(), (Ids{1}));
  editor.MovePointer({20, 60}, {});
  EXPECT_EQ(editor.selection(), (Ids{1, 5}));
  editor.Release();
  EXPECT_FALSE(editor.rubber_band());
  EXPECT_EQ(editor.selection(), (Ids{1, 5}));
  // With Shift it adds, and Escape leaves what was selected before.
  DragTo(&editor, {300, -100}, {190, 0}, kShift);
  EXPECT_EQ(editor.selection(), (Ids{1, 5, 4}));
  editor.Escape();
  EXPECT_EQ(editor.selection(), (Ids{1, 5}));
  EXPECT_FALSE(editor.rubber_band() || editor.changed());
}

TEST(SelectionTest, TheListSelectsByIds) {
  Editor editor = ThreeInARow();
  editor.Select(2, false);
  editor.Select(3, true);
  EXPECT_EQ(editor.selection(), (Ids{2, 3}));
  editor.Select(2, true);
  EXPECT_EQ(editor.selection(), (Ids{3}));
  editor.Select(77, true);
  EXPECT_EQ(editor.selection(), (Ids{3}));
  editor.SelectAll();
  EXPECT_EQ(editor.selection(), (Ids{1, 2, 3}));
  editor.Select(77, false);
  EXPECT_EQ(editor.selection(), Ids());
  editor.SelectAll();
  editor.SelectNone();
  EXPECT_EQ(editor.selection(), Ids());
  EXPECT_FALSE(editor.changed());
}

TEST(SelectionTest, CommandsChangeAllThatAreSelected) {
  Editor editor = ThreeInARow();
  editor.Select(1, false);
  editor.Select(3, true);
  editor.Nudge(1, 2, false);
  ExpectPoint(LayerOf(editor, 1).pos, -199, 2);
  ExpectPoint(LayerOf(editor, 3).pos, 201, 2);
  ExpectPoint(LayerOf(editor, 2).pos, 0, 0);
  editor.Rotate(15, false);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 15);
  EXPECT_EQ(LayerOf(editor, 2).rotation_deg, 0);
  editor.ToggleVisible();
  EXPECT_FALSE(LayerOf(editor, 1).visible || LayerOf(editor, 3).visible);
  EXPECT_TRUE(LayerOf(editor, 2).visible);
  editor.SetVisible(1, true);
  editor.ToggleVisible();  // As the last: both are shown.
  EXPECT_TRUE(LayerOf(editor, 1).visible && LayerOf(editor, 3).visible);
  editor.Delete();
  EXPECT_EQ(Order(editor), (Ids{2}));
  EXPECT_EQ(editor.selection(), Ids());
  editor.Undo();
  EXPECT_EQ(Order(editor), (Ids{1, 2, 3}));
  EXPECT_EQ(editor.selection(), (Ids{1, 3}));
}

TEST(SelectionTest, SeveralAreRaisedAndLoweredWithoutPassingEachOther) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 9, 9, 1), MakeLayer(0, 0, 9, 9, 2), MakeLayer(0, 0, 9, 9, 3),
                              MakeLayer(0, 0, 9, 9, 4), MakeLayer(0, 0, 9, 9, 5)});
  editor.Select(1, false);
  editor.Select(2, true);
  editor.Select(4, true);
  editor.Raise(false);
  EXPECT_EQ(Order(editor), (Ids{3, 1, 2, 5, 4}));
  editor.Raise(false);
  EXPECT_EQ(Order(editor), (Ids{3, 5, 1, 2, 4}));
  EXPECT_EQ(Zs(editor), (Ids{1, 2, 3, 4, 5}));
  editor.MarkSaved();
  editor.Raise(true);  // They are on top.
  EXPECT_FALSE(editor.changed());
  editor.Lower(true);
  EXPECT_EQ(Order(editor), (Ids{1, 2, 4, 3, 5}));
  editor.Select(5, false);
  editor.Lower(false);
  EXPECT_EQ(Order(editor), (Ids{1, 2, 4, 5, 3}));
}

TEST(SelectionTest, LockedLayersAreNotThereForThePointer) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 60), MakeLayer(0, 0, 60, 60), MakeLayer(200, 0, 60, 60)});
  editor.SetLocked(2, true);
  EXPECT_TRUE(LayerOf(editor, 2).locked);
  editor.MovePointer({0, 0}, {});
  EXPECT_EQ(editor.hovered(), 1);
  editor.SelectAll();
  EXPECT_EQ(editor.selection(), (Ids{1, 3}));
  editor.Select(2, false);
  EXPECT_EQ(editor.selected(), 2);
  EXPECT_FALSE(editor.RotationGrip());
  editor.MovePointer({30, 30}, {});
  EXPECT_FALSE(editor.active_handle());
  editor.Select(3, true);
  DragTo(&editor, {200, 0}, {200, 100}, kControl);  // Takes it out, but for the drag.
  editor.Release();
  EXPECT_EQ(editor.selection(), (Ids{2, 3}));
  ExpectPoint(LayerOf(editor, 3).pos, 200, 100);
  ExpectPoint(LayerOf(editor, 2).pos, 0, 0);
  editor.SetLocked(2, false);
  Click(&editor, {0, 0});
  EXPECT_EQ(editor.selected(), 2);
}

TEST(SelectionTest, TheListNamesAndMoves) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 9, 9, 1), MakeLayer(0, 0, 9, 9, 2), MakeLayer(0, 0, 9, 9, 3)});
  editor.Rename(2, "Logo");
  EXPECT_EQ(LayerOf(editor, 2).name, "Logo");
  editor.MoveTo({2}, 0);
  EXPECT_EQ(Order(editor), (Ids{2, 1, 3}));
  editor.MoveTo({2}, 99);
  EXPECT_EQ(Order(editor), (Ids{1, 3, 2}));
  EXPECT_EQ(Zs(editor), (Ids{1, 2, 3}));
  editor.Undo();
  editor.Undo();
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 2).name, "");
  EXPECT_FALSE(editor.changed());
  // What is so already, or is not there, is no step.
  editor.Rename(2, "");
  editor.SetVisible(1, true);
  editor.SetLocked(1, false);
  editor.MoveTo({3}, 2);
  editor.MoveTo({55}, 0);
  editor.Rename(55, "x");
  EXPECT_FALSE(editor.changed());
}

TEST(SelectionTest, CopiesLieAsideAndOnTop) {
  Editor editor = ThreeInARow();
  editor.Rename(1, "one");
  editor.Select(2, false);
  editor.Select(1, true);
  const std::vector<Layer> copied = editor.CopyLayers();
  ASSERT_EQ(copied.size(), 2u);
  EXPECT_EQ(copied[0].name, "one");  // In the order of drawing.
  editor.Duplicate();
  EXPECT_EQ(Order(editor), (Ids{1, 2, 3, 4, 5}));
  EXPECT_EQ(editor.selection(), (Ids{4, 5}));
  ExpectPoint(LayerOf(editor, 4).pos, -180, 20);
  ExpectPoint(LayerOf(editor, 5).pos, 20, 20);
  EXPECT_EQ(LayerOf(editor, 4).name, "one");
  editor.Undo();
  EXPECT_EQ(editor.selection(), (Ids{2, 1}));
  std::vector<Entry> pasted;
  for (const Layer& layer : copied) pasted.push_back(Entry{1, layer, {60, 60}});
  editor.AddAll(pasted);
  EXPECT_EQ(editor.selection(), (Ids{6, 7}));  // Ids of their own.
  editor.Undo();
  EXPECT_EQ(Order(editor), (Ids{1, 2, 3}));
  editor.SelectNone();
  editor.Duplicate();
  editor.AddAll({});
  EXPECT_EQ(Order(editor), (Ids{1, 2, 3}));
}

TEST(SelectionTest, SeveralGoToAPlaceInTheirOrder) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 9, 9, 0), MakeLayer(0, 0, 9, 9, 1), MakeLayer(0, 0, 9, 9, 2),
                              MakeLayer(0, 0, 9, 9, 3), MakeLayer(0, 0, 9, 9, 4)});
  editor.MoveTo({4, 1, 77}, 1);
  EXPECT_EQ(Order(editor), (Ids{2, 1, 4, 3, 5}));
  EXPECT_EQ(Zs(editor), (Ids{0, 1, 2, 3, 4}));
  editor.MoveTo({2, 3}, 99);
  EXPECT_EQ(Order(editor), (Ids{1, 4, 5, 2, 3}));
  editor.MoveTo({77}, 0);
  editor.Undo();
  editor.Undo();
  EXPECT_EQ(Order(editor), (Ids{1, 2, 3, 4, 5}));
}

TEST(SelectionTest, SeveralAreLockedInOneStep) {
  Editor editor = ThreeInARow();
  editor.SetLocked(1, true);
  editor.Select(1, false);
  editor.Select(2, true);
  editor.Select(3, true);
  editor.ToggleLocked();
  EXPECT_TRUE(LayerOf(editor, 2).locked && LayerOf(editor, 3).locked);
  editor.Undo();
  EXPECT_FALSE(LayerOf(editor, 2).locked || LayerOf(editor, 3).locked);
  EXPECT_TRUE(LayerOf(editor, 1).locked);
  editor.Redo();
  editor.ToggleLocked();
  EXPECT_FALSE(LayerOf(editor, 1).locked || LayerOf(editor, 2).locked || LayerOf(editor, 3).locked);
}

// Each of those that come together is known by its place among them, wherever its z puts it.
TEST(SelectionTest, WhatIsAddedIsAnsweredInTheOrderInWhichItWasGiven) {
  Editor editor = ThreeInARow();
  const Ids ids = editor.AddAll({Entry{0, MakeLayer(0, 0, 11, 11, 5), {}}, Entry{0, MakeLayer(0, 0, 22, 22, 3), {}}});
  ASSERT_EQ(ids.size(), 2u);
  EXPECT_EQ(LayerOf(editor, ids[0]).size->width, 11);
  EXPECT_EQ(LayerOf(editor, ids[1]).size->width, 22);
  EXPECT_EQ(editor.selection(), (Ids{ids[1], ids[0]}));
}

}  // namespace
}  // namespace preview
