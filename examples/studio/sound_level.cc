#include "studio/sound_level.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace studio {

void SoundLevel::Finish(float* const* planes, int frames) {
  float peak = 0;
  for (int c = 0; c < kSoundChannels; ++c) {
    for (int i = 0; i < frames; ++i) {
      float& sample = planes[c][i];
      sample = std::isnan(sample) ? 0.0f : sample * kHeadroom;  // No encoder takes what is not a number.
      const float magnitude = std::fabs(sample);
      peak = std::max(peak, magnitude);
      if (magnitude <= 1) continue;
      ++clipped_;
      sample = std::copysign(1.0f, sample);
    }
  }
  peak_ = std::max(peak_, peak);
  level_ = std::max(level_, std::min(peak, 1.0f));
}

float SoundLevel::Take() { return std::exchange(level_, 0.0f); }

}  // namespace studio
