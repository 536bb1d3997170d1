// The devices with a render thread. Hosts' threads start and stop devices, render threads tell of frames, and the
// thread that ends the process ends them all.
#include "graphics/running_devices.h"

#include <cstdlib>

#include "foundation/never_destroyed.h"
#include "foundation/workarounds.h"
#include "graphics/graphics_device_impl.h"

RunningDevices& RunningDevices::Get() {
  static NeverDestroyed<RunningDevices> devices;
  return devices.get();
}

void RunningDevices::Add(GraphicsDeviceImpl* device) {
  MutexLocker<Mutex> lock(mutex_);
  devices_.Add(device);
}

void RunningDevices::Remove(GraphicsDeviceImpl* device) {
  MutexLocker<Mutex> lock(mutex_);
  devices_.Remove(device);
}

void RunningDevices::NoteFrame() {
  // What is registered last is called first at exit, and drivers register their own ends when they first come to need
  // what those take away: with the first pictures, or with a program that is new. So this one is registered anew after
  // the 1st frame of the process, the 2nd, the 4th, the 8th, ...
  const std::uint64_t count = ++frames_;
  const bool is_turn = IsUsed(Workaround::kExitHandlers) ? (count & (count - 1)) == 0 : count == 1;
  if (is_turn) std::atexit([] { Get().EndAll(); });
}

void RunningDevices::EndAll() {
  if (ending_.exchange(true)) return;
  MutexLocker<Mutex> lock(mutex_);
  devices_.Walk([](GraphicsDeviceImpl* device) { device->EndAtExit(); });
}
