#include "graphics/opengl/cgl/linux/wayland_scale.h"

#include <gtest/gtest.h>

namespace {

TEST(WaylandScaleTest, SizesOfScreensGiveTheNearest120th) {
  EXPECT_EQ(WaylandScaleOf(1920, 1920), 120u);
  EXPECT_EQ(WaylandScaleOf(1920, 1536), 150u);
  EXPECT_EQ(WaylandScaleOf(2560, 1707), 180u) << "a size that was rounded";
  EXPECT_EQ(WaylandScaleOf(1366, 1093), 150u);
  EXPECT_EQ(WaylandScaleOf(3840, 1920), 240u);
  EXPECT_EQ(WaylandScaleOf(960, 1920), 60u);
}

TEST(WaylandScaleTest, PlacesAreTheNearestUnits) {
  EXPECT_EQ(ToWaylandUnits(150, 120), 150);
  EXPECT_EQ(ToWaylandUnits(150, 180), 100);
  EXPECT_EQ(ToWaylandUnits(-150, 180), -100);
  EXPECT_EQ(ToWaylandUnits(100, 180), 67);
}

// Of every size up to some and the scales that there are, each pixel that is shown is one pixel of the screen.
TEST(WaylandScaleTest, EachPixelOfAPictureIsOneOfTheScreens) {
  for (const unsigned int scale : {60u, 120u, 132u, 150u, 160u, 180u, 210u, 240u, 300u, 360u}) {
    for (unsigned int pixels = 1; pixels <= 2000; ++pixels) {
      const WaylandSide side = ToWaylandSide(pixels, scale);
      ASSERT_GE(side.units, 1);
      ASSERT_LE(side.pixels, pixels);
      const double screen = static_cast<double>(side.units) * scale / kWaylandScaleOne;
      if (pixels * kWaylandScaleOne < scale) continue;  // Less than a unit: that is stretched.
      // A compositor rounds to whole pixels.
      ASSERT_TRUE(side.pixels == screen || side.pixels == std::round(screen)) << pixels << " at " << scale;
      ASSERT_GT(side.pixels, pixels - static_cast<double>(scale) / kWaylandScaleOne) << pixels << " at " << scale;
    }
  }
}

TEST(WaylandScaleTest, AWholePictureIsShownWhereUnitsCanTellItsSize) {
  EXPECT_EQ(ToWaylandSide(600, 180).units, 400);
  EXPECT_EQ(ToWaylandSide(600, 180).pixels, 600);
  EXPECT_EQ(ToWaylandSide(602, 180).units, 401) << "601.5 pixels";
  EXPECT_EQ(ToWaylandSide(602, 180).pixels, 602);
  EXPECT_EQ(ToWaylandSide(601, 180).units, 400);
  EXPECT_EQ(ToWaylandSide(601, 180).pixels, 600);
  EXPECT_EQ(ToWaylandSide(1, 240).units, 1);
  EXPECT_EQ(ToWaylandSide(1, 240).pixels, 1);
}

}  // namespace
