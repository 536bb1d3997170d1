#include "studio/film_muxer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include <quarn/qn_os.h>

#include "studio/error.h"
#include "studio/film_copy.h"
#include "studio/film_stream.h"
#include "studio/log.h"
#include "studio/output_name.h"

namespace studio {
namespace {

namespace fs = std::filesystem;

constexpr int kStreamBuffer = 32768;

// Containers whose index stands at the end, without which nothing can be read; unless they are written in fragments.
bool NeedsFragments(const std::string& container) {
  static const char* const kContainers[] = {"mov", "mp4", "ipod", "psp", "3gp", "3g2", "f4v"};
  return std::find(std::begin(kContainers), std::end(kContainers), container) != std::end(kContainers);
}

std::string Text(int result) { return AvErrorText(result); }

}  // namespace

FilmMuxer::FilmMuxer(const Description& description, const FilmKind& kind)
    : target_(description.output),
      is_stream_(IsUrl(target_)),
      is_pipe_(IsPipe(target_)),
      overwrite_(description.overwrite),
      descriptor_(description.output_descriptor),
      index_in_front_(description.encoding.faststart),
      options_(kind.options) {
  const std::string path = LocalPath(FileName(target_));
  const std::string name = is_stream_ ? target_ : kind.pattern.empty() ? path : FilmFiles::UrlOf(path);
  avformat_alloc_output_context2(&format_, nullptr, kind.container.c_str(), name.c_str());
  if (!format_) throw Error("cannot write " + target_ + ": FFmpeg has no " + kind.container);
  // However far one of them is ahead: the same packets in the same order every time.
  if (description.offline) format_->max_interleave_delta = 0;
  format_->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_FLUSH_PACKETS;
  format_->interrupt_callback = {&FilmMuxer::Interrupted, this};
  if (!kind.pattern.empty() && !is_stream_) files_.emplace(format_, overwrite_);
}

FilmMuxer::~FilmMuxer() {
  GiveUp(0);
  if (open_) Salvage();
  Close();
  avformat_free_context(format_);
}

int FilmMuxer::AddStream(const AVCodecContext* codec) {
  AVStream* stream = avformat_new_stream(format_, nullptr);
  if (!stream) throw Error("cannot write " + target_ + ": " + Text(AVERROR(ENOMEM)));
  stream->time_base = codec->time_base;
  if (codec->codec_type == AVMEDIA_TYPE_VIDEO) stream->avg_frame_rate = codec->framerate;
  avcodec_parameters_from_context(stream->codecpar, codec);
  return stream->index;
}

void FilmMuxer::Open() {
  if (!(format_->oformat->flags & AVFMT_NOFILE)) {
    if (!is_stream_ && !is_pipe_) file_.emplace(FileName(target_), overwrite_);
    OpenOutput();
  } else if (!is_stream_ && !fs::is_directory(fs::path(LocalPath(FileName(target_))).parent_path())) {
    throw Error("cannot write " + target_ + ": " + Text(AVERROR(ENOENT)));
  }
  WriteHeader();
  open_ = true;
}

void FilmMuxer::OpenOutput() {
  AVDictionary* options = nullptr;
  if (is_stream_) AddProtocolOptions(target_, format_->oformat, &options);
  const std::string url = is_stream_              ? target_
                          : file_                 ? AvUrl(file_->path())
                          : DescriptorOf(target_) ? "pipe:" + std::to_string(descriptor_)
                                                  : AvUrl(FileName(target_));
  AVIOContext* output = nullptr;
  const int opened = avio_open2(&output, url.c_str(), AVIO_FLAG_WRITE, &format_->interrupt_callback, &options);
  av_dict_free(&options);
  if (opened < 0) throw Error("cannot write " + target_ + ": " + Text(opened));
  if (!is_stream_) {
    format_->pb = output;
    return;
  }
  receiver_ = output;
  const int size = output->max_packet_size > 0 ? output->max_packet_size : kStreamBuffer;
  auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(size)));
  format_->pb = avio_alloc_context(buffer, size, 1, this, nullptr, &FilmMuxer::Send, nullptr);
  if (!format_->pb) {
    av_free(buffer);
    throw Error("cannot write " + target_ + ": " + Text(AVERROR(ENOMEM)));
  }
  format_->pb->max_packet_size = output->max_packet_size;
  format_->pb->seekable = 0;
}

// Stands between the muxer and the protocol, because it alone sees what is taken: a packet may be many writes.
int FilmMuxer::Send(void* self, std::uint8_t* data, int size) {
  auto* muxer = static_cast<FilmMuxer*>(self);
  AVIOContext* receiver = muxer->receiver_;
  avio_write(receiver, data, size);
  avio_flush(receiver);
  if (receiver->error < 0) return std::exchange(receiver->error, 0);  // It may come back.
  muxer->taken_ = true;
  return size;
}

void FilmMuxer::WriteHeader() {
  const std::string container = format_->oformat->name;
  AVDictionary* options = nullptr;
  for (const auto& [name, value] : options_) av_dict_set(&options, name.c_str(), value.c_str(), 0);
  if (NeedsFragments(container)) {
    // The index is held back until there is a fragment: some encoders tell what belongs there no earlier.
    av_dict_set(&options, "movflags", "frag_keyframe+empty_moov+delay_moov+default_base_moof", 0);
    av_dict_set(&options, "frag_duration", "1000000", 0);
  }
  if (container == "matroska" || container == "webm") av_dict_set(&options, "cluster_time_limit", "1000", 0);
  if (container == "flv" && is_stream_) av_dict_set(&options, "flvflags", "no_duration_filesize", 0);
  TakeAvError();
  const int result = avformat_write_header(format_, &options);
  av_dict_free(&options);
  CheckFiles();
  if (result < 0) {
    const std::string why = TakeAvError();  // Of a codec that the container does not take, say.
    throw Error("cannot write " + target_ + ": " + Text(result) + (why.empty() ? "" : " (" + why + ")"));
  }
  taken_ = false;  // A header alone is nothing.
}

void FilmMuxer::Write(AVPacket* packet, int stream, AVRational time_base) {
  packet->stream_index = stream;
  av_packet_rescale_ts(packet, time_base, format_->streams[stream]->time_base);
  CheckWritten(av_interleaved_write_frame(format_, packet));
}

void FilmMuxer::CheckWritten(int result) {
  AVIOContext* output = format_->pb;
  if (output && result >= 0) result = output->error;
  if (is_stream_) return CheckSent(result);
  CheckFiles();
  if (result < 0) {
    broken_ = true;
    Fail(is_pipe_ && result == AVERROR(EPIPE) ? "its reader went away" : Text(result));
  }
  if (output) good_bytes_ = avio_tell(output);
}

// Whatever FFmpeg makes of it.
void FilmMuxer::CheckFiles() {
  if (!files_ || files_->error().empty()) return;
  broken_ = true;
  Salvage();
  throw Error(files_->error());
}

void FilmMuxer::CheckSent(int result) {
  if (result < 0) {
    ++lost_packets_;
    lost_why_ = Text(result);
    if (format_->pb) format_->pb->error = 0;
  } else if (!receiver_) {
    taken_ = true;  // Where FFmpeg does the sending.
  }
}

void FilmMuxer::Finish() {
  const int result = End();
  if (is_stream_) {
    CheckSent(result);
    Close();
    if (!taken_) throw Error("cannot write " + target_ + ": no receiver took any of it: " + lost_why_);
    return;
  }
  CheckFiles();
  if (result < 0) Fail(Text(result));
  if (!file_) return;
  if (const std::error_code error = Publish()) {
    if (error == std::errc::file_exists) {
      const std::string name = file_->Keep();
      file_.reset();
      throw Error("cannot write " + target_ + ": it is there by now; the film is in " + name);
    }
    Fail(error.message());
  }
  file_.reset();
}

// Writes what the container has at its end, and closes a file. Returns a code of FFmpeg's, or 0.
int FilmMuxer::End() {
  open_ = false;
  int result = av_write_trailer(format_);
  if (format_->pb) {
    avio_flush(format_->pb);
    if (result >= 0) result = format_->pb->error;
  }
  if (result >= 0 && !is_stream_) result = Close();
  if (result < 0) broken_ = true;
  return std::min(result, 0);
}

int FilmMuxer::Close() {
  if (!is_stream_) return format_->pb ? avio_closep(&format_->pb) : 0;
  if (format_->pb) av_freep(&format_->pb->buffer);
  avio_context_free(&format_->pb);
  return receiver_ ? avio_closep(&receiver_) : 0;
}

std::string FilmMuxer::Salvage() {
  if (open_ && !broken_) End();
  open_ = false;
  Close();
  if (!file_) return "";
  if (broken_) {
    // The rest of it is the piece of a packet.
    std::error_code ignored;
    if (good_bytes_ < static_cast<std::int64_t>(fs::file_size(file_->path(), ignored))) {
      fs::resize_file(file_->path(), static_cast<std::uintmax_t>(good_bytes_), ignored);
    }
  }
  const double seconds = FilmSeconds(file_->path());
  std::string text;
  if (seconds > 0) {
    char length[32];
    std::snprintf(length, sizeof(length), "%.1f", seconds);
    text = "; its first " + std::string(length) + " s are in " + file_->Keep();
  }
  file_.reset();
  return text;
}

// Gives the file, or a copy without fragments, the film's name.
std::error_code FilmMuxer::Publish() {
  const std::string path = file_->path();
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  // What the index adds is less than that.
  const std::uintmax_t wanted = size + size / 50 + (1 << 20);
  const bool has_room = !error && fs::space(path, error).available >= wanted && !error;
  if (NeedsFragments(format_->oformat->name) && has_room) {
    try {
      FilmFile copy(FileName(target_), overwrite_);
      if (CopyFilm(path, copy.path(), format_->oformat->name, index_in_front_) == 0) return copy.Publish();
    } catch (const Error&) {
      // It stays as it is, which can be read as well.
    }
  }
  return file_->Publish();
}

void FilmMuxer::Fail(const std::string& why) { throw Error("cannot write " + target_ + ": " + why + Salvage()); }

void FilmMuxer::GiveUp(double seconds) {
  if (!is_stream_) return;
  give_up_ns_ = static_cast<std::int64_t>(qn_os_gettime_ns()) + static_cast<std::int64_t>(seconds * 1e9);
}

int FilmMuxer::Interrupted(void* muxer) {
  const std::int64_t deadline = static_cast<FilmMuxer*>(muxer)->give_up_ns_;
  return deadline != 0 && static_cast<std::int64_t>(qn_os_gettime_ns()) >= deadline;
}

}  // namespace studio
