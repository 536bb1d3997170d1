#include "studio/text_picture.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "studio/error.h"

namespace studio {
namespace {

// What is larger is enlarged.
constexpr int kMaxSide = 8192;  // What hardware of the OpenGL 3.2 class takes as a texture.
constexpr double kMaxLetter = 2000;

struct Deleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
  void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
  void operator()(PangoFontMap* fonts) const { g_object_unref(fonts); }
  void operator()(PangoContext* context) const { g_object_unref(context); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

PangoAlignment ToPango(TextAlign align) {
  switch (align) {
    case TextAlign::kLeft: return PANGO_ALIGN_LEFT;
    case TextAlign::kCenter: return PANGO_ALIGN_CENTER;
    case TextAlign::kRight: break;
  }
  return PANGO_ALIGN_RIGHT;
}

// A text on a surface of its own, which may be of any size.
struct Canvas {
  Owned<cairo_surface_t> surface;
  Owned<cairo_t> cairo;
  Owned<PangoFontMap> fonts;  // Of its own: a thread's default one stays until the thread ends.
  Owned<PangoContext> context;
  Owned<PangoLayout> layout;
  PangoRectangle extents;  // In pixels.

  Canvas(const Layer& layer, Size size)
      : surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.width, size.height)),
        cairo(cairo_create(surface.get())),
        fonts(pango_cairo_font_map_new()),
        context(pango_font_map_create_context(fonts.get())),
        layout(pango_layout_new(context.get())) {
    // Letters keep their shapes and places at every size: nothing is bent to the grid of pixels.
    const Owned<cairo_font_options_t> options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context.get(), options.get());
    pango_context_set_round_glyph_positions(context.get(), FALSE);
    const Owned<PangoFontDescription> font(pango_font_description_from_string(layer.font.c_str()));
    pango_font_description_set_absolute_size(font.get(), static_cast<double>(layer.letter_px) * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_alignment(layout.get(), ToPango(layer.align));
    pango_layout_set_text(layout.get(), layer.text.c_str(), static_cast<int>(layer.text.size()));
    // Letters may reach out of their lines, and lines may have no letters.
    PangoRectangle ink, lines;
    pango_layout_get_pixel_extents(layout.get(), &ink, &lines);
    const int left = std::min(ink.x, lines.x), top = std::min(ink.y, lines.y);
    extents = {left, top, std::max(ink.x + ink.width, lines.x + lines.width) - left,
               std::max(ink.y + ink.height, lines.y + lines.height) - top};
  }
};

// For a message of one line.
std::string Shortened(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  if (line.size() > 40)
    line.resize(static_cast<std::size_t>(g_utf8_find_prev_char(line.c_str(), &line[40]) - &line[0]));
  return line == text ? line : line + "...";
}

}  // namespace

Size TextSize(const Layer& layer) {
  if (!g_utf8_validate(layer.text.data(), static_cast<gssize>(layer.text.size()), nullptr)) {
    throw UsageError("layer text: is not UTF-8");
  }
  const Canvas canvas(layer, Size{1, 1});
  const Size size{std::max(1, canvas.extents.width), std::max(1, canvas.extents.height)};
  if (size.width > kMaxSide || size.height > kMaxSide) {
    throw UsageError("layer text \"" + Shortened(layer.text) + "\" would be " + std::to_string(size.width) + "x" +
                     std::to_string(size.height) + " pixels: each side must be at most " + std::to_string(kMaxSide));
  }
  return size;
}

Picture TextPicture(const Layer& layer, Size natural, Size drawn) {
  const double across = static_cast<double>(drawn.width) / natural.width;
  const double down = static_cast<double>(drawn.height) / natural.height;
  // Letters of another size rather than a scaled canvas: FreeType refuses to scale much. What is left is little, but
  // where the proportions are not kept.
  Layer scaled = layer;
  const double wanted = static_cast<double>(layer.letter_px) * std::max(across, down);
  const double longer = std::max(drawn.width, drawn.height);
  const double share = std::min({1.0, kMaxLetter / wanted, kMaxSide / longer});
  scaled.letter_px = static_cast<float>(wanted * share);
  const auto side = [&](int of) { return std::max(1, static_cast<int>(std::lround(of * share))); };
  const Size size{side(drawn.width), side(drawn.height)};
  const Canvas canvas(scaled, size);
  cairo_t* const cairo = canvas.cairo.get();
  cairo_scale(cairo, static_cast<double>(size.width) / std::max(1, canvas.extents.width),
              static_cast<double>(size.height) / std::max(1, canvas.extents.height));
  cairo_translate(cairo, -canvas.extents.x, -canvas.extents.y);
  const Color& color = layer.color;
  cairo_set_source_rgba(cairo, static_cast<double>(color.r), static_cast<double>(color.g), static_cast<double>(color.b),
                        static_cast<double>(color.a));
  pango_cairo_update_layout(cairo, canvas.layout.get());
  pango_cairo_show_layout(cairo, canvas.layout.get());
  cairo_surface_flush(canvas.surface.get());
  if (cairo_status(cairo) != CAIRO_STATUS_SUCCESS) {
    throw Error("cannot draw the text \"" + Shortened(layer.text) +
                "\": " + cairo_status_to_string(cairo_status(cairo)));
  }
  Picture picture;
  picture.size = size;
  picture.stride = cairo_image_surface_get_stride(canvas.surface.get());
  const unsigned char* const words = cairo_image_surface_get_data(canvas.surface.get());
  picture.pixels.resize(static_cast<std::size_t>(picture.stride) * size.height);
  for (std::size_t at = 0; at < picture.pixels.size(); at += 4) {
    std::uint32_t argb = 0;
    std::memcpy(&argb, words + at, sizeof(argb));
    for (const int shift : {16, 8, 0, 24}) picture.pixels[at++] = static_cast<std::uint8_t>(argb >> shift);
    at -= 4;
  }
  return picture;
}

}  // namespace studio
