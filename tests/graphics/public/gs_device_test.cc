// The host's handle on the engine.
#include <quarn/gs_device.h>

#include <thread>

#include <quarn/gs_frame_times.h>
#include <quarn/qn_event.h>

#include "tests/graphics/public/facade_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class GsDeviceTest : public FacadeTest {};

TEST_F(GsDeviceTest, CreateDefaultDeviceBuildsAndStarts) {
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_NE(GsDevice::DefaultDevice(), nullptr);
  EXPECT_EQ(GsDevice::DefaultDevice(), app_default_device);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.Start"));
}

TEST_F(GsDeviceTest, SuccessIsLoggedAtErrorLevel) {
  GsDevice::CreateDefaultDevice(false);
  EXPECT_THAT(errors(), ElementsAre("device create success"));
}

TEST_F(GsDeviceTest, SecondCreateDefaultDeviceCreatesNothing) {
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(true));
  GsDevice* const first = GsDevice::DefaultDevice();
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_EQ(GsDevice::DefaultDevice(), first);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.Start"));
}

TEST_F(GsDeviceTest, SecondCreateDefaultDeviceDoesNotStartTheFirst) {
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(false));
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init"));
}

TEST_F(GsDeviceTest, FailedInitLeavesNoDefaultDevice) {
  fake::options().init = false;
  EXPECT_FALSE(GsDevice::CreateDefaultDevice(true));
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.~"));
  EXPECT_THAT(errors(), ElementsAre("device create failed"));
}

TEST_F(GsDeviceTest, MissingPlatformDeviceLeavesNoDefaultDevice) {
  fake::options().create = false;
  EXPECT_FALSE(GsDevice::CreateDefaultDevice(true));
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
  EXPECT_THAT(errors(), ElementsAre("device create failed"));
}

TEST_F(GsDeviceTest, FailedStartLeavesNoDefaultDevice) {
  fake::options().start = false;
  EXPECT_FALSE(GsDevice::CreateDefaultDevice(true));
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.Start", "device.Stop", "device.~"));
}

TEST_F(GsDeviceTest, DefaultDeviceIsPublishedBeforeItsInit) {
  GsDevice* during_init = nullptr;
  GraphicsDevice* engine_during_init = nullptr;
  fake::options().on_call = [&](const std::string& call) {
    if (call != "device.Init") return;
    during_init = GsDevice::DefaultDevice();
    engine_during_init = during_init ? during_init->impl() : nullptr;
  };
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(false));
  EXPECT_EQ(during_init, GsDevice::DefaultDevice());
  EXPECT_EQ(engine_during_init, GsDevice::DefaultDevice()->impl());
}

TEST_F(GsDeviceTest, DestroyDefaultDeviceStopsFirst) {
  GsDevice::CreateDefaultDevice(true);
  fake::ClearCalls();
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Stop", "device.~"));
  GsDevice::DestroyDefaultDevice();
  EXPECT_THAT(fake::Calls(), SizeIs(2));
}

TEST_F(GsDeviceTest, DestroyDefaultDeviceEndsARunningRenderThread) {
  fake::options().run_loop = true;
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  GsDevice::DestroyDefaultDevice();
  const auto calls = fake::Calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[calls.size() - 2], "device.Stop");
  EXPECT_EQ(calls.back(), "device.~");
}

TEST_F(GsDeviceTest, DestroyDefaultDeviceOnTheRenderThreadIsRefused) {
  fake::options().run_loop = true;
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  QNEvent tried(false);
  GsDevice::DefaultDevice()->QueueTask(
      [](void* event) {
        GsDevice::DestroyDefaultDevice();
        static_cast<QNEvent*>(event)->Signal();
      },
      &tried);
  ASSERT_TRUE(tried.Wait());
  EXPECT_NE(GsDevice::DefaultDevice(), nullptr);
  EXPECT_EQ(fake::Count("device.~"), 0);
  EXPECT_THAT(errors(), Contains("[GsDevice] the default device stays: it cannot be destroyed on its render thread"));
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
}

TEST_F(GsDeviceTest, CreateAfterDestroyBuildsAFreshDevice) {
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(false));
  GsDevice::DestroyDefaultDevice();
  EXPECT_TRUE(GsDevice::CreateDefaultDevice(false));
  EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.Stop", "device.~", "device.Init"));
}

TEST_F(GsDeviceTest, SecondInitCreatesNothing) {
  GsDevice device;
  EXPECT_TRUE(device.Init());
  GraphicsDevice* const engine = device.impl();
  EXPECT_TRUE(device.Init());
  EXPECT_EQ(device.impl(), engine);
  EXPECT_EQ(fake::Count("device.Init"), 1);
}

TEST_F(GsDeviceTest, InitMayBeRepeatedAfterAFailure) {
  GsDevice device;
  fake::options().init = false;
  EXPECT_FALSE(device.Init());
  fake::options().init = true;
  EXPECT_TRUE(device.Init());
}

void ExpectNeutral(GsDevice& device) {
  int value = 0;
  const auto set = [](void* param) { *static_cast<int*>(param) = 1; };
  EXPECT_EQ(device.impl(), nullptr);
  EXPECT_FALSE(device.IsInternalRenderThread());
  device.SetFps(60);
  EXPECT_EQ(device.fps(), 30u);
  device.ClearFrameList();
  EXPECT_FALSE(device.AddShader("name", "vs", "fs"));
  EXPECT_FALSE(device.AddShader(nullptr, nullptr, nullptr));
  EXPECT_FALSE(device.InitThreadContext());
  device.UninitThreadContext();
  device.TickSource();
  device.HandleFilter();
  device.OutputFrame(1, 1);
  device.DrawDisplay();
  device.EnterThreadContext();
  device.LeaveThreadContext();
  EXPECT_EQ(device.native_obj(), nullptr);
  device.QueueTask(set, &value);
  device.DoTask();
  EXPECT_EQ(value, 0);
  device.Enter();
  device.Leave();
  GsFrameTime time;
  EXPECT_EQ(device.ReadFrameTimes(&time, 1), 0u);
}

TEST_F(GsDeviceTest, AnswersNeutrallyBeforeInit) {
  {
    GsDevice device;
    ExpectNeutral(device);
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsDeviceTest, AnswersNeutrallyAfterAFailedInit) {
  fake::options().init = false;
  {
    GsDevice device;
    EXPECT_FALSE(device.Init());
    fake::ClearCalls();
    ExpectNeutral(device);
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

class GsDeviceForwardTest : public FacadeWithDeviceTest {};

TEST_F(GsDeviceForwardTest, StagesReachTheEngine) {
  device()->TickSource();
  device()->HandleFilter();
  device()->OutputFrame(123456789012ull, 2);
  device()->DrawDisplay();
  device()->ClearFrameList();
  EXPECT_THAT(fake::Calls(),
              ElementsAre("device.TickSource 0 0", "device.HandleFilter", "device.OutputFrame 123456789012 2",
                          "device.DrawDisplay", "device.ClearFrameList"));
}

TEST_F(GsDeviceForwardTest, FpsReachesTheEngine) {
  EXPECT_EQ(device()->fps(), 30u);
  device()->SetFps(60);
  EXPECT_EQ(device()->fps(), 60u);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.SetFps 60"));
}

TEST_F(GsDeviceForwardTest, ThreadContextMarksTheCallingThread) {
  EXPECT_FALSE(device()->IsInternalRenderThread());
  EXPECT_TRUE(device()->InitThreadContext());
  EXPECT_TRUE(device()->IsInternalRenderThread());
  device()->UninitThreadContext();
  EXPECT_FALSE(device()->IsInternalRenderThread());
}

TEST_F(GsDeviceForwardTest, EnterAndLeaveThreadContextReachTheEngineWhichWarns) {
  device()->EnterThreadContext();
  device()->LeaveThreadContext();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.EnterThreadContext", "device.LeaveThreadContext"));
  EXPECT_THAT(warnings(), ElementsAre("GraphicsDevice::EnterThreadContext is unimplemented",
                                      "GraphicsDevice::LeaveThreadContext is unimplemented"));
}

TEST_F(GsDeviceForwardTest, EnterAndLeaveDoNothing) {
  device()->Enter();
  device()->Leave();
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(GsDeviceForwardTest, FrameTimesAreThoseOfTheEnginesLoop) {
  GsFrameTime time;
  EXPECT_EQ(device()->ReadFrameTimes(&time, 1), 0u);  // It has not been started.
  fake::options().run_loop = true;
  ASSERT_TRUE(engine()->Start());
  while (device()->ReadFrameTimes(&time, 1) == 0) std::this_thread::yield();
  engine()->Stop();
  EXPECT_EQ(device()->ReadFrameTimes(nullptr, 1), 0u);
  EXPECT_EQ(device()->ReadFrameTimes(&time, 0), 0u);
  // A device that does not say what of a frame are scenes, and what outputs.
  EXPECT_EQ(time.scenes_ns, kGsNotMeasured);
  EXPECT_NE(time.ticks_ns, kGsNotMeasured);
}

TEST_F(GsDeviceForwardTest, AddShaderReachesTheEngine) {
  EXPECT_TRUE(device()->AddShader("name", "vertex", "fragment"));
  EXPECT_THAT(fake::Calls(), ElementsAre("device.AddShader name vertex fragment"));
}

TEST_F(GsDeviceForwardTest, AddShaderRefusesNull) {
  EXPECT_FALSE(device()->AddShader(nullptr, "vertex", "fragment"));
  EXPECT_FALSE(device()->AddShader("name", nullptr, "fragment"));
  EXPECT_FALSE(device()->AddShader("name", "vertex", nullptr));
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), SizeIs(3));
}

TEST_F(GsDeviceForwardTest, NativeObjReachesTheEngine) { EXPECT_EQ(device()->native_obj(), engine()->native_obj()); }

TEST_F(GsDeviceForwardTest, TasksRunInOrder) {
  std::vector<int> order;
  struct Task {
    std::vector<int>* order;
    int number;
  };
  Task first{&order, 1};
  Task second{&order, 2};
  const auto run = [](void* param) {
    auto* task = static_cast<Task*>(param);
    task->order->push_back(task->number);
  };
  device()->QueueTask(run, &first);
  device()->QueueTask(run, &second);
  EXPECT_THAT(order, IsEmpty());
  device()->DoTask();
  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST_F(GsDeviceForwardTest, QueueTaskIgnoresNull) {
  device()->QueueTask(nullptr, nullptr);
  device()->DoTask();
  EXPECT_EQ(fake::Count("device.HandleTask"), 0);
  EXPECT_THAT(warnings(), Contains("a task without a function is ignored"));
}

TEST(GsDeviceSlotTest, VirtualOperationsKeepTheirOrder) {
  EXPECT_EQ(Slot(&GsDevice::Init), 2);
  EXPECT_EQ(Slot(&GsDevice::SetFps), 3);
  EXPECT_EQ(Slot(&GsDevice::fps), 4);
}

}  // namespace
