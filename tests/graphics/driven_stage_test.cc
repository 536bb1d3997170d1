// The stages that a host runs, on a clock that only moves when a test moves it.
#include "graphics/driven_stage.h"

#include <gtest/gtest.h>

#include "graphics/graphics_device_impl.h"
#include "tests/support/fake_os_time.h"
#include "tests/support/log_capture.h"

namespace {

constexpr char kStarted[] = "RunFrame is for a device without a render thread of its own: stop it first";

class DrivenStageTest : public ::testing::Test {
 protected:
  DrivenStageTest() { fake_clock::Reset(); }
  ~DrivenStageTest() override { fake_clock::Reset(); }

  LogCapture log_;
  GraphicsDeviceImpl device_;
};

TEST_F(DrivenStageTest, TimeCountsAsTheStagesAndAsWhatItTellsApart) {
  {
    DrivenStage stage(&device_, FramePart::kTicks);
    fake_clock::Advance(5);
  }
  {
    DrivenStage stage(&device_, std::nullopt);
    stage.Output(1000, 3);
    const FrameSpan span(FramePart::kScenes);
    fake_clock::Advance(70);
  }
  const FrameSpan outside(FramePart::kScenes);
  fake_clock::Advance(900);
  const GsDeviceStats stats = ReadDeviceStats(&device_);
  EXPECT_EQ(stats.frames, 1u);
  EXPECT_EQ(stats.missed, 2u);
  EXPECT_EQ(stats.ticks_ns, 5u);
  EXPECT_EQ(stats.scenes_ns, 70u);
  EXPECT_EQ(stats.outputs_ns, 0u);
}

TEST_F(DrivenStageTest, StampIsTheOutputsAndThenTheNext) {
  DrivenStage stage(&device_, std::nullopt);
  stage.Output(1000, 2);
  EXPECT_EQ(device_.clock().stamp(), 1000u);
  stage.BeforeOutput();
  EXPECT_EQ(device_.clock().stamp(), 1000u + 2 * 33333333);
  EXPECT_TRUE(BeginDrivenFrame(&device_, 5));
  stage.BeforeOutput();
  EXPECT_EQ(device_.clock().stamp(), 5u);
}

TEST_F(DrivenStageTest, ADeviceWithALoopTakesNoNotice) {
  device_.clock().set_looping(true);
  device_.clock().BeginFrame(77);
  DrivenStage stage(&device_, FramePart::kViews);
  stage.Output(1000, 2);
  stage.BeforeOutput();
  EXPECT_FALSE(BeginDrivenFrame(&device_, 1000));
  EXPECT_EQ(device_.clock().stamp(), 77u);
  EXPECT_EQ(ReadDeviceStats(&device_).frames, 0u);
  EXPECT_EQ(log_.Lines(), (std::vector<LogCapture::Line>{{Logger::Level::Error, kStarted}}));
}

}  // namespace
