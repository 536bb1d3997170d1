// What stands in the place of Wayland where the library is built without.
#include "tests/faults/faults.h"
#include "tests/faults/lost_connections.h"
#include "tests/faults/scenario.h"

namespace faults {

bool MayLoseWayland(const char* /*name*/) { return false; }
int WindowObjects() { return 0; }
std::vector<Import> WaylandImports() { return {}; }
std::vector<Scenario> WaylandScenarios() { return {}; }

}  // namespace faults
