// Frames as a device makes them: on its own render thread, and driven by the host.
#include <EGL/egl.h>
#include <sched.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr std::uint64_t kInterval100 = 10000000;  // Of 100 frames per second, in nanoseconds.

TEST(GsDeviceTest, DefaultDeviceIsMadeOnceAndDestroyed) {
  for (int round = 0; round < 2; ++round) {
    host::log::Clear();
    EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
    ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
    GsDevice* const device = GsDevice::DefaultDevice();
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(GsDevice::CreateDefaultDevice(false)) << "one exists";
    EXPECT_EQ(GsDevice::DefaultDevice(), device);
    EXPECT_EQ(device->fps(), 30u);
    EXPECT_EQ(host::log::Count(kQnLogError, "device create success"), 1);
    EXPECT_EQ(host::log::Count(kQnLogInfo, "starting graphics render thread"), 1);
    EXPECT_TRUE(host::ThreadedDeviceWorks(nullptr)) << "null is the default device";
    GsDevice::DestroyDefaultDevice();
    EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
    EXPECT_EQ(host::log::Count(kQnLogInfo, "graphics render thread stoped"), 1);
    EXPECT_EQ(host::log::Complaints(), "");
  }
  GsDevice::DestroyDefaultDevice();  // There is none: nothing happens.
}

TEST(GsDeviceTest, UnstartedDefaultDeviceIsDrivenByTheHost) {
  host::log::Clear();
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  EXPECT_EQ(host::log::Count(kQnLogInfo, "starting graphics render thread"), 0);
  ASSERT_TRUE(GsDevice::DefaultDevice()->InitThreadContext());
  EXPECT_TRUE(host::DrivenDeviceWorks(GsDevice::DefaultDevice()));
  GsDevice::DefaultDevice()->UninitThreadContext();
  GsDevice::DestroyDefaultDevice();
}

// What the system answers a thread that asks to be a real-time one.
bool SystemHasRealtimeThreads() {
  bool granted = false;
  std::thread([&granted] {
    sched_param param{};
    param.sched_priority = sched_get_priority_min(SCHED_RR);
    granted = sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &param) == 0;
  }).join();
  return granted;
}

// The scheduling class of a device's render thread, and what the device says of it, once it has taken what was asked
// for: tasks that are queued one behind the other have a frame between them.
std::pair<int, bool> RealtimeOf(GsDevice* device) {
  int policy = -1;
  for (int frame = 0; frame < 2; ++frame) {
    struct Asked {
      int policy = -1;
      host::Flag done;
    } asked;
    device->QueueTask(
        [](void* param) {
          static_cast<Asked*>(param)->policy = sched_getscheduler(0);
          static_cast<Asked*>(param)->done.Set();
        },
        &asked);
    EXPECT_TRUE(asked.done.Wait());
    policy = asked.policy;
  }
  return {policy, device->realtime()};
}

TEST(GsDeviceTest, TheRenderThreadIsRealTimeWhereTheSystemLetsIt) {
  constexpr int kRealtime = SCHED_RR | SCHED_RESET_ON_FORK;
  const bool granted = SystemHasRealtimeThreads();
  host::log::Clear();
  GsDevice device;
  device.SetRealtime(true);  // Without an engine.
  ASSERT_TRUE(device.Init());
  device.SetFps(100);
  ASSERT_TRUE(device.Start());
  EXPECT_EQ(RealtimeOf(&device), std::make_pair(SCHED_OTHER, false));
  device.SetRealtime(true);
  EXPECT_EQ(RealtimeOf(&device), std::make_pair(granted ? kRealtime : SCHED_OTHER, granted));
  device.SetRealtime(false);
  EXPECT_EQ(RealtimeOf(&device), std::make_pair(SCHED_OTHER, false));
  device.SetRealtime(true);
  device.Stop();
  EXPECT_FALSE(device.realtime());
  ASSERT_TRUE(device.Start());
  EXPECT_EQ(RealtimeOf(&device), std::make_pair(granted ? kRealtime : SCHED_OTHER, granted));
  device.Stop();
  EXPECT_EQ(host::log::CountContaining(kQnLogWarning, "The render thread does not become real-time: ") > 0, !granted);
}

TEST(GsDeviceTest, TwoDevicesRenderSideBySide) {
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  GsDevice second;
  ASSERT_TRUE(second.Init());
  ASSERT_TRUE(second.InitThreadContext());
  EXPECT_TRUE(host::DrivenDeviceWorks(&second));
  EXPECT_TRUE(host::ThreadedDeviceWorks(GsDevice::DefaultDevice()));
  EXPECT_TRUE(host::DrivenDeviceWorks(&second));
  second.UninitThreadContext();
  GsDevice::DestroyDefaultDevice();
}

class RenderThreadTest : public host::ThreadedTest {};

TEST_F(RenderThreadTest, RawFramesLieOnTheGrid) {
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  std::atomic<bool> render_thread{true};
  receiver.on_frame = [&](int) { render_thread = device->IsInternalRenderThread(); };
  const std::uint64_t before = qn_os_gettime_ns();
  ASSERT_TRUE(receiver.Start());
  const auto deliveries = receiver.WaitFor(20);
  receiver.Stop();
  ASSERT_EQ(deliveries.size(), 20u);
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), kInterval100));
  EXPECT_GE(deliveries.back().timestamp, before);
  EXPECT_LE(deliveries.back().timestamp, qn_os_gettime_ns());
  EXPECT_FALSE(render_thread) << "frames come on a thread of the output's own";
  for (const host::Delivery& delivery : deliveries) {
    EXPECT_EQ(delivery.format, 1u);
    EXPECT_EQ(delivery.thread, deliveries[0].thread);
  }
  EXPECT_NE(deliveries[0].thread, std::this_thread::get_id());
}

TEST_F(RenderThreadTest, ThreadsCarryTheLibrarysNames) {
  struct Callback : QnAudioMixer::Callback {
    void OnMixSamples(void**, unsigned int, unsigned long long) override { called.Set(); }
    void OnMixPeak(float) override {}
    host::Flag called;
  } callback;
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &callback);
  ASSERT_TRUE(mixer.Start());
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(receiver.WaitFor(1).size(), 1u);
  ASSERT_TRUE(callback.called.Wait());
  // The names by which whoever looks at the process from outside finds its threads.
  std::multiset<std::string> names;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream comm(task.path() / "comm");
    std::string name;
    std::getline(comm, name);
    names.insert(name);
  }
  for (const char* name : {"quarn-render", "quarn-output", "quarn-mixer"}) EXPECT_GE(names.count(name), 1u) << name;
  receiver.Stop();
  mixer.Stop();
}

TEST_F(RenderThreadTest, SetFpsMovesToANewGridWhileRunning) {
  constexpr std::uint64_t kNewInterval = 25000000;
  const auto scene = MakeScene(8, 8, device);
  host::TextureReceiver receiver(scene, 8, 8, device);
  ASSERT_TRUE(receiver.Start());
  ASSERT_EQ(receiver.WaitFor(4).size(), 4u);
  device->SetFps(40);
  EXPECT_EQ(device->fps(), 40u);
  // The change comes after the frame in hand, and a frame is output one frame later.
  const std::size_t changed = receiver.timestamps().size() + 3;
  const auto timestamps = receiver.WaitFor(changed + 8);
  ASSERT_EQ(timestamps.size(), changed + 8);
  for (std::size_t i = 1; i < timestamps.size(); ++i) EXPECT_GT(timestamps[i], timestamps[i - 1]);
  for (std::size_t i = 2; i < 4; ++i) EXPECT_EQ((timestamps[i] - timestamps[i - 1]) % kInterval100, 0u);
  for (std::size_t i = changed + 1; i < timestamps.size(); ++i) {
    EXPECT_EQ((timestamps[i] - timestamps[i - 1]) % kNewInterval, 0u) << i;
  }
}

TEST_F(RenderThreadTest, OutputKeepsTheRateOfItsCreation) {
  const auto scene = MakeScene(8, 8, device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, device);
  device->SetFps(50);
  host::TextureReceiver texture(scene, 8, 8, device);
  ASSERT_TRUE(texture.Start());
  ASSERT_EQ(texture.WaitFor(4).size(), 4u);  // On the new grid by now.
  ASSERT_TRUE(receiver.Start());
  const auto deliveries = receiver.WaitFor(8);
  ASSERT_EQ(deliveries.size(), 8u);
  // Frames are stamped by the loop; repeats of one are this output's own interval apart.
  for (std::size_t i = 1; i < deliveries.size(); ++i) {
    EXPECT_EQ((deliveries[i].timestamp - deliveries[0].timestamp) % kInterval100, 0u);
  }
}

// A host that drives the frames itself, and would destroy the device in every call that a stage makes.
TEST(DefaultDeviceTest, StaysWhenDestroyedInsideAStage) {
  constexpr char kRefused[] = "[GsDevice] the default device stays: it cannot be destroyed inside one of its stages";
  class Filter : public GsFilter {
   public:
    using GsFilter::GsFilter;
    void Draw() override { GsDevice::DestroyDefaultDevice(); }
  };
  class View : public GsView {
   public:
    using GsView::GsView;
    void Draw() override { GsDevice::DestroyDefaultDevice(); }
  };
  host::log::Clear();
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  GsDevice* const device = GsDevice::DefaultDevice();
  ASSERT_TRUE(device->InitThreadContext());
  const auto destroy = [] { GsDevice::DestroyDefaultDevice(); };
  {
    const auto scene = host::MakeScene(8, 8, nullptr);
    const auto item = host::MakeItem(gs_vec2(8, 8), nullptr);
    item->on_tick = destroy;
    item->on_draw = destroy;
    scene->AddItem(item);
    Filter filter(8, 8, nullptr);
    filter.Attach();
    View view(GsWindowInfo(), 8, 8, nullptr);
    view.Attch();
    host::TextureReceiver receiver(scene, 8, 8, nullptr);
    receiver.on_texture = [&](GsTexture*, int) { destroy(); };
    ASSERT_TRUE(receiver.Start());
    device->QueueTask([](void*) { GsDevice::DestroyDefaultDevice(); }, nullptr);

    int refused = 0;
    device->TickSource();
    EXPECT_EQ(host::log::Count(kQnLogError, kRefused), refused += 1);
    device->HandleFilter();
    EXPECT_EQ(host::log::Count(kQnLogError, kRefused), refused += 1);
    device->OutputFrame(1, 1);  // The item and the texture.
    EXPECT_EQ(host::log::Count(kQnLogError, kRefused), refused += 2);
    device->DrawDisplay();
    EXPECT_EQ(host::log::Count(kQnLogError, kRefused), refused += 1);
    device->DoTask();
    EXPECT_EQ(host::log::Count(kQnLogError, kRefused), refused += 1);
    ASSERT_EQ(GsDevice::DefaultDevice(), device);

    receiver.Stop();
    view.Detach();
    filter.Detach();
    scene->RemoveItem(item);
  }
  EXPECT_TRUE(host::DrivenDeviceWorks(device));
  device->UninitThreadContext();
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
}

TEST_F(RenderThreadTest, RefusesImpossibleRates) {
  for (const unsigned int fps : {0u, 1000000001u, std::numeric_limits<unsigned int>::max()}) {
    host::log::Clear();
    device->SetFps(fps);
    EXPECT_EQ(device->fps(), 100u);
    EXPECT_EQ(host::log::CountContaining(kQnLogWarning, "is refused"), 1);
  }
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

// What a task saw of where it ran.
struct Surroundings {
  GsDevice* device;
  bool render_thread = false;
  bool current = false;
  std::thread::id thread;
  host::Flag ran;

  static void Look(void* self) {
    auto* const surroundings = static_cast<Surroundings*>(self);
    surroundings->render_thread = surroundings->device->IsInternalRenderThread();
    surroundings->current = eglGetCurrentContext() != EGL_NO_CONTEXT;
    surroundings->thread = std::this_thread::get_id();
    surroundings->ran.Set();
  }
};

TEST_F(RenderThreadTest, TasksRunThereWithTheContextCurrent) {
  Surroundings surroundings{device, false, false, {}, {}};
  EXPECT_FALSE(device->IsInternalRenderThread());
  device->QueueTask(Surroundings::Look, &surroundings);
  ASSERT_TRUE(surroundings.ran.Wait());
  EXPECT_TRUE(surroundings.render_thread);
  EXPECT_TRUE(surroundings.current);
  EXPECT_NE(surroundings.thread, std::this_thread::get_id());
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

TEST_F(RenderThreadTest, TasksComeFromEveryCallback) {
  Surroundings from_tick{device, false, false, {}, {}};
  Surroundings from_draw{device, false, false, {}, {}};
  Surroundings from_raw{device, false, false, {}, {}};
  Surroundings from_texture{device, false, false, {}, {}};
  const auto queue_once = [this](Surroundings* surroundings, bool* queued) {
    if (!*queued) device->QueueTask(Surroundings::Look, surroundings);
    *queued = true;
  };
  bool ticked = false;
  bool drawn = false;
  const auto scene = MakeScene(8, 8, device);
  const auto item = MakeItem(gs_vec2(8, 8), device);
  item->on_tick = [&] { queue_once(&from_tick, &ticked); };
  item->on_draw = [&] { queue_once(&from_draw, &drawn); };
  scene->AddItem(item);
  host::Receiver raw(scene, 8, 8, kGsFormatRGBA, device);
  raw.on_frame = [&](int count) {
    if (count == 1) device->QueueTask(Surroundings::Look, &from_raw);
  };
  host::TextureReceiver texture(scene, 8, 8, device);
  texture.on_texture = [&](GsTexture*, int count) {
    if (count == 1) device->QueueTask(Surroundings::Look, &from_texture);
  };
  ASSERT_TRUE(raw.Start());
  ASSERT_TRUE(texture.Start());
  for (Surroundings* surroundings : {&from_tick, &from_draw, &from_raw, &from_texture}) {
    EXPECT_TRUE(surroundings->ran.Wait());
    EXPECT_TRUE(surroundings->render_thread);
    EXPECT_TRUE(surroundings->current);
  }
  texture.Stop();
  raw.Stop();
}

TEST_F(RenderThreadTest, DestroyingTheDeviceRunsWhatIsQueued) {
  Surroundings surroundings{device, false, false, {}, {}};
  device->QueueTask(Surroundings::Look, &surroundings);
  GsDevice::DestroyDefaultDevice();
  EXPECT_TRUE(surroundings.ran.IsSet()) << "the render thread drains the queue before it ends";
}

class DrivenDeviceTest : public host::DrivenTest {};

TEST_F(DrivenDeviceTest, DeliversEachFrameOnceWithItsTimestamp) {
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  const std::vector<std::uint64_t> timestamps = {0, 40, 41, 7, std::uint64_t{1} << 63, 1000};
  for (std::size_t i = 0; i < timestamps.size(); ++i) {
    Frame(timestamps[i]);
    ASSERT_EQ(receiver.WaitFor(i + 1).size(), i + 1);
  }
  receiver.Stop();
  EXPECT_EQ(receiver.timestamps(), timestamps);
}

TEST_F(DrivenDeviceTest, RepeatsAFrameThatStandsForSeveralPeriods) {
  device.SetFps(100);
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1000, 3);
  Frame(2000, 1);
  receiver.WaitFor(4);
  receiver.Stop();
  EXPECT_EQ(receiver.timestamps(),
            (std::vector<std::uint64_t>{1000, 1000 + kInterval100, 1000 + 2 * kInterval100, 2000}));
}

TEST_F(DrivenDeviceTest, ZeroPeriodsRenderAndDeliverNothing) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  host::Receiver raw(scene, 8, 8, kGsFormatRGBA, &device);
  host::TextureReceiver texture(scene, 8, 8, &device);
  ASSERT_TRUE(raw.Start());
  ASSERT_TRUE(texture.Start());
  Frame(1, 0);
  EXPECT_EQ(item->draws, 1);
  Frame(2, 1);
  raw.WaitFor(1);
  raw.Stop();
  EXPECT_EQ(raw.timestamps(), std::vector<std::uint64_t>{2});
  EXPECT_EQ(texture.timestamps(), std::vector<std::uint64_t>{2});
}

TEST_F(DrivenDeviceTest, SurvivesTheLargestNumberOfPeriods) {
  host::Flag enough;
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.keep_planes = false;
  receiver.on_frame = [&](int count) {
    if (count == 3) enough.Set();
  };
  ASSERT_TRUE(receiver.Start());
  for (int i = 0; i < 10; ++i) Frame(1, std::numeric_limits<unsigned int>::max());
  EXPECT_TRUE(enough.Wait());
  receiver.Stop();
  EXPECT_TRUE(host::DrivenDeviceWorks(&device));
}

// A host that needs every frame may hold up the receiver for as long as it likes: it loses pictures, never periods.
TEST_F(DrivenDeviceTest, FullPoolRepeatsTheNewestPicture) {
  host::Flag entered;
  host::Flag leave;
  device.SetFps(100);
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  std::vector<std::unique_ptr<GsTexture>> greys;
  for (int i = 0; i < 10; ++i) {
    const auto grey = static_cast<unsigned char>(20 * i);
    greys.push_back(host::MakeColor(grey, grey, grey, 255, &device));
  }
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.on_frame = [&](int) {
    entered.Set();
    EXPECT_TRUE(leave.Wait());
  };
  ASSERT_TRUE(receiver.Start());
  for (int i = 0; i < 10; ++i) {
    item->texture = greys[static_cast<std::size_t>(i)].get();
    Frame(static_cast<std::uint64_t>(i) * kInterval100);
    if (i == 0) {
      ASSERT_TRUE(entered.Wait());
    }
  }
  leave.Set();
  const auto deliveries = receiver.WaitFor(10);
  // The last delivery is counted once its call is over.
  while (receiver.Counts().delivered < 10) std::this_thread::yield();
  EXPECT_EQ(receiver.Counts().delivered, 10u);
  EXPECT_EQ(receiver.Counts().repeated, 4u);
  receiver.Stop();
  ASSERT_EQ(deliveries.size(), 10u);
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), kInterval100));
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(deliveries[static_cast<std::size_t>(i)].planes[0].pixels[0], 20 * (i < 6 ? i : 5)) << i;
  }
}

TEST_F(DrivenDeviceTest, RenderThreadIsTheOneThatSaysSo) {
  EXPECT_TRUE(device.IsInternalRenderThread());
  device.UninitThreadContext();
  EXPECT_FALSE(device.IsInternalRenderThread());
  EXPECT_TRUE(device.InitThreadContext());
  std::thread([this] { EXPECT_FALSE(device.IsInternalRenderThread()); }).join();
}

TEST_F(DrivenDeviceTest, ATaskOfATaskRunsOneDrainLater) {
  struct Chain {
    GsDevice* device;
    int runs = 0;
    static void Run(void* self) {
      auto* const chain = static_cast<Chain*>(self);
      if (++chain->runs < 3) chain->device->QueueTask(Run, chain);
    }
  } chain{&device};
  device.QueueTask(Chain::Run, &chain);
  EXPECT_EQ(chain.runs, 0);
  for (const int runs : {1, 2, 3, 3}) {
    device.DoTask();
    EXPECT_EQ(chain.runs, runs);
  }
}

TEST_F(DrivenDeviceTest, TasksRunInOrder) {
  std::vector<int> order;
  struct Step {
    std::vector<int>* order;
    int number;
    static void Run(void* self) {
      const auto* const step = static_cast<Step*>(self);
      step->order->push_back(step->number);
    }
  };
  std::vector<Step> steps;
  for (int i = 0; i < 100; ++i) steps.push_back({&order, i});
  for (Step& step : steps) device.QueueTask(Step::Run, &step);
  device.DoTask();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST_F(DrivenDeviceTest, CallbacksRunInTheOrderOfTheStages) {
  class Filter : public GsFilter {
   public:
    Filter(std::vector<const char*>* order, GsDevice* device) : GsFilter(8, 8, device), order_(order) {}
    ~Filter() override { Detach(); }
    void Draw() override { order_->push_back("filter"); }

   private:
    std::vector<const char*>* order_;
  };
  std::vector<const char*> order;
  Filter filter(&order, &device);
  filter.Attach();
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  item->on_tick = [&] { order.push_back("tick"); };
  item->on_draw = [&] { order.push_back("draw"); };
  scene->AddItem(item);
  host::TextureReceiver receiver(scene, 8, 8, &device);
  receiver.on_texture = [&](GsTexture*, int) { order.push_back("texture"); };
  ASSERT_TRUE(receiver.Start());
  device.QueueTask([](void* list) { static_cast<std::vector<const char*>*>(list)->push_back("task"); }, &order);
  Frame(1);
  EXPECT_EQ(order, (std::vector<const char*>{"tick", "filter", "draw", "texture", "task"}));
}

TEST_F(DrivenDeviceTest, ContextIsCurrentInEveryDrawingCallback) {
  class Filter : public GsFilter {
   public:
    explicit Filter(GsDevice* device) : GsFilter(8, 8, device) {}
    ~Filter() override { Detach(); }
    void Draw() override { current = eglGetCurrentContext() != EGL_NO_CONTEXT; }
    bool current = false;
  };
  Filter filter(&device);
  filter.Attach();
  bool ticked = false;
  bool drawn = false;
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  item->on_tick = [&] { ticked = eglGetCurrentContext() != EGL_NO_CONTEXT; };
  item->on_draw = [&] { drawn = eglGetCurrentContext() != EGL_NO_CONTEXT; };
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  Frame(1);
  EXPECT_TRUE(ticked);
  EXPECT_TRUE(filter.current);
  EXPECT_TRUE(drawn);
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

TEST_F(DrivenDeviceTest, ReservedOperationsAnswerAndLog) {
  device.EnterThreadContext();
  device.LeaveThreadContext();
  EXPECT_EQ(host::log::Count(kQnLogWarning, "GraphicsDevice::EnterThreadContext is unimplemented"), 1);
  EXPECT_EQ(host::log::Count(kQnLogWarning, "GraphicsDevice::LeaveThreadContext is unimplemented"), 1);
  EXPECT_EQ(device.native_obj(), nullptr);
  host::log::Clear();
  device.ClearFrameList();
  device.Enter();
  device.Leave();
  EXPECT_EQ(host::log::Complaints(), "");
  GsScreenDup duplicator("display", &device);
  EXPECT_EQ(host::log::Count(kQnLogWarning, "CreateDuplicator is unimplemented"), 1);
  EXPECT_EQ(duplicator.Dup(), -1);
  EXPECT_EQ(duplicator.last_frame(), nullptr);
  EXPECT_FALSE(duplicator.is_hdr());
  EXPECT_EQ(duplicator.sdr_white_level(), 80u);
  GsVertex vertex = {};
  unsigned int index = 0;
  GsContext(&device).DrawVertexArray(&vertex, 1, &index, 1, gs_transform(gs_vec2(), gs_vec2(1, 1)), gs_vec2(1, 1));
  EXPECT_EQ(host::log::Count(kQnLogWarning, "DrawVertexArray is unimplemented"), 1);
}

}  // namespace
