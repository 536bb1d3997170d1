#include "graphics/frame_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FrameClockTest : public ::testing::Test {
 protected:
  LogCapture log_;
  FrameClock clock_;
};

TEST_F(FrameClockTest, SetFrameRateIsAnsweredAtOnce) {
  EXPECT_TRUE(clock_.SetFrameRate(30000, 1001));
  EXPECT_EQ(FrameGrid(0, clock_.rate()).TimeOf(30000), 1001000000000u);
  clock_.SetFps(25);
  EXPECT_EQ(clock_.rate(), FrameRate::OfFps(25));
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(FrameClockTest, RefusedRateIsToldOfAndChangesNothing) {
  clock_.SetFps(25);
  EXPECT_FALSE(clock_.SetFrameRate(30000, 0));
  EXPECT_FALSE(clock_.SetFrameRate(1, 3601));
  EXPECT_EQ(clock_.rate(), FrameRate::OfFps(25));
  constexpr char kRange[] = " is refused: it must be 1 in 3600 seconds to 1000000000 in one; the rate stays 25";
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, std::string("a frame rate of 30000/0") + kRange},
                          LogCapture::Line{Logger::Level::Warn, std::string("a frame rate of 1/3601") + kRange}));
}

TEST_F(FrameClockTest, FrameInHandHasItsStampAndItsGrid) {
  EXPECT_EQ(clock_.stamp(), 0u);
  clock_.BeginFrame(1000, 400);
  EXPECT_EQ(clock_.stamp(), 1000u);
  EXPECT_EQ(clock_.grid_start(), 400u);
}

TEST_F(FrameClockTest, StagesBeforeTheOutputExpectTheNextStamp) {
  ASSERT_TRUE(clock_.SetFrameRate(30000, 1001));
  clock_.BeginStage();
  EXPECT_EQ(clock_.stamp(), 0u);
  clock_.BeginOutput(33366667, 2);  // A point of the grid from 0 on.
  EXPECT_EQ(clock_.stamp(), 33366667u);
  clock_.BeginStage();
  EXPECT_EQ(clock_.stamp(), 100100000u);
  clock_.BeginStage();  // Filters after ticks.
  EXPECT_EQ(clock_.stamp(), 100100000u);
  clock_.BeginOutput(7, 0);
  clock_.BeginStage();
  EXPECT_EQ(clock_.stamp(), 7u);
  EXPECT_EQ(clock_.grid_start(), 0u);
}

TEST_F(FrameClockTest, KnownStampIsKeptThroughTheStages) {
  clock_.BeginOutput(500, 1);
  clock_.BeginFrame(2000);
  clock_.BeginStage();
  EXPECT_EQ(clock_.stamp(), 2000u);
}

}  // namespace
