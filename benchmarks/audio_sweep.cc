// Inputs of a mixer. The bare loop copies each block into a ring of its source's and adds it from there.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "audio/audio_mix_source.h"
#include "audio/audio_mixer.h"
#include "audio/mix_samples.h"
#include "benchmarks/sweep.h"

namespace {

constexpr unsigned int kRate = 48000;
constexpr unsigned int kFrames = kRate / 20;  // Of a block.
constexpr unsigned int kChannels = 2;
constexpr unsigned int kAhead = 2;   // Blocks that lie in the rings: a source is mixed once it has 100 ms.
constexpr unsigned int kRing = 4;    // Blocks in a ring of the bare loop.
constexpr unsigned int kBlocks = 7;  // Different ones that are pushed.

using Samples = std::vector<float>;

// What every source pushes as its block with that number, beginning at a place of its own.
class Blocks {
 public:
  Blocks() : wave_(kFrames * kBlocks + kFrames) {
    for (std::size_t i = 0; i < wave_.size(); ++i)
      wave_[i] = static_cast<float>(static_cast<int>(i * 37 % 1001) - 500) / 65536;
  }
  const float* Block(unsigned int source, unsigned int channel, std::uint64_t number) const {
    return wave_.data() + (number % kBlocks) * kFrames + (source * 7 + channel * 3) % kFrames;
  }

 private:
  Samples wave_;
};

struct Mixed {
  std::array<Samples, kChannels> planes;
  float peak = 0;
};

class EngineMixer : public AudioMixer::Callback {
 public:
  EngineMixer(unsigned int inputs, const Blocks& blocks)
      : blocks_(blocks), mixer_(kRate, kChannels, kInternalSampleFloat, this) {
    for (Samples& plane : mixed.planes) plane.resize(kFrames);
    for (unsigned int i = 0; i < inputs; ++i) {
      sources_.push_back(std::make_unique<AudioMixSource>(kRate, kChannels, kInternalSampleFloat));
      sources_.back()->Enable();
      mixer_.AddSource(sources_.back().get());
    }
    for (std::size_t p = 0; p < planes_.size(); ++p) planes_[p] = reinterpret_cast<unsigned char*>(memory_[p].data());
    for (unsigned int i = 0; i < kAhead; ++i) Push();
  }
  ~EngineMixer() override {
    for (const auto& source : sources_) mixer_.RemoveSource(source.get());
  }

  void Pass() {
    Push();
    for (unsigned int c = 0; c < kChannels; ++c) memory_[c].fill(0.0f);  // As the mixer's thread does.
    mixer_.Mix(planes_.data(), planes_.data() + kMaxMixChannels, kFrames, 0);
  }

  void OnMixSamples(void** planes, unsigned int, unsigned long long) override {
    for (unsigned int c = 0; c < kChannels; ++c)
      std::memcpy(mixed.planes[c].data(), planes[c], kFrames * sizeof(float));
  }
  void OnMixPeak(float peak) override { mixed.peak = peak; }

  Mixed mixed;

 private:
  void Push() {
    for (unsigned int i = 0; i < sources_.size(); ++i) {
      const void* planes[kMaxMixChannels] = {};
      for (unsigned int c = 0; c < kChannels; ++c) planes[c] = blocks_.Block(i, c, number_);
      sources_[i]->PushBackSamples(planes, kFrames, 1);
    }
    ++number_;
  }

  const Blocks& blocks_;
  AudioMixer mixer_;
  std::vector<std::unique_ptr<AudioMixSource>> sources_;
  std::array<std::array<float, kFrames>, 2 * kMaxMixChannels> memory_{};
  std::array<unsigned char*, 2 * kMaxMixChannels> planes_{};
  std::uint64_t number_ = 0;
};

class BareMixer {
 public:
  BareMixer(unsigned int inputs, const Blocks& blocks)
      : blocks_(blocks), inputs_(inputs), rings_(std::size_t{inputs} * kChannels * kRing * kFrames) {
    for (Samples& plane : mix_) plane.resize(kFrames);
    for (Samples& plane : mixed.planes) plane.resize(kFrames);
    for (unsigned int i = 0; i < kAhead; ++i) Push();
  }

  void Pass() {
    Push();
    float* mix[kChannels];
    for (unsigned int c = 0; c < kChannels; ++c) {
      std::fill(mix_[c].begin(), mix_[c].end(), 0.0f);
      mix[c] = mix_[c].data();
    }
    for (unsigned int i = 0; i < inputs_; ++i) {
      float* from[kChannels];
      for (unsigned int c = 0; c < kChannels; ++c) from[c] = Place(i, c, number_ - 1 - kAhead);
      MixSample<float>(mix, from, kFrames, kChannels);
    }
    mixed.peak = AudioPeak<float>(CalcPeak<float>(mix, kFrames, kChannels));
    for (unsigned int c = 0; c < kChannels; ++c) std::memcpy(mixed.planes[c].data(), mix[c], kFrames * sizeof(float));
  }

  Mixed mixed;

 private:
  float* Place(unsigned int source, unsigned int channel, std::uint64_t number) {
    return rings_.data() + ((std::size_t{source} * kChannels + channel) * kRing + number % kRing) * kFrames;
  }
  void Push() {
    for (unsigned int i = 0; i < inputs_; ++i) {
      for (unsigned int c = 0; c < kChannels; ++c) {
        std::memcpy(Place(i, c, number_), blocks_.Block(i, c, number_), kFrames * sizeof(float));
      }
    }
    ++number_;
  }

  const Blocks& blocks_;
  const unsigned int inputs_;
  Samples rings_;
  std::array<Samples, kChannels> mix_;
  std::uint64_t number_ = 0;
};

struct Mixers {
  explicit Mixers(unsigned int inputs) : engine(inputs, blocks), bare(inputs, blocks) {}
  const Blocks blocks;
  EngineMixer engine;
  BareMixer bare;
};

std::optional<Ways> MakeMixers(int inputs) {
  const auto mixers = std::make_shared<Mixers>(static_cast<unsigned int>(inputs));
  // Once round the rings, so that their memory is there when it is measured.
  constexpr unsigned int kRingBlocks = 10 * kRate / kFrames;
  for (unsigned int i = 0; i < kRingBlocks; ++i) {
    mixers->engine.Pass();
    mixers->bare.Pass();
    if (mixers->engine.mixed.planes != mixers->bare.mixed.planes ||
        mixers->engine.mixed.peak != mixers->bare.mixed.peak) {
      std::fprintf(stderr, "block %u of %d inputs: the mixer and the bare loop have mixed differently\n", i, inputs);
      return std::nullopt;
    }
  }
  return Ways{[mixers] { mixers->engine.Pass(); }, [mixers] { mixers->bare.Pass(); }};
}

}  // namespace

Sweep AudioSweep() {
  return {"inputs",
          "Stereo inputs of a mixer, pushes counted",
          "input",
          "pass",
          {"engine", "least"},
          {1, 8, 32, 64, 128, 192, 256, 320, 384, 448, 512},
          MakeMixers};
}
