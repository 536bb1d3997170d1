// The arithmetic of the fitting and of the editing overlay: pure functions, any thread.
#include "graphics/public/overlay_geometry.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace gs_overlay {

namespace {

// View pixels.
constexpr unsigned int kMargin = 10;  // Of both sides together.
constexpr float kLineWidth = 2.0f;
constexpr float kHandleSize = 8.0f;

// Radians. Kept: C29.
constexpr float kMinRotation = 1e-6f;

gs_vec2 Midpoint(const gs_vec2& a, const gs_vec2& b) { return (a + b) * 0.5f; }

gs_vec2 Turn(const gs_vec2& point, float cosine, float sine) {
  return gs_vec2(point.x * cosine - point.y * sine, point.x * sine + point.y * cosine);
}

gs_vec2 Between(const gs_vec2& from, const gs_vec2& to) { return to + from * -1.0f; }

// A rectangle of `size` view pixels at a point of the item, turned with it.
gs_transform At(const gs_vec2& point, const gs_vec2& size, const gs_transform& item, float scale) {
  return gs_transform((point + item.pos) * scale, size, item.rotation);
}

}  // namespace

float FitScale(const Sizes& sizes) {
  const gs_vec2 view = sizes.view();
  const gs_vec2 scene = sizes.scene();
  // Kept: C27.
  return scene.x / scene.y >= view.x / view.y ? static_cast<float>(sizes.view_width - kMargin) / scene.x
                                              : static_cast<float>(sizes.view_height - kMargin) / scene.y;
}

gs_vec2 ViewOrigin(const Sizes& sizes) { return sizes.view() * -0.5f; }

unsigned int RoundToPixels(float value) {
  constexpr float kLimit = 4294967296.0f;
  const float rounded = std::round(value);
  if (rounded >= kLimit) return std::numeric_limits<unsigned int>::max();
  return rounded > 0.0f ? static_cast<unsigned int>(rounded) : 0;
}

std::array<gs_vec2, kHandlePoints> HandlePointsOf(const gs_vec2& size, float rotation) {
  const gs_vec2 low = size * -0.5f;
  const gs_vec2 high = size * 0.5f;
  std::array<gs_vec2, 4> corners = {low, gs_vec2(high.x, low.y), gs_vec2(low.x, high.y), high};
  if (std::fabs(rotation) > kMinRotation) {
    const float cosine = std::cos(rotation);
    const float sine = std::sin(rotation);
    for (gs_vec2& corner : corners) corner = Turn(corner, cosine, sine);
  }
  return {corners[kTopLeft],
          corners[kTopRight],
          corners[kBottomLeft],
          corners[kBottomRight],
          Midpoint(corners[kTopLeft], corners[kBottomLeft]),
          Midpoint(corners[kTopLeft], corners[kTopRight]),
          Midpoint(corners[kTopRight], corners[kBottomRight]),
          Midpoint(corners[kBottomLeft], corners[kBottomRight])};
}

std::array<gs_transform, 4> FrameBars(const gs_transform& item, float scale) {
  const std::array<gs_vec2, kHandlePoints> points = HandlePointsOf(item.size, item.rotation);
  // Longer than the sides by their own width, so that they meet at the corners.
  const gs_vec2 upright(kLineWidth, item.size.y * scale + kLineWidth);
  const gs_vec2 level(item.size.x * scale + kLineWidth, kLineWidth);
  return {At(points[kLeft], upright, item, scale), At(points[kTop], level, item, scale),
          At(points[kRight], upright, item, scale), At(points[kBottom], level, item, scale)};
}

std::array<gs_transform, kHandlePoints> FrameHandles(const gs_transform& item, float scale) {
  const std::array<gs_vec2, kHandlePoints> points = HandlePointsOf(item.size, item.rotation);
  const auto handle = [&](HandlePoint point) {
    return At(points[point], gs_vec2(kHandleSize, kHandleSize), item, scale);
  };
  return {handle(kTopLeft), handle(kTopRight), handle(kBottomLeft), handle(kBottomRight),
          handle(kLeft),    handle(kTop),      handle(kRight),      handle(kBottom)};
}

gs_transform FrameBody(const gs_transform& item, float scale) {
  const float rotation = std::fabs(item.rotation) <= kMinRotation ? 0.0f : item.rotation;
  return gs_transform(item.pos * scale, item.size * scale, rotation);
}

bool Holds(const gs_transform& shape, const gs_vec2& point) {
  const gs_vec2 local = Turn(Between(shape.pos, point), std::cos(shape.rotation), -std::sin(shape.rotation));
  return std::fabs(local.x) <= std::fabs(shape.size.x * 0.5f) && std::fabs(local.y) <= std::fabs(shape.size.y * 0.5f);
}

int HandleAt(const gs_transform& item, float scale, const gs_vec2& point) {
  int nearest = kHandlePoints;
  float nearest_distance = 0.0f;
  const auto handles = FrameHandles(item, scale);
  for (int i = 0; i < kHandlePoints; ++i) {
    const gs_transform& handle = handles[static_cast<std::size_t>(i)];
    if (!Holds(handle, point)) continue;
    const gs_vec2 off = Between(handle.pos, point);
    const float distance = off.x * off.x + off.y * off.y;
    if (nearest != kHandlePoints && !(distance < nearest_distance)) continue;
    nearest = i;
    nearest_distance = distance;
  }
  return nearest;
}

std::optional<gs_transform> VerticalGuide(float x, const gs_vec2& view) {
  if (std::isnan(x)) return std::nullopt;
  return gs_transform(gs_vec2(x, 0.0f), gs_vec2(kLineWidth, view.y));
}

std::optional<gs_transform> HorizontalGuide(float y, const gs_vec2& view) {
  if (std::isnan(y)) return std::nullopt;
  return gs_transform(gs_vec2(0.0f, y), gs_vec2(view.x, kLineWidth));
}

}  // namespace gs_overlay
