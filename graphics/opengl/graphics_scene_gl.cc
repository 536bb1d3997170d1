// Scene targets. Draw is entered by the render thread, the rest by host threads.
#include "graphics/opengl/graphics_scene_gl.h"

#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/graphics_texture_gl.h"

GraphicsSceneGL::GraphicsSceneGL(GraphicsContextGL* context, unsigned int width, unsigned int height)
    : GraphicsSceneImpl(width, height), GLObject(context) {}

GraphicsSceneGL::~GraphicsSceneGL() = default;

bool GraphicsSceneGL::Init() {
  if (!context()) return false;
  texture_ = std::make_unique<GraphicsTextureGL>(context(), width(), height());
  return texture_->Init(true);
}

void GraphicsSceneGL::Attach(DrawCallback* callback) {
  if (!context()) return;
  context()->AddScene(this);
  GraphicsSceneImpl::Attach(callback);
}

void GraphicsSceneGL::Detach() {
  if (!context()) return;
  context()->RemoveScene(this);
  GraphicsSceneImpl::Detach();
}

void GraphicsSceneGL::Draw() {
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
  GraphicsSceneImpl::Draw();
  ScopedBind again(context());  // A host may have made another context current.
  if (!again.ok()) return;
  glDisable(GL_BLEND);
  CheckGLError(__FILE__, __LINE__);
  texture_->ReleaseRenderTarget();
}

GraphicsTexture* GraphicsSceneGL::texture() { return texture_.get(); }
