// Makes pictures of decoded frames: upright RGBA in the size that is wanted, or the planes that the library takes.
#ifndef QUARN_EXAMPLES_STUDIO_PICTURE_CONVERTER_H_
#define QUARN_EXAMPLES_STUDIO_PICTURE_CONVERTER_H_

#include <cstdint>
#include <memory>
#include <vector>

#include <quarn/gs_video_texture.h>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/orientation.h"
#include "studio/premultiply.h"

namespace studio {

// How pictures are handed out.
enum class PictureForm {
  kPixels,
  kPlanes,  // What is turned upright, shrunk, transparent or of another layout comes as pixels all the same.
  kBoth,    // For whoever does not know yet what will draw them.
};

struct Picture {
  Size size;
  // RGBA, premultiplied (premultiply.h), the top row first.
  int stride = 0;  // Bytes from a row to the next.
  std::vector<std::uint8_t> pixels;
  bool opaque = false;  // Every alpha is 255.
  // The planes, where there are any: the decoder's own, so that nothing is copied, where the size is right.
  std::shared_ptr<const AVFrame> planes;
  GsVideoTexture::Layout layout = GsVideoTexture::kLayoutI420;
  GsVideoTexture::Matrix matrix = GsVideoTexture::kMatrixBT709;
  GsVideoTexture::Range range = GsVideoTexture::kRangeLimited;
  GsVideoTexture::ChromaSite site = GsVideoTexture::kChromaCenter;
};

constexpr int kMaxPictureSide = 8192;  // What hardware of the OpenGL 3.2 class takes as a texture.

// What all pictures of a media have in common.
struct PictureShape {
  PictureShape() = default;
  // Of a media whose first frame is `frame`, turned upright, no larger than `limit`, as its planes where it can be.
  PictureShape(const AVFrame& frame, const Orientation& turned, Size limit);

  Orientation orientation;
  Size size;                                     // Before it is turned upright.
  AVPixelFormat plane_format = AV_PIX_FMT_NONE;  // None: there are no planes.
};

// One thread at a time.
class PictureConverter {
 public:
  explicit PictureConverter(const PictureShape& shape) : shape_(shape) {}

  // Returns false when the frame is of a layout that nobody knows.
  bool Convert(const AVFrame& frame, PictureForm form, Picture* picture);

 private:
  // A scaler, and what it is set up for.
  struct Scaler {
    AvScaler context;
    Size from_size;
    Size to_size;
    AVPixelFormat from = AV_PIX_FMT_NONE;
    int chroma_x = 0;
    int chroma_y = 0;
  };

  SwsContext* ScalerFor(const AVFrame& frame, AVPixelFormat to, Size to_size, Scaler* scaler);
  bool ToRgba(const AVFrame& frame, const PixelRows& to);
  bool MakeColors(Size size);
  bool TakePixels(const AVFrame& frame, Picture* picture);
  bool TakePlanes(const AVFrame& frame, Picture* picture);

  const PictureShape shape_;
  Scaler pixel_scaler_;
  Scaler plane_scaler_;
  AvFrame colors_;                      // Red, green and blue as planes.
  AvScaler packer_;                     // Interleaves them.
  std::vector<std::uint8_t> whole_;     // A picture before it is shrunk, where that takes two steps.
  std::vector<std::uint8_t> sideways_;  // One before it is turned.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PICTURE_CONVERTER_H_
