#include "studio/media_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <vector>

#include "studio/error.h"

namespace studio {
namespace {

constexpr int kPipeBytes = 32768;
constexpr int kPollMs = 50;
constexpr int kMostFailures = 1000;  // Of a decoder that is to give what it still has.

// A pipe, read without waiting for its writer longer than the reader wants: FFmpeg's own reads would.
class Pipe {
 public:
  // On failure `context()` is null and errno says why.
  Pipe(const std::string& name, AVIOInterruptCB interrupt)
      : interrupt_(interrupt),
        descriptor_(name == kStandardInput ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                           : open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) return;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kPipeBytes));
    context_ = avio_alloc_context(buffer, kPipeBytes, 0, this, &Pipe::Read, nullptr, nullptr);
    context_->seekable = 0;
  }
  ~Pipe() {
    if (descriptor_ < 0) return;
    av_freep(&context_->buffer);
    avio_context_free(&context_);
    close(descriptor_);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  AVIOContext* context() const { return context_; }

 private:
  static int Read(void* pipe, std::uint8_t* to, int size) {
    const auto* const self = static_cast<const Pipe*>(pipe);
    for (;;) {
      if (self->interrupt_.callback && self->interrupt_.callback(self->interrupt_.opaque)) return AVERROR_EXIT;
      pollfd waiting = {self->descriptor_, POLLIN, 0};
      if (poll(&waiting, 1, kPollMs) <= 0) continue;
      const ssize_t bytes = read(self->descriptor_, to, static_cast<std::size_t>(size));
      if (bytes > 0) return static_cast<int>(bytes);
      if (bytes == 0) return AVERROR_EOF;
      if (errno != EINTR) return AVERROR(errno);
    }
  }

  const AVIOInterruptCB interrupt_;
  const int descriptor_;
  AVIOContext* context_ = nullptr;
};

// What a stream may lead to, apart from the protocol of its own address: other addresses, and no files.
constexpr char kStreamProtocols[] =
    "http,https,httpproxy,tls,tcp,udp,udplite,rtp,srtp,crypto,data,ffrtmphttp,ffrtmpcrypt";
constexpr char kNoProtocol[] = "none";

bool IsUrl(const std::string& file) { return file.find("://") != std::string::npos; }
bool IsFileUrl(const std::string& file) { return file.rfind("file://", 0) == 0; }

// What a media is read from. Its bytes may ask for other files and addresses, as playlists do: those of a file or a
// pipe get none, for whoever named it has named that alone.
struct Source {
  std::string name;  // As FFmpeg has it.
  std::unique_ptr<Pipe> pipe;
  bool was_refused = false;  // It asked for another.

  // Makes FFmpeg ask here for what it wants to open.
  void Guard(AVFormatContext* format) {
    format->opaque = this;
    format->io_open = &Source::Open;
    av_opt_set(format, "protocol_whitelist", kNoProtocol, 0);  // For those who do not ask.
  }

 private:
  static int Open(AVFormatContext* format, AVIOContext** io, const char* url, int flags, AVDictionary** options) {
    auto* const self = static_cast<Source*>(format->opaque);
    if (!self || (flags & AVIO_FLAG_WRITE)) return AVERROR(EPERM);
    // Pictures with numbers are named by their pattern, and never by what is in them.
    const bool is_pattern = format->iformat && std::string(format->iformat->name) == "image2";
    if (self->pipe || (url != self->name && !is_pattern)) {
      self->was_refused = true;
      return AVERROR(EPERM);
    }
    return avio_open2(io, url, flags, &format->interrupt_callback, options);
  }
};

std::string StreamProtocols(const std::string& url) {
  return url.substr(0, url.find_first_of(":+,")) + "," + kStreamProtocols;
}

// VP8 and VP9 keep transparency beside their pictures, where FFmpeg's own decoders leave it.
const AVCodec* FindDecoder(const AVStream* stream) {
  const AVCodecID id = stream->codecpar->codec_id;
  const AVDictionaryEntry* const alpha = av_dict_get(stream->metadata, "alpha_mode", nullptr, 0);
  if (alpha && std::string(alpha->value) == "1") {
    const char* const name = id == AV_CODEC_ID_VP8 ? "libvpx" : id == AV_CODEC_ID_VP9 ? "libvpx-vp9" : "";
    if (const AVCodec* const decoder = avcodec_find_decoder_by_name(name)) return decoder;
  }
  return avcodec_find_decoder(id);
}

}  // namespace

void MediaCloser::operator()(AVFormatContext* format) const {
  auto* const source = static_cast<Source*>(format->opaque);
  avformat_close_input(&format);
  delete source;
}

std::int64_t MaxPixels(AVCodecID codec) {
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec);
  return descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0 ? kMaxStillPixels : kMaxFilmPixels;
}

bool IsStream(const std::string& file) {
  std::error_code ignored;
  return IsUrl(file) || file == kStandardInput ||
         (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored));
}

Media OpenMedia(const std::string& file, AVIOInterruptCB interrupt) {
  auto source = std::make_unique<Source>();
  source->name = AvUrl(file);
  std::error_code ignored;
  AVFormatContext* format = avformat_alloc_context();
  format->interrupt_callback = interrupt;
  int result = 0;
  if (!IsUrl(file) && (file == kStandardInput || std::filesystem::is_fifo(file, ignored))) {
    source->pipe = std::make_unique<Pipe>(file, interrupt);
    if (!source->pipe->context()) result = AVERROR(errno);
    format->pb = source->pipe->context();
  }
  if (IsUrl(file) && !IsFileUrl(file)) {
    av_opt_set(format, "protocol_whitelist", StreamProtocols(file).c_str(), 0);
  } else {
    source->Guard(format);
  }
  const Source* const from = source.get();
  const auto check = [&](const std::string& what) {
    if (result >= 0) return;
    throw Error(what + file + ": " +
                (from->was_refused ? "it names other files or addresses, which are not opened" : AvErrorText(result)));
  };
  // A context that cannot be opened is freed, and what it reads from is not.
  if (result < 0) avformat_free_context(format);
  if (result == 0) result = avformat_open_input(&format, source->name.c_str(), nullptr, nullptr);
  check("cannot open ");
  format->opaque = source.release();
  Media media(format);
  // Its first pictures are decoded to find out.
  std::vector<AVDictionary*> options(format->nb_streams);
  for (unsigned int i = 0; i < format->nb_streams; ++i) {
    av_dict_set_int(&options[i], "max_pixels", MaxPixels(format->streams[i]->codecpar->codec_id), 0);
  }
  result = avformat_find_stream_info(format, options.empty() ? nullptr : options.data());
  for (AVDictionary*& of : options) av_dict_free(&of);
  check("cannot decode ");
  return media;
}

AvCodec OpenDecoder(const std::string& file, AVFormatContext* format, int stream) {
  const AVStream* const of = format->streams[stream];
  const AVCodec* const decoder = FindDecoder(of);
  const std::string type = of->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? "sound" : "pictures";
  if (!decoder) throw Error("cannot decode " + file + ": no decoder for its " + type);
  AvCodec codec(avcodec_alloc_context3(decoder));
  avcodec_parameters_to_context(codec.get(), of->codecpar);
  codec->pkt_timebase = of->time_base;
  codec->max_pixels = MaxPixels(of->codecpar->codec_id);
  codec->thread_count = of->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? 1 : 2;
  const int result = avcodec_open2(codec.get(), decoder, nullptr);
  if (result < 0) throw Error("cannot decode " + file + ": " + AvErrorText(result));
  return codec;
}

int FindSound(AVFormatContext* format, const std::string& file, std::optional<int> track) {
  if (!track) return av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  int tracks = 0;
  for (unsigned int i = 0; i < format->nb_streams; ++i) {
    if (format->streams[i]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    if (tracks++ == *track) return static_cast<int>(i);
  }
  throw Error("cannot decode " + file + ": no sound track " + std::to_string(*track) + ": " +
              (tracks == 0 ? "it has none" : "the last one is " + std::to_string(tracks - 1)));
}

bool DecodeFrame(AVFormatContext* format, AVCodecContext* codec, int stream, AVPacket* packet, AVFrame* frame,
                 bool* draining) {
  std::uint64_t damaged = 0;
  const auto read = [format](AVPacket* to) { return av_read_frame(format, to); };
  return DecodeFrame(read, codec, stream, packet, frame, draining, &damaged);
}

bool DecodeFrame(const std::function<int(AVPacket*)>& read, AVCodecContext* codec, int stream, AVPacket* packet,
                 AVFrame* frame, bool* draining, std::uint64_t* damaged) {
  const auto note = [damaged](int result) {
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) ++*damaged;
    return result;
  };
  for (int failures = 0;;) {
    const int received = note(avcodec_receive_frame(codec, frame));
    if (received == 0) {
      if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) ++*damaged;
      return true;
    }
    // Damaged data is skipped: only the end of the media ends its frames.
    if (*draining) {
      if (received == AVERROR_EOF || received == AVERROR(EAGAIN) || ++failures > kMostFailures) return false;
      continue;
    }
    if (read(packet) < 0) {
      avcodec_send_packet(codec, nullptr);
      *draining = true;
      continue;
    }
    if (packet->stream_index == stream) note(avcodec_send_packet(codec, packet));
    av_packet_unref(packet);
  }
}

std::int64_t FirstSoundNs(const std::string& file) {
  try {
    const Media format = OpenMedia(file);
    const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (stream < 0) return AV_NOPTS_VALUE;
    for (unsigned int i = 0; i < format->nb_streams; ++i) {
      if (static_cast<int>(i) != stream) format->streams[i]->discard = AVDISCARD_ALL;
    }
    // Decoded, for what a decoder needs before the first sound is no part of it.
    const AvCodec codec = OpenDecoder(file, format.get(), stream);
    const AvPacket packet(av_packet_alloc());
    const AvFrame frame(av_frame_alloc());
    bool draining = false;
    if (!DecodeFrame(format.get(), codec.get(), stream, packet.get(), frame.get(), &draining) ||
        frame->best_effort_timestamp == AV_NOPTS_VALUE) {
      return AV_NOPTS_VALUE;
    }
    const AVStream* const of = format->streams[stream];
    return MediaNs(NotBeforeStart(frame->best_effort_timestamp, of), of->time_base);
  } catch (const Error&) {
    return AV_NOPTS_VALUE;
  }
}

std::int64_t NotBeforeStart(std::int64_t pts, const AVStream* stream) {
  return pts != AV_NOPTS_VALUE && stream->start_time != AV_NOPTS_VALUE ? std::max(pts, stream->start_time) : pts;
}

std::int64_t PictureDurationNs(AVFormatContext* format, int stream) {
  const AVRational rate = av_guess_frame_rate(format, format->streams[stream], nullptr);
  return rate.num > 0 && rate.den > 0 ? std::max(DurationNs(1, av_inv_q(rate)), std::int64_t{1}) : 40000000;
}

}  // namespace studio
