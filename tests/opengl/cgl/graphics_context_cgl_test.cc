#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;

using GraphicsContextCGLTest = GlTest;

TEST_F(GraphicsContextCGLTest, IsCoreProfileOfAtLeast32) {
  const test::CurrentContext current(context());
  GLint major = 0;
  GLint minor = 0;
  GLint profile = 0;
  glGetIntegerv(GL_MAJOR_VERSION, &major);
  glGetIntegerv(GL_MINOR_VERSION, &minor);
  glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
  EXPECT_GE(major * 10 + minor, 32);
  EXPECT_EQ(profile, GL_CONTEXT_CORE_PROFILE_BIT);
  EXPECT_GT(context()->max_texture_size(), 0u);
}

TEST_F(GraphicsContextCGLTest, BuildLeavesNoContextCurrent) {
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_TRUE(context()->available());
}

TEST_F(GraphicsContextCGLTest, IsInertBeforeBuild) {
  GraphicsContextCGL unbuilt;
  EXPECT_FALSE(unbuilt.available());
  EXPECT_EQ(unbuilt.BindContext(), -1);
  unbuilt.UnbindContext();
}

TEST_F(GraphicsContextCGLTest, BindTellsWhoMadeTheContextCurrent) {
  EXPECT_EQ(context()->BindContext(), 1);
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(context()->BindContext(), 0);
  EXPECT_EQ(context()->BindContext(), 0);
  context()->UnbindContext();
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(context()->BindContext(), 1);
  context()->UnbindContext();
}

TEST_F(GraphicsContextCGLTest, FailedBindHoldsNothing) {
  gl_spy::faults().make_current = true;
  EXPECT_EQ(context()->BindContext(), -1);
  context()->UnbindContext();
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  // Another thread would wait here for ever if this one held the lock.
  std::thread other([this] {
    EXPECT_EQ(context()->BindContext(), 1);
    context()->UnbindContext();
  });
  other.join();
}

TEST_F(GraphicsContextCGLTest, UnbindWithoutBindDoesNothing) {
  context()->UnbindContext();
  ASSERT_EQ(context()->BindContext(), 1);
  std::thread other([this] { context()->UnbindContext(); });
  other.join();
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "the other thread gave back what it did not hold";
  EXPECT_EQ(context()->BindContext(), 0);
  context()->UnbindContext();
  context()->UnbindContext();
  EXPECT_EQ(context()->BindContext(), 1);
  context()->UnbindContext();
}

TEST_F(GraphicsContextCGLTest, ThreadsTakeTurns) {
  constexpr int kTurns = 200;
  int turns = 0;  // Not atomic: the context's own lock is what keeps the two apart.
  const auto work = [&] {
    for (int i = 0; i < kTurns; ++i) {
      ASSERT_EQ(context()->BindContext(), 1);
      GLuint buffer = 0;
      glGenBuffers(1, &buffer);
      EXPECT_NE(buffer, 0u);
      glDeleteBuffers(1, &buffer);
      ++turns;
      context()->UnbindContext();
    }
    NativeContext::ReleaseThread();
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(turns, 2 * kTurns);
}

TEST_F(GraphicsContextCGLTest, HostThatTakesTheContextAwayLeavesTheLockInOrder) {
  ASSERT_EQ(context()->BindContext(), 1);
  NativeContext::ClearCurrent();  // As a host's callback may.
  ASSERT_EQ(context()->BindContext(), 1);
  context()->UnbindContext();
  context()->UnbindContext();
  std::thread other([this] {
    EXPECT_EQ(context()->BindContext(), 1);
    context()->UnbindContext();
  });
  other.join();
}

// A context of a host's own, for another API than the library's, current on this thread.
class HostContext {
 public:
  HostContext() {
    const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    display_ = get(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    eglInitialize(display_, nullptr, nullptr);
    eglBindAPI(EGL_OPENGL_ES_API);
    const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    context_ = eglCreateContext(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
    EXPECT_TRUE(eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_));
  }
  ~HostContext() {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    Destroy();
    eglReleaseThread();
  }
  void Destroy() {
    if (context_ != EGL_NO_CONTEXT) eglDestroyContext(display_, context_);
    context_ = EGL_NO_CONTEXT;
  }
  bool IsCurrent() const { return eglGetCurrentContext() == context_ && eglQueryAPI() == EGL_OPENGL_ES_API; }

 private:
  EGLDisplay display_;
  EGLContext context_;
};

TEST_F(GraphicsContextCGLTest, UnbindPutsBackTheHostsOwnContext) {
  const HostContext host;
  ASSERT_TRUE(host.IsCurrent());
  ASSERT_EQ(context()->BindContext(), 1);
  EXPECT_FALSE(host.IsCurrent());
  context()->UnbindContext();
  EXPECT_TRUE(host.IsCurrent());
}

TEST_F(GraphicsContextCGLTest, FailedBindLeavesTheHostsOwnContext) {
  const HostContext host;
  gl_spy::faults().make_current = true;
  EXPECT_EQ(context()->BindContext(), -1);
  gl_spy::faults().make_current = false;
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(GraphicsContextCGLTest, BuildAndDestructionLeaveTheHostsOwnContext) {
  const HostContext host;
  {
    GraphicsContextCGL other;
    EXPECT_TRUE(other.Build());
    EXPECT_TRUE(other.available());
    EXPECT_TRUE(host.IsCurrent());
  }
  EXPECT_TRUE(host.IsCurrent());
}

TEST_F(GraphicsContextCGLTest, HostsContextThatIsGoneMeanwhileIsSaid) {
  HostContext host;
  ASSERT_EQ(context()->BindContext(), 1);
  host.Destroy();
  context()->UnbindContext();
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_THAT(TakeLog(), ElementsAre("E: The host's GL context could not be made current again"));
}

TEST_F(GraphicsContextCGLTest, SharedContextSeesTexturesOfTheOther) {
  NativeContext::Error error = NativeContext::Error::kNoContext;
  const std::unique_ptr<NativeContext> first = NativeContext::Create(nullptr, &error);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(error, NativeContext::Error::kNone);
  const std::unique_ptr<NativeContext> second = GraphicsContextCGL::CreateContext(first.get());
  ASSERT_NE(second, nullptr);
  ASSERT_TRUE(first->Bind());
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glFinish();
  ASSERT_TRUE(second->Bind());
  EXPECT_FALSE(first->IsCurrent());
  EXPECT_TRUE(second->IsCurrent());
  EXPECT_TRUE(glIsTexture(texture));
  glDeleteTextures(1, &texture);
  second->Unbind();
  EXPECT_TRUE(first->IsCurrent());
  first->Unbind();
  EXPECT_FALSE(first->IsCurrent());
}

TEST_F(GraphicsContextCGLTest, DestructionDeletesItsObjects) {
  const int before = gl_spy::LiveObjects();
  {
    GraphicsContextCGL other;
    EXPECT_TRUE(other.Build());
    EXPECT_GT(gl_spy::LiveObjects(), before);
  }
  EXPECT_EQ(gl_spy::LiveObjects(), before);
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

}  // namespace
