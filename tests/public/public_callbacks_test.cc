// What a host may do inside the callbacks of the library.
#include <EGL/egl.h>

#include <atomic>
#include <initializer_list>
#include <memory>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr std::uint64_t kInterval100 = 10000000;  // Of 100 frames per second, in nanoseconds.

class GsOutputRawTest : public host::ThreadedTest {};
class GsOutputTexTest : public host::ThreadedTest {};
class GsItemTest : public host::ThreadedTest {};
class DrivenOutputTest : public host::DrivenTest {};

// Everything that a callback may do, again and again.
class Meddler {
 public:
  Meddler(GsScene* scene, GsDevice* device)
      : scene_(scene),
        device_(device),
        picture_(host::MakePattern(8, 8, 255)),
        texture_(host::MakeTexture(picture_, device)),
        constants_(16, device),
        item_(MakeItem(gs_vec2(8, 8), device)) {
    item_->texture = texture_.get();
  }
  ~Meddler() { scene_->RemoveItem(item_); }

  void Meddle() {
    texture_->Update(picture_.pixels.data(), 8 * 4, GsTexture::kTextureRGBA, 8, 8);
    const float values[4] = {};
    constants_.Update(values, sizeof(values));
    ++round_;
    if (round_ % 2 == 1) {
      scene_->AddItem(item_);
    } else {
      scene_->RemoveItem(item_);
    }
    item_->SetZ(round_ % 3);
    item_->MoveTo(gs_vec2(1, 2));
    scene_->OrderItem();
    scene_->item_count();
    device_->QueueTask([](void* counter) { static_cast<host::Counter*>(counter)->Add(); }, &tasks);
    device_->fps();
    const auto passing = host::MakeColor(1, 2, 3, 4, device_);
    GsConstantBuffer passing_constants(values, sizeof(values), device_);
  }

  host::Counter tasks;

 private:
  GsScene* scene_;
  GsDevice* device_;
  test::Picture picture_;
  std::unique_ptr<GsTexture> texture_;
  GsConstantBuffer constants_;
  scoped_refptr<host::Item> item_;
  int round_ = 0;
};

TEST_F(GsOutputRawTest, SlowReceiverDoesNotStallTheRenderThread) {
  host::Flag entered;
  host::Flag leave;
  const auto scene = MakeScene(8, 8, device);
  const auto item = MakeItem(gs_vec2(8, 8), device);
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  host::Receiver other(scene, 8, 8, kGsFormatI420, device);
  receiver.on_frame = [&](int) {
    entered.Set();
    EXPECT_TRUE(leave.Wait());
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(other.Start());
  ASSERT_TRUE(entered.Wait());
  EXPECT_TRUE(item->ticks.WaitFor(item->ticks.value() + 30)) << "the render thread goes on";
  EXPECT_EQ(other.WaitFor(30).size(), 30u) << "other outputs go on";
  EXPECT_EQ(receiver.deliveries().size(), 1u);
  leave.Set();
  EXPECT_EQ(receiver.WaitFor(30).size(), 30u);
  receiver.Stop();
  other.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), kInterval100)) << "no period is lost";
}

TEST_F(GsOutputRawTest, OnFrameMayUseTheEngine) {
  const auto scene = MakeScene(8, 8, device);
  Meddler meddler(scene, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatNV12, device);
  receiver.on_frame = [&](int) { meddler.Meddle(); };
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(30).size(), 30u);
  EXPECT_TRUE(meddler.tasks.WaitFor(30));
  receiver.Stop();
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
  EXPECT_TRUE(host::PassFrames(device, 1));  // The last task has run.
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(GsOutputTexTest, OnTextureMayUseTheEngine) {
  const auto scene = MakeScene(8, 8, device);
  Meddler meddler(scene, device);
  host::TextureReceiver receiver(scene, 8, 8, device);
  bool current = true;
  receiver.on_texture = [&](GsTexture*, int) {
    meddler.Meddle();
    current = current && eglGetCurrentContext() != EGL_NO_CONTEXT;
  };
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(30).size(), 30u);
  EXPECT_TRUE(meddler.tasks.WaitFor(30));
  receiver.Stop();
  EXPECT_TRUE(current) << "GL work leaves the context current that it found";
  EXPECT_TRUE(host::PassFrames(device, 1));
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

TEST_F(GsItemTest, TickSourceAndDrawMayUseTheEngine) {
  const auto scene = MakeScene(8, 8, device);
  Meddler at_tick(scene, device);
  Meddler at_draw(scene, device);
  const auto item = MakeItem(gs_vec2(8, 8), device);
  item->on_tick = [&] { at_tick.Meddle(); };
  item->on_draw = [&] { at_draw.Meddle(); };
  scene->AddItem(item);
  {
    host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
    ASSERT_TRUE(receiver.Start());
    EXPECT_EQ(receiver.WaitFor(20).size(), 20u);
    EXPECT_TRUE(at_tick.tasks.WaitFor(20));
    EXPECT_TRUE(at_draw.tasks.WaitFor(20));
  }
  scene->RemoveItem(item);
  EXPECT_TRUE(host::PassFrames(device, 1));
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

TEST_F(GsItemTest, MayRemoveItselfInTickSourceAndInDraw) {
  const auto scene = MakeScene(8, 8, device);
  const auto ticked = MakeItem(gs_vec2(8, 8), device);
  const auto drawn = MakeItem(gs_vec2(8, 8), device);
  ticked->on_tick = [&] { scene->RemoveItem(ticked); };
  drawn->on_draw = [&] { scene->RemoveItem(drawn); };
  scene->AddItem(ticked);
  scene->AddItem(drawn);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(4).size(), 4u);
  receiver.Stop();
  EXPECT_EQ(ticked->ticks.value(), 1);
  EXPECT_EQ(drawn->draws, 1);
  EXPECT_EQ(scene->item_count(), 0u);
}

TEST_F(GsItemTest, TaskMayStartAndStopOutputs) {
  struct Work {
    GsDevice* device;
    scoped_refptr<host::Scene> scene;
    std::unique_ptr<host::Receiver> receiver;
    host::Flag started;
    host::Flag stopped;
  } work;
  work.device = device;
  work.scene = MakeScene(8, 8, device);
  device->QueueTask(
      [](void* p) {
        auto* const w = static_cast<Work*>(p);
        w->receiver = std::make_unique<host::Receiver>(w->scene, 8, 8, kGsFormatRGBA, w->device);
        EXPECT_TRUE(w->receiver->Start());
        w->started.Set();
      },
      &work);
  ASSERT_TRUE(work.started.Wait());
  EXPECT_EQ(work.receiver->WaitFor(3).size(), 3u);
  device->QueueTask(
      [](void* p) {
        auto* const w = static_cast<Work*>(p);
        w->receiver->Stop();
        w->receiver.reset();
        w->scene = nullptr;
        w->stopped.Set();
      },
      &work);
  EXPECT_TRUE(work.stopped.Wait());
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

// A host that forgets to put the context back spoils its own frame, and no other.
TEST_F(GsItemTest, LosingTheContextInACallbackSpoilsOneFrame) {
  const auto lose = [] { eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); };
  const auto scene = MakeScene(8, 8, device);
  const auto ticked = MakeItem(gs_vec2(8, 8), device);
  const auto drawn = MakeItem(gs_vec2(8, 8), device);
  ticked->on_tick = lose;
  drawn->on_draw = lose;
  scene->AddItem(ticked);
  scene->AddItem(drawn);
  {
    host::Receiver raw(scene, 8, 8, kGsFormatRGBA, device);
    host::TextureReceiver texture(scene, 8, 8, device);
    texture.on_texture = [&](GsTexture*, int) { lose(); };
    ASSERT_TRUE(raw.Start());
    ASSERT_TRUE(texture.Start());
    EXPECT_EQ(texture.WaitFor(5).size(), 5u);
    device->QueueTask(
        [](void*) { eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }, nullptr);
    ASSERT_TRUE(host::PassFrames(device, 2));
    raw.Stop();
    texture.Stop();
  }
  scene->RemoveItem(ticked);
  scene->RemoveItem(drawn);
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

TEST_F(GsOutputRawTest, StopInsideOnFrameEndsTheDeliveries) {
  host::Flag stopped;
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  receiver.on_frame = [&](int count) {
    if (count != 3) return;
    receiver.Stop();
    stopped.Set();
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(stopped.Wait());
  EXPECT_TRUE(host::PassFrames(device, 5));
  EXPECT_EQ(receiver.deliveries().size(), 3u);
  receiver.Stop();  // Waits until the call that stopped it has ended.
  receiver.on_frame = nullptr;
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(6).size(), 6u) << "it starts again";
}

TEST_F(GsOutputRawTest, RestartInsideOnFrameGoesOn) {
  const auto scene = MakeScene(8, 8, device);
  class Restarting : public GsOutputRaw {
   public:
    Restarting(GsScene* scene, GsDevice* device) : GsOutputRaw(scene, 8, 8, kGsFormatI420, device) {}
    ~Restarting() override { Stop(); }
    void OnFrame(const GsFrame& frame) override {
      const unsigned char before = frame.data[0][0];
      if (frames.value() == 2) {
        Stop();
        EXPECT_TRUE(Start());
      }
      if (frames.value() == 4) {
        EXPECT_TRUE(Start());
      }
      EXPECT_EQ(frame.data[0][0], before) << "the planes are valid to the end of the call";
      frames.Add();
    }
    host::Counter frames;
  } restarting(scene, device);
  ASSERT_TRUE(restarting.Start());
  EXPECT_TRUE(restarting.frames.WaitFor(10));
  restarting.Stop();
}

TEST_F(DrivenOutputTest, RestartInsideOnFrameDiscardsWhatIsQueued) {
  host::Flag entered;
  host::Flag queued;
  host::Flag restarted;
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.on_frame = [&](int count) {
    if (count > 1) return;
    entered.Set();
    EXPECT_TRUE(queued.Wait());
    receiver.Stop();
    EXPECT_TRUE(receiver.Start());
    restarted.Set();
  };
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  ASSERT_TRUE(entered.Wait());
  for (std::uint64_t timestamp = 2; timestamp <= 9; ++timestamp) Frame(timestamp);
  queued.Set();
  ASSERT_TRUE(restarted.Wait());
  for (std::uint64_t timestamp = 10; timestamp <= 13; ++timestamp) {
    Frame(timestamp);
    ASSERT_EQ(receiver.WaitFor(timestamp - 8).size(), timestamp - 8);
  }
  receiver.Stop();
  EXPECT_EQ(receiver.timestamps(), (std::vector<std::uint64_t>{1, 10, 11, 12, 13}));
}

TEST_F(GsOutputTexTest, StopInsideOnTextureEndsTheDeliveries) {
  host::Flag stopped;
  const auto scene = MakeScene(8, 8, device);
  host::TextureReceiver receiver(scene, 8, 8, device);
  receiver.on_texture = [&](GsTexture* texture, int count) {
    if (count != 3) return;
    receiver.Stop();
    EXPECT_EQ(texture->width(), 8u) << "the texture is valid to the end of the call";
    stopped.Set();
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(stopped.Wait());
  EXPECT_TRUE(host::PassFrames(device, 5));
  EXPECT_EQ(receiver.timestamps().size(), 3u);
  receiver.Stop();  // Waits until the call that stopped it has ended.
  receiver.on_texture = nullptr;
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(6).size(), 6u);
}

TEST_F(GsOutputTexTest, RestartInsideOnTextureGoesOn) {
  const auto scene = MakeScene(8, 8, device);
  host::TextureReceiver receiver(scene, 8, 8, device);
  receiver.on_texture = [&](GsTexture*, int count) {
    if (count != 2) return;
    receiver.Stop();
    EXPECT_TRUE(receiver.Start());
  };
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(6).size(), 6u);
  receiver.Stop();
}

TEST_F(DrivenOutputTest, OutputsThatStopOrRestartThemselvesTakeNothingFromTheOthers) {
  const auto scene = MakeScene(8, 8, &device);
  host::TextureReceiver stopping(scene, 8, 8, &device);
  host::TextureReceiver restarting(scene, 8, 8, &device);
  host::TextureReceiver textures(scene, 8, 8, &device);
  host::Receiver frames(scene, 8, 8, kGsFormatRGBA, &device);
  stopping.on_texture = [&](GsTexture*, int count) {
    if (count == 2) stopping.Stop();
  };
  restarting.on_texture = [&](GsTexture*, int) {
    restarting.Stop();
    EXPECT_TRUE(restarting.Start());
  };
  for (GsOutput* output : std::initializer_list<GsOutput*>{&stopping, &restarting, &textures, &frames}) {
    ASSERT_TRUE(output->Start());
  }
  for (std::uint64_t timestamp = 1; timestamp <= 4; ++timestamp) Frame(timestamp);
  EXPECT_EQ(frames.WaitFor(4).size(), 4u);
  EXPECT_EQ(frames.timestamps(), (std::vector<std::uint64_t>{1, 2, 3, 4}));
  EXPECT_EQ(textures.timestamps(), (std::vector<std::uint64_t>{1, 2, 3, 4}));
  EXPECT_EQ(restarting.timestamps(), (std::vector<std::uint64_t>{1, 2, 3, 4}));
  EXPECT_EQ(stopping.timestamps(), (std::vector<std::uint64_t>{1, 2}));
}

// Objects that a host makes, updates and destroys in a Draw leave the picture in hand alone.
TEST_F(DrivenOutputTest, ObjectsMayComeAndGoInADraw) {
  const test::Picture pattern = host::MakePattern(16, 12, 255);
  const auto texture = host::MakeTexture(pattern, &device);
  const auto scene = MakeScene(16, 12, &device);
  auto leaving = std::make_unique<host::Receiver>(scene, 16, 12, kGsFormatNV12, &device);
  host::Receiver restarting(scene, 16, 12, kGsFormatRGBA, &device);
  host::Receiver receiver(scene, 16, 12, kGsFormatRGBA, &device);
  for (host::Receiver* output : {leaving.get(), &restarting, &receiver}) ASSERT_TRUE(output->Start());
  const auto item = MakeItem(gs_vec2(16, 12), &device);
  item->texture = texture.get();
  item->on_draw = [&] {
    leaving.reset();
    restarting.Stop();
    EXPECT_TRUE(restarting.Start());
    const auto passing = host::MakeTexture(pattern, &device);
    GsTextureBinder binder(texture.get());
    passing->Update(pattern.pixels.data(), 16 * 4, GsTexture::kTextureRGBA, 16, 12);
    GsConstantBuffer constants(16, &device);
  };
  scene->AddItem(item);
  Frame(1);
  const std::vector<host::Delivery> deliveries = receiver.WaitFor(1);
  ASSERT_EQ(deliveries.size(), 1u);
  EXPECT_EQ(deliveries[0].planes[0].pixels, pattern.pixels);
  restarting.Stop();
  receiver.Stop();
  scene->RemoveItem(item);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(DrivenOutputTest, ItemsThatComeAndGoInATickTakeNothingFromTheOthers) {
  const auto scene = MakeScene(8, 8, &device);
  const auto leaving = MakeItem(gs_vec2(8, 8), &device);
  const auto moving = MakeItem(gs_vec2(8, 8), &device);
  const auto coming = MakeItem(gs_vec2(8, 8), &device);
  const auto staying = MakeItem(gs_vec2(8, 8), &device);
  leaving->on_tick = [&] {
    scene->RemoveItem(leaving);
    scene->AddItem(coming);
  };
  moving->on_tick = [&] {  // Moves itself to the top.
    scene->RemoveItem(moving);
    scene->AddItem(moving);
  };
  for (GsItem* item : std::initializer_list<GsItem*>{leaving, moving, staying}) scene->AddItem(item);
  host::TextureReceiver in_use(scene, 8, 8, &device);
  for (std::uint64_t timestamp = 1; timestamp <= 3; ++timestamp) Frame(timestamp);
  EXPECT_EQ(leaving->ticks.value(), 1);
  EXPECT_EQ(moving->ticks.value(), 3);
  EXPECT_EQ(staying->ticks.value(), 3);
  EXPECT_EQ(coming->ticks.value(), 2);
  for (GsItem* item : std::initializer_list<GsItem*>{moving, coming, staying}) scene->RemoveItem(item);
}

TEST_F(GsOutputRawTest, StartAfterStopDeliversNothingThatIsOlder) {
  host::Flag entered;
  host::Flag leave;
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  receiver.on_frame = [&](int count) {
    if (count > 1) return;
    entered.Set();
    EXPECT_TRUE(leave.Wait());
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(entered.Wait());
  ASSERT_TRUE(host::PassFrames(device, 5));  // Frames are queued behind the one that is being delivered.
  std::thread stopper([&] { receiver.Stop(); });
  ASSERT_TRUE(host::PassFrames(device, 2));
  leave.Set();
  stopper.join();
  const std::size_t delivered = receiver.deliveries().size();
  const std::uint64_t last_possible = qn_os_gettime_ns();
  ASSERT_TRUE(host::PassFrames(device, 3));
  EXPECT_EQ(receiver.deliveries().size(), delivered);
  ASSERT_TRUE(receiver.Start());
  const auto deliveries = receiver.WaitFor(delivered + 5);
  receiver.Stop();
  ASSERT_EQ(deliveries.size(), delivered + 5);
  for (std::size_t i = delivered; i < deliveries.size(); ++i) EXPECT_GT(deliveries[i].timestamp, last_possible);
}

TEST_F(GsOutputRawTest, StopWaitsForARunningCallback) {
  host::Flag entered;
  host::Flag stopped;
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  bool stopped_early = false;
  receiver.on_frame = [&](int count) {
    if (count > 1) return;
    entered.Set();
    stopped_early = stopped.Wait(100);  // A Stop that did not wait would return within this.
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(entered.Wait());
  receiver.Stop();
  stopped.Set();
  EXPECT_FALSE(stopped_early);
  const std::size_t delivered = receiver.deliveries().size();
  ASSERT_TRUE(host::PassFrames(device, 3));
  EXPECT_EQ(receiver.deliveries().size(), delivered);
}

TEST_F(GsOutputTexTest, StopWaitsForARunningCallback) {
  host::Flag entered;
  host::Flag stopped;
  const auto scene = MakeScene(8, 8, device);
  host::TextureReceiver receiver(scene, 8, 8, device);
  bool stopped_early = false;
  receiver.on_texture = [&](GsTexture*, int count) {
    if (count > 1) return;
    entered.Set();
    stopped_early = stopped.Wait(100);
  };
  ASSERT_TRUE(receiver.Start());
  ASSERT_TRUE(entered.Wait());
  receiver.Stop();
  stopped.Set();
  EXPECT_FALSE(stopped_early);
  const std::size_t delivered = receiver.timestamps().size();
  ASSERT_TRUE(host::PassFrames(device, 3));
  EXPECT_EQ(receiver.timestamps().size(), delivered);
}

TEST_F(GsItemTest, RemoveItemWaitsForARunningTick) {
  host::Flag entered;
  host::Flag removed;
  const auto scene = MakeScene(8, 8, device);
  const auto item = MakeItem(gs_vec2(8, 8), device);
  std::atomic<bool> removed_early{false};
  item->on_tick = [&] {
    if (entered.IsSet()) return;
    entered.Set();
    removed_early = removed.Wait(100);
  };
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  ASSERT_TRUE(entered.Wait());
  scene->RemoveItem(item);
  removed.Set();
  EXPECT_FALSE(removed_early);
  const int ticks = item->ticks.value();
  ASSERT_TRUE(host::PassFrames(device, 3));
  EXPECT_EQ(item->ticks.value(), ticks);
}

TEST_F(GsItemTest, LastReferenceMayGoOnTheRenderThread) {
  std::atomic<int> destroyed{0};
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  {
    const auto item = MakeItem(gs_vec2(8, 8), device);
    item->destroyed = &destroyed;
    GsScene* const canvas = scene;
    host::Item* const self = item;
    // The walk that draws it holds a reference, which is the last one after this.
    item->on_draw = [canvas, self] { canvas->RemoveItem(self); };
    scene->AddItem(item);
  }
  EXPECT_EQ(receiver.WaitFor(3).size(), 3u);
  ASSERT_TRUE(host::PassFrames(device, 2));
  receiver.Stop();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
