// Several host threads change everything that they may while frames are rendered. What is looked for is what the
// sanitizers see, a deadlock, and a device that has stopped working afterwards; what comes out of a frame meanwhile
// depends on who came first. Each test runs for a fixed time, because its point is to meet the render thread in as many
// places as that time allows.
#include "tests/public/host.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/stress/run_together.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr auto kDuration = std::chrono::seconds(2);

using stress::Random;
using stress::Work;

void RunTogether(const std::vector<Work>& works) { stress::RunTogether(works, kDuration); }

constexpr GsFormat kFormats[] = {kGsFormatRGBA, kGsFormatBGRA, kGsFormatI420, kGsFormatNV12};

constexpr char kTintName[] = "a tint with a long name";

class DrawingFilter : public GsFilter {
 public:
  DrawingFilter(GsTexture* source, GsDevice* device) : GsFilter(16, 16, device), source_(source), device_(device) {}
  ~DrawingFilter() override { Detach(); }
  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, 16, 16);
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(source_);
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(16, 16)), gs_vec2(16, 16));
    context.UnbindShader();
  }

 private:
  GsTexture* source_;
  GsDevice* device_;
};

class HostStressTest : public host::ThreadedTest {
 protected:
  void SetUp() override {
    ThreadedTest::SetUp();
    device->SetFps(500);
    ASSERT_TRUE(device->AddShader(kTintName, glsl_src[kGsGlslRgba + 1], host::kTintSource));
    ASSERT_TRUE(device->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
    pattern = host::MakePattern(16, 16, 128);
    texture = host::MakeTexture(pattern, device);
    constants = std::make_unique<GsConstantBuffer>(16, device);
    filter = std::make_unique<DrawingFilter>(texture.get(), device);
    filter->Attach();
    for (int i = 0; i < 3; ++i) scenes.push_back(MakeScene(32, 24, device));
    for (int i = 0; i < 12; ++i) {
      items.push_back(MakeItem(gs_vec2(16, 12), device));
      items.back()->texture = i % 2 ? texture.get() : filter->texture();
      if (i % 3 == 0) {
        items.back()->program = kTintName;
        items.back()->constants = constants.get();
      }
      scenes[static_cast<std::size_t>(i) % 3]->AddItem(items.back());
    }
  }

  void TearDown() override {
    EXPECT_TRUE(host::ThreadedDeviceWorks(device));
    for (const auto& scene : scenes) {
      for (const auto& item : items) scene->RemoveItem(item);
    }
    // The tasks point into the test.
    EXPECT_TRUE(host::PassFrames(device, 1));
    items.clear();
    scenes.clear();
    filter.reset();
    constants.reset();
    texture.reset();
    ThreadedTest::TearDown();
    EXPECT_EQ(host::log::Complaints(), "");
  }

  GsScene* AnyScene(Random& random) { return scenes[random() % scenes.size()]; }
  host::Item* AnyItem(Random& random) { return items[random() % items.size()]; }

  // An output of any kind for a few frames, which now and then takes longer than a frame to take one.
  Work UseOutputs() {
    return [this](Random& random) {
      GsScene* const scene = AnyScene(random);
      const GsFormat format = kFormats[random() % 4];
      const unsigned int width = 2 + static_cast<unsigned int>(random() % 40);
      const unsigned int height = 2 + static_cast<unsigned int>(random() % 40);
      host::Receiver raw(scene, width, height, format, device);
      const bool slow = random() % 4 == 0;
      raw.on_frame = [&, slow](int) {
        if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      };
      host::TextureReceiver receiver(scene, width, height, device);
      for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(raw.Start());
        EXPECT_TRUE(receiver.Start());
        if (i < 2) raw.WaitFor(raw.deliveries().size() + 1);
        if (random() % 2) receiver.Stop();
        raw.Stop();
      }
    };
  }

  Work ChangeItems() {
    return [this](Random& random) {
      GsScene* const scene = AnyScene(random);
      host::Item* const item = AnyItem(random);
      switch (random() % 6) {
        case 0: scene->AddItem(item); break;
        case 1: scene->RemoveItem(item); break;
        case 2:
          item->SetZ(static_cast<int>(random() % 10));
          scene->OrderItem();
          break;
        case 3:
          scene->EnumItems(
              [](GsItem* each, void*) {
                each->SetVisible(!each->visible());
                return true;
              },
              nullptr);
          break;
        case 4: {
          // One that lives as long as it is in the scene.
          const auto passing = MakeItem(gs_vec2(8, 8), device);
          passing->texture = texture.get();
          scene->AddItem(passing);
          if (random() % 2) std::this_thread::yield();
          scene->RemoveItem(passing);
          break;
        }
        default:
          item->MoveTo(gs_vec2(static_cast<float>(random() % 20), 1));
          item->Resize(gs_vec2(static_cast<float>(random() % 20), 9));
          item->SetRotation(static_cast<float>(random() % 6));
          item->SetHovered(!item->hovered());
          item->SetSelected(!item->selected());
          EXPECT_LE(scene->item_count(), items.size() + 4);
          break;
      }
    };
  }

  // Objects that come and go, and their use.
  Work MakeObjects() {
    return [this](Random& random) {
      const auto passing = host::MakeTexture(pattern, device);
      passing->Update(pattern.pixels.data(), 16 * 4, GsTexture::kTextureRGBA, 16, 16);
      const float values[4] = {1, 0.5f, 0.25f, 1};
      GsConstantBuffer passing_constants(values, sizeof(values), device);
      passing_constants.Update(values, 8);
      DrawingFilter passing_filter(passing.get(), device);
      passing_filter.Attach();
      const auto scene = MakeScene(1 + static_cast<unsigned int>(random() % 64), 16, device);
      const auto item = MakeItem(gs_vec2(16, 16), device);
      item->texture = passing_filter.texture();
      scene->AddItem(item);
      host::Receiver receiver(scene, 8, 8, kFormats[random() % 4], device);
      if (random() % 2) {
        EXPECT_TRUE(receiver.Start());
        receiver.WaitFor(1);
        receiver.Stop();
      }
      if (random() % 2) passing_filter.Detach();
      scene->RemoveItem(item);
      device->AddShader(random() % 2 ? "one name" : "another name", glsl_src[kGsGlslRgba + 1],
                        glsl_src[kGsGlslRgba + 2]);
    };
  }

  Work UpdateTexture() {
    return [this](Random&) { texture->Update(pattern.pixels.data(), 16 * 4, GsTexture::kTextureRGBA, 16, 16); };
  }

  Work UpdateConstants() {
    return [this](Random& random) {
      const float value = static_cast<float>(random() % 100) / 100.0f;
      const float values[4] = {value, value, 1, value};
      constants->Update(values, sizeof(values));
    };
  }

  Work QueueTasks() {
    return [this](Random& random) {
      for (int i = 0; i < 5; ++i) {
        device->QueueTask([](void* test) { static_cast<HostStressTest*>(test)->RunTask(); }, this);
        ++queued;
      }
      if (random() % 2) host::PassFrames(device, 1);
    };
  }

  Work ChangeRate() {
    return [this](Random& random) {
      device->SetFps(100 + static_cast<unsigned int>(random() % 900));
      EXPECT_GE(device->fps(), 100u);
      host::PassFrames(device, 1);
    };
  }

  void RunTask() {
    const auto passing = host::MakeColor(1, 2, 3, 4, device);
    const auto item = MakeItem(gs_vec2(4, 4), device);
    scenes[0]->AddItem(item);
    scenes[0]->RemoveItem(item);
    ++ran;
  }

  test::Picture pattern;
  std::unique_ptr<GsTexture> texture;
  std::unique_ptr<GsConstantBuffer> constants;
  std::unique_ptr<DrawingFilter> filter;
  std::vector<scoped_refptr<host::Scene>> scenes;
  std::vector<scoped_refptr<host::Item>> items;
  std::atomic<int> queued{0};
  std::atomic<int> ran{0};
};

TEST_F(HostStressTest, OutputsComeAndGo) { RunTogether({UseOutputs(), UseOutputs(), UseOutputs(), UseOutputs()}); }

TEST_F(HostStressTest, ItemsComeAndGo) {
  host::Receiver first(scenes[0], 32, 24, kGsFormatRGBA, device);
  host::TextureReceiver second(scenes[1], 32, 24, device);
  ASSERT_TRUE(first.Start());
  ASSERT_TRUE(second.Start());
  RunTogether({ChangeItems(), ChangeItems(), ChangeItems()});
  first.Stop();
  second.Stop();
}

TEST_F(HostStressTest, ObjectsComeAndGo) {
  host::Receiver receiver(scenes[0], 32, 24, kGsFormatNV12, device);
  ASSERT_TRUE(receiver.Start());
  RunTogether({MakeObjects(), MakeObjects(), UpdateTexture(), UpdateConstants()});
  receiver.Stop();
}

TEST_F(HostStressTest, TasksAndRates) {
  host::Receiver receiver(scenes[0], 32, 24, kGsFormatI420, device);
  ASSERT_TRUE(receiver.Start());
  RunTogether({QueueTasks(), QueueTasks(), ChangeRate()});
  receiver.Stop();
  EXPECT_TRUE(host::PassFrames(device, 1));
  EXPECT_EQ(ran, queued) << "no task is lost";
}

TEST_F(HostStressTest, EverythingAtOnce) {
  RunTogether({UseOutputs(), UseOutputs(), ChangeItems(), ChangeItems(), MakeObjects(), UpdateTexture(),
               UpdateConstants(), QueueTasks(), ChangeRate()});
  EXPECT_TRUE(host::PassFrames(device, 1));
  EXPECT_EQ(ran, queued);
}

// Callbacks that stop and start their own output while other threads do the same with others.
TEST_F(HostStressTest, OutputsRestartThemselves) {
  const auto restart_raw = [this](Random& random) {
    host::Receiver raw(AnyScene(random), 16, 12, kFormats[random() % 4], device);
    raw.on_frame = [&raw](int count) {
      if (count % 2 == 0) raw.Stop();
      if (count % 4 != 0) {
        EXPECT_TRUE(raw.Start());
      }
    };
    EXPECT_TRUE(raw.Start());
    raw.WaitFor(4);  // There it has stopped itself for good.
    raw.Stop();
  };
  const auto restart_texture = [this](Random& random) {
    host::TextureReceiver receiver(AnyScene(random), 16, 12, device);
    receiver.on_texture = [&receiver](GsTexture*, int count) {
      if (count % 2 == 0) receiver.Stop();
      if (count % 4 != 0) {
        EXPECT_TRUE(receiver.Start());
      }
    };
    EXPECT_TRUE(receiver.Start());
    receiver.WaitFor(4);
    receiver.Stop();
  };
  RunTogether({restart_raw, restart_raw, restart_texture, restart_texture, ChangeItems()});
}

// Outputs that start and stop themselves in their callbacks, are started and stopped from outside meanwhile, and go
// right after.
TEST_F(HostStressTest, OutputsThatRestartThemselvesAreStoppedAndDestroyed) {
  const auto stop_raw = [this](Random& random) {
    host::Receiver receiver(AnyScene(random), 16, 12, kFormats[random() % 4], device);
    receiver.on_frame = [&receiver](int count) {
      if (count % 3 != 0) receiver.Stop();
      EXPECT_TRUE(receiver.Start());
    };
    EXPECT_TRUE(receiver.Start());
    receiver.WaitFor(1 + random() % 3);
    EXPECT_TRUE(receiver.Start());
    receiver.Stop();
  };
  const auto stop_texture = [this](Random& random) {
    host::TextureReceiver receiver(AnyScene(random), 16, 12, device);
    receiver.on_texture = [&receiver](GsTexture*, int count) {
      if (count % 3 != 0) receiver.Stop();
      EXPECT_TRUE(receiver.Start());
    };
    EXPECT_TRUE(receiver.Start());
    receiver.WaitFor(1 + random() % 3);
    EXPECT_TRUE(receiver.Start());
    receiver.Stop();
  };
  RunTogether({stop_raw, stop_raw, stop_raw, stop_texture, stop_texture});
}

// A render thread that is always late never sleeps: it must not keep hosts out all the same. The margin is for a host's
// thread that the system lets wait between two of its steps; without a turn of its own it waits for several frames at
// each.
TEST_F(HostStressTest, LateRenderThreadLetsHostsIn) {
  constexpr int kSteps = 40;
  device->SetFps(1000);
  std::atomic<int> frames{0};
  const auto slow = MakeItem(gs_vec2(16, 12), device);
  slow->on_draw = [&frames] {
    ++frames;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
    while (std::chrono::steady_clock::now() < end) {
    }
  };
  scenes[0]->AddItem(slow);
  host::Receiver output(scenes[0], 16, 16, kGsFormatRGBA, device);
  output.Start();
  EXPECT_TRUE(host::PassFrames(device, 2));
  const int before = frames;
  for (int i = 0; i < kSteps / 2; ++i) {
    scenes[0]->AddItem(items[1]);
    scenes[0]->RemoveItem(items[1]);
  }
  EXPECT_LE(frames - before, kSteps * 3 / 2);
  output.Stop();
  scenes[0]->RemoveItem(slow);
}

// Threads that do nothing but walk a scene's items keep neither those who change them nor the render thread waiting:
// frames take about as long as beside as many threads that only count, however little of the machine is left for them.
TEST_F(HostStressTest, EnumeratingThreadsHoldUpNobody) {
  constexpr int kThreads = 8;
  constexpr int kFrames = 30;
  device->SetFps(30);
  host::Receiver output(scenes[0], 16, 16, kGsFormatRGBA, device);
  const auto time_of_frames = [&](const std::function<void()>& step) {
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        while (!over) step();
      });
    }
    threads.emplace_back([&] {
      while (!over) {
        scenes[0]->AddItem(items[1]);
        scenes[0]->RemoveItem(items[1]);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    const auto start = std::chrono::steady_clock::now();
    const int before = items[0]->ticks.value();
    EXPECT_TRUE(items[0]->ticks.WaitFor(before + kFrames));
    const auto time = std::chrono::steady_clock::now() - start;
    over = true;
    for (std::thread& thread : threads) thread.join();
    return std::chrono::duration<double>(time).count();
  };
  std::atomic<int> counter{0};
  const double beside_counting = time_of_frames([&] { ++counter; });
  const double beside_walking = time_of_frames([&] {
    // A microsecond an item, so that somebody is in the walk at any time.
    const auto count = [](GsItem*, void* user) {
      for (int i = 0; i < 200; ++i) ++*static_cast<std::atomic<int>*>(user);
      return true;
    };
    std::atomic<int> seen{0};
    scenes[0]->EnumItems(count, &seen);
    scenes[0]->item_count();
  });
  EXPECT_LT(beside_walking, 3 * beside_counting + 1) << "seconds for " << kFrames << " frames";
}

TEST(DeviceStressTest, DevicesComeAndGo) {
  const auto end = std::chrono::steady_clock::now() + kDuration;
  int rounds = 0;
  do {
    host::log::Clear();
    ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
    GsDevice::DefaultDevice()->SetFps(300);
    if (rounds % 2) {
      EXPECT_TRUE(host::ThreadedDeviceWorks(nullptr));
    }
    GsDevice::DestroyDefaultDevice();
    ++rounds;
  } while (std::chrono::steady_clock::now() < end);
  std::printf("[ TURNS    ] %d\n", rounds);
}

TEST(DeviceStressTest, DrivenDevicesOnSeveralThreads) {
  const auto drive = [](Random&) {
    GsDevice device;
    ASSERT_TRUE(device.Init());
    ASSERT_TRUE(device.InitThreadContext());
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(host::DrivenDeviceWorks(&device));
    device.UninitThreadContext();
  };
  RunTogether({drive, drive, drive});
}

}  // namespace
