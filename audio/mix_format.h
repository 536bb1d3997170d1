// The format of samples inside the mixer.
#ifndef QUARN_AUDIO_MIX_FORMAT_H_
#define QUARN_AUDIO_MIX_FORMAT_H_

#include <quarn/qn_audio_input.h>

// A source or mixer of any other value passes no samples.
enum InternalSampleType : int {
  kInternalSampleFloat = 0,  // 32-bit float, planar.
  kInternalSampleShort = 1,  // Signed 16-bit, planar.
};

// Kept: C31.
constexpr InternalSampleType ToInternalType(QnMixSampleType type) {
  return type == kQnMixSampleFloat ? kInternalSampleFloat : kInternalSampleShort;
}

// The planes that every source and mixer has room for.
constexpr unsigned int kMaxMixChannels = 8;

// Whether samples can be mixed at that rate, in frames a second, in that many channels.
constexpr bool IsMixable(unsigned int sample_rate, unsigned int channels) {
  return sample_rate > 0 && channels <= kMaxMixChannels;
}

#endif  // QUARN_AUDIO_MIX_FORMAT_H_
