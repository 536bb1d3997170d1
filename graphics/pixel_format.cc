// The table of layouts. Its switches have no default, so that the compiler warns of a layout that has no row, and of a
// kind of chroma that has no planes.
#include "graphics/pixel_format.h"

namespace {

using Chroma = PixelFormat::Chroma;

// What a row says of its layout beyond its size; what a row leaves out is not so.
enum Traits : unsigned {
  kNothingMore = 0,
  kCopied = 1,
  kSampled = 2,
  kUpdatesShown = 4,
};

PixelFormat Row(std::uint32_t pixel_size, Chroma chroma, unsigned traits) {
  PixelFormat row = {};
  row.pixel_size = pixel_size;
  row.chroma = chroma;
  row.copied = (traits & kCopied) != 0;
  row.sampled = (traits & kSampled) != 0;
  row.updates_shown = (traits & kUpdatesShown) != 0;
  return row;
}

// All channels of a pixel lie together.
PixelFormat Packed(std::uint32_t pixel_size, unsigned traits) { return Row(pixel_size, Chroma::kNone, traits); }

// Y in a plane of its own.
PixelFormat Yuv(Chroma chroma) { return Row(1, chroma, kNothingMore); }

}  // namespace

PixelFormat PixelFormatOf(GraphicsFormatInternal format) {
  switch (format) {
    case kFormatUnknown: break;
    case kFormatRGBA: return Packed(4, kCopied | kSampled | kUpdatesShown);
    case kFormatBGRA: return Packed(4, kNothingMore);  // Not copied. Kept: C14.
    case kFormatR8: return Packed(1, kCopied);         // OpenGL refuses its storage. Kept: C17.
    case kFormatRG8: return Packed(2, kCopied | kSampled);
    case kFormatRGBA16: return Packed(8, kCopied);
    case kFormatI420: return Yuv(Chroma::kPlanar);
    case kFormatNV12:
    case kFormatNV21: return Yuv(Chroma::kInterleaved);
  }
  return Packed(0, kNothingMore);
}

int PixelFormat::planes() const {
  switch (chroma) {
    case Chroma::kNone: break;
    case Chroma::kPlanar: return 3;
    case Chroma::kInterleaved: return 2;
  }
  return pixel_size == 0 ? 0 : 1;
}

PixelFormat::Plane PixelFormat::plane(int index) const {
  if (index > 0) {
    switch (chroma) {
      case Chroma::kNone: break;
      case Chroma::kPlanar: return {1, 2, 2};
      case Chroma::kInterleaved: return {2, 2, 2};
    }
  }
  return {pixel_size, 1, 1};
}

std::uint64_t PixelFormat::Size(std::uint32_t width, std::uint32_t height) const {
  // Summed up before it is divided, so that what does not divide is cut off once and not in each plane.
  constexpr std::uint64_t kParts = 64;  // Of a byte, so that a pixel's share of each plane is a whole number of them.
  std::uint64_t parts = 0;
  for (int i = 0; i < planes(); ++i) parts += kParts * plane(i).pixel_size / (plane(i).across * plane(i).down);
  return std::uint64_t{width} * height * parts / kParts;
}
