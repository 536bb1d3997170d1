// The graphics engine of a program.
#ifndef QUARN_EXAMPLES_STUDIO_DEVICE_H_
#define QUARN_EXAMPLES_STUDIO_DEVICE_H_

#include <quarn/gs_device.h>

#include "studio/frame_rate.h"

namespace studio {

// The default device with the programs of the layers, for as long as this lives.
class Device {
 public:
  // Throws Error.
  Device(FrameRate fps, bool start);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  GsDevice* get() const { return GsDevice::DefaultDevice(); }

  // Whether videos are drawn from their planes, rather than from RGBA that libswscale makes. That is a fraction of the
  // work for a GPU; drivers that draw in software take more than twice as long for it as libswscale does, so with them
  // it is not done. QUARN_STUDIO_VIDEO=planes or =pixels in the environment decides otherwise. False without a device.
  static bool draws_planes();
};

// Why a device or a scene cannot be had.
extern const char kNoGraphics[];

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_DEVICE_H_
