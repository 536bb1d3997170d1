// What time frames have, at which rate they come, and how a host keeps pace with them.
#include <array>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeColor;
using host::MakeItem;
using host::MakeScene;

constexpr std::uint64_t kInterval100 = 10000000;  // Of 100 frames per second, in nanoseconds.
constexpr unsigned int kForeverMs = std::numeric_limits<unsigned int>::max();

class Filter : public GsFilter {
 public:
  using GsFilter::GsFilter;
  void Draw() override { on_draw(); }
  std::function<void()> on_draw;
};

// Notes the device's frame_time() wherever a frame calls the host, under the name of the callback.
class TimeNotes {
 public:
  explicit TimeNotes(GsDevice* device)
      : device_(device),
        scene_(MakeScene(8, 8, device)),
        item_(MakeItem(gs_vec2(8, 8), device)),
        filter_(8, 8, device),
        texture_(scene_, 8, 8, device) {
    item_->on_tick = [this] { Note("tick"); };
    item_->on_draw = [this] { Note("draw"); };
    filter_.on_draw = [this] { Note("filter"); };
    texture_.on_texture = [this](GsTexture*, int) { Note("texture"); };
    scene_->AddItem(item_);
    filter_.Attach();
    EXPECT_TRUE(texture_.Start());
  }
  ~TimeNotes() {
    texture_.Stop();
    filter_.Detach();
    scene_->RemoveItem(item_);
  }

  void QueueTask() {
    device_->QueueTask([](void* self) { static_cast<TimeNotes*>(self)->Note("task"); }, this);
  }
  using Notes = std::vector<std::pair<std::string, std::uint64_t>>;
  Notes Take() { return std::exchange(notes_, {}); }
  const host::TextureReceiver& texture() const { return texture_; }

 private:
  void Note(const char* where) { notes_.emplace_back(where, device_->frame_time()); }

  GsDevice* const device_;
  Notes notes_;
  scoped_refptr<host::Scene> scene_;
  scoped_refptr<host::Item> item_;
  Filter filter_;
  host::TextureReceiver texture_;
};

class DrivenTimeTest : public host::DrivenTest {};

TEST_F(DrivenTimeTest, RunFrameHasItsTimeInEveryStage) {
  TimeNotes notes(&device);
  for (const std::uint64_t time : {5000u, 100u, 777777u}) {
    notes.QueueTask();
    device.RunFrame(time);
    EXPECT_EQ(notes.Take(),
              (TimeNotes::Notes{{"tick", time}, {"filter", time}, {"draw", time}, {"texture", time}, {"task", time}}));
    EXPECT_EQ(device.frame_time(), time);
  }
}

TEST_F(DrivenTimeTest, SingleStagesExpectTheNextTime) {
  device.SetFps(100);
  TimeNotes notes(&device);
  EXPECT_EQ(device.frame_time(), 0u);
  Frame(5000, 3);
  EXPECT_EQ(notes.Take(), (TimeNotes::Notes{{"tick", 0}, {"filter", 0}, {"draw", 5000}, {"texture", 5000}}));
  EXPECT_EQ(device.frame_time(), 5000u);
  Frame(6000);
  const std::uint64_t expected = 5000 + 3 * kInterval100;
  EXPECT_EQ(notes.Take(),
            (TimeNotes::Notes{{"tick", expected}, {"filter", expected}, {"draw", 6000}, {"texture", 6000}}));
}

TEST_F(DrivenTimeTest, RepeatsOfAnExactRateLieOnItsPoints) {
  ASSERT_TRUE(device.SetFrameRate(30000, 1001));
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  std::vector<bool> repeating;
  receiver.on_frame = [&](int) { repeating.push_back(receiver.repeating()); };
  ASSERT_TRUE(receiver.Start());
  device.RunFrame(33366667, 3);  // The first point, and two that follow.
  device.RunFrame(4 * 33366667 - 1, 2);
  ASSERT_TRUE(receiver.Flush(host::kPatienceMs));
  EXPECT_EQ(receiver.timestamps(), (std::vector<std::uint64_t>{33366667, 66733333, 100100000, 133466667, 166833333}));
  EXPECT_EQ(repeating, (std::vector<bool>{false, true, true, false, true}));
  EXPECT_FALSE(receiver.repeating());
  receiver.Stop();
}

TEST_F(DrivenTimeTest, TextureOutputCountsItsPictures) {
  TimeNotes notes(&device);
  for (unsigned int n = 1; n <= 3; ++n) device.RunFrame(n, n);
  const GsOutputStats stats = notes.texture().stats();
  EXPECT_EQ(stats.delivered, 3u);
  EXPECT_EQ(stats.repeated, 0u);
  EXPECT_EQ(stats.dropped, 0u);
}

TEST_F(DrivenTimeTest, FramesOfTheHostCountAndAreMeasured) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  const auto pass = [] {
    for (const std::uint64_t end = qn_os_gettime_ns() + 1000000; qn_os_gettime_ns() < end;) continue;
  };
  item->on_tick = item->on_draw = pass;
  scene->AddItem(item);
  host::TextureReceiver texture(scene, 8, 8, &device);
  texture.on_texture = [&](GsTexture*, int) { pass(); };
  ASSERT_TRUE(texture.Start());
  device.RunFrame(1, 4);
  Frame(2);
  device.DoTask();
  const GsDeviceStats stats = device.stats();
  texture.Stop();
  EXPECT_EQ(stats.frames, 2u);
  EXPECT_EQ(stats.missed, 3u);
  EXPECT_GE(stats.ticks_ns, 2000000u);
  EXPECT_GE(stats.scenes_ns, 2000000u);
  EXPECT_GE(stats.outputs_ns, 2000000u);
  EXPECT_EQ(stats.sleep_ns, 0u);
}

// The loop that the header shows: a receiver that is slower than the frames loses none of them.
TEST_F(DrivenTimeTest, SlowReceiverGetsEveryPictureOfAHostThatWaitsForRoom) {
  constexpr unsigned int kFrames = 300;
  const auto scene = MakeScene(2, 2, &device);
  const auto item = MakeItem(gs_vec2(2, 2), &device);
  const std::unique_ptr<GsTexture> color = MakeColor(0, 0, 0, 255, &device);
  item->texture = color.get();
  scene->AddItem(item);
  host::Receiver receiver(scene, 2, 2, kGsFormatRGBA, &device);
  receiver.on_frame = [](int) { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
  ASSERT_TRUE(receiver.Start());
  for (unsigned int n = 0; n < kFrames; ++n) {
    ASSERT_TRUE(receiver.WaitForRoom(host::kPatienceMs)) << n;
    const unsigned char pixel[4] = {static_cast<unsigned char>(n), static_cast<unsigned char>(n >> 8), 0, 255};
    color->Update(pixel, 4, GsTexture::kTextureRGBA, 1, 1);
    device.RunFrame(n * kInterval100);
  }
  ASSERT_TRUE(receiver.Flush(host::kPatienceMs));
  const GsOutputStats stats = receiver.stats();
  receiver.Stop();
  EXPECT_EQ(stats.delivered, kFrames);
  EXPECT_EQ(stats.repeated, 0u);
  EXPECT_EQ(stats.dropped, 0u);
  const std::vector<host::Delivery> deliveries = receiver.deliveries();
  ASSERT_EQ(deliveries.size(), kFrames);
  for (unsigned int n = 0; n < kFrames; ++n) {
    const auto& pixels = deliveries[n].planes[0].pixels;
    ASSERT_EQ(pixels[0] + 256u * pixels[1], n);
    ASSERT_EQ(deliveries[n].timestamp, n * kInterval100);
  }
}

TEST_F(DrivenTimeTest, PicturesAreDeliveredOrDroppedOrQueued) {
  constexpr unsigned int kFrames = 10;
  host::Flag entered;
  host::Flag leave;
  const auto scene = MakeScene(2, 2, &device);
  host::Receiver receiver(scene, 2, 2, kGsFormatNV12, &device);
  receiver.on_frame = [&](int) {
    EXPECT_FALSE(receiver.WaitForRoom(kForeverMs));
    EXPECT_FALSE(receiver.Flush(kForeverMs));
    entered.Set();
    EXPECT_TRUE(leave.Wait());
  };
  ASSERT_TRUE(receiver.Start());
  for (unsigned int n = 0; n < kFrames; ++n) {
    device.RunFrame(n);
    if (n == 0) {
      ASSERT_TRUE(entered.Wait());
    }
  }
  // One is being delivered, five wait, four came too late.
  EXPECT_EQ(receiver.stats().delivered, 0u);
  EXPECT_EQ(receiver.stats().dropped, 4u);
  EXPECT_FALSE(receiver.WaitForRoom(0));
  leave.Set();
  ASSERT_TRUE(receiver.Flush(host::kPatienceMs));
  GsOutputStats stats = receiver.stats();
  EXPECT_EQ(stats.delivered, kFrames);
  EXPECT_EQ(stats.repeated, 4u);
  EXPECT_EQ(stats.dropped, 4u);
  EXPECT_EQ(stats.delivered - stats.repeated + stats.dropped, kFrames);
  receiver.Stop();
  EXPECT_FALSE(receiver.WaitForRoom(kForeverMs)) << "nothing comes any more";
  EXPECT_FALSE(receiver.Flush(kForeverMs));
}

TEST_F(DrivenTimeTest, InAStageRoomIsOnlyLookedFor) {
  host::Flag entered;
  host::Flag leave;
  const auto scene = MakeScene(2, 2, &device);
  const auto item = MakeItem(gs_vec2(2, 2), &device);
  scene->AddItem(item);
  host::Receiver receiver(scene, 2, 2, kGsFormatRGBA, &device);
  receiver.on_frame = [&](int) {
    entered.Set();
    EXPECT_TRUE(leave.Wait());
  };
  ASSERT_TRUE(receiver.Start());
  bool room = false;
  bool delivered = true;
  item->on_tick = [&] {
    room = receiver.WaitForRoom(kForeverMs);
    delivered = receiver.Flush(kForeverMs);
  };
  device.RunFrame(1);
  EXPECT_TRUE(room);
  EXPECT_TRUE(delivered);
  ASSERT_TRUE(entered.Wait());
  for (int i = 0; i < 6; ++i) device.RunFrame(2);
  EXPECT_FALSE(room);
  EXPECT_FALSE(delivered);
  leave.Set();
  receiver.Stop();
}

TEST_F(DrivenTimeTest, StopInAStageOfAStartedDeviceDoesNoHarm) {
  ASSERT_TRUE(device.Start());
  EXPECT_FALSE(device.Start());
  device.RunFrame(5);
  EXPECT_EQ(host::log::Count(kQnLogError, "RunFrame is for a device without a render thread of its own: stop it first"),
            1);
  device.QueueTask([](void* self) { static_cast<GsDevice*>(self)->Stop(); }, &device);
  EXPECT_TRUE(host::log::WaitFor(
      kQnLogError,
      "Stop was called on the graphics render thread, which cannot wait for itself: it ends after this frame; call "
      "Stop again from another thread"));
  device.Stop();
  device.Stop();
  EXPECT_TRUE(host::DrivenDeviceWorks(&device));
}

TEST_F(DrivenTimeTest, StartInAStageIsRefused) {
  const auto scene = MakeScene(2, 2, &device);
  const auto item = MakeItem(gs_vec2(2, 2), &device);
  host::TextureReceiver texture(scene, 2, 2, &device);
  bool started = true;
  item->on_tick = [&] { started = device.Start(); };
  scene->AddItem(item);
  device.RunFrame(1);
  EXPECT_FALSE(started);
  EXPECT_EQ(host::log::Count(kQnLogError, "[GsDevice] not started: it cannot be started inside one of its stages"), 1);
}

TEST_F(DrivenTimeTest, OtherThreadsStopNothingInsideOfAStage) {
  ASSERT_TRUE(device.Start());
  const auto scene = MakeScene(2, 2, &device);
  const auto item = MakeItem(gs_vec2(2, 2), &device);
  const std::thread::id here = std::this_thread::get_id();
  item->on_tick = [&] {
    if (std::this_thread::get_id() == here) device.Stop();
  };
  host::TextureReceiver texture(scene, 2, 2, &device);
  scene->AddItem(item);
  device.TickSource();
  EXPECT_EQ(host::log::Count(kQnLogError, "[GsDevice] not stopped: it cannot be stopped inside one of its stages"), 1);
  device.Stop();
}

// The loop of the device's own.

class StartedTimeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host::log::Clear();
    ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
    device_ = GsDevice::DefaultDevice();
  }
  void TearDown() override { GsDevice::DestroyDefaultDevice(); }

  GsDevice* device_ = nullptr;
};

// From the first frame on: the rate was set before.
TEST_F(StartedTimeTest, DeliversOnTheExactGridWhatFrameTimeSaid) {
  ASSERT_TRUE(device_->SetFrameRate(240000, 1001));
  EXPECT_EQ(device_->fps(), 240u);
  EXPECT_EQ(device_->frame_interval(), 4170833u);
  const auto scene = MakeScene(8, 8, device_);
  const auto item = MakeItem(gs_vec2(8, 8), device_);
  std::mutex mutex;
  std::set<std::uint64_t> told;
  item->on_draw = [&] {
    const std::lock_guard<std::mutex> lock(mutex);
    told.insert(device_->frame_time());
  };
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device_);
  receiver.keep_planes = false;
  std::vector<bool> repeating;
  receiver.on_frame = [&](int) { repeating.push_back(receiver.repeating()); };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(device_->Start());
  EXPECT_FALSE(device_->Start());
  const std::size_t deliveries = receiver.WaitFor(100).size();
  receiver.Stop();
  device_->Stop();
  EXPECT_EQ(deliveries, 100u);
  const std::vector<std::uint64_t> timestamps = receiver.timestamps();
  ASSERT_EQ(timestamps.size(), repeating.size());
  // The grid's points, from the first frame on: no output gets that one's own picture, but the next has its time.
  const std::uint64_t start = timestamps[0];
  std::uint64_t n = 0;
  for (std::size_t i = 0; i < timestamps.size(); ++i) {
    while (start + (n * 1001000000000 + 120000) / 240000 < timestamps[i]) ++n;
    ASSERT_EQ(timestamps[i], start + (n * 1001000000000 + 120000) / 240000) << i;
    ASSERT_EQ(repeating[i] || told.count(timestamps[i]) == 1, true) << i;
  }
}

TEST_F(StartedTimeTest, EveryCallbackOfAFrameHasOneTime) {
  device_->SetFps(200);
  TimeNotes notes(device_);
  notes.QueueTask();
  ASSERT_TRUE(device_->Start());
  notes.texture().WaitFor(3);
  device_->Stop();
  const TimeNotes::Notes all = notes.Take();
  const std::vector<std::uint64_t> received = notes.texture().timestamps();
  ASSERT_GE(all.size(), 9u);
  // The first frame has no picture for outputs, and runs the task that waited.
  const std::uint64_t first = received[0] - 5000000;
  EXPECT_EQ(TimeNotes::Notes(all.begin(), all.begin() + 4),
            (TimeNotes::Notes{{"tick", first}, {"filter", first}, {"draw", first}, {"task", first}}));
  for (std::size_t i = 4; i < all.size(); ++i) EXPECT_EQ(all[i].second, received[(i - 4) / 4]) << all[i].first;
  EXPECT_EQ(device_->frame_time(), received.back());
}

TEST_F(StartedTimeTest, StatsTellOfEveryFrame) {
  device_->SetFps(500);
  ASSERT_TRUE(device_->Start());
  ASSERT_TRUE(host::PassFrames(device_, 20));
  device_->Stop();
  const GsDeviceStats stats = device_->stats();
  std::array<GsFrameTime, 128> frames;
  const unsigned int kept = device_->ReadFrameTimes(frames.data(), frames.size());
  EXPECT_GE(stats.frames, 20u);
  EXPECT_GE(stats.frames, kept);
  EXPECT_GT(stats.ticks_ns, 0u);
  EXPECT_GT(stats.sleep_ns, 0u);
  if (stats.frames > kept) return;  // A busy machine may make many frames before the test comes to stop them.
  unsigned long long missed = 0;
  for (unsigned int i = 0; i < kept; ++i) missed += frames[i].periods - 1;
  EXPECT_EQ(stats.missed, missed);
}

TEST_F(StartedTimeTest, RefusesRatesThatAreNone) {
  device_->SetFps(25);
  EXPECT_FALSE(device_->SetFrameRate(0, 1));
  EXPECT_FALSE(device_->SetFrameRate(30, 0));
  EXPECT_FALSE(device_->SetFrameRate(std::numeric_limits<unsigned int>::max(), 1));
  EXPECT_FALSE(device_->SetFrameRate(1, std::numeric_limits<unsigned int>::max()));
  EXPECT_EQ(host::log::CountContaining(kQnLogWarning, "is refused: it must be 1 in 3600 seconds to"), 4);
  EXPECT_EQ(device_->fps(), 25u);
  EXPECT_EQ(device_->frame_interval(), 40000000u);
  EXPECT_TRUE(device_->SetFrameRate(1, 2));
  EXPECT_EQ(device_->fps(), 1u);
  EXPECT_EQ(device_->frame_interval(), 2000000000u);
}

TEST(InertTimeTest, DeviceWithoutAnEngineAnswersNeutrally) {
  GsDevice device;
  EXPECT_FALSE(device.Start());
  device.Stop();
  EXPECT_FALSE(device.SetFrameRate(30, 1));
  EXPECT_EQ(device.frame_time(), 0u);
  EXPECT_EQ(device.frame_interval(), 33333333u);
  device.RunFrame(1);
  EXPECT_EQ(device.stats().frames, 0u);
  EXPECT_EQ(device.stats().views_ns, 0u);
}

TEST(InertTimeTest, OutputWithoutAnEngineAnswersNeutrally) {
  GsDevice device;
  const auto scene = MakeScene(8, 8, &device);
  GsOutputRaw output(scene, 8, 8, kGsFormatRGBA, &device);
  EXPECT_TRUE(output.Start());
  EXPECT_FALSE(output.repeating());
  EXPECT_FALSE(output.WaitForRoom(kForeverMs));
  EXPECT_FALSE(output.Flush(kForeverMs));
  EXPECT_EQ(output.stats().delivered, 0u);
  EXPECT_EQ(output.stats().repeated, 0u);
  EXPECT_EQ(output.stats().dropped, 0u);
  output.Stop();
  GsOutputRaw of_nothing(nullptr, 8, 8, kGsFormatRGBA, &device);
  EXPECT_FALSE(of_nothing.WaitForRoom(kForeverMs));
  EXPECT_FALSE(of_nothing.Flush(kForeverMs));
}

}  // namespace
