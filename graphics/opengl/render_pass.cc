// The calls of a pass. Render thread, with the GL context current.
#include "graphics/opengl/render_pass.h"

#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/graphics_texture_gl.h"

// Each check stands in a line of its own, and hands that line on: by it a log line tells which check has spoken.

RenderPass::RenderPass(GraphicsContextGL* context, GraphicsTextureGL* target, const Options& options, const char* file)
    : context_(context), options_(options), file_(file), begun_(target->BindRenderTarget()) {
  if (!begun_) return;
  context->bindings().BeginPass();
  if (options.whole_viewport) context->SetViewPort(0, 0, target->width(), target->height());
  if (options.clear) {
    const std::array<float, 4>& color = options.clear_color;
    glClearColor(color[0], color[1], color[2], color[3]);
    Check(__LINE__);
    glClear(GL_COLOR_BUFFER_BIT);
    Check(__LINE__);
  }
  if (!options.blend) return;
  if (!options.check_each_call) Check(__LINE__);  // Each check takes one of the pending errors.
  glEnable(GL_BLEND);
  if (options.check_each_call) Check(__LINE__);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  Check(__LINE__);
}

RenderPass::~RenderPass() {
  if (!begun_) return;
  const bool ended = EndDrawing();
  context_->bindings().EndPass(ended);
  if (!ended) return;
  // The target is not asked: it may be gone, for a callback of the host's may have resized what it belongs to.
  GraphicsTextureGL::BindNoRenderTarget();
  if (options_.check_each_call) Check(__LINE__);
}

bool RenderPass::EndDrawing() {
  if (again_) return again_->ok();
  again_.emplace(context_);  // A host may have made another context current.
  if (!again_->ok()) return false;
  if (options_.check_each_call) Check(__LINE__);
  if (!options_.blend) return true;
  glDisable(GL_BLEND);
  Check(__LINE__);
  return true;
}

bool RenderPass::DrawsWhole(const GraphicsContextGL& context) {
  for (const GLenum state : {GL_BLEND, GL_COLOR_LOGIC_OP, GL_CULL_FACE, GL_RASTERIZER_DISCARD, GL_SCISSOR_TEST}) {
    if (glIsEnabled(state)) return false;
  }
  GLint sampler = 0;
  if (context.has_samplers()) glGetIntegerv(GL_SAMPLER_BINDING, &sampler);
  if (sampler != 0) return false;
  GLboolean written[4];  // Red, green, blue, alpha.
  glGetBooleanv(GL_COLOR_WRITEMASK, written);
  GLint filled[2] = {GL_FILL, GL_FILL};
  glGetIntegerv(GL_POLYGON_MODE, filled);
  return written[0] && written[1] && written[2] && written[3] && filled[0] == GL_FILL;
}

void RenderPass::Check(int line) const { CheckGLError(file_, line); }
