#include "studio/device.h"

#include "studio/error.h"
#include "studio/programs.h"

namespace studio {

const char kNoGraphics[] = "the graphics engine does not work here: OpenGL 3.2 is needed (--verbose tells more)";

Device::Device(unsigned int fps, bool start) {
  if (!GsDevice::CreateDefaultDevice(start)) throw Error("cannot start the graphics engine");
  get()->SetFps(fps);
  if (AddPrograms(get())) return;
  GsDevice::DestroyDefaultDevice();
  throw Error(kNoGraphics);
}

Device::~Device() { GsDevice::DestroyDefaultDevice(); }

}  // namespace studio
