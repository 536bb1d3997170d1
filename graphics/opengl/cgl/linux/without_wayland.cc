// In the place of the sources for Wayland, in a build that does without. Any thread enters.
#include "foundation/logger.h"
#include "graphics/opengl/cgl/linux/window_system.h"

WindowSystem* OpenWaylandWindowSystem() { return nullptr; }

bool TakeWaylandDisplay(void*) {
  Logger::default_logger()->Warn("The Wayland display is not taken: this build of the library has no Wayland");
  return false;
}

bool LeaveWaylandDisplay() { return true; }
