// A device comes and goes, and runs tasks.
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "tests/faults/hosts.h"

namespace faults {
namespace {

void CountUp(void* count) { ++*static_cast<int*>(count); }

// A frame and a task of a host-driven device.
class DrivenDevice : public DrivenHost {
 public:
  void MakeObjects() override {}
  Digest Work() override {
    int count = 0;
    device()->QueueTask(&CountUp, &count);
    device()->QueueTask(&CountUp, &count);
    Frames();
    // What was not queued is not waited for, and what was may not outlive the count.
    device()->DoTask();
    return count == 2 ? DigestOf(&count, sizeof(count)) : kNothing;
  }
};

// Tasks of the default device, on its thread.
class DefaultDevice : public Host {
 public:
  ~DefaultDevice() override { GsDevice::DestroyDefaultDevice(); }
  void MakeDevice() override {
    GsDevice::DestroyDefaultDevice();
    if (!GsDevice::CreateDefaultDevice(false)) return;
    GsDevice::DefaultDevice()->SetFrameRate(200, 1);
    GsDevice::DefaultDevice()->Start();
  }
  void MakeObjects() override {
    if (GsDevice* const device = GsDevice::DefaultDevice()) {
      device->Stop();
      device->Start();
    }
  }
  Digest Work() override {
    GsDevice* const device = GsDevice::DefaultDevice();
    if (!device) return kNothing;
    const int before = Count();
    for (int i = 0; i < 2; ++i) device->QueueTask(&DefaultDevice::Ran, this);
    std::unique_lock<std::mutex> lock(mutex_);
    const bool ran =
        changed_.wait_for(lock, std::chrono::milliseconds(kPatienceMs), [&] { return count_ >= before + 2; });
    return ran ? DigestOf("ran", 3) : kNothing;
  }

 private:
  static void Ran(void* host) {
    auto* const self = static_cast<DefaultDevice*>(host);
    const std::lock_guard<std::mutex> lock(self->mutex_);
    ++self->count_;
    self->changed_.notify_all();
  }
  int Count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

}  // namespace

std::vector<Scenario> DeviceScenarios() {
  return {MakeScenario<DrivenDevice>("device", "driven-device"),
          MakeScenario<DefaultDevice>("device", "default-device")};
}

}  // namespace faults
