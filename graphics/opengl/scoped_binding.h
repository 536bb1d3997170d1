// Guards that bind a texture or a buffer, and in the end bind again what they found bound.
//
// Textures and buffers are made and updated wherever a host pleases, in the middle of a draw too, so what such work
// binds must not displace what is bound there. The guards ask GL what is bound, which costs time; so drawing itself,
// which happens far more often, binds without them. Used with the context current.
#ifndef QUARN_GRAPHICS_OPENGL_SCOPED_BINDING_H_
#define QUARN_GRAPHICS_OPENGL_SCOPED_BINDING_H_

#include "graphics/opengl/gl.h"

// Binds a texture to the active unit for as long as it lives.
class ScopedTexture {
 public:
  // `target` is GL_TEXTURE_2D or GL_TEXTURE_RECTANGLE.
  ScopedTexture(GLenum target, GLuint texture) : target_(target) {
    glGetIntegerv(target == GL_TEXTURE_2D ? GL_TEXTURE_BINDING_2D : GL_TEXTURE_BINDING_RECTANGLE, &found_);
    glBindTexture(target_, texture);
  }
  ~ScopedTexture() { glBindTexture(target_, static_cast<GLuint>(found_)); }
  ScopedTexture(const ScopedTexture&) = delete;
  ScopedTexture& operator=(const ScopedTexture&) = delete;

 private:
  GLenum target_;
  GLint found_ = 0;
};

// Binds a buffer to a target for as long as it lives; `query` is what GL calls the target's binding.
class ScopedBuffer {
 public:
  ScopedBuffer(GLenum target, GLenum query, GLuint buffer) : target_(target) {
    glGetIntegerv(query, &found_);
    glBindBuffer(target_, buffer);
  }
  ~ScopedBuffer() { glBindBuffer(target_, static_cast<GLuint>(found_)); }
  ScopedBuffer(const ScopedBuffer&) = delete;
  ScopedBuffer& operator=(const ScopedBuffer&) = delete;

 private:
  GLenum target_;
  GLint found_ = 0;
};

// Binds a sampler to the first texture unit, which has none, for as long as it lives; does nothing with 0.
class ScopedSampler {
 public:
  explicit ScopedSampler(GLuint sampler) : sampler_(sampler) {
    if (sampler_) glBindSampler(0, sampler_);
  }
  ~ScopedSampler() {
    if (sampler_) glBindSampler(0, 0);
  }
  ScopedSampler(const ScopedSampler&) = delete;
  ScopedSampler& operator=(const ScopedSampler&) = delete;

 private:
  GLuint sampler_;
};

#endif  // QUARN_GRAPHICS_OPENGL_SCOPED_BINDING_H_
