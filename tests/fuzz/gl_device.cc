#include "tests/fuzz/gl_device.h"

#include <cstdlib>
#include <memory>

#include "graphics/opengl/gl.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/quiet_log.h"

namespace fuzz {
namespace {

std::unique_ptr<GsDevice> MakeDevice() {
  KeepLogQuiet();
  // No window system, whatever the machine has.
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  auto device = std::make_unique<GsDevice>();
  FUZZ_CHECK(device->Init() && device->valid());
  return device;
}

}  // namespace

GsDevice* GlDevice() {
  static GsDevice* const device = MakeDevice().release();
  return device;
}

GsDevice* FreshGlDevice() {
  constexpr int kInputs = 200;
  static std::unique_ptr<GsDevice>* const device = new std::unique_ptr<GsDevice>;
  static int left = 0;
  if (left-- > 0) return device->get();
  left = kInputs;
  device->reset();
  *device = MakeDevice();
  return device->get();
}

void CheckGlDevice(GsDevice* device) {
  device->InitThreadContext();
  device->QueueTask([](void*) { FUZZ_CHECK(glGetError() == GL_NO_ERROR); }, nullptr);
  device->DoTask();
  device->UninitThreadContext();
}

}  // namespace fuzz
