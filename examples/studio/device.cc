#include "studio/device.h"

#include <GL/gl.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include <quarn/qn_event.h>

#include "studio/error.h"
#include "studio/programs.h"

namespace studio {

const char kNoGraphics[] = "the graphics engine does not work here: OpenGL 3.2 is needed (--verbose tells more)";

namespace {

constexpr unsigned long kPatienceMs = 10000;

// Here and not in a device, for a task may run after its device has been given up.
std::atomic<bool> draws_planes{false};

QNEvent& Answered() {
  static QNEvent event(false);
  return event;
}

bool DriverHasAGpu() {
  const char* const name = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
  const std::string renderer = name ? name : "";
  for (const char* const software : {"llvmpipe", "softpipe", "swrast", "Software", "SwiftShader"}) {
    if (renderer.find(software) != std::string::npos) return false;
  }
  return !renderer.empty();
}

// A task: the driver answers where its context is current.
void AskDriver(void* /*param*/) {
  draws_planes = DriverHasAGpu();
  Answered().Signal();
}

void ChooseForm(GsDevice* device, bool started) {
  draws_planes = false;
  const char* const chosen = std::getenv("QUARN_STUDIO_VIDEO");
  const std::string form = chosen ? chosen : "";
  if (form == "planes" || form == "pixels") {
    draws_planes = form == "planes";
    return;
  }
  Answered().Reset();
  device->QueueTask(&AskDriver, nullptr);
  if (started) {
    Answered().TimedWait(kPatienceMs);
  } else if (device->InitThreadContext()) {
    device->DoTask();
    device->UninitThreadContext();
  }
}

}  // namespace

Device::Device(FrameRate fps, bool start) {
  if (!GsDevice::CreateDefaultDevice(start)) throw Error("cannot start the graphics engine");
  get()->SetFrameRate(static_cast<unsigned int>(fps.num), static_cast<unsigned int>(fps.den));
  if (AddPrograms(get())) {
    ChooseForm(get(), start);
    return;
  }
  GsDevice::DestroyDefaultDevice();
  throw Error(kNoGraphics);
}

Device::~Device() { GsDevice::DestroyDefaultDevice(); }

bool Device::draws_planes() { return studio::draws_planes; }

}  // namespace studio
