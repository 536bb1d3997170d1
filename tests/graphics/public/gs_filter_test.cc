// The host's side of a filter.
#include <quarn/gs_filter.h>

#include <atomic>
#include <memory>
#include <thread>

#include <quarn/gs_item.h>
#include <quarn/gs_texture.h>

#include "foundation/event.h"
#include "tests/graphics/public/facade_test.h"
#include "tests/graphics/public/lock_probe.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DrawnFilter : public GsFilter {
 public:
  using GsFilter::GsFilter;
  void Draw() override {
    ++drawn;
    if (detach_in_draw) Detach();
  }
  int drawn = 0;
  bool detach_in_draw = false;
};

class GsFilterTest : public FacadeWithDeviceTest {};

TEST_F(GsFilterTest, OwnsAnEngineFilter) {
  {
    GsFilter filter(320, 200, nullptr);
    EXPECT_EQ(filter.width(), 320u);
    EXPECT_EQ(filter.height(), 200u);
    ASSERT_NE(filter.texture(), nullptr);
    EXPECT_EQ(filter.texture()->width(), 320u);
  }
  // The wrapper leaves the engine's texture to the engine's filter.
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateFilter 320 200", "filter.~", "texture.~"));
}

TEST_F(GsFilterTest, IsDrawnWhileAttached) {
  DrawnFilter filter(4, 4, nullptr);
  device()->HandleFilter();
  EXPECT_EQ(filter.drawn, 0);
  filter.Attach();
  filter.Attach();
  EXPECT_EQ(fake::Count("filter.Attach"), 1);
  device()->HandleFilter();
  EXPECT_EQ(filter.drawn, 1);
  filter.Detach();
  device()->HandleFilter();
  EXPECT_EQ(filter.drawn, 1);
  filter.Detach();
  filter.Attach();
  device()->HandleFilter();
  EXPECT_EQ(filter.drawn, 2);
  filter.Detach();
}

TEST_F(GsFilterTest, DrawsNothingByDefault) {
  GsFilter filter(4, 4, nullptr);
  filter.Attach();
  device()->HandleFilter();
  filter.Detach();
}

TEST_F(GsFilterTest, RunsInTheOrderOfAttaching) {
  class Named : public GsFilter {
   public:
    Named(std::string name) : GsFilter(1, 1, nullptr), name_(std::move(name)) {}
    void Draw() override { fake::Record(name_); }

   private:
    std::string name_;
  };
  Named first("first");
  Named second("second");
  second.Attach();
  first.Attach();
  fake::ClearCalls();
  device()->HandleFilter();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.HandleFilter", "second", "first"));
  first.Detach();
  second.Detach();
}

TEST_F(GsFilterTest, MayDetachItselfInDraw) {
  DrawnFilter filter(4, 4, nullptr);
  filter.detach_in_draw = true;
  filter.Attach();
  device()->HandleFilter();
  device()->HandleFilter();
  EXPECT_EQ(filter.drawn, 1);
}

TEST_F(GsFilterTest, LeavesTheRegistryWhenDestroyedAttached) {
  {
    DrawnFilter filter(4, 4, nullptr);
    filter.Attach();
  }
  EXPECT_THAT(errors(), ElementsAre("[GsFilter] destroyed while attached: call Detach first"));
  EXPECT_EQ(fake::Count("filter.Detach"), 1);
  device()->HandleFilter();
}

TEST_F(GsFilterTest, ResizeMakesANewWrapper) {
  GsFilter filter(4, 4, nullptr);
  GsTexture* const old = filter.texture();
  filter.Resize(8, 6);
  EXPECT_EQ(filter.width(), 8u);
  EXPECT_EQ(filter.height(), 6u);
  ASSERT_NE(filter.texture(), nullptr);
  EXPECT_NE(filter.texture(), old);
  EXPECT_EQ(filter.texture()->width(), 4u);
}

TEST_F(GsFilterTest, HasNoTextureWithoutATarget) {
  fake::options().filter_texture = false;
  GsFilter filter(4, 4, nullptr);
  EXPECT_EQ(filter.width(), 4u);
  EXPECT_EQ(filter.texture(), nullptr);
  filter.Resize(8, 8);
  EXPECT_EQ(filter.texture(), nullptr);
}

void ExpectInert(GsFilter& filter) {
  EXPECT_EQ(filter.width(), 0u);
  EXPECT_EQ(filter.height(), 0u);
  EXPECT_EQ(filter.texture(), nullptr);
  filter.Attach();
  filter.Resize(2, 2);
  EXPECT_EQ(filter.width(), 0u);
  EXPECT_EQ(filter.texture(), nullptr);
  filter.Detach();
}

TEST_F(GsFilterTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  fake::ClearCalls();
  GsFilter filter(4, 4, nullptr);
  ExpectInert(filter);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsFilterTest, IsInertWithAZeroSide) {
  GsFilter filter(0, 4, nullptr);
  ExpectInert(filter);
}

TEST_F(GsFilterTest, AnInertFilterMayBeDestroyedAttached) {
  GsDevice::DestroyDefaultDevice();
  GsFilter filter(4, 4, nullptr);
  filter.Attach();
}

TEST_F(GsFilterTest, WorksOnAnEngineWithoutAContext) {
  fake::options().context = false;
  MakeDevice();
  GsFilter filter(4, 4, nullptr);
  filter.Attach();
  filter.Detach();
  EXPECT_EQ(fake::Count("filter.Attach"), 1);
  EXPECT_EQ(fake::Count("filter.Detach"), 1);
}

TEST_F(GsFilterTest, AttachingHoldsTheContextsLock) {
  ProbedContext* const context = ProbedContext::PutInto(engine());
  fake::options().on_call = [context](const std::string& call) {
    if (call == "filter.Attach" || call == "filter.Detach") context->Probe();
  };
  GsFilter filter(4, 4, nullptr);
  filter.Attach();
  filter.Detach();
  EXPECT_EQ(context->probes(), 2);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST_F(GsFilterTest, ResizeWaitsForTheStageInWhichTheTargetIsUsed) {
  GsFilter filter(4, 4, nullptr);
  class Sampler : public GsItem {
   public:
    explicit Sampler(GsFilter* filter) : GsItem(nullptr), filter_(filter) {}
    void AddRef() override {}
    void Release() override {}
    void TickSource() override {
      GsTexture* const target = filter_->texture();
      Event about_to(false);
      resizer = std::thread([&about_to, this] {
        about_to.Signal();
        filter_->Resize(8, 8);
        resized_ = true;
      });
      about_to.Wait();
      for (int i = 0; i < 1000 && !resized_; ++i) std::this_thread::yield();
      EXPECT_FALSE(resized_);
      EXPECT_EQ(filter_->texture(), target);
      EXPECT_EQ(target->width(), 4u);
    }
    std::thread resizer;

   private:
    GsFilter* filter_;
    std::atomic<bool> resized_{false};
  } sampler(&filter);
  sampler.Attach();
  device()->TickSource();
  sampler.resizer.join();
  sampler.Detach();
  EXPECT_EQ(filter.width(), 8u);
}

TEST(GsFilterSlotTest, VirtualOperationsKeepTheirOrder) { EXPECT_EQ(Slot(&GsFilter::Draw), 2); }

}  // namespace
