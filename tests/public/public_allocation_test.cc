// In the steady state no frame allocates, neither on the render thread nor on an output's.
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "tests/public/host.h"
#include "tests/support/allocation_counter.h"

namespace {

using host::MakeItem;
using host::MakeScene;

// More than six frames, so that every slot of a pool has been used; and a driver compiles and grows what it needs.
constexpr int kWarmUpFrames = 20;
constexpr int kCountedFrames = 60;

// Counts the allocations of a thread from its call number kWarmUpFrames on, kCountedFrames calls long.
class Watch {
 public:
  // From the thread that is watched, once a frame.
  void Tick() {
    ++frames_;
    if (frames_ == kWarmUpFrames) counter_.emplace();
    if (frames_ == kWarmUpFrames + kCountedFrames) {
      allocations_ = counter_->count();
      counter_.reset();
      done.Set();
    }
  }

  // How many there were in the counted frames; to be asked once `done` is set.
  std::size_t allocations() const { return allocations_; }

  host::Flag done;

 private:
  int frames_ = 0;
  std::optional<AllocationCounter> counter_;
  std::size_t allocations_ = 0;
};

class WatchedRaw : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  ~WatchedRaw() override { Stop(); }
  void OnFrame(const GsFrame&) override { watch.Tick(); }
  Watch watch;
};

class WatchedTexture : public GsOutputTex {
 public:
  using GsOutputTex::GsOutputTex;
  ~WatchedTexture() override { Stop(); }
  void OnTexture(GsTexture* texture, unsigned long long) override { width = texture->width(); }
  std::atomic<unsigned int> width{0};
};

constexpr char kTintName[] = "the tint of a host that likes long names for its programs";

// Draws with a named program, and changes its constants in every tick.
class TintedItem : public GsItem {
 public:
  TintedItem(GsTexture* texture, GsDevice* device)
      : GsItem(gs_vec2(30, 20), device), texture_(texture), device_(device), constants_(16, device) {}

  void TickSource() override {
    if (watch) watch->Tick();
    ++ticks_;
    const float tint[] = {1.0f, 0.5f, static_cast<float>(ticks_ % 10) / 10.0f, 0.5f};
    constants_.Update(tint, sizeof(tint));
    SetRotation(static_cast<float>(ticks_) * 0.1f);
    MoveTo(gs_vec2(static_cast<float>(ticks_ % 7), 3));
    if (allocates) waste_ = std::make_unique<int>(ticks_);
  }

  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, 64, 48);
    if (!context.BindShader(kTintName)) return;
    {
      GsTextureBinder binder(texture_);
      constants_.Bind(0);
      context.DrawRect(gs_transform(pos(), size(), rotation()), gs_vec2(64, 48));
      constants_.Unbind();
    }
    context.UnbindShader();
    ++draws;
  }

  Watch* watch = nullptr;
  bool allocates = false;
  std::atomic<int> draws{0};

 private:
  GsTexture* texture_;
  GsDevice* device_;
  GsConstantBuffer constants_;
  int ticks_ = 0;
  std::unique_ptr<int> waste_;
};

class CopyFilter : public GsFilter {
 public:
  CopyFilter(GsTexture* source, GsDevice* device) : GsFilter(32, 16, device), source_(source), device_(device) {}
  ~CopyFilter() override { Detach(); }
  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, 32, 16);
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(source_, nullptr, source_);
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(32, 16)), gs_vec2(32, 16));
    context.UnbindShader();
  }

 private:
  GsTexture* source_;
  GsDevice* device_;
};

class CountedView : public GsViewImpl {
 public:
  using GsViewImpl::GsViewImpl;
  void Draw() override {
    DefaultDraw();
    ++draws;
  }
  std::atomic<int> draws{0};
};

// Items, a filter, a view with everything that it can draw, and outputs of every kind.
class World {
 public:
  explicit World(GsDevice* device)
      : picture_(host::MakeTexture(host::MakePattern(16, 16, 200), device)),
        filter_(picture_.get(), device),
        view_({}, 80, 60, device) {
    EXPECT_TRUE(device->AddShader(kTintName, glsl_src[kGsGlslRgba + 1], host::kTintSource));
    EXPECT_TRUE(device->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
    filter_.Attach();
    scene_ = MakeScene(64, 48, device);
    for (int i = 0; i < 8; ++i) {
      items_.push_back(MakeRef<RefCounted<TintedItem>>(i % 2 ? picture_.get() : filter_.texture(), device));
      items_.back()->SetVisible(i != 3);
      scene_->AddItem(items_.back());
    }
    items_[0]->watch = &render;
    items_[1]->SetHovered(true);
    items_[2]->SetSelected(true);
    view_.SetScene(scene_);
    view_.SetClampX(1);
    view_.SetClampY(1);
    view_.Attch();
    for (const GsFormat format : {kGsFormatRGBA, kGsFormatBGRA, kGsFormatI420, kGsFormatNV12}) {
      raw.push_back(std::make_unique<WatchedRaw>(scene_, 64, 48, format, device));
      raw.push_back(std::make_unique<WatchedRaw>(scene_, 51, 33, format, device));
    }
    for (int i = 0; i < 2; ++i) textures.push_back(std::make_unique<WatchedTexture>(scene_, 64, 48, device));
    for (const auto& output : raw) EXPECT_TRUE(output->Start());
    for (const auto& output : textures) EXPECT_TRUE(output->Start());
  }
  ~World() {
    // A counter must end on the thread that it counts.
    for (const auto& output : raw) {
      EXPECT_TRUE(output->watch.done.Wait());
      EXPECT_EQ(output->watch.allocations(), 0u);
      output->Stop();
    }
    for (const auto& output : textures) output->Stop();
    view_.Detach();
    for (const auto& item : items_) scene_->RemoveItem(item);
  }

  TintedItem* item() { return items_[0]; }
  int view_draws() const { return view_.draws; }

  Watch render;
  std::vector<std::unique_ptr<WatchedRaw>> raw;
  std::vector<std::unique_ptr<WatchedTexture>> textures;

 private:
  std::unique_ptr<GsTexture> picture_;
  CopyFilter filter_;
  scoped_refptr<host::Scene> scene_;
  CountedView view_;
  std::vector<scoped_refptr<TintedItem>> items_;
};

class AllocationTest : public ::testing::Test {
 protected:
  // The test's log allocates, and a running device logs its rate.
  void SetUp() override { qn_set_log_handle(nullptr, nullptr); }
};

// The counter would be blind if the library had operators of its own.
TEST_F(AllocationTest, CounterSeesTheLibrary) {
  const auto scene = MakeScene(8, 8, nullptr);
  const auto item = MakeItem(gs_vec2(8, 8), nullptr);
  const AllocationCounter counter;
  scene->AddItem(item);  // The list is the library's.
  EXPECT_GT(counter.count(), 0u);
}

TEST_F(AllocationTest, RenderThreadAndOutputThreadsAllocateNothing) {
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  GsDevice* const device = GsDevice::DefaultDevice();
  device->SetFps(100);
  {
    World world(device);
    ASSERT_TRUE(world.render.done.Wait());
    EXPECT_EQ(world.render.allocations(), 0u);
    EXPECT_GT(world.item()->draws, kWarmUpFrames);
    EXPECT_GT(world.view_draws(), kWarmUpFrames);
    EXPECT_EQ(world.textures[1]->width, 64u);
  }
  GsDevice::DestroyDefaultDevice();
}

TEST_F(AllocationTest, DrivenFramesAllocateNothing) {
  GsDevice device;
  ASSERT_TRUE(device.Init());
  ASSERT_TRUE(device.InitThreadContext());
  {
    World world(&device);
    for (int i = 0; i < kWarmUpFrames + kCountedFrames; ++i) {
      host::DriveFrame(&device, static_cast<std::uint64_t>(i));
    }
    ASSERT_TRUE(world.render.done.IsSet());
    EXPECT_EQ(world.render.allocations(), 0u);
    EXPECT_EQ(world.item()->draws, kWarmUpFrames + kCountedFrames);
  }
  device.UninitThreadContext();
}

// The test can fail: an item that allocates in its tick is seen.
TEST_F(AllocationTest, NoticesAnAllocationOfTheHostInTheFrame) {
  GsDevice device;
  ASSERT_TRUE(device.Init());
  ASSERT_TRUE(device.InitThreadContext());
  {
    World world(&device);
    world.item()->allocates = true;
    for (int i = 0; i < kWarmUpFrames + kCountedFrames; ++i) {
      device.TickSource();
      device.OutputFrame(static_cast<unsigned long long>(i), 1);
    }
    ASSERT_TRUE(world.render.done.IsSet());
    EXPECT_EQ(world.render.allocations(), static_cast<std::size_t>(kCountedFrames));
  }
  device.UninitThreadContext();
}

}  // namespace
