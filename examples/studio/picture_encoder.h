// Encodes the pictures of a film with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_
#define QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

// One thread at a time.
class PictureEncoder {
 public:
  // Takes a packet, whose times are in PictureEncoder::codec()'s.
  using Sink = std::function<void(AVPacket* packet)>;

  // Takes the first of `codecs` that works. Throws Error.
  PictureEncoder(const std::vector<const AVCodec*>& codecs, bool global_header, const Description& description);

  const AVCodecContext* codec() const { return codec_.get(); }

  // A frame as Write takes it, with memory of its own. Throws Error.
  AvFrame NewFrame() const { return NewFrame(frame_format_); }
  // Encodes a frame; `index` is its place in the film, in frame periods. Returns a code of FFmpeg's when that fails,
  // else 0.
  int Write(AVFrame* frame, std::int64_t index, const Sink& sink);
  // Encodes the rest.
  int Finish(const Sink& sink) { return Encode(nullptr, sink); }

 private:
  bool Try(const AVCodec* codec, bool global_header, const Description& description);
  AvFrame NewFrame(AVPixelFormat format) const;
  int Encode(const AVFrame* frame, const Sink& sink);

  const AVPixelFormat frame_format_;
  const Size size_;
  AvCodec codec_;
  AvPacket packet_;
  AvScaler scaler_;  // From the frames' layout to the encoder's; null where they are the same.
  AvFrame converted_;
  bool fills_gaps_ = false;  // The container has no times: a frame that is missing is shown by the next.
  std::int64_t next_index_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_
