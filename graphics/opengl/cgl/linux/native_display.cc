// The connection that a host names for its windows. The host's threads enter.
#include <quarn/qn_native_display.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/opengl/cgl/linux/window_system.h"

bool qn_set_native_display(QnNativeDisplayKind kind, void* display) {
  bool taken = false;
  EvenWithoutMemory("Setting a native display", [&] {
    switch (kind) {
      case kQnNativeDisplayNone: taken = LeaveWaylandDisplay(); return;
      case kQnNativeDisplayWayland: taken = TakeWaylandDisplay(display); return;
    }
    Logger::default_logger()->Warn("The native display is not taken: there is no kind %d", static_cast<int>(kind));
  });
  return taken;
}
