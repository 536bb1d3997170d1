// Colours multiplied by their alpha, as everything here is filtered and drawn: what lies hidden under an alpha of 0 is
// gone then, and shows up nowhere.
#ifndef QUARN_EXAMPLES_STUDIO_PREMULTIPLY_H_
#define QUARN_EXAMPLES_STUDIO_PREMULTIPLY_H_

#include <cstdint>

#include "studio/description.h"

namespace studio {

// A colour times its alpha, to the nearest of 255 levels. Drawn over the same colour it is that colour again, within a
// level, and white over white is white.
constexpr std::uint8_t Premultiplied(unsigned int color, unsigned int alpha) {
  // The division by 255, without one: exact for all products of two bytes.
  const unsigned int product = color * alpha + 128;
  return static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
}

// Rows of RGBA pixels, `stride` bytes, a multiple of 4, from each to the next.
struct PixelRows {
  Size size;
  int stride = 0;
  std::uint8_t* pixels = nullptr;
};

// Multiplies the colours in place.
void Premultiply(const PixelRows& rows);
// Fills `to` with the whole of `from`, each pixel the mean of what it covers. Returns false when that is not possible.
bool ScalePremultiplied(const PixelRows& from, const PixelRows& to);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PREMULTIPLY_H_
