// Where a view shows its scene, and which shapes its editing overlay consists of. Nothing is drawn here. Any thread.
//
// Items are placed in scene pixels from the scene's centre, the overlay in view pixels from the view's centre; y grows
// downwards in both. The scene lies in the middle of the view, so a position in the scene times the scale is one in the
// view. A shape is a gs_transform in view pixels: a rectangle about a centre, turned by radians.
#ifndef QUARN_GRAPHICS_PUBLIC_OVERLAY_GEOMETRY_H_
#define QUARN_GRAPHICS_PUBLIC_OVERLAY_GEOMETRY_H_

#include <array>
#include <optional>

#include <quarn/gs_types.h>

namespace gs_overlay {

// Of a view and of the scene that it shows, in pixels.
struct Sizes {
  unsigned int view_width;
  unsigned int view_height;
  unsigned int scene_width;
  unsigned int scene_height;

  // Whether there is nothing to fit: one of the two has no pixels.
  bool AnyIsZero() const { return view_width == 0 || view_height == 0 || scene_width == 0 || scene_height == 0; }
  gs_vec2 view() const { return gs_vec2(static_cast<float>(view_width), static_cast<float>(view_height)); }
  gs_vec2 scene() const { return gs_vec2(static_cast<float>(scene_width), static_cast<float>(scene_height)); }
};

// View pixels per scene pixel with which the scene fits into the view, but for a margin of 5 pixels on both sides in
// the direction that limits it: the width where the aspect ratios are equal. No size may be zero.
float FitScale(const Sizes& sizes);

// Where the view's upper left corner lies.
gs_vec2 ViewOrigin(const Sizes& sizes);

// Whole pixels: halves go away from zero, and what an unsigned number cannot hold becomes the nearest that it can.
unsigned int RoundToPixels(float value);

// The points where a selected item has its handles, in the order in which these are drawn.
enum HandlePoint { kTopLeft, kTopRight, kBottomLeft, kBottomRight, kLeft, kTop, kRight, kBottom };
constexpr int kHandlePoints = 8;

// The corners of an item and the middles of its sides, by HandlePoint, in scene pixels from the item's centre. An item
// that is turned by less than a millionth of a radian counts as not turned.
std::array<gs_vec2, kHandlePoints> HandlePointsOf(const gs_vec2& size, float rotation);

// The frame round an item that lies at `item` in its scene: the bars on its left, top, right and bottom side, in the
// order in which they are drawn. They are turned with the item, however little that is.
std::array<gs_transform, 4> FrameBars(const gs_transform& item, float scale);

// The squares at the item's handle points, by HandlePoint, turned with it.
std::array<gs_transform, kHandlePoints> FrameHandles(const gs_transform& item, float scale);

// The rectangle of the item itself, turned as its corners are.
gs_transform FrameBody(const gs_transform& item, float scale);

// Whether a shape holds the point, its edges included. None holds a point that is not a number.
bool Holds(const gs_transform& shape, const gs_vec2& point);

// Which of the item's handles, by HandlePoint, holds the point; of several the nearest, and of those equally near the
// first. kHandlePoints where none does.
int HandleAt(const gs_transform& item, float scale, const gs_vec2& point);

// The guide lines at a distance of `x` or `y` from the view's centre, as long as the view; none for NaN.
std::optional<gs_transform> VerticalGuide(float x, const gs_vec2& view);
std::optional<gs_transform> HorizontalGuide(float y, const gs_vec2& view);

}  // namespace gs_overlay

#endif  // QUARN_GRAPHICS_PUBLIC_OVERLAY_GEOMETRY_H_
