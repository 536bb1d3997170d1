// Native context ownership. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include "foundation/logger.h"

GraphicsContextCGL::GraphicsContextCGL() : fork_count_(os::ForkCount()) {}

GraphicsContextCGL::~GraphicsContextCGL() {
  if (native_) Close();
}

void GraphicsContextCGL::Close() {
  MutexLocker<GraphicsContextGL> lock(*this);
  ReportObjectsLeft();
  const int bound = BindContext();
  if (bound != -1) {
    ReleaseShader();
    ReleaseVertexAttrBuffer();
  }
  if (bound == 1) UnbindContext();
  native_.reset();
}

std::unique_ptr<NativeContext> GraphicsContextCGL::CreateContext(NativeContext* share) {
  NativeContext::Error error = NativeContext::Error::kNone;
  std::unique_ptr<NativeContext> context = NativeContext::Create(share, &error);
  if (error == NativeContext::Error::kNoPixelFormat) {
    Logger::default_logger()->Error("Failed to create pixel format");
  } else if (error == NativeContext::Error::kNoContext) {
    Logger::default_logger()->Error("Failed to create context");
  }
  return context;
}

bool GraphicsContextCGL::Build() {
  native_ = CreateContext(nullptr);
  if (BindContext() == 1) {
    GLint max_size = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &max_size);
    max_texture_size_ = static_cast<unsigned int>(max_size);
    BuildShader();
    BuildVertexAttrBuffer();
    UnbindContext();
  }
  return true;
}

int GraphicsContextCGL::BindContext() {
  if (!available()) return -1;
  if (native_->IsCurrent()) return 0;
  return native_->Bind() ? 1 : -1;
}

void GraphicsContextCGL::UnbindContext() {
  if (native_) native_->Unbind();
}
