#include "graphics/late_frame_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "graphics/frame_times.h"
#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kPeriod = 33333333;
constexpr std::uint64_t kSecond = 1000000000;

LogCapture::Line Line(const std::string& text) { return {Logger::Level::Debug, text}; }

// A frame in which nothing took time, and waits were not measured.
GsFrameTime Frame(std::uint64_t time_ns, unsigned int periods) {
  GsFrameTime frame = {};
  frame.time_ns = time_ns;
  frame.periods = periods;
  frame.context_lock_wait_ns = frame.readback_wait_ns = kGsNotMeasured;
  return frame;
}

class LateFrameReportTest : public ::testing::Test {
 protected:
  LogCapture log_;
  LateFrameReport report_;
};

TEST_F(LateFrameReportTest, IsSilentWhileFramesAreOnTime) {
  GsFrameTime frame = Frame(5, 1);
  frame.outputs_ns = 33000000;
  report_.Note(frame, kPeriod);
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(LateFrameReportTest, NamesThePartAndTheWaitThatTookMost) {
  GsFrameTime frame = Frame(5, 3);
  frame.scenes_ns = 20000000;
  frame.outputs_ns = 41234000;
  frame.context_lock_wait_ns = 5000000;
  frame.readback_wait_ns = 38000000;
  report_.Note(frame, kPeriod);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(Line("a frame took 3 periods of 33.3 ms: 41.2 ms went into outputs; waiting for "
                               "readback took 38.0 ms of the frame")));
}

TEST_F(LateFrameReportTest, HasANameForEachPart) {
  const std::vector<std::pair<FramePart, std::string>> names = {
      {FramePart::kStartDelay, "a late start"},
      {FramePart::kTasks, "queued tasks"},
      {FramePart::kTicks, "ticks"},
      {FramePart::kFilters, "filters"},
      {FramePart::kScenes, "scenes"},
      {FramePart::kOutputs, "outputs"},
      {FramePart::kViews, "views"},
  };
  for (const auto& [part, name] : names) {
    log_.Clear();
    GsFrameTime frame = Frame(5, 2);
    TimeOf(part, &frame) = 50000000;
    LateFrameReport().Note(frame, kPeriod);
    EXPECT_THAT(log_.Lines(), ElementsAre(Line("a frame took 2 periods of 33.3 ms: 50.0 ms went into " + name)));
  }
}

TEST_F(LateFrameReportTest, HasANameForEachWait) {
  const std::vector<std::pair<FramePart, std::string>> names = {
      {FramePart::kContextLockWait, "the context's lock"},
      {FramePart::kReadbackWait, "readback"},
  };
  for (const auto& [part, name] : names) {
    log_.Clear();
    GsFrameTime frame = Frame(5, 2);
    frame.views_ns = 60000000;
    TimeOf(part, &frame) = 50000000;
    LateFrameReport().Note(frame, kPeriod);
    EXPECT_THAT(log_.Lines(), ElementsAre(Line("a frame took 2 periods of 33.3 ms: 60.0 ms went into views; waiting "
                                               "for " +
                                               name + " took 50.0 ms of the frame")));
  }
}

TEST_F(LateFrameReportTest, PassesOverWhatIsNotMeasured) {
  GsFrameTime frame = Frame(5, 2);
  frame.scenes_ns = frame.outputs_ns = kGsNotMeasured;
  frame.views_ns = 40000000;
  report_.Note(frame, kPeriod);
  EXPECT_THAT(log_.Lines(), ElementsAre(Line("a frame took 2 periods of 33.3 ms: 40.0 ms went into views")));
}

TEST_F(LateFrameReportTest, SaysOneLineASecondAndCountsTheRest) {
  const auto note = [this](std::uint64_t time_ns) {
    GsFrameTime frame = Frame(time_ns, 2);
    frame.ticks_ns = 40000000;
    report_.Note(frame, kPeriod);
  };
  const std::string text = "a frame took 2 periods of 33.3 ms: 40.0 ms went into ticks";
  note(7);
  note(8);
  note(7 + kSecond - 1);
  EXPECT_THAT(log_.Lines(), ElementsAre(Line(text)));
  note(7 + kSecond);
  EXPECT_THAT(log_.Lines(), ElementsAre(Line(text), Line(text + "; 2 more were late since the last such line")));
  note(7 + 3 * kSecond);
  EXPECT_EQ(log_.Lines().back(), Line(text));
}

// The line comes when a frame has ended, so that is what a second is counted between.
TEST_F(LateFrameReportTest, CountsTheSecondBetweenTheEndsOfFrames) {
  constexpr unsigned int kLong = 60;  // Two seconds.
  report_.Note(Frame(7, kLong), kPeriod);
  report_.Note(Frame(7 + kLong * kPeriod, 2), kPeriod);
  EXPECT_EQ(log_.Lines().size(), 1u);
  report_.Note(Frame(7 + (kLong + 30) * kPeriod, 2), kPeriod);
  EXPECT_EQ(log_.Lines().size(), 2u);
}

TEST_F(LateFrameReportTest, NamesWhatMadeTheFrameBeforeRunOver) {
  GsFrameTime before = Frame(5, 1);
  before.start_delay_ns = 50000000;
  before.outputs_ns = 45000000;
  report_.Note(before, kPeriod);
  GsFrameTime frame = Frame(5 + kPeriod, 2);
  frame.start_delay_ns = 30000000;
  frame.outputs_ns = 20000000;
  report_.Note(frame, kPeriod);
  EXPECT_THAT(log_.Lines(), ElementsAre(Line("a frame took 2 periods of 33.3 ms: 30.0 ms went into a late start, after "
                                             "45.0 ms of outputs in the frame before")));
}

}  // namespace
