// Values as people write them: sizes, positions, colours, and the whole text of a layer.
#ifndef QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_
#define QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_

#include <optional>
#include <string>

#include "studio/description.h"

namespace studio {

// Each throws UsageError for anything else.
Size ParseSize(const std::string& text);           // "640x360"
Vec ParseVec(const std::string& text);             // "-20:35.5"
double ParseNumber(const std::string& text);       // "0.5"
Color ParseColor(const std::string& text);         // "#ff8000" or "#ff800080"; the '#' may be left out.
LayerFilter ParseFilter(const std::string& text);  // "none", "blur" or "grey"
bool ParseDeinterlace(const std::string& text);    // "auto" or "off"
Crop ParseCrop(const std::string& text);           // "10:0:10:0": left, top, right, bottom
Vec ParseFade(const std::string& text);            // "1:0.5": seconds of appearing, and of going
TextAlign ParseAlign(const std::string& text);     // "left", "center" or "right"
PixelLayout ParseLayout(const std::string& text);  // "i420", "nv12", "rgba" or "bgra"

// "2:5.5", "2:" or ":5.5": the part of a video or a sound that is played. Throws UsageError. And the text that reads
// back as that; empty for the whole video.
void ParseTrim(const std::string& text, double* start_s, std::optional<double>* end_s);
std::string TrimText(const Layer& layer);

// "FILE[,key=value]...", with a colour in place of the file for colours, and a text for texts; "\," is a comma of a
// file's name or a text, and "\n" begins a new line of a text.
Layer ParseLayer(LayerKind kind, const std::string& text);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LAYER_TEXT_H_
