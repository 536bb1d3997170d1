// How a sound comes and goes.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_FADE_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_FADE_H_

#include <algorithm>
#include <cstdint>

#include "studio/sound_format.h"

namespace studio {

// Even ramps of the gain, in frames of whatever the sound is counted in. What lies outside of them is silent.
struct SoundFade {
  std::int64_t begin = 0;  // Where the sound begins to come,
  std::int64_t in = 0;     // and how long that takes; 0: it does not fade in.
  std::int64_t end = 0;    // Where it has gone,
  std::int64_t out = 0;    // and how long that took; 0: it does not fade out.

  double GainAt(std::int64_t frame) const {
    double gain = 1;
    if (in > 0) gain = std::min(gain, static_cast<double>(frame - begin) / static_cast<double>(in));
    if (out > 0) gain = std::min(gain, static_cast<double>(end - frame) / static_cast<double>(out));
    return std::max(gain, 0.0);
  }

  // Fades `frames` frames, the first of which is `frame`.
  void Apply(float* const* planes, int frames, std::int64_t frame) const {
    if (in == 0 && out == 0) return;
    for (int i = 0; i < frames; ++i) {
      const auto gain = static_cast<float>(GainAt(frame + i));
      for (int c = 0; c < kSoundChannels; ++c) planes[c][i] *= gain;
    }
  }
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_FADE_H_
