#include "studio/film_writer.h"

#include <cerrno>
#include <cmath>
#include <filesystem>

#include <quarn/qn_os.h>

#include "studio/error.h"
#include "studio/output_name.h"

namespace studio {

FilmWriter::FilmWriter(const Description& description, bool with_sound)
    : target_(description.output), is_stream_(IsUrl(target_)) {
  const FilmKind kind = KindOf(description);
  ChoosePath(description, kind);
  avformat_alloc_output_context2(&format_, nullptr, kind.container.c_str(), path_.c_str());
  if (!format_) throw Error("cannot write " + target_ + ": FFmpeg has no " + kind.container);
  try {
    const bool global_header = (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    if (kind.has_picture) picture_ = std::make_unique<PictureEncoder>(kind, global_header, description);
    if (with_sound) OpenSound(description, kind);
    OpenFile(kind);
  } catch (...) {
    avformat_free_context(format_);
    throw;
  }
}

FilmWriter::~FilmWriter() {
  GiveUp(0);
  if (!(format_->oformat->flags & AVFMT_NOFILE)) avio_closep(&format_->pb);
  avformat_free_context(format_);
  std::error_code ignored;
  if (!finished_ && is_partial_) std::filesystem::remove(PartialFile(), ignored);
}

void FilmWriter::OpenSound(const Description& description, const FilmKind& kind) {
  const auto length = picture_ ? av_rescale(static_cast<std::int64_t>(description.FrameCount()),
                                            std::int64_t{kSoundRate} * description.fps.den, description.fps.num)
                               : std::llround(description.duration_s * kSoundRate);
  const bool global_header = (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
  sound_ = std::make_unique<SoundEncoder>(kind.sound_codecs, global_header, length, description.encoding);
  if (sound_->codec()) return;
  sound_.reset();
  if (!description.needs_sound && picture_) return;
  const std::string failure = "cannot write " + target_ + ": ";
  if (kind.sound_codecs.empty()) {
    throw UsageError(failure + "this kind of film has no sound: leave out --audio");
  }
  throw Error(failure + "FFmpeg has no encoder for its sound");
}

AVStream* FilmWriter::AddStream(const AVCodecContext* codec) {
  AVStream* stream = avformat_new_stream(format_, nullptr);
  stream->time_base = codec->time_base;
  avcodec_parameters_from_context(stream->codecpar, codec);
  return stream;
}

// Only a plain file is written under another name first.
void FilmWriter::ChoosePath(const Description& description, const FilmKind& kind) {
  path_ = target_;
  if (is_stream_) return;
  if (DescriptorOf(target_)) {
    path_ = "pipe:" + std::to_string(description.output_descriptor);
    return;
  }
  std::error_code ignored;
  if (kind.is_sequence || kind.container == "hls") {
    path_ = LocalPath(target_);
    if (!std::filesystem::is_directory(std::filesystem::path(path_).parent_path(), ignored)) {
      throw Error("cannot write " + target_ + ": No such file or directory");
    }
    return;
  }
  if (!IsPipe(target_)) {
    if (std::filesystem::exists(target_, ignored) && !std::filesystem::is_regular_file(target_, ignored)) {
      throw Error("cannot write " + target_ + ": it is not a plain file");
    }
    path_ = target_ + ".part";
    is_partial_ = true;
  }
  path_ = AvUrl(path_);
}

void FilmWriter::OpenFile(const FilmKind& kind) {
  if (picture_) AddStream(picture_->codec())->avg_frame_rate = picture_->codec()->framerate;
  if (sound_) AddStream(sound_->codec());
  format_->flags |= AVFMT_FLAG_BITEXACT;
  format_->interrupt_callback = {&FilmWriter::Interrupted, this};

  AVDictionary* options = nullptr;
  if (is_stream_) {
    format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    if (target_.rfind("udp://", 0) == 0) av_dict_set(&options, "pkt_size", "1316", 0);  // Seven packets of MPEG-TS.
  }
  if (!(format_->oformat->flags & AVFMT_NOFILE)) {
    const int opened = avio_open2(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE, &format_->interrupt_callback, &options);
    av_dict_free(&options);
    if (opened < 0) throw Error("cannot write " + target_ + ": " + AvErrorText(opened));
  }
  for (const auto& [name, value] : kind.options) av_dict_set(&options, name.c_str(), value.c_str(), 0);
  const int written = avformat_write_header(format_, &options);
  av_dict_free(&options);
  if (written < 0 && !is_stream_) {
    if (format_->pb) avio_closep(&format_->pb);
    std::error_code ignored;
    if (is_partial_) std::filesystem::remove(PartialFile(), ignored);
    throw Error("cannot write " + target_ + ": " + AvErrorText(written));
  }
}

void FilmWriter::Write(AVFrame* frame, std::int64_t index) {
  CheckEncoded(picture_->Write(frame, index, PictureSink()));
}

void FilmWriter::WriteSound(const AVFrame* block, std::int64_t index) {
  CheckEncoded(sound_->Write(block, index, SoundSink()));
}

PictureEncoder::Sink FilmWriter::PictureSink() {
  return [this](AVPacket* packet) { WritePacket(packet, format_->streams[0], picture_->codec()->time_base); };
}

SoundEncoder::Sink FilmWriter::SoundSink() {
  return
      [this](AVPacket* packet) { WritePacket(packet, format_->streams[picture_ ? 1 : 0], sound_->codec()->time_base); };
}

void FilmWriter::WritePacket(AVPacket* packet, AVStream* stream, AVRational time_base) {
  packet->stream_index = stream->index;
  av_packet_rescale_ts(packet, time_base, stream->time_base);
  CheckWritten(av_interleaved_write_frame(format_, packet));
}

void FilmWriter::CheckEncoded(int result) const {
  if (result < 0) throw Error("cannot encode " + target_ + ": " + AvErrorText(result));
}

void FilmWriter::CheckWritten(int result) {
  if (result >= 0 && format_->pb) result = format_->pb->error;
  if (result >= 0) return;
  if (result == AVERROR(EPIPE) && !is_stream_) throw Error("cannot write " + target_ + ": its reader went away");
  if (!is_stream_) throw Error("cannot write " + target_ + ": " + AvErrorText(result));
  ++lost_packets_;
  format_->pb->error = 0;  // A receiver may come back.
}

void FilmWriter::Finish() {
  if (picture_) CheckEncoded(picture_->Finish(PictureSink()));
  if (sound_) CheckEncoded(sound_->Finish(SoundSink()));
  const int result = av_write_trailer(format_);
  const bool has_file = !(format_->oformat->flags & AVFMT_NOFILE);
  if (has_file) avio_flush(format_->pb);
  CheckWritten(result);
  const int closed = has_file ? avio_closep(&format_->pb) : 0;
  if (is_stream_) return;
  std::error_code error = closed < 0 ? std::error_code(AVUNERROR(closed), std::generic_category()) : std::error_code();
  if (!error && is_partial_) std::filesystem::rename(PartialFile(), target_, error);
  if (error) throw Error("cannot write " + target_ + ": " + error.message());
  finished_ = true;
}

void FilmWriter::GiveUp(double seconds) {
  if (!is_stream_) return;
  give_up_ns_ = static_cast<std::int64_t>(qn_os_gettime_ns()) + static_cast<std::int64_t>(seconds * 1e9);
}

int FilmWriter::Interrupted(void* writer) {
  const std::int64_t deadline = static_cast<FilmWriter*>(writer)->give_up_ns_;
  return deadline != 0 && static_cast<std::int64_t>(qn_os_gettime_ns()) >= deadline;
}

}  // namespace studio
