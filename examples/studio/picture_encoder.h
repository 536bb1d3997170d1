// Encodes the pictures of a film with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_
#define QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_

#include <cstdint>
#include <functional>
#include <memory>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/film_kinds.h"
#include "studio/palette_filter.h"

namespace studio {

// One thread at a time.
class PictureEncoder {
 public:
  // Takes a packet, whose times are in PictureEncoder::codec()'s.
  using Sink = std::function<void(AVPacket* packet)>;

  // Takes the first encoder of `kind` that works. Throws Error.
  PictureEncoder(const FilmKind& kind, bool global_header, const Description& description);

  const AVCodecContext* codec() const { return codec_.get(); }

  // A frame as Write takes it, with memory of its own. Throws Error.
  AvFrame NewFrame() const { return NewFrame(frame_format_); }
  // Encodes a frame; `index` is its place in the film, in frame periods. Returns a code of FFmpeg's when that fails,
  // else 0.
  int Write(AVFrame* frame, std::int64_t index, const Sink& sink);
  // Encodes the rest.
  int Finish(const Sink& sink);

 private:
  bool Try(const AVCodec* codec, bool global_header, const Description& description);
  void OpenConverter(const Description& description);
  AvFrame NewFrame(AVPixelFormat format) const;
  int Encode(const AVFrame* frame, const Sink& sink);

  const AVPixelFormat frame_format_;
  const Size size_;
  const bool fills_gaps_;  // The container has no times: a frame that is missing is shown by the next.
  AvCodec codec_;
  AvPacket packet_;
  AvScaler scaler_;  // From the frames' layout to the encoder's; null where they are the same.
  AvFrame converted_;
  std::unique_ptr<PaletteFilter> palette_;  // Behind the scaler, for encoders of few colours.
  std::int64_t next_index_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PICTURE_ENCODER_H_
