#include "preview/import.h"

#include <algorithm>
#include <cmath>

#include "studio/media_reader.h"

namespace preview {
namespace {

using studio::Layer;
using studio::LayerKind;
using studio::Size;

constexpr double kShareOfCanvas = 0.6;

}  // namespace

Layer ImportLayer(const std::string& file, Size canvas) {
  studio::MediaReader reader(file);
  studio::Picture picture;
  Layer layer;
  layer.file = file;
  layer.kind = reader.Next(&picture) && reader.Next(&picture) ? LayerKind::kVideo : LayerKind::kPicture;
  layer.loop = layer.kind == LayerKind::kVideo;

  const Size size = reader.size();
  const double scale = std::min({1.0, kShareOfCanvas * canvas.width / size.width,  //
                                 kShareOfCanvas * canvas.height / size.height});
  const auto scaled = [scale](int side) { return std::max(1, static_cast<int>(std::lround(side * scale))); };
  layer.size = Size{scaled(size.width), scaled(size.height)};
  return layer;
}

}  // namespace preview
