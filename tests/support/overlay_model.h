// The editing overlay once more, in double precision: what of an item lies at a point.
#ifndef QUARN_TESTS_SUPPORT_OVERLAY_MODEL_H_
#define QUARN_TESTS_SUPPORT_OVERLAY_MODEL_H_

#include <algorithm>
#include <cmath>

namespace test {

// Of one item. Handles are counted in the order in which they are drawn: the corners, top left, top right, bottom left,
// bottom right, then the sides, left, top, right, bottom.
struct OverlayHit {
  bool body = false;   // Whether the point is in the item's rectangle.
  int handle = -1;     // The nearest handle that has it in its square; -1 for none.
  bool close = false;  // Whether an edge, or another handle's distance, is so near that rounding decides.
};

// How far inside a turned rectangle about (0, 0) a point lies, along its sides; below 0 outside.
inline double DepthIn(double x, double y, double width, double height, double rotation) {
  const double u = x * std::cos(rotation) + y * std::sin(rotation);
  const double v = -x * std::sin(rotation) + y * std::cos(rotation);
  return std::min(width / 2 - std::fabs(u), height / 2 - std::fabs(v));
}

// `x`, `y`: view pixels from the view's centre. `Item`: a GsItem. `near`: what counts as close, in view pixels.
template <class Item>
OverlayHit HitOverlay(const Item& item, double x, double y, double scale, double near) {
  constexpr int kSides[8][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {-1, 0}, {0, -1}, {1, 0}, {0, 1}};
  const auto pos = item.pos(), size = item.size();
  const double rotation = static_cast<double>(item.rotation());
  const double width = static_cast<double>(size.x) * scale, height = static_cast<double>(size.y) * scale;
  const double from_x = x - static_cast<double>(pos.x) * scale, from_y = y - static_cast<double>(pos.y) * scale;
  OverlayHit hit;
  const double body = DepthIn(from_x, from_y, width, height, rotation);
  hit.body = body > 0;
  hit.close = std::fabs(body) < near;
  double nearest = 1e9;
  for (int i = 0; i < 8; ++i) {
    const double u = kSides[i][0] * width / 2, v = kSides[i][1] * height / 2;
    const double dx = from_x - (u * std::cos(rotation) - v * std::sin(rotation));
    const double dy = from_y - (u * std::sin(rotation) + v * std::cos(rotation));
    const double depth = DepthIn(dx, dy, 8, 8, rotation);
    const double distance = std::hypot(dx, dy);
    hit.close = hit.close || std::fabs(depth) < near || (depth > 0 && std::fabs(distance - nearest) < near);
    if (depth <= 0 || distance >= nearest) continue;
    nearest = distance;
    hit.handle = i;
  }
  return hit;
}

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_OVERLAY_MODEL_H_
