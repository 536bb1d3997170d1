#include "studio/film_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include <quarn/qn_os.h>

#include "studio/error.h"

namespace studio {
namespace {

AVPixelFormat AvLayout(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kI420: return AV_PIX_FMT_YUV420P;
    case PixelLayout::kNv12: return AV_PIX_FMT_NV12;
    case PixelLayout::kRgba: return AV_PIX_FMT_RGB0;  // The scene's alpha is what blending left: a film has none.
    case PixelLayout::kBgra: break;
  }
  return AV_PIX_FMT_BGR0;
}

bool IsRgb(AVPixelFormat format) { return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0; }

}  // namespace

// What a film is packed into, and what may encode it, the best first.
struct FilmWriter::Container {
  std::string name;  // What FFmpeg calls it.
  std::vector<const AVCodec*> codecs;
  std::vector<const AVCodec*> sound_codecs;

  explicit Container(const Description& description) {
    const std::string& output = description.output;
    if (description.IsStill()) {
      name = "image2pipe";
      Add(&codecs, avcodec_find_encoder(AV_CODEC_ID_PNG));
      return;
    }
    const AVOutputFormat* guess = av_guess_format(nullptr, output.c_str(), nullptr);
    if (!guess && output.find("://") != std::string::npos) guess = av_guess_format("mpegts", nullptr, nullptr);
    if (!guess || (guess->flags & AVFMT_NOFILE) || guess->video_codec == AV_CODEC_ID_NONE) {
      throw UsageError("cannot tell the kind of film from the name " + output);
    }
    name = guess->name;
    if (guess->video_codec == AV_CODEC_ID_WRAPPED_AVFRAME) {
      Add(&codecs, avcodec_find_encoder(AV_CODEC_ID_WRAPPED_AVFRAME));
      return;
    }
    // MPEG-TS takes both, but has no list that could be asked.
    const auto takes = [&](AVCodecID id) {
      return name == "mpegts" || avformat_query_codec(guess, id, FF_COMPLIANCE_NORMAL) == 1;
    };
    if (takes(AV_CODEC_ID_H264)) {
      Add(&codecs, avcodec_find_encoder_by_name("libx264"));
      Add(&codecs, avcodec_find_encoder_by_name("libopenh264"));
    }
    if (takes(AV_CODEC_ID_MPEG4)) Add(&codecs, avcodec_find_encoder(AV_CODEC_ID_MPEG4));
    Add(&codecs, avcodec_find_encoder(guess->video_codec));

    if (guess->audio_codec == AV_CODEC_ID_NONE) return;
    if (takes(AV_CODEC_ID_AAC)) Add(&sound_codecs, avcodec_find_encoder(AV_CODEC_ID_AAC));
    Add(&sound_codecs, avcodec_find_encoder(guess->audio_codec));
    for (const AVCodecID id : {AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS, AV_CODEC_ID_AC3, AV_CODEC_ID_PCM_S16LE}) {
      if (takes(id)) Add(&sound_codecs, avcodec_find_encoder(id));
    }
  }

  static void Add(std::vector<const AVCodec*>* list, const AVCodec* codec) {
    if (codec && !(codec->capabilities & AV_CODEC_CAP_EXPERIMENTAL)) list->push_back(codec);
  }
};

FilmWriter::FilmWriter(const Description& description, bool with_sound)
    : target_(description.output),
      is_stream_(target_.find("://") != std::string::npos),
      frame_format_(AvLayout(description.Format())),
      size_(description.OutputSize()),
      packet_(av_packet_alloc()) {
  const Container container(description);
  avformat_alloc_output_context2(&format_, nullptr, container.name.c_str(), target_.c_str());
  if (!format_) throw Error("cannot write " + target_ + ": FFmpeg has no " + container.name);
  try {
    OpenEncoder(description, container);
    if (with_sound) OpenSound(description, container);
    OpenFile(description.offline);
  } catch (...) {
    avformat_free_context(format_);
    throw;
  }
}

FilmWriter::~FilmWriter() {
  const bool finished = format_->pb == nullptr;
  if (!finished) {
    GiveUp(0);
    avio_closep(&format_->pb);
  }
  avformat_free_context(format_);
  std::error_code ignored;
  if (!finished && !is_stream_) std::filesystem::remove(path_, ignored);
}

bool FilmWriter::TryEncoder(const AVCodec* codec, const Description& description) {
  codec_.reset(avcodec_alloc_context3(codec));
  codec_->width = size_.width;
  codec_->height = size_.height;
  codec_->time_base = {description.fps.den, description.fps.num};
  codec_->framerate = {description.fps.num, description.fps.den};
  codec_->gop_size = std::clamp(static_cast<int>(description.fps.fps() * 2), 1, 250);
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  if (format_->oformat->flags & AVFMT_GLOBALHEADER) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (codec->id == AV_CODEC_ID_PNG) {
    codec_->pix_fmt = AV_PIX_FMT_RGB24;
  } else {
    const bool takes_nv12 = std::strcmp(codec->name, "libx264") == 0;
    codec_->pix_fmt = frame_format_ == AV_PIX_FMT_NV12 && takes_nv12 ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    codec_->colorspace = AVCOL_SPC_BT709;
    codec_->color_primaries = AVCOL_PRI_BT709;
    codec_->color_trc = AVCOL_TRC_BT709;
    codec_->color_range = AVCOL_RANGE_MPEG;
  }
  // A fixed number, so that the same film is the same bytes on every machine.
  codec_->thread_count = codec->id == AV_CODEC_ID_H264 ? 2 : 1;
  codec_->bit_rate =
      std::max<std::int64_t>(200000, static_cast<std::int64_t>(size_.width * size_.height / 8 * description.fps.fps()));
  if (std::strcmp(codec->name, "libx264") == 0) {
    codec_->bit_rate = 0;
    av_opt_set(codec_->priv_data, "preset", description.offline ? "medium" : "ultrafast", 0);
    av_opt_set(codec_->priv_data, "crf", "20", 0);
    if (is_stream_) av_opt_set(codec_->priv_data, "tune", "zerolatency", 0);
  }
  return avcodec_open2(codec_.get(), codec, nullptr) == 0;
}

void FilmWriter::OpenEncoder(const Description& description, const Container& container) {
  const bool opened = std::any_of(container.codecs.begin(), container.codecs.end(),
                                  [&](const AVCodec* codec) { return TryEncoder(codec, description); });
  if (!opened) throw Error("cannot write " + target_ + ": FFmpeg has no encoder for it");
  encoder_name_ = codec_->codec->name;
  fills_gaps_ = codec_->codec_id == AV_CODEC_ID_WRAPPED_AVFRAME;

  if (codec_->pix_fmt != frame_format_) {
    scaler_.reset(sws_getContext(size_.width, size_.height, frame_format_, size_.width, size_.height, codec_->pix_fmt,
                                 SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
    if (!scaler_) throw Error("cannot write " + target_ + ": FFmpeg cannot convert the frames");
    // BT.709, limited range, wherever there is luma and chroma.
    const int* table = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler_.get(), table, IsRgb(frame_format_), table, IsRgb(codec_->pix_fmt), 0, 1 << 16,
                             1 << 16);
    converted_ = NewFrame(codec_->pix_fmt);
  }
}

void FilmWriter::OpenSound(const Description& description, const Container& container) {
  const std::int64_t length = SoundFramesOf(description.FrameCount(), description.fps);
  const bool global_header = (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
  sound_ = std::make_unique<SoundEncoder>(container.sound_codecs, global_header, length);
  if (sound_->codec()) return;
  sound_.reset();
  if (!description.needs_sound) return;
  const std::string failure = "cannot write " + target_ + ": ";
  if (container.sound_codecs.empty()) {
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

void FilmWriter::OpenFile(bool offline) {
  AddStream(codec_.get())->avg_frame_rate = codec_->framerate;
  if (sound_) AddStream(sound_->codec());
  format_->flags |= AVFMT_FLAG_BITEXACT;
  // However far one of them is ahead: the same packets in the same order every time.
  if (offline) format_->max_interleave_delta = 0;
  format_->interrupt_callback = {&FilmWriter::Interrupted, this};

  path_ = target_;
  AVDictionary* options = nullptr;
  if (is_stream_) {
    format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    if (target_.rfind("udp://", 0) == 0) av_dict_set(&options, "pkt_size", "1316", 0);  // Seven packets of MPEG-TS.
  } else {
    std::error_code ignored;
    if (std::filesystem::exists(target_, ignored) && !std::filesystem::is_regular_file(target_, ignored)) {
      throw Error("cannot write " + target_ + ": it is not a plain file");
    }
    path_ = target_ + ".part";
  }
  const int opened =
      avio_open2(&format_->pb, AvUrl(path_).c_str(), AVIO_FLAG_WRITE, &format_->interrupt_callback, &options);
  av_dict_free(&options);
  if (opened < 0) throw Error("cannot write " + target_ + ": " + AvErrorText(opened));
  const int written = avformat_write_header(format_, nullptr);
  if (written < 0 && !is_stream_) {
    avio_closep(&format_->pb);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    throw Error("cannot write " + target_ + ": " + AvErrorText(written));
  }
}

AvFrame FilmWriter::NewFrame(AVPixelFormat format) const {
  AvFrame frame(av_frame_alloc());
  frame->format = format;
  frame->width = size_.width;
  frame->height = size_.height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw Error("not enough memory for frames");
  return frame;
}

void FilmWriter::Write(AVFrame* frame, std::int64_t index) {
  AVFrame* encoded = frame;
  if (scaler_) {
    av_frame_make_writable(converted_.get());
    sws_scale(scaler_.get(), frame->data, frame->linesize, 0, size_.height, converted_->data, converted_->linesize);
    encoded = converted_.get();
  }
  if (!fills_gaps_) next_index_ = index;
  for (; next_index_ <= index; ++next_index_) {
    encoded->pts = next_index_;
    Encode(encoded);
  }
}

void FilmWriter::WriteSound(const AVFrame* block, std::int64_t index) {
  CheckEncoded(sound_->Write(block, index, SoundSink()));
}

void FilmWriter::Encode(const AVFrame* frame) {
  CheckEncoded(avcodec_send_frame(codec_.get(), frame));
  for (;;) {
    const int received = avcodec_receive_packet(codec_.get(), packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
    CheckEncoded(received);
    packet_->duration = 1;
    WritePacket(packet_.get(), format_->streams[0], codec_->time_base);
  }
}

SoundEncoder::Sink FilmWriter::SoundSink() {
  return [this](AVPacket* packet) { WritePacket(packet, format_->streams[1], sound_->codec()->time_base); };
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
  if (result >= 0) result = format_->pb->error;
  if (result >= 0) return;
  if (!is_stream_) throw Error("cannot write " + target_ + ": " + AvErrorText(result));
  ++lost_packets_;
  format_->pb->error = 0;  // A receiver may come back.
}

void FilmWriter::Finish() {
  Encode(nullptr);
  if (sound_) CheckEncoded(sound_->Finish(SoundSink()));
  const int result = av_write_trailer(format_);
  avio_flush(format_->pb);
  CheckWritten(result);
  const int closed = avio_closep(&format_->pb);
  if (is_stream_) return;
  std::error_code error = closed < 0 ? std::error_code(AVUNERROR(closed), std::generic_category()) : std::error_code();
  if (!error) std::filesystem::rename(path_, target_, error);
  if (error) {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    throw Error("cannot write " + target_ + ": " + error.message());
  }
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
