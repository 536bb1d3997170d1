// How public objects find their engine device. Any thread.
#include "graphics/public/device_resolve.h"

#include <quarn/gs_device.h>

GraphicsDevice* ResolveDevice(GsDevice* device) {
  if (!device) device = app_default_device;
  return device ? device->impl() : nullptr;
}
