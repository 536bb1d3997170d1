// A steady render loop takes nothing from the heap. This binary counts operator new; it runs on the real clock, at a
// rate that hardly sleeps.
#include "graphics/graphics_device_impl.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <thread>

#include "foundation/event.h"
#include "foundation/logger.h"
#include "graphics/graphics_context_impl.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_scene_impl.h"
#include "tests/support/allocation_counter.h"

namespace {

constexpr int kWarmFrames = 3;
constexpr int kFrames = 200;

// Takes messages and keeps none.
class SilentLogger : public Logger {
 public:
  SilentLogger() : Logger("Test"), previous_(default_logger()) { SetDefaultLogger(this); }
  ~SilentLogger() override { SetDefaultLogger(previous_); }
  void Log(Level, const char*, va_list) override {}
  void Log(Level, const char*) override {}

 private:
  Logger* previous_;
};

class NullItemCallback : public GraphicsItem::TickCallback {
 public:
  void OnTick() override {}
};

class NullSceneCallback : public GraphicsScene::DrawCallback {
 public:
  void Draw() override {}
};

// Walks a context as a platform's stages do, and counts over all frames but the first.
class CountingDevice : public GraphicsDeviceImpl {
 public:
  CountingDevice() : item_(&context_), scene_(1, 1) {
    item_.Attach(&item_callback_);
    scene_.Attach(&scene_callback_);
    scene_.AddRef();
    context_.AddScene(&scene_);
  }
  ~CountingDevice() override {
    GraphicsDeviceImpl::Stop();
    item_.Detach();
  }

  std::size_t CountFrames() {
    SetFps(1000000);
    EXPECT_TRUE(Start());
    finished_.Wait();
    Stop();
    return allocations_;
  }

  std::uint64_t TickSource(unsigned long long frame_time, unsigned long long) override {
    if (frame_ == kWarmFrames) counter_ = std::make_unique<AllocationCounter>();
    context_.TickSource();
    return frame_time;
  }
  void HandleFilter() override { context_.HandleFilters(); }
  void OutputFrame(unsigned long long timestamp, unsigned int count) override {
    context_.DrawSceneOutput();
    context_.DoOutput(timestamp, static_cast<int>(count));
  }
  void DrawDisplay() override {
    context_.DrawViews();
    // Reading is free, too.
    GsFrameTime times[kFrames];
    ReadFrameTimes(this, times, kFrames);
    // Called as a function, so that no compiler leaves it out.
    if (allocate_in_frame == frame_) ::operator delete(::operator new(1));
    // A new rate is a part of steady running as well.
    if (frame_ == kFrames / 2) SetFps(500000);
    if (++frame_ != kFrames) return;
    allocations_ = counter_->count();
    counter_.reset();
    GraphicsDeviceImpl::Stop();
    finished_.Signal();
  }

  int allocate_in_frame = -1;

 private:
  GraphicsContextImpl context_;
  NullItemCallback item_callback_;
  NullSceneCallback scene_callback_;
  GraphicsItem item_;
  GraphicsSceneImpl scene_;
  int frame_ = 0;
  std::unique_ptr<AllocationCounter> counter_;
  std::size_t allocations_ = 0;
  Event finished_{false};
};

TEST(AllocationCounterTest, CountsItsOwnThreadWhileItLives) {
  // Called as functions, so that no compiler leaves them out.
  AllocationCounter outer;
  EXPECT_EQ(outer.count(), 0u);
  ::operator delete(::operator new(1));
  EXPECT_EQ(outer.count(), 1u);
  {
    AllocationCounter inner;
    ::operator delete[](::operator new[](1));
    constexpr std::align_val_t kAlignment{64};
    ::operator delete(::operator new(1, kAlignment), kAlignment);
    EXPECT_EQ(inner.count(), 2u);
  }
  EXPECT_EQ(outer.count(), 3u);
  // What another thread takes is its own.
  std::thread other([] { ::operator delete(::operator new(1)); });
  const std::size_t before_join = outer.count();  // With what the thread object took here.
  other.join();
  EXPECT_EQ(outer.count(), before_join);
}

TEST(RenderLoopAllocationTest, SteadyFramesTakeNothingFromTheHeap) {
  SilentLogger silence;
  CountingDevice device;
  EXPECT_EQ(device.CountFrames(), 0u);
}

TEST(RenderLoopAllocationTest, OneAllocationInOneFrameIsSeen) {
  SilentLogger silence;
  CountingDevice device;
  device.allocate_in_frame = kFrames / 3;
  EXPECT_EQ(device.CountFrames(), 1u);
}

}  // namespace
