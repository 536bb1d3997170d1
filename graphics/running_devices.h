// The devices with a render thread. A process that ends takes the driver away, and no thread may be drawing then.
#ifndef QUARN_GRAPHICS_RUNNING_DEVICES_H_
#define QUARN_GRAPHICS_RUNNING_DEVICES_H_

#include <atomic>
#include <cstdint>

#include "foundation/mutex.h"
#include "graphics/registry.h"

class GraphicsDeviceImpl;

// One for the process; any thread. It owns no device: one is in it from its start to its stop.
class RunningDevices {
 public:
  static RunningDevices& Get();

  void Add(GraphicsDeviceImpl* device);
  void Remove(GraphicsDeviceImpl* device);

  // Called after each frame of any device.
  void NoteFrame();

  // Whether the process is about to end.
  bool ending() const { return ending_; }

 private:
  // At exit: ends each device's loop, and waits for that as long as EndAtExit does.
  void EndAll();

  std::atomic<std::uint64_t> frames_{0};
  std::atomic<bool> ending_{false};
  Mutex mutex_;
  Registry<GraphicsDeviceImpl> devices_ QUARN_GUARDED_BY(mutex_);
};

#endif  // QUARN_GRAPHICS_RUNNING_DEVICES_H_
