// The host's side of outputs, over a fake engine.
#include <quarn/gs_output.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>
#include <quarn/ref_count.h>

#include "foundation/event.h"
#include "graphics/graphics_output.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/output/graphics_output_impl.h"
#include "graphics/public/gs_on_output.h"
#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kInterval = 33333333;
constexpr char kUnsupportedFormat[] = "[GsOutput] unsupported format";
constexpr char kNotStopped[] = "[GsOutput] destroyed while started: call Stop first";

class CountedScene : public RefCounted<GsScene> {
 public:
  CountedScene(unsigned int width, unsigned int height, bool* gone, GsDevice* device = nullptr)
      : RefCounted<GsScene>(width, height, device), gone_(gone) {}
  ~CountedScene() override { *gone_ = true; }

 private:
  bool* gone_;
};

// Keeps what it gets. Runs `in_call` inside each call, on the output thread.
class FrameOutput : public GsOutputRaw {
 public:
  FrameOutput(GsScene* scene, GsFormat format, unsigned int width = 8, unsigned int height = 4)
      : GsOutputRaw(scene, width, height, format, nullptr) {}

  void OnFrame(const GsFrame& frame) override {
    if (in_call) in_call();
    std::lock_guard<std::mutex> lock(mutex_);
    frames_.push_back(frame);
    changed_.notify_all();
  }

  // Waits until that many calls have come.
  std::vector<GsFrame> WaitForFrames(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return frames_.size() >= count; });
    return frames_;
  }
  std::size_t frame_count() {
    std::lock_guard<std::mutex> lock(mutex_);
    return frames_.size();
  }

  std::function<void()> in_call;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<GsFrame> frames_;
};

class TextureOutput : public GsOutputTex {
 public:
  explicit TextureOutput(GsScene* scene) : GsOutputTex(scene, 8, 4, nullptr) {}

  void OnTexture(GsTexture* texture, unsigned long long timestamp) override {
    timestamps.push_back(timestamp);
    width = texture->width();
    height = texture->height();
    engine_texture = texture->impl();
    if (in_call) in_call();
  }

  std::vector<std::uint64_t> timestamps;
  unsigned int width = 0;
  unsigned int height = 0;
  GraphicsTexture* engine_texture = nullptr;
  std::function<void()> in_call;
};

// What the engine's output of a public one holds.
class EngineOutput : public GraphicsOutputImpl {
 public:
  static OutputCallback* Callback(GsOutput* output) { return Of(output)->*(&EngineOutput::callback_); }
  static std::uint64_t FrameInterval(GsOutput* output) { return Of(output)->*(&EngineOutput::frame_interval_); }
  // Whether the output is between receivers: a start or a stop is under way.
  static bool IsWaitedFor(GsOutput* output) {
    return (Of(output)->*(&EngineOutput::attached_format))() == kNotAttached;
  }

 private:
  static GraphicsOutputImpl* Of(GsOutput* output) { return static_cast<GraphicsOutputImpl*>(output->impl()); }
};

class GsOutputTest : public FacadeWithDeviceTest {
 protected:
  GsOutputTest() : scene_(MakeRef<CountedScene>(16u, 9u, &scene_gone_)) { fake::ClearCalls(); }
  ~GsOutputTest() override { scene_ = nullptr; }

  // Hands out a picture as the render loop does from its second frame on.
  static void Frame(std::uint64_t timestamp, unsigned int count) { device()->OutputFrame(timestamp, count); }

  bool scene_gone_ = false;
  scoped_refptr<GsScene> scene_;
};

using GsOutputRawTest = GsOutputTest;
using GsOutputTexTest = GsOutputTest;
using GsOnOutputRawTest = GsOutputTest;
using GsOnOutputTexTest = GsOutputTest;

TEST_F(GsOutputTest, KeepsItsSceneInUseForAsLongAsItLives) {
  {
    FrameOutput output(scene_, kGsFormatRGBA);
    EXPECT_NE(output.impl(), nullptr);
    EXPECT_THAT(fake::Calls(), ElementsAre("scene.Attach", "scene.AddRef", "device.CreateOutput 8 4"));
    fake::ClearCalls();
    {
      TextureOutput second(scene_);
      EXPECT_THAT(fake::Calls(), ElementsAre("scene.AddRef", "device.CreateOutput 8 4"));
      fake::ClearCalls();
    }
    EXPECT_THAT(fake::Calls(), testing::Contains("scene.ReleaseRef"));
    EXPECT_EQ(fake::Count("scene.Detach"), 0);
    fake::ClearCalls();
  }
  // The engine's output goes before the scene is let go.
  EXPECT_THAT(fake::Calls(), testing::IsSupersetOf({"output.~", "scene.ReleaseRef", "scene.Detach"}));
  EXPECT_EQ(fake::Calls().front(), "output.~");
  EXPECT_EQ(fake::Calls().back(), "scene.Detach");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsOutputTest, HoldsAReferenceOnItsScene) {
  {
    FrameOutput output(scene_, kGsFormatRGBA);
    scene_ = nullptr;
    EXPECT_FALSE(scene_gone_);
  }
  EXPECT_TRUE(scene_gone_);
}

TEST_F(GsOutputTest, UsesTheDeviceGiven) {
  GsDevice own;
  ASSERT_TRUE(own.Init());
  own.SetFps(60);
  bool gone = false;
  const auto own_scene = MakeRef<CountedScene>(16u, 9u, &gone, &own);
  GsOutputRaw output(own_scene, 8, 4, kGsFormatRGBA, &own);
  GsOutputRaw by_default(scene_, 8, 4, kGsFormatRGBA, nullptr);
  ASSERT_NE(output.impl(), nullptr);
  ASSERT_NE(by_default.impl(), nullptr);
  EXPECT_EQ(EngineOutput::FrameInterval(&output), 16666666u);
  EXPECT_EQ(EngineOutput::FrameInterval(&by_default), kInterval);
}

TEST_F(GsOutputTest, IsInertWithoutAScene) {
  {
    FrameOutput output(nullptr, kGsFormatRGBA);
    EXPECT_EQ(output.impl(), nullptr);
    EXPECT_TRUE(output.Start());
    output.Stop();
  }
  EXPECT_THAT(errors(), ElementsAre("[GsOutput] no output without a scene"));
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsOutputTest, IsInertWithoutASize) {
  {
    FrameOutput flat(scene_, kGsFormatRGBA, 8, 0);
    FrameOutput narrow(scene_, kGsFormatRGBA, 0, 4);
    EXPECT_EQ(flat.impl(), nullptr);
    EXPECT_EQ(narrow.impl(), nullptr);
    EXPECT_TRUE(flat.Start());
    flat.Stop();
  }
  EXPECT_THAT(errors(), ElementsAre("[GsOutput] no output of 8 x 0 pixels", "[GsOutput] no output of 0 x 4 pixels"));
  EXPECT_EQ(fake::Count("scene.AddRef"), fake::Count("scene.ReleaseRef"));
}

TEST_F(GsOutputTest, IsInertWithAnInertScene) {
  bool gone = false;
  auto inert = MakeRef<CountedScene>(0u, 0u, &gone);
  fake::ClearCalls();
  log_.Clear();
  {
    FrameOutput output(inert, kGsFormatRGBA);
    EXPECT_EQ(output.impl(), nullptr);
    EXPECT_TRUE(output.Start());
    output.Stop();
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsOutputTest, IsInertWithoutADevice) {
  scene_ = nullptr;
  GsDevice::DestroyDefaultDevice();
  bool gone = false;
  auto scene = MakeRef<CountedScene>(16u, 9u, &gone);
  FrameOutput raw(scene, kGsFormatRGBA);
  TextureOutput texture(scene);
  EXPECT_EQ(raw.impl(), nullptr);
  EXPECT_EQ(texture.impl(), nullptr);
  EXPECT_TRUE(raw.Start());
  EXPECT_TRUE(texture.Start());
  raw.Stop();
  texture.Stop();
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsOutputTest, IsInertWhenTheDeviceMakesNone) {
  fake::options().objects = false;
  FrameOutput output(scene_, kGsFormatRGBA);
  EXPECT_EQ(output.impl(), nullptr);
  EXPECT_TRUE(output.Start());
  output.Stop();
  output.Stop();
}

TEST_F(GsOutputRawTest, AsksForTheLayoutOfItsFormat) {
  const std::pair<GsFormat, const char*> formats[] = {
      {kGsFormatRGBA, "output.Attach 2"},
      {kGsFormatBGRA, "output.Attach 3"},
      {kGsFormatI420, "output.Attach 4"},
      {kGsFormatNV12, "output.Attach 5"},
  };
  for (const auto& [format, call] : formats) {
    FrameOutput output(scene_, format);
    fake::ClearCalls();
    EXPECT_TRUE(output.Start());
    EXPECT_THAT(fake::Calls(), ElementsAre(call));
    output.Stop();
    EXPECT_THAT(fake::Calls(), ElementsAre(call, "output.Detach"));
  }
}

TEST_F(GsOutputRawTest, RefusesOtherFormats) {
  for (const unsigned int format : {0u, 3u, 6u, 0xFFFFFFFFu}) {
    log_.Clear();
    FrameOutput output(scene_, static_cast<GsFormat>(format));
    fake::ClearCalls();
    EXPECT_FALSE(output.Start());
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error, kUnsupportedFormat}));
    EXPECT_THAT(fake::Calls(), IsEmpty());
  }
  // An output without an engine refuses the format, too.
  log_.Clear();
  FrameOutput inert(nullptr, kGsFormatReserved);
  EXPECT_FALSE(inert.Start());
  EXPECT_EQ(errors().back(), kUnsupportedFormat);
}

TEST_F(GsOutputRawTest, DeliversFramesFromStartToStop) {
  FrameOutput output(scene_, kGsFormatI420);
  Frame(100, 1);
  ASSERT_TRUE(output.Start());
  Frame(1000, 2);
  Frame(5000, 1);
  const std::vector<GsFrame> frames = output.WaitForFrames(3);
  output.Stop();
  Frame(9000, 1);
  ASSERT_EQ(output.frame_count(), 3u);
  EXPECT_EQ(frames[0].timestamp, 1000u);
  EXPECT_EQ(frames[1].timestamp, 1000 + kInterval);
  EXPECT_EQ(frames[2].timestamp, 5000u);
  for (const GsFrame& frame : frames) {
    EXPECT_EQ(frame.width, 8u);
    EXPECT_EQ(frame.height, 4u);
    EXPECT_EQ(frame.data[1], frame.data[0] + 32);
    EXPECT_EQ(frame.data[2], frame.data[1] + 8);
    EXPECT_EQ(frame.data[3], nullptr);
    EXPECT_THAT(frame.linesize, ElementsAre(8u, 4u, 4u, 0u));
    EXPECT_EQ(frame.format, 1u);
  }
}

// Kept: C12.
TEST_F(GsOutputRawTest, ReportsFormatOneForEveryLayout) {
  for (const GsFormat format : {kGsFormatRGBA, kGsFormatBGRA, kGsFormatI420, kGsFormatNV12}) {
    FrameOutput output(scene_, format);
    ASSERT_TRUE(output.Start());
    Frame(1000, 1);
    EXPECT_EQ(output.WaitForFrames(1)[0].format, 1u);
    output.Stop();
  }
}

TEST_F(GsOutputRawTest, LogsItsFramesByDefault) {
  GsOutputRaw output(scene_, 8, 4, kGsFormatRGBA, nullptr);
  ASSERT_TRUE(output.Start());
  Frame(123456789, 1);
  EXPECT_TRUE(log_.WaitFor(Logger::Level::Debug, "Output frame: 123456789"));
  output.Stop();
}

TEST_F(GsOutputRawTest, StartsAgainAfterStop) {
  FrameOutput output(scene_, kGsFormatRGBA);
  for (std::size_t i = 1; i <= 3; ++i) {
    ASSERT_TRUE(output.Start());
    Frame(i, 1);
    EXPECT_EQ(output.WaitForFrames(i).back().timestamp, i);
    output.Stop();
  }
  EXPECT_EQ(fake::Count("output.Attach 2"), 3);
  EXPECT_EQ(fake::Count("output.Detach"), 3);
}

TEST_F(GsOutputRawTest, StartsTwiceWithOneBridge) {
  FrameOutput output(scene_, kGsFormatRGBA);
  ASSERT_TRUE(output.Start());
  ASSERT_TRUE(output.Start());
  EXPECT_EQ(fake::Count("output.Attach 2"), 2);
  Frame(1, 1);
  EXPECT_EQ(output.WaitForFrames(1).size(), 1u);
  output.Stop();
  output.Stop();
  EXPECT_EQ(fake::Count("output.Detach"), 2);
}

TEST_F(GsOutputRawTest, StopsInsideACall) {
  FrameOutput output(scene_, kGsFormatRGBA);
  output.in_call = [&] { output.Stop(); };
  ASSERT_TRUE(output.Start());
  Frame(1000, 5);
  output.WaitForFrames(1);
  output.in_call = nullptr;
  Frame(2000, 1);
  // A start waits for the call to end, and discards what was queued.
  ASSERT_TRUE(output.Start());
  Frame(3000, 1);
  const std::vector<GsFrame> frames = output.WaitForFrames(2);
  output.Stop();
  ASSERT_EQ(output.frame_count(), 2u);
  EXPECT_EQ(frames[0].timestamp, 1000u);
  EXPECT_EQ(frames[1].timestamp, 3000u);
}

TEST_F(GsOutputRawTest, StartsAgainInsideACall) {
  FrameOutput output(scene_, kGsFormatRGBA);
  int restarts = 0;
  output.in_call = [&] {
    if (++restarts > 2) return;
    for (int i = 0; i < 2; ++i) {
      output.Stop();
      EXPECT_TRUE(output.Start());
    }
  };
  ASSERT_TRUE(output.Start());
  // One at a time: a restart discards what is queued. Its call is over once the next picture has been delivered.
  for (std::size_t i = 1; i <= 4; ++i) {
    Frame(i, 1);
    EXPECT_EQ(output.WaitForFrames(i).back().timestamp, i);
  }
  output.Stop();
  EXPECT_EQ(output.frame_count(), 4u);
  EXPECT_EQ(fake::Count("output.Attach 2"), 5);
  EXPECT_EQ(fake::Count("output.Detach"), 5);
}

// The bridge that a start attaches is the one that is left when the call that it has waited for is over.
TEST_F(GsOutputRawTest, StartsBesideACallThatStopsItsOutput) {
  for (const bool starts_again : {false, true}) {
    SCOPED_TRACE(starts_again);
    std::unique_ptr<GraphicsOutput::OutputCallback> bridge;
    log_.Clear();
    {
      FrameOutput output(scene_, kGsFormatRGBA);
      Event entered(false);
      output.in_call = [&] {
        entered.Signal();
        while (!EngineOutput::IsWaitedFor(&output)) std::this_thread::yield();
        output.Stop();
        if (starts_again) {
          EXPECT_TRUE(output.Start());
        }
      };
      ASSERT_TRUE(output.Start());
      Frame(1000, 1);
      entered.Wait();
      ASSERT_TRUE(output.Start());
      output.WaitForFrames(1);
      output.in_call = nullptr;
      Frame(2000, 1);
      EXPECT_EQ(output.WaitForFrames(2)[1].timestamp, 2000u);
      bridge.reset(EngineOutput::Callback(&output));
      engine()->context->RemoveOutput(output.impl());
    }
    // The output has known its bridge to the end, which leaves it behind.
    EXPECT_THAT(errors(), ElementsAre(kNotStopped));
  }
}

TEST_F(GsOutputRawTest, StopsBesideACallThatRestartsItsOutput) {
  auto output = std::make_unique<FrameOutput>(scene_, kGsFormatRGBA);
  Event entered(false);
  output->in_call = [&] {
    entered.Signal();
    while (!EngineOutput::IsWaitedFor(output.get())) std::this_thread::yield();
    EXPECT_TRUE(output->Start());
    output->Stop();
    EXPECT_TRUE(output->Start());
  };
  ASSERT_TRUE(output->Start());
  Frame(1000, 1);
  entered.Wait();
  output->Stop();
  Frame(2000, 1);
  EXPECT_EQ(output->frame_count(), 1u);
  EXPECT_EQ(EngineOutput::Callback(output.get()), nullptr);
  output.reset();
  Frame(3000, 1);  // Nothing of it is left in the context.
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsOutputRawTest, CountsItsDeliveries) {
  FrameOutput output(scene_.get(), kGsFormatRGBA);
  EXPECT_EQ(output.Counts().delivered, 0u);
  EXPECT_EQ(output.Counts().repeated, 0u);
  EXPECT_TRUE(output.Start());
  output.impl()->Output(1000, 3);
  output.WaitForFrames(3);
  while (output.Counts().delivered < 3) std::this_thread::yield();  // The last call is counted once it is over.
  EXPECT_EQ(output.Counts().delivered, 3u);
  EXPECT_EQ(output.Counts().repeated, 0u);
  output.Stop();
  EXPECT_EQ(output.Counts().delivered, 3u);
}

TEST_F(GsOutputRawTest, HasDeliveredNothingWithoutAnEngine) {
  FrameOutput output(nullptr, kGsFormatRGBA);
  EXPECT_TRUE(output.Start());
  EXPECT_EQ(output.Counts().delivered, 0u);
  EXPECT_EQ(output.Counts().repeated, 0u);
  output.Stop();
}

TEST_F(GsOutputRawTest, DestroyedWhileStartedLogsTheMistakeAndLeavesTheBridge) {
  std::unique_ptr<GraphicsOutput::OutputCallback> bridge;
  {
    FrameOutput output(scene_, kGsFormatRGBA);
    ASSERT_TRUE(output.Start());
    bridge.reset(EngineOutput::Callback(&output));
    fake::ClearCalls();
  }
  EXPECT_THAT(errors(), ElementsAre(kNotStopped));
  // Neither unregistered nor detached. Kept: C16.
  EXPECT_EQ(fake::Count("output.Detach"), 0);
  EXPECT_EQ(fake::Count("output.~"), 1);
  // Still there, and ours to delete.
  EXPECT_EQ(bridge->format(), GraphicsOutput::kOutputRGBA);
}

TEST_F(GsOutputTexTest, HandsTheTextureOverFromStartToStop) {
  TextureOutput output(scene_);
  Frame(100, 1);
  EXPECT_TRUE(output.Start());
  EXPECT_EQ(fake::Count("output.Attach 1"), 1);
  Frame(1000, 3);
  Frame(2000, 1);
  EXPECT_EQ(output.width, 8u);
  EXPECT_EQ(output.height, 4u);
  output.Stop();
  Frame(3000, 1);
  // Once a frame, whatever its count.
  EXPECT_THAT(output.timestamps, ElementsAre(1000u, 2000u));
}

TEST_F(GsOutputTexTest, LogsItsTexturesByDefault) {
  GsOutputTex output(scene_, 8, 4, nullptr);
  ASSERT_TRUE(output.Start());
  Frame(987654321, 1);
  output.Stop();
  EXPECT_THAT(log_.Lines(), testing::Contains(LogCapture::Line{Logger::Level::Debug, "Output texture: 987654321"}));
}

TEST_F(GsOutputTexTest, StopsAndStartsInsideACall) {
  TextureOutput output(scene_);
  output.in_call = [&] { output.Stop(); };
  ASSERT_TRUE(output.Start());
  Frame(1000, 1);
  Frame(2000, 1);
  output.in_call = [&] {
    output.Stop();
    EXPECT_TRUE(output.Start());
    output.in_call = nullptr;
  };
  ASSERT_TRUE(output.Start());
  Frame(3000, 1);
  Frame(4000, 1);
  output.Stop();
  EXPECT_THAT(output.timestamps, ElementsAre(1000u, 3000u, 4000u));
}

// As for raw outputs; here the context's lock is what the start waits for.
TEST_F(GsOutputTexTest, StartsBesideACallThatStopsItsOutput) {
  TextureOutput output(scene_);
  std::thread starter;
  output.in_call = [&] {
    output.in_call = nullptr;
    Event about_to(false);
    starter = std::thread([&] {
      about_to.Signal();
      EXPECT_TRUE(output.Start());
    });
    about_to.Wait();
    // Gives it every chance to come too early.
    for (int i = 0; i < 1000 && !EngineOutput::IsWaitedFor(&output); ++i) std::this_thread::yield();
    output.Stop();
  };
  ASSERT_TRUE(output.Start());
  Frame(1000, 1);
  starter.join();
  Frame(2000, 1);
  output.Stop();
  Frame(3000, 1);
  EXPECT_THAT(output.timestamps, ElementsAre(1000u, 2000u));
  EXPECT_EQ(EngineOutput::Callback(&output), nullptr);
}

TEST_F(GsOutputTexTest, StopsAfterAFrameDrivenInsideACall) {
  TextureOutput output(scene_);
  int depth = 0;
  output.in_call = [&] {
    if (++depth == 1) {
      Frame(2000, 1);
      output.Stop();
    }
  };
  ASSERT_TRUE(output.Start());
  Frame(1000, 1);
  EXPECT_THAT(output.timestamps, ElementsAre(1000u, 2000u));
}

TEST_F(GsOutputTexTest, DestroyedWhileStartedLogsTheMistake) {
  FakeOutput* engine_output = nullptr;
  {
    TextureOutput output(scene_);
    ASSERT_TRUE(output.Start());
    engine_output = static_cast<FakeOutput*>(output.impl());
    fake::ClearCalls();
  }
  engine()->context->RemoveOutput(engine_output);  // Left in the registry. Kept: C16.
  EXPECT_THAT(errors(), ElementsAre(kNotStopped));
  EXPECT_EQ(fake::Count("output.Detach"), 0);
  EXPECT_EQ(fake::Count("output.~"), 1);
}

TEST_F(GsOnOutputRawTest, FillsAFrameForTheHost) {
  FrameOutput output(nullptr, kGsFormatNV12);
  GsOnOutputRaw bridge(GraphicsOutput::kOutputNV12, &output);
  EXPECT_EQ(bridge.format(), GraphicsOutput::kOutputNV12);
  const GraphicsFrame frame(kFormatNV12, 10, 6);
  bridge.OnOutputRawData(frame, 0xFEDCBA9876543210u);
  const GsFrame seen = output.WaitForFrames(1)[0];
  EXPECT_EQ(seen.width, 10u);
  EXPECT_EQ(seen.height, 6u);
  EXPECT_THAT(seen.data, ElementsAre(frame.data[0], frame.data[0] + 60, nullptr, nullptr));
  EXPECT_THAT(seen.linesize, ElementsAre(10u, 10u, 0u, 0u));
  EXPECT_EQ(seen.format, 1u);
  EXPECT_EQ(seen.timestamp, 0xFEDCBA9876543210u);
}

TEST_F(GsOnOutputRawTest, OutlivesTheCallThatRetiresIt) {
  class Watched : public GsOnOutputRaw {
   public:
    Watched(GsOutputRaw* output, bool* gone) : GsOnOutputRaw(GraphicsOutput::kOutputRGBA, output), gone_(gone) {}
    ~Watched() override { *gone_ = true; }

   private:
    bool* gone_;
  };
  FrameOutput output(nullptr, kGsFormatRGBA);
  bool gone = false;
  auto* bridge = new Watched(&output, &gone);
  output.in_call = [&] {
    bridge->Retire();
    EXPECT_FALSE(gone);
  };
  bridge->OnOutputRawData(GraphicsFrame(kFormatRGBA, 1, 1), 1);
  EXPECT_TRUE(gone);

  gone = false;
  bridge = new Watched(&output, &gone);
  bridge->Retire();
  EXPECT_TRUE(gone);
}

TEST_F(GsOnOutputTexTest, WrapsTheEnginesTexture) {
  TextureOutput output(nullptr);
  GsOnOutputTex bridge(&output);
  EXPECT_EQ(bridge.format(), GraphicsOutput::kOutputTexture);
  FakeTexture texture(20, 10);
  fake::ClearCalls();
  bridge.OnOutputTexture(&texture, 77);
  EXPECT_THAT(output.timestamps, ElementsAre(77u));
  EXPECT_EQ(output.engine_texture, &texture);
  EXPECT_EQ(output.width, 20u);
  EXPECT_EQ(output.height, 10u);
  EXPECT_THAT(fake::Calls(), IsEmpty());  // The wrapper leaves the texture alone.
  // What is not for it goes nowhere.
  bridge.OnOutputRawData(GraphicsFrame(kFormatRGBA, 1, 1), 1);
  EXPECT_EQ(output.timestamps.size(), 1u);
}

TEST(OutputCallbackTest, DoesNothingByDefault) {
  GraphicsOutput::OutputCallback callback(GraphicsOutput::kOutputI420);
  EXPECT_EQ(callback.format(), GraphicsOutput::kOutputI420);
  callback.OnOutputTexture(nullptr, 1);
  callback.OnOutputRawData(GraphicsFrame(), 1);
}

// The order of the virtual operations is part of the binary interface. A destructor takes slots 0 and 1.
TEST(GsOutputSlotsTest, KeepTheirOrder) {
  EXPECT_EQ(Slot(&GsOutput::Start), 2);
  EXPECT_EQ(Slot(&GsOutput::Stop), 3);
  EXPECT_EQ(Slot(&GsOutputRaw::OnFrame), 4);
  EXPECT_EQ(Slot(&GsOutputTex::OnTexture), 4);
  EXPECT_EQ(Slot(&GraphicsOutput::OutputCallback::OnOutputTexture), 2);
  EXPECT_EQ(Slot(&GraphicsOutput::OutputCallback::OnOutputRawData), 3);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::Init), 2);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::Output), 3);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::Attach), 4);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::Detach), 5);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::LockFrame), 7);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::UnlockFrame), 8);
  EXPECT_EQ(Slot(&GraphicsOutputImpl::OutputCurrentFrame), 9);
}

}  // namespace
