// What a pass finds and leaves in the middle of others. The whole of it, in a host's Draw, is in
// tests/public/public_video_test.cc.
#include "graphics/opengl/scoped_draw_state.h"

#include "graphics/opengl/render_pass.h"
#include "tests/support/gl_fixture.h"

namespace {

class ScopedDrawStateTest : public GlTest {
 protected:
  static GLint Get(GLenum name) {
    GLint value = -1;
    glGetIntegerv(name, &value);
    return value;
  }
};

TEST_F(ScopedDrawStateTest, APassInAPassLeavesTheOuterOnesTarget) {
  GraphicsTextureGL outer(context(), 4, 4), inner(context(), 2, 2);
  ASSERT_TRUE(outer.Init(true));
  ASSERT_TRUE(inner.Init(true));
  const test::CurrentContext current(context());
  RenderPass::Options options;
  options.blend = true;
  options.whole_viewport = true;
  const RenderPass pass(context(), &outer, options, __FILE__);
  const GLint target = Get(GL_DRAW_FRAMEBUFFER_BINDING);
  {
    const ScopedDrawState found(*context());
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    EXPECT_TRUE(RenderPass::DrawsWhole(*context()));
    RenderPass::Options red;
    red.clear_color = {1, 0, 0, 1};
    red.whole_viewport = true;
    const RenderPass nested(context(), &inner, red, __FILE__);
    EXPECT_TRUE(nested.begun());
    EXPECT_NE(Get(GL_DRAW_FRAMEBUFFER_BINDING), target);
  }
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), target);
  EXPECT_TRUE(glIsEnabled(GL_BLEND));
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_EQ(viewport[2], 4);
  GLfloat color[4] = {};
  glGetFloatv(GL_COLOR_CLEAR_VALUE, color);
  EXPECT_EQ(color[0], 0.0f);
}

TEST_F(ScopedDrawStateTest, TexturesOfTheFirstUnitsAreFoundAgain) {
  const test::CurrentContext current(context());
  GLuint textures[ScopedDrawState::kUnits];
  glGenTextures(ScopedDrawState::kUnits, textures);
  const auto bind = [](int unit, GLuint texture) {
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    glBindTexture(GL_TEXTURE_2D, texture);
  };
  for (int unit = 0; unit < ScopedDrawState::kUnits; ++unit) bind(unit, textures[unit]);
  glActiveTexture(GL_TEXTURE1);
  {
    const ScopedDrawState found(*context());
    for (int unit = 0; unit < ScopedDrawState::kUnits; ++unit) bind(unit, 0);
  }
  EXPECT_EQ(Get(GL_ACTIVE_TEXTURE), GL_TEXTURE1);
  for (int unit = 0; unit < ScopedDrawState::kUnits; ++unit) {
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    EXPECT_EQ(Get(GL_TEXTURE_BINDING_2D), static_cast<GLint>(textures[unit])) << "unit " << unit;
  }
  glActiveTexture(GL_TEXTURE0);
  glDeleteTextures(ScopedDrawState::kUnits, textures);
}

TEST_F(ScopedDrawStateTest, WhatStandsBetweenAPassAndItsTargetIsPutAsideAndBack) {
  const test::CurrentContext current(context());
  glEnable(GL_SCISSOR_TEST);
  glEnable(GL_CULL_FACE);
  glColorMask(GL_FALSE, GL_TRUE, GL_TRUE, GL_FALSE);
  glPolygonMode(GL_FRONT_AND_BACK, GL_POINT);
  {
    const ScopedDrawState found(*context());
    EXPECT_TRUE(RenderPass::DrawsWhole(*context()));
  }
  EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
  EXPECT_TRUE(glIsEnabled(GL_CULL_FACE));
  GLboolean written[4] = {};
  glGetBooleanv(GL_COLOR_WRITEMASK, written);
  EXPECT_FALSE(written[0]);
  EXPECT_TRUE(written[1]);
  EXPECT_FALSE(written[3]);
  GLint filled[2] = {};  // Drivers answer one or two.
  glGetIntegerv(GL_POLYGON_MODE, filled);
  EXPECT_EQ(filled[0], GL_POINT);
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
}

}  // namespace
