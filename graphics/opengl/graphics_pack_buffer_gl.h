// A buffer that pixels are read back into.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_PACK_BUFFER_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_PACK_BUFFER_GL_H_

#include "graphics/opengl/gl_object.h"

// Bind, Unbind, Map and Unmap belong to a thread that has the context current.
class GraphicsPackBufferGL : public GLObject {
 public:
  // `size` in bytes. No GL work.
  GraphicsPackBufferGL(GraphicsContextGL* context, unsigned int size);
  ~GraphicsPackBufferGL() override;

  // Returns false without a context that can be made current. Another Init makes the buffer anew.
  bool Init();
  bool Bind();
  void Unbind();
  // The bound buffer's bytes, to be read until Unmap; null on failure.
  const unsigned char* Map();
  // Returns false where the bytes were lost while they were read.
  bool Unmap();

  // Whether there is a buffer to read into. There may be none after an Init that succeeded: GL gives no name when it
  // runs out of them.
  bool available() const { return buffer_ != 0; }
  unsigned int size() const { return size_; }

 private:
  void Delete();

  unsigned int size_;
  GLuint buffer_ = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_PACK_BUFFER_GL_H_
