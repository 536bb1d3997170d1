// How loud the channels of an input or of a mix were in the last block.
#ifndef QUARN_AUDIO_MIX_LEVELS_H_
#define QUARN_AUDIO_MIX_LEVELS_H_

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>

#include "audio/mix_format.h"
#include "audio/mix_samples.h"
#include "audio/mix_samples_variants.h"

// Measures one channel of a block, piece by piece.
template <class T>
class LevelMeter {
 public:
  void Add(const MixSampleVariant& variant, const T* samples, std::size_t frames);
  // The level of a block of so many frames, of which what was not added is silence.
  QnAudioLevel LevelOf(unsigned int frames) const {
    if (frames == 0) return {};
    const double rms = std::sqrt(squares_ / frames) / kFullScale;
    return {AudioPeak<T>(peak_), static_cast<float>(std::min(rms, 1.0))};
  }

 private:
  static constexpr double kFullScale = sizeof(T) == sizeof(float) ? 1.0 : 32767.0;

  T peak_ = 0;
  double squares_ = 0.0;
};

template <>
inline void LevelMeter<float>::Add(const MixSampleVariant& variant, const float* samples, std::size_t frames) {
  peak_ = AbsMax<float>(peak_, variant.peak_float(samples, frames));
  squares_ += variant.squares_float(samples, frames);
}

template <>
inline void LevelMeter<short>::Add(const MixSampleVariant& variant, const short* samples, std::size_t frames) {
  peak_ = AbsMax<short>(peak_, variant.peak_short(samples, frames));
  squares_ += static_cast<double>(variant.squares_short(samples, frames));
}

// The levels of all channels. The mixer writes them, any thread reads them without a lock. Measuring costs about as
// much as mixing, so it begins when somebody has asked.
class MixLevels {
 public:
  // Silence until the first block that is measured, and for a channel that there is not.
  QnAudioLevel Ask(unsigned int channel) {
    if (!wanted()) wanted_.store(true, std::memory_order_relaxed);
    return channel < levels_.size() ? levels_[channel].load(std::memory_order_relaxed) : QnAudioLevel{};
  }

  bool wanted() const { return wanted_.load(std::memory_order_relaxed); }
  void Set(unsigned int channel, const QnAudioLevel& level) {
    levels_[channel].store(level, std::memory_order_relaxed);
  }
  void Silence() {
    if (!wanted()) return;
    for (auto& level : levels_) level.store(QnAudioLevel{}, std::memory_order_relaxed);
  }

 private:
  using Level = std::atomic<QnAudioLevel>;
  static_assert(Level::is_always_lock_free, "the two values of a level belong together");

  std::atomic<bool> wanted_{false};
  std::array<Level, kMaxMixChannels> levels_{};
};

#endif  // QUARN_AUDIO_MIX_LEVELS_H_
