// The memory of a picture: how each layout cuts its one block into planes. Any thread, one at a time for each frame.
#include "graphics/output/graphics_frame.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "foundation/integer_math.h"

namespace {

// The bytes to allocate; 0 for a picture without bytes and for one whose bytes do not fit 32 bits.
std::size_t BlockSize(GraphicsFormatInternal format, std::uint32_t width, std::uint32_t height) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
  const PixelFormat layout = PixelFormatOf(format);
  const std::uint64_t pitch = std::uint64_t{width} * layout.pixel_size;
  if (pitch == 0 || height == 0 || pitch > kMax / height) return 0;
  const std::uint64_t size = AlignSize(layout.Size(width, height));
  return size > kMax ? 0 : static_cast<std::size_t>(size);
}

}  // namespace

GraphicsFrame::GraphicsFrame() : data(), linesize(), format(kFormatUnknown), width(0), height(0) {}

GraphicsFrame::GraphicsFrame(GraphicsFormatInternal frame_format, unsigned int frame_width, unsigned int frame_height)
    : GraphicsFrame() {
  const std::size_t size = BlockSize(frame_format, frame_width, frame_height);
  if (size == 0) return;
  data[0] = new (std::nothrow) unsigned char[size];
  if (!data[0]) return;
  format = frame_format;
  width = frame_width;
  height = frame_height;
  const PixelFormat layout = PixelFormatOf(format);
  unsigned char* start = data[0];
  for (int i = 0; i < layout.planes(); ++i) {
    const PixelFormat::Plane plane = layout.plane(i);
    data[i] = start;
    linesize[i] = plane.Pitch(width);
    start += plane.Size(width, height);
  }
}

GraphicsFrame::GraphicsFrame(const unsigned char** src_data, unsigned int* src_linesize,
                             GraphicsFormatInternal frame_format, unsigned int frame_width, unsigned int frame_height)
    : GraphicsFrame(frame_format, frame_width, frame_height) {
  Copy(src_data, src_linesize, frame_format, frame_width, frame_height);
}

GraphicsFrame::GraphicsFrame(GraphicsFrame&& other) noexcept : GraphicsFrame() { *this = std::move(other); }

GraphicsFrame& GraphicsFrame::operator=(GraphicsFrame&& other) noexcept {
  if (this == &other) return *this;
  std::swap(data, other.data);
  std::swap(linesize, other.linesize);
  std::swap(format, other.format);
  std::swap(width, other.width);
  std::swap(height, other.height);
  return *this;
}

GraphicsFrame::~GraphicsFrame() {
  delete[] data[0];
  for (unsigned char*& plane : data) plane = nullptr;
}

void GraphicsFrame::Clear() {
  if (data[0]) std::memset(data[0], 0, BlockSize(format, width, height));
}

void GraphicsFrame::Copy(const unsigned char** src_data, unsigned int* src_linesize, GraphicsFormatInternal src_format,
                         unsigned int /*src_width*/, unsigned int src_height) {
  if (!data[0]) return;
  if (!PixelFormatOf(src_format).copied) return;
  if (!src_data || !src_data[0] || !src_linesize) return;
  if (src_height > height) return;  // More rows than the block has.
  const std::size_t pitch = linesize[0];
  const std::size_t src_pitch = src_linesize[0];
  for (std::size_t y = 0; y < src_height; ++y) {
    std::memcpy(data[0] + pitch * (src_height - y - 1), src_data[0] + src_pitch * y, pitch);
  }
}
