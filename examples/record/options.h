// The command line.
#ifndef QUARN_EXAMPLES_RECORD_OPTIONS_H_
#define QUARN_EXAMPLES_RECORD_OPTIONS_H_

#include <optional>

#include "studio/description.h"

namespace studio {

// Reads and checks the command line, and the scene file that it names. Returns nothing when it asked for help only,
// which is printed. Throws Error.
std::optional<Description> ParseCommandLine(int argc, char** argv);

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_OPTIONS_H_
