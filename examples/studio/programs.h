// The shader programs of this host.
#ifndef QUARN_EXAMPLES_STUDIO_PROGRAMS_H_
#define QUARN_EXAMPLES_STUDIO_PROGRAMS_H_

#include <quarn/gs_device.h>

namespace studio {

// A program that draws a layer, in two forms: a layer that lies straight has no stairs to smooth, and a software
// rasteriser draws it faster without.
struct LayerProgram {
  const char* straight;
  const char* turned;
};

// Each program reads one constant buffer, u_buf0, of four floats. Colours are premultiplied, where they are read and
// where they are written: what draws with these programs blends accordingly (CanvasScene), or not at all (Unblended).
//
// Layers: the constants are the colour; and a texture times the constants. The last one is for straight layers that
// have a pixel for each texel.
constexpr LayerProgram kColorProgram = {"studio_color", "studio_color_turned"};
constexpr LayerProgram kTextureProgram = {"studio_texture", "studio_texture_turned"};
constexpr char kTexelProgram[] = "studio_texels";

// Filters: a texture without its colours; and one blurred along an axis, the constants being the step in texture
// coordinates.
constexpr char kGreyProgram[] = "studio_grey";
constexpr char kBlurProgram[] = "studio_blur";

// Films: a scene at the size that the constants begin with, each pixel the mean of what it covers; with the third one 1
// its colours are divided by their alpha, and with 0 they are opaque.
constexpr char kFilmProgram[] = "studio_film";

// Returns false when one cannot be built; the log says why.
bool AddPrograms(GsDevice* device);
// What turns the engine's BGRA output from black into a picture.
bool AddBgraProgram(GsDevice* device);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PROGRAMS_H_
