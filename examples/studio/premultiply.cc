#include "studio/premultiply.h"

#include <cairo.h>

#include <cstddef>
#include <memory>

namespace studio {
namespace {

struct SurfaceDeleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

// Red and blue are exchanged for cairo, which does not matter to what treats all four channels alike.
Surface SurfaceOf(const PixelRows& rows) {
  return Surface(cairo_image_surface_create_for_data(rows.pixels, CAIRO_FORMAT_ARGB32, rows.size.width,
                                                     rows.size.height, rows.stride));
}

}  // namespace

void Premultiply(const PixelRows& rows) {
  for (int y = 0; y < rows.size.height; ++y) {
    std::uint8_t* const row = rows.pixels + static_cast<std::ptrdiff_t>(y) * rows.stride;
    for (int x = 0; x < rows.size.width; ++x) {
      std::uint8_t* const pixel = row + static_cast<std::ptrdiff_t>(x) * 4;
      for (int c = 0; c < 3; ++c) pixel[c] = Premultiplied(pixel[c], pixel[3]);
    }
  }
}

bool ScalePremultiplied(const PixelRows& from, const PixelRows& to) {
  const Surface source = SurfaceOf(from), target = SurfaceOf(to);
  const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(target.get()), &cairo_destroy);
  const auto ratio = [](int a, int b) { return static_cast<double>(a) / b; };
  cairo_scale(cairo.get(), ratio(to.size.width, from.size.width), ratio(to.size.height, from.size.height));
  cairo_set_source_surface(cairo.get(), source.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cairo.get()), CAIRO_FILTER_GOOD);
  cairo_pattern_set_extend(cairo_get_source(cairo.get()), CAIRO_EXTEND_PAD);  // Nothing comes in from beyond the edges.
  cairo_set_operator(cairo.get(), CAIRO_OPERATOR_SOURCE);
  cairo_paint(cairo.get());
  cairo_surface_flush(target.get());
  return cairo_status(cairo.get()) == CAIRO_STATUS_SUCCESS;
}

}  // namespace studio
