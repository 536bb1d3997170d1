// The host's side of an item.
#include <quarn/gs_item.h>

#include <memory>

#include "graphics/graphics_item.h"
#include "tests/graphics/public/facade_test.h"
#include "tests/graphics/public/lock_probe.h"

namespace {

// Shows the protected values, and counts its ticks.
class TestItem : public GsItem {
 public:
  using GsItem::GsItem;
  void AddRef() override {}
  void Release() override {}
  void TickSource() override { ++ticks; }

  // As a host reads and writes them.
  gs_vec2 TurnPos() {
    const gs_vec2 before = pos_;
    pos_ = gs_vec2(before.y, before.x);
    return pos_;
  }

  using GsItem::base_size_;
  using GsItem::reserved0_;
  using GsItem::reserved1_;

  int ticks = 0;
};

class GsItemTest : public FacadeWithDeviceTest {};

TEST_F(GsItemTest, StartsWithItsDefaults) {
  const TestItem item(nullptr);
  EXPECT_EQ(item.pos().x, 0.0f);
  EXPECT_EQ(item.pos().y, 0.0f);
  EXPECT_EQ(item.size().x, 0.0f);
  EXPECT_EQ(item.size().y, 0.0f);
  EXPECT_EQ(item.base_size_.load().x, 0.0f);
  EXPECT_EQ(item.base_size_.load().y, 0.0f);
  EXPECT_EQ(item.rotation(), 0.0f);
  EXPECT_EQ(item.z(), 0);
  EXPECT_TRUE(item.visible());
  EXPECT_TRUE(item.reserved0_);
  EXPECT_FALSE(item.hovered());
  EXPECT_TRUE(item.reserved1_);
  EXPECT_FALSE(item.selected());
  EXPECT_EQ(item.scene(), nullptr);
}

TEST_F(GsItemTest, TakesASize) {
  const TestItem item(gs_vec2(30, 20), nullptr);
  EXPECT_EQ(item.size().x, 30.0f);
  EXPECT_EQ(item.size().y, 20.0f);
  EXPECT_EQ(item.base_size_.load().x, 30.0f);
  EXPECT_EQ(item.base_size_.load().y, 20.0f);
}

TEST_F(GsItemTest, StoresItsValues) {
  TestItem item(gs_vec2(30, 20), nullptr);
  item.MoveTo(gs_vec2(-1, 2));
  item.Resize(gs_vec2(3, 4));
  item.SetRotation(0.5f);
  item.SetZ(-7);
  item.SetVisible(false);
  item.SetHovered(true);
  item.SetSelected(true);
  EXPECT_EQ(item.pos().x, -1.0f);
  EXPECT_EQ(item.pos().y, 2.0f);
  EXPECT_EQ(item.size().x, 3.0f);
  EXPECT_EQ(item.size().y, 4.0f);
  EXPECT_EQ(item.base_size_.load().x, 30.0f);
  EXPECT_EQ(item.rotation(), 0.5f);
  EXPECT_EQ(item.z(), -7);
  EXPECT_FALSE(item.visible());
  EXPECT_TRUE(item.hovered());
  EXPECT_TRUE(item.selected());
  const gs_vec2 turned = item.TurnPos();
  EXPECT_EQ(turned.x, 2.0f);
  EXPECT_EQ(turned.y, -1.0f);
  auto* scene = reinterpret_cast<GsScene*>(&item);  // Never looked into.
  item.SetScene(scene);
  EXPECT_EQ(item.scene(), scene);
  item.SetScene(nullptr);
  EXPECT_EQ(item.scene(), nullptr);
}

TEST_F(GsItemTest, IsTickedWhileAttached) {
  TestItem item(nullptr);
  device()->TickSource();
  EXPECT_EQ(item.ticks, 0);
  item.Attach();
  item.Attach();
  device()->TickSource();
  EXPECT_EQ(item.ticks, 1);
  item.Detach();
  device()->TickSource();
  EXPECT_EQ(item.ticks, 1);
  item.Detach();
  item.Attach();
  device()->TickSource();
  EXPECT_EQ(item.ticks, 2);
  item.Detach();
}

TEST_F(GsItemTest, DoesNothingByDefault) {
  class PlainItem : public GsItem {
   public:
    using GsItem::GsItem;
    void AddRef() override {}
    void Release() override {}
  };
  PlainItem item(nullptr);
  item.Draw();
  item.Attach();
  device()->TickSource();
  item.Detach();
}

TEST_F(GsItemTest, MayDetachItselfInItsTick) {
  class Leaving : public TestItem {
   public:
    using TestItem::TestItem;
    void TickSource() override {
      TestItem::TickSource();
      Detach();
    }
  };
  Leaving item(nullptr);
  item.Attach();
  device()->TickSource();
  device()->TickSource();
  EXPECT_EQ(item.ticks, 1);
}

TEST_F(GsItemTest, LeavesTheContextWhenDestroyedAttached) {
  {
    TestItem item(nullptr);
    item.Attach();
  }
  device()->TickSource();
}

TEST_F(GsItemTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  TestItem item(gs_vec2(1, 2), nullptr);
  item.Attach();
  item.Attach();
  item.Detach();
  EXPECT_EQ(item.ticks, 0);
  EXPECT_EQ(item.size().y, 2.0f);
}

TEST_F(GsItemTest, AnInertItemMayBeDestroyedAttached) {
  GsDevice::DestroyDefaultDevice();
  TestItem item(nullptr);
  item.Attach();
}

TEST_F(GsItemTest, WorksOnAnEngineWithoutAContext) {
  fake::options().context = false;
  MakeDevice();
  TestItem item(nullptr);
  item.Attach();
  device()->TickSource();
  item.Detach();
  EXPECT_EQ(item.ticks, 0);
}

TEST_F(GsItemTest, AttachAndDetachHoldTheContextsLock) {
  ProbedContext* const context = ProbedContext::PutInto(engine());
  TestItem item(nullptr);
  item.Attach();
  item.Detach();
  EXPECT_EQ(context->probes(), 2);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST(GsItemSlotTest, VirtualOperationsKeepTheirOrder) {
  EXPECT_EQ(Slot(&RefCountInterface::AddRef), 0);
  EXPECT_EQ(Slot(&RefCountInterface::Release), 1);
  EXPECT_EQ(Slot(&GsItem::TickSource), 4);
  EXPECT_EQ(Slot(&GsItem::Draw), 5);
}

}  // namespace
