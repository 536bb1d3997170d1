// Where the matrices of each rectangle go.
#ifndef QUARN_GRAPHICS_OPENGL_UNIFORM_RING_H_
#define QUARN_GRAPHICS_OPENGL_UNIFORM_RING_H_

#include <cstdint>

#include "graphics/opengl/gl.h"

// Blocks of constants, each at a place of its own in a buffer that stays mapped. A buffer that is uploaded to while
// earlier draws read it must be copied or waited for by the driver, and a software rasteriser takes every upload for a
// change of all its textures: 33 KB of state for the next draw. Here nothing is uploaded, and no place is written
// twice: a buffer that is full is replaced by a new one, and GL keeps the old one for as long as draws read it.
//
// Used by the thread that has the GL context current.
class UniformRing {
 public:
  static constexpr GLsizeiptr kBufferSize = 64 * 1024;  // Bytes: more than 200 rectangles.

  UniformRing() = default;
  UniformRing(const UniformRing&) = delete;
  UniformRing& operator=(const UniformRing&) = delete;

  // `available`: whether GL lets buffers stay mapped.
  void Build(bool available);
  // Copies a block of `size` bytes, at most kBufferSize, and binds it to the binding point. Returns false, with nothing
  // done, where buffers cannot stay mapped.
  bool Bind(GLuint point, const void* block, GLsizeiptr size);
  // Deletes the buffer.
  void Release();
  // Lets go of the buffer without a GL call: it dies with its context.
  void Forget();

 private:
  bool MakeBuffer();

  bool available_ = false;
  GLintptr alignment_ = 1;  // Bytes between the places a block may start at.
  GLuint buffer_ = 0;
  unsigned char* mapped_ = nullptr;
  GLintptr next_ = 0;  // Where the next block goes.
};

#endif  // QUARN_GRAPHICS_OPENGL_UNIFORM_RING_H_
