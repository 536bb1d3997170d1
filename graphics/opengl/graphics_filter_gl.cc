// Filter targets. Draw is entered by the render thread, the rest by host threads.
#include "graphics/opengl/graphics_filter_gl.h"

#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/render_pass.h"

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
  RenderPass::Options options;
  options.blend = true;
  RenderPass pass(context(), texture_.get(), options, __FILE__);
  if (pass.begun()) GraphicsFilterImpl::Draw();
}

GraphicsTexture* GraphicsFilterGL::texture() { return texture_.get(); }
