// How rows of pixels lie in memory while GL copies them. Used with the context current.
#ifndef QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_
#define QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_

#include "graphics/opengl/gl.h"
#include "graphics/opengl/scoped_binding.h"

// Sets the four parameters of one direction, uploads or readbacks, for as long as it lives, and leaves what it found.
// The guards below are made of it. To ask GL for what it finds takes a twentieth of a microsecond, next to more than a
// millisecond for the upload of a picture of 1920x1080 (Mesa's software rasteriser).
class ScopedPixelStore {
 public:
  struct Names {
    GLenum alignment;
    GLenum row_length;
    GLenum skip_rows;
    GLenum skip_pixels;
  };

  // No padding behind the rows, which start `row_length` pixels apart (0: each right behind the last), and none
  // skipped.
  ScopedPixelStore(const Names& names, GLint row_length)
      : alignment_(names.alignment, 1),
        row_length_(names.row_length, row_length),
        skip_rows_(names.skip_rows, 0),
        skip_pixels_(names.skip_pixels, 0) {}

 private:
  class Parameter {
   public:
    Parameter(GLenum name, GLint value) : name_(name) {
      glGetIntegerv(name_, &found_);
      glPixelStorei(name_, value);
    }
    ~Parameter() { glPixelStorei(name_, found_); }
    Parameter(const Parameter&) = delete;
    Parameter& operator=(const Parameter&) = delete;

   private:
    GLenum name_;
    GLint found_ = 0;
  };

  Parameter alignment_;
  Parameter row_length_;
  Parameter skip_rows_;
  Parameter skip_pixels_;
};

// For as long as it lives, uploads read rows from memory that start `row_length` pixels apart (0: each right behind the
// last). GL's default alignment of 4 would expect padding behind odd rows of one- and two-byte layouts, which frames do
// not have; and whatever a host's own GL left behind would make an upload read elsewhere. Leaves the parameters, and
// the buffer bound, that were.
class ScopedUnpack {
 public:
  explicit ScopedUnpack(GLint row_length = 0)
      : memory_(GL_PIXEL_UNPACK_BUFFER, GL_PIXEL_UNPACK_BUFFER_BINDING, 0),
        rows_({GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS}, row_length) {}

 private:
  ScopedBuffer memory_;
  ScopedPixelStore rows_;
};

// For as long as it lives, readbacks write rows right behind each other into the buffer that is bound.
class ScopedPack {
 public:
  ScopedPack() : rows_({GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS}, 0) {}

 private:
  ScopedPixelStore rows_;
};

#endif  // QUARN_GRAPHICS_OPENGL_PIXEL_STORE_H_
