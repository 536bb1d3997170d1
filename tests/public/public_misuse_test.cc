// Hosts that call in the wrong order, or twice.
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr char kNotStopped[] = "[GsOutput] destroyed while started: call Stop first";

class GsOutputRawTest : public host::DrivenTest {};
class GsOutputTexTest : public host::DrivenTest {};
class GsSceneTest : public host::DrivenTest {};
class GsItemTest : public host::DrivenTest {};
class GsFilterTest : public host::DrivenTest {};

// The default OnFrame and OnTexture, and no Stop at the end.
class PlainRaw : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
};

class PlainTexture : public GsOutputTex {
 public:
  using GsOutputTex::GsOutputTex;
};

TEST_F(GsOutputRawTest, StartTwiceDeliversOnce) {
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  EXPECT_TRUE(receiver.Start());
  EXPECT_TRUE(receiver.Start());
  Frame(1);
  receiver.WaitFor(1);
  EXPECT_TRUE(receiver.Start());
  Frame(2);
  Frame(3);
  receiver.WaitFor(3);
  receiver.Stop();
  EXPECT_EQ(receiver.timestamps(), (std::vector<std::uint64_t>{1, 2, 3}));
}

TEST_F(GsOutputRawTest, StopMayComeTwiceAndBeforeStart) {
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.Stop();
  EXPECT_TRUE(receiver.Start());
  Frame(1);
  receiver.WaitFor(1);
  receiver.Stop();
  receiver.Stop();
  Frame(2);
  EXPECT_TRUE(receiver.Start());
  Frame(3);
  receiver.WaitFor(2);
  receiver.Stop();
  EXPECT_EQ(receiver.timestamps(), (std::vector<std::uint64_t>{1, 3}));
}

// The output stays registered and its bridge is never freed: nothing of the device may be used afterwards, so this
// happens in a process of its own.
TEST_F(GsOutputRawTest, DestroyingAStartedOneLogsTheMistake) {
  EXPECT_EXIT(
      {
        {
          const auto scene = MakeScene(8, 8, &device);
          PlainRaw output(scene, 8, 8, kGsFormatRGBA, &device);
          output.Start();
        }
        _exit(host::log::Count(kQnLogError, kNotStopped) == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(GsOutputTexTest, DestroyingAStartedOneLogsTheMistake) {
  EXPECT_EXIT(
      {
        {
          const auto scene = MakeScene(8, 8, &device);
          PlainTexture output(scene, 8, 8, &device);
          output.Start();
        }
        _exit(host::log::Count(kQnLogError, kNotStopped) == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(GsOutputRawTest, DestroyingAStoppedOrNeverStartedOneLogsNothing) {
  const auto scene = MakeScene(8, 8, &device);
  {
    PlainRaw never(scene, 8, 8, kGsFormatRGBA, &device);
    PlainRaw stopped(scene, 8, 8, kGsFormatRGBA, &device);
    stopped.Start();
    stopped.Stop();
    PlainTexture never_texture(scene, 8, 8, &device);
    PlainTexture stopped_texture(scene, 8, 8, &device);
    stopped_texture.Start();
    stopped_texture.Stop();
  }
  EXPECT_EQ(host::log::Complaints(), "");
  Frame(1);
}

TEST_F(GsOutputRawTest, DefaultOnFrameLogsTheTimestamp) {
  const auto scene = MakeScene(8, 8, &device);
  PlainRaw output(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(output.Start());
  Frame(123);
  EXPECT_TRUE(host::log::WaitFor(kQnLogDebug, "Output frame: 123"));
  output.Stop();
  EXPECT_EQ(host::log::Count(kQnLogDebug, "Output frame: 123"), 1);
}

TEST_F(GsOutputTexTest, DefaultOnTextureLogsTheTimestamp) {
  const auto scene = MakeScene(8, 8, &device);
  PlainTexture output(scene, 8, 8, &device);
  ASSERT_TRUE(output.Start());
  Frame(456);
  output.Stop();
  EXPECT_EQ(host::log::Count(kQnLogDebug, "Output texture: 456"), 1);
}

TEST_F(GsOutputTexTest, StartAndStopMayBeRepeated) {
  const auto scene = MakeScene(8, 8, &device);
  host::TextureReceiver receiver(scene, 8, 8, &device);
  receiver.Stop();
  EXPECT_TRUE(receiver.Start());
  EXPECT_TRUE(receiver.Start());
  Frame(1);
  receiver.Stop();
  receiver.Stop();
  Frame(2);
  EXPECT_TRUE(receiver.Start());
  Frame(3);
  EXPECT_EQ(receiver.timestamps(), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(GsSceneTest, KeepsAnItemOnceAndRemovesItOnce) {
  std::atomic<int> destroyed{0};
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  auto item = MakeItem(gs_vec2(8, 8), &device);
  item->destroyed = &destroyed;
  scene->AddItem(item);
  scene->AddItem(item);
  EXPECT_EQ(scene->item_count(), 1u);
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 1);
  EXPECT_EQ(item->draws, 1);
  scene->RemoveItem(item);
  EXPECT_EQ(item->scene(), nullptr);
  scene->RemoveItem(item);
  EXPECT_EQ(scene->item_count(), 0u);
  Frame(2);
  EXPECT_EQ(item->ticks.value(), 1);
  EXPECT_EQ(destroyed, 0);
  item = nullptr;
  EXPECT_EQ(destroyed, 1);
}

TEST_F(GsSceneTest, RemovesAnItemThatNobodyElseHolds) {
  std::atomic<int> destroyed{0};
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  host::Item* held_by_scene = nullptr;
  {
    const auto item = MakeItem(gs_vec2(8, 8), &device);
    item->destroyed = &destroyed;
    held_by_scene = item;
    scene->AddItem(item);
  }
  Frame(1);
  EXPECT_EQ(destroyed, 0);
  scene->RemoveItem(held_by_scene);
  EXPECT_EQ(destroyed, 1);
  Frame(2);
}

TEST_F(GsSceneTest, RemovingAnItemOfAnotherSceneStopsItsTicks) {
  const auto scene = MakeScene(8, 8, &device);
  const auto other = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  other->RemoveItem(item);  // Detaches it, found or not.
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 0);
  EXPECT_EQ(item->draws, 1) << "its scene still draws it";
  EXPECT_EQ(item->scene(), scene.get());
}

TEST_F(GsSceneTest, ItemInTwoScenesIsTickedOnceAndDrawnTwice) {
  const auto first = MakeScene(8, 8, &device);
  const auto second = MakeScene(8, 8, &device);
  host::Receiver first_receiver(first, 8, 8, kGsFormatRGBA, &device);
  host::Receiver second_receiver(second, 8, 8, kGsFormatRGBA, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  first->AddItem(item);
  second->AddItem(item);
  EXPECT_EQ(item->scene(), second.get()) << "the last scene that took it";
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 1);
  EXPECT_EQ(item->draws, 2);
  first->RemoveItem(item);
  Frame(2);
  EXPECT_EQ(item->draws, 3);
  second->RemoveItem(item);
  Frame(3);
  EXPECT_EQ(item->draws, 3);
}

TEST_F(GsSceneTest, ItemOutlivesTheScenesThatHeldIt) {
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  {
    const auto first = MakeScene(8, 8, &device);
    const auto second = MakeScene(8, 8, &device);
    first->AddItem(item);
    second->AddItem(item);
  }
  EXPECT_EQ(item->scene(), nullptr);
  const auto third = MakeScene(8, 8, &device);
  third->AddItem(item);
  host::Receiver receiver(third, 8, 8, kGsFormatRGBA, &device);
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 1);
  EXPECT_EQ(item->draws, 1);
}

TEST_F(GsSceneTest, LivesOnWhileAnOutputUsesIt) {
  std::atomic<int> scenes{0};
  std::atomic<int> items{0};
  {
    auto scene = MakeScene(8, 8, &device);
    auto item = MakeItem(gs_vec2(8, 8), &device);
    host::Item* const seen = item;
    scene->destroyed = &scenes;
    item->destroyed = &items;
    scene->AddItem(item);
    host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
    ASSERT_TRUE(receiver.Start());
    item = nullptr;
    scene = nullptr;
    Frame(1);
    EXPECT_EQ(seen->ticks.value(), 1);
    EXPECT_EQ(receiver.WaitFor(1).size(), 1u);
    EXPECT_EQ(scenes, 0);
    EXPECT_EQ(items, 0);
  }
  EXPECT_EQ(scenes, 1);
  EXPECT_EQ(items, 1);
  Frame(2);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(GsSceneTest, DetachedByTheLastOfItsOutputs) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  auto first = std::make_unique<host::Receiver>(scene, 8, 8, kGsFormatRGBA, &device);
  auto second = std::make_unique<host::TextureReceiver>(scene, 8, 8, &device);
  Frame(1);
  first.reset();
  Frame(2);
  EXPECT_EQ(item->ticks.value(), 2);
  second.reset();
  Frame(3);
  EXPECT_EQ(item->ticks.value(), 2);
  host::Receiver third(scene, 8, 8, kGsFormatRGBA, &device);
  Frame(4);
  EXPECT_EQ(item->ticks.value(), 3);
}

TEST_F(GsSceneTest, DestroyedWhileAttachedLogsTheMistake) {
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  {
    const auto scene = MakeScene(8, 8, &device);
    scene->AddItem(item);
    scene->Attach();
  }
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsScene] destroyed while attached"), 1);
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 0);
}

TEST_F(GsSceneTest, EnumItemsStopsAtTheFirstFalseAndKeepsWhatIsRemoved) {
  std::atomic<int> destroyed{0};
  const auto scene = MakeScene(8, 8, &device);
  for (int i = 0; i < 3; ++i) {
    const auto item = MakeItem(gs_vec2(8, 8), &device);
    item->destroyed = &destroyed;
    scene->AddItem(item);
  }
  int visited = 0;
  scene->EnumItems(
      [](GsItem*, void* count) {
        ++*static_cast<int*>(count);
        return false;
      },
      &visited);
  EXPECT_EQ(visited, 1);
  struct Walk {
    GsScene* scene;
    std::atomic<int>* destroyed;
    int visited;
  } walk{scene, &destroyed, 0};
  scene->EnumItems(
      [](GsItem* item, void* p) {
        auto* const w = static_cast<Walk*>(p);
        w->scene->RemoveItem(item);
        EXPECT_EQ(*w->destroyed, 0) << "the walk holds references";
        ++w->visited;
        return true;
      },
      &walk);
  EXPECT_EQ(walk.visited, 3);
  EXPECT_EQ(scene->item_count(), 0u);
  EXPECT_EQ(destroyed, 3);
}

TEST_F(GsItemTest, DestroyedWhileAttachedIsNoLongerTicked) {
  {
    const auto item = MakeItem(gs_vec2(8, 8), &device);
    item->Attach();
    item->Attach();
    Frame(1);
    EXPECT_EQ(item->ticks.value(), 1);
  }
  Frame(2);
}

TEST_F(GsFilterTest, AttachAndDetachMayBeRepeated) {
  class Filter : public GsFilter {
   public:
    explicit Filter(GsDevice* device) : GsFilter(8, 8, device) {}
    void Draw() override { ++draws; }
    int draws = 0;
  };
  {
    Filter filter(&device);
    filter.Detach();
    filter.Attach();
    filter.Attach();
    Frame(1);
    EXPECT_EQ(filter.draws, 1);
    filter.Detach();
    filter.Detach();
    Frame(2);
    EXPECT_EQ(filter.draws, 1);
    filter.Attach();
    // Destroyed while attached: it takes itself out.
  }
  EXPECT_EQ(host::log::Count(kQnLogError, "[GsFilter] destroyed while attached: call Detach first"), 1);
  Frame(3);
  EXPECT_TRUE(host::DrivenDeviceWorks(&device));
}

TEST_F(GsFilterTest, ResizeGivesANewWrapperOfTheSameTarget) {
  GsFilter filter(8, 6, &device);
  GsTexture* const before = filter.texture();
  ASSERT_NE(before, nullptr);
  EXPECT_EQ(before->width(), 8u);
  filter.Resize(20, 10);
  EXPECT_NE(filter.texture(), before);
  EXPECT_EQ(filter.width(), 20u);
  EXPECT_EQ(filter.height(), 10u);
  EXPECT_EQ(filter.texture()->width(), 8u) << "the target keeps the size of its creation";
}

TEST(GsDeviceTest, InitTwiceMakesOneEngine) {
  GsDevice device;
  ASSERT_TRUE(device.Init());
  GraphicsDevice* const engine = device.impl();
  EXPECT_TRUE(device.Init());
  EXPECT_EQ(device.impl(), engine);
}

TEST(GsDeviceTest, QueuedTasksOfADestroyedDeviceAreDropped) {
  bool ran = false;
  {
    GsDevice device;
    ASSERT_TRUE(device.Init());
    device.QueueTask([](void* flag) { *static_cast<bool*>(flag) = true; }, &ran);
  }
  EXPECT_FALSE(ran);
}

TEST(GsDeviceTest, StagesOnAnyThreadWork) {
  GsDevice device;
  ASSERT_TRUE(device.Init());
  // A host that drives the frames from one thread after another.
  for (int i = 0; i < 3; ++i) {
    std::thread([&device] {
      ASSERT_TRUE(device.InitThreadContext());
      EXPECT_TRUE(host::DrivenDeviceWorks(&device));
      device.UninitThreadContext();
    }).join();
  }
}

}  // namespace
