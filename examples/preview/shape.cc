#include "preview/shape.h"

#include <algorithm>
#include <cmath>

namespace preview {
namespace {

using studio::Size;
using studio::Vec;

constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;

// Clockwise on the screen.
Vec Turned(Vec v, double degrees) {
  const double sine = std::sin(degrees * kRadiansPerDegree), cosine = std::cos(degrees * kRadiansPerDegree);
  return Vec{static_cast<float>(v.x * cosine - v.y * sine), static_cast<float>(v.x * sine + v.y * cosine)};
}

// The point as the shape sees it: from its centre, along its sides.
Vec ToLocal(const Shape& shape, Vec point) {
  return Turned(Vec{point.x - shape.pos.x, point.y - shape.pos.y}, -shape.rotation_deg);
}

// From the centre to a handle, along the sides.
Vec LocalHandle(Size size, Handle handle) {
  return Vec{static_cast<float>(handle.x * size.width) / 2, static_cast<float>(handle.y * size.height) / 2};
}

int Side(double wanted, int present) {
  return static_cast<int>(std::lround(std::clamp<double>(wanted, std::min(kMinSide, present), kMaxSide)));
}

}  // namespace

bool Contains(const Shape& shape, Vec point) {
  const Vec local = ToLocal(shape, point);
  return std::fabs(local.x) * 2 <= static_cast<float>(shape.size.width) &&
         std::fabs(local.y) * 2 <= static_cast<float>(shape.size.height);
}

Vec HandlePoint(const Shape& shape, Handle handle) {
  const Vec offset = Turned(LocalHandle(shape.size, handle), shape.rotation_deg);
  return Vec{shape.pos.x + offset.x, shape.pos.y + offset.y};
}

std::optional<Handle> HandleAt(const Shape& shape, Vec point, float reach) {
  const Vec local = ToLocal(shape, point);
  std::optional<Handle> nearest;
  float nearest_distance = 0;
  for (int y = -1; y <= 1; ++y) {
    for (int x = -1; x <= 1; ++x) {
      if (x == 0 && y == 0) continue;
      const Vec handle = LocalHandle(shape.size, Handle{x, y});
      const float dx = std::fabs(local.x - handle.x), dy = std::fabs(local.y - handle.y);
      if (dx > reach || dy > reach) continue;
      const float distance = std::hypot(dx, dy);
      if (nearest && distance >= nearest_distance) continue;
      nearest = Handle{x, y};
      nearest_distance = distance;
    }
  }
  return nearest;
}

Shape Resized(const Shape& shape, Handle handle, Vec anchor, Vec point, bool keep_proportions) {
  const Vec pulled = Turned(Vec{point.x - anchor.x, point.y - anchor.y}, -shape.rotation_deg);
  double width = handle.x == 0 ? shape.size.width : static_cast<double>(pulled.x) * handle.x;
  double height = handle.y == 0 ? shape.size.height : static_cast<double>(pulled.y) * handle.y;
  if (keep_proportions) {
    const double w = shape.size.width, h = shape.size.height;
    // A corner follows the diagonal, to the place nearest to the pointer.
    double scale = handle.y == 0 ? width / w : handle.x == 0 ? height / h : (width * w + height * h) / (w * w + h * h);
    const double smallest = std::max(std::min<double>(kMinSide, w) / w, std::min<double>(kMinSide, h) / h);
    scale = std::clamp(scale, smallest, kMaxSide / std::max(w, h));
    width = w * scale;
    height = h * scale;
  }
  Shape resized = shape;
  resized.size = Size{Side(width, shape.size.width), Side(height, shape.size.height)};
  const Vec offset = Turned(LocalHandle(resized.size, handle), shape.rotation_deg);
  resized.pos = Vec{anchor.x + offset.x, anchor.y + offset.y};
  return resized;
}

}  // namespace preview
