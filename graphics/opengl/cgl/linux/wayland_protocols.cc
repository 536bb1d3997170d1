// The protocols' tables that wayland-scanner makes, which are C: each header first, so that the names are known to the
// other sources.
#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

// The tables, after what declares them.
// NOLINTBEGIN(bugprone-suspicious-include)
#include <fractional-scale-v1-protocol.c>
#include <viewporter-protocol.c>
#include <xdg-output-unstable-v1-protocol.c>
// NOLINTEND(bugprone-suspicious-include)
