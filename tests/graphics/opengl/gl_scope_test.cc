#include "graphics/opengl/gl_scope.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;

class GLScopeTest : public GlTest {
 protected:
  // Whether a context is current on this thread.
  static bool Current() { return eglGetCurrentContext() != EGL_NO_CONTEXT; }
};

TEST_F(GLScopeTest, HoldsTheLockAndMakesTheContextCurrent) {
  {
    const GLScope gl(context());
    EXPECT_TRUE(gl.ok());
    EXPECT_TRUE(context()->HeldByCaller());
    EXPECT_TRUE(context()->IsCurrent());
  }
  EXPECT_FALSE(context()->HeldByCaller());
  EXPECT_FALSE(Current());
}

TEST_F(GLScopeTest, InsideOneTheContextStaysCurrent) {
  const GLScope outer(context());
  {
    const GLScope inner(context());
    EXPECT_TRUE(inner.ok());
    const ScopedBind innermost(context());
    EXPECT_TRUE(innermost.ok());
    EXPECT_TRUE(innermost.nested());
  }
  EXPECT_TRUE(context()->HeldByCaller());
  EXPECT_TRUE(context()->IsCurrent());
}

TEST_F(GLScopeTest, TellsThatTheContextCannotBeMadeCurrentAndHoldsTheLockAllTheSame) {
  gl_spy::faults().make_current = true;
  {
    const GLScope gl(context());
    EXPECT_FALSE(gl.ok());
    EXPECT_TRUE(context()->HeldByCaller());
    const ScopedBind bind(context());
    EXPECT_FALSE(bind.ok());
    EXPECT_FALSE(bind.nested());
  }
  gl_spy::faults().make_current = false;
  EXPECT_FALSE(context()->HeldByCaller());
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(GLScopeTest, DoesNothingWithoutAContext) {
  const GLScope gl(nullptr);
  EXPECT_FALSE(gl.ok());
  const ScopedBind bind(nullptr);
  EXPECT_FALSE(bind.ok());
  EXPECT_FALSE(Current());
}

}  // namespace
