#include "graphics/opengl/gl_version.h"

#include <string>

#include "tests/support/gl_fixture.h"

namespace {

class GLVersionTest : public GlTest {};

TEST_F(GLVersionTest, HasWhatTheVersionOrAnExtensionBrings) {
  const test::CurrentContext current(context());
  EXPECT_TRUE(HasGL(32, "GL_of_nobody"));
  EXPECT_FALSE(HasGL(99, "GL_of_nobody"));
  GLint count = 0;
  glGetIntegerv(GL_NUM_EXTENSIONS, &count);
  ASSERT_GT(count, 0);
  const auto* const last = reinterpret_cast<const char*>(glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(count - 1)));
  EXPECT_TRUE(HasGL(99, last));
  EXPECT_FALSE(HasGL(99, (std::string(last) + "_").c_str()));
}

}  // namespace
