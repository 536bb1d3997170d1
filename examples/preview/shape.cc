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

// Along a shape's sides, around its centre.
struct Span {
  float from = 0;
  float to = 0;
};

// Where a box ends, seen along the shape's sides.
Span Along(const Shape& shape, const Box& box, bool across) {
  Span span;
  bool first = true;
  for (const Vec corner : {box.min, Vec{box.max.x, box.min.y}, Vec{box.min.x, box.max.y}, box.max}) {
    const Vec local = ToLocal(shape, corner);
    const float at = across ? local.y : local.x;
    span = first ? Span{at, at} : Span{std::min(span.from, at), std::max(span.to, at)};
    first = false;
  }
  return span;
}

}  // namespace

bool Contains(const Shape& shape, Vec point) {
  const Vec local = ToLocal(shape, point);
  return std::fabs(local.x) * 2 <= static_cast<float>(shape.size.width) &&
         std::fabs(local.y) * 2 <= static_cast<float>(shape.size.height);
}

// Two rectangles are apart if they are so along a side of one of them.
bool Touches(const Shape& shape, const Box& box) {
  const Box bounds = BoundsOf(shape);
  if (bounds.max.x < box.min.x || bounds.min.x > box.max.x) return false;
  if (bounds.max.y < box.min.y || bounds.min.y > box.max.y) return false;
  const Vec half = LocalHandle(shape.size, Handle{1, 1});
  const Span x = Along(shape, box, false), y = Along(shape, box, true);
  return x.to >= -half.x && x.from <= half.x && y.to >= -half.y && y.from <= half.y;
}

Box BoundsOf(const Shape& shape) {
  const Vec a = Turned(LocalHandle(shape.size, Handle{1, 1}), shape.rotation_deg);
  const Vec b = Turned(LocalHandle(shape.size, Handle{1, -1}), shape.rotation_deg);
  const Vec half{std::max(std::fabs(a.x), std::fabs(b.x)), std::max(std::fabs(a.y), std::fabs(b.y))};
  return Box{{shape.pos.x - half.x, shape.pos.y - half.y}, {shape.pos.x + half.x, shape.pos.y + half.y}};
}

Box Joined(const Box& a, const Box& b) {
  return Box{{std::min(a.min.x, b.min.x), std::min(a.min.y, b.min.y)},
             {std::max(a.max.x, b.max.x), std::max(a.max.y, b.max.y)}};
}

Vec HandlePoint(const Shape& shape, Handle handle) {
  const Vec offset = Turned(LocalHandle(shape.size, handle), shape.rotation_deg);
  return Vec{shape.pos.x + offset.x, shape.pos.y + offset.y};
}

std::optional<Handle> HandleAt(const Shape& shape, Vec point, float reach) {
  const Vec local = ToLocal(shape, point);
  if (std::fabs(local.x) * 4 < static_cast<float>(shape.size.width) &&
      std::fabs(local.y) * 4 < static_cast<float>(shape.size.height)) {
    return std::nullopt;
  }
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

Vec RotationGripPoint(const Shape& shape, float distance) {
  const Vec offset = Turned(Vec{0, -static_cast<float>(shape.size.height) / 2 - distance}, shape.rotation_deg);
  return Vec{shape.pos.x + offset.x, shape.pos.y + offset.y};
}

float DirectionTo(const Shape& shape, Vec point) {
  return static_cast<float>(std::atan2(point.y - shape.pos.y, point.x - shape.pos.x) / kRadiansPerDegree);
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
