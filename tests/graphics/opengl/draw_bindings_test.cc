#include "graphics/opengl/draw_bindings.h"

#include "tests/support/gl_fixture.h"

namespace {

class DrawBindingsTest : public GlTest {
 protected:
  void SetUp() override {
    GlTest::SetUp();
    current_ = std::make_unique<test::CurrentContext>(context());
    glGenTextures(2, names_);
    glActiveTexture(GL_TEXTURE0);
  }
  void TearDown() override {
    glDeleteTextures(2, names_);
    current_.reset();
    GlTest::TearDown();
  }

  static GLuint Bound(GLenum binding) {
    GLint name = 0;
    glGetIntegerv(binding, &name);
    return static_cast<GLuint>(name);
  }
  static GLuint Texture() { return Bound(GL_TEXTURE_BINDING_2D); }
  DrawBindings::Texture Plane(int i) const { return {GL_TEXTURE_2D, names_[i], 4, 3}; }

  DrawBindings bindings_;
  GLuint names_[2];

 private:
  std::unique_ptr<test::CurrentContext> current_;
};

TEST_F(DrawBindingsTest, GiveBackAtOnceOutsideOfAPass) {
  bindings_.BindTexture(0, Plane(0));
  EXPECT_EQ(Texture(), names_[0]);
  EXPECT_EQ(bindings_.bound(0).name, names_[0]);
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  EXPECT_EQ(Texture(), 0u);
  EXPECT_EQ(bindings_.bound(0).target, 0u);
}

TEST_F(DrawBindingsTest, TextureLingersToTheEndOfTheOutermostPass) {
  bindings_.BeginPass();
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  EXPECT_EQ(bindings_.bound(0).target, 0u) << "it has been given back";
  EXPECT_EQ(Texture(), names_[0]);
  bindings_.EndPass(true);
  EXPECT_EQ(Texture(), names_[0]);
  bindings_.EndPass(true);
  EXPECT_EQ(Texture(), 0u);
}

TEST_F(DrawBindingsTest, DrawFindsNoTextureThatLingers) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  glActiveTexture(GL_TEXTURE2);
  bindings_.GiveBackTextures();
  EXPECT_EQ(Bound(GL_ACTIVE_TEXTURE), static_cast<GLuint>(GL_TEXTURE2)) << "the active unit is the caller's";
  glActiveTexture(GL_TEXTURE0);
  EXPECT_EQ(Texture(), 0u);
  bindings_.EndPass(true);
}

TEST_F(DrawBindingsTest, AnotherTextureTakesItsPlace) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  bindings_.BindTexture(0, Plane(1));
  EXPECT_EQ(Texture(), names_[1]);
  bindings_.GiveBackTextures();
  EXPECT_EQ(Texture(), names_[1]) << "this one is in use";
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  const GLuint external = names_[0];
  glDeleteTextures(1, &external);
  glGenTextures(1, names_);
  bindings_.BindTexture(0, {GL_TEXTURE_RECTANGLE, names_[0], 4, 3});
  EXPECT_EQ(Texture(), 0u) << "nothing lingers beside one of another target";
  EXPECT_EQ(Bound(GL_TEXTURE_BINDING_RECTANGLE), names_[0]);
  bindings_.UnbindTexture(0, GL_TEXTURE_RECTANGLE);
  bindings_.EndPass(true);
  EXPECT_EQ(Bound(GL_TEXTURE_BINDING_RECTANGLE), 0u);
}

// A host's own GL between two items.
TEST_F(DrawBindingsTest, TextureIsBoundThatAHostHasReplaced) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, names_[1]);
  bindings_.BindTexture(0, Plane(0));
  EXPECT_EQ(Texture(), names_[0]);
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  bindings_.EndPass(true);
  EXPECT_EQ(Texture(), 0u);
}

TEST_F(DrawBindingsTest, TextureThatAHostHasBoundInPlaceOfOneThatLingersIsDrawn) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, names_[1]);
  bindings_.GiveBackTextures();
  EXPECT_EQ(Texture(), names_[1]);
  bindings_.EndPass(true);
  EXPECT_EQ(Texture(), names_[1]);
  glBindTexture(GL_TEXTURE_2D, 0);
}

TEST_F(DrawBindingsTest, DeletedTextureLingersNoMore) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  bindings_.BindTexture(1, Plane(0));
  bindings_.ForgetTexture(names_[0]);
  EXPECT_EQ(bindings_.bound(1).name, 0u);
  bindings_.GiveBackTextures();
  EXPECT_EQ(Texture(), names_[0]) << "it may be another of the same name by now";
  bindings_.EndPass(true);
  glBindTexture(GL_TEXTURE_2D, 0);
}

TEST_F(DrawBindingsTest, UnitsThatNoProgramReadsAreGivenBackAtOnce) {
  bindings_.BeginPass();
  for (const int unit : {DrawBindings::kUnits, -1}) {
    bindings_.BindTexture(unit, Plane(0));
    EXPECT_EQ(Texture(), names_[0]) << "of the active unit";
    bindings_.UnbindTexture(unit, GL_TEXTURE_2D);
    EXPECT_EQ(Texture(), 0u);
  }
  bindings_.EndPass(true);
}

TEST_F(DrawBindingsTest, PassWhoseContextIsGoneLeavesItToTheNext) {
  bindings_.BeginPass();
  bindings_.BindTexture(0, Plane(0));
  bindings_.UnbindTexture(0, GL_TEXTURE_2D);
  bindings_.EndPass(false);
  EXPECT_EQ(Texture(), names_[0]);
  bindings_.BeginPass();
  bindings_.EndPass(true);
  EXPECT_EQ(Texture(), 0u);
}

TEST_F(DrawBindingsTest, ProgramLingersLikewise) {
  ASSERT_TRUE(context()->BindShader("rgba"));
  const GLuint program = Bound(GL_CURRENT_PROGRAM);
  ASSERT_NE(program, 0u);
  bindings_.BeginPass();
  bindings_.UnbindProgram();
  EXPECT_EQ(Bound(GL_CURRENT_PROGRAM), program);
  bindings_.ReplaceProgram();
  bindings_.EndPass(true);
  EXPECT_EQ(Bound(GL_CURRENT_PROGRAM), program) << "it is in use again";
  bindings_.BeginPass();
  bindings_.UnbindProgram();
  bindings_.EndPass(true);
  EXPECT_EQ(Bound(GL_CURRENT_PROGRAM), 0u);
  ASSERT_TRUE(context()->BindShader("rgba"));
  bindings_.UnbindProgram();
  EXPECT_EQ(Bound(GL_CURRENT_PROGRAM), 0u) << "outside of a pass";
  context()->UnbindShader();
}

}  // namespace
