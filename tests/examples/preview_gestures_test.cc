// Gestures of pointer, keys and numbers: the rotation grip, the reach of handles, and the step that each is for an
// undo.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "editing.h"

namespace preview {
namespace {

using studio::Layer;
using studio::Vec;

constexpr Modifiers kShift{true, false, false}, kControl{false, true, false};

// A place around the layer's centre, at that direction.
Vec Around(Vec center, float degrees, float distance) {
  const float radians = degrees * 3.14159265f / 180;
  return Vec{center.x + std::cos(radians) * distance, center.y + std::sin(radians) * distance};
}

TEST(GesturesTest, TheGripTurnsTheLayer) {
  Editor editor = MakeEditor({MakeLayer(50, 20, 100, 60)});
  EXPECT_FALSE(editor.RotationGrip());
  Click(&editor, {50, 20});
  ASSERT_TRUE(editor.RotationGrip());
  const Vec grip = *editor.RotationGrip();
  EXPECT_FLOAT_EQ(grip.x, 50);
  EXPECT_LT(grip.y, -10 - 12);  // Clear of the handle in the middle of the top side.
  editor.MovePointer(grip, {});
  EXPECT_EQ(editor.active_grip(), Grip::kRotate);
  EXPECT_EQ(editor.hovered(), 1);
  EXPECT_FALSE(editor.active_handle());
  DragTo(&editor, grip, Around({50, 20}, -90 + 37, 900));  // As far away as one likes.
  EXPECT_NEAR(LayerOf(editor, 1).rotation_deg, 37, 0.06f);
  EXPECT_EQ(editor.active_grip(), Grip::kRotate);
  editor.MovePointer(Around({50, 20}, -90 + 37, 70), kShift);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 30);
  editor.MovePointer(Around({50, 20}, -90 - 100, 70), kShift);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, -105);
  editor.Release();
  ExpectPoint(LayerOf(editor, 1).pos, 50, 20);
  EXPECT_EQ(LayerOf(editor, 1).size->width, 100);
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 0);
  EXPECT_FALSE(editor.changed());
}

// Near a right angle, as it is seen.
TEST(GesturesTest, TheGripSnapsToRightAngles) {
  Layer layer = MakeLayer(0, 0, 100, 60);
  layer.spin_deg_s = 10;
  Editor editor = MakeEditor({layer});
  editor.SetTime(2);
  Click(&editor, {0, 0});
  const Vec grip = *editor.RotationGrip();
  editor.Press(grip);
  const auto turned_to = [&](float degrees, Modifiers modifiers) {
    editor.MovePointer(Around({0, 0}, degrees - 90, 300), modifiers);
    return editor.ShapeOf(editor.entries()[0]).rotation_deg;
  };
  for (const float right : {0.0f, 90.0f, 180.0f, 270.0f, 360.0f}) {
    SCOPED_TRACE(right);
    for (const float off : {-5.0f, -2.9f, 0.0f, 1.3f, 2.9f, 3.4f}) {
      const float snapped = std::fabs(off) < 3 ? right : right + off;
      EXPECT_NEAR(std::remainder(turned_to(right + off, {}) - snapped, 360.0f), 0, std::fabs(off) < 3 ? 0.001f : 0.06f);
      EXPECT_NEAR(std::remainder(turned_to(right + off, kControl) - right - off, 360.0f), 0, 0.06f);
      EXPECT_NEAR(std::remainder(turned_to(right + off, kShift) - right, 360.0f), 0, 0.001f);
    }
  }
  EXPECT_NEAR(turned_to(47.4f, {}), 47.4f, 0.06f);
}

TEST(GesturesTest, TheGripStaysAtItsPlaceOnTheScreenAndTurnsWithTheLayer) {
  Layer layer = MakeLayer(0, 0, 100, 60);
  layer.rotation_deg = 90;
  Editor editor = MakeEditor({layer});
  Click(&editor, {0, 0});
  const float near = editor.RotationGrip()->x - 30;
  EXPECT_NEAR(editor.RotationGrip()->y, 0, 0.01f);
  EXPECT_GT(near, 0);
  editor.SetScale(0.25f);
  EXPECT_NEAR(editor.RotationGrip()->x - 30, near * 4, 0.01f);
}

TEST(GesturesTest, ALayerThatSpinsIsTurnedAsItLies) {
  Layer layer = MakeLayer(0, 0, 100, 60);
  layer.spin_deg_s = 30;
  Editor editor = MakeEditor({layer});
  editor.SetTime(3);  // Seen turned by 90.
  Click(&editor, {0, 0});
  DragTo(&editor, *editor.RotationGrip(), Around({0, 0}, 45, 70), kShift);
  EXPECT_NEAR(editor.ShapeOf(editor.entries()[0]).rotation_deg, 135, 0.01f);
  EXPECT_NEAR(LayerOf(editor, 1).rotation_deg, 45, 0.01f);
}

TEST(GesturesTest, TheWindowIsToldWhatIsUnderThePointer) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 100, 60)});
  EXPECT_EQ(editor.active_grip(), Grip::kNone);
  editor.MovePointer({50, 30}, {});
  EXPECT_EQ(editor.active_grip(), Grip::kMove);  // Nothing is selected: there are no handles.
  Click(&editor, {0, 0});
  EXPECT_EQ(editor.active_grip(), Grip::kMove);
  editor.MovePointer({50, 30}, {});
  EXPECT_EQ(editor.active_grip(), Grip::kResize);
  EXPECT_TRUE(*editor.active_handle() == (Handle{1, 1}));
  editor.MovePointer({200, 0}, {});
  EXPECT_EQ(editor.active_grip(), Grip::kNone);
  editor.MovePointer({0, 0}, {});
  editor.PointerLeft();
  EXPECT_EQ(editor.active_grip(), Grip::kNone);
}

TEST(GesturesTest, TheSmallestLayerCanBeMoved) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 8, 8)});
  for (const float scale : {0.1f, 1.0f, 20.0f}) {
    editor.SetScale(scale);
    Click(&editor, {100, 50});
    editor.Press({100, 50}, {});
    editor.MovePointer({140, 90}, kControl);
    editor.Release();
    ExpectPoint(LayerOf(editor, 1).pos, 140, 90);
    EXPECT_EQ(LayerOf(editor, 1).size->width, 8);
    editor.Undo();
  }
}

TEST(GesturesTest, WhatIsInHandFollowsThePointerOutOfTheWindow) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  DragTo(&editor, {100, 50}, {120, 50}, {});
  editor.PointerLeft();
  EXPECT_TRUE(editor.dragging());
  editor.MovePointer({-5000, 7000}, {});
  ExpectPoint(LayerOf(editor, 1).pos, -5000, 7000);
  editor.Release();
  editor.PointerLeft();
  EXPECT_EQ(editor.hovered(), 0);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, 50);
}

TEST(GesturesTest, APointerThatIsNowhereIsNotFollowed) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  DragTo(&editor, {100, 50}, {120, 60}, {});
  editor.MovePointer({nan, 3}, {});
  editor.SetScale(nan);
  editor.SetScale(0);
  ExpectPoint(LayerOf(editor, 1).pos, 120, 60);
  editor.Press({std::numeric_limits<float>::infinity(), 0}, {});
  EXPECT_TRUE(editor.dragging());
}

TEST(GesturesTest, AnUndoInADragPutsBackAndARedoDoesNothing) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  editor.Select(1, false);
  editor.Nudge(7, 0, false);
  editor.Undo();
  DragTo(&editor, {100, 50}, {133, 50}, {});
  editor.Redo();
  EXPECT_TRUE(editor.dragging());
  ExpectPoint(LayerOf(editor, 1).pos, 133, 50);
  editor.Undo();
  EXPECT_FALSE(editor.dragging());
  ExpectPoint(LayerOf(editor, 1).pos, 100, 50);
  editor.Release();
  editor.Redo();  // What was undone before is not lost by a drag that came to nothing.
  ExpectPoint(LayerOf(editor, 1).pos, 107, 50);
}

TEST(GesturesTest, ADragThatEndsWhereItBeganIsNoStep) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  DragTo(&editor, {100, 50}, {150, 50}, kControl);
  editor.MovePointer({100, 50}, kControl);
  EXPECT_TRUE(editor.dragging());
  editor.Release();
  EXPECT_FALSE(editor.changed());
}

TEST(GesturesTest, EachPressOfAKeyIsAStep) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40), MakeLayer(0, 0, 9, 9)});
  editor.Select(1, false);
  editor.Nudge(1, 0, false);
  editor.Nudge(1, 0, true);
  editor.Nudge(1, 0, false);
  editor.Nudge(1, 0, true);
  editor.Nudge(1, 0, true);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 102, 50);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, 50);
  // A key that is still down does not go on with what was undone, nor with another layer.
  editor.Nudge(1, 0, true);
  editor.Select(2, false);
  editor.Nudge(1, 0, true);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 2).pos, 0, 0);
  ExpectPoint(LayerOf(editor, 1).pos, 101, 50);
}

TEST(GesturesTest, NumbersGoOnUntilTheGestureEnds) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  editor.SetPos({1, 1});  // Nothing is selected.
  EXPECT_FALSE(editor.changed());
  editor.Select(1, false);
  editor.SetPos({110, 50}, true);
  editor.SetPos({120, 60}, true);
  editor.EndGesture();
  editor.SetPos({130, 60}, true);
  editor.SetOpacity(0.5f, true);
  editor.SetOpacity(0.25f, true);
  editor.SetRotation(370, false);
  editor.SetSize({77, 33});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 77);
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 10);
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 1).opacity, 0.25f);
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 1).opacity, 1);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 120, 60);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, 50);
  EXPECT_FALSE(editor.changed());
}

TEST(GesturesTest, NumbersAreBroughtIntoTheirRange) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  editor.Select(1, false);
  editor.SetPos({nan, 0});
  editor.SetRotation(nan);
  editor.SetOpacity(nan);
  editor.Nudge(nan, 0, false);
  editor.Rotate(std::numeric_limits<float>::infinity(), false);
  editor.SetPos({100, 50});  // What is so already.
  EXPECT_FALSE(editor.changed());
  editor.SetSize({0, 99999});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 1);
  EXPECT_EQ(LayerOf(editor, 1).size->height, kMaxSide);
  editor.SetOpacity(7);
  EXPECT_EQ(LayerOf(editor, 1).opacity, 1);
  editor.SetOpacity(-7);
  EXPECT_EQ(LayerOf(editor, 1).opacity, 0);
}

TEST(GesturesTest, SavingInADragSavesWhatIsSeen) {
  Editor editor = MakeEditor({MakeLayer(100, 50, 40, 40)});
  DragTo(&editor, {100, 50}, {150, 50}, kControl);
  editor.MarkSaved();
  EXPECT_FALSE(editor.changed());
  editor.MovePointer({170, 50}, kControl);
  EXPECT_TRUE(editor.changed());
  editor.Release();
  EXPECT_TRUE(editor.changed());
  editor.Undo();
  EXPECT_FALSE(editor.changed());
  ExpectPoint(LayerOf(editor, 1).pos, 150, 50);
}

}  // namespace
}  // namespace preview
