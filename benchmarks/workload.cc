// What all loops draw.
#include <cmath>

#include "benchmarks/loops.h"

namespace {

constexpr unsigned int kMovingFrames = 64;  // After so many an item is back where it began.

}  // namespace

std::vector<unsigned char> Image(unsigned int frame) {
  std::vector<unsigned char> pixels;
  pixels.reserve(std::size_t{kImageSide} * kImageSide * 4);
  for (unsigned int y = 0; y < kImageSide; ++y) {
    for (unsigned int x = 0; x < kImageSide; ++x) {
      pixels.insert(pixels.end(), {static_cast<unsigned char>(4 * x + 16 * frame), static_cast<unsigned char>(4 * y),
                                   static_cast<unsigned char>(255 - 4 * x), static_cast<unsigned char>(128 + x)});
    }
  }
  return pixels;
}

gs_transform Placement(const Workload& workload, int item) {
  const float side = 0.2f * static_cast<float>(workload.height);
  const float turn = 6.2831853f * static_cast<float>(item) / static_cast<float>(workload.items);
  const float reach_x = 0.4f * static_cast<float>(workload.width);
  const float reach_y = 0.4f * static_cast<float>(workload.height);
  return gs_transform(gs_vec2(reach_x * std::cos(turn), reach_y * std::sin(turn)), gs_vec2(side, side), turn);
}

gs_transform Moved(const gs_transform& placement, unsigned int frame) {
  const auto steps = static_cast<float>(frame % kMovingFrames);
  gs_transform moved = placement;
  moved.pos.x += 0.3f * steps;
  moved.pos.y -= 0.2f * steps;
  moved.rotation += 0.05f * steps;
  return moved;
}

gs_transform FilterPlacement(unsigned int frame) {
  const auto side = static_cast<float>(kImageSide);
  return Moved(gs_transform(gs_vec2(), gs_vec2(side, side)), frame);
}

std::vector<PlaneShape> PlanesOf(const Workload& workload) {
  const std::size_t w = workload.width;
  const std::size_t h = workload.height;
  switch (workload.format) {
    case kGsFormatI420: return {{w, h}, {w / 2, h / 2}, {w / 2, h / 2}};
    case kGsFormatNV12: return {{w, h}, {w / 2 * 2, h / 2}};
    default: return {{w * 4, h}};
  }
}
