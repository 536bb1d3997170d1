// What the editor of quarn-preview makes of the pointer and the keys, without a window.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "editing.h"
#include "preview/editor.h"
#include "preview/shape.h"

namespace preview {
namespace {

using studio::Layer;
using studio::LayerKind;
using studio::Size;
using studio::Vec;

constexpr float kRoot = 0.70710678f;  // Of a half: the sine of 45 degrees.
constexpr Handle kTopLeft{-1, -1}, kTop{0, -1}, kRight{1, 0}, kBottomRight{1, 1};

TEST(ShapeTest, ContainsItsEdges) {
  const Shape shape{{10, 20}, {40, 30}, 0};
  EXPECT_TRUE(Contains(shape, {10, 20}));
  EXPECT_TRUE(Contains(shape, {-10, 5}));
  EXPECT_TRUE(Contains(shape, {30, 35}));
  EXPECT_FALSE(Contains(shape, {30.5f, 20}));
  EXPECT_FALSE(Contains(shape, {10, 4.5f}));
}

TEST(ShapeTest, ContainsFollowsTheRotation) {
  const Shape wide{{100, 50}, {80, 10}, 90};  // Stands upright.
  EXPECT_TRUE(Contains(wide, {100, 85}));
  EXPECT_FALSE(Contains(wide, {135, 50}));
  // Clockwise: what was the right end lies to the lower right.
  const Shape turned{{0, 0}, {80, 10}, 45};
  EXPECT_TRUE(Contains(turned, {25, 25}));
  EXPECT_FALSE(Contains(turned, {25, -25}));
  // The corner of the straight rectangle is outside of the turned one.
  const Shape square{{0, 0}, {20, 20}, 45};
  EXPECT_FALSE(Contains(square, {9.5f, 9.5f}));
  EXPECT_TRUE(Contains(square, {0, 13.5f}));
}

TEST(ShapeTest, HandlesTurnWithTheShape) {
  const Shape straight{{10, 20}, {40, 30}, 0};
  ExpectPoint(HandlePoint(straight, kTopLeft), -10, 5);
  ExpectPoint(HandlePoint(straight, kRight), 30, 20);
  const Shape quarter{{10, 20}, {40, 30}, 90};
  ExpectPoint(HandlePoint(quarter, kTopLeft), 25, 0);
  ExpectPoint(HandlePoint(quarter, kTop), 25, 20);
  const Shape eighth{{0, 0}, {40, 40}, 45};
  ExpectPoint(HandlePoint(eighth, kBottomRight), 0, 40 * kRoot);
}

TEST(ShapeTest, HandleAtFindsEveryHandleOfATurnedShape) {
  const Shape shape{{-30, 12}, {80, 60}, 33};
  for (int y = -1; y <= 1; ++y) {
    for (int x = -1; x <= 1; ++x) {
      if (x == 0 && y == 0) continue;
      const Handle handle{x, y};
      const auto found = HandleAt(shape, HandlePoint(shape, handle), 6);
      ASSERT_TRUE(found) << x << ", " << y;
      EXPECT_TRUE(*found == handle) << x << ", " << y;
    }
  }
  EXPECT_FALSE(HandleAt(shape, shape.pos, 6));
}

TEST(ShapeTest, HandlesAreSquaresThatTurn) {
  const Shape straight{{0, 0}, {40, 40}, 0};
  EXPECT_TRUE(HandleAt(straight, {25.9f, 25.9f}, 6));
  EXPECT_FALSE(HandleAt(straight, {26.1f, 20}, 6));
  // The diagonal of a turned square's handle lies along the axes.
  const Shape turned{{0, 0}, {40, 40}, 45};
  const float corner = 40 * kRoot;
  EXPECT_TRUE(HandleAt(turned, {0, corner + 8}, 6));
  EXPECT_FALSE(HandleAt(turned, {5, corner + 5}, 6));
}

TEST(ShapeTest, TheNearestOfCrowdedHandlesIsTaken) {
  const Shape tiny{{0, 0}, {8, 8}, 0};
  EXPECT_TRUE(*HandleAt(tiny, {3.5f, 3.5f}, 6) == kBottomRight);
  EXPECT_TRUE(*HandleAt(tiny, {4, 1}, 6) == kRight);
}

TEST(ResizedTest, KeepsTheOppositeHandle) {
  for (const float rotation : {0.0f, 30.0f, 90.0f, -135.0f}) {
    const Shape shape{{10, -20}, {60, 40}, rotation};
    for (int y = -1; y <= 1; ++y) {
      for (int x = -1; x <= 1; ++x) {
        if (x == 0 && y == 0) continue;
        const Handle handle{x, y};
        const Vec anchor = HandlePoint(shape, handle.Opposite());
        const Vec start = HandlePoint(shape, handle);
        const Vec pulled{start.x + 13, start.y - 7};
        for (const bool keep : {false, true}) {
          const Shape resized = Resized(shape, handle, anchor, pulled, keep);
          const Vec kept = HandlePoint(resized, handle.Opposite());
          EXPECT_NEAR(kept.x, anchor.x, 0.01f) << rotation << ": " << x << ", " << y;
          EXPECT_NEAR(kept.y, anchor.y, 0.01f) << rotation << ": " << x << ", " << y;
          EXPECT_EQ(resized.rotation_deg, rotation);
        }
      }
    }
  }
}

TEST(ResizedTest, FollowsThePointerAlongTheSides) {
  const Shape straight{{0, 0}, {60, 40}, 0};
  const Shape larger = Resized(straight, kBottomRight, {-30, -20}, {45, 35}, false);
  EXPECT_EQ(larger.size.width, 75);
  EXPECT_EQ(larger.size.height, 55);
  ExpectPoint(larger.pos, 7.5f, 7.5f);
  // A side's handle leaves the other sides alone.
  const Shape wider = Resized(straight, kRight, {-30, 0}, {50, 99}, false);
  EXPECT_EQ(wider.size.width, 80);
  EXPECT_EQ(wider.size.height, 40);
  ExpectPoint(wider.pos, 10, 0);
  // Turned by a quarter, the right side looks down.
  const Shape quarter{{0, 0}, {60, 40}, 90};
  const Shape longer = Resized(quarter, kRight, {0, -30}, {99, 50}, false);
  EXPECT_EQ(longer.size.width, 80);
  EXPECT_EQ(longer.size.height, 40);
  ExpectPoint(longer.pos, 0, 10);
}

TEST(ResizedTest, KeepsProportionsWhenAsked) {
  const Shape shape{{0, 0}, {60, 40}, 0};
  const Shape corner = Resized(shape, kBottomRight, {-30, -20}, {90, 60}, true);
  EXPECT_EQ(corner.size.width, 120);
  EXPECT_EQ(corner.size.height, 80);
  // Off the diagonal, the nearest place on it.
  const Shape aside = Resized(shape, kBottomRight, {-30, -20}, {90 - 4, 60 + 6}, true);
  EXPECT_EQ(aside.size.width, 120);
  EXPECT_EQ(aside.size.height, 80);
  // A side's handle takes the other sides along.
  const Shape side = Resized(shape, kTop, {0, 20}, {5, -40}, true);
  EXPECT_EQ(side.size.width, 90);
  EXPECT_EQ(side.size.height, 60);
  ExpectPoint(side.pos, 0, -10);
}

TEST(ResizedTest, StopsAtTheSmallestAndTheLargestSide) {
  const Shape shape{{0, 0}, {60, 40}, 0};
  const Shape crossed = Resized(shape, kBottomRight, {-30, -20}, {-500, -500}, false);
  EXPECT_EQ(crossed.size.width, kMinSide);
  EXPECT_EQ(crossed.size.height, kMinSide);
  ExpectPoint(HandlePoint(crossed, kTopLeft), -30, -20);
  const Shape kept = Resized(shape, kBottomRight, {-30, -20}, {-500, -500}, true);
  EXPECT_EQ(kept.size.width, 12);
  EXPECT_EQ(kept.size.height, kMinSide);
  const Shape huge = Resized(shape, kBottomRight, {-30, -20}, {99999, 99999}, false);
  EXPECT_EQ(huge.size.width, kMaxSide);
  EXPECT_EQ(huge.size.height, kMaxSide);
  // What is thinner already stays so.
  const Shape line{{0, 0}, {600, 3}, 0};
  const Shape shorter = Resized(line, kRight, {-300, 0}, {100, 0}, false);
  EXPECT_EQ(shorter.size.width, 400);
  EXPECT_EQ(shorter.size.height, 3);
}

TEST(EditorTest, OrdersByZAndThenAsGiven) {
  const Editor editor = MakeEditor(
      {MakeLayer(0, 0, 9, 9, 5), MakeLayer(0, 0, 9, 9, -1), MakeLayer(0, 0, 9, 9, 5), MakeLayer(0, 0, 9, 9, 0)});
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 4, 1, 3}));
  EXPECT_FALSE(editor.changed());
}

TEST(EditorTest, HoversTheTopmost) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 100, 100), MakeLayer(30, 0, 100, 100)});
  editor.MovePointer({0, 0}, {});
  EXPECT_EQ(editor.hovered(), 2);
  editor.MovePointer({-40, 0}, {});
  EXPECT_EQ(editor.hovered(), 1);
  editor.MovePointer({200, 0}, {});
  EXPECT_EQ(editor.hovered(), 0);
  editor.MovePointer({0, 0}, {});
  editor.PointerLeft();
  EXPECT_EQ(editor.hovered(), 0);
  EXPECT_EQ(editor.selected(), 0);
}

TEST(EditorTest, HitTestsFollowRotationAndVisibility) {
  Layer turned = MakeLayer(0, 0, 200, 20);
  turned.rotation_deg = 45;
  Layer hidden = MakeLayer(0, 0, 400, 400, 1);
  hidden.visible = false;
  Editor editor = MakeEditor({turned, hidden});
  editor.MovePointer({60, 60}, {});
  EXPECT_EQ(editor.hovered(), 1);
  editor.MovePointer({60, -60}, {});
  EXPECT_EQ(editor.hovered(), 0);
  Click(&editor, {60, -60});
  EXPECT_EQ(editor.selected(), 0);
  Click(&editor, {60, 60});
  EXPECT_EQ(editor.selected(), 1);
}

TEST(EditorTest, HitTestsUseTheSizeThatFollows) {
  Layer layer = MakeLayer(0, 0, 320, 0);  // 320x180, like the media.
  Editor editor = MakeEditor({layer});
  editor.MovePointer({0, 89}, {});
  EXPECT_EQ(editor.hovered(), 1);
  editor.MovePointer({0, 91}, {});
  EXPECT_EQ(editor.hovered(), 0);
}

TEST(EditorTest, ClicksSelectAndDeselect) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 100, 100), MakeLayer(200, 0, 100, 100)});
  Click(&editor, {10, 10});
  EXPECT_EQ(editor.selected(), 1);
  Click(&editor, {210, 10});
  EXPECT_EQ(editor.selected(), 2);
  Click(&editor, {100, 10});
  EXPECT_EQ(editor.selected(), 0);
  EXPECT_FALSE(editor.changed());
  Click(&editor, {10, 10});
  editor.Escape();
  EXPECT_EQ(editor.selected(), 0);
}

TEST(EditorTest, DragsByWholePixels) {
  Editor editor = MakeEditor({MakeLayer(100.5f, -60, 40, 30)});
  DragTo(&editor, {110, -55}, {127.3f, -20.8f});
  EXPECT_TRUE(editor.dragging());
  ExpectPoint(LayerOf(editor, 1).pos, 117.5f, -26);
  editor.Release();
  EXPECT_FALSE(editor.dragging());
  editor.MovePointer({0, 0}, {});
  ExpectPoint(LayerOf(editor, 1).pos, 117.5f, -26);
  EXPECT_TRUE(editor.changed());
}

TEST(EditorTest, AClickThatTremblesMovesNothing) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  editor.SetScale(2);
  DragTo(&editor, {110, -55}, {111, -54});
  EXPECT_FALSE(editor.dragging());
  editor.Release();
  EXPECT_FALSE(editor.changed());
  editor.SetScale(0);  // A view without a size has none: it is not taken.
  DragTo(&editor, {110, -55}, {112, -54});
  EXPECT_TRUE(editor.dragging());
}

TEST(EditorTest, SnapsToTheAxes) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  DragTo(&editor, {100, -60}, {7, -30});
  ExpectPoint(LayerOf(editor, 1).pos, 0, -30);
  EXPECT_TRUE(editor.guide_x());
  EXPECT_FALSE(editor.guide_y());
  editor.MovePointer({-8, 5}, {});
  ExpectPoint(LayerOf(editor, 1).pos, 0, 0);
  EXPECT_TRUE(editor.guide_x());
  EXPECT_TRUE(editor.guide_y());
  editor.MovePointer({9, -5}, {});
  ExpectPoint(LayerOf(editor, 1).pos, 9, 0);
  EXPECT_FALSE(editor.guide_x());
  editor.Release();
  EXPECT_FALSE(editor.guide_y());
  ExpectPoint(LayerOf(editor, 1).pos, 9, 0);
}

TEST(EditorTest, SnapsByTheCentreWhereverItIsGrabbed) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  DragTo(&editor, {112, -70}, {17, -70});
  ExpectPoint(LayerOf(editor, 1).pos, 0, -60);
  EXPECT_TRUE(editor.guide_x());
}

TEST(EditorTest, SnapsAsFarOnTheScreenAtEveryScale) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  editor.SetScale(0.5f);
  DragTo(&editor, {100, -60}, {16, -60});
  EXPECT_TRUE(editor.guide_x());
  editor.SetScale(2);
  editor.MovePointer({5, -60}, {});
  EXPECT_FALSE(editor.guide_x());
  ExpectPoint(LayerOf(editor, 1).pos, 5, -60);
}

TEST(EditorTest, DoesNotSnapWhenAskedNotTo) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  DragTo(&editor, {100, -60}, {3, -2}, {false, true});
  ExpectPoint(LayerOf(editor, 1).pos, 3, -2);
  EXPECT_FALSE(editor.guide_x() || editor.guide_y());
  editor.MovePointer({3, -2}, {});
  ExpectPoint(LayerOf(editor, 1).pos, 0, 0);
}

TEST(EditorTest, HandlesResize) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40), MakeLayer(30, 20, 30, 30)});
  Click(&editor, {-20, 0});
  // The handle lies over the layer on top.
  DragTo(&editor, {32, 21}, {42, 36}, {true, true, false});
  EXPECT_EQ(editor.selected(), 1);
  EXPECT_TRUE(*editor.active_handle() == kBottomRight);
  EXPECT_EQ(LayerOf(editor, 1).size->width, 70);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 55);
  ExpectPoint(LayerOf(editor, 1).pos, 5, 7.5f);
  EXPECT_EQ(editor.hovered(), 1);
  EXPECT_FALSE(editor.guide_x());
  editor.Release();
  EXPECT_EQ(LayerOf(editor, 1).size->width, 70);
}

TEST(EditorTest, ResizesATurnedLayer) {
  Layer layer = MakeLayer(0, 0, 60, 40);
  layer.rotation_deg = 90;  // The right side looks down.
  Editor editor = MakeEditor({layer});
  Click(&editor, {0, 0});
  DragTo(&editor, {0, 30}, {3, 50});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 80);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 40);
  ExpectPoint(LayerOf(editor, 1).pos, 0, 10);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 90);
}

TEST(EditorTest, ShiftTakesEffectWithoutMoving) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40)});
  Click(&editor, {0, 0});
  DragTo(&editor, {30, 20}, {90, 20});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 102);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 68);
  editor.MovePointer({90, 20}, {true});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 120);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 40);
  editor.MovePointer({90, 20}, {});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 102);
}

TEST(EditorTest, HandlesHaveTheirSizeOnTheScreen) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 200, 200)});
  Click(&editor, {0, 0});
  editor.MovePointer({110, 100}, {});
  EXPECT_FALSE(editor.active_handle());
  editor.SetScale(0.5f);
  EXPECT_TRUE(editor.active_handle());
}

TEST(EditorTest, ALayerThatDriftsStaysWithThePointer) {
  Layer layer = MakeLayer(100, 0, 40, 30);
  layer.drift_px_s = Vec{10, 0};
  Editor editor = MakeEditor({layer});
  editor.SetTime(2);  // Seen at (120, 0).
  editor.MovePointer({101, 0}, {});
  EXPECT_EQ(editor.hovered(), 1);
  editor.MovePointer({99, 0}, {});
  EXPECT_EQ(editor.hovered(), 0);
  DragTo(&editor, {120, 0}, {150, 40});
  ExpectPoint(LayerOf(editor, 1).pos, 130, 40);
  editor.SetTime(5);  // While it is dragged, it stays under the pointer.
  ExpectPoint(editor.ShapeOf(editor.entries()[0]).pos, 150, 40);
  editor.Release();
  editor.SetTime(6);  // It drifts on from where it was put.
  ExpectPoint(editor.ShapeOf(editor.entries()[0]).pos, 160, 40);
}

TEST(EditorTest, ALayerThatSpinsIsHitAndResizedAsItLies) {
  Layer layer = MakeLayer(0, 0, 100, 20);
  layer.spin_deg_s = 45;
  Editor editor = MakeEditor({layer});
  editor.SetTime(2);  // By now it stands upright.
  editor.MovePointer({0, 40}, {});
  EXPECT_EQ(editor.hovered(), 1);
  Click(&editor, {0, 40});
  DragTo(&editor, {0, 50}, {0, 70});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 120);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 0);
}

TEST(EditorTest, EscapePutsBackWhatIsDragged) {
  Editor editor = MakeEditor({MakeLayer(100, -60, 40, 30)});
  DragTo(&editor, {100, -60}, {3, 20});
  editor.Escape();
  EXPECT_FALSE(editor.dragging());
  EXPECT_FALSE(editor.guide_x());
  ExpectPoint(LayerOf(editor, 1).pos, 100, -60);
  EXPECT_FALSE(editor.changed());
  editor.MovePointer({50, 50}, {});  // The button is still down.
  editor.Release();
  ExpectPoint(LayerOf(editor, 1).pos, 100, -60);
  EXPECT_EQ(editor.selected(), 1);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, -60);
}

TEST(EditorTest, TabSelectsEveryLayerHiddenOnesToo) {
  Layer hidden = MakeLayer(0, 0, 10, 10, 1);
  hidden.visible = false;
  Editor editor = MakeEditor({MakeLayer(0, 0, 10, 10, 2), hidden, MakeLayer(0, 0, 10, 10, 0)});
  std::vector<int> seen;
  for (int i = 0; i < 4; ++i) {
    editor.SelectNext(1);
    seen.push_back(editor.selected());
  }
  EXPECT_EQ(seen, (std::vector<int>{3, 2, 1, 3}));
  editor.SelectNext(-1);
  EXPECT_EQ(editor.selected(), 1);
  editor.Escape();
  editor.SelectNext(-1);
  EXPECT_EQ(editor.selected(), 1);
  Editor empty = MakeEditor({});
  empty.SelectNext(1);
  EXPECT_EQ(empty.selected(), 0);
}

TEST(EditorTest, KeysChangeTheSelectedLayer) {
  Editor editor = MakeEditor({MakeLayer(1, 2, 10, 10), MakeLayer(50, 50, 10, 10)});
  Click(&editor, {1, 2});
  editor.Nudge(-10, 1, false);
  ExpectPoint(LayerOf(editor, 1).pos, -9, 3);
  editor.Rotate(-15, false);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, -15);
  for (int i = 0; i < 24; ++i) editor.Rotate(-15, false);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, -15);
  ExpectPoint(LayerOf(editor, 2).pos, 50, 50);
}

TEST(EditorTest, KeysDoNothingWithoutASelectionOrDuringADrag) {
  Editor editor = MakeEditor({MakeLayer(100, 60, 50, 50), MakeLayer(200, 50, 10, 10)});
  const auto press_all = [&editor] {
    editor.Nudge(1, 1, false);
    editor.Rotate(5, false);
    editor.Raise(false);
    editor.Lower(true);
    editor.ToggleVisible();
    editor.Delete();
    editor.Redo();
  };
  press_all();
  EXPECT_FALSE(editor.changed());
  DragTo(&editor, {100, 60}, {130, 60}, {false, true, false});
  press_all();
  editor.SelectNext(1);
  EXPECT_EQ(editor.selected(), 1);
  EXPECT_EQ(Order(editor), (std::vector<int>{1, 2}));
  ExpectPoint(LayerOf(editor, 1).pos, 130, 60);
  editor.Undo();  // Puts back what is in hand.
  EXPECT_FALSE(editor.dragging() || editor.changed());
  ExpectPoint(LayerOf(editor, 1).pos, 100, 60);
}

TEST(EditorTest, RaisesAndLowersOneByOne) {
  Editor editor = MakeEditor(
      {MakeLayer(0, 0, 9, 9, 0), MakeLayer(0, 0, 9, 9, 0), MakeLayer(0, 0, 9, 9, 3), MakeLayer(0, 0, 9, 9, 7)});
  editor.SelectNext(1);
  editor.Raise(false);
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 1, 3, 4}));
  EXPECT_EQ(editor.selected(), 1);
  editor.Raise(false);
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 3, 1, 4}));
  EXPECT_EQ(Zs(editor), (std::vector<int>{0, 0, 3, 7}));
  editor.Lower(false);
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 1, 3, 4}));
  editor.MovePointer({4, 4}, {});
  EXPECT_EQ(editor.hovered(), 1);  // Its handles are under the pointer.
}

TEST(EditorTest, RaisesAndLowersAllTheWay) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 9, 9, -4), MakeLayer(0, 0, 9, 9, 0), MakeLayer(0, 0, 9, 9, 3)});
  editor.SelectNext(1);
  editor.Raise(true);
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 3, 1}));
  EXPECT_EQ(Zs(editor), (std::vector<int>{-4, 0, 3}));
  editor.Lower(true);
  EXPECT_EQ(Order(editor), (std::vector<int>{1, 2, 3}));
  editor.MarkSaved();
  editor.Lower(false);  // It is the lowest.
  editor.Lower(true);
  EXPECT_FALSE(editor.changed());
}

TEST(EditorTest, AHiddenLayerHasNoHandles) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40)});
  Click(&editor, {0, 0});
  editor.MovePointer({30, 20}, {});
  EXPECT_TRUE(editor.active_handle());
  editor.ToggleVisible();
  EXPECT_FALSE(LayerOf(editor, 1).visible);
  EXPECT_EQ(editor.selected(), 1);
  EXPECT_FALSE(editor.active_handle());
  EXPECT_EQ(editor.hovered(), 0);
  editor.ToggleVisible();
  EXPECT_TRUE(LayerOf(editor, 1).visible);
  EXPECT_TRUE(editor.active_handle());
}

TEST(EditorTest, DeletesTheSelectedLayer) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40), MakeLayer(0, 0, 60, 40)});
  Click(&editor, {0, 0});
  editor.Delete();
  EXPECT_EQ(Order(editor), (std::vector<int>{1}));
  EXPECT_EQ(editor.selected(), 0);
  EXPECT_EQ(editor.hovered(), 1);
}

TEST(EditorTest, AddsOnTop) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40, 9), MakeLayer(0, 0, 60, 40, -1)});
  EXPECT_EQ(editor.Add(MakeLayer(5, 6, 7, 8), {7, 8}), 3);
  EXPECT_EQ(Order(editor), (std::vector<int>{2, 1, 3}));
  EXPECT_EQ(LayerOf(editor, 3).z, 9);
  EXPECT_EQ(editor.selected(), 3);
  EXPECT_TRUE(editor.changed());
  editor.Delete();
  EXPECT_EQ(editor.Add(MakeLayer(0, 0, 7, 8), {7, 8}), 4);  // An id is never used again.
  Editor empty = MakeEditor({});
  EXPECT_EQ(empty.Add(MakeLayer(5, 6, 7, 8, -3), {7, 8}), 1);
  EXPECT_EQ(LayerOf(empty, 1).z, -3);
}

TEST(EditorTest, UndoesAndRedoes) {
  Editor editor = MakeEditor({MakeLayer(100, 0, 60, 40), MakeLayer(0, 100, 60, 40)});
  DragTo(&editor, {100, 0}, {150, 30});
  editor.Release();
  editor.Rotate(15, false);
  editor.Delete();
  EXPECT_EQ(Order(editor), (std::vector<int>{2}));
  editor.Undo();
  EXPECT_EQ(Order(editor), (std::vector<int>{1, 2}));
  EXPECT_EQ(editor.selected(), 1);
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 15);
  editor.Undo();
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 0);
  ExpectPoint(LayerOf(editor, 1).pos, 150, 30);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, 0);
  EXPECT_FALSE(editor.changed());
  editor.Undo();  // Does nothing: every step is undone.
  editor.Redo();
  editor.Redo();
  EXPECT_EQ(LayerOf(editor, 1).rotation_deg, 15);
  editor.Nudge(1, 0, false);  // Another way: what was undone is gone.
  editor.Redo();
  EXPECT_EQ(Order(editor), (std::vector<int>{1, 2}));
}

TEST(EditorTest, AKeyHeldDownIsUndoneAtOnce) {
  Editor editor = MakeEditor({MakeLayer(100, 0, 60, 40)});
  Click(&editor, {100, 0});
  editor.Nudge(1, 0, false);
  for (int i = 0; i < 30; ++i) editor.Nudge(1, 0, true);
  ExpectPoint(LayerOf(editor, 1).pos, 131, 0);
  editor.Undo();
  ExpectPoint(LayerOf(editor, 1).pos, 100, 0);
  EXPECT_FALSE(editor.changed());
  editor.Redo();
  ExpectPoint(LayerOf(editor, 1).pos, 131, 0);
}

TEST(EditorTest, KnowsWhatWasSaved) {
  Editor editor = MakeEditor({MakeLayer(100, 0, 60, 40)});
  Click(&editor, {100, 0});
  editor.Nudge(1, 0, false);
  EXPECT_TRUE(editor.changed());
  editor.MarkSaved();
  EXPECT_FALSE(editor.changed());
  editor.Undo();
  EXPECT_TRUE(editor.changed());
  editor.Redo();
  EXPECT_FALSE(editor.changed());
  editor.Undo();
  editor.Nudge(1, 0, false);  // Leads to the same place, but not through the history.
  EXPECT_TRUE(editor.changed());
}

TEST(EditorTest, LayersComeOutInTheirOrder) {
  Editor editor = MakeEditor({MakeLayer(1, 0, 60, 40, 4), MakeLayer(2, 0, 60, 40, 2)});
  const std::vector<Layer> layers = editor.Layers();
  ASSERT_EQ(layers.size(), 2u);
  EXPECT_EQ(layers[0].pos.x, 2);
  EXPECT_EQ(layers[1].z, 4);
}

}  // namespace
}  // namespace preview
