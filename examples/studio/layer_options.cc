#include "studio/layer_options.h"

#include <cstddef>

#include "studio/layer_text.h"

namespace studio {

const char kLayerHelp[] = R"(
Layers are given as SOURCE[,key=value]... and lie on one another in the order in which they are given:
  pos=X:Y         the centre, in canvas pixels from the canvas' centre, y downwards (0:0)
  size=WxH        canvas pixels; 0 for one side keeps the proportions (the media's own size; the canvas for colours)
  rotation=DEG    clockwise (0)
  z=N             the order: lower ones underneath, equals as given (0)
  opacity=A       0 to 1 (1)
  spin=DEG        degrees a second, clockwise (0)
  drift=X:Y       canvas pixels a second (0:0)
  filter=F        blur, grey or none; not for colours
  crop=L:T:R:B    pixels of the media cut off at the left, top, right and bottom (0:0:0:0); pictures and videos
  fade=IN:OUT     seconds in which it appears, from its start, and goes, until its end (0:0): a video that does not
                  loop ends with its last picture, anything else with the film
  loop            start again at the end; videos
  volume=V        a factor of the sound, 0 for none (1); videos from files
  track=N         which of a video's sounds, 0 the first (the one that FFmpeg likes best)
  trim=START:END  only this part, in seconds of the media; either may be left out; videos
  deinterlace=D   auto makes pictures taken in halves whole, off leaves them (auto); videos
  hidden          neither shown nor heard
  name=TEXT       what it is called in an editor
  locked          not changed by an editor's pointer
Of a text:
  font=NAME       a family and style, such as Serif Bold Italic; where there is none, the nearest (Sans)
  height=PX       the size of the letters in canvas pixels (48)
  color=#RRGGBB   its colour, or #RRGGBBAA (#ffffff)
  align=A         left, center or right: how several lines lie beside each other (left)
In a text "\n" begins a new line. A comma in it, or in a file's name, is written "\,".
)";

LayerOptions::LayerOptions(CLI::App* app) : app_(app) {
  Add("--picture", LayerKind::kPicture, "FILE[,...]", "A layer from a picture (PNG, JPEG, ...)");
  Add("--video", LayerKind::kVideo, "FILE[,...]", "A layer from anything that FFmpeg decodes; - is the standard input");
  Add("--text", LayerKind::kText, "TEXT[,...]", "A layer of letters, in UTF-8");
  Add("--color", LayerKind::kColor, "#RRGGBB[AA][,...]", "A layer of one colour");
}

void LayerOptions::Add(const char* name, LayerKind kind, const char* type, const std::string& help) {
  CLI::Option* const option = app_->add_option(name, help);
  kinds_[option->type_name(type)->type_size(1)->expected(1, 1 << 16)->allow_extra_args(false)] = kind;
}

void LayerOptions::AppendTo(Description* description) const {
  // One entry for each time that an option was given, so that layers of different kinds keep their order.
  std::map<const CLI::Option*, std::size_t> used;
  for (const CLI::Option* option : app_->parse_order()) {
    const auto kind = kinds_.find(option);
    if (kind == kinds_.end()) continue;
    description->layers.push_back(ParseLayer(kind->second, option->results().at(used[option]++)));
  }
}

}  // namespace studio
