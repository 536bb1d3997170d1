// Filter targets. Draw is entered by the render thread, the rest by host threads.
#include "graphics/opengl/graphics_filter_gl.h"

#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/graphics_texture_gl.h"

GraphicsFilterGL::GraphicsFilterGL(GraphicsContextGL* context, unsigned int width, unsigned int height)
    : GraphicsFilterImpl(width, height), GLObject(context) {}

GraphicsFilterGL::~GraphicsFilterGL() { GraphicsFilterGL::Detach(); }

bool GraphicsFilterGL::Init() {
  if (!context()) return false;
  texture_ = std::make_unique<GraphicsTextureGL>(context(), width(), height());
  return texture_->Init(true);
}

void GraphicsFilterGL::Attach(DrawCallback* callback) {
  if (!context()) return;
  context()->AddFilter(this);
  GraphicsFilterImpl::Attach(callback);
}

void GraphicsFilterGL::Detach() {
  if (!context()) return;
  context()->RemoveFilter(this);
  GraphicsFilterImpl::Detach();
}

void GraphicsFilterGL::Draw() {
  if (!context()) return;
  ScopedBind bind(context());
  if (!bind.ok()) return;
  if (!texture_->BindRenderTarget()) return;
  glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
  CheckGLError(__FILE__, __LINE__);
  glClear(GL_COLOR_BUFFER_BIT);
  CheckGLError(__FILE__, __LINE__);
  CheckGLError(__FILE__, __LINE__);  // Each check takes one of the pending errors.
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  CheckGLError(__FILE__, __LINE__);
  GraphicsFilterImpl::Draw();
  ScopedBind again(context());  // A host may have made another context current.
  if (!again.ok()) return;
  glDisable(GL_BLEND);
  CheckGLError(__FILE__, __LINE__);
  texture_->ReleaseRenderTarget();
}

GraphicsTexture* GraphicsFilterGL::texture() { return texture_.get(); }
