// The host's side of a scene.
#include <quarn/gs_scene.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <quarn/gs_item.h>

#include "foundation/event.h"
#include "graphics/public/gs_scene_use.h"
#include "tests/graphics/public/facade_test.h"
#include "tests/graphics/public/lock_probe.h"
#include "tests/support/allocation_counter.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Counts its references without deleting itself, and records what is called.
class TestItem : public GsItem {
 public:
  explicit TestItem(std::string name = "item") : GsItem(nullptr), name_(std::move(name)) {}
  void AddRef() override { ++references; }
  void Release() override { --references; }
  void TickSource() override { fake::Record(name_ + " ticked"); }
  void Draw() override { fake::Record(name_ + " drawn"); }
  const std::string& name() const { return name_; }

  std::atomic<int> references{0};

 private:
  std::string name_;
};

class TestScene : public GsScene {
 public:
  explicit TestScene(GsDevice* device = nullptr) : GsScene(640, 480, device) {}
  void AddRef() override { fake::Record("host AddRef"); }
  void Release() override { fake::Record("host Release"); }
};

bool CollectName(GsItem* item, void* user) {
  static_cast<std::vector<std::string>*>(user)->push_back(static_cast<TestItem*>(item)->name());
  return true;
}

std::vector<std::string> Names(GsScene& scene) {
  std::vector<std::string> names;
  scene.EnumItems(CollectName, &names);
  return names;
}

class GsSceneTest : public FacadeWithDeviceTest {};

TEST_F(GsSceneTest, OwnsAnEngineScene) {
  {
    TestScene scene;
    EXPECT_EQ(scene.width(), 640u);
    EXPECT_EQ(scene.height(), 480u);
    EXPECT_NE(scene.impl(), nullptr);
  }
  EXPECT_EQ(fake::Calls().front(), "device.CreateScene 640 480");
  EXPECT_EQ(fake::Count("scene.~"), 1);
  EXPECT_THAT(errors(), IsEmpty());
}

void ExpectInert(GsScene& scene) {
  TestItem item;
  EXPECT_EQ(scene.impl(), nullptr);
  EXPECT_EQ(scene.width(), 0u);
  EXPECT_EQ(scene.height(), 0u);
  scene.AddItem(&item);
  scene.Attach();
  EXPECT_EQ(scene.item_count(), 1u);
  scene.OrderItem();
  scene.Draw();
  EXPECT_EQ(fake::Count("item drawn"), 1);
  scene.Detach();
  { const GsSceneUse use(&scene); }
  scene.RemoveItem(&item);
  EXPECT_EQ(item.references, 0);
}

TEST_F(GsSceneTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  TestScene scene;
  ExpectInert(scene);
}

TEST_F(GsSceneTest, IsInertWithAZeroSide) {
  class FlatScene : public GsScene {
   public:
    FlatScene() : GsScene(640, 0, nullptr) {}
    void AddRef() override {}
    void Release() override {}
  };
  FlatScene scene;
  ExpectInert(scene);
}

TEST_F(GsSceneTest, WorksOnAnEngineWithoutAContext) {
  fake::options().context = false;
  MakeDevice();
  TestItem item;
  TestScene scene;
  {
    const GsSceneUse use(&scene);
    scene.AddItem(&item);
    scene.RemoveItem(&item);
  }
  EXPECT_EQ(fake::Count("scene.Attach"), 1);
  EXPECT_EQ(fake::Count("scene.Detach"), 1);
}

TEST_F(GsSceneTest, AddItemTakesAReference) {
  TestItem item;
  TestScene scene;
  scene.AddItem(&item);
  EXPECT_EQ(scene.item_count(), 1u);
  EXPECT_EQ(item.references, 1);
  EXPECT_EQ(item.scene(), &scene);
}

TEST_F(GsSceneTest, AddingTwiceLeavesOneEntryAndOneReference) {
  TestItem first("first");
  TestItem second("second");
  TestScene scene;
  scene.AddItem(&first);
  scene.AddItem(&second);
  scene.AddItem(&first);
  EXPECT_EQ(scene.item_count(), 2u);
  EXPECT_EQ(first.references, 1);
  EXPECT_THAT(Names(scene), ElementsAre("first", "second"));
}

TEST_F(GsSceneTest, IgnoresNullItems) {
  TestScene scene;
  scene.AddItem(nullptr);
  scene.RemoveItem(nullptr);
  EXPECT_EQ(scene.item_count(), 0u);
}

TEST_F(GsSceneTest, ItemsAreTickedWhileTheSceneIsAttached) {
  TestItem before("before");
  TestItem after("after");
  TestScene scene;
  scene.AddItem(&before);
  device()->TickSource();
  EXPECT_EQ(fake::Count("before ticked"), 0);
  scene.Attach();
  scene.AddItem(&after);
  device()->TickSource();
  EXPECT_EQ(fake::Count("before ticked"), 1);
  EXPECT_EQ(fake::Count("after ticked"), 1);
  scene.Detach();
  device()->TickSource();
  EXPECT_EQ(fake::Count("before ticked"), 1);
  EXPECT_EQ(fake::Count("after ticked"), 1);
}

TEST_F(GsSceneTest, AddItemAttachesAnItemThatIsAlreadyInTheList) {
  TestItem item;
  TestScene scene;
  scene.Attach();
  scene.AddItem(&item);
  item.Detach();
  scene.AddItem(&item);
  device()->TickSource();
  EXPECT_EQ(fake::Count("item ticked"), 1);
  scene.Detach();
}

TEST_F(GsSceneTest, AttachIsIdempotent) {
  TestScene scene;
  scene.Attach();
  scene.Attach();
  EXPECT_EQ(fake::Count("scene.Attach"), 1);
  scene.Detach();
}

TEST_F(GsSceneTest, RemoveItemGivesTheReferenceBack) {
  TestItem item;
  TestScene scene;
  scene.Attach();
  scene.AddItem(&item);
  scene.RemoveItem(&item);
  EXPECT_EQ(scene.item_count(), 0u);
  EXPECT_EQ(item.references, 0);
  EXPECT_EQ(item.scene(), nullptr);
  device()->TickSource();
  EXPECT_EQ(fake::Count("item ticked"), 0);
  scene.Detach();
}

TEST_F(GsSceneTest, RemovingAnItemThatIsNotInTheListDetachesIt) {
  TestItem item;
  TestScene scene;
  item.Attach();
  scene.RemoveItem(&item);
  device()->TickSource();
  EXPECT_EQ(fake::Count("item ticked"), 0);
  EXPECT_EQ(item.references, 0);
}

// Deletes itself with its last reference, and tells.
class OwnedItem : public TestItem {
 public:
  using TestItem::TestItem;
  ~OwnedItem() override { fake::Record(name() + " deleted"); }
  void AddRef() override { ++references; }
  void Release() override {
    if (--references == 0) delete this;
  }
};

TEST_F(GsSceneTest, RemovingTheLastReferenceDetachesFirst) {
  class ToldContext : public GraphicsContextImpl {
   public:
    void RemoveItem(GraphicsItem* item) override {
      fake::Record("left");
      GraphicsContextImpl::RemoveItem(item);
    }
  };
  engine()->context = std::make_unique<ToldContext>();
  TestScene scene;
  scene.Attach();
  auto* const item = new OwnedItem;
  scene.AddItem(item);
  EXPECT_EQ(item->references, 1);
  fake::ClearCalls();
  scene.RemoveItem(item);
  const auto calls = fake::Calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[0], "left");
  EXPECT_EQ(calls[1], "item deleted");
  device()->TickSource();
  scene.Detach();
}

TEST_F(GsSceneTest, OrderItemSortsByZAndKeepsTheOrderOfEquals) {
  TestItem a("a"), b("b"), c("c"), d("d"), e("e");
  TestScene scene;
  a.SetZ(5);
  b.SetZ(-1);
  c.SetZ(5);
  d.SetZ(-1);
  e.SetZ(0);
  for (TestItem* item : {&a, &b, &c, &d, &e}) scene.AddItem(item);
  EXPECT_THAT(Names(scene), ElementsAre("a", "b", "c", "d", "e"));
  scene.OrderItem();
  EXPECT_THAT(Names(scene), ElementsAre("b", "d", "e", "a", "c"));
  scene.OrderItem();
  EXPECT_THAT(Names(scene), ElementsAre("b", "d", "e", "a", "c"));
}

TEST_F(GsSceneTest, OnlyOrderItemSorts) {
  TestItem high("high"), low("low");
  TestScene scene;
  high.SetZ(1);
  scene.AddItem(&high);
  scene.AddItem(&low);
  low.SetZ(-1);
  EXPECT_THAT(Names(scene), ElementsAre("high", "low"));
}

TEST_F(GsSceneTest, EnumItemsStopsAtFalse) {
  TestItem a("a"), b("b"), c("c");
  TestScene scene;
  for (TestItem* item : {&a, &b, &c}) scene.AddItem(item);
  int visited = 0;
  scene.EnumItems(
      [](GsItem*, void* user) {
        ++*static_cast<int*>(user);
        return false;
      },
      &visited);
  EXPECT_EQ(visited, 1);
  scene.EnumItems(nullptr, nullptr);
}

TEST_F(GsSceneTest, EnumItemsKeepsRemovedItemsAlive) {
  TestScene scene;
  scene.AddItem(new OwnedItem("first"));
  scene.AddItem(new OwnedItem("second"));
  // The first visit empties the scene; the walk goes on over its copy.
  scene.EnumItems(
      [](GsItem* item, void* user) {
        auto* const all = static_cast<GsScene*>(user);
        fake::Record(static_cast<TestItem*>(item)->name() + " visited");
        all->EnumItems(
            [](GsItem* other, void* scene_again) {
              static_cast<GsScene*>(scene_again)->RemoveItem(other);
              return true;
            },
            user);
        return true;
      },
      &scene);
  const std::vector<std::string> calls = fake::Calls();
  ASSERT_THAT(calls, SizeIs(5));
  EXPECT_EQ(calls[1], "first visited");
  EXPECT_EQ(calls[2], "second visited");
  EXPECT_EQ(fake::Count("first deleted"), 1);
  EXPECT_EQ(fake::Count("second deleted"), 1);
  EXPECT_EQ(scene.item_count(), 0u);
}

TEST_F(GsSceneTest, DrawsVisibleItemsInOrder) {
  TestItem a("a"), b("b"), c("c");
  TestScene scene;
  for (TestItem* item : {&a, &b, &c}) scene.AddItem(item);
  b.SetVisible(false);
  fake::ClearCalls();
  scene.Draw();
  EXPECT_THAT(fake::Calls(), ElementsAre("a drawn", "c drawn"));
}

TEST_F(GsSceneTest, AHiddenItemIsTickedButNotDrawn) {
  TestItem item;
  TestScene scene;
  item.SetVisible(false);
  scene.AddItem(&item);
  const GsSceneUse use(&scene);
  device()->TickSource();
  device()->OutputFrame(0, 0);
  EXPECT_EQ(fake::Count("item ticked"), 1);
  EXPECT_EQ(fake::Count("item drawn"), 0);
  item.SetVisible(true);
  device()->OutputFrame(0, 0);
  EXPECT_EQ(fake::Count("item drawn"), 1);
}

TEST_F(GsSceneTest, AnOverrideOfDrawIsCalled) {
  class OwnScene : public TestScene {
   public:
    void Draw() override { fake::Record("own Draw"); }
  };
  OwnScene scene;
  {
    const GsSceneUse use(&scene);
    device()->OutputFrame(0, 0);
    EXPECT_EQ(fake::Count("own Draw"), 1);
  }
  device()->OutputFrame(0, 0);
  EXPECT_EQ(fake::Count("own Draw"), 1);
}

TEST_F(GsSceneTest, AnItemMayRemoveItselfInDraw) {
  class Leaving : public OwnedItem {
   public:
    using OwnedItem::OwnedItem;
    void Draw() override {
      scene()->RemoveItem(this);
      fake::Record(name() + " still here");
    }
  };
  TestScene scene;
  scene.AddItem(new Leaving);
  fake::ClearCalls();
  scene.Draw();
  EXPECT_THAT(fake::Calls(), ElementsAre("item still here", "item deleted"));
}

TEST_F(GsSceneTest, AnItemThatHoldsItselfMayRemoveItselfInItsTick) {
  class Leaving : public OwnedItem {
   public:
    using OwnedItem::OwnedItem;
    void TickSource() override {
      fake::Record("left");
      scene()->RemoveItem(this);
    }
  };
  TestScene scene;
  scene.Attach();
  scoped_refptr<Leaving> item(new Leaving);
  scene.AddItem(item);
  device()->TickSource();
  device()->TickSource();
  EXPECT_EQ(fake::Count("left"), 1);
  EXPECT_EQ(item->references, 1);
  scene.Detach();
}

TEST_F(GsSceneTest, AnItemMayLoseItsLastReferenceInItsTick) {
  class Leaving : public RefCounted<GsItem> {
   public:
    Leaving() : RefCounted<GsItem>(nullptr) {}
    ~Leaving() override { fake::Record("gone"); }
    void TickSource() override {
      fake::Record("left");
      scene()->RemoveItem(this);
      // Now the item is destroyed.
    }
  };
  TestScene scene;
  scene.Attach();
  scene.AddItem(MakeRef<Leaving>());
  fake::ClearCalls();
  device()->TickSource();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.TickSource 0 0", "left", "gone"));
  device()->TickSource();
  EXPECT_EQ(fake::Count("left"), 1);
  EXPECT_EQ(scene.item_count(), 0u);
  scene.Detach();
}

TEST_F(GsSceneTest, AnItemMayDrawAnotherScene) {
  class Nested : public TestItem {
   public:
    explicit Nested(GsScene* inner) : TestItem("outer"), inner_(inner) {}
    void Draw() override { inner_->Draw(); }

   private:
    GsScene* inner_;
  };
  TestItem a("a"), b("b");
  TestScene inner;
  inner.AddItem(&a);
  Nested nested(&inner);
  TestScene scene;
  scene.AddItem(&nested);
  scene.AddItem(&b);
  fake::ClearCalls();
  scene.Draw();
  scene.Draw();
  EXPECT_THAT(fake::Calls(), ElementsAre("a drawn", "b drawn", "a drawn", "b drawn"));
}

TEST_F(GsSceneTest, DrawKeepsNoReferences) {
  TestItem item;
  TestScene scene;
  scene.AddItem(&item);
  scene.Draw();
  EXPECT_EQ(item.references, 1);
}

TEST_F(GsSceneTest, DrawAllocatesNothingInSteadyState) {
  class QuietItem : public TestItem {
   public:
    void Draw() override {}
  };
  QuietItem items[20];
  TestScene scene;
  for (QuietItem& item : items) scene.AddItem(&item);
  scene.Draw();
  AllocationCounter counter;
  scene.Draw();
  scene.Draw();
  EXPECT_EQ(counter.count(), 0u);
}

TEST_F(GsSceneTest, EnumItemsAllocatesNothingInSteadyState) {
  TestItem items[20];
  TestScene scene;
  for (TestItem& item : items) scene.AddItem(&item);
  const auto enumerate = [&scene] {
    int visited = 0;
    const auto count = [](GsItem*, void* user) { return ++*static_cast<int*>(user) < 15; };
    scene.EnumItems(count, &visited);
    return visited;
  };
  enumerate();
  AllocationCounter counter;
  EXPECT_EQ(enumerate(), 15);
  EXPECT_EQ(enumerate(), 15);
  EXPECT_EQ(counter.count(), 0u);
}

TEST_F(GsSceneTest, AWalkKeepsNoReferencesBehind) {
  TestItem item;
  TestScene scene;
  scene.AddItem(&item);
  scene.Draw();
  scene.EnumItems([](GsItem*, void*) { return false; }, nullptr);
  EXPECT_EQ(item.references, 1);
}

TEST_F(GsSceneTest, DestructionDetachesAndReleasesItsItems) {
  class ToldContext : public GraphicsContextImpl {
   public:
    void RemoveItem(GraphicsItem* item) override {
      fake::Record("item left");
      GraphicsContextImpl::RemoveItem(item);
    }
  };
  engine()->context = std::make_unique<ToldContext>();
  TestItem item;
  {
    TestScene scene;
    scene.AddItem(&item);
    item.Attach();
    fake::ClearCalls();
  }
  // The engine's scene goes first.
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.~", "texture.~", "item left"));
  EXPECT_EQ(item.references, 0);
  EXPECT_EQ(item.scene(), nullptr);
  device()->TickSource();
  EXPECT_EQ(fake::Count("item ticked"), 0);
}

TEST_F(GsSceneTest, AnItemOfAnotherSceneKeepsItWhenTheFirstIsDestroyed) {
  TestItem item;
  TestScene second;
  {
    TestScene first;
    first.AddItem(&item);
    second.AddItem(&item);
  }
  EXPECT_EQ(item.scene(), &second);
  EXPECT_EQ(item.references, 1);
}

TEST_F(GsSceneTest, DestructionWhileAttachedIsNamedAndLeavesTheContext) {
  TestItem item;
  {
    TestScene scene;
    scene.AddItem(&item);
    scene.Attach();
  }
  EXPECT_THAT(errors(), ElementsAre("[GsScene] destroyed while attached: release its outputs and views first"));
  fake::ClearCalls();
  device()->TickSource();
  device()->OutputFrame(0, 0);
  EXPECT_EQ(fake::Count("item ticked"), 0);
}

TEST_F(GsSceneTest, AttachingHoldsTheContextsLock) {
  ProbedContext* const context = ProbedContext::PutInto(engine());
  fake::options().on_call = [context](const std::string& call) {
    if (call == "scene.Attach" || call == "scene.Detach") context->Probe();
  };
  TestItem item;
  TestScene scene;
  scene.AddItem(&item);
  scene.Attach();  // Probes at the scene and at its item.
  scene.Detach();  // Probes there, too.
  scene.Attach();
  scene.RemoveItem(&item);
  scene.AddItem(&item);
  scene.Detach();
  EXPECT_EQ(context->probes(), 10);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST_F(GsSceneTest, AddingAnItemThatIsThereLeavesItsCountAlone) {
  class CountedItem : public TestItem {
   public:
    void AddRef() override {
      ++counted;
      TestItem::AddRef();
    }
    void Release() override {
      ++counted;
      TestItem::Release();
    }
    int counted = 0;
  };
  CountedItem item;
  TestScene scene;
  scene.AddItem(&item);
  EXPECT_EQ(item.counted, 1);
  scene.AddItem(&item);
  scene.Attach();
  scene.AddItem(&item);
  scene.Detach();
  EXPECT_EQ(item.counted, 1);
  scene.RemoveItem(&item);
  EXPECT_EQ(item.counted, 2);
  scene.RemoveItem(&item);
  EXPECT_EQ(item.counted, 2);
}

// Who changes the list holds the context's lock: were it to wait there for a walk, so would the render thread.
TEST_F(GsSceneTest, ChangesAndFramesDoNotWaitForAWalk) {
  // Holds the thread that walks, wherever the walk calls the host.
  struct Gate {
    void Hold() {
      if (std::this_thread::get_id() != walker) return;
      entered.Signal();
      open.Wait();
    }
    std::thread::id walker;
    Event entered{true};
    Event open{true};
  };
  class HeldItem : public TestItem {
   public:
    explicit HeldItem(Gate* gate) : gate_(gate) {}
    void AddRef() override {
      gate_->Hold();
      TestItem::AddRef();
    }

   private:
    Gate* gate_;
  };
  Gate gate;
  HeldItem held(&gate);
  TestItem other("other");
  TestScene scene;
  scene.Attach();
  scene.AddItem(&held);
  std::thread walker([&] {
    gate.walker = std::this_thread::get_id();
    const auto hold = [](GsItem*, void* user) {
      static_cast<Gate*>(user)->Hold();
      return true;
    };
    scene.EnumItems(hold, &gate);
  });
  gate.entered.Wait();
  Event done(true);
  std::thread changer([&] {
    scene.AddItem(&other);
    scene.OrderItem();
    device()->TickSource();
    scene.RemoveItem(&held);
    done.Signal();
  });
  EXPECT_FALSE(done.TimedWait(10000));
  EXPECT_EQ(fake::Count("other ticked"), 1);
  gate.open.Signal();
  walker.join();
  changer.join();
  scene.RemoveItem(&other);
  scene.Detach();
  EXPECT_EQ(held.references, 0);
}

// An item that goes to another scene at the moment at which its scene is destroyed.
TEST_F(GsSceneTest, AnItemThatGoesToAnotherSceneMeanwhileKeepsThatOne) {
  constexpr int kRounds = 200;
  class QuietScene : public GsScene {
   public:
    QuietScene() : GsScene(8, 8, nullptr) {}
    void AddRef() override {}
    void Release() override {}
  };
  TestItem items[50];
  QuietScene second;
  int lost = 0;
  for (int round = 0; round < kRounds; ++round) {
    auto first = std::make_unique<QuietScene>();
    for (TestItem& item : items) first->AddItem(&item);
    std::atomic<bool> taking{false};
    std::atomic<bool> destroyed{false};
    std::thread taker([&, former = first.get()] {
      taking = true;
      while (!destroyed) {
        for (TestItem& item : items) {
          // What two scenes do that take an item one after the other.
          item.SetScene(former);
          item.SetScene(&second);
          if (item.scene() != &second) ++lost;
        }
      }
    });
    while (!taking) std::this_thread::yield();
    first.reset();
    destroyed = true;
    taker.join();
  }
  EXPECT_EQ(lost, 0);
}

// Whoever comes first: an item is ticked if, and only if, it is in the list of an attached scene.
TEST_F(GsSceneTest, ItemsOfAnAttachedSceneAreAttachedWhoeverComesFirst) {
  class TickedItem : public TestItem {
   public:
    void TickSource() override { ++ticks; }
    std::atomic<int> ticks{0};
  };
  class QuietScene : public GsScene {
   public:
    QuietScene() : GsScene(8, 8, nullptr) {}
    void AddRef() override {}
    void Release() override {}
  };
  constexpr int kItems = 4;
  TickedItem items[kItems];
  QuietScene scene;
  for (int round = 0; round < 300; ++round) {
    std::atomic<int> ready{0};
    const auto run = [&](unsigned int seed) {
      std::minstd_rand random(seed);
      ++ready;
      while (ready < 3) std::this_thread::yield();
      for (int step = 0; step < 20; ++step) {
        TickedItem* const item = &items[random() % kItems];
        switch (random() % 5) {
          case 0: scene.Attach(); break;
          case 1: scene.Detach(); break;
          case 2: scene.OrderItem(); break;
          case 3: scene.AddItem(item); break;
          default: scene.RemoveItem(item); break;
        }
      }
    };
    std::thread first(run, 1u + 2u * static_cast<unsigned int>(round));
    std::thread second(run, 2u + 2u * static_cast<unsigned int>(round));
    ++ready;
    first.join();
    second.join();
    if (round % 2) scene.Attach();
    if (!(round % 2)) scene.Detach();
    std::vector<GsItem*> listed;
    const auto list = [](GsItem* item, void* user) {
      static_cast<std::vector<GsItem*>*>(user)->push_back(item);
      return true;
    };
    scene.EnumItems(list, &listed);
    for (TickedItem& item : items) item.ticks = 0;
    engine()->context->TickSource();
    for (TickedItem& item : items) {
      const bool is_listed = std::count(listed.begin(), listed.end(), &item) == 1;
      ASSERT_EQ(item.ticks, is_listed && round % 2 ? 1 : 0);
      ASSERT_EQ(item.scene(), is_listed ? &scene : nullptr);
      ASSERT_EQ(item.references, is_listed ? 1 : 0);
    }
  }
  scene.Detach();
  for (TickedItem& item : items) scene.RemoveItem(&item);
}

TEST_F(GsSceneTest, HostThreadsChangeTheListWhileItIsDrawn) {
  class CountedScene : public GsScene {
   public:
    using GsScene::GsScene;
    void AddRef() override {}
    void Release() override {}
  };
  class QuietItem : public GsItem {
   public:
    using GsItem::GsItem;
  };
  CountedScene scene(64, 64, nullptr);
  const GsSceneUse use(&scene);
  const auto change = [&scene](int z) {
    for (int i = 0; i < 200; ++i) {
      const scoped_refptr<GsItem> item = MakeRef<RefCounted<QuietItem>>(nullptr);
      item->SetZ(z);
      scene.AddItem(item);
      scene.OrderItem();
      scene.EnumItems([](GsItem* one, void*) { return one->visible(); }, nullptr);
      scene.RemoveItem(item);
    }
  };
  std::thread first(change, 1);
  std::thread second(change, -1);
  for (int i = 0; i < 200; ++i) {
    device()->TickSource();
    device()->OutputFrame(0, 0);
    scene.item_count();
  }
  first.join();
  second.join();
  EXPECT_EQ(scene.item_count(), 0u);
}

TEST(GsSceneSlotTest, VirtualOperationsKeepTheirOrder) {
  EXPECT_EQ(Slot(&RefCountInterface::AddRef), 0);
  EXPECT_EQ(Slot(&RefCountInterface::Release), 1);
  EXPECT_EQ(Slot(&GsScene::Draw), 4);
}

}  // namespace
