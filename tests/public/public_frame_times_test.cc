// Where the time of frames goes, as a host is told.
#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr std::uint64_t kInterval100 = 10000000;  // Of 100 frames per second, in nanoseconds.

// Keeps the processor busy. What is measured is time, so it has to pass.
void TakeTime(std::uint64_t ns) {
  const std::uint64_t end = qn_os_gettime_ns() + ns;
  while (qn_os_gettime_ns() < end) continue;
}

std::vector<GsFrameTime> ReadAll(const GsDevice& device) {
  std::vector<GsFrameTime> frames(128);
  frames.resize(device.ReadFrameTimes(frames.data(), 128));
  return frames;
}

// Waits until a frame has ended that is as it should be, and returns it.
template <class Predicate>
::testing::AssertionResult ComesToPass(GsDevice* device, Predicate predicate) {
  const std::uint64_t end = qn_os_gettime_ns() + std::uint64_t{host::kPatienceMs} * 1000000;
  while (qn_os_gettime_ns() < end) {
    for (const GsFrameTime& frame : ReadAll(*device)) {
      if (predicate(frame)) return ::testing::AssertionSuccess();
    }
    if (!host::PassFrames(device, 1)) break;
  }
  return ::testing::AssertionFailure() << "no such frame came";
}

class FrameTimesTest : public host::ThreadedTest {};

TEST_F(FrameTimesTest, FramesLieOnTheGridTheNewestLast) {
  ASSERT_TRUE(host::PassFrames(device, 20));
  const std::vector<GsFrameTime> frames = ReadAll(*device);
  ASSERT_GE(frames.size(), 20u);
  for (std::size_t i = frames.size() - 10; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].time_ns, frames[i - 1].time_ns + frames[i - 1].periods * kInterval100);
    EXPECT_GE(frames[i].periods, 1u);
  }
  EXPECT_LE(frames.back().time_ns, qn_os_gettime_ns());
}

// What is missing of it is the loop's own work, which a busy machine may draw out: of most frames it is little.
TEST_F(FrameTimesTest, PartsComeToTheTimeUntilTheNextFrame) {
  ASSERT_TRUE(host::PassFrames(device, 20));
  const std::vector<GsFrameTime> frames = ReadAll(*device);
  ASSERT_GE(frames.size(), 11u);
  int nearly_whole = 0;
  for (std::size_t i = frames.size() - 10; i < frames.size(); ++i) {
    const GsFrameTime& frame = frames[i - 1];
    const unsigned long long parts = frame.start_delay_ns + frame.tasks_ns + frame.ticks_ns + frame.filters_ns +
                                     frame.scenes_ns + frame.outputs_ns + frame.views_ns + frame.sleep_ns;
    const unsigned long long time = frames[i].time_ns + frames[i].start_delay_ns - frame.time_ns;
    EXPECT_LE(parts, time);
    if (parts >= time - kInterval100 / 10) ++nearly_whole;
  }
  EXPECT_GE(nearly_whole, 1);
}

TEST_F(FrameTimesTest, EverythingOfADeviceWithALoopIsMeasured) {
  ASSERT_TRUE(host::PassFrames(device, 1));
  for (const GsFrameTime& frame : ReadAll(*device)) {
    for (const unsigned long long time :
         {frame.start_delay_ns, frame.tasks_ns, frame.ticks_ns, frame.filters_ns, frame.scenes_ns, frame.outputs_ns,
          frame.views_ns, frame.sleep_ns, frame.context_lock_wait_ns, frame.readback_wait_ns, frame.window_wait_ns}) {
      EXPECT_NE(time, kGsNotMeasured);
    }
  }
}

TEST_F(FrameTimesTest, StagesHaveTheTimeThatTheHostTakesInThem) {
  const auto scene = MakeScene(8, 8, device);
  const auto item = MakeItem(gs_vec2(8, 8), device);
  item->on_tick = [] { TakeTime(1000000); };
  item->on_draw = [] { TakeTime(2000000); };
  scene->AddItem(item);
  host::TextureReceiver texture(scene, 8, 8, device);
  texture.on_texture = [](GsTexture*, int) { TakeTime(3000000); };
  ASSERT_TRUE(texture.Start());
  EXPECT_TRUE(ComesToPass(device, [](const GsFrameTime& frame) {
    return frame.ticks_ns >= 1000000 && frame.scenes_ns >= 2000000 && frame.outputs_ns >= 3000000;
  }));
  texture.Stop();
  device->QueueTask([](void*) { TakeTime(4000000); }, nullptr);
  EXPECT_TRUE(ComesToPass(device, [](const GsFrameTime& frame) { return frame.tasks_ns >= 4000000; }));
}

TEST_F(FrameTimesTest, ReadbackIsWaitedForInTheOutputs) {
  const auto scene = MakeScene(640, 480, device);
  host::Receiver receiver(scene, 640, 480, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  EXPECT_TRUE(ComesToPass(device, [](const GsFrameTime& frame) {
    return frame.readback_wait_ns > 0 && frame.readback_wait_ns <= frame.outputs_ns;
  }));
  receiver.Stop();
}

TEST_F(FrameTimesTest, LateFrameIsToldOfAndSoIsItsReason) {
  device->QueueTask([](void*) { TakeTime(5 * kInterval100); }, nullptr);
  EXPECT_TRUE(ComesToPass(
      device, [](const GsFrameTime& frame) { return frame.periods >= 5 && frame.tasks_ns >= 5 * kInterval100; }));
  EXPECT_GE(host::log::CountContaining(kQnLogDebug, "a frame took "), 1);  // One a second: perhaps another's.
}

TEST_F(FrameTimesTest, AnyThreadReadsWithinTheRoomThatItHas) {
  ASSERT_TRUE(host::PassFrames(device, 3));
  std::thread([this] {
    std::array<GsFrameTime, 3> frames = {};
    EXPECT_EQ(device->ReadFrameTimes(frames.data(), 2), 2u);
    EXPECT_LT(frames[0].time_ns, frames[1].time_ns);
    EXPECT_EQ(frames[2].time_ns, 0u);
  }).join();
  GsFrameTime frame = {};
  EXPECT_EQ(device->ReadFrameTimes(&frame, 0), 0u);
  EXPECT_EQ(device->ReadFrameTimes(nullptr, 3), 0u);
  EXPECT_EQ(frame.time_ns, 0u);
}

class DrivenFrameTimesTest : public host::DrivenTest {};

TEST_F(DrivenFrameTimesTest, FramesThatTheHostDrivesAreNone) {
  Frame(1);
  Frame(2);
  GsFrameTime frame;
  EXPECT_EQ(device.ReadFrameTimes(&frame, 1), 0u);
}

TEST(GsDeviceFrameTimesTest, DeviceWithoutAnEngineHasNone) {
  const GsDevice device;
  GsFrameTime frame;
  EXPECT_EQ(device.ReadFrameTimes(&frame, 1), 0u);
  EXPECT_EQ(device.ReadFrameTimes(nullptr, 0), 0u);
}

}  // namespace
