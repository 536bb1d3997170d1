// The command line.
#ifndef QUARN_EXAMPLES_RECORD_OPTIONS_H_
#define QUARN_EXAMPLES_RECORD_OPTIONS_H_

#include <optional>

#include "record/progress.h"
#include "studio/description.h"

namespace studio {

struct Options {
  Description description;
  ProgressShown progress = ProgressShown::kNone;
};

// Reads and checks the command line, and the scene file that it names. Returns nothing when it asked for help or the
// version only, which is printed. Throws Error.
std::optional<Options> ParseCommandLine(int argc, char** argv);

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_OPTIONS_H_
