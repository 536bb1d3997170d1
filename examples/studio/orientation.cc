#include "studio/orientation.h"

#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

namespace studio {
namespace {

const std::int32_t* DisplayMatrix(const AVStream* stream, const AVFrame* frame) {
  if (const AVFrameSideData* data = av_frame_get_side_data(frame, AV_FRAME_DATA_DISPLAYMATRIX)) {
    return reinterpret_cast<const std::int32_t*>(data->data);
  }
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 100)
  const AVPacketSideData* data = av_packet_side_data_get(
      stream->codecpar->coded_side_data, stream->codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  return data ? reinterpret_cast<const std::int32_t*>(data->data) : nullptr;
#else
  return reinterpret_cast<const std::int32_t*>(av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
#endif
}

}  // namespace

// The matrix leads from (x, y) to (m0 x + m3 y, m1 x + m4 y), with y downwards.
Orientation OrientationOf(const AVStream* stream, const AVFrame* frame) {
  const std::int32_t* const m = DisplayMatrix(stream, frame);
  Orientation orientation;
  if (!m) return orientation;
  const auto size = [m](int i) { return std::llabs(m[i]); };
  orientation.transposed = size(1) + size(3) > size(0) + size(4);
  orientation.mirrored = m[orientation.transposed ? 3 : 0] < 0;
  orientation.flipped = m[orientation.transposed ? 1 : 4] < 0;
  return orientation;
}

void Turn(const Orientation& orientation, const std::uint8_t* pixels, int stride, Size size, std::uint8_t* turned,
          int turned_stride) {
  const Size to = orientation.Turned(size);
  for (int y = 0; y < to.height; ++y) {
    const int v = orientation.flipped ? to.height - 1 - y : y;
    for (int x = 0; x < to.width; ++x) {
      const int u = orientation.mirrored ? to.width - 1 - x : x;
      const int from_x = orientation.transposed ? v : u, from_y = orientation.transposed ? u : v;
      std::memcpy(turned + static_cast<std::size_t>(y) * turned_stride + x * 4,
                  pixels + static_cast<std::size_t>(from_y) * stride + from_x * 4, 4);
    }
  }
}

}  // namespace studio
