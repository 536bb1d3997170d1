// What OpenGL makes of the layouts of pictures, and of those of external images: the one table of each. Pure functions,
// any thread.
#ifndef QUARN_GRAPHICS_OPENGL_PIXEL_FORMAT_GL_H_
#define QUARN_GRAPHICS_OPENGL_PIXEL_FORMAT_GL_H_

#include <cstdint>

#include "graphics/opengl/gl.h"
#include "graphics/pixel_format.h"

// A row of the table of layouts. Storage names the internal format and the pixel format at once, which are the same for
// all of them; 0 where there is none. The type is GL_UNSIGNED_BYTE.
struct PixelFormatGL {
  // How an output draws a plane of a raw frame.
  struct Plane {
    GraphicsFormatInternal target;  // What it is drawn into.
    const char* program;
    // The rows of the matrix from red, green and blue to Y, U and V (0, 1, 2) that are the program's constants.
    int first_row;
    int rows;  // 0: it has none. At most kMaxRows.
  };
  // How many rows the constants of a program have room for.
  static constexpr int kMaxRows = 2;

  GLenum target;   // Storage of a render target, and what it is read back as.
  GLenum sampled;  // Storage of an image made from a frame.
  GLenum updated;  // Storage of an image that is updated from a frame; without it the frame is only kept.
  // As many as the layout has planes; without programs where no output produces it.
  Plane plane[PixelFormat::kMaxPlanes];
};

// The row of a layout. Values that are no layout have that of kFormatUnknown, which has nothing.
PixelFormatGL PixelFormatGLOf(GraphicsFormatInternal format);

// How the pixels of an external image go into a rectangle texture.
struct ExternalFormatGL {
  GLint internal_format;
  GLenum format;
  GLenum type;
  std::uint32_t pixel_size;  // Bytes.
  bool known;
};

// The row of a four-character code. A code that has none is not known, and has what BGRA has.
ExternalFormatGL ExternalFormatGLOf(std::uint32_t code);

#endif  // QUARN_GRAPHICS_OPENGL_PIXEL_FORMAT_GL_H_
