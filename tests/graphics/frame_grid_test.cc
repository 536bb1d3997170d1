#include "graphics/frame_grid.h"

#include <gtest/gtest.h>

#include <random>

namespace {

constexpr std::uint64_t kStart = 123456789;
constexpr std::uint32_t kMax = 0xFFFFFFFFu;

FrameRate Fraction(std::uint32_t numerator, std::uint32_t denominator) {
  FrameRate rate;
  EXPECT_TRUE(FrameRate::OfFraction(numerator, denominator, &rate)) << numerator << "/" << denominator;
  return rate;
}

TEST(FrameRateTest, IsThirtyAtFirst) { EXPECT_EQ(FrameRate(), FrameRate::OfFps(30)); }

TEST(FrameRateTest, FractionsAreTheSameInLowestTerms) {
  EXPECT_EQ(Fraction(60000, 2002), Fraction(30000, 1001));
  EXPECT_NE(Fraction(30, 1), FrameRate::OfFps(30)) << "one is exact, the other is cut";
}

TEST(FrameRateTest, RefusesWhatIsNoRate) {
  FrameRate rate = FrameRate::OfFps(25);
  for (const auto& [numerator, denominator] : {std::pair<std::uint32_t, std::uint32_t>{0, 1},
                                               {1, 0},
                                               {0, 0},
                                               {1000000001, 1},
                                               {kMax, 4},
                                               {1, 3601},
                                               {1, kMax}}) {
    EXPECT_FALSE(FrameRate::OfFraction(numerator, denominator, &rate)) << numerator << "/" << denominator;
  }
  EXPECT_EQ(rate, FrameRate::OfFps(25));
  Fraction(1000000000, 1);
  Fraction(kMax, 5);
  Fraction(1, 3600);
  Fraction(kMax, kMax);
}

TEST(FrameRateTest, FpsIsTheNearestWholeNumberAtLeastOne) {
  EXPECT_EQ(FrameRate::OfFps(50).fps(), 50u);
  EXPECT_EQ(Fraction(30000, 1001).fps(), 30u);
  EXPECT_EQ(Fraction(24000, 1001).fps(), 24u);
  EXPECT_EQ(Fraction(5, 2).fps(), 3u);
  EXPECT_EQ(Fraction(1, 3600).fps(), 1u);
  EXPECT_EQ(Fraction(kMax, 5).fps(), 858993459u);
}

TEST(FrameGridTest, PeriodOfFpsIsCut) {
  for (const std::uint32_t fps : {1u, 30u, 60u, 999999999u, 1000000000u}) {
    const FrameGrid grid(kStart, FrameRate::OfFps(fps));
    const std::uint64_t interval = 1000000000 / fps;
    EXPECT_EQ(grid.interval(), interval);
    for (const std::uint64_t n : {0ull, 1ull, 7ull, 1000000ull, 10000000000ull}) {
      EXPECT_EQ(grid.TimeOf(n), kStart + n * interval);
      EXPECT_EQ(grid.PointAt(kStart + n * interval), n);
      EXPECT_EQ(grid.After(kStart + n * interval + 5, 3), kStart + n * interval + 5 + 3 * interval);
    }
  }
}

TEST(FrameGridTest, PointsAreExactToTheNanosecond) {
  const FrameGrid grid(kStart, Fraction(30000, 1001));
  EXPECT_EQ(grid.interval(), 33366667u);  // 33,366,666 and two thirds.
  EXPECT_EQ(grid.TimeOf(1), kStart + 33366667);
  EXPECT_EQ(grid.TimeOf(2), kStart + 66733333);
  EXPECT_EQ(grid.TimeOf(3), kStart + 100100000);
  // An hour is 107,892 frames and a bit: 30,000 frames take 1,001 seconds, whenever.
  EXPECT_EQ(grid.TimeOf(30000ull * 4), kStart + 4004ull * 1000000000);
  // A century, and a bit more than is common.
  EXPECT_EQ(grid.TimeOf(30000ull * 3150000), kStart + 1001ull * 3150000 * 1000000000);
}

// Of rates at random, the whole numbers of seconds that are points of the grid, and what lies around them.
TEST(FrameGridTest, PointsKeepToTheRateOverYears) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const auto numerator = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    const auto denominator = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    FrameRate rate;
    if (!FrameRate::OfFraction(numerator, denominator, &rate)) continue;
    const FrameGrid grid(kStart, rate);
    // rate.denominator * k seconds are rate.numerator * k frames.
    const std::uint64_t longest = 100ull * 365 * 86400;
    if (rate.denominator > longest) continue;
    const std::uint64_t k = random() % (longest / rate.denominator + 1);
    const std::uint64_t n = rate.numerator * k;
    const std::uint64_t time = kStart + rate.denominator * k * 1000000000;
    ASSERT_EQ(grid.TimeOf(n), time) << numerator << "/" << denominator << " * " << k;
    ASSERT_EQ(grid.PointAt(time), n);
    ASSERT_EQ(grid.After(time, 5), grid.TimeOf(n + 5));
    // A time in between belongs to the point before it.
    if (grid.interval() < 3) continue;
    ASSERT_EQ(grid.PointAt(time + 1), n);
    if (n == 0) continue;
    ASSERT_EQ(grid.PointAt(time - 1), n - 1);
    ASSERT_EQ(grid.After(time - 1, 1), time - 1 + grid.interval());
  }
}

TEST(FrameGridTest, EveryPointIsFoundAgain) {
  const FrameGrid grid(kStart, Fraction(24000, 1001));
  for (std::uint64_t n = 0; n < 100000; ++n) {
    ASSERT_EQ(grid.PointAt(grid.TimeOf(n)), n);
    ASSERT_EQ(grid.After(grid.TimeOf(n), 1), grid.TimeOf(n + 1));
  }
}

TEST(FrameGridTest, BeforeTheStartIsTheFirstPoint) {
  const FrameGrid grid(kStart, Fraction(30000, 1001));
  EXPECT_EQ(grid.PointAt(0), 0u);
  EXPECT_EQ(grid.PointAt(kStart), 0u);
  EXPECT_EQ(grid.After(1000, 2), 1000u + 66733333);
}

// Times that no clock shows lead nowhere, but they come back.
TEST(FrameGridTest, TimesBeyondTheCenturiesEnd) {
  const FrameGrid grid(0, Fraction(30000, 1001));
  grid.PointAt(~0ull);
  grid.After(~0ull, ~0ull);
  const FrameGrid fast(0, Fraction(999999999, 1));
  fast.After(~0ull, kMax);
}

}  // namespace
