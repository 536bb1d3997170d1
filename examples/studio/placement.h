// Where a layer is at a time of the film, how large, and how much of it is seen.
#ifndef QUARN_EXAMPLES_STUDIO_PLACEMENT_H_
#define QUARN_EXAMPLES_STUDIO_PLACEMENT_H_

#include <algorithm>
#include <cmath>
#include <cstdint>

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

constexpr double kMaxDrawnSide = 1 << 24;  // Up to here floats are whole pixels.

// The other side of what has the proportions `of` to `to`.
inline int Follow(int side, int of, int to) {
  return static_cast<int>(std::clamp(std::round(static_cast<double>(side) * to / of), 1.0, kMaxDrawnSide));
}

// The size at which a layer is drawn whose media wants to be seen at `natural`; a colour's is the canvas.
inline Size DrawnSize(const Layer& layer, Size natural) {
  if (!layer.size) return natural;
  Size size = *layer.size;
  if (size.width == 0) size.width = Follow(size.height, natural.height, natural.width);
  if (size.height == 0) size.height = Follow(size.width, natural.width, natural.height);
  return size;
}

// How much of a layer is seen, 0 to 1, that begins and ends at these times of the film.
inline float FadeAt(const Layer& layer, double seconds, double begin, double end) {
  const auto share = [](double passed, float of) {
    return of > 0 ? std::clamp(passed / static_cast<double>(of), 0.0, 1.0) : 1.0;
  };
  return static_cast<float>(share(seconds - begin, layer.fade_in_s) * share(end - seconds, layer.fade_out_s));
}

// The size of a canvas that is fitted into a film of another shape, in whole pixels.
inline Size FittedSize(Size canvas, Size film) {
  const bool is_wide = std::int64_t{canvas.width} * film.height > std::int64_t{canvas.height} * film.width;
  return is_wide ? Size{film.width, Follow(film.width, canvas.width, canvas.height)}
                 : Size{Follow(film.height, canvas.height, canvas.width), film.height};
}

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PLACEMENT_H_
