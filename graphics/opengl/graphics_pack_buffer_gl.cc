// Readback buffers. Made and destroyed by any thread, used by the render thread.
#include "graphics/opengl/graphics_pack_buffer_gl.h"

#include "graphics/frame_times.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/scoped_binding.h"

GraphicsPackBufferGL::GraphicsPackBufferGL(GraphicsContextGL* context, unsigned int size)
    : GLObject(context), size_(size) {}

GraphicsPackBufferGL::~GraphicsPackBufferGL() {
  GLScope gl(context());
  if (gl.ok()) Delete();
}

void GraphicsPackBufferGL::Delete() {
  if (buffer_) glDeleteBuffers(1, &buffer_);
  buffer_ = 0;
}

bool GraphicsPackBufferGL::Init() {
  GLScope gl(context());
  if (!gl.ok()) return false;
  Delete();
  glGenBuffers(1, &buffer_);
  {
    ScopedBuffer bound(GL_PIXEL_PACK_BUFFER, GL_PIXEL_PACK_BUFFER_BINDING, buffer_);
    glBufferData(GL_PIXEL_PACK_BUFFER, size_, nullptr, GL_STREAM_READ);
  }
  CheckGLError(__FILE__, __LINE__);
  return true;
}

bool GraphicsPackBufferGL::Bind() {
  glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer_);
  return true;
}

void GraphicsPackBufferGL::Unbind() { glBindBuffer(GL_PIXEL_PACK_BUFFER, 0); }

const unsigned char* GraphicsPackBufferGL::Map() {
  const FrameSpan wait(FramePart::kReadbackWait);
  return static_cast<const unsigned char*>(glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, size_, GL_MAP_READ_BIT));
}

bool GraphicsPackBufferGL::Unmap() { return glUnmapBuffer(GL_PIXEL_PACK_BUFFER) == GL_TRUE; }
