// The fitting and the shapes of the editing overlay, exactly: every number that can be one is compared bit for bit.
#include "graphics/public/overlay_geometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>

namespace {

using gs_overlay::FitScale;
using gs_overlay::FrameBars;
using gs_overlay::FrameBody;
using gs_overlay::FrameHandles;
using gs_overlay::HandleAt;
using gs_overlay::HandlePointsOf;
using gs_overlay::Holds;
using gs_overlay::HorizontalGuide;
using gs_overlay::RoundToPixels;
using gs_overlay::Sizes;
using gs_overlay::VerticalGuide;
using gs_overlay::ViewOrigin;
using testing::ElementsAre;

constexpr float kPi = 3.14159265358979f;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr unsigned int kMaxPixels = std::numeric_limits<unsigned int>::max();

MATCHER_P2(IsPoint, x, y, "") { return arg.x == x && arg.y == y; }

// A point that went through a rotation, whose last bits are the processor's.
MATCHER_P2(IsNear, x, y, "") { return std::fabs(arg.x - x) < 1e-4f && std::fabs(arg.y - y) < 1e-4f; }

MATCHER_P5(IsRect, x, y, width, height, rotation, "") {
  return arg.pos.x == x && arg.pos.y == y && arg.size.x == width && arg.size.y == height && arg.rotation == rotation;
}

MATCHER_P4(IsRectNear, x, y, width, height, "") {
  return std::fabs(arg.pos.x - x) < 1e-4f && std::fabs(arg.pos.y - y) < 1e-4f && arg.size.x == width &&
         arg.size.y == height;
}

struct Fit {
  Sizes sizes;
  float scale;
  unsigned int width;  // Of the scene in the view.
  unsigned int height;
};

void PrintTo(const Fit& fit, std::ostream* out) {
  *out << fit.sizes.scene_width << " x " << fit.sizes.scene_height << " in " << fit.sizes.view_width << " x "
       << fit.sizes.view_height;
}

class FitScaleTest : public testing::TestWithParam<Fit> {};

TEST_P(FitScaleTest, LeavesAMarginInTheLimitingDirection) {
  const Fit& fit = GetParam();
  const float scale = FitScale(fit.sizes);
  EXPECT_EQ(scale, fit.scale);
  EXPECT_EQ(RoundToPixels(fit.sizes.scene().x * scale), fit.width);
  EXPECT_EQ(RoundToPixels(fit.sizes.scene().y * scale), fit.height);
}

constexpr float kWrapped = 4294967296.0f;  // One less than nothing as an unsigned number, and as a float.

INSTANTIATE_TEST_SUITE_P(
    Sizes, FitScaleTest,
    testing::Values(Fit{{1000, 1000, 1920, 1080}, 0.515625f, 990, 557},       // By the width.
                    Fit{{1000, 1000, 1080, 1920}, 0.515625f, 557, 990},       // By the height.
                    Fit{{960, 540, 1920, 1080}, 950.0f / 1920.0f, 950, 534},  // Equal ratios: by the width.
                    Fit{{50, 50, 40, 40}, 1.0f, 40, 40},                      //
                    Fit{{20, 20, 20, 5}, 0.5f, 10, 3},                        // 2.5 pixels are 3.
                    Fit{{10, 100, 100, 100}, 0.0f, 0, 0},                     // All of it is margin.
                    Fit{{9, 100, 6, 100}, 0.9f, 5, 90},                       // Not in the limiting direction.
                    Fit{{9, 100, 100, 50}, kWrapped / 100.0f, kMaxPixels, 1u << 31},
                    Fit{{100, 4, 50, 100}, kWrapped / 100.0f, 1u << 31, kMaxPixels},
                    Fit{{1, 1, 1, 1}, kWrapped, kMaxPixels, kMaxPixels}));

TEST(SizesTest, AnySideMayBeZero) {
  EXPECT_FALSE((Sizes{1, 1, 1, 1}.AnyIsZero()));
  EXPECT_TRUE((Sizes{0, 1, 1, 1}.AnyIsZero()));
  EXPECT_TRUE((Sizes{1, 0, 1, 1}.AnyIsZero()));
  EXPECT_TRUE((Sizes{1, 1, 0, 1}.AnyIsZero()));
  EXPECT_TRUE((Sizes{1, 1, 1, 0}.AnyIsZero()));
}

TEST(ViewOriginTest, IsHalfTheViewUpAndLeft) { EXPECT_THAT(ViewOrigin({1000, 501, 7, 7}), IsPoint(-500.0f, -250.5f)); }

TEST(RoundToPixelsTest, TakesHalvesAwayFromZeroAndClamps) {
  EXPECT_EQ(RoundToPixels(0.0f), 0u);
  EXPECT_EQ(RoundToPixels(0.49f), 0u);
  EXPECT_EQ(RoundToPixels(0.5f), 1u);
  EXPECT_EQ(RoundToPixels(1.5f), 2u);
  EXPECT_EQ(RoundToPixels(2.5f), 3u);
  EXPECT_EQ(RoundToPixels(556.875f), 557u);
  EXPECT_EQ(RoundToPixels(4294967040.0f), 4294967040u);  // The largest that fits.
  EXPECT_EQ(RoundToPixels(4294967296.0f), kMaxPixels);
  EXPECT_EQ(RoundToPixels(kInfinity), kMaxPixels);
  EXPECT_EQ(RoundToPixels(-1.0f), 0u);
  EXPECT_EQ(RoundToPixels(-kInfinity), 0u);
  EXPECT_EQ(RoundToPixels(kNaN), 0u);
}

TEST(HandlePointsTest, AreTheCornersAndTheMiddlesOfTheSides) {
  EXPECT_THAT(
      HandlePointsOf(gs_vec2(40, 20), 0.0f),
      ElementsAre(IsPoint(-20.0f, -10.0f), IsPoint(20.0f, -10.0f), IsPoint(-20.0f, 10.0f), IsPoint(20.0f, 10.0f),
                  IsPoint(-20.0f, 0.0f), IsPoint(0.0f, -10.0f), IsPoint(20.0f, 0.0f), IsPoint(0.0f, 10.0f)));
}

TEST(HandlePointsTest, TurnClockwiseWithTheItem) {
  EXPECT_THAT(HandlePointsOf(gs_vec2(40, 20), kPi / 2),
              ElementsAre(IsNear(10.0f, -20.0f), IsNear(10.0f, 20.0f), IsNear(-10.0f, -20.0f), IsNear(-10.0f, 20.0f),
                          IsNear(0.0f, -20.0f), IsNear(10.0f, 0.0f), IsNear(0.0f, 20.0f), IsNear(-10.0f, 0.0f)));
  // The 3-4-5 triangle: cosine 0.8, sine 0.6.
  const auto points = HandlePointsOf(gs_vec2(20, 10), std::atan2(3.0f, 4.0f));
  EXPECT_THAT(points[gs_overlay::kTopLeft], IsNear(-5.0f, -10.0f));
  EXPECT_THAT(points[gs_overlay::kTopRight], IsNear(11.0f, 2.0f));
  EXPECT_THAT(points[gs_overlay::kBottom], IsNear(-3.0f, 4.0f));
}

// The width is so large that a turn of that little would show.
TEST(HandlePointsTest, StayWhereTheyAreBelowTheThreshold) {
  const gs_vec2 size(4e6f, 0);
  for (const float rotation : {5e-7f, -5e-7f, 1e-6f, -1e-6f}) {
    EXPECT_THAT(HandlePointsOf(size, rotation)[gs_overlay::kRight], IsPoint(2e6f, 0.0f));
  }
  for (const float rotation : {1.5e-6f, -1.5e-6f}) {
    EXPECT_THAT(HandlePointsOf(size, rotation)[gs_overlay::kRight], IsNear(2e6f, 2e6f * rotation));
  }
}

TEST(FrameBarsTest, LieOnTheSidesAndMeetAtTheCorners) {
  const gs_transform item(gs_vec2(10, -15), gs_vec2(40, 20));
  EXPECT_THAT(FrameBars(item, 2.0f), ElementsAre(IsRect(-20.0f, -30.0f, 2.0f, 42.0f, 0.0f),   // Left.
                                                 IsRect(20.0f, -50.0f, 82.0f, 2.0f, 0.0f),    // Top.
                                                 IsRect(60.0f, -30.0f, 2.0f, 42.0f, 0.0f),    // Right.
                                                 IsRect(20.0f, -10.0f, 82.0f, 2.0f, 0.0f)));  // Bottom.
}

TEST(FrameBarsTest, AreTurnedByAsLittleAsTheItemIs) {
  const gs_transform item(gs_vec2(0, 0), gs_vec2(40, 20), 5e-7f);
  EXPECT_THAT(FrameBars(item, 1.0f),
              ElementsAre(IsRect(-20.0f, 0.0f, 2.0f, 22.0f, 5e-7f), IsRect(0.0f, -10.0f, 42.0f, 2.0f, 5e-7f),
                          IsRect(20.0f, 0.0f, 2.0f, 22.0f, 5e-7f), IsRect(0.0f, 10.0f, 42.0f, 2.0f, 5e-7f)));
}

TEST(FrameBarsTest, TurnAboutTheItem) {
  const gs_transform item(gs_vec2(10, -15), gs_vec2(40, 20), kPi / 2);
  const auto bars = FrameBars(item, 2.0f);
  EXPECT_THAT(bars, ElementsAre(IsRectNear(20.0f, -70.0f, 2.0f, 42.0f), IsRectNear(40.0f, -30.0f, 82.0f, 2.0f),
                                IsRectNear(20.0f, 10.0f, 2.0f, 42.0f), IsRectNear(0.0f, -30.0f, 82.0f, 2.0f)));
  for (const gs_transform& bar : bars) EXPECT_EQ(bar.rotation, kPi / 2);
}

TEST(FrameBarsTest, AnItemWithoutASizeHasAFrameOfTwoPixels) {
  for (const gs_transform& bar : FrameBars(gs_transform(gs_vec2(3, 4), gs_vec2()), 2.0f)) {
    EXPECT_THAT(bar, IsRect(6.0f, 8.0f, 2.0f, 2.0f, 0.0f));
  }
}

TEST(FrameHandlesTest, LieOnTheCornersThenOnTheMiddlesOfTheSides) {
  const gs_transform item(gs_vec2(10, -15), gs_vec2(40, 20));
  EXPECT_THAT(FrameHandles(item, 2.0f),
              ElementsAre(IsRect(-20.0f, -50.0f, 8.0f, 8.0f, 0.0f), IsRect(60.0f, -50.0f, 8.0f, 8.0f, 0.0f),
                          IsRect(-20.0f, -10.0f, 8.0f, 8.0f, 0.0f), IsRect(60.0f, -10.0f, 8.0f, 8.0f, 0.0f),
                          IsRect(-20.0f, -30.0f, 8.0f, 8.0f, 0.0f), IsRect(20.0f, -50.0f, 8.0f, 8.0f, 0.0f),
                          IsRect(60.0f, -30.0f, 8.0f, 8.0f, 0.0f), IsRect(20.0f, -10.0f, 8.0f, 8.0f, 0.0f)));
}

TEST(FrameHandlesTest, TurnAboutTheItem) {
  const auto handles = FrameHandles(gs_transform(gs_vec2(10, -15), gs_vec2(40, 20), kPi / 2), 2.0f);
  EXPECT_THAT(handles, ElementsAre(IsRectNear(40.0f, -70.0f, 8.0f, 8.0f), IsRectNear(40.0f, 10.0f, 8.0f, 8.0f),
                                   IsRectNear(0.0f, -70.0f, 8.0f, 8.0f), IsRectNear(0.0f, 10.0f, 8.0f, 8.0f),
                                   IsRectNear(20.0f, -70.0f, 8.0f, 8.0f), IsRectNear(40.0f, -30.0f, 8.0f, 8.0f),
                                   IsRectNear(20.0f, 10.0f, 8.0f, 8.0f), IsRectNear(0.0f, -30.0f, 8.0f, 8.0f)));
  for (const gs_transform& handle : handles) EXPECT_EQ(handle.rotation, kPi / 2);
}

TEST(FrameBodyTest, IsTheItemInTheView) {
  EXPECT_THAT(FrameBody(gs_transform(gs_vec2(10, -15), gs_vec2(40, 20), 1.0f), 2.0f),
              IsRect(20.0f, -30.0f, 80.0f, 40.0f, 1.0f));
  for (const float rotation : {1e-6f, -1e-6f}) {
    EXPECT_EQ(FrameBody(gs_transform(gs_vec2(), gs_vec2(40, 20), rotation), 1.0f).rotation, 0.0f);
    EXPECT_EQ(FrameBody(gs_transform(gs_vec2(), gs_vec2(40, 20), 1.5f * rotation), 1.0f).rotation, 1.5f * rotation);
  }
}

TEST(HoldsTest, ARectangleHoldsItsEdges) {
  const gs_transform shape(gs_vec2(10, 20), gs_vec2(8, 4));
  for (const gs_vec2& inside : {gs_vec2(10, 20), gs_vec2(14, 22), gs_vec2(6, 18)}) EXPECT_TRUE(Holds(shape, inside));
  for (const gs_vec2& beside : {gs_vec2(14.5f, 20), gs_vec2(5.5f, 20), gs_vec2(10, 22.5f), gs_vec2(10, 17.5f)}) {
    EXPECT_FALSE(Holds(shape, beside));
  }
}

TEST(HoldsTest, ATurnedRectangleIsTurnedClockwise) {
  const gs_transform shape(gs_vec2(10, 20), gs_vec2(40, 2), kPi / 4);
  EXPECT_TRUE(Holds(shape, gs_vec2(20, 30)));
  EXPECT_FALSE(Holds(shape, gs_vec2(20, 10)));
}

TEST(HoldsTest, ARectangleOfNegativeSizeIsThatOfItsAmount) {
  EXPECT_TRUE(Holds(gs_transform(gs_vec2(), gs_vec2(-8, 4)), gs_vec2(4, -2)));
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(), gs_vec2(-8, 4)), gs_vec2(4.5f, 0)));
}

TEST(HoldsTest, WhatIsNoNumberHoldsNothingAndIsNowhere) {
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(kNaN, 0)));
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(0, kNaN)));
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(0, kNaN), gs_vec2(8, 8)), gs_vec2()));
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(), gs_vec2(kNaN, 8)), gs_vec2()));
  EXPECT_FALSE(Holds(gs_transform(gs_vec2(), gs_vec2(8, 8), kInfinity), gs_vec2()));
}

TEST(HandleAtTest, FindsEachHandle) {
  for (const float rotation : {0.0f, 0.3f, -2.0f}) {
    const gs_transform item(gs_vec2(10, -15), gs_vec2(40, 20), rotation);
    const auto handles = FrameHandles(item, 2.0f);
    for (int i = 0; i < gs_overlay::kHandlePoints; ++i) {
      const gs_vec2 centre = handles[static_cast<std::size_t>(i)].pos;
      EXPECT_EQ(HandleAt(item, 2.0f, centre), i);
      EXPECT_EQ(HandleAt(item, 2.0f, centre + gs_vec2(2, -2)), i);
      EXPECT_EQ(HandleAt(item, 2.0f, centre + gs_vec2(0, 6)), gs_overlay::kHandlePoints);
    }
    EXPECT_EQ(HandleAt(item, 2.0f, gs_vec2(20, -30)), gs_overlay::kHandlePoints) << "the middle of the item";
  }
}

TEST(HandleAtTest, TheNearestHoldsAPointOfSeveralAndTheFirstOfEquals) {
  const gs_transform small(gs_vec2(), gs_vec2(4, 4));
  EXPECT_EQ(HandleAt(small, 1.0f, gs_vec2(-1.8f, -1.9f)), gs_overlay::kTopLeft);
  EXPECT_EQ(HandleAt(small, 1.0f, gs_vec2(1.9f, 0.2f)), gs_overlay::kRight);
  EXPECT_EQ(HandleAt(small, 1.0f, gs_vec2(0.1f, 5.9f)), gs_overlay::kBottom);
  EXPECT_EQ(HandleAt(gs_transform(gs_vec2(), gs_vec2()), 1.0f, gs_vec2(1, 1)), gs_overlay::kTopLeft);
}

TEST(GuideTest, LinesRunThroughTheWholeView) {
  const gs_vec2 view(210, 230);
  EXPECT_THAT(VerticalGuide(0.0f, view), testing::Optional(IsRect(0.0f, 0.0f, 2.0f, 230.0f, 0.0f)));
  EXPECT_THAT(VerticalGuide(-40.5f, view), testing::Optional(IsRect(-40.5f, 0.0f, 2.0f, 230.0f, 0.0f)));
  EXPECT_THAT(HorizontalGuide(77.0f, view), testing::Optional(IsRect(0.0f, 77.0f, 210.0f, 2.0f, 0.0f)));
}

TEST(GuideTest, NaNMeansNoLine) {
  const gs_vec2 view(210, 230);
  EXPECT_FALSE(VerticalGuide(kNaN, view).has_value());
  EXPECT_FALSE(VerticalGuide(-kNaN, view).has_value());
  EXPECT_FALSE(HorizontalGuide(kNaN, view).has_value());
  EXPECT_FALSE(HorizontalGuide(-kNaN, view).has_value());
}

}  // namespace
