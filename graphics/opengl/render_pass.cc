// The calls of a pass. Render thread, with the GL context current.
#include "graphics/opengl/render_pass.h"

#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/graphics_texture_gl.h"

RenderPass::RenderPass(GraphicsContextGL* context, GraphicsTextureGL* target, const Options& options, const char* file,
                       int line)
    : context_(context), options_(options), file_(file), line_(line), begun_(target->BindRenderTarget()) {
  if (!begun_) return;
  if (options.whole_viewport) context->SetViewPort(0, 0, target->width(), target->height());
  const std::array<float, 4>& color = options.clear_color;
  glClearColor(color[0], color[1], color[2], color[3]);
  Check();
  glClear(GL_COLOR_BUFFER_BIT);
  Check();
  if (!options.blend) return;
  if (!options.check_each_call) Check();  // Each check takes one of the pending errors.
  glEnable(GL_BLEND);
  if (options.check_each_call) Check();
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  Check();
}

RenderPass::~RenderPass() {
  if (!begun_ || !EndDrawing()) return;
  // What the target's ReleaseRenderTarget does; the target itself may be gone, for a callback of the host's may have
  // resized what it belongs to.
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  if (options_.check_each_call) Check();
}

bool RenderPass::EndDrawing() {
  if (again_) return again_->ok();
  again_.emplace(context_);  // A host may have made another context current.
  if (!again_->ok()) return false;
  if (options_.check_each_call) Check();
  if (!options_.blend) return true;
  glDisable(GL_BLEND);
  Check();
  return true;
}

void RenderPass::Check() const { CheckGLError(file_, line_); }
