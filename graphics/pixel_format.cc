// The table of layouts. It has no default, so that the compiler warns of a layout that has no row.
#include "graphics/pixel_format.h"

PixelFormat PixelFormatOf(GraphicsFormatInternal format) {
  using Chroma = PixelFormat::Chroma;
  switch (format) {
    case kFormatUnknown: break;
    case kFormatRGBA: return {4, Chroma::kNone, true};
    case kFormatBGRA: return {4, Chroma::kNone, false};  // Not copied. Kept: C14.
    case kFormatR8: return {1, Chroma::kNone, true};
    case kFormatRG8: return {2, Chroma::kNone, true};
    case kFormatRGBA16: return {8, Chroma::kNone, true};
    case kFormatI420: return {1, Chroma::kPlanar, false};
    case kFormatNV12:
    case kFormatNV21: return {1, Chroma::kInterleaved, false};
  }
  return {0, Chroma::kNone, false};
}

int PixelFormat::planes() const {
  switch (chroma) {
    case Chroma::kNone: break;
    case Chroma::kPlanar: return 3;
    case Chroma::kInterleaved: return 2;
  }
  return pixel_size == 0 ? 0 : 1;
}
