// Native context ownership. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include "foundation/logger.h"

GraphicsContextCGL::GraphicsContextCGL() = default;

GraphicsContextCGL::~GraphicsContextCGL() {
  const int bound = BindContext();
  if (bound != -1) {
    ReleaseShader();
    ReleaseVertexAttrBuffer();
  }
  if (bound == 1) UnbindContext();
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
  if (!native_) return -1;
  if (native_->IsCurrent()) return 0;
  native_->Lock();
  if (!native_->MakeCurrent()) {
    native_->Unlock();
    return -1;
  }
  bound_thread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  ++bound_count_;
  return 1;
}

void GraphicsContextCGL::UnbindContext() {
  // Only the thread that holds the native lock may give it back.
  if (!native_ || bound_thread_.load(std::memory_order_relaxed) != std::this_thread::get_id()) return;
  NativeContext::ClearCurrent();
  if (--bound_count_ == 0) bound_thread_.store(std::thread::id(), std::memory_order_relaxed);
  native_->Unlock();
}
