// Scene targets. Draw is entered by the render thread, the rest by host threads.
#include "graphics/opengl/graphics_scene_gl.h"

#include "graphics/opengl/render_pass.h"
#include "graphics/opengl/scene_texture_gl.h"

GraphicsSceneGL::GraphicsSceneGL(GraphicsContextGL* context, unsigned int width, unsigned int height)
    : GraphicsSceneImpl(width, height), GLObject(context) {}

GraphicsSceneGL::~GraphicsSceneGL() {
  if (context()) context()->RemoveScene(this);  // And what is known of it as part of other scenes' pictures.
}

bool GraphicsSceneGL::Init() {
  if (!context()) return false;
  texture_ = std::make_unique<SceneTextureGL>(context(), this, width(), height());
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
  texture_->KeepPicture();
  RenderPass::Options options;
  options.blend = true;
  RenderPass pass(context(), texture_.get(), options, __FILE__);
  if (!pass.begun()) return;
  texture_->NoteDrawn();
  GraphicsSceneImpl::Draw();
}

GraphicsTexture* GraphicsSceneGL::texture() { return texture_.get(); }
