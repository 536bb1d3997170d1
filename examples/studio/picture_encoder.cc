#include "studio/picture_encoder.h"

#include <algorithm>
#include <cstring>

#include "studio/encoder_settings.h"
#include "studio/error.h"
#include "studio/film_stream.h"

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

EncoderUse UseOf(const Description& description) {
  if (IsStreamOutput(description.output)) return EncoderUse::kStream;
  return description.offline ? EncoderUse::kOffline : EncoderUse::kLive;
}

}  // namespace

PictureEncoder::PictureEncoder(const std::vector<const AVCodec*>& codecs, bool global_header,
                               const Description& description)
    : frame_format_(AvLayout(description.Format())), size_(description.OutputSize()), packet_(av_packet_alloc()) {
  const bool opened = std::any_of(codecs.begin(), codecs.end(),
                                  [&](const AVCodec* codec) { return Try(codec, global_header, description); });
  if (!opened) throw Error("cannot write " + description.output + ": FFmpeg has no encoder for it");
  fills_gaps_ = codec_->codec_id == AV_CODEC_ID_WRAPPED_AVFRAME;

  if (codec_->pix_fmt != frame_format_) {
    scaler_.reset(sws_getContext(size_.width, size_.height, frame_format_, size_.width, size_.height, codec_->pix_fmt,
                                 SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
    if (!scaler_) throw Error("cannot write " + description.output + ": FFmpeg cannot convert the frames");
    // BT.709, limited range, wherever there is luma and chroma.
    const int* table = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler_.get(), table, IsRgb(frame_format_), table, IsRgb(codec_->pix_fmt), 0, 1 << 16,
                             1 << 16);
    converted_ = NewFrame(codec_->pix_fmt);
  }
}

bool PictureEncoder::Try(const AVCodec* codec, bool global_header, const Description& description) {
  codec_.reset(avcodec_alloc_context3(codec));
  codec_->width = size_.width;
  codec_->height = size_.height;
  codec_->time_base = {description.fps.den, description.fps.num};
  codec_->framerate = {description.fps.num, description.fps.den};
  codec_->gop_size = std::clamp(static_cast<int>(description.fps.fps() * 2), 1, 250);
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  if (global_header) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
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
  codec_->bit_rate =
      std::max<std::int64_t>(200000, static_cast<std::int64_t>(size_.width * size_.height / 8 * description.fps.fps()));
  ApplyEncoderSettings(codec, UseOf(description), codec_.get());
  return avcodec_open2(codec_.get(), codec, nullptr) == 0;
}

AvFrame PictureEncoder::NewFrame(AVPixelFormat format) const {
  AvFrame frame(av_frame_alloc());
  frame->format = format;
  frame->width = size_.width;
  frame->height = size_.height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw Error("not enough memory for frames");
  return frame;
}

int PictureEncoder::Write(AVFrame* frame, std::int64_t index, const Sink& sink) {
  AVFrame* encoded = frame;
  if (scaler_) {
    av_frame_make_writable(converted_.get());
    sws_scale(scaler_.get(), frame->data, frame->linesize, 0, size_.height, converted_->data, converted_->linesize);
    encoded = converted_.get();
  }
  if (!fills_gaps_) next_index_ = index;
  for (; next_index_ <= index; ++next_index_) {
    encoded->pts = next_index_;
    const int result = Encode(encoded, sink);
    if (result < 0) return result;
  }
  return 0;
}

int PictureEncoder::Encode(const AVFrame* frame, const Sink& sink) {
  const int sent = avcodec_send_frame(codec_.get(), frame);
  if (sent < 0) return sent;
  for (;;) {
    const int received = avcodec_receive_packet(codec_.get(), packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return 0;
    if (received < 0) return received;
    packet_->duration = 1;
    sink(packet_.get());
  }
}

}  // namespace studio
