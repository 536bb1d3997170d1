// External images on Linux: pixels in memory, or in a file that can be mapped, are uploaded. Entered by any thread,
// under the context's lock with the GL context current.
//
// A rectangle texture cannot be backed by an imported buffer here (drivers refuse the target), so the upload is the
// road that works everywhere.
#include "graphics/opengl/cgl/external_image.h"

#include <linux/dma-buf.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include <quarn/qn_external_image.h>

#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/pixel_store.h"

namespace {

static_assert(QnExternalImage::kPixelFormatBGRA == kExternalImageBGRA, "the engine's code for the layout");
static_assert(QnExternalImage::kPixelFormatL10R == kExternalImageL10R, "the engine's code for the layout");

const QnExternalImage& Image(const void* image) { return *static_cast<const QnExternalImage*>(image); }

// Maps the bytes of an image's file for as long as it lives.
class MappedFile {
 public:
  // The bytes from `offset` on, `size` of them.
  MappedFile(int fd, std::size_t offset, std::size_t size) : fd_(fd) {
    const off_t end = FileSize(fd);
    // Reading past the end of a mapped file would end the process.
    if (end < 0 || static_cast<std::size_t>(end) < offset || static_cast<std::size_t>(end) - offset < size) return;
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t skip = offset % page;
    void* const map = mmap(nullptr, size + skip, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(offset - skip));
    if (map == MAP_FAILED) return;
    map_ = static_cast<unsigned char*>(map);
    map_size_ = size + skip;
    data_ = map_ + skip;
    Sync(DMA_BUF_SYNC_START);
  }
  ~MappedFile() {
    if (!map_) return;
    Sync(DMA_BUF_SYNC_END);
    munmap(map_, map_size_);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  // Null when the file could not be mapped.
  const unsigned char* data() const { return data_; }

 private:
  // Leaves the file offset, which is the host's, where it is. -1 when there is no size.
  static off_t FileSize(int fd) {
    struct stat status;
    if (fstat(fd, &status) != 0) return -1;
    if (S_ISREG(status.st_mode)) return status.st_size;
    return lseek(fd, 0, SEEK_END);  // A dma-buf has no offset that anybody could miss.
  }

  // Tells a dma-buf that the processor reads it; other files refuse the call, which is as well.
  void Sync(unsigned int phase) const {
    dma_buf_sync sync = {};
    sync.flags = DMA_BUF_SYNC_READ | phase;
    while (ioctl(fd_, DMA_BUF_IOCTL_SYNC, &sync) == -1 && errno == EINTR) {
    }
  }

  int fd_;
  unsigned char* map_ = nullptr;
  std::size_t map_size_ = 0;
  const unsigned char* data_ = nullptr;
};

// Returns whether GL takes the pixels.
bool Upload(const unsigned char* pixels, std::size_t pitch, const ExternalFormatGL& format, GLsizei width,
            GLsizei height) {
  const auto define = [&](const unsigned char* from) {
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, format.internal_format, width, height, 0, format.format, format.type, from);
  };
  if (pitch % format.pixel_size == 0) {
    ScopedUnpack unpack(static_cast<GLint>(pitch / format.pixel_size));
    define(pixels);
    return CheckGLError(__FILE__, __LINE__) == GL_NO_ERROR;
  }
  // A pitch that GL cannot express goes up row by row.
  ScopedUnpack unpack;
  define(nullptr);
  if (CheckGLError(__FILE__, __LINE__) != GL_NO_ERROR) return false;
  for (GLint y = 0; y < height; ++y) {
    glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, y, width, 1, format.format, format.type,
                    pixels + pitch * static_cast<std::size_t>(y));
  }
  return CheckGLError(__FILE__, __LINE__) == GL_NO_ERROR;
}

}  // namespace

unsigned int ExternalImageWidth(const void* image) { return Image(image).width(); }

unsigned int ExternalImageHeight(const void* image) { return Image(image).height(); }

std::uint32_t ExternalImagePixelFormat(const void* image) { return Image(image).pixel_format(); }

bool BindExternalImage(const void* image, const ExternalFormatGL& format, unsigned int width, unsigned int height) {
  const QnExternalImage& source = Image(image);
  const std::size_t row_size = std::size_t{width} * format.pixel_size;
  const std::size_t pitch = source.bytes_per_row();
  if (source.width() < width || source.height() < height || width == 0 || height == 0 || pitch < row_size) return false;
  const auto w = static_cast<GLsizei>(width);
  const auto h = static_cast<GLsizei>(height);
  if (source.base()) {
    return Upload(static_cast<const unsigned char*>(source.base()), pitch, format, w, h);
  }
  const MappedFile file(source.fd(), source.offset(), pitch * (height - 1) + row_size);
  return file.data() && Upload(file.data(), pitch, format, w, h);
}
