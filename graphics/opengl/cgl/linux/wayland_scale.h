// How pixels of pictures become the units that Wayland counts windows in.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_SCALE_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_SCALE_H_

#include <algorithm>
#include <cmath>

// Pixels of the screen per unit, in 120ths: the protocol of fractional scales counts so.
constexpr unsigned int kWaylandScaleOne = 120;

// The scale of a screen with `pixels` on a side that is `units` long.
inline unsigned int WaylandScaleOf(int pixels, int units) {
  return static_cast<unsigned int>(std::lround(static_cast<double>(kWaylandScaleOne) * pixels / units));
}

// A number of pixels, as units: the nearest whole number.
inline int ToWaylandUnits(int pixels, unsigned int scale) {
  return static_cast<int>(std::lround(static_cast<double>(pixels) * kWaylandScaleOne / scale));
}

// A side of a picture.
struct WaylandSide {
  int units;      // How long it is on the screen.
  double pixels;  // How much of the picture is shown there.
};

// A side has whole units only. Where a compositor, which rounds to the nearest pixel, makes as many pixels of some
// number of them as the picture has, those are it. Where there is no such number, the last pixels of the picture are
// left out, so that each of the others is one of the screen's.
inline WaylandSide ToWaylandSide(unsigned int pixels, unsigned int scale) {
  const double exact = static_cast<double>(pixels) * kWaylandScaleOne / scale;
  const double nearest = std::max(std::round(exact), 1.0);
  if (std::round(nearest * scale / kWaylandScaleOne) == pixels || exact < 1) {
    return {static_cast<int>(nearest), static_cast<double>(pixels)};
  }
  const double below = std::floor(exact);
  return {static_cast<int>(below), below * scale / kWaylandScaleOne};
}

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_SCALE_H_
