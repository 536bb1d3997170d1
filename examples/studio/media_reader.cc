#include "studio/media_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/display.h>
}

#include "studio/error.h"
#include "studio/premultiply.h"

namespace studio {
namespace {

constexpr int kMaxSide = 8192;     // What hardware of the OpenGL 3.2 class takes as a texture.
constexpr int kRowAlignment = 64;  // libswscale writes whole vectors.

int QuarterTurns(const std::int32_t* matrix) {
  const double counterclockwise = av_display_rotation_get(matrix);
  if (std::isnan(counterclockwise)) return 0;
  return ((static_cast<int>(std::lround(-counterclockwise / 90)) % 4) + 4) % 4;
}

// How the camera was held, as the file tells it.
int QuarterTurns(const AVStream* stream, const AVFrame* frame) {
  if (const AVFrameSideData* data = av_frame_get_side_data(frame, AV_FRAME_DATA_DISPLAYMATRIX)) {
    return QuarterTurns(reinterpret_cast<const std::int32_t*>(data->data));
  }
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 100)
  const AVPacketSideData* data = av_packet_side_data_get(
      stream->codecpar->coded_side_data, stream->codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  const std::uint8_t* matrix = data ? data->data : nullptr;
#else
  const std::uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
#endif
  return matrix ? QuarterTurns(reinterpret_cast<const std::int32_t*>(matrix)) : 0;
}

// The deprecated "J" layouts are the plain ones with full range.
AVPixelFormat PlainFormat(int format, bool* full_range) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P: *full_range = true; return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P: *full_range = true; return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P: *full_range = true; return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P: *full_range = true; return AV_PIX_FMT_YUV440P;
    default: return static_cast<AVPixelFormat>(format);
  }
}

int Coefficients(const AVFrame& frame) {
  switch (frame.colorspace) {
    case AVCOL_SPC_BT709: return SWS_CS_ITU709;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL: return SWS_CS_BT2020;
    case AVCOL_SPC_SMPTE240M: return SWS_CS_SMPTE240M;
    case AVCOL_SPC_UNSPECIFIED: return frame.height > 576 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    default: return SWS_CS_ITU601;
  }
}

// What the library takes of a picture as it is, or after its ten bits have been packed otherwise.
AVPixelFormat PlaneFormat(const AVFrame& frame) {
  if (frame.colorspace == AVCOL_SPC_SMPTE240M) return AV_PIX_FMT_NONE;
  bool full_range = false;
  switch (PlainFormat(frame.format, &full_range)) {
    case AV_PIX_FMT_YUV420P: return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_NV12: return AV_PIX_FMT_NV12;
    case AV_PIX_FMT_P010:
    case AV_PIX_FMT_YUV420P10: return AV_PIX_FMT_P010;
    default: return AV_PIX_FMT_NONE;
  }
}

GsVideoTexture::Layout LayoutOf(AVPixelFormat format) {
  return format == AV_PIX_FMT_YUV420P ? GsVideoTexture::kLayoutI420
         : format == AV_PIX_FMT_NV12  ? GsVideoTexture::kLayoutNV12
                                      : GsVideoTexture::kLayoutP010;
}

GsVideoTexture::Matrix MatrixOf(const AVFrame& frame) {
  switch (Coefficients(frame)) {
    case SWS_CS_ITU709: return GsVideoTexture::kMatrixBT709;
    case SWS_CS_BT2020: return GsVideoTexture::kMatrixBT2020;
    default: return GsVideoTexture::kMatrixBT601;
  }
}

// Where it is not said, between the pixels, as libswscale has it.
GsVideoTexture::ChromaSite SiteOf(const AVFrame& frame) {
  switch (frame.chroma_location) {
    case AVCHROMA_LOC_LEFT:
    case AVCHROMA_LOC_TOPLEFT:
    case AVCHROMA_LOC_BOTTOMLEFT: return GsVideoTexture::kChromaLeft;
    default: return GsVideoTexture::kChromaCenter;
  }
}

bool RowsGoDown(const AVFrame& frame) {
  return std::all_of(frame.linesize, frame.linesize + 3, [](int stride) { return stride >= 0; });
}

int AlignedRow(int width) { return (width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment; }

bool HasAlpha(const AVFrame& frame) {
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return !layout || (layout->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL)) != 0;
}

void SetSize(Size size, Picture* picture) {
  picture->size = size;
  picture->stride = AlignedRow(size.width);
  picture->pixels.resize(static_cast<std::size_t>(picture->stride) * size.height + kRowAlignment);
}

PixelRows RowsOf(Picture* picture) { return {picture->size, picture->stride, picture->pixels.data()}; }

void Turn(const Picture& from, int quarter_turns, std::vector<std::uint8_t>* pixels, Size* size, int* stride) {
  *size = quarter_turns % 2 ? Size{from.size.height, from.size.width} : from.size;
  *stride = AlignedRow(size->width);
  pixels->resize(static_cast<std::size_t>(*stride) * size->height + kRowAlignment);
  for (int y = 0; y < from.size.height; ++y) {
    for (int x = 0; x < from.size.width; ++x) {
      const int right = from.size.width - 1 - x, below = from.size.height - 1 - y;
      const int to_x = quarter_turns == 1 ? below : quarter_turns == 2 ? right : y;
      const int to_y = quarter_turns == 1 ? x : quarter_turns == 2 ? below : right;
      std::memcpy(pixels->data() + static_cast<std::size_t>(to_y) * *stride + to_x * 4,
                  from.pixels.data() + static_cast<std::size_t>(y) * from.stride + x * 4, 4);
    }
  }
}

}  // namespace

MediaReader::MediaReader(const std::string& file) : file_(file), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
  Open();
  if (!DecodeFrame()) throw Error("cannot decode " + file_ + ": no picture in it");
  frame_waits_ = true;

  quarter_turns_ = QuarterTurns(format_->streams[stream_], frame_.get());
  const AVRational shape = av_guess_sample_aspect_ratio(format_.get(), format_->streams[stream_], frame_.get());
  const double stretch = shape.num > 0 && shape.den > 0 ? av_q2d(shape) : 1;
  size_ = Size{std::max(1, static_cast<int>(std::lround(frame_->width * stretch))), frame_->height};
  if (quarter_turns_ % 2) std::swap(size_.width, size_.height);
  ShrinkTo(Size{kMaxSide, kMaxSide});
}

void MediaReader::Open() {
  format_ = OpenMedia(file_);
  stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream_ < 0) throw Error("cannot decode " + file_ + ": no picture in it");
  codec_ = OpenDecoder(file_, format_.get(), stream_);
  frame_duration_ns_ = PictureDurationNs(format_.get(), stream_);
  draining_ = false;
  first_pts_ = AV_NOPTS_VALUE;
}

void MediaReader::CutOff(const Crop& crop) {
  uncut_ = size_;
  crop_ = crop;
  if (crop.IsNone()) return;
  size_ = Size{uncut_.width - crop.left - crop.right, uncut_.height - crop.top - crop.bottom};
  if (size_.width < 1 || size_.height < 1) {
    throw Error("the crop leaves nothing of " + file_ + ", which has " + std::to_string(uncut_.width) + "x" +
                std::to_string(uncut_.height) + " pixels");
  }
  CropFrame();  // The first picture, which is decoded already.
  ShrinkTo(Size{kMaxSide, kMaxSide});
}

// Frames lie as the camera was held, and their pixels need not be square.
void MediaReader::CropFrame() {
  if (crop_.IsNone()) return;
  const bool lies = quarter_turns_ % 2 != 0;
  const int across = lies ? uncut_.height : uncut_.width, down = lies ? uncut_.width : uncut_.height;
  const int sides[4] = {crop_.left, crop_.top, crop_.right, crop_.bottom};
  // The frame's left side is the upright picture's top after one turn, its right after two, its bottom after three.
  const auto side = [&](int number, int frame_side, int of) {
    const auto pixels = std::int64_t{sides[(number + quarter_turns_) % 4]} * frame_side;
    return static_cast<std::size_t>((pixels + of / 2) / of);
  };
  frame_->crop_left = side(0, frame_->width, across);
  frame_->crop_top = side(1, frame_->height, down);
  frame_->crop_right = side(2, frame_->width, across);
  frame_->crop_bottom = side(3, frame_->height, down);
  av_frame_apply_cropping(frame_.get(), AV_FRAME_CROP_UNALIGNED);
}

std::optional<std::int64_t> MediaReader::length_ns() const {
  const AVStream* const stream = format_->streams[stream_];
  if (stream->duration > 0) return av_rescale_q(stream->duration, stream->time_base, kNanoseconds);
  if (format_->duration > 0) return av_rescale_q(format_->duration, AVRational{1, AV_TIME_BASE}, kNanoseconds);
  return std::nullopt;
}

void MediaReader::ShrinkTo(Size size) {
  if (quarter_turns_ % 2) std::swap(size.width, size.height);
  picture_size_ = Size{std::clamp(size.width, 1, std::min(frame_->width, kMaxSide)),
                       std::clamp(size.height, 1, std::min(frame_->height, kMaxSide))};
  // Planes would lose half of the chroma that a smaller picture still has, and save little.
  const bool as_it_is =
      quarter_turns_ == 0 && picture_size_.width == frame_->width && picture_size_.height == frame_->height;
  plane_format_ = as_it_is ? PlaneFormat(*frame_) : AV_PIX_FMT_NONE;
}

bool MediaReader::DecodeFrame() {
  if (!studio::DecodeFrame(format_.get(), codec_.get(), stream_, packet_.get(), frame_.get(), &draining_)) return false;
  CropFrame();
  return true;
}

std::int64_t MediaReader::FrameTime() {
  const std::int64_t pts = frame_->best_effort_timestamp;
  if (pts == AV_NOPTS_VALUE) return next_ns_;
  if (first_pts_ == AV_NOPTS_VALUE) first_pts_ = pts;
  return start_ns_ + av_rescale_q(pts - first_pts_, format_->streams[stream_]->time_base, kNanoseconds);
}

bool MediaReader::Next(Picture* picture) {
  if (!frame_waits_ && !DecodeFrame()) return false;
  frame_waits_ = false;
  const PictureForm form = form_;
  picture->planes.reset();
  const bool has_planes = plane_format_ != AV_PIX_FMT_NONE;
  if (has_planes && form != PictureForm::kPixels && !TakePlanes(picture)) return false;
  if ((!has_planes || form != PictureForm::kPlanes) && !TakePixels(picture)) return false;
  picture->time_ns = FrameTime();
  next_ns_ = picture->time_ns + frame_duration_ns_;
  return true;
}

bool MediaReader::Rewind() {
  start_ns_ = next_ns_;
  // Opening the file again works with every container; seeking does not.
  try {
    Open();
  } catch (const Error&) {
    return false;
  }
  return true;
}

bool MediaReader::TakePlanes(Picture* picture) {
  bool full_range = frame_->color_range == AVCOL_RANGE_JPEG;
  const AVPixelFormat from = PlainFormat(frame_->format, &full_range);
  picture->size = picture_size_;
  picture->opaque = true;
  picture->layout = LayoutOf(plane_format_);
  picture->matrix = MatrixOf(*frame_);
  picture->range = full_range ? GsVideoTexture::kRangeFull : GsVideoTexture::kRangeLimited;
  picture->site = SiteOf(*frame_);
  if (from == plane_format_ && frame_->width == picture_size_.width && frame_->height == picture_size_.height &&
      RowsGoDown(*frame_)) {
    picture->planes.reset(av_frame_clone(frame_.get()), AvDeleter());
    return picture->planes != nullptr;
  }
  // Ten bits to be packed otherwise, or a picture in the middle of the media that is unlike the first.
  AvFrame planes(av_frame_alloc());
  if (!planes) return false;
  planes->format = plane_format_;
  planes->width = picture_size_.width;
  planes->height = picture_size_.height;
  if (av_frame_get_buffer(planes.get(), kRowAlignment) < 0) return false;
  plane_scaler_.reset(sws_getCachedContext(plane_scaler_.release(), frame_->width, frame_->height, from,
                                           picture_size_.width, picture_size_.height, plane_format_,
                                           SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
  if (!plane_scaler_) return false;
  const int* table = sws_getCoefficients(Coefficients(*frame_));
  sws_setColorspaceDetails(plane_scaler_.get(), table, full_range, table, full_range, 0, 1 << 16, 1 << 16);
  sws_scale(plane_scaler_.get(), frame_->data, frame_->linesize, 0, frame_->height, planes->data, planes->linesize);
  picture->planes = std::move(planes);
  return true;
}

bool MediaReader::TakePixels(Picture* picture) {
  bool full_range = frame_->color_range == AVCOL_RANGE_JPEG;
  const AVPixelFormat from = PlainFormat(frame_->format, &full_range);
  const bool shrinks = picture_size_.width < frame_->width || picture_size_.height < frame_->height;
  const bool keeps_size = picture_size_.width == frame_->width && picture_size_.height == frame_->height;
  // A picture with alpha gets its size once it is premultiplied.
  picture->opaque = !HasAlpha(*frame_);
  Picture* const decoded = picture->opaque || keeps_size ? picture : &whole_;
  SetSize(decoded == picture ? picture_size_ : Size{frame_->width, frame_->height}, decoded);
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame_->width, frame_->height, from, decoded->size.width,
                                     decoded->size.height, AV_PIX_FMT_RGBA,
                                     (shrinks ? SWS_AREA : SWS_BILINEAR) | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr,
                                     nullptr, nullptr));
  if (!scaler_) return false;
  const int* table = sws_getCoefficients(Coefficients(*frame_));
  sws_setColorspaceDetails(scaler_.get(), table, full_range, table, 1, 0, 1 << 16, 1 << 16);
  std::uint8_t* const rows[4] = {decoded->pixels.data()};
  const int strides[4] = {decoded->stride};
  sws_scale(scaler_.get(), frame_->data, frame_->linesize, 0, frame_->height, rows, strides);
  if (!picture->opaque) Premultiply(RowsOf(decoded));
  if (decoded != picture) {
    SetSize(picture_size_, picture);
    if (!ScalePremultiplied(RowsOf(&whole_), RowsOf(picture))) return false;
  }

  if (quarter_turns_ != 0) {
    Size size;
    int stride = 0;
    Turn(*picture, quarter_turns_, &turned_, &size, &stride);
    picture->pixels.swap(turned_);
    picture->size = size;
    picture->stride = stride;
  }
  return true;
}

}  // namespace studio
