#include "graphics/frame_times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/fake_os_time.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned int kCapacity = FrameTimes::kCapacity;
constexpr std::uint64_t kStart = fake_clock::kStartNs;

class FrameTimesTest : public ::testing::Test {
 protected:
  FrameTimesTest() { fake_clock::Reset(); }
  ~FrameTimesTest() override { fake_clock::Reset(); }

  // Puts a frame of that number into the ring: each of its values tells which it is.
  void EndFrame(std::uint64_t number) {
    times_.Begin(number);
    for (int part = 0; part < kFramePartCount; ++part) times_.Add(static_cast<FramePart>(part), number);
    times_.End(static_cast<std::uint32_t>(number));
  }

  std::vector<GsFrameTime> Read(unsigned int capacity = kCapacity) const {
    std::vector<GsFrameTime> frames(capacity);
    frames.resize(times_.Read(frames.data(), capacity));
    return frames;
  }
  std::vector<unsigned long long> ReadTimes(unsigned int capacity = kCapacity) const {
    std::vector<unsigned long long> read;
    for (const GsFrameTime& frame : Read(capacity)) read.push_back(frame.time_ns);
    return read;
  }

  FrameTimes times_;
};

using FrameSpanTest = FrameTimesTest;

TEST_F(FrameTimesTest, HasNoFramesAtFirst) {
  EXPECT_THAT(Read(), IsEmpty());
  times_.Begin(1);
  EXPECT_THAT(Read(), IsEmpty());  // It has not ended yet.
}

TEST_F(FrameTimesTest, AnswersTheFramesThatHaveEndedTheNewestLast) {
  for (std::uint64_t frame = 1; frame <= 3; ++frame) EndFrame(frame);
  EXPECT_THAT(ReadTimes(), ElementsAre(1, 2, 3));
}

TEST_F(FrameTimesTest, AnswersTheNewestWhereNotAllFit) {
  for (std::uint64_t frame = 1; frame <= 5; ++frame) EndFrame(frame);
  EXPECT_THAT(ReadTimes(2), ElementsAre(4, 5));
  EXPECT_THAT(ReadTimes(1), ElementsAre(5));
}

TEST_F(FrameTimesTest, KeepsTheLast128) {
  for (std::uint64_t frame = 1; frame <= 2 * kCapacity + 5; ++frame) {
    EndFrame(frame);
    const std::vector<unsigned long long> read = ReadTimes(2 * kCapacity);
    ASSERT_EQ(read.size(), frame < kCapacity ? frame : kCapacity);
    for (std::size_t i = 0; i < read.size(); ++i) ASSERT_EQ(read[i], frame - read.size() + 1 + i);
  }
}

TEST_F(FrameTimesTest, AnswersNoneWhereThereIsNoRoom) {
  EndFrame(1);
  GsFrameTime time = {};
  EXPECT_EQ(times_.Read(nullptr, 5), 0u);
  EXPECT_EQ(times_.Read(&time, 0), 0u);
  EXPECT_EQ(times_.Read(nullptr, 0), 0u);
  EXPECT_EQ(time.time_ns, 0u);
}

TEST_F(FrameTimesTest, WritesNoFurtherThanItAnswers) {
  EndFrame(1);
  std::array<GsFrameTime, 2> times = {};
  EXPECT_EQ(times_.Read(times.data(), 2), 1u);
  EXPECT_EQ(times[1].time_ns, 0u);
}

TEST_F(FrameTimesTest, EveryPartHasAFieldOfItsOwn) {
  times_.Begin(kStart);
  for (int part = 0; part < kFramePartCount; ++part) {
    times_.Add(static_cast<FramePart>(part), static_cast<unsigned>(part) + 1);
  }
  const GsFrameTime& ended = times_.End(3);
  EXPECT_EQ(ended.outputs_ns, 6u);
  ASSERT_EQ(Read().size(), 1u);
  const GsFrameTime frame = Read()[0];
  EXPECT_EQ(frame.time_ns, kStart);
  EXPECT_EQ(frame.periods, 3u);
  EXPECT_EQ(frame.start_delay_ns, 1u);
  EXPECT_EQ(frame.tasks_ns, 2u);
  EXPECT_EQ(frame.ticks_ns, 3u);
  EXPECT_EQ(frame.filters_ns, 4u);
  EXPECT_EQ(frame.scenes_ns, 5u);
  EXPECT_EQ(frame.outputs_ns, 6u);
  EXPECT_EQ(frame.views_ns, 7u);
  EXPECT_EQ(frame.sleep_ns, 8u);
  EXPECT_EQ(frame.context_lock_wait_ns, 9u);
  EXPECT_EQ(frame.readback_wait_ns, 10u);
  EXPECT_EQ(frame.window_wait_ns, 0u) << "no frame waits for the window system";
}

TEST_F(FrameTimesTest, TotalsCountEveryFrameAndPart) {
  const GsDeviceStats none = times_.Totals();
  EXPECT_EQ(none.frames, 0u);
  EXPECT_EQ(none.ticks_ns, 0u);
  for (const std::uint64_t frame : {1, 4}) {
    times_.Begin(kStart);
    for (int part = 0; part < kFramePartCount; ++part) {
      times_.Add(static_cast<FramePart>(part), frame * (static_cast<unsigned>(part) + 1));
    }
    times_.End(static_cast<std::uint32_t>(frame));
  }
  times_.CountFrame(1);  // A host's.
  const GsDeviceStats stats = times_.Totals();
  EXPECT_EQ(stats.frames, 3u);
  EXPECT_EQ(stats.missed, 3u);
  EXPECT_EQ(stats.tasks_ns, 10u);
  EXPECT_EQ(stats.ticks_ns, 15u);
  EXPECT_EQ(stats.filters_ns, 20u);
  EXPECT_EQ(stats.scenes_ns, 25u);
  EXPECT_EQ(stats.outputs_ns, 30u);
  EXPECT_EQ(stats.views_ns, 35u);
  EXPECT_EQ(stats.sleep_ns, 40u);
  EXPECT_EQ(stats.context_lock_wait_ns, 45u);
  EXPECT_EQ(stats.readback_wait_ns, 50u);
  times_.CountFrame(0);
  EXPECT_EQ(times_.Totals().missed, 3u) << "a frame that nobody received misses none";
}

TEST_F(FrameTimesTest, MeasuredFramesNest) {
  FrameTimes inner;
  const MeasuredFrames measured(&times_);
  {
    const MeasuredFrames nested(&inner);
    const FrameSpan span(FramePart::kTicks);
    fake_clock::Advance(3);
  }
  {
    const FrameSpan span(FramePart::kTicks);
    fake_clock::Advance(20);
  }
  EXPECT_EQ(inner.Totals().ticks_ns, 3u);
  EXPECT_EQ(times_.Totals().ticks_ns, 20u);
}

TEST_F(FrameTimesTest, TellsWhatIsNotMeasuredFromWhatTookNoTime) {
  times_.Declare({FramePart::kTicks});
  times_.Begin(kStart);
  times_.End(1);
  times_.Begin(kStart);
  times_.Add(FramePart::kScenes, 5);  // Counts, although it was not declared.
  times_.Add(FramePart::kScenes, 2);
  times_.End(1);
  times_.Begin(kStart);
  times_.End(1);
  const std::vector<GsFrameTime> frames = Read();
  ASSERT_EQ(frames.size(), 3u);
  for (const GsFrameTime& frame : frames) {
    EXPECT_EQ(frame.ticks_ns, 0u);
    EXPECT_EQ(frame.outputs_ns, kGsNotMeasured);
    EXPECT_EQ(frame.readback_wait_ns, kGsNotMeasured);
  }
  EXPECT_EQ(frames[0].scenes_ns, kGsNotMeasured);
  EXPECT_EQ(frames[1].scenes_ns, 7u);
  EXPECT_EQ(frames[2].scenes_ns, kGsNotMeasured);
}

TEST_F(FrameTimesTest, FrameThatBeginsLateHasADelay) {
  fake_clock::Advance(250);
  times_.Begin(kStart);
  EXPECT_EQ(times_.End(1).start_delay_ns, 250u);
  times_.Begin(kStart + 300);  // Ahead of the clock.
  EXPECT_EQ(times_.End(1).start_delay_ns, 0u);
}

TEST_F(FrameTimesTest, FrameThatHasNotEndedGivesWayToTheNext) {
  times_.Begin(1);
  times_.Add(FramePart::kTicks, 5);
  times_.Begin(2);
  times_.End(1);
  EXPECT_THAT(ReadTimes(), ElementsAre(2));
  EXPECT_EQ(Read()[0].ticks_ns, kGsNotMeasured);
}

TEST_F(FrameTimesTest, ReadersBesideTheWriterFindWholeFramesInOrder) {
  constexpr std::uint64_t kFrames = 200000;
  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::atomic<int> gaps{0};
  std::atomic<int> readers{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      std::array<GsFrameTime, kCapacity> frames;
      bool counted = false;
      while (!done) {
        const unsigned int count = times_.Read(frames.data(), kCapacity);
        for (unsigned int n = 0; n < count; ++n) {
          const GsFrameTime& frame = frames[n];
          if (n > 0 && frame.time_ns != frames[n - 1].time_ns + 1) ++gaps;
          if (frame.periods != frame.time_ns) ++torn;
          for (int part = static_cast<int>(FramePart::kTasks); part < kFramePartCount; ++part) {
            if (TimeOf(static_cast<FramePart>(part), frame) != frame.time_ns) ++torn;
          }
        }
        if (count > 0 && !counted) {
          counted = true;
          ++readers;
        }
      }
    });
  }
  // Readers that had no time yet get it: the writer goes on until each has read something.
  std::uint64_t frame = 0;
  while (++frame <= kFrames || readers < 2) EndFrame(frame);
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(gaps, 0);
}

TEST_F(FrameSpanTest, AddsTheTimeThatItLivesToTheFrameOfItsThread) {
  times_.Begin(kStart);
  {
    const MeasuredFrames measured(&times_);
    const FrameSpan ticks(FramePart::kTicks);
    fake_clock::Advance(10);
    for (const std::uint64_t wait : {3, 4}) {
      const FrameSpan span(FramePart::kContextLockWait);
      fake_clock::Advance(wait);
    }
  }
  const GsFrameTime& frame = times_.End(1);
  EXPECT_EQ(frame.ticks_ns, 17u);
  EXPECT_EQ(frame.context_lock_wait_ns, 7u);
}

TEST_F(FrameSpanTest, AddsNothingWhereNoFrameRuns) {
  times_.Begin(kStart);
  {
    const MeasuredFrames measured(&times_);
    std::thread([] {
      const FrameSpan span(FramePart::kTicks);
      fake_clock::Advance(10);
    }).join();
  }
  {
    const FrameSpan span(FramePart::kTicks);
    fake_clock::Advance(10);
  }
  EXPECT_EQ(times_.End(1).ticks_ns, kGsNotMeasured);
}

TEST_F(FrameSpanTest, IsNoTimeWhereTheClockStandsStill) {
  times_.Begin(kStart);
  {
    const MeasuredFrames measured(&times_);
    const FrameSpan span(FramePart::kTicks);
  }
  EXPECT_EQ(times_.End(1).ticks_ns, 0u);
}

}  // namespace
