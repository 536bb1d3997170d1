// Hosts whose objects outlive their device, and processes that are forked from a host.
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "tests/public/host.h"
#include "tests/support/gl_watch.h"
#include "tests/support/run_in_fork.h"
#include "tests/support/threads_left_behind.h"

namespace {

using host::MakeColor;
using host::MakeItem;
using host::MakeScene;
using test::RunInFork;

class Filter : public GsFilter {
 public:
  using GsFilter::GsFilter;
};

// What a host holds of a device, each thing if it was asked for.
struct Holdings {
  scoped_refptr<host::Scene> scene;
  scoped_refptr<host::Item> item;
  std::unique_ptr<GsTexture> texture;
  std::unique_ptr<GsConstantBuffer> constants;
  std::unique_ptr<Filter> filter;
  std::unique_ptr<GsViewImpl> view;
  std::unique_ptr<host::Receiver> raw;
  std::unique_ptr<host::TextureReceiver> output;
};

void MakeFilter(Holdings* held) {
  held->filter = std::make_unique<Filter>(8u, 8u, nullptr);
  held->filter->Attach();
}

void MakeView(Holdings* held) {
  held->view = std::make_unique<GsViewImpl>(GsWindowInfo{}, 32u, 32u, nullptr);
  held->view->Attch();
  held->view->SetScene(held->scene);
}

void MakeRaw(Holdings* held) {
  held->raw = std::make_unique<host::Receiver>(held->scene, 8u, 8u, kGsFormatRGBA, nullptr);
  EXPECT_TRUE(held->raw->Start());
}

void MakeOutput(Holdings* held) {
  held->output = std::make_unique<host::TextureReceiver>(held->scene, 8u, 8u, nullptr);
  EXPECT_TRUE(held->output->Start());
}

void MakeAll(Holdings* held) {
  held->scene = MakeScene(16, 16, nullptr);
  held->item = MakeItem(gs_vec2(8, 8), nullptr);
  held->texture = MakeColor(1, 2, 3, 255, nullptr);
  held->constants = std::make_unique<GsConstantBuffer>(16u, nullptr);
  held->item->texture = held->texture.get();
  held->scene->AddItem(held->item);
  MakeFilter(held);
  MakeView(held);
  MakeRaw(held);
  MakeOutput(held);
}

// Calls everything that a host may call on objects without a device.
void UseAll(Holdings* held) {
  const unsigned char pixel[4] = {9, 9, 9, 9};
  held->texture->Update(pixel, 4, GsTexture::kTextureRGBA, 1, 1);
  held->constants->Update(pixel, sizeof(pixel));
  EXPECT_FALSE(held->constants->Bind(0));
  held->constants->Unbind();
  { GsTextureBinder binder(held->texture.get(), held->filter->texture()); }
  held->filter->Detach();
  held->filter->Attach();
  held->filter->Resize(4, 4);
  held->raw->Stop();
  held->raw->Start();
  held->output->Stop();
  held->output->Start();
  held->view->Resize(40, 40);
  held->view->SetBackgroundColor(1, 0, 0, 1);
  held->view->SetScene(nullptr);
  held->view->SetScene(held->scene);
  held->view->Draw();
  held->view->Detach();
  held->view->Attch();
  held->scene->OrderItem();
  held->scene->Draw();
  held->scene->RemoveItem(held->item);
  held->scene->AddItem(held->item);
  held->scene->Detach();
  held->scene->Attach();
  held->item->Attach();
  held->item->Detach();
}

std::string DestroyedBefore(const std::string& objects) {
  return "[GsDevice] destroyed before its objects: " + objects + "; they do nothing any more";
}

// Destroys the default device and expects one line about what it leaves behind.
void DestroyAndExpect(const std::string& objects) {
  host::log::Clear();
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(host::log::Complaints(), objects.empty() ? "" : DestroyedBefore(objects) + "\n");
}

class LifetimeTest : public ::testing::Test {
 protected:
  const test::WrongOnPurpose wrong_;  // What outlives its device loses what GL has of it with the context.

  void SetUp() override { ASSERT_TRUE(GsDevice::CreateDefaultDevice(true)); }
  void TearDown() override { GsDevice::DestroyDefaultDevice(); }
};

TEST_F(LifetimeTest, EverythingMayOutliveItsDevice) {
  Holdings held;
  MakeAll(&held);
  held.raw->WaitFor(1);
  held.output->WaitFor(1);
  DestroyAndExpect("1 scene, 1 item, 1 filter, 1 view, 2 outputs, 1 texture, 1 constant buffer");
  host::log::Clear();
  UseAll(&held);
  held = Holdings();
  EXPECT_EQ(host::log::Complaints(),
            "[GsFilter] destroyed while attached: call Detach first\n"
            "[GsView] destroyed while attached: call Detach first\n");
}

TEST_F(LifetimeTest, NothingIsSaidOfADeviceThatGoesLast) {
  {
    Holdings held;
    MakeAll(&held);
    held.raw->WaitFor(1);
    held.view->Detach();
    held.filter->Detach();
  }
  DestroyAndExpect("");
}

TEST_F(LifetimeTest, EachKindIsNamed) {
  const scoped_refptr<host::Scene> scene = MakeScene(16, 16, nullptr);
  const scoped_refptr<host::Scene> other = MakeScene(16, 16, nullptr);
  DestroyAndExpect("2 scenes");

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  const auto items = {MakeItem(gs_vec2(), nullptr), MakeItem(gs_vec2(), nullptr), MakeItem(gs_vec2(), nullptr)};
  DestroyAndExpect("3 items");

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  const GsViewImpl view(GsWindowInfo{}, 32, 32, nullptr);
  DestroyAndExpect("1 view");

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  const Filter filter(8, 8, nullptr);
  DestroyAndExpect("1 filter");

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  const auto texture = MakeColor(1, 2, 3, 4, nullptr);
  const GsConstantBuffer one(16, nullptr);
  const GsConstantBuffer two(16, nullptr);
  DestroyAndExpect("1 texture, 2 constant buffers");
}

TEST_F(LifetimeTest, TheNextDeviceWorksBesideObjectsOfTheLast) {
  Holdings held;
  MakeAll(&held);
  held.raw->WaitFor(1);
  GsDevice::DestroyDefaultDevice();

  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_TRUE(host::ThreadedDeviceWorks(GsDevice::DefaultDevice()));
  host::log::Clear();
  const GsOutputRaw output(held.scene, 8, 8, kGsFormatRGBA, nullptr);
  EXPECT_EQ(host::log::Complaints(), "An output cannot be made for a scene of another device\n");
  UseAll(&held);
  held.view->Detach();
  held.filter->Detach();
}

TEST_F(LifetimeTest, LastReferenceOnTheSceneMayGoInAnOutputThatOutlivesTheDevice) {
  std::atomic<int> destroyed{0};
  auto scene = MakeScene(8, 8, nullptr);
  scene->destroyed = &destroyed;
  auto output = std::make_unique<host::Receiver>(scene, 8, 8, kGsFormatRGBA, nullptr);
  ASSERT_TRUE(output->Start());
  scene = nullptr;
  output->WaitFor(1);
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(destroyed, 0);
  output.reset();
  EXPECT_EQ(destroyed, 1);
}

// Static objects go when main has returned, and the device may have gone before them or not at all.
TEST(LifetimeDeathTest, StaticObjectsMayOutliveTheDevice) {
  const auto host_program = [](bool destroy) {
    alarm(60);
    GsDevice::CreateDefaultDevice(true);
    static Holdings held;
    MakeAll(&held);
    held.raw->WaitFor(1);
    if (destroy) GsDevice::DestroyDefaultDevice();
    std::exit(7);
  };
  const test::ThreadsLeftBehind left_behind;  // The render thread of a device that is never destroyed.
  const test::WrongOnPurpose wrong;
  EXPECT_EXIT(host_program(true), ::testing::ExitedWithCode(7), "");
  EXPECT_EXIT(host_program(false), ::testing::ExitedWithCode(7), "");
}

// A driver's own end comes with those that are called at exit: nobody may be drawing by then.
TEST(LifetimeDeathTest, NothingIsDrawnOnceTheProcessEnds) {
  static std::atomic<bool> ending{false};
  static auto& drawn = *new host::Flag;  // Whether a frame was drawn at the end.
  const auto host_program = [] {
    alarm(60);
    // Registered first, so called last.
    std::atexit([] {
      ending = true;
      _exit(drawn.Wait(300) ? 1 : 7);
    });
    GsDevice::CreateDefaultDevice(true);
    Holdings& held = *new Holdings;
    MakeAll(&held);
    const auto item = MakeItem(gs_vec2(8, 8), nullptr);
    item->on_draw = [] {
      if (ending) drawn.Set();
    };
    held.scene->AddItem(item);
    held.raw->WaitFor(3);
    std::exit(2);
  };
  const test::ThreadsLeftBehind left_behind;
  EXPECT_EXIT(host_program(), ::testing::ExitedWithCode(7), "");
}

constexpr char kLeftBehind[] = "[GsDevice] left behind: it belongs to the process that this one was forked from";

TEST_F(LifetimeTest, ForkedChildMayDestroyTheDevice) {
  Holdings held;
  MakeAll(&held);
  held.raw->WaitFor(1);
  EXPECT_EQ(RunInFork([] {
              GsDevice::DestroyDefaultDevice();
              if (GsDevice::DefaultDevice()) return 1;
              return host::log::Count(kQnLogError, kLeftBehind) == 1 ? 0 : 2;
            }),
            0);
  // The parent's device goes on.
  held.raw->WaitFor(held.raw->deliveries().size() + 3);
  held.view->Detach();
  held.filter->Detach();
}

// The render thread, which may have been drawing at that moment, is not there to let go of its locks.
TEST_F(LifetimeTest, ForkedChildMayDestroyEverything) {
  Holdings held;
  MakeAll(&held);
  for (int i = 0; i < 20; ++i) {
    host::Flag drawing;
    host::Flag forked;
    const auto item = MakeItem(gs_vec2(8, 8), nullptr);
    item->on_draw = [&] {
      if (drawing.IsSet()) return;
      drawing.Set();
      forked.Wait();
    };
    held.scene->AddItem(item);
    ASSERT_TRUE(drawing.Wait());
    EXPECT_EQ(RunInFork([&held] {
                held = Holdings();
                GsDevice::DestroyDefaultDevice();
                return GsDevice::DefaultDevice() ? 1 : 0;
              }),
              0);
    forked.Set();
    held.scene->RemoveItem(item);
  }
  held.view->Detach();
  held.filter->Detach();
}

}  // namespace
