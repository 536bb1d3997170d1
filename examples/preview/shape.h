// A layer's rectangle under the pointer: hit testing, handles, resizing, turning. Canvas pixels from the canvas'
// centre, y downwards; nothing here knows a window.
#ifndef QUARN_EXAMPLES_PREVIEW_SHAPE_H_
#define QUARN_EXAMPLES_PREVIEW_SHAPE_H_

#include <optional>

#include "studio/description.h"

namespace preview {

// A rectangle that may be turned about its centre.
struct Shape {
  studio::Vec pos;
  studio::Size size;
  float rotation_deg = 0;  // Clockwise.
};

// A rectangle that lies straight.
struct Box {
  studio::Vec min;
  studio::Vec max;

  studio::Vec Center() const { return {(min.x + max.x) / 2, (min.y + max.y) / 2}; }
};

// One of the eight handles, by the sides that it moves: {-1, -1} is the top left corner, {1, 0} the middle of the right
// side.
struct Handle {
  int x = 0;
  int y = 0;

  Handle Opposite() const { return {-x, -y}; }
  bool IsCorner() const { return x != 0 && y != 0; }
};

inline bool operator==(Handle a, Handle b) { return a.x == b.x && a.y == b.y; }

bool Contains(const Shape& shape, studio::Vec point);
bool Touches(const Shape& shape, const Box& box);
// The smallest box around the shape, and around two boxes.
Box BoundsOf(const Shape& shape);
Box Joined(const Box& a, const Box& b);

studio::Vec HandlePoint(const Shape& shape, Handle handle);
// The handle whose square, which turns with the shape and reaches `reach` to each side, holds the point. Where several
// do, the nearest. The middle half of the shape is no handle's, so that the smallest can still be moved.
std::optional<Handle> HandleAt(const Shape& shape, studio::Vec point, float reach);
// Beyond the middle of the top side, and `distance` from it.
studio::Vec RotationGripPoint(const Shape& shape, float distance);
// The direction from the centre to the point, clockwise in degrees, 0 to the right.
float DirectionTo(const Shape& shape, studio::Vec point);

// What becomes of `shape` when `handle` is pulled to `point` while the opposite handle stays at `anchor`. Sides are
// whole pixels, no smaller than kMinSide or than they are already, and no larger than kMaxSide.
Shape Resized(const Shape& shape, Handle handle, studio::Vec anchor, studio::Vec point, bool keep_proportions);

constexpr int kMinSide = 8;
constexpr int kMaxSide = 8192;

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SHAPE_H_
