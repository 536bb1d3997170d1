// Encodes pictures and sound with FFmpeg into a file or a stream.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_
#define QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/film_kinds.h"
#include "studio/film_muxer.h"
#include "studio/picture_encoder.h"
#include "studio/sound_encoder.h"

namespace studio {

// An error ends the film, and keeps what there is of it.
//
// One thread at a time, except GiveUp.
class FilmWriter {
 public:
  // The film has sound if it is told to and its kind takes some. Throws Error; also where the description needs the
  // sound.
  explicit FilmWriter(const Description& description, bool with_sound = false);
  // Keeps what was written of a film that was not finished.
  ~FilmWriter();
  FilmWriter(const FilmWriter&) = delete;
  FilmWriter& operator=(const FilmWriter&) = delete;

  // A frame as Write takes it, with memory of its own. To be asked of a film with pictures only, as is its encoder.
  AvFrame NewFrame() const { return picture_->NewFrame(); }
  // Encodes a frame; `index` is its place in the film, in frame periods. Throws Error.
  void Write(AVFrame* frame, std::int64_t index);
  // Encodes a block of sound, as NewSoundBlock makes it; `index` is its place in the film, in sound frames. The film
  // has sound. Throws Error.
  void WriteSound(const AVFrame* block, std::int64_t index);
  // Completes the film. Throws Error.
  void Finish();
  // As FilmMuxer::GiveUp. Thread: any.
  void GiveUp(double seconds) { muxer_->GiveUp(seconds); }

  std::string encoder_name() const { return picture_->codec()->codec->name; }
  bool has_picture() const { return picture_ != nullptr; }
  bool has_sound() const { return sound_ != nullptr; }
  // To be asked of a film with sound only.
  std::string sound_encoder_name() const { return sound_->codec()->codec->name; }
  // Packets that no receiver took.
  std::uint64_t lost_packets() const { return muxer_->lost_packets(); }

 private:
  void OpenSound(const Description& description, const FilmKind& kind);
  PictureEncoder::Sink PictureSink();
  SoundEncoder::Sink SoundSink();
  void CheckEncoded(int result, const AVCodecContext* codec);

  const std::string target_;  // The film's name or URL.
  std::unique_ptr<FilmMuxer> muxer_;
  std::unique_ptr<PictureEncoder> picture_;  // Null for a film that is sound alone.
  std::unique_ptr<SoundEncoder> sound_;      // Null for a film without.
  int sound_stream_ = 0;
  bool begun_ = false;  // Something of it was encoded.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_
