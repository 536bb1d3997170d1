// The scene in the engine's own words, for the engine and for the bare loop.
#ifndef QUARN_BENCHMARKS_PEERS_QUARN_SCENE_H_
#define QUARN_BENCHMARKS_PEERS_QUARN_SCENE_H_

#include <quarn/gs_frame.h>
#include <quarn/gs_types.h>

#include "benchmarks/peers/scene.h"

inline GsFormat FormatOf(const PictureScene& scene) {
  switch (scene.format) {
    case PictureFormat::kNv12: return kGsFormatNV12;
    case PictureFormat::kI420: return kGsFormatI420;
    default: return kGsFormatRGBA;
  }
}

// Half pixels do not occur: the sides of canvas and layer are even.
inline gs_transform PlacementOf(const PictureScene& scene, unsigned int layer, std::uint64_t frame) {
  const auto middle = [frame](const Path& path, unsigned int side, unsigned int canvas) {
    return static_cast<float>(path.At(frame) + side / 2) - static_cast<float>(canvas / 2);
  };
  return gs_transform(gs_vec2(middle(scene.Left(layer), scene.layer_width(), scene.width),
                              middle(scene.Top(layer), scene.layer_height(), scene.height)),
                      gs_vec2(static_cast<float>(scene.layer_width()), static_cast<float>(scene.layer_height())));
}

#endif  // QUARN_BENCHMARKS_PEERS_QUARN_SCENE_H_
