#include "tests/examples/preview_sight.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

// The frame of a box in view pixels, four bars of two pixels, and its eight handles when it is selected.
std::vector<Rect> Overlay(const Box& box, double scale, bool selected) {
  const double angle = box.rotation_deg * std::acos(-1.0) / 180;
  const double w = box.width * scale, h = box.height * scale;
  std::vector<Rect> rects;
  const auto add = [&](double x, double y, double width, double height, bool white = false) {
    Rect rect{box.x * scale + x * std::cos(angle) - y * std::sin(angle),
              box.y * scale + x * std::sin(angle) + y * std::cos(angle),
              width,
              height,
              box.rotation_deg,
              89,
              179,
              255,
              1};
    if (selected) rect.r = 255, rect.g = 140, rect.b = 26;
    if (white) rect.r = rect.g = rect.b = 255;
    rects.push_back(rect);
  };
  for (const int side : {-1, 1}) {
    add(side * w / 2, 0, 2, h + 2);
    add(0, side * h / 2, w + 2, 2);
  }
  for (int i = 0; i < 9 && selected; ++i) {
    if (i == 4) continue;
    add((i % 3 - 1) * w / 2, (i / 3 - 1) * h / 2, 8, 8);
    add((i % 3 - 1) * w / 2, (i / 3 - 1) * h / 2, 4, 4, true);
  }
  return rects;
}

// Where the grip that turns a selected box is, with its stalk.
Rect Grip(const Box& box, double scale) {
  const double angle = box.rotation_deg * std::acos(-1.0) / 180;
  const double up = box.height * scale / 2 + 18;
  return {
      box.x * scale + up * std::sin(angle), box.y * scale - up * std::cos(angle), 16, 28, box.rotation_deg, 1, 1, 1, 1};
}

Rect Grown(Rect rect, double by) {
  rect.width += by, rect.height += by;
  return rect;
}

bool IsTurned(const Sight& sight) {
  for (const Box& box : sight.boxes) {
    if (box.rotation_deg != 0) return true;
  }
  return false;
}

// A turned frame's bars may take one pixel or its neighbour.
test::Tolerance ToleranceOf(const Sight& sight) { return {2, IsTurned(sight) ? 0.001 : 0}; }

ReferenceFrame Draw(const Sight& sight, double scale, int width, int height) {
  std::vector<Rect> rects = {{0, 0, 1.0 * width, 1.0 * height, 0, 31, 33, 38, 1},
                             {0, 0, kCanvasWidth * scale + 2, kCanvasHeight * scale + 2, 0, 71, 77, 87, 1},
                             {0, 0, kCanvasWidth * scale, kCanvasHeight * scale, 0, 0, 0, 0, 1}};
  for (const Box& box : sight.boxes) {
    rects.push_back({box.x * scale, box.y * scale, box.width * scale, box.height * scale, box.rotation_deg, box.r,
                     box.g, box.b, 1});
  }
  ReferenceFrame frame = Reference(width, height, rects);
  if (scale == 1 && !IsTurned(sight)) frame.flat.assign(frame.flat.size(), true);
  std::vector<Rect> overlay, blurred, grips;  // What is drawn with smooth edges is not looked at.
  const auto add_overlay = [&](int index, bool selected) {
    const Box& box = sight.boxes[static_cast<std::size_t>(index)];
    if (selected) grips.push_back(Grip(box, scale));
    for (const Rect& rect : Overlay(box, scale, selected)) {
      if (box.rotation_deg == 0) {
        overlay.push_back(rect);
      } else {
        blurred.push_back(Grown(rect, 3));
        if (rect.r == rect.b) overlay.push_back(Grown(rect, -2));  // But for the handles' middles.
      }
    }
  };
  if (sight.hovered >= 0 && sight.hovered != sight.selected) add_overlay(sight.hovered, false);
  if (sight.selected >= 0) add_overlay(sight.selected, true);
  if (sight.vertical_guide) overlay.push_back({0, 0, 2, 1.0 * height, 0, 51, 230, 128, 1});
  if (sight.horizontal_guide) overlay.push_back({0, 0, 1.0 * width, 2, 0, 51, 230, 128, 1});
  // What the overlay covers is what it is over any picture.
  rects.insert(rects.end(), overlay.begin(), overlay.end());
  const ReferenceFrame over_all = Reference(width, height, rects);
  const ReferenceFrame over_black = Reference(width, height, overlay);
  const ReferenceFrame smooth = Reference(width, height, blurred);
  const ReferenceFrame grip = Reference(width, height, grips);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const std::size_t at = static_cast<std::size_t>(y) * width + x;
      const std::uint8_t* const pixel = over_black.At(x, y);
      if (smooth.At(x, y)[0] > 0) frame.flat[at] = false;
      if (pixel[0] + pixel[1] + pixel[2] > 0) frame.flat[at] = true;
      if (grip.At(x, y)[0] > 0) frame.flat[at] = false;
    }
  }
  frame.rgb = over_all.rgb;
  return frame;
}

}  // namespace

Box At(Box box, double x, double y) {
  box.x = x, box.y = y;
  return box;
}

Box Sized(Box box, double width, double height) {
  box.width = width, box.height = height;
  return box;
}

Box Turned(Box box, double degrees) {
  box.rotation_deg = degrees;
  return box;
}

SightJudge::SightJudge(const Sight& sight, double scale, int width, int height)
    : expected_(Draw(sight, scale, width, height)), tolerance_(ToleranceOf(sight)) {}

test::Picture SightJudge::Wanted(const test::Picture& seen) const {
  test::Picture wanted = seen;
  for (int y = 0; y < seen.height; ++y) {
    for (int x = 0; x < seen.width; ++x) {
      if (!expected_.flat[static_cast<std::size_t>(y) * seen.width + x]) continue;
      std::copy_n(expected_.At(x, y), 3, wanted.at(x, y));
    }
  }
  return wanted;
}

bool SightJudge::Likes(const test::Picture& seen) const {
  return seen.width == expected_.width && seen.height == expected_.height && AreAlike(seen, Wanted(seen), tolerance_);
}

testing::AssertionResult SightJudge::Judge(const test::Picture& seen) const {
  if (seen.width != expected_.width || seen.height != expected_.height) {
    return testing::AssertionFailure() << "what is seen is " << seen.width << "x" << seen.height;
  }
  return PicturesMatch(seen, Wanted(seen), tolerance_);
}
