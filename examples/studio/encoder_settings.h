// What each of FFmpeg's picture encoders is told, so that it keeps up with a live film, or makes a good one offline.
#ifndef QUARN_EXAMPLES_STUDIO_ENCODER_SETTINGS_H_
#define QUARN_EXAMPLES_STUDIO_ENCODER_SETTINGS_H_

#include "studio/av.h"

namespace studio {

enum class EncoderUse {
  kOffline,  // It has all the time it needs; the same film is the same bytes on every machine.
  kLive,     // It keeps up with the film.
  kStream,   // So, and it holds no picture back: somebody is watching.
};

// Before avcodec_open2, of a context that was made for `encoder`. Sets the threads and the encoder's own options, and
// no bit rate where those have a quality instead; encoders that are not known keep their defaults.
void ApplyEncoderSettings(const AVCodec* encoder, EncoderUse use, AVCodecContext* codec);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ENCODER_SETTINGS_H_
