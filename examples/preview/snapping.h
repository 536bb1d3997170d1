// Lines of the canvas which what is dragged keeps to. Knows no window; one thread.
#ifndef QUARN_EXAMPLES_PREVIEW_SNAPPING_H_
#define QUARN_EXAMPLES_PREVIEW_SNAPPING_H_

#include <optional>
#include <vector>

#include "preview/shape.h"
#include "studio/description.h"

namespace preview {

// Positions on the canvas: of vertical lines (x) and of horizontal ones (y).
struct SnapLines {
  std::vector<float> x;
  std::vector<float> y;

  // The edges of a box and its middle.
  void Add(const Box& box);
};

// A place that was found near a line.
struct Snap {
  float line = 0;
  float offset = 0;  // From the place to the line.
};

// The nearest line to any of the places, if it is no further away than `reach`. Of lines as near the one that was added
// first.
std::optional<Snap> Nearest(const std::vector<float>& lines, const std::vector<float>& places, float reach);

// The lines at which a box would be found.
struct SnappedBox {
  studio::Vec offset;  // By which the box must be moved; 0 where nothing is near.
  std::optional<float> x;
  std::optional<float> y;
};
SnappedBox SnapBox(const SnapLines& lines, const Box& box, float reach);

// What becomes of a resize: where the handle must be pulled to instead of `point`, so that it comes to lie on lines.
// A handle that keeps to a direction (of a side, or with the proportions kept) is led along it.
struct SnappedPoint {
  studio::Vec point;
  std::optional<float> x;
  std::optional<float> y;
};
SnappedPoint SnapPoint(const SnapLines& lines, studio::Vec point, float reach);
// The point lies on a ray from `anchor`, and stays on it: so at one line only.
SnappedPoint SnapAlong(const SnapLines& lines, studio::Vec anchor, studio::Vec point, float reach);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SNAPPING_H_
