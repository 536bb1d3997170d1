// The command line.
#ifndef QUARN_EXAMPLES_PREVIEW_OPTIONS_H_
#define QUARN_EXAMPLES_PREVIEW_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "studio/description.h"

namespace preview {

struct Options {
  studio::Description description;  // `output` is empty when none was named.
  std::string scene;                // The scene file that was read; may be empty.
  std::string save;                 // Where the scene is saved; empty for a new file.
  std::vector<std::string> add;
  std::optional<studio::Size> window;  // Unset: room for the canvas and the panels.
  bool panels = true;
  bool play = false;
};

// Reads and checks the command line, and the scene file that it names. Returns nothing when it asked for help only,
// which is printed. Throws Error.
std::optional<Options> ParseCommandLine(int argc, char** argv);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_OPTIONS_H_
