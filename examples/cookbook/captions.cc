// cookbook-captions: a line of text over the picture, from 0.3 s to 0.7 s, as captions.mp4. Pango sets the text.
#include <pango/pangocairo.h>

#include <vector>

#include "film.h"

// A picture of a line of text, white on nothing.
scoped_refptr<GsPictureItem> MakeCaption(const char* text) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 300, 40);
  cairo_t* cairo = cairo_create(surface);
  PangoLayout* layout = pango_cairo_create_layout(cairo);
  PangoFontDescription* font = pango_font_description_from_string("Sans Bold 16");
  pango_layout_set_font_description(layout, font);
  pango_layout_set_text(layout, text, -1);
  pango_layout_set_width(layout, 300 * PANGO_SCALE);
  pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER);
  cairo_set_source_rgb(cairo, 1, 1, 1);
  pango_cairo_show_layout(cairo, layout);
  cairo_surface_flush(surface);
  // Cairo has multiplied the colours by their alpha, and the library does so when it draws. All of it is white, so only
  // the alpha counts; of other colours each is divided by it.
  std::vector<unsigned char> pixels(300 * 40 * 4, 255);
  for (int y = 0; y < 40; ++y) {
    const unsigned char* row = cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
    for (int x = 0; x < 300; ++x) pixels[static_cast<std::size_t>(y * 300 + x) * 4 + 3] = row[x * 4 + 3];
  }
  pango_font_description_free(font);
  g_object_unref(layout);
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
  return MakeRefCounted<GsPictureItem>(pixels.data(), 300u * 4, 300u, 40u);
}

int main() {
  const GsDefaultDevice device(false);
  const auto scene = MakeRefCounted<GsScene>(320u, 180u);
  scene->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(320, 180), gs_vec3(0, 0, 0.4f)));
  const auto caption = MakeCaption("Good evening, Vienna");
  caption->MoveTo(gs_vec2(0, 64));
  scene->AddItem(caption);
  Film film(scene, "captions.mp4");
  for (unsigned int n = 0; n < 30; ++n) {
    caption->SetVisible(n >= 9 && n < 21);
    film.Draw(n);
  }
  return film.Close() ? 0 : 1;
}
