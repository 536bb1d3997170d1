// The layers of a command line.
#ifndef QUARN_EXAMPLES_STUDIO_LAYER_OPTIONS_H_
#define QUARN_EXAMPLES_STUDIO_LAYER_OPTIONS_H_

#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "studio/description.h"

namespace studio {

// What a program's help says about layers.
extern const char kLayerHelp[];

// --picture, --video, --text and --color, each any number of times. Belongs to an application's options.
class LayerOptions {
 public:
  explicit LayerOptions(CLI::App* app);

  // Of the options.
  static std::vector<std::string> Names() { return {"--picture", "--video", "--text", "--color"}; }

  // Appends the layers that were given, in their order. After the parse. Throws UsageError.
  void AppendTo(Description* description) const;

 private:
  void Add(const char* name, LayerKind kind, const char* type, const std::string& help);

  CLI::App* const app_;
  std::map<const CLI::Option*, LayerKind> kinds_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LAYER_OPTIONS_H_
