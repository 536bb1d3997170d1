// The layouts of pictures: the one table of what each is made of. What OpenGL makes of them is the backend's
// (graphics/opengl/pixel_format_gl.h). Pure functions, any thread.
#ifndef QUARN_GRAPHICS_PIXEL_FORMAT_H_
#define QUARN_GRAPHICS_PIXEL_FORMAT_H_

#include <cstdint>

// The layout of a frame: its planes and their pitches.
enum GraphicsFormatInternal : std::uint32_t {
  kFormatUnknown = 0,
  kFormatRGBA = 1,    // 4 bytes a pixel, R G B A in memory.
  kFormatBGRA = 2,    // 4 bytes a pixel, B G R A in memory.
  kFormatR8 = 3,      // 1 byte a pixel.
  kFormatRG8 = 4,     // 2 bytes a pixel.
  kFormatRGBA16 = 5,  // 8 bytes a pixel: four channels of 16 bits.
  kFormatI420 = 6,    // Y, U, V planes, chroma halved both ways.
  kFormatNV12 = 7,    // Y plane and interleaved U V plane.
  kFormatNV21 = 8,    // Laid out as NV12, chroma pairs V U.
};

// The layout of an external image, by its four-character code.
enum ExternalImageFormat : std::uint32_t {
  kExternalImageBGRA = 0x42475241,  // 'BGRA': 8 bits a channel, B G R A in memory.
  kExternalImageL10R = 0x6C313072,  // 'l10r': little-endian words, B in bits 0 to 9, then G, R, and 2 bits of alpha.
};

// A row of the table of layouts.
struct PixelFormat {
  // What follows plane 0, which then holds Y alone, one byte a pixel.
  enum class Chroma {
    kNone,
    kPlanar,       // A plane of U and one of V, each halved both ways, one byte a pixel.
    kInterleaved,  // One plane of chroma pairs, halved both ways, two bytes a pixel.
  };

  // A plane of a picture of that layout. Divisions round down: an odd side has no chroma for its last pixel.
  struct Plane {
    std::uint32_t pixel_size;  // Bytes of one of the plane's pixels.
    std::uint32_t across;      // How many of the picture's pixels one of the plane's stands for, side by side ...
    std::uint32_t down;        // ... and one above the other.

    // The plane's size in pixels, from the picture's.
    std::uint32_t Width(std::uint32_t picture_width) const { return picture_width / across; }
    std::uint32_t Height(std::uint32_t picture_height) const { return picture_height / down; }
    // Bytes from a row to the next in a frame. For chroma pairs and an odd width that is a byte more than the pixels of
    // a row have.
    std::uint32_t Pitch(std::uint32_t picture_width) const {
      return static_cast<std::uint32_t>(std::uint64_t{picture_width} * pixel_size / across);
    }
    // Bytes that a frame and a readback set aside for the plane: from the picture's area, and so, where a side is odd,
    // not exactly those of the plane's own pixels.
    std::uint64_t Size(std::uint32_t picture_width, std::uint32_t picture_height) const {
      return std::uint64_t{picture_width} * picture_height * pixel_size / (across * down);
    }
  };
  static constexpr int kMaxPlanes = 3;

  std::uint32_t pixel_size;  // Bytes of a pixel in plane 0; 0 for a layout that is none.
  Chroma chroma;
  bool copied;         // Whether GraphicsFrame::Copy copies it.
  bool sampled;        // Whether a texture made from a frame of it shows the picture.
  bool updates_shown;  // Whether such a texture shows what a host updates it with.

  int planes() const;
  // One of these planes. There is no other.
  Plane plane(int index) const;
  // Bytes of all planes of a picture together, whose plane 0 has no more than fit 32 bits.
  std::uint64_t Size(std::uint32_t width, std::uint32_t height) const;
};

// The row of a layout. Values that are no layout have that of kFormatUnknown, a picture without bytes.
PixelFormat PixelFormatOf(GraphicsFormatInternal format);

#endif  // QUARN_GRAPHICS_PIXEL_FORMAT_H_
