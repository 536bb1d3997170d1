// Textures and render targets; see the header for which thread enters what.
#include "graphics/opengl/graphics_texture_gl.h"

#include <utility>

#include "foundation/logger.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/pixel_format_gl.h"
#include "graphics/opengl/pixel_store.h"
#include "graphics/opengl/scoped_binding.h"

GraphicsTextureGL::GraphicsTextureGL(GraphicsContextGL* context, unsigned int width, unsigned int height)
    : GraphicsTextureGL(context, kFormatRGBA, width, height) {}

GraphicsTextureGL::GraphicsTextureGL(GraphicsContextGL* context, GraphicsFormatInternal format, unsigned int width,
                                     unsigned int height)
    : GraphicsTextureImpl(width, height), GLObject(context) {
  frame_.format = format;
}

GraphicsTextureGL::GraphicsTextureGL(GraphicsContextGL* context, GraphicsFrame&& frame)
    : GraphicsTextureImpl(frame.width, frame.height), GLObject(context), frame_(std::move(frame)) {}

GraphicsTextureGL::~GraphicsTextureGL() {
  GLScope gl(context());
  if (gl.ok()) Delete();
}

void GraphicsTextureGL::Delete() {
  if (frame_buffer_) {
    // Its attachment is gone with it, too. It is not bound for that, because another target may be bound.
    glDeleteFramebuffers(1, &frame_buffer_);
    frame_buffer_ = 0;
    readable_ = false;
  }
  if (texture_) {
    context()->bindings().ForgetTexture(texture_);
    glDeleteTextures(1, &texture_);
    texture_ = 0;
  }
}

bool GraphicsTextureGL::Init(bool render_target) {
  GLScope gl(context());
  if (!gl.ok()) return false;
  Delete();
  const bool created = Create(render_target);
  CheckGLError(__FILE__, __LINE__);
  return created;
}

bool GraphicsTextureGL::Create(bool render_target) {
  glGenTextures(1, &texture_);
  if (!texture_) {
    Logger::default_logger()->Error("GraphicsTextureGL create texture failed");
    return false;
  }
  if (!render_target && iosurface_) return true;  // Its storage comes with Update(image).

  if (!DefineStorage(render_target)) {
    glDeleteTextures(1, &texture_);
    texture_ = 0;
    return false;
  }
  if (!render_target) return true;

  glGenFramebuffers(1, &frame_buffer_);
  if (!frame_buffer_) {
    Logger::default_logger()->Error("GraphicsTextureGL create FrameBuffer failed");
    return false;
  }
  return true;
}

bool GraphicsTextureGL::DefineStorage(bool render_target) {
  const PixelFormatGL layout = PixelFormatGLOf(frame_.format);
  const GLenum storage = render_target ? layout.target : layout.sampled;
  if (storage == 0) return false;
  ScopedTexture bound(GL_TEXTURE_2D, texture_);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  Upload(storage, render_target ? nullptr : frame_.data[0]);
  if (render_target && frame_.format == kFormatR8) CheckGLError(__FILE__, __LINE__);
  return true;
}

void GraphicsTextureGL::Upload(GLenum storage, const unsigned char* pixels) {
  ScopedUnpack unpack;
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(storage), static_cast<GLsizei>(width()),
               static_cast<GLsizei>(height()), 0, storage, GL_UNSIGNED_BYTE, pixels);
}

bool GraphicsTextureGL::CanDraw(const char* operation) const { return context() && context()->CanDraw(operation); }

bool GraphicsTextureGL::BindShaderResource(int slot) {
  if (!CanSample()) return false;
  BindToUnit(slot, texture_);
  return true;
}

bool GraphicsTextureGL::CanSample() const {
  if (texture_) return CanDraw("Binding a texture");
  Logger::default_logger()->Warn("GraphicsTextureGL::BindShaderResource Texture is null");
  return false;
}

void GraphicsTextureGL::BindToUnit(int slot, GLuint name) {
  slot_ = slot;
  glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + slot));
  CheckGLError(__FILE__, __LINE__);
  context()->bindings().BindTexture(slot, {target(), name, width(), height()});
  CheckGLError(__FILE__, __LINE__);
}

void GraphicsTextureGL::ReleaseShaderResource() {
  if (!CanDraw("Releasing a texture")) return;
  // Without a bind, the unit before the first. Kept: C41.
  glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + slot_));
  CheckGLError(__FILE__, __LINE__);
  context()->bindings().UnbindTexture(slot_, target());
  CheckGLError(__FILE__, __LINE__);
}

bool GraphicsTextureGL::BindRenderTarget() {
  if (!frame_buffer_) {
    Logger::default_logger()->Warn("GraphicsTextureGL::BindRenderTarget FrameBuffer is null");
    return false;
  }
  if (!CanDraw("Binding a target")) return false;
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, frame_buffer_);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
  const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status == GL_FRAMEBUFFER_COMPLETE) {
    readable_ = true;
    return true;
  }
  readable_ = false;
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  if (quiet_) return false;
  Logger::default_logger()->Error("frame_buffer status: %d, texture: %d, size: %dx%d", static_cast<int>(status),
                                  static_cast<int>(texture_), static_cast<int>(width()), static_cast<int>(height()));
  return false;
}

void GraphicsTextureGL::ReleaseRenderTarget() {
  if (CanDraw("Releasing a target")) BindNoRenderTarget();
}

void GraphicsTextureGL::BindNoRenderTarget() { glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0); }

bool GraphicsTextureGL::BindReadFrameBuffer() {
  if (!frame_buffer_) {
    // Kept: C5.
    Logger::default_logger()->Warn("GraphicsTextureGL::BindRenderTarget FrameBuffer is null");
    return false;
  }
  if (!CanDraw("Binding a target")) return false;
  glBindFramebuffer(GL_READ_FRAMEBUFFER, frame_buffer_);
  return true;
}

void GraphicsTextureGL::ReleaseReadFrameBuffer() {
  if (CanDraw("Releasing a target")) glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
}

void GraphicsTextureGL::Update(GraphicsFrame&& frame) {
  if (!context()) {
    Keep(std::move(frame));
    return;
  }
  MutexLocker<GraphicsContextGL> lock(*context());
  if (!Keep(std::move(frame)) || !texture_) return;
  ScopedBind bind(context());  // Only now: a frame that is refused costs no change of the current context.
  if (!bind.ok()) return;
  const GLenum storage = PixelFormatGLOf(frame_.format).updated;
  if (storage == 0) return;
  ScopedTexture bound(GL_TEXTURE_2D, texture_);
  Upload(storage, frame_.data[0]);
  CheckGLError(__FILE__, __LINE__);
}

bool GraphicsTextureGL::Keep(GraphicsFrame&& frame) {
  if (frame.format == kFormatUnknown) return false;  // It is empty, and would equal the one held by some textures.
  // Compared with the frame held, not with the texture. Kept: C19.
  if (frame.format != frame_.format || frame.width != frame_.width || frame.height != frame_.height) return false;
  frame_ = std::move(frame);
  return true;
}
