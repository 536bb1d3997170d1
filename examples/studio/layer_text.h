// Values as people write them: sizes, positions, colours, and the whole text of a layer.
#ifndef QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_
#define QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_

#include <string>

#include "studio/description.h"

namespace studio {

// Each throws UsageError for anything else.
Size ParseSize(const std::string& text);           // "640x360"
Vec ParseVec(const std::string& text);             // "-20:35.5"
double ParseNumber(const std::string& text);       // "0.5"
Color ParseColor(const std::string& text);         // "#ff8000" or "#ff800080"; the '#' may be left out.
LayerFilter ParseFilter(const std::string& text);  // "none", "blur" or "grey"
PixelLayout ParseLayout(const std::string& text);  // "i420", "nv12", "rgba" or "bgra"

// "FILE[,key=value]...", with a colour in place of the file for colours; "\," is a comma of a file's name.
Layer ParseLayer(LayerKind kind, const std::string& text);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_
