// The least that mixing is when sources are pushed: each block is copied into a ring of its source's, and added to the
// mix from there. No locks, no threads.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "benchmarks/peers/scene.h"

// As wide as the processor has it.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define FOR_THIS_PROCESSOR __attribute__((target_clones("avx2", "default")))
#else
#define FOR_THIS_PROCESSOR
#endif

namespace {

constexpr std::uint64_t kRingBlocks = 2;

FOR_THIS_PROCESSOR void Add(float* __restrict mix, const float* __restrict source) {
  for (unsigned int i = 0; i < kBlockFrames; ++i) {
    const float sum = mix[i] + source[i];
    const float low = sum < -1.0f ? -1.0f : sum;
    mix[i] = low > 1.0f ? 1.0f : low;
  }
}

FOR_THIS_PROCESSOR void Add(short* __restrict mix, const short* __restrict source) {
  for (unsigned int i = 0; i < kBlockFrames; ++i) {
    const int sum = mix[i] + source[i];
    mix[i] = static_cast<short>(sum < -32768 ? -32768 : sum > 32767 ? 32767 : sum);
  }
}

template <typename T>
class PlainSound : public Contestant {
 public:
  explicit PlainSound(const SoundScene& scene) : scene_(scene), mix_(std::size_t{scene.channels} * kBlockFrames) {
    for (unsigned int i = 0; i < scene.sources; ++i) {
      samples_.emplace_back(scene, i, SourceSamples::Layout::kPlanar);
      rings_.emplace_back(scene.channels * kRingBlocks * kBlockFrames);
    }
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i, ++blocks_) {
      for (unsigned int source = 0; source < scene_.sources; ++source) {
        for (unsigned int c = 0; c < scene_.channels; ++c) {
          std::memcpy(Ring(source, c), samples_[source].Block(blocks_, c), kBlockFrames * sizeof(T));
        }
      }
      std::fill(mix_.begin(), mix_.end(), T{});
      for (unsigned int c = 0; c < scene_.channels; ++c) {
        for (unsigned int source = 0; source < scene_.sources; ++source) {
          Add(mix_.data() + std::size_t{c} * kBlockFrames, Ring(source, c));
        }
      }
    }
  }

  std::vector<unsigned char> Latest() override {
    std::vector<unsigned char> bytes;
    AppendRows(&bytes, mix_.data(), 0, mix_.size() * sizeof(T), 1);
    return bytes;
  }

 private:
  // Where the block that is being made lies, for a channel of a source.
  T* Ring(unsigned int source, unsigned int channel) {
    return rings_[source].data() + (channel * kRingBlocks + blocks_ % kRingBlocks) * kBlockFrames;
  }

  const SoundScene scene_;
  std::vector<SourceSamples> samples_;
  std::vector<std::vector<T>> rings_;
  std::vector<T> mix_;
  std::uint64_t blocks_ = 0;
};

}  // namespace

int main() {
  return Serve([](const Words& words) -> std::unique_ptr<Contestant> {
    const SoundScene scene(words);
    if (scene.is_float) return std::make_unique<PlainSound<float>>(scene);
    return std::make_unique<PlainSound<short>>(scene);
  });
}
