// How pictures of video lie in memory as Y, U and V, and what colours that makes. Pure functions, any thread.
#ifndef QUARN_GRAPHICS_VIDEO_LAYOUT_H_
#define QUARN_GRAPHICS_VIDEO_LAYOUT_H_

#include <cstdint>

// Chroma is halved both ways in all of them. Unlike the frames that outputs deliver (PixelFormat), a picture may have
// odd sides: halves are rounded up.
enum class VideoLayout : int {
  kI420,  // Planes of Y, of U and of V.
  kNV12,  // A plane of Y, and one of U and V in turn.
  kP010,  // As kNV12 in 16-bit words, whose upper ten bits count.
};

// What ITU-R recommends for turning red, green and blue into Y, U and V.
enum class VideoMatrix : int { kBT601, kBT709, kBT2020 };

// Of a size and an alignment for an atomic.
struct alignas(8) VideoColor {
  VideoMatrix matrix = VideoMatrix::kBT709;
  bool full_range = false;
  bool chroma_centered = false;  // Else chroma lies at the left one of each two pixels. Between rows in either case.

  bool operator==(const VideoColor& other) const {
    return matrix == other.matrix && full_range == other.full_range && chroma_centered == other.chroma_centered;
  }
};

struct VideoPlane {
  std::uint32_t width;     // In texels, each with one value or one of U and one of V.
  std::uint32_t height;    // Rows.
  std::uint32_t channels;  // Values of a texel.
  std::uint32_t bytes;     // Of a value.

  std::uint64_t row_bytes() const { return std::uint64_t{width} * channels * bytes; }
};

constexpr int kMaxVideoPlanes = 3;

// How many planes pictures of that layout have.
int VideoPlanes(VideoLayout layout);
// A plane of a picture of `width` x `height` pixels.
VideoPlane VideoPlaneOf(VideoLayout layout, int plane, std::uint32_t width, std::uint32_t height);
// Fills three rows of four: what red, green and blue are made of from (Y, U, V, 1). All are 0 to 1, as GL reads the
// values of the planes. Logs the matrix at debug level.
void VideoRows(VideoLayout layout, const VideoColor& color, float* rows);

#endif  // QUARN_GRAPHICS_VIDEO_LAYOUT_H_
