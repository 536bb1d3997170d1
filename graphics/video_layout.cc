// The tables of video layouts. They have no default, so that the compiler warns of a layout that has no row.
#include "graphics/video_layout.h"

#include <algorithm>

#include "graphics/color_matrix.h"

namespace {

struct LumaCoefficients {
  float kb;
  float kr;
};

LumaCoefficients CoefficientsOf(VideoMatrix matrix) {
  switch (matrix) {
    case VideoMatrix::kBT601: return {0.114f, 0.299f};
    case VideoMatrix::kBT709: return {0.0722f, 0.2126f};
    case VideoMatrix::kBT2020: return {0.0593f, 0.2627f};
  }
  return {};
}

bool HasWords(VideoLayout layout) { return layout == VideoLayout::kP010; }

}  // namespace

int VideoPlanes(VideoLayout layout) { return layout == VideoLayout::kI420 ? 3 : 2; }

VideoPlane VideoPlaneOf(VideoLayout layout, int plane, std::uint32_t width, std::uint32_t height) {
  const std::uint32_t bytes = HasWords(layout) ? 2 : 1;
  if (plane == 0) return {width, height, 1, bytes};
  const std::uint32_t channels = VideoPlanes(layout) == 2 ? 2 : 1;
  return {width / 2 + width % 2, height / 2 + height % 2, channels, bytes};
}

void VideoRows(VideoLayout layout, const VideoColor& color, float* rows) {
  // In words the code values of 8 bits stand 8 bits higher; the largest is 1023 in the upper ten bits.
  const bool words = HasWords(layout);
  const float unit = words ? 256.0f : 1.0f;
  const float most = words ? 1023.0f * 64.0f : 255.0f;
  const float floor = color.full_range ? 0.0f : 16.0f * unit;
  const float range_min[] = {floor, floor, floor};
  const float range_max[] = {color.full_range ? most : 235.0f * unit, color.full_range ? most : 240.0f * unit,
                             color.full_range ? most : 240.0f * unit};
  const float black[] = {floor, 128.0f * unit, 128.0f * unit};
  const LumaCoefficients luma = CoefficientsOf(color.matrix);
  float matrix[16];
  initialize_matrix(luma.kb, luma.kr, words ? 65535.0f : 255.0f, range_min, range_max, black, matrix);
  std::copy(matrix, matrix + 12, rows);
}
