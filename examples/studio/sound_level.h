// Full scale, and what a mix is beyond it.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_LEVEL_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_LEVEL_H_

#include <cstdint>

#include "studio/sound_format.h"

namespace studio {

// The mixer saturates each sum that it makes: what went beyond full scale could not be told any more, and depended on
// the order of the inputs. So they are mixed this much softer, and the mix made louder by as much. A power of two
// changes no bit of a float's fraction.
constexpr float kHeadroom = 4096;

// The gain that an input of the mixer gets whose sound is to be heard with `gain`.
inline float InputGain(float gain) { return gain / kHeadroom; }

// Brings mixes back to full scale, cuts off what is beyond it, and keeps count. One thread at a time.
class SoundLevel {
 public:
  // Makes of the mixer's block, in place, what is heard.
  void Finish(float* const* planes, int frames);

  // The largest magnitude so far, before it was cut: 1 is full scale.
  float peak() const { return peak_; }
  // Samples, of every channel, that were cut.
  std::uint64_t clipped() const { return clipped_; }
  // The largest magnitude since the last call, at most 1.
  float Take();

 private:
  float peak_ = 0;
  float level_ = 0;
  std::uint64_t clipped_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_LEVEL_H_
