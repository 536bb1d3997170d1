// Scene targets. Draw is entered by the render thread, the rest by host threads.
#include "graphics/opengl/graphics_scene_gl.h"

#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/render_pass.h"

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
  RenderPass::Options options;
  options.blend = true;
  RenderPass pass(context(), texture_.get(), options, __FILE__);
  if (pass.begun()) GraphicsSceneImpl::Draw();
}

GraphicsTexture* GraphicsSceneGL::texture() { return texture_.get(); }
