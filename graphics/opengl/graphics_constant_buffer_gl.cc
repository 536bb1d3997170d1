// Uniform buffers; see the header for which thread enters what.
#include "graphics/opengl/graphics_constant_buffer_gl.h"

#include <algorithm>
#include <cstring>

#include "foundation/logger.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/scoped_binding.h"

GraphicsConstantBufferGL::GraphicsConstantBufferGL(GraphicsContextGL* context, const void* data, unsigned int size)
    : GraphicsConstantBufferGL(context, size) {
  if (data) std::memcpy(shadow_.get(), data, size);
}

GraphicsConstantBufferGL::GraphicsConstantBufferGL(GraphicsContextGL* context, unsigned int size)
    : GLObject(context), shadow_(new unsigned char[size]()), size_(size) {}

GraphicsConstantBufferGL::~GraphicsConstantBufferGL() {
  GLScope gl(context());
  if (gl.ok()) Delete();
}

void GraphicsConstantBufferGL::Delete() {
  if (buffer_) glDeleteBuffers(1, &buffer_);
  buffer_ = 0;
  uploaded_ = false;
}

bool GraphicsConstantBufferGL::Init() {
  GLScope gl(context());
  return gl.ok() && Create();
}

bool GraphicsConstantBufferGL::Create() {
  Delete();
  glGenBuffers(1, &buffer_);
  if (buffer_) {
    Upload();
  } else {
    Logger::default_logger()->Error("A constant buffer of %u bytes cannot be made: GL has no buffer for it", size_);
  }
  return buffer_ != 0;
}

void GraphicsConstantBufferGL::Upload() {
  ScopedBuffer bound(GL_UNIFORM_BUFFER, GL_UNIFORM_BUFFER_BINDING, buffer_);
  glBufferData(GL_UNIFORM_BUFFER, size_, shadow_.get(), GL_DYNAMIC_DRAW);
  uploaded_ = true;
  out_of_memory_before_ = GLOutOfMemoryCount();
}

bool GraphicsConstantBufferGL::HasBytes() const { return uploaded_ && out_of_memory_before_ == GLOutOfMemoryCount(); }

void GraphicsConstantBufferGL::Update(const void* data, unsigned int size) {
  if (!data) return;
  // The copy stands under the lock as well, so that two updates at once do not mix.
  GLScope gl(context());
  const std::size_t changed = std::min(size, size_);
  if (HasBytes() && std::memcmp(shadow_.get(), data, changed) == 0) return;
  std::memcpy(shadow_.get(), data, changed);
  uploaded_ = false;
  if (gl.ok() && buffer_) Upload();
}

bool GraphicsConstantBufferGL::Bind(int slot) {
  if (!context() || !buffer_ || !context()->CanDraw("Binding a constant buffer")) return false;
  if (!HasBytes()) Upload();
  // The sum is unsigned, because for the highest slot a signed one would overflow. GL refuses a point that it does not
  // have, and the next check logs that.
  const GLuint point = static_cast<GLuint>(slot) + 1;
  glBindBufferRange(GL_UNIFORM_BUFFER, point, buffer_, 0, size_);
  binding_ = static_cast<int>(point);
  // Nothing has to be claimed at point 0: every draw that has matrices binds them there anew.
  if (binding_ >= 1) context()->AddUboIndex(binding_);
  return true;
}

void GraphicsConstantBufferGL::Unbind() {
  if (!context() || binding_ < 1) return;
  context()->RemoveUboIndex(binding_);
}
