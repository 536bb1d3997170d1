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

  std::uint32_t pixel_size;  // Bytes of a pixel in plane 0; 0 for a layout that is none.
  Chroma chroma;
  bool copied;  // Whether GraphicsFrame::Copy copies it.

  int planes() const;
};

// The row of a layout. Values that are no layout have that of kFormatUnknown, a picture without bytes.
PixelFormat PixelFormatOf(GraphicsFormatInternal format);

#endif  // QUARN_GRAPHICS_PIXEL_FORMAT_H_
