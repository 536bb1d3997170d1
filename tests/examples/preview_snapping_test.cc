// To what moves and resizes keep.
#include <gtest/gtest.h>

#include "editing.h"
#include "preview/snapping.h"

namespace preview {
namespace {

using studio::Layer;

constexpr Modifiers kShift{true, false, false}, kControl{false, true, false};

TEST(SnappingTest, TheNearestLineIsTaken) {
  const auto nearest = Nearest({10, 20, 13}, {0, 15}, 8);
  ASSERT_TRUE(nearest);
  EXPECT_EQ(nearest->line, 13);
  EXPECT_EQ(nearest->offset, -2);
  EXPECT_FALSE(Nearest({10, 20}, {0, 30.5f}, 8));
  EXPECT_FALSE(Nearest({}, {1}, 8));
}

TEST(SnappingTest, MovesKeepToTheEdgesOfTheCanvas) {
  Editor editor = MakeEditor({MakeLayer(100, 40, 40, 30)});  // On a canvas of 640 by 360.
  DragTo(&editor, {100, 40}, {-295, 40});
  ExpectPoint(LayerOf(editor, 1).pos, -300, 40);
  EXPECT_EQ(editor.guide_x(), -320);
  EXPECT_FALSE(editor.guide_y());
  editor.MovePointer({305, 170}, {});
  ExpectPoint(LayerOf(editor, 1).pos, 300, 165);
  EXPECT_EQ(editor.guide_x(), 320);
  EXPECT_EQ(editor.guide_y(), 180);
  editor.MovePointer({305, 170}, kControl);
  ExpectPoint(LayerOf(editor, 1).pos, 305, 170);
  EXPECT_FALSE(editor.guide_x() || editor.guide_y());
}

TEST(SnappingTest, MovesKeepToOtherLayersThatAreSeen) {
  Layer hidden = MakeLayer(250, -120, 20, 20);
  hidden.visible = false;
  Layer locked = MakeLayer(-150, -100, 50, 50);
  locked.locked = true;
  Editor editor = MakeEditor({MakeLayer(100, 40, 40, 30), hidden, locked});
  DragTo(&editor, {100, 40}, {-108, 100});  // Its left edge beside the other's right one.
  ExpectPoint(LayerOf(editor, 1).pos, -105, 100);
  EXPECT_EQ(editor.guide_x(), -125);
  editor.MovePointer({-151, 100}, {});  // Centre upon centre.
  ExpectPoint(LayerOf(editor, 1).pos, -150, 100);
  EXPECT_EQ(editor.guide_x(), -150);
  editor.MovePointer({253, -100}, {});  // Only the locked one's height is there to keep to.
  ExpectPoint(LayerOf(editor, 1).pos, 253, -100);
  EXPECT_FALSE(editor.guide_x());
  EXPECT_EQ(editor.guide_y(), -100);
}

TEST(SnappingTest, ATurnedLayerKeepsByItsBounds) {
  Layer turned = MakeLayer(100, 40, 40, 30);
  turned.rotation_deg = 90;
  Editor editor = MakeEditor({turned});
  DragTo(&editor, {100, 40}, {-300, 40});
  ExpectPoint(LayerOf(editor, 1).pos, -305, 40);
  EXPECT_EQ(editor.guide_x(), -320);
}

TEST(SnappingTest, SeveralLayersKeepByWhatIsAroundThem) {
  Editor editor = MakeEditor({MakeLayer(100, 40, 40, 40), MakeLayer(200, 40, 40, 40)});
  editor.SelectAll();
  DragTo(&editor, {100, 40}, {196, 65});
  ExpectPoint(LayerOf(editor, 1).pos, 200, 65);
  ExpectPoint(LayerOf(editor, 2).pos, 300, 65);
  EXPECT_EQ(editor.guide_x(), 320);
}

TEST(SnappingTest, ShiftKeepsAMoveToOneAxis) {
  Editor editor = MakeEditor({MakeLayer(100, 60, 40, 30)});
  DragTo(&editor, {100, 60}, {150, 75});
  editor.MovePointer({150, 75}, kShift);
  ExpectPoint(LayerOf(editor, 1).pos, 150, 60);
  editor.MovePointer({110, 120}, kShift);
  ExpectPoint(LayerOf(editor, 1).pos, 100, 120);
  editor.MovePointer({110, -2}, kShift);  // Along that axis it snaps.
  ExpectPoint(LayerOf(editor, 1).pos, 100, 0);
  EXPECT_FALSE(editor.guide_x());
  EXPECT_EQ(editor.guide_y(), 0);
}

TEST(SnappingTest, ACornerKeepsItsProportionsAndReachesTheLine) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 160, 100)});
  Click(&editor, {0, 0});
  DragTo(&editor, {80, 50}, {316, 198});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 400);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 250);
  EXPECT_EQ(editor.guide_x(), 320);
  editor.MovePointer({316, 60}, {true, false, false});  // Free: the edge of the canvas, and no line below.
  EXPECT_EQ(LayerOf(editor, 1).size->width, 400);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 110);
  EXPECT_EQ(editor.guide_x(), 320);
  EXPECT_FALSE(editor.guide_y());
  editor.MovePointer({316, 60}, {true, true, false});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 396);
  EXPECT_FALSE(editor.guide_x());
}

TEST(SnappingTest, ASideStretchesAloneAndKeepsToOtherLayers) {
  Editor editor = MakeEditor({MakeLayer(0, 0, 60, 40), MakeLayer(150, 100, 50, 50)});
  Click(&editor, {0, 0});
  DragTo(&editor, {30, 0}, {122, 99});
  EXPECT_EQ(LayerOf(editor, 1).size->width, 155);
  EXPECT_EQ(LayerOf(editor, 1).size->height, 40);
  EXPECT_EQ(editor.guide_x(), 125);
  EXPECT_FALSE(editor.guide_y());
}

TEST(SnappingTest, NoGuideIsShownWhereTheSmallestSizeStopsShort) {
  Editor editor = MakeEditor({MakeLayer(-290, 50, 60, 40)});  // At the left edge.
  Click(&editor, {-290, 50});
  DragTo(&editor, {-260, 50}, {-318, 50});
  EXPECT_EQ(LayerOf(editor, 1).size->width, kMinSide);
  EXPECT_FALSE(editor.guide_x());
}

}  // namespace
}  // namespace preview
