// What a window of quarn-preview shows of the canvas.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "editing.h"
#include "preview/viewport.h"

namespace preview {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(ViewportTest, FitsTheCanvasAndFollowsTheWindow) {
  Viewport viewport({640, 360});
  viewport.Resize({650, 370});
  EXPECT_TRUE(viewport.fits());
  EXPECT_FLOAT_EQ(viewport.scale(), 1);
  ExpectPoint(viewport.ToPixels({0, 0}), 325, 185);
  ExpectPoint(viewport.ToPixels({-320, -180}), 5, 5);
  ExpectPoint(viewport.ToCanvas({5, 5}), -320, -180);
  viewport.Resize({1290, 2000});  // The width is the limit.
  EXPECT_FLOAT_EQ(viewport.scale(), 2);
  ExpectPoint(viewport.ToPixels({0, 0}), 645, 1000);
}

TEST(ViewportTest, AZoomStaysWhenTheWindowGrows) {
  Viewport viewport({640, 360});
  viewport.Resize({650, 370});
  viewport.SetZoom(3);
  EXPECT_FALSE(viewport.fits());
  viewport.Pan({-300, 30});
  ExpectPoint(viewport.ToCanvas({325, 185}), 100, -10);
  viewport.Resize({800, 600});
  EXPECT_FLOAT_EQ(viewport.scale(), 3);
  ExpectPoint(viewport.ToCanvas({400, 300}), 100, -10);
  viewport.Fit();
  EXPECT_TRUE(viewport.fits());
  EXPECT_FLOAT_EQ(viewport.scale(), 790.0f / 640);
  ExpectPoint(viewport.ToCanvas({400, 300}), 0, 0);
}

TEST(ViewportTest, ZoomsAtThePointer) {
  Viewport viewport({640, 360});
  viewport.Resize({650, 370});
  const studio::Vec kept = viewport.ToCanvas({100, 50});
  for (const float factor : {1.5f, 7.0f, 0.01f, 100.0f, 0.3f}) {
    viewport.ZoomAt({100, 50}, factor);
    ExpectPoint(viewport.ToCanvas({100, 50}), kept.x, kept.y);
  }
}

TEST(ViewportTest, ZoomHasItsLimits) {
  Viewport viewport({640, 360});
  viewport.Resize({650, 370});
  viewport.SetZoom(1000);
  EXPECT_FLOAT_EQ(viewport.scale(), 64);
  viewport.ZoomAt({3, 3}, 1e-30f);
  EXPECT_FLOAT_EQ(viewport.scale(), 1.0f / 32);
  viewport.ZoomAt({3, 3}, 1e30f);
  EXPECT_FLOAT_EQ(viewport.scale(), 64);
}

TEST(ViewportTest, ShowsALayerThatIsLargerThanTheCanvas) {
  Viewport viewport({640, 360});
  viewport.Resize({650, 370});
  const Box part = BoundsOf(Shape{{900, -400}, {4000, 3000}, 30});
  viewport.FitTo(part);
  EXPECT_FALSE(viewport.fits());
  for (const studio::Vec corner : {part.min, part.max}) {
    const studio::Vec pixel = viewport.ToPixels(corner);
    EXPECT_GE(pixel.x, 0);
    EXPECT_LE(pixel.x, 650);
    EXPECT_GE(pixel.y, 0);
    EXPECT_LE(pixel.y, 370);
  }
  viewport.FitTo(Box{{10, 10}, {10, 10}});  // Nothing is shown larger than it is.
  EXPECT_FLOAT_EQ(viewport.scale(), 1);
  ExpectPoint(viewport.ToCanvas({325, 185}), 10, 10);
}

TEST(ViewportTest, SurvivesWindowsWithoutSizeAndWhatIsNoNumber) {
  Viewport viewport({0, 0});
  viewport.Resize({0, -5});
  viewport.Fit();
  viewport.ZoomAt({kNan, 1}, 2);
  viewport.ZoomAt({1, 1}, kNan);
  viewport.ZoomAt({1, 1}, 0);
  viewport.ZoomAt({1, 1}, -2);
  viewport.SetZoom(kNan);
  viewport.SetZoom(0);
  viewport.Pan({kNan, 0});
  viewport.FitTo(Box{{kNan, 0}, {1, 1}});
  EXPECT_TRUE(viewport.fits());
  viewport.Resize({11, 11});
  ExpectPoint(viewport.ToPixels(viewport.ToCanvas({3, 4})), 3, 4);
}

TEST(ViewportTest, WhateverIsAskedForThereIsAWayBack) {
  std::mt19937 random(7);
  const auto any = [&random](float from, float to) { return std::uniform_real_distribution<float>(from, to)(random); };
  Viewport viewport({1920, 1080});
  for (int i = 0; i < 3000; ++i) {
    switch (random() % 6) {
      case 0: viewport.Resize({static_cast<int>(random() % 3000), static_cast<int>(random() % 2000)}); break;
      case 1: viewport.ZoomAt({any(-100, 2000), any(-100, 2000)}, any(0.1f, 8)); break;
      case 2: viewport.Pan({any(-500, 500), any(-500, 500)}); break;
      case 3: viewport.SetZoom(any(0.001f, 100)); break;
      case 4: viewport.FitTo(Box{{any(-9000, 0), any(-9000, 0)}, {any(0, 9000), any(0, 9000)}}); break;
      default: viewport.Fit();
    }
    ASSERT_GE(viewport.scale(), kMinZoom);
    ASSERT_LE(viewport.scale(), kMaxZoom);
    const studio::Vec pixel{any(0, 2000), any(0, 2000)};
    const studio::Vec there = viewport.ToCanvas(pixel), back = viewport.ToPixels(there);
    // A float far from the centre is coarse, the more so when it is seen large.
    const float slack = 0.01f + viewport.scale() * (std::fabs(there.x) + std::fabs(there.y)) * 1e-6f;
    ASSERT_NEAR(back.x, pixel.x, slack);
    ASSERT_NEAR(back.y, pixel.y, slack);
  }
}

}  // namespace
}  // namespace preview
