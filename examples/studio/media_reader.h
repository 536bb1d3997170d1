// Reads a picture or a video with FFmpeg, picture by picture, as RGBA or as the planes that the library takes.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <quarn/gs_video_texture.h>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/media_file.h"

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

  std::int64_t time_ns = 0;  // From the media's first picture.
};

// One thread at a time.
class MediaReader {
 public:
  // Opens the file and decodes its first picture. Throws Error.
  explicit MediaReader(const std::string& file);

  // The size at which the media wants to be seen: upright, with square pixels.
  Size size() const { return size_; }
  // Pictures come out without what is cut off, and size() is that of what is left. Call it once, before the other two.
  // Throws Error when nothing is left.
  void CutOff(const Crop& crop);
  // Pictures come out no larger than this, or than hardware takes; a layer drawn small looks better for it. Call it
  // before Next.
  void ShrinkTo(Size size);

  // How long one pass through the media lasts, where it tells.
  std::optional<std::int64_t> length_ns() const;

  // As what pictures come from the next one on: pixels before. Any thread.
  void SetForm(PictureForm form) { form_ = form; }

  // Reads the next picture. Returns false at the end, and when the rest cannot be decoded.
  bool Next(Picture* picture);
  // Starts again; times go on where the last picture ended. Returns false when the file cannot be opened any more.
  bool Rewind();

 private:
  void Open();
  bool DecodeFrame();
  void CropFrame();
  bool TakePixels(Picture* picture);
  bool TakePlanes(Picture* picture);
  std::int64_t FrameTime();

  const std::string file_;
  Size size_;
  Size picture_size_;      // What pictures are scaled to, before they are turned upright.
  int quarter_turns_ = 0;  // Clockwise, to get upright.
  Crop crop_;              // Of a media picture of the size uncut_, upright.
  Size uncut_;

  Media format_;
  AvCodec codec_;
  AvPacket packet_;
  AvFrame frame_;
  AvScaler scaler_;
  AvScaler plane_scaler_;
  int stream_ = -1;
  bool draining_ = false;
  bool frame_waits_ = false;  // `frame_` has been decoded and not yet been handed out.
  std::int64_t first_pts_ = AV_NOPTS_VALUE;
  std::int64_t start_ns_ = 0;  // Where the present pass through the file begins.
  std::int64_t next_ns_ = 0;   // Where the picture after the last one is expected.
  std::int64_t frame_duration_ns_ = 0;
  std::vector<std::uint8_t> turned_;
  Picture whole_;  // A picture before it is shrunk, where that takes two steps.
  std::atomic<PictureForm> form_{PictureForm::kPixels};
  AVPixelFormat plane_format_ = AV_PIX_FMT_NONE;  // Of the planes of every picture; none: there are none.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_
