// How rows of pixels lie in memory while GL copies them.
#ifndef QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_
#define QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_

#include "graphics/opengl/gl.h"
#include "graphics/opengl/scoped_binding.h"

// For as long as it lives, uploads read rows from memory that start `row_length` pixels apart (0: each right behind the
// last). GL's default alignment of 4 would expect padding behind odd rows of one- and two-byte layouts, which frames do
// not have; and whatever a host's own GL left behind would make an upload read elsewhere. Leaves GL's defaults, and the
// buffer bound that was.
class ScopedUnpack {
 public:
  explicit ScopedUnpack(GLint row_length = 0) : memory_(GL_PIXEL_UNPACK_BUFFER, GL_PIXEL_UNPACK_BUFFER_BINDING, 0) {
    Set(1, row_length);
  }
  ~ScopedUnpack() { Set(4, 0); }
  ScopedUnpack(const ScopedUnpack&) = delete;
  ScopedUnpack& operator=(const ScopedUnpack&) = delete;

 private:
  static void Set(GLint alignment, GLint row_length) {
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, row_length);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
  }

  ScopedBuffer memory_;
};

// The same for readbacks into a tightly packed buffer.
class ScopedPack {
 public:
  ScopedPack() { Set(1); }
  ~ScopedPack() { Set(4); }
  ScopedPack(const ScopedPack&) = delete;
  ScopedPack& operator=(const ScopedPack&) = delete;

 private:
  static void Set(GLint alignment) {
    glPixelStorei(GL_PACK_ALIGNMENT, alignment);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glPixelStorei(GL_PACK_SKIP_ROWS, 0);
    glPixelStorei(GL_PACK_SKIP_PIXELS, 0);
  }
};

#endif  // QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_
