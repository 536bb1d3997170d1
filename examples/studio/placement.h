// Where a layer is at a time of the film, and how large.
#ifndef QUARN_EXAMPLES_STUDIO_PLACEMENT_H_
#define QUARN_EXAMPLES_STUDIO_PLACEMENT_H_

#include <algorithm>
#include <cmath>

#include "studio/description.h"

namespace studio {

// Where the centre of a layer is at a time of the film.
inline Vec PosAt(const Layer& layer, double seconds) {
  return Vec{static_cast<float>(layer.pos.x + layer.drift_px_s.x * seconds),
             static_cast<float>(layer.pos.y + layer.drift_px_s.y * seconds)};
}

// Degrees, less than a turn.
inline float RotationAt(const Layer& layer, double seconds) {
  return static_cast<float>(std::fmod(layer.rotation_deg + layer.spin_deg_s * seconds, 360.0));
}

// The size at which a layer is drawn whose media wants to be seen at `natural`; a colour's is the canvas.
inline Size DrawnSize(const Layer& layer, Size natural) {
  if (!layer.size) return natural;
  Size size = *layer.size;
  const auto follow = [](int side, int of, int to) {
    return std::max(1, static_cast<int>(std::lround(static_cast<double>(side) * to / of)));
  };
  if (size.width == 0) size.width = follow(size.height, natural.height, natural.width);
  if (size.height == 0) size.height = follow(size.width, natural.width, natural.height);
  return size;
}

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PLACEMENT_H_
