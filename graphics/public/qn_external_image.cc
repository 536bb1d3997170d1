// The description of a host's image. Caller-serialised.
#include <quarn/qn_external_image.h>

QnExternalImage::QnExternalImage(unsigned int width, unsigned int height, std::uint32_t pixel_format,
                                 unsigned int bytes_per_row, const void* base)
    : width_(width),
      height_(height),
      pixel_format_(pixel_format),
      bytes_per_row_(bytes_per_row),
      base_(base),
      fd_(-1),
      offset_(0) {}

QnExternalImage::QnExternalImage(unsigned int width, unsigned int height, std::uint32_t pixel_format,
                                 unsigned int bytes_per_row, int fd, std::size_t offset)
    : width_(width),
      height_(height),
      pixel_format_(pixel_format),
      bytes_per_row_(bytes_per_row),
      base_(nullptr),
      fd_(fd),
      offset_(offset) {}

bool QnExternalImage::valid() const {
  const bool has_layout = pixel_format_ == kPixelFormatBGRA || pixel_format_ == kPixelFormatL10R;
  return has_layout && width_ > 0 && height_ > 0 && bytes_per_row_ / 4 >= width_ && (base_ || fd_ >= 0);
}
