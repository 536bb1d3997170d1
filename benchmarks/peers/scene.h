// What the contestants make: the same pictures out of the same layers, and the same sound out of the same sources.
#ifndef QUARN_BENCHMARKS_PEERS_SCENE_H_
#define QUARN_BENCHMARKS_PEERS_SCENE_H_

#include <cstdint>
#include <vector>

#include "benchmarks/peers/contestant.h"

enum class PictureFormat { kRgba, kNv12, kI420 };

// Where a layer stands along one side of the picture: it moves by whole pixels, and by even ones, so that it stays on
// the samples of halved chroma, and begins anew when it has arrived at the end.
struct Path {
  unsigned int start, step, range;

  unsigned int At(std::uint64_t frame) const { return 2 * static_cast<unsigned int>((start + frame * step) % range); }
};

// A black canvas with layers over it, the first at the bottom, each as large as a quarter of the canvas's sides and
// unscaled. They are blended with their own alpha, which is straight: colour times alpha and what is below times the
// rest. YUV is BT.709 in limited range.
struct PictureScene {
  // From `picture 1920 1080 nv12 8`.
  explicit PictureScene(const Words& words);

  unsigned int layer_width() const { return width / 4 / 2 * 2; }
  unsigned int layer_height() const { return height / 4 / 2 * 2; }
  // Pixels from the canvas's left, or top, to the layer's.
  Path Left(unsigned int layer) const;
  Path Top(unsigned int layer) const;

  unsigned int width = 0, height = 0;  // Even.
  PictureFormat format = PictureFormat::kRgba;
  unsigned int layers = 0;
};

// The pixels of a layer, the top row first: R, G, B, A.
std::vector<unsigned char> LayerRgba(const PictureScene& scene, unsigned int layer);
// The same, converted for peers that blend in YUV. A, Y, U, V of every pixel.
std::vector<unsigned char> LayerAyuv(const PictureScene& scene, unsigned int layer);
// R, G, B, A, in the colours that become the same YUV where they are converted as BT.601.
std::vector<unsigned char> LayerRgba601(const PictureScene& scene, unsigned int layer);
// The planes Y, U and V, chroma halved both ways, and A, one behind the other.
std::vector<unsigned char> LayerYuva420(const PictureScene& scene, unsigned int layer);

constexpr unsigned int kSampleRate = 48000;
constexpr unsigned int kBlockFrames = kSampleRate / 20;

// Sources that are added into one mix, block by block.
struct SoundScene {
  // From `sound float 2 16`.
  explicit SoundScene(const Words& words);

  unsigned int sample_size() const { return is_float ? 4 : 2; }
  unsigned int block_size() const { return kBlockFrames * channels * sample_size(); }

  bool is_float = true;
  unsigned int channels = 0;
  unsigned int sources = 0;
};

// The samples of a source, float or short as the scene has them: noise so quiet that no sum of 256 of them is clipped,
// in steps of a 32768th, so that a sum of floats is exact in whatever order it is made.
class SourceSamples {
 public:
  enum class Layout { kPlanar, kInterleaved };

  SourceSamples(const SoundScene& scene, unsigned int source, Layout layout);

  // Where a block begins in the plane of a channel, or among the interleaved samples (channel 0). Blocks that follow
  // one another differ.
  const void* Block(std::uint64_t block, unsigned int channel) const;

 private:
  const SoundScene scene_;
  const Layout layout_;
  std::vector<unsigned char> bytes_;
};

// Planes one behind the other, from interleaved samples.
std::vector<unsigned char> Deinterleaved(const SoundScene& scene, const void* samples);

#endif  // QUARN_BENCHMARKS_PEERS_SCENE_H_
