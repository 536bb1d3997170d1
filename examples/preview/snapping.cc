#include "preview/snapping.h"

#include <cmath>
#include <limits>

namespace preview {
namespace {

using studio::Vec;

// A ray that hardly crosses a line is not led to it.
constexpr float kFlattest = 0.05f;

}  // namespace

void SnapLines::Add(const Box& box) {
  const Vec center = box.Center();
  x.insert(x.end(), {center.x, box.min.x, box.max.x});
  y.insert(y.end(), {center.y, box.min.y, box.max.y});
}

std::optional<Snap> Nearest(const std::vector<float>& lines, const std::vector<float>& places, float reach) {
  std::optional<Snap> nearest;
  for (const float line : lines) {
    for (const float place : places) {
      const float offset = line - place;
      if (!(std::fabs(offset) <= reach) || (nearest && std::fabs(offset) >= std::fabs(nearest->offset))) continue;
      nearest = Snap{line, offset};
    }
  }
  return nearest;
}

SnappedBox SnapBox(const SnapLines& lines, const Box& box, float reach) {
  SnapLines places;
  places.Add(box);
  SnappedBox snapped;
  if (const auto x = Nearest(lines.x, places.x, reach)) {
    snapped.offset.x = x->offset;
    snapped.x = x->line;
  }
  if (const auto y = Nearest(lines.y, places.y, reach)) {
    snapped.offset.y = y->offset;
    snapped.y = y->line;
  }
  return snapped;
}

SnappedPoint SnapPoint(const SnapLines& lines, Vec point, float reach) {
  SnappedPoint snapped;
  const auto x = Nearest(lines.x, {point.x}, reach);
  const auto y = Nearest(lines.y, {point.y}, reach);
  snapped.point = Vec{point.x + (x ? x->offset : 0), point.y + (y ? y->offset : 0)};
  if (x) snapped.x = x->line;
  if (y) snapped.y = y->line;
  return snapped;
}

SnappedPoint SnapAlong(const SnapLines& lines, Vec anchor, Vec point, float reach) {
  SnappedPoint snapped;
  snapped.point = point;
  const Vec ray{point.x - anchor.x, point.y - anchor.y};
  const float length = std::hypot(ray.x, ray.y);
  const auto crosses = [length](float part) { return std::fabs(part) > kFlattest * length; };
  const auto x = Nearest(crosses(ray.x) ? lines.x : std::vector<float>(), {point.x}, reach);
  const auto y = Nearest(crosses(ray.y) ? lines.y : std::vector<float>(), {point.y}, reach);
  const auto distance = [](const std::optional<Snap>& snap) {
    return snap ? std::fabs(snap->offset) : std::numeric_limits<float>::infinity();
  };
  if (x && distance(x) <= distance(y)) {
    snapped.point = Vec{x->line, point.y + ray.y * x->offset / ray.x};
    snapped.x = x->line;
  } else if (y) {
    snapped.point = Vec{point.x + ray.x * y->offset / ray.y, y->line};
    snapped.y = y->line;
  }
  return snapped;
}

}  // namespace preview
