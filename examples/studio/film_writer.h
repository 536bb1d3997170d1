// Encodes pictures and sound with FFmpeg into a file or a stream.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_
#define QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/sound_encoder.h"

namespace studio {

// A file is written under a name of its own and gets the film's name once it is complete, so that a failure leaves
// nothing broken behind. A stream outlives its receiver: what cannot be sent is counted and forgotten.
//
// One thread at a time, except GiveUp.
class FilmWriter {
 public:
  // The film has sound if it is told to and its kind takes some. Throws Error; also where the description needs the
  // sound.
  explicit FilmWriter(const Description& description, bool with_sound = false);
  // Discards a file that was not finished.
  ~FilmWriter();
  FilmWriter(const FilmWriter&) = delete;
  FilmWriter& operator=(const FilmWriter&) = delete;

  // A frame as Write takes it, with memory of its own.
  AvFrame NewFrame() const { return NewFrame(frame_format_); }
  // Encodes a frame; `index` is its place in the film, in frame periods. Throws Error.
  void Write(AVFrame* frame, std::int64_t index);
  // Encodes a block of sound, as NewSoundBlock makes it; `index` is its place in the film, in sound frames. The film
  // has sound. Throws Error.
  void WriteSound(const AVFrame* block, std::int64_t index);
  // Completes the film. Throws Error.
  void Finish();
  // Makes writes that wait for a slow receiver fail, from `seconds` from now on; files have all the time they need.
  // Thread: any.
  void GiveUp(double seconds);

  const std::string& encoder_name() const { return encoder_name_; }
  bool has_sound() const { return sound_ != nullptr; }
  // To be asked of a film with sound only.
  std::string sound_encoder_name() const { return sound_->codec()->codec->name; }
  // Packets that no receiver took.
  std::uint64_t lost_packets() const { return lost_packets_; }

 private:
  struct Container;

  void OpenEncoder(const Description& description, const Container& container);
  bool TryEncoder(const AVCodec* codec, const Description& description);
  void OpenSound(const Description& description, const Container& container);
  AVStream* AddStream(const AVCodecContext* codec);
  void OpenFile(bool offline);
  AvFrame NewFrame(AVPixelFormat format) const;
  void Encode(const AVFrame* frame);
  SoundEncoder::Sink SoundSink();
  void WritePacket(AVPacket* packet, AVStream* stream, AVRational time_base);
  void CheckEncoded(int result) const;
  void CheckWritten(int result);
  static int Interrupted(void* writer);

  const std::string target_;  // The film's name or URL.
  std::string path_;          // What is written to.
  bool is_stream_ = false;
  bool fills_gaps_ = false;  // The container has no times: a frame that is missing is shown by the next.
  AVPixelFormat frame_format_ = AV_PIX_FMT_NONE;
  Size size_;

  AVFormatContext* format_ = nullptr;
  AvCodec codec_;
  AvPacket packet_;
  AvScaler scaler_;  // From the frames' layout to the encoder's; null where they are the same.
  AvFrame converted_;
  std::unique_ptr<SoundEncoder> sound_;  // Null for a film without.
  std::string encoder_name_;
  std::int64_t next_index_ = 0;
  std::uint64_t lost_packets_ = 0;
  std::atomic<std::int64_t> give_up_ns_{0};
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_WRITER_H_
