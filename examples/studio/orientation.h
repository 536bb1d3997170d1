// How the pictures of a camera have to be turned to stand upright.
#ifndef QUARN_EXAMPLES_STUDIO_ORIENTATION_H_
#define QUARN_EXAMPLES_STUDIO_ORIENTATION_H_

#include <cstdint>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

// What is done to a picture, in this order.
struct Orientation {
  bool transposed = false;  // Rows become columns.
  bool mirrored = false;    // Left becomes right.
  bool flipped = false;     // Up becomes down.

  bool is_upright() const { return !transposed && !mirrored && !flipped; }
  // The size of a picture of that size, once it is turned; and the other way round.
  Size Turned(Size size) const { return transposed ? Size{size.height, size.width} : size; }
};

// As the frame says, or else its stream: one of the eight ways in which a camera can be held, mirrors included.
Orientation OrientationOf(const AVStream* stream, const AVFrame* frame);

// Turns pixels of four bytes. Rows are `stride` and `turned_stride` bytes apart.
void Turn(const Orientation& orientation, const std::uint8_t* pixels, int stride, Size size, std::uint8_t* turned,
          int turned_stride);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ORIENTATION_H_
