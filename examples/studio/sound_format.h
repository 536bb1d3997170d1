// The one form of all sound in a film: that of the mixer. Other forms are converted on the way in and out.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_FORMAT_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_FORMAT_H_

#include <cstdint>

#include "studio/av.h"
#include "studio/frame_rate.h"

namespace studio {

// Stereo, planar, 32-bit float.
constexpr int kSoundRate = 48000;  // Frames a second.
constexpr int kSoundChannels = 2;
// What the mixer takes from its inputs at a time, a twentieth of a second.
constexpr int kSoundBlock = kSoundRate / 20;

// In frames, rounded.
inline std::int64_t SoundFrames(std::int64_t ns) {
  return av_rescale_q(ns, AVRational{1, 1000000000}, AVRational{1, kSoundRate});
}

// How many frames of sound go with that many pictures, rounded.
inline std::int64_t SoundFramesOf(std::uint64_t pictures, FrameRate rate) {
  return av_rescale(static_cast<std::int64_t>(pictures), std::int64_t{kSoundRate} * rate.den, rate.num);
}

// Converts decoded frames like `from` to the form above; mono is heard as it is on both sides. Null when FFmpeg cannot.
AvResampler ResamplerFrom(const AVFrame& from);
// Converts the form above to other samples.
AvResampler ResamplerTo(AVSampleFormat format);

// Tells an encoder, or a frame, that it has the channels of the form above.
void SetSoundChannels(AVCodecContext* codec);
void SetSoundChannels(AVFrame* frame);

// A copy of samples in the form above. Null when memory is short.
AvFrame NewSoundBlock(const float* const* planes, int frames);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_FORMAT_H_
