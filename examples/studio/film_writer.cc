#include "studio/film_writer.h"

#include <cmath>
#include <utility>

#include "studio/error.h"

namespace studio {

FilmWriter::FilmWriter(const Description& description, bool with_sound) : target_(description.output) {
  const FilmKind kind = KindOf(description);
  muxer_ = std::make_unique<FilmMuxer>(description, kind);
  if (kind.has_picture) picture_ = std::make_unique<PictureEncoder>(kind, muxer_->global_header(), description);
  if (with_sound) OpenSound(description, kind);
  if (picture_) muxer_->AddStream(picture_->codec());
  if (sound_) sound_stream_ = muxer_->AddStream(sound_->codec());
  muxer_->Open();
}

FilmWriter::~FilmWriter() {
  GiveUp(0);
  if (!begun_ || !muxer_->open()) return;
  try {
    Finish();  // Encoders hold pictures back.
  } catch (const Error&) {
    // There is nobody left to tell.
  }
}

void FilmWriter::OpenSound(const Description& description, const FilmKind& kind) {
  const auto length = picture_ ? SoundFramesOf(description.FrameCount(), description.fps)
                               : std::llround(description.duration_s * kSoundRate);
  sound_ = std::make_unique<SoundEncoder>(kind.sound_codecs, muxer_->global_header(), length, description.encoding);
  if (sound_->codec()) return;
  sound_.reset();
  if (!description.needs_sound && picture_) return;
  const std::string failure = "cannot write " + target_ + ": ";
  if (kind.sound_codecs.empty()) {
    throw UsageError(failure + "this kind of film has no sound: leave out --audio");
  }
  throw Error(failure + "FFmpeg has no encoder for its sound");
}

void FilmWriter::Write(AVFrame* frame, std::int64_t index) {
  begun_ = true;
  CheckEncoded(picture_->Write(frame, index, PictureSink()), picture_->codec());
}

void FilmWriter::WriteSound(const AVFrame* block, std::int64_t index) {
  begun_ = true;
  CheckEncoded(sound_->Write(block, index, SoundSink()), sound_->codec());
}

PictureEncoder::Sink FilmWriter::PictureSink() {
  return [this](AVPacket* packet) { muxer_->Write(packet, 0, picture_->codec()->time_base); };
}

SoundEncoder::Sink FilmWriter::SoundSink() {
  return [this](AVPacket* packet) { muxer_->Write(packet, sound_stream_, sound_->codec()->time_base); };
}

void FilmWriter::CheckEncoded(int result, const AVCodecContext* codec) {
  if (result >= 0) return;
  try {
    // What the encoders hold back.
    if (picture_) picture_->Finish(PictureSink());
    if (sound_) sound_->Finish(SoundSink());
  } catch (const Error&) {
    // The rest cannot be written.
  }
  throw Error("cannot encode " + target_ + " with " + codec->codec->name + ": " + AvErrorText(result) +
              muxer_->Salvage());
}

void FilmWriter::Finish() {
  if (picture_) CheckEncoded(picture_->Finish(PictureSink()), picture_->codec());
  if (sound_) CheckEncoded(sound_->Finish(SoundSink()), sound_->codec());
  muxer_->Finish();
}

}  // namespace studio
