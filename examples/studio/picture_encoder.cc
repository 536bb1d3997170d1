#include "studio/picture_encoder.h"

#include <algorithm>
#include <cstring>

#include "studio/encoder_choices.h"
#include "studio/encoder_settings.h"
#include "studio/error.h"
#include "studio/output_name.h"

namespace studio {
namespace {

// The scene's alpha is what blending left: unless it is asked for, a film has none.
AVPixelFormat AvLayout(PixelLayout layout, bool transparent) {
  switch (layout) {
    case PixelLayout::kI420: return AV_PIX_FMT_YUV420P;
    case PixelLayout::kNv12: return AV_PIX_FMT_NV12;
    case PixelLayout::kRgba: return transparent ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB0;
    case PixelLayout::kBgra: break;
  }
  return transparent ? AV_PIX_FMT_BGRA : AV_PIX_FMT_BGR0;
}

bool IsRgb(AVPixelFormat format) { return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0; }

// Tells what the pixels mean.
void SetColors(AVCodecContext* codec) {
  const AVPixFmtDescriptor* const pixels = av_pix_fmt_desc_get(codec->pix_fmt);
  if (IsRgb(codec->pix_fmt) || (pixels->flags & AV_PIX_FMT_FLAG_PAL)) return;
  if (codec->codec_id == AV_CODEC_ID_MJPEG) {
    codec->colorspace = AVCOL_SPC_SMPTE170M;  // As JPEG has it.
    codec->color_range = AVCOL_RANGE_JPEG;
    return;
  }
  codec->colorspace = AVCOL_SPC_BT709;
  codec->color_primaries = AVCOL_PRI_BT709;
  codec->color_trc = AVCOL_TRC_BT709;
  codec->color_range = AVCOL_RANGE_MPEG;
  // Each is the mean of four pixels, the engine's as well as the scaler's.
  const bool is_quartered = pixels->log2_chroma_w == 1 && pixels->log2_chroma_h == 1;
  if (is_quartered) codec->chroma_sample_location = AVCHROMA_LOC_CENTER;
}

EncoderUse UseOf(const Description& description) {
  if (IsUrl(description.output)) return EncoderUse::kStream;
  return description.offline ? EncoderUse::kOffline : EncoderUse::kLive;
}

}  // namespace

PictureEncoder::PictureEncoder(const FilmKind& kind, bool global_header, const Description& description)
    : frame_format_(AvLayout(description.Format(), description.transparent)),
      size_(description.OutputSize()),
      fills_gaps_(kind.fills_gaps),
      packet_(av_packet_alloc()) {
  const bool opened = std::any_of(kind.codecs.begin(), kind.codecs.end(),
                                  [&](const AVCodec* codec) { return Try(codec, global_header, description); });
  if (!opened) {
    throw Error("cannot write " + description.output + ": " +
                (kind.codecs.empty() ? "FFmpeg has no encoder for it"
                                     : std::string(kind.codecs[0]->name) + " does not take what is asked for"));
  }
  OpenConverter(description);
}

void PictureEncoder::OpenConverter(const Description& description) {
  AVPixelFormat format = codec_->pix_fmt;
  if (format == AV_PIX_FMT_PAL8) {
    format = AV_PIX_FMT_BGRA;
    palette_ = std::make_unique<PaletteFilter>(format, size_, codec_->time_base, description.transparent);
  }
  if (format == frame_format_) return;
  scaler_.reset(sws_getContext(size_.width, size_.height, frame_format_, size_.width, size_.height, format,
                               SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
  if (!scaler_) throw Error("cannot write " + description.output + ": FFmpeg cannot convert the frames");
  const auto table = [](bool is_jpeg) { return sws_getCoefficients(is_jpeg ? SWS_CS_ITU601 : SWS_CS_ITU709); };
  const bool is_jpeg = codec_->color_range == AVCOL_RANGE_JPEG;
  // BT.709, limited range, wherever there is luma and chroma, but for JPEG.
  sws_setColorspaceDetails(scaler_.get(), table(false), IsRgb(frame_format_), table(is_jpeg), IsRgb(format) || is_jpeg,
                           0, 1 << 16, 1 << 16);
  converted_ = NewFrame(format);
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
  codec_->pix_fmt = EncodedFormat(codec, description.Format(), description.transparent);
  SetColors(codec_.get());
  codec_->bit_rate =
      std::max<std::int64_t>(200000, static_cast<std::int64_t>(size_.width * size_.height / 8 * description.fps.fps()));
  ApplyEncoderSettings(codec, UseOf(description), codec_.get());
  ChoosePicture(description.encoding, codec_.get());
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
    encoded->quality = codec_->global_quality;  // Where encoders of a fixed quantizer look for it.
    const int result = palette_ ? palette_->Write(encoded, [&](AVFrame* reduced) { return Encode(reduced, sink); })
                                : Encode(encoded, sink);
    if (result < 0) return result;
  }
  return 0;
}

int PictureEncoder::Finish(const Sink& sink) {
  const int result = palette_ ? palette_->Write(nullptr, [&](AVFrame* reduced) { return Encode(reduced, sink); }) : 0;
  return result < 0 ? result : Encode(nullptr, sink);
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
