// An image that lives outside the engine. Words and tags: quarn.h.
#ifndef QUARN_QN_EXTERNAL_IMAGE_H_
#define QUARN_QN_EXTERNAL_IMAGE_H_

#include <cstddef>
#include <cstdint>

#include <quarn/export.h>

// Describes pixels in memory, or in a file that can be mapped (shared memory, or a dma-buf whose exporter allows
// mapping), the top row first. GsTexture takes it as its external image. The description is kept as it is given, and
// nothing of it is refused before a texture takes it: valid() tells whether it goes together, and GsTexture what it
// makes of one that does not.
//
// Thread: caller-serialised; a const image may be read by several threads.
class QUARN_EXPORT QnExternalImage {
 public:
  // Four-character codes of the layouts.
  static constexpr std::uint32_t kPixelFormatBGRA = 0x42475241;  // 'BGRA': 8 bits a channel, B G R A in memory.
  static constexpr std::uint32_t kPixelFormatL10R = 0x6C313072;  // 'l10r': little-endian words, B in bits 0 to 9, then
                                                                 // G, R, and 2 bits of alpha at the top.

  // Pixels in memory.
  //
  // `width`, `height`: pixels, each at least 1; otherwise the image is invalid.
  // `pixel_format`: one of the codes above; otherwise it is invalid.
  // `bytes_per_row`: bytes from a row to the next, at least 4 a pixel; otherwise it is invalid.
  // `base`: the first row; with null the image is invalid.
  //
  // Ownership: `base` stays the host's, and must be readable, to the last row, during each use.
  QnExternalImage(unsigned int width, unsigned int height, std::uint32_t pixel_format, unsigned int bytes_per_row,
                  const void* base);
  // Pixels in a file, which is mapped for each use only; one that is too short is refused there.
  //
  // `width`, `height`: pixels, each at least 1; otherwise the image is invalid.
  // `pixel_format`: one of the codes above; otherwise it is invalid.
  // `bytes_per_row`: bytes from a row to the next, at least 4 a pixel; otherwise it is invalid.
  // `fd`: the file's descriptor, 0 or more; otherwise the image is invalid.
  // `offset`: the byte that the first row begins at, any value: one that leaves too few in the file is refused in use.
  //
  // Ownership: `fd` stays the host's, and must be open during each use; the file must not shrink meanwhile, which would
  // end the process.
  QnExternalImage(unsigned int width, unsigned int height, std::uint32_t pixel_format, unsigned int bytes_per_row,
                  int fd, std::size_t offset);

  // Returns whether the description is valid: a size, a layout and a stride that go together, and pixels in memory or
  // in a file. Whether a file is long enough is seen when it is used.
  bool valid() const;

  // Returns the width in pixels.
  unsigned int width() const { return width_; }
  // Returns the height in pixels.
  unsigned int height() const { return height_; }
  // Returns the code of the layout.
  std::uint32_t pixel_format() const { return pixel_format_; }
  // Returns the bytes from a row to the next.
  unsigned int bytes_per_row() const { return bytes_per_row_; }
  // Returns the first row; null for pixels in a file.
  const void* base() const { return base_; }
  // Returns the file; -1 for pixels in memory.
  int fd() const { return fd_; }
  // Returns the byte of the file that the first row begins at; 0 for pixels in memory.
  std::size_t offset() const { return offset_; }

 private:
  unsigned int width_;
  unsigned int height_;
  std::uint32_t pixel_format_;
  unsigned int bytes_per_row_;
  const void* base_;
  int fd_;
  std::size_t offset_;
};

#endif  // QUARN_QN_EXTERNAL_IMAGE_H_
