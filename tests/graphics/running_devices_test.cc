#include "graphics/running_devices.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "graphics/graphics_device_impl.h"
#include "tests/support/threads_left_behind.h"

namespace {

// Its loop never sleeps, on the tests' clock: frames come as fast as they can.
class CountingDevice : public GraphicsDeviceImpl {
 public:
  void UninitThreadContext() override {
    GraphicsDeviceImpl::UninitThreadContext();
    ended = true;
  }
  void HandleFilter() override {}
  void OutputFrame(unsigned long long, unsigned int) override {}
  void DrawDisplay() override { ++frames; }

  void WaitForFrames(int count) const {
    while (frames < count) std::this_thread::yield();
  }

  std::atomic<int> frames{0};
  std::atomic<bool> ended{false};
};

// Ends the process with code 7 when none of the devices draws any more once the process has begun to end.
[[noreturn]] void EndWithRunningDevices() {
  static auto& running = *new CountingDevice;
  static auto& stopped = *new CountingDevice;
  alarm(60);
  // Registered first, so called last.
  std::atexit([] {
    if (!RunningDevices::Get().ending()) _exit(1);
    _exit(running.ended && stopped.ended ? 7 : 2);
  });
  running.Start();
  stopped.Start();
  running.WaitForFrames(3);
  stopped.WaitForFrames(3);
  stopped.Stop();
  if (RunningDevices::Get().ending()) _exit(3);
  std::exit(4);
}

TEST(RunningDevicesDeathTest, TheEndOfTheProcessEndsTheLoopsThatRun) {
  const test::ThreadsLeftBehind left_behind;  // The render thread of the device that is never stopped.
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(EndWithRunningDevices(), ::testing::ExitedWithCode(7), "");
}

}  // namespace
