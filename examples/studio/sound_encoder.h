// Encodes the sound of a film with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_ENCODER_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_ENCODER_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/sound_format.h"

namespace studio {

// The sound is one piece, from the film's start to its end: what comes before or behind is cut, what is missing is
// silence. One thread at a time.
class SoundEncoder {
 public:
  // Takes a packet, whose times are in SoundEncoder::codec()'s.
  using Sink = std::function<void(AVPacket* packet)>;

  // Takes the first of `codecs` that works; `codec()` is null when none does. The film has `length` frames of sound.
  // Throws UsageError where a choice does not suit it.
  SoundEncoder(const std::vector<const AVCodec*>& codecs, bool global_header, std::int64_t length,
               const Encoding& encoding);

  const AVCodecContext* codec() const { return codec_.get(); }

  // Encodes a block, as NewSoundBlock makes it, whose first frame is `index` frames from the film's start. Returns a
  // code of FFmpeg's when that fails, else 0.
  int Write(const AVFrame* block, std::int64_t index, const Sink& sink);
  // Encodes the rest. The sound ends where the last block did, or at `length`.
  int Finish(const Sink& sink);

 private:
  bool Try(const AVCodec* codec, bool global_header, const Encoding& encoding);
  int Append(const float* const* planes, int frames);
  int EncodeQueued(int least, const Sink& sink);
  int Encode(const AVFrame* frame, const Sink& sink);

  const std::int64_t length_;
  AvCodec codec_;
  AvResampler resampler_;
  AvSoundFifo queue_;
  AvPacket packet_;
  AvFrame frame_;
  int frame_size_ = 0;
  std::int64_t written_ = 0;  // Frames, from the film's start.
  std::int64_t encoded_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_ENCODER_H_
