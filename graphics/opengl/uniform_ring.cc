// Blocks of constants in a mapped buffer. Entered by the thread that has the GL context current.
#include "graphics/opengl/uniform_ring.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr GLbitfield kMapping = GL_MAP_WRITE_BIT | GL_MAP_PERSISTENT_BIT | GL_MAP_COHERENT_BIT;

}  // namespace

void UniformRing::Build(bool available) {
  available_ = available;
  GLint alignment = 0;
  glGetIntegerv(GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT, &alignment);
  alignment_ = std::max(1, alignment);
}

bool UniformRing::MakeBuffer() {
  Release();
  glGenBuffers(1, &buffer_);
  glBindBuffer(GL_UNIFORM_BUFFER, buffer_);
  glBufferStorage(GL_UNIFORM_BUFFER, kBufferSize, nullptr, kMapping);
  mapped_ = static_cast<unsigned char*>(glMapBufferRange(GL_UNIFORM_BUFFER, 0, kBufferSize, kMapping));
  glBindBuffer(GL_UNIFORM_BUFFER, 0);
  if (!mapped_) Release();
  return mapped_ != nullptr;
}

bool UniformRing::Bind(GLuint point, const void* block, GLsizeiptr size) {
  if (!available_) return false;
  if (!mapped_ || next_ + size > kBufferSize) {
    available_ = MakeBuffer();
    if (!available_) return false;
  }
  std::memcpy(mapped_ + next_, block, static_cast<std::size_t>(size));
  glBindBufferRange(GL_UNIFORM_BUFFER, point, buffer_, next_, size);
  next_ += (size + alignment_ - 1) / alignment_ * alignment_;
  return true;
}

void UniformRing::Release() {
  if (buffer_) glDeleteBuffers(1, &buffer_);
  Forget();
}

void UniformRing::Forget() {
  buffer_ = 0;
  mapped_ = nullptr;
  next_ = 0;
}
