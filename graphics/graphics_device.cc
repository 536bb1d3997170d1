// What is asked of a device beside its interface: answers of the base that every platform's device has, and harmless
// ones for null.
#include "graphics/graphics_device.h"

#include "graphics/graphics_device_impl.h"

namespace {

const GraphicsDeviceImpl* ImplOf(const GraphicsDevice* device) {
  return dynamic_cast<const GraphicsDeviceImpl*>(device);
}

}  // namespace

unsigned int ReadFrameTimes(const GraphicsDevice* device, GsFrameTime* times, unsigned int capacity) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl ? impl->frame_times().Read(times, capacity) : 0;
}

GsDeviceStats ReadDeviceStats(const GraphicsDevice* device) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl ? impl->frame_times().Totals() : GsDeviceStats();
}

FrameClock* ClockOf(const GraphicsDevice* device) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl ? &impl->clock() : nullptr;
}

bool IsOnRenderThreadOf(const GraphicsDevice* device) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl && impl->OnOwnRenderThread();
}

bool IsOfAnotherProcess(const GraphicsDevice* device) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl && impl->IsOfAnotherProcess();
}

void SetRealtime(GraphicsDevice* device, bool realtime) {
  if (auto* const impl = dynamic_cast<GraphicsDeviceImpl*>(device)) impl->realtime().Set(realtime);
}

bool IsRealtime(const GraphicsDevice* device) {
  const GraphicsDeviceImpl* const impl = ImplOf(device);
  return impl && impl->realtime().fulfilled();
}
