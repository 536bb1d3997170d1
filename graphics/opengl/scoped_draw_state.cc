// What a pass in the middle of others finds and gives back. Entered by the thread that has the GL context current.
#include "graphics/opengl/scoped_draw_state.h"

#include <iterator>

namespace {

GLenum Unit(int unit) { return static_cast<GLenum>(GL_TEXTURE0 + unit); }

// What hides or mixes pixels where it is on.
constexpr GLenum kSwitches[] = {GL_BLEND,        GL_COLOR_LOGIC_OP, GL_CULL_FACE, GL_DEPTH_TEST, GL_RASTERIZER_DISCARD,
                                GL_SCISSOR_TEST, GL_STENCIL_TEST};

}  // namespace

ScopedDrawState::ScopedDrawState(const GraphicsContextGL& context) : samplers_exist_(context.has_samplers()) {
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw_target_);
  glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read_target_);
  glGetIntegerv(GL_VIEWPORT, viewport_);
  glGetIntegerv(GL_CURRENT_PROGRAM, &program_);
  glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &vertex_array_);
  glGetIntegerv(GL_ACTIVE_TEXTURE, &active_);
  for (int unit = 0; unit < kUnits; ++unit) {
    glActiveTexture(Unit(unit));
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &textures_[unit]);
    if (!samplers_exist_) continue;
    glGetIntegerv(GL_SAMPLER_BINDING, &samplers_[unit]);
    if (samplers_[unit] != 0) glBindSampler(static_cast<GLuint>(unit), 0);
  }
  for (int i = 0; i < kSwitchCount; ++i) {
    static_assert(std::size(kSwitches) == kSwitchCount);
    on_[i] = glIsEnabled(kSwitches[i]) != GL_FALSE;
    if (on_[i]) glDisable(kSwitches[i]);
  }
  glGetBooleanv(GL_COLOR_WRITEMASK, written_);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glGetIntegerv(GL_POLYGON_MODE, filled_);
  if (filled_[0] != GL_FILL) glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  glGetFloatv(GL_COLOR_CLEAR_VALUE, clear_color_);
}

ScopedDrawState::~ScopedDrawState() {
  glClearColor(clear_color_[0], clear_color_[1], clear_color_[2], clear_color_[3]);
  if (filled_[0] != GL_FILL) glPolygonMode(GL_FRONT_AND_BACK, static_cast<GLenum>(filled_[0]));
  glColorMask(written_[0], written_[1], written_[2], written_[3]);
  for (int i = 0; i < kSwitchCount; ++i) {
    if (on_[i]) glEnable(kSwitches[i]);
  }
  for (int unit = 0; unit < kUnits; ++unit) {
    glActiveTexture(Unit(unit));
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(textures_[unit]));
    if (samplers_[unit] != 0) glBindSampler(static_cast<GLuint>(unit), static_cast<GLuint>(samplers_[unit]));
  }
  glActiveTexture(static_cast<GLenum>(active_));
  glBindVertexArray(static_cast<GLuint>(vertex_array_));
  glUseProgram(static_cast<GLuint>(program_));
  glViewport(viewport_[0], viewport_[1], viewport_[2], viewport_[3]);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(read_target_));
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(draw_target_));
}
