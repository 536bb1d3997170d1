#include "studio/picture_converter.h"

#include <algorithm>
#include <string>
#include <utility>

namespace studio {
namespace {

constexpr int kRowAlignment = 64;  // libswscale writes whole vectors.

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

bool IsFullRange(const AVFrame& frame) {
  bool full_range = frame.color_range == AVCOL_RANGE_JPEG;
  PlainFormat(frame.format, &full_range);
  return full_range;
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

// Where a sample of chroma lies. Where it is not said: between the pixels of photographs, at the left of films.
AVChromaLocation LocationOf(const AVFrame& frame) {
  if (frame.chroma_location != AVCHROMA_LOC_UNSPECIFIED) return frame.chroma_location;
  return IsFullRange(frame) ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
}

bool IsAtTheLeft(AVChromaLocation location) {
  return location == AVCHROMA_LOC_LEFT || location == AVCHROMA_LOC_TOPLEFT || location == AVCHROMA_LOC_BOTTOMLEFT;
}

// As libswscale counts it: in 256ths of a pixel, from the middle of the upper left pixel.
int ChromaX(const AVFrame& frame) { return IsAtTheLeft(LocationOf(frame)) ? 0 : 128; }

int ChromaY(const AVFrame& frame) {
  switch (LocationOf(frame)) {
    case AVCHROMA_LOC_TOPLEFT:
    case AVCHROMA_LOC_TOP: return 0;
    case AVCHROMA_LOC_BOTTOMLEFT:
    case AVCHROMA_LOC_BOTTOM: return 256;
    default: return 128;
  }
}

// libswscale takes the levels of full range for those of 8 bits with zeros behind them: 1020 of 1023 is white.
int Contrast(const AVFrame& frame) {
  const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int bits = layout ? std::max(layout->comp[0].depth, 8) : 8;
  return static_cast<int>((std::int64_t{255} << (bits - 8 + 16)) / ((std::int64_t{1} << bits) - 1));
}

bool RowsGoDown(const AVFrame& frame) {
  return std::all_of(frame.linesize, frame.linesize + 3, [](int stride) { return stride >= 0; });
}

int AlignedRow(int width) { return (width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment; }

std::size_t Bytes(int stride, Size size) { return static_cast<std::size_t>(stride) * size.height + kRowAlignment; }

bool IsSame(Size a, Size b) { return a.width == b.width && a.height == b.height; }

bool HasAlpha(const AVFrame& frame) {
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return !layout || (layout->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL)) != 0;
}

bool IsYuv(const AVFrame& frame) {
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return layout && layout->nb_components == 3 && (layout->flags & AV_PIX_FMT_FLAG_RGB) == 0;
}

}  // namespace

PictureShape::PictureShape(const AVFrame& frame, const Orientation& turned, Size limit) : orientation(turned) {
  limit = orientation.Turned(limit);
  size = Size{std::clamp(limit.width, 1, std::min(frame.width, kMaxPictureSide)),
              std::clamp(limit.height, 1, std::min(frame.height, kMaxPictureSide))};
  // Planes would lose half of the chroma that a smaller picture still has, and save little.
  const bool as_it_is = orientation.is_upright() && size.width == frame.width && size.height == frame.height;
  plane_format = as_it_is ? PlaneFormat(frame) : AV_PIX_FMT_NONE;
}

bool PictureConverter::Convert(const AVFrame& frame, PictureForm form, Picture* picture) {
  picture->planes.reset();
  const bool has_planes = shape_.plane_format != AV_PIX_FMT_NONE;
  if (has_planes && form != PictureForm::kPixels && !TakePlanes(frame, picture)) return false;
  return (has_planes && form == PictureForm::kPlanes) || TakePixels(frame, picture);
}

// The chroma of RGB is made for each pixel, and rounded: without that, pairs of pixels share it, and all is darker.
SwsContext* PictureConverter::ScalerFor(const AVFrame& frame, AVPixelFormat to, Size to_size, Scaler* scaler) {
  bool full_range = false;
  const AVPixelFormat from = PlainFormat(frame.format, &full_range);
  const int x = ChromaX(frame), y = ChromaY(frame);
  const Size from_size{frame.width, frame.height};
  const bool fits = scaler->context && IsSame(scaler->from_size, from_size) && IsSame(scaler->to_size, to_size) &&
                    scaler->from == from && scaler->chroma_x == x && scaler->chroma_y == y;
  if (fits) return scaler->context.get();
  *scaler = Scaler{AvScaler(sws_alloc_context()), from_size, to_size, from, x, y};
  const bool shrinks = to_size.width < frame.width || to_size.height < frame.height;
  const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(from);
  SwsContext* const context = scaler->context.get();
  if (!layout || !context) return nullptr;
  av_opt_set_int(context, "srcw", frame.width, 0);
  av_opt_set_int(context, "srch", frame.height, 0);
  av_opt_set_int(context, "src_format", from, 0);
  av_opt_set_int(context, "dstw", to_size.width, 0);
  av_opt_set_int(context, "dsth", to_size.height, 0);
  av_opt_set_int(context, "dst_format", to, 0);
  av_opt_set_int(context, "sws_flags",
                 (shrinks ? SWS_AREA : SWS_BILINEAR) | SWS_FULL_CHR_H_INT | SWS_ACCURATE_RND | SWS_BITEXACT, 0);
  // Planes keep their chroma where it is.
  for (const char* const side : {"src", "dst"}) {
    if (side[0] == 'd' && (to == AV_PIX_FMT_RGBA || to == AV_PIX_FMT_GBRP)) break;
    if (layout->log2_chroma_w == 1) av_opt_set_int(context, (std::string(side) + "_h_chr_pos").c_str(), x, 0);
    if (layout->log2_chroma_h == 1) av_opt_set_int(context, (std::string(side) + "_v_chr_pos").c_str(), y, 0);
  }
  if (sws_init_context(context, nullptr, nullptr) < 0) scaler->context.reset();
  return scaler->context.get();
}

bool PictureConverter::TakePlanes(const AVFrame& frame, Picture* picture) {
  bool full_range = frame.color_range == AVCOL_RANGE_JPEG;
  const AVPixelFormat from = PlainFormat(frame.format, &full_range);
  picture->size = shape_.size;
  picture->opaque = true;
  picture->layout = LayoutOf(shape_.plane_format);
  picture->matrix = MatrixOf(frame);
  picture->range = full_range ? GsVideoTexture::kRangeFull : GsVideoTexture::kRangeLimited;
  picture->site = IsAtTheLeft(LocationOf(frame)) ? GsVideoTexture::kChromaLeft : GsVideoTexture::kChromaCenter;
  if (from == shape_.plane_format && frame.width == shape_.size.width && frame.height == shape_.size.height &&
      RowsGoDown(frame)) {
    picture->planes.reset(av_frame_clone(&frame), AvDeleter());
    return picture->planes != nullptr;
  }
  // Ten bits to be packed otherwise, or a picture in the middle of the media that is unlike the first.
  AvFrame planes(av_frame_alloc());
  if (!planes) return false;
  planes->format = shape_.plane_format;
  planes->width = shape_.size.width;
  planes->height = shape_.size.height;
  if (av_frame_get_buffer(planes.get(), kRowAlignment) < 0) return false;
  SwsContext* const scaler = ScalerFor(frame, shape_.plane_format, shape_.size, &plane_scaler_);
  if (!scaler) return false;
  const int* table = sws_getCoefficients(Coefficients(frame));
  sws_setColorspaceDetails(scaler, table, full_range, table, full_range, 0, 1 << 16, 1 << 16);
  sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes->data, planes->linesize);
  picture->planes = std::move(planes);
  return true;
}

bool PictureConverter::ToRgba(const AVFrame& frame, const PixelRows& to) {
  // libswscale makes planes of red, green and blue in half the time, to interleave them included.
  const bool by_planes = !HasAlpha(frame) && IsYuv(frame);
  SwsContext* const scaler = ScalerFor(frame, by_planes ? AV_PIX_FMT_GBRP : AV_PIX_FMT_RGBA, to.size, &pixel_scaler_);
  if (!scaler || (by_planes && !MakeColors(to.size))) return false;
  const int* table = sws_getCoefficients(Coefficients(frame));
  const bool full_range = IsFullRange(frame);
  sws_setColorspaceDetails(scaler, table, full_range, table, 1, 0, full_range ? Contrast(frame) : 1 << 16, 1 << 16);
  std::uint8_t* const rows[4] = {to.pixels};
  const int strides[4] = {to.stride};
  if (!by_planes) {
    sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, rows, strides);
    return true;
  }
  sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, colors_->data, colors_->linesize);
  sws_scale(packer_.get(), colors_->data, colors_->linesize, 0, to.size.height, rows, strides);
  return true;
}

bool PictureConverter::MakeColors(Size size) {
  if (colors_ && colors_->width == size.width && colors_->height == size.height) return true;
  AvFrame colors(av_frame_alloc());
  if (!colors) return false;
  colors->format = AV_PIX_FMT_GBRP;
  colors->width = size.width;
  colors->height = size.height;
  if (av_frame_get_buffer(colors.get(), kRowAlignment) < 0) return false;
  packer_.reset(sws_getContext(size.width, size.height, AV_PIX_FMT_GBRP, size.width, size.height, AV_PIX_FMT_RGBA,
                               SWS_POINT, nullptr, nullptr, nullptr));
  if (!packer_) return false;
  colors_ = std::move(colors);
  return true;
}

bool PictureConverter::TakePixels(const AVFrame& frame, Picture* picture) {
  picture->opaque = !HasAlpha(frame);
  std::vector<std::uint8_t>& pixels = shape_.orientation.is_upright() ? picture->pixels : sideways_;
  const int stride = AlignedRow(shape_.size.width);
  pixels.resize(Bytes(stride, shape_.size));
  const PixelRows rows{shape_.size, stride, pixels.data()};
  const Size whole{frame.width, frame.height};
  // With alpha it gets its size once it is premultiplied.
  if (picture->opaque || IsSame(whole, shape_.size)) {
    if (!ToRgba(frame, rows)) return false;
    if (!picture->opaque) Premultiply(rows);
  } else {
    const int whole_stride = AlignedRow(whole.width);
    whole_.resize(Bytes(whole_stride, whole));
    const PixelRows whole_rows{whole, whole_stride, whole_.data()};
    if (!ToRgba(frame, whole_rows)) return false;
    Premultiply(whole_rows);
    if (!ScalePremultiplied(whole_rows, rows)) return false;
  }

  picture->size = shape_.orientation.Turned(shape_.size);
  picture->stride = AlignedRow(picture->size.width);
  if (!shape_.orientation.is_upright()) {
    picture->pixels.resize(Bytes(picture->stride, picture->size));
    Turn(shape_.orientation, pixels.data(), stride, shape_.size, picture->pixels.data(), picture->stride);
  }
  return true;
}

}  // namespace studio
