// The render loop on a clock that only moves when a test or a sleep moves it, so that every frame time is exact.
#include "graphics/graphics_device_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/event.h"
#include "graphics/internal_types.h"
#include "graphics/output/graphics_frame.h"
#include "tests/support/fake_os_time.h"
#include "tests/support/log_capture.h"
#include "tests/support/run_in_fork.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kStart = fake_clock::kStartNs;

constexpr char kStartingText[] = "starting graphics render thread";
constexpr char kStoppedText[] = "graphics render thread stoped";
constexpr char kStopInsideText[] =
    "Stop was called on the graphics render thread, which cannot wait for itself: it ends after this frame; call Stop "
    "again from another thread";

struct Frame {
  unsigned long long frame_time;
  unsigned long long last_tick;
  unsigned long long output_time;
  unsigned int output_count;
};

// Records its frames, and ends the loop after as many as a test asks for.
class RecordingDevice : public GraphicsDeviceImpl {
 public:
  ~RecordingDevice() override { GraphicsDeviceImpl::Stop(); }

  // Runs `count` frames on a render thread and returns when that has ended.
  void RunFrames(std::size_t count) {
    frames.clear();
    frame_count_ = count;
    finished_.Reset();
    ASSERT_TRUE(Start());
    finished_.Wait();
    Stop();
  }

  std::vector<unsigned long long> FrameTimes() const {
    std::vector<unsigned long long> times;
    for (const Frame& frame : frames) times.push_back(frame.frame_time);
    return times;
  }

  std::vector<std::pair<unsigned long long, unsigned int>> Outputs() const {
    std::vector<std::pair<unsigned long long, unsigned int>> outputs;
    for (const Frame& frame : frames) outputs.emplace_back(frame.output_time, frame.output_count);
    return outputs;
  }

  bool InitThreadContext() override {
    journal.push_back("init");
    return init_thread_context && GraphicsDeviceImpl::InitThreadContext();
  }
  void UninitThreadContext() override {
    journal.push_back("uninit");
    GraphicsDeviceImpl::UninitThreadContext();
  }
  std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override {
    journal.push_back("tick");
    frames.push_back({frame_time, last_tick, 0, 0});
    return GraphicsDeviceImpl::TickSource(frame_time, last_tick);
  }
  void HandleFilter() override { journal.push_back("filter"); }
  void OutputFrame(unsigned long long timestamp, unsigned int count) override {
    journal.push_back("output");
    frames.back().output_time = timestamp;
    frames.back().output_count = count;
  }
  void DrawDisplay() override {
    journal.push_back("draw");
    if (on_frame) on_frame(frames.size());
    if (frames.size() < frame_count_) return;
    Stop();
    finished_.Signal();
  }
  void HandleTask(void (*func)(void*), void* param) override {
    journal.push_back("task");
    GraphicsDeviceImpl::HandleTask(func, param);
  }

  bool init_thread_context = true;
  std::function<void(std::size_t)> on_frame;  // Called as the last stage of the frame with that number, from 1.
  std::vector<Frame> frames;
  std::vector<std::string> journal;

 private:
  std::size_t frame_count_ = std::numeric_limits<std::size_t>::max();  // Endless, but for RunFrames.
  Event finished_{false};
};

class GraphicsDeviceImplTest : public ::testing::Test {
 protected:
  GraphicsDeviceImplTest() { fake_clock::Reset(); }
  ~GraphicsDeviceImplTest() override { fake_clock::Reset(); }

  std::vector<std::string> Reports() const {
    std::vector<std::string> reports;
    for (const LogCapture::Line& line : log_.Lines()) {
      if (line.text.size() < 4 || line.text.substr(line.text.size() - 4) != " fps") continue;
      EXPECT_EQ(line.level, Logger::Level::Info);
      reports.push_back(line.text);
    }
    return reports;
  }

  LogCapture log_;
};

// The parameter of tasks.
struct TaskLog {
  GraphicsDeviceImpl* device;
  std::vector<std::size_t>* frames;  // The frame after which each task ran.
  const std::vector<Frame>* device_frames;
};

void NoteFrame(void* param) {
  auto* task_log = static_cast<TaskLog*>(param);
  task_log->frames->push_back(task_log->device_frames->size());
}

void NoteFrameAndQueueAnother(void* param) {
  NoteFrame(param);
  static_cast<TaskLog*>(param)->device->QueueTask(NoteFrame, param);
}

// The rate.

TEST_F(GraphicsDeviceImplTest, FreshDeviceAsksForThirtyFps) {
  GraphicsDeviceImpl device;
  EXPECT_EQ(device.fps(), 30u);
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(GraphicsDeviceImplTest, SetFpsIsAnsweredAtOnce) {
  GraphicsDeviceImpl device;
  device.SetFps(60);
  EXPECT_EQ(device.fps(), 60u);
}

TEST_F(GraphicsDeviceImplTest, RefusesARateThatHasNoInterval) {
  GraphicsDeviceImpl device;
  device.SetFps(25);
  device.SetFps(0);
  EXPECT_EQ(device.fps(), 25u);
  device.SetFps(1000000001);
  EXPECT_EQ(device.fps(), 25u);
  device.SetFps(1000000000);
  EXPECT_EQ(device.fps(), 1000000000u);
  using Level = Logger::Level;
  EXPECT_THAT(
      log_.Lines(),
      ElementsAre(
          LogCapture::Line{Level::Warn, "a frame rate of 0 is refused: it must be 1 to 1000000000; the rate stays 25"},
          LogCapture::Line{Level::Warn,
                           "a frame rate of 1000000001 is refused: it must be 1 to 1000000000; the rate stays 25"}));
}

TEST_F(GraphicsDeviceImplTest, RefusedRateLeavesARunningLoopAlone) {
  RecordingDevice device;
  device.on_frame = [&](std::size_t frame) {
    if (frame == 1) device.SetFps(0);
  };
  device.RunFrames(3);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 33333333, kStart + 66666666));
}

TEST_F(GraphicsDeviceImplTest, HighestRateRuns) {
  RecordingDevice device;
  device.SetFps(1000000000);
  device.RunFrames(3);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 1, kStart + 2));
}

// Pacing.

TEST_F(GraphicsDeviceImplTest, OnTimeFramesKeepTheGrid) {
  RecordingDevice device;
  device.RunFrames(4);
  EXPECT_THAT(device.FrameTimes(),
              ElementsAre(kStart, kStart + 33333333, kStart + 2 * 33333333, kStart + 3 * 33333333));
  EXPECT_THAT(device.Outputs(),
              ElementsAre(std::make_pair(0ull, 0u), std::make_pair(kStart, 1u), std::make_pair(kStart + 33333333, 1u),
                          std::make_pair(kStart + 2 * 33333333, 1u)));
  EXPECT_EQ(fake_clock::Now(), kStart + 4 * 33333333);
}

TEST_F(GraphicsDeviceImplTest, SleepsPreciselyUntilTheNextGridPoint) {
  RecordingDevice device;
  device.on_frame = [](std::size_t) { fake_clock::Advance(10000000); };
  device.RunFrames(2);
  const std::vector<fake_clock::Sleep> sleeps = fake_clock::Sleeps();
  ASSERT_EQ(sleeps.size(), 2u);
  EXPECT_EQ(sleeps[0].now, kStart + 10000000);
  EXPECT_EQ(sleeps[0].target, kStart + 33333333);
  EXPECT_EQ(sleeps[1].target, kStart + 66666666);
  EXPECT_FALSE(sleeps[0].fast);
  EXPECT_FALSE(sleeps[1].fast);
}

TEST_F(GraphicsDeviceImplTest, TickReceivesTheTimeOfTheTickBefore) {
  RecordingDevice device;
  device.RunFrames(3);
  EXPECT_EQ(device.frames[0].last_tick, 0u);
  EXPECT_EQ(device.frames[1].last_tick, kStart);
  EXPECT_EQ(device.frames[2].last_tick, kStart + 33333333);
}

TEST_F(GraphicsDeviceImplTest, TwoAndAHalfPeriodsSkipTwoAndThreeInTurn) {
  constexpr std::uint64_t kInterval = 25000000;
  RecordingDevice device;
  device.SetFps(40);
  device.on_frame = [](std::size_t) { fake_clock::Advance(kInterval * 5 / 2); };
  device.RunFrames(5);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 2 * kInterval, kStart + 5 * kInterval,
                                               kStart + 7 * kInterval, kStart + 10 * kInterval));
  EXPECT_THAT(
      device.Outputs(),
      ElementsAre(std::make_pair(0ull, 0u), std::make_pair(kStart, 2u), std::make_pair(kStart + 2 * kInterval, 3u),
                  std::make_pair(kStart + 5 * kInterval, 2u), std::make_pair(kStart + 7 * kInterval, 3u)));
  // Nothing was slept: the clock stands where the stages left it.
  EXPECT_EQ(fake_clock::Now(), kStart + 5 * (kInterval * 5 / 2));
}

TEST_F(GraphicsDeviceImplTest, FrameOfExactlyOnePeriodIsOnTime) {
  RecordingDevice device;
  device.on_frame = [](std::size_t) { fake_clock::Advance(33333333); };
  device.RunFrames(3);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 33333333, kStart + 66666666));
  EXPECT_EQ(device.frames[2].output_count, 1u);
}

TEST_F(GraphicsDeviceImplTest, FrameOneNanosecondLateCountsOnePeriod) {
  RecordingDevice device;
  device.on_frame = [](std::size_t frame) {
    if (frame == 1) fake_clock::Advance(33333334);
  };
  device.RunFrames(3);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 33333333, kStart + 66666666));
  EXPECT_EQ(device.frames[1].output_count, 1u);
}

TEST_F(GraphicsDeviceImplTest, LongStallSkipsEveryMissedPoint) {
  RecordingDevice device;
  device.SetFps(40);
  device.on_frame = [](std::size_t frame) {
    if (frame == 1) fake_clock::Advance(60ull * 1000000000 + 1);
  };
  device.RunFrames(3);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 60000000000, kStart + 60025000000));
  EXPECT_EQ(device.frames[1].output_count, 2400u);
  EXPECT_EQ(device.frames[2].output_count, 1u);
}

TEST_F(GraphicsDeviceImplTest, ExactRateKeepsAnExactGrid) {
  RecordingDevice device;
  ASSERT_TRUE(device.clock().SetFrameRate(30000, 1001));
  EXPECT_EQ(device.fps(), 30u);
  device.RunFrames(3001);
  const std::vector<unsigned long long> times = device.FrameTimes();
  ASSERT_EQ(times.size(), 3001u);
  EXPECT_EQ(times[1], kStart + 33366667);
  EXPECT_EQ(times[2], kStart + 66733333);
  for (std::size_t n = 0; n <= 3000; n += 3) ASSERT_EQ(times[n], kStart + n / 3 * 100100000);
  EXPECT_EQ(device.frames[3000].output_time, times[2999]);
}

TEST_F(GraphicsDeviceImplTest, LateFramesKeepToTheExactGrid) {
  RecordingDevice device;
  ASSERT_TRUE(device.clock().SetFrameRate(30000, 1001));
  device.on_frame = [](std::size_t frame) {
    if (frame == 1) fake_clock::Set(kStart + 66733333);  // The second point itself: two periods have passed.
    if (frame == 2) fake_clock::Set(kStart + 100099999 + 66733333);  // One nanosecond before the fifth.
  };
  device.RunFrames(4);
  EXPECT_THAT(device.FrameTimes(),
              ElementsAre(kStart, kStart + 66733333, kStart + 100100000 + 33366667, kStart + 100100000 + 66733333));
  EXPECT_EQ(device.frames[1].output_count, 2u);
  EXPECT_EQ(device.frames[2].output_count, 2u);
}

TEST_F(GraphicsDeviceImplTest, ExactRateStartsTheGridAnew) {
  RecordingDevice device;
  bool rates_are_taken = true;
  device.on_frame = [&](std::size_t frame) {
    if (frame == 2) rates_are_taken &= device.clock().SetFrameRate(30, 1);  // The number stays, the grid does not.
    if (frame == 3) rates_are_taken &= device.clock().SetFrameRate(60, 2);  // The same rate.
  };
  device.RunFrames(6);
  EXPECT_TRUE(rates_are_taken);
  const std::uint64_t restart = kStart + 2 * 33333333;
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + 33333333, restart, restart + 33333333,
                                               restart + 66666667, restart + 100000000));
  EXPECT_EQ(device.frames[3].last_tick, restart);
}

// What a frame's callbacks are told is what its pictures carry.
TEST_F(GraphicsDeviceImplTest, StampOfTheFrameInHandIsTheOneThatIsOutput) {
  struct Stamps {
    GraphicsDeviceImpl* device;
    std::vector<std::uint64_t> of_tasks;
  };
  class StampDevice : public RecordingDevice {
   public:
    std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override {
      in_ticks.push_back(clock().stamp());
      return RecordingDevice::TickSource(frame_time, last_tick);
    }
    std::vector<std::uint64_t> in_ticks;
  };
  StampDevice device;
  Stamps stamps{&device, {}};
  device.on_frame = [&](std::size_t frame) {
    EXPECT_EQ(device.clock().stamp(), device.in_ticks.back());
    if (frame == 2) fake_clock::Advance(3 * 33333333);
    if (frame == 4) device.SetFps(50);
    device.QueueTask(
        [](void* param) {
          auto* const noted = static_cast<Stamps*>(param);
          noted->of_tasks.push_back(noted->device->clock().stamp());
        },
        &stamps);
  };
  for (int start = 0; start < 2; ++start) {
    device.in_ticks.clear();
    stamps.of_tasks.clear();
    device.RunFrames(6);
    ASSERT_EQ(device.in_ticks.size(), 6u);
    EXPECT_EQ(device.in_ticks[0], device.frames[0].frame_time - (start == 0 ? 33333333 : 20000000));
    for (std::size_t i = 1; i < 6; ++i) EXPECT_EQ(device.in_ticks[i], device.frames[i].output_time) << i;
    EXPECT_EQ(stamps.of_tasks, device.in_ticks);
    EXPECT_EQ(device.clock().stamp(), device.in_ticks.back()) << "the last frame's stays";
  }
}

TEST_F(GraphicsDeviceImplTest, CountsItsFramesAndThePeriodsThatItMissed) {
  RecordingDevice device;
  device.on_frame = [](std::size_t frame) { fake_clock::Advance(frame == 2 ? 4 * 33333333 : 1000); };
  device.RunFrames(3);
  device.RunFrames(2);
  const GsDeviceStats stats = ReadDeviceStats(&device);
  EXPECT_EQ(stats.frames, 5u);
  EXPECT_EQ(stats.missed, 6u);  // Both second frames.
  EXPECT_EQ(stats.views_ns, 8u * 33333333 + 3000);
  EXPECT_EQ(ReadDeviceStats(nullptr).frames, 0u);
  EXPECT_EQ(ClockOf(nullptr), nullptr);
}

// Where the time of frames goes. (Frames that the host drives itself have no loop: tests of the public class.)

TEST_F(GraphicsDeviceImplTest, RecordsWhatEachPartOfAFrameTook) {
  constexpr std::uint64_t kInterval = 25000000;
  // Takes its time in every stage, and tells scenes from outputs.
  class SlowDevice : public RecordingDevice {
   public:
    SlowDevice() { DeclareMeasured({FramePart::kScenes, FramePart::kOutputs}); }
    std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override {
      fake_clock::Advance(1000);
      return RecordingDevice::TickSource(frame_time, last_tick);
    }
    void HandleFilter() override { fake_clock::Advance(200); }
    void OutputFrame(unsigned long long timestamp, unsigned int count) override {
      RecordingDevice::OutputFrame(timestamp, count);
      {
        const FrameSpan span(FramePart::kScenes);
        fake_clock::Advance(30);
      }
      const FrameSpan span(FramePart::kOutputs);
      fake_clock::Advance(4);
    }
  };
  SlowDevice device;
  device.SetFps(40);
  device.QueueTask([](void*) { fake_clock::Advance(70000); }, nullptr);
  device.on_frame = [](std::size_t frame) { fake_clock::Advance(frame == 2 ? 2 * kInterval : 5); };
  device.RunFrames(3);
  std::vector<GsFrameTime> frames(5);
  frames.resize(ReadFrameTimes(&device, frames.data(), 5));
  ASSERT_EQ(frames.size(), 3u);
  const std::vector<unsigned long long> times = {frames[0].time_ns, frames[1].time_ns, frames[2].time_ns};
  EXPECT_EQ(times, device.FrameTimes());
  EXPECT_EQ(frames[0].periods, 1u);
  EXPECT_EQ(frames[1].periods, 2u);
  EXPECT_EQ(frames[2].periods, 1u);
  // The task ran after the first frame's sleep, in the time of the second.
  EXPECT_EQ(frames[0].tasks_ns, 0u);
  EXPECT_EQ(frames[1].tasks_ns, 70000u);
  EXPECT_EQ(frames[2].tasks_ns, 0u);
  for (const GsFrameTime& frame : frames) {
    EXPECT_EQ(frame.ticks_ns, 1000u);
    EXPECT_EQ(frame.filters_ns, 200u);
    EXPECT_EQ(frame.scenes_ns, 30u);
    EXPECT_EQ(frame.outputs_ns, 4u);
    EXPECT_EQ(frame.context_lock_wait_ns, kGsNotMeasured);
    EXPECT_EQ(frame.readback_wait_ns, kGsNotMeasured);
    EXPECT_EQ(frame.window_wait_ns, 0u);
  }
  EXPECT_EQ(frames[0].views_ns, 5u);
  EXPECT_EQ(frames[0].start_delay_ns, 0u);
  EXPECT_EQ(frames[0].sleep_ns, kInterval - 1239);
  EXPECT_EQ(frames[1].views_ns, 2 * kInterval);
  EXPECT_EQ(frames[1].start_delay_ns, 0u);
  EXPECT_EQ(frames[1].sleep_ns, 0u);
  // What the second ran over.
  EXPECT_EQ(frames[2].start_delay_ns, 71234u);
  EXPECT_EQ(frames[2].sleep_ns, kInterval - 71234 - 1239);
}

TEST_F(GraphicsDeviceImplTest, WhatAPlatformDoesNotTellApartIsNotMeasured) {
  RecordingDevice device;
  device.RunFrames(1);
  GsFrameTime frame;
  ASSERT_EQ(ReadFrameTimes(&device, &frame, 1), 1u);
  EXPECT_EQ(frame.scenes_ns, kGsNotMeasured);
  EXPECT_EQ(frame.outputs_ns, kGsNotMeasured);
  EXPECT_EQ(frame.ticks_ns, 0u);
  EXPECT_EQ(frame.filters_ns, 0u);
  EXPECT_EQ(frame.views_ns, 0u);
}

TEST_F(GraphicsDeviceImplTest, FrameTimesOutlastAStop) {
  RecordingDevice device;
  device.RunFrames(2);
  device.RunFrames(1);
  GsFrameTime frames[3];
  ASSERT_EQ(ReadFrameTimes(&device, frames, 3), 3u);
  EXPECT_EQ(frames[0].time_ns, kStart);
  EXPECT_EQ(frames[2].time_ns, device.frames[0].frame_time);
}

TEST_F(GraphicsDeviceImplTest, DeviceWithoutALoopHasNoFrameTimes) {
  GraphicsDeviceImpl device;
  GsFrameTime frame;
  device.InitThreadContext();
  device.TickSource(0, 0);
  device.DoTask();
  device.UninitThreadContext();
  EXPECT_EQ(ReadFrameTimes(&device, &frame, 1), 0u);
  EXPECT_EQ(ReadFrameTimes(nullptr, &frame, 1), 0u);
}

TEST_F(GraphicsDeviceImplTest, LateFramesAreToldOfAtDebugLevel) {
  RecordingDevice device;
  device.SetFps(40);
  device.on_frame = [](std::size_t frame) {
    if (frame == 2) fake_clock::Advance(62500000);
  };
  device.RunFrames(4);
  EXPECT_EQ(log_.Count(Logger::Level::Debug, "a frame took 2 periods of 25.0 ms: 62.5 ms went into views"), 1u);
}

// A change of rate.

TEST_F(GraphicsDeviceImplTest, RateChangeRestartsTheGridAtTheClock) {
  constexpr std::uint64_t kInterval = 25000000;
  RecordingDevice device;
  device.SetFps(40);
  device.on_frame = [&](std::size_t frame) {
    if (frame != 2) return;
    device.SetFps(60);
    fake_clock::Advance(kInterval * 5 / 2);
  };
  device.RunFrames(4);
  const std::uint64_t changed = kStart + kInterval + kInterval * 5 / 2;  // Off the old grid.
  EXPECT_THAT(device.FrameTimes(), ElementsAre(kStart, kStart + kInterval, changed, changed + 16666666));
  // The frame before the change is output as it was paced.
  EXPECT_EQ(device.frames[2].output_time, kStart + kInterval);
  EXPECT_EQ(device.frames[2].output_count, 2u);
  EXPECT_EQ(device.frames[3].output_time, changed);
  EXPECT_EQ(device.frames[3].output_count, 1u);
  // The tick time restarts as well.
  EXPECT_EQ(device.frames[2].last_tick, 0u);
  EXPECT_EQ(device.frames[3].last_tick, changed);
}

TEST_F(GraphicsDeviceImplTest, RateChangeRestartsTheReport) {
  RecordingDevice device;
  device.SetFps(10);
  device.on_frame = [&](std::size_t frame) {
    if (frame == 6) device.SetFps(20);
    if (frame != 25) return;
    EXPECT_THAT(Reports(), IsEmpty());
  };
  // Six frames of 0.1 s, which must not count, then twenty of 0.05 s.
  device.RunFrames(26);
  EXPECT_THAT(Reports(), ElementsAre("20.00 fps"));
}

TEST_F(GraphicsDeviceImplTest, StartAppliesTheRateAskedForMeanwhile) {
  RecordingDevice device;
  device.RunFrames(1);
  device.SetFps(40);
  const std::uint64_t again = fake_clock::Now();
  device.RunFrames(2);
  EXPECT_THAT(device.FrameTimes(), ElementsAre(again, again + 25000000));
}

// The report.

TEST_F(GraphicsDeviceImplTest, ReportsTheRateOnceASecondOfFrameTime) {
  RecordingDevice device;
  // 30 intervals of 33,333,333 ns fall 10 ns short of a second.
  device.RunFrames(30);
  EXPECT_THAT(Reports(), IsEmpty());
  device.RunFrames(1);
  EXPECT_THAT(Reports(), ElementsAre("30.00 fps"));
  device.RunFrames(30);
  EXPECT_THAT(Reports(), ElementsAre("30.00 fps"));
  device.RunFrames(1);
  EXPECT_THAT(Reports(), ElementsAre("30.00 fps", "30.00 fps"));
}

TEST_F(GraphicsDeviceImplTest, ReportsAtExactlyOneSecond) {
  RecordingDevice device;
  device.SetFps(4);
  device.RunFrames(3);
  EXPECT_THAT(Reports(), IsEmpty());
  device.RunFrames(1);
  EXPECT_THAT(Reports(), ElementsAre("4.00 fps"));
}

TEST_F(GraphicsDeviceImplTest, DroppedPeriodsLowerTheReport) {
  RecordingDevice device;
  device.SetFps(40);
  device.on_frame = [](std::size_t) { fake_clock::Advance(62500000); };
  // Two frames take five periods: 16 frames take the 40 of a second.
  device.RunFrames(16);
  EXPECT_THAT(Reports(), ElementsAre("16.00 fps"));
}

TEST_F(GraphicsDeviceImplTest, ReportHasTwoDecimals) {
  RecordingDevice device;
  device.SetFps(3);
  device.on_frame = [](std::size_t frame) {
    if (frame == 1) fake_clock::Advance(666666667);
  };
  // Two periods of 333,333,333 ns, then two of one: three frames in 1.333333332 s.
  device.RunFrames(3);
  EXPECT_THAT(Reports(), ElementsAre("2.25 fps"));
}

// Stages and the thread.

TEST_F(GraphicsDeviceImplTest, StagesThenTasksEveryFrame) {
  RecordingDevice device;
  device.on_frame = [&](std::size_t frame) {
    if (frame == 1) device.QueueTask([](void*) {}, nullptr);
  };
  device.RunFrames(2);
  EXPECT_THAT(device.journal, ElementsAre("init", "tick", "filter", "output", "draw", "task", "tick", "filter",
                                          "output", "draw", "uninit"));
}

TEST_F(GraphicsDeviceImplTest, FramesWithoutMemoryAreToldOfOnceAndTheFirstWholeOneIs) {
  RecordingDevice device;
  std::vector<std::string> told;  // In front of each frame's last stage.
  const auto lines = [&] {
    std::string text;
    for (const LogCapture::Line& line : log_.Lines()) {
      if (line.text.find("memory") != std::string::npos) text += line.text + "\n";
    }
    return text;
  };
  device.on_frame = [&](std::size_t frame) {
    told.push_back(lines());
    if (frame == 2 || frame == 3) throw std::bad_alloc();
  };
  device.RunFrames(5);
  const std::string failed = "A stage of a frame comes to nothing: no memory\n";
  const std::string whole = failed + "Frames have the memory that they need again\n";
  EXPECT_THAT(told, ElementsAre("", "", failed, failed, whole));
  EXPECT_TRUE(log_.Has(Logger::Level::Error, "A stage of a frame comes to nothing: no memory"));
  EXPECT_TRUE(log_.Has(Logger::Level::Info, "Frames have the memory that they need again"));
}

TEST_F(GraphicsDeviceImplTest, FirstFrameOutputsNothingAfterEveryStart) {
  RecordingDevice device;
  device.RunFrames(2);
  EXPECT_EQ(device.frames[0].output_time, 0u);
  EXPECT_EQ(device.frames[0].output_count, 0u);
  device.RunFrames(2);
  EXPECT_EQ(device.frames[0].output_time, 0u);
  EXPECT_EQ(device.frames[0].output_count, 0u);
  EXPECT_EQ(device.frames[1].output_count, 1u);
}

TEST_F(GraphicsDeviceImplTest, TickTimeSurvivesAStop) {
  RecordingDevice device;
  device.RunFrames(2);
  device.RunFrames(1);
  EXPECT_EQ(device.frames[0].last_tick, kStart + 33333333);
}

TEST_F(GraphicsDeviceImplTest, StartTwiceIsTrueThenFalse) {
  RecordingDevice device;
  EXPECT_TRUE(device.Start());
  EXPECT_FALSE(device.Start());
  device.Stop();
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStartingText), 1u);
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStoppedText), 1u);
}

TEST_F(GraphicsDeviceImplTest, StoppedDeviceStartsAgain) {
  RecordingDevice device;
  device.RunFrames(2);
  device.RunFrames(3);
  EXPECT_EQ(device.frames.size(), 3u);
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStartingText), 2u);
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStoppedText), 2u);
}

TEST_F(GraphicsDeviceImplTest, StopBeforeStartIsSilentAndForgotten) {
  RecordingDevice device;
  device.Stop();
  EXPECT_THAT(log_.Lines(), IsEmpty());
  device.RunFrames(3);
  EXPECT_EQ(device.frames.size(), 3u);
}

TEST_F(GraphicsDeviceImplTest, StopTwiceLogsOnce) {
  RecordingDevice device;
  ASSERT_TRUE(device.Start());
  device.Stop();
  device.Stop();
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStoppedText), 1u);
}

TEST_F(GraphicsDeviceImplTest, DestructorStopsTheThread) {
  {
    GraphicsDeviceImpl device;
    ASSERT_TRUE(device.Start());
    ASSERT_TRUE(fake_clock::WaitForSleeps(1));
  }
  EXPECT_EQ(log_.Lines().back(), (LogCapture::Line{Logger::Level::Info, kStoppedText}));
}

TEST_F(GraphicsDeviceImplTest, StopOnTheRenderThreadEndsTheLoopAndIsJoinedLater) {
  RecordingDevice device;
  Event stopped(false);
  device.on_frame = [&](std::size_t frame) {
    if (frame != 2) return;
    device.Stop();
    stopped.Signal();
  };
  ASSERT_TRUE(device.Start());
  stopped.Wait();
  EXPECT_TRUE(log_.Has(Logger::Level::Error, kStopInsideText));
  EXPECT_FALSE(log_.Has(Logger::Level::Info, kStoppedText));
  // It still counts as started.
  EXPECT_FALSE(device.Start());
  device.Stop();
  EXPECT_TRUE(log_.Has(Logger::Level::Info, kStoppedText));
  EXPECT_EQ(device.journal.back(), "uninit");
}

TEST_F(GraphicsDeviceImplTest, StopOnAnotherDevicesRenderThreadJoins) {
  RecordingDevice other;
  ASSERT_TRUE(other.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(1));
  RecordingDevice device;
  device.on_frame = [&](std::size_t) { other.Stop(); };
  device.RunFrames(1);
  EXPECT_TRUE(other.Start());
  other.Stop();
}

TEST_F(GraphicsDeviceImplTest, FailingThreadContextEndsTheThreadAtOnce) {
  RecordingDevice device;
  device.init_thread_context = false;
  EXPECT_TRUE(device.Start());
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, "InitThreadContext failed"));
  // Started until it is stopped.
  EXPECT_FALSE(device.Start());
  device.Stop();
  EXPECT_THAT(device.journal, ElementsAre("init"));
  EXPECT_EQ(log_.Count(Logger::Level::Info, kStoppedText), 1u);
  // The same object serves once its context comes.
  device.init_thread_context = true;
  device.RunFrames(2);
  EXPECT_EQ(device.frames.size(), 2u);
}

TEST_F(GraphicsDeviceImplTest, StartAnswersFalseWhenNoThreadCanBeCreated) {
  pthread_attr_t usual;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  pthread_attr_t hopeless;
  ASSERT_EQ(pthread_getattr_default_np(&hopeless), 0);
  // No address space holds this stack.
  ASSERT_EQ(pthread_attr_setstacksize(&hopeless, std::size_t{1} << 47), 0);
  ASSERT_EQ(pthread_setattr_default_np(&hopeless), 0);
  RecordingDevice device;
  const bool started = device.Start();
  ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
  pthread_attr_destroy(&hopeless);
  pthread_attr_destroy(&usual);

  EXPECT_FALSE(started);
  EXPECT_TRUE(log_.Has(Logger::Level::Error, "the graphics render thread could not be created"));
  // It is not started, and says nothing of stopping.
  device.Stop();
  EXPECT_FALSE(log_.Has(Logger::Level::Info, kStoppedText));
  device.RunFrames(1);
  EXPECT_EQ(device.frames.size(), 1u);
}

TEST_F(GraphicsDeviceImplTest, RenderThreadFlagIsPerThreadWhicheverDeviceAsks) {
  RecordingDevice device;
  GraphicsDeviceImpl other;
  bool own = false;
  bool asked_of_other = false;
  device.on_frame = [&](std::size_t) {
    own = device.IsInternalRenderThread();
    asked_of_other = other.IsInternalRenderThread();
  };
  EXPECT_FALSE(device.IsInternalRenderThread());
  device.RunFrames(1);
  EXPECT_TRUE(own);
  EXPECT_TRUE(asked_of_other);
  EXPECT_FALSE(device.IsInternalRenderThread());
}

TEST_F(GraphicsDeviceImplTest, ThreadContextSetsAndClearsTheFlag) {
  GraphicsDeviceImpl device;
  EXPECT_TRUE(device.InitThreadContext());
  EXPECT_TRUE(device.IsInternalRenderThread());
  bool elsewhere = true;
  std::thread([&] { elsewhere = device.IsInternalRenderThread(); }).join();
  EXPECT_FALSE(elsewhere);
  device.UninitThreadContext();
  EXPECT_FALSE(device.IsInternalRenderThread());
}

// Tasks.

TEST_F(GraphicsDeviceImplTest, TaskQueuedBeforeStartRunsOnTheFirstFrame) {
  RecordingDevice device;
  std::vector<std::size_t> ran_after;
  TaskLog task_log{&device, &ran_after, &device.frames};
  device.QueueTask(NoteFrame, &task_log);
  EXPECT_THAT(ran_after, IsEmpty());
  device.RunFrames(3);
  EXPECT_THAT(ran_after, ElementsAre(1u));
}

TEST_F(GraphicsDeviceImplTest, TaskQueuedByATaskRunsOneFrameLater) {
  RecordingDevice device;
  std::vector<std::size_t> ran_after;
  TaskLog task_log{&device, &ran_after, &device.frames};
  device.QueueTask(NoteFrameAndQueueAnother, &task_log);
  device.RunFrames(3);
  EXPECT_THAT(ran_after, ElementsAre(1u, 2u));
}

TEST_F(GraphicsDeviceImplTest, LeavingTheLoopDrainsOnceMore) {
  RecordingDevice device;
  std::vector<std::size_t> ran_after;
  TaskLog task_log{&device, &ran_after, &device.frames};
  device.on_frame = [&](std::size_t frame) {
    if (frame == 2) device.QueueTask(NoteFrameAndQueueAnother, &task_log);
  };
  device.RunFrames(2);
  EXPECT_THAT(ran_after, ElementsAre(2u));
  // What the last drain queued survives the stop.
  device.RunFrames(1);
  EXPECT_THAT(ran_after, ElementsAre(2u, 1u));
}

TEST_F(GraphicsDeviceImplTest, TasksQueuedWhileStoppedRunAfterTheNextStart) {
  RecordingDevice device;
  device.RunFrames(1);
  std::vector<std::size_t> ran_after;
  TaskLog task_log{&device, &ran_after, &device.frames};
  device.QueueTask(NoteFrame, &task_log);
  EXPECT_THAT(ran_after, IsEmpty());
  device.RunFrames(2);
  EXPECT_THAT(ran_after, ElementsAre(1u));
}

TEST_F(GraphicsDeviceImplTest, TasksRunInTheOrderOfTheirQueueing) {
  GraphicsDeviceImpl device;
  std::vector<int> order;
  struct Entry {
    std::vector<int>* order;
    int number;
  };
  std::vector<Entry> entries;
  for (int i = 0; i < 5; ++i) entries.push_back({&order, i});
  for (Entry& entry : entries) {
    device.QueueTask(
        [](void* param) {
          auto* e = static_cast<Entry*>(param);
          e->order->push_back(e->number);
        },
        &entry);
  }
  device.DoTask();
  EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
  device.DoTask();
  EXPECT_EQ(order.size(), 5u);
}

TEST_F(GraphicsDeviceImplTest, TaskMayQueueWithoutBeingHeldUpByTheQueuesLock) {
  GraphicsDeviceImpl device;
  device.QueueTask(
      [](void* param) {
        // From another thread: a lock held during the task would hang here.
        std::thread([param] { static_cast<GraphicsDeviceImpl*>(param)->QueueTask([](void*) {}, nullptr); }).join();
      },
      &device);
  device.DoTask();
}

TEST_F(GraphicsDeviceImplTest, TasksComeFromAnyThread) {
  RecordingDevice device;
  ASSERT_TRUE(device.Start());
  int count = 0;  // Touched on the render thread alone.
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) device.QueueTask([](void* param) { ++*static_cast<int*>(param); }, &count);
    });
  }
  for (std::thread& thread : threads) thread.join();
  device.Stop();
  EXPECT_EQ(count, 200);
}

TEST_F(GraphicsDeviceImplTest, DestructionDropsTasksUnrun) {
  bool ran = false;
  {
    GraphicsDeviceImpl device;
    device.QueueTask([](void* param) { *static_cast<bool*>(param) = true; }, &ran);
  }
  EXPECT_FALSE(ran);
}

TEST_F(GraphicsDeviceImplTest, TaskWithoutAFunctionIsIgnored) {
  GraphicsDeviceImpl device;
  device.QueueTask(nullptr, nullptr);
  device.DoTask();
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, "a task without a function is ignored"}));
}

// What a platform adds.

// What others ask of a device that they know by its interface only.
TEST_F(GraphicsDeviceImplTest, TellsItsOwnRenderThreadFromOthers) {
  RecordingDevice device;
  GraphicsDeviceImpl other;
  EXPECT_FALSE(IsOnRenderThreadOf(&device));
  int asked = 0;
  device.on_frame = [&](std::size_t) {
    ++asked;
    EXPECT_TRUE(IsOnRenderThreadOf(&device));
    EXPECT_FALSE(IsOnRenderThreadOf(&other));
  };
  device.RunFrames(1);
  EXPECT_EQ(asked, 1);
  EXPECT_FALSE(IsOnRenderThreadOf(&device));
  EXPECT_FALSE(IsOnRenderThreadOf(nullptr));
}

TEST_F(GraphicsDeviceImplTest, TellsADeviceOfAnotherProcess) {
  const GraphicsDeviceImpl device;
  EXPECT_FALSE(IsOfAnotherProcess(&device));
  EXPECT_FALSE(IsOfAnotherProcess(nullptr));
  const int answers = test::RunInFork([&device] {
    const GraphicsDeviceImpl own;
    return (IsOfAnotherProcess(&device) ? 1 : 0) + (IsOfAnotherProcess(&own) ? 2 : 0);
  });
  EXPECT_EQ(answers, 1);
}

class GraphicsDeviceImplDefaultsTest : public GraphicsDeviceImplTest {
 protected:
  // Expects one warning, then forgets it.
  void ExpectWarning(const std::string& text) {
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, text}));
    log_.Clear();
  }

  GraphicsDeviceImpl device_;
};

TEST_F(GraphicsDeviceImplDefaultsTest, FactoriesWarnAndAnswerNull) {
  EXPECT_FALSE(device_.AddShader("name", "vs", "fs"));
  ExpectWarning("AddShader is unimplemented");
  EXPECT_EQ(device_.CreateView(InternalWindowInfo{nullptr}, 1, 1), nullptr);
  ExpectWarning("CreateView is unimplemented");
  EXPECT_EQ(device_.CreateScene(1, 1), nullptr);
  ExpectWarning("CreateScene is unimplemented");
  EXPECT_EQ(device_.CreateTexture(GraphicsFrame()), nullptr);
  ExpectWarning("CreateTexture(frame) is unimplemented");
  EXPECT_EQ(device_.CreateTexture(static_cast<GraphicsFormatInternal>(1), 1, 1), nullptr);
  ExpectWarning("CreateTexture(format, width, height) is unimplemented");
  EXPECT_EQ(device_.CreateTexture(static_cast<void*>(nullptr)), nullptr);
  ExpectWarning("CreateTexture(void *iosurface) is unimplemented");
  EXPECT_EQ(device_.CreateTextureExternal(), nullptr);
  ExpectWarning("CreateTextureExternal is unimplemented");
  EXPECT_EQ(device_.CreateConstantBuffer(16, nullptr), nullptr);
  ExpectWarning("CreateConstantBuffer is unimplemented");
  EXPECT_EQ(device_.CreateDuplicator("name"), nullptr);
  ExpectWarning("CreateDuplicator is unimplemented");
  EXPECT_EQ(device_.CreateOutput(nullptr, 1, 1), nullptr);
  ExpectWarning("CreateOutput is unimplemented");
  EXPECT_EQ(device_.CreateFilter(1, 1), nullptr);
  ExpectWarning("CreateFilter is unimplemented");
  EXPECT_EQ(device_.gs_context(), nullptr);
  ExpectWarning("GraphicsDevice::gs_context is unimplemented");
}

TEST_F(GraphicsDeviceImplDefaultsTest, ThreadContextHooksWarn) {
  device_.EnterThreadContext();
  ExpectWarning("GraphicsDevice::EnterThreadContext is unimplemented");
  device_.LeaveThreadContext();
  ExpectWarning("GraphicsDevice::LeaveThreadContext is unimplemented");
}

TEST_F(GraphicsDeviceImplDefaultsTest, StagesWarn) {
  EXPECT_EQ(device_.TickSource(123, 45), 123u);
  EXPECT_THAT(log_.Lines(), IsEmpty());
  device_.HandleFilter();
  ExpectWarning("HandleFilter is unimplemented");
  device_.OutputFrame(0, 0);
  ExpectWarning("OutputFrame is unimplemented");
  device_.DrawDisplay();
  ExpectWarning("DrawDisplay is unimplemented");
}

TEST_F(GraphicsDeviceImplDefaultsTest, TheRestIsSilent) {
  EXPECT_FALSE(device_.Init());
  EXPECT_EQ(device_.native_obj(), nullptr);
  device_.ClearFrameList();
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

}  // namespace
