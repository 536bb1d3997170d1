// Native context ownership. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include "foundation/logger.h"
#include "graphics/opengl/gl_scope.h"

GraphicsContextCGL::~GraphicsContextCGL() {
  if (native_) Close();
}

void GraphicsContextCGL::Close() {
  MutexLocker<GraphicsContextGL> lock(*this);
  ReportObjectsLeft();
  {
    ScopedBind bind(this);
    if (bind.ok()) {
      ReleaseShader();
      ReleaseVertexAttrBuffer();
    } else {
      ForgetObjects();
    }
  }
  SetCanDraw(false);
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
  bool usable = false;
  {
    ScopedBind bind(this);
    usable = bind.ok();
    if (usable) {
      ReadLimits();
      BuildShader();
      BuildVertexAttrBuffer();
    }
  }
  SetCanDraw(usable);
  if (!usable) native_.reset();  // Nothing can be drawn without programs: the device goes on as without a context.
  // Kept: C38.
  return true;
}

// The part of GraphicsContextGL that asks the platform: every GraphicsContextGL is a GraphicsContextCGL.
bool GraphicsContextGL::IsCurrent() const {
  const auto* const context = static_cast<const GraphicsContextCGL*>(this);
  return context->available() && context->native()->IsCurrent();
}

bool GraphicsContextGL::IsBound() const {
  const NativeContext* const native = static_cast<const GraphicsContextCGL*>(this)->native();
  return native && native->IsBound();
}

int GraphicsContextCGL::BindContext() {
  if (!available()) return kBindFailed;
  if (native_->IsCurrent()) return kWasCurrent;
  return native_->Bind() ? kMadeCurrent : kBindFailed;
}

void GraphicsContextCGL::UnbindContext() {
  if (native_) native_->Unbind();
}
