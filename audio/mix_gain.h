// The gain of one input of the mixer, as its host wants it and as the blocks follow.
#ifndef QUARN_AUDIO_MIX_GAIN_H_
#define QUARN_AUDIO_MIX_GAIN_H_

#include <atomic>
#include <cstdint>

#include "audio/mix_samples.h"

// Any thread sets it. The mixer asks once a block; it is no data race when two mixers do.
class MixGain {
 public:
  // 0 and up, and finite.
  void Set(float gain) { gain_.store(gain, std::memory_order_relaxed); }
  void SetMuted(bool muted) { muted_.store(muted, std::memory_order_relaxed); }
  float gain() const { return gain_.load(std::memory_order_relaxed); }
  bool muted() const { return muted_.load(std::memory_order_relaxed); }

  // The gain of the next block, of `frames` samples, at least one: from where the last block left it to what is wanted
  // now. The first that is heard begins with what is wanted, for there is nothing that could click.
  GainRamp NextBlock(unsigned int frames) {
    const float to = muted() ? 0.0f : gain();
    const float last = last_.exchange(to, std::memory_order_relaxed);
    const float from = last == kUnheard ? to : last;
    const auto left = static_cast<std::int32_t>(frames);
    return {to, (from - to) / static_cast<float>(left), left - 1};
  }
  // Nothing is heard of the input: the next block is a first one.
  void Rest() { last_.store(kUnheard, std::memory_order_relaxed); }

 private:
  static constexpr float kUnheard = -1.0f;

  std::atomic<float> gain_{1.0f};
  std::atomic<bool> muted_{false};
  std::atomic<float> last_{kUnheard};  // Of the last sample.
};

#endif  // QUARN_AUDIO_MIX_GAIN_H_
