#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include <EGL/egl.h>

#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/host_context.h"

namespace {

using test::HostContext;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kNotMadeCurrent[] = "E: Failed to make the context current (EGL error 0x3000)";
constexpr char kCurrentAgain[] = "The context can be made current again";
constexpr char kLost[] =
    "E: The GL context is lost, as when a host terminates its EGL display: the device goes on without pictures, and a "
    "new one will have them again";

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
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
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

TEST_F(GraphicsContextCGLTest, UnbindPutsBackTheHostsOwnContext) {
  const HostContext host(HostContext::Api::kOpenGlEs);
  ASSERT_TRUE(host.IsCurrent());
  ASSERT_EQ(context()->BindContext(), 1);
  EXPECT_FALSE(host.IsCurrent());
  context()->UnbindContext();
  EXPECT_TRUE(host.IsCurrent());
}

TEST_F(GraphicsContextCGLTest, FailedBindLeavesTheHostsOwnContext) {
  const HostContext host(HostContext::Api::kOpenGlEs);
  gl_spy::faults().make_current = true;
  EXPECT_EQ(context()->BindContext(), -1);
  gl_spy::faults().make_current = false;
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
}

TEST_F(GraphicsContextCGLTest, BuildAndDestructionLeaveTheHostsOwnContext) {
  const HostContext host(HostContext::Api::kOpenGlEs);
  {
    GraphicsContextCGL other;
    EXPECT_TRUE(other.Build());
    EXPECT_TRUE(other.available());
    EXPECT_TRUE(host.IsCurrent());
  }
  EXPECT_TRUE(host.IsCurrent());
}

TEST_F(GraphicsContextCGLTest, HostsContextThatIsGoneMeanwhileIsSaid) {
  HostContext host(HostContext::Api::kOpenGlEs);
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

TEST_F(GraphicsContextCGLTest, FailuresInARowAreOneLineAndTheirEndAnother) {
  for (int episode = 0; episode < 2; ++episode) {
    log().Clear();
    gl_spy::faults().make_current = true;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(context()->BindContext(), -1);
    gl_spy::faults().make_current = false;
    EXPECT_FALSE(log().Has(Logger::Level::Info, kCurrentAgain));
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(context()->BindContext(), 1);
      context()->UnbindContext();
    }
    EXPECT_EQ(log().Count(Logger::Level::Info, kCurrentAgain), 1u);
    EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
  }
}

TEST_F(GraphicsContextCGLTest, FailuresOfManyThreadsAreOneLine) {
  gl_spy::faults().make_current = true;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int turn = 0; turn < 100; ++turn) EXPECT_EQ(context()->BindContext(), -1);
      NativeContext::ReleaseThread();
    });
  }
  for (std::thread& thread : threads) thread.join();
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
}

TEST_F(GraphicsContextCGLTest, EachContextTellsOfItsOwnFailures) {
  const std::unique_ptr<NativeContext> views = GraphicsContextCGL::CreateContext(context()->native());
  ASSERT_NE(views, nullptr);
  gl_spy::faults().make_current = true;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(context()->BindContext(), -1);
    EXPECT_FALSE(views->Bind());
  }
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent, kNotMadeCurrent));
  log().Clear();
  ASSERT_TRUE(views->Bind());
  views->Unbind();
  EXPECT_EQ(log().Count(Logger::Level::Info, kCurrentAgain), 1u);
}

// Without a device of the fixture's: it would be lost as well.
class TerminatedDisplayTest : public GlTest {
 protected:
  void SetUp() override {}
};

TEST_F(TerminatedDisplayTest, ContextsAreLostAndSayItOnce) {
  GraphicsContextCGL lost;
  ASSERT_TRUE(lost.Build());
  const std::unique_ptr<NativeContext> view = GraphicsContextCGL::CreateContext(lost.native());
  ASSERT_NE(view, nullptr);
  test::TerminateSharedDisplay();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(lost.BindContext(), -1);
    EXPECT_FALSE(view->Bind());
  }
  EXPECT_THAT(TakeLog(), ElementsAre(kLost)) << "a view's context goes with the device's";
  EXPECT_TRUE(lost.available());
  EXPECT_EQ(GraphicsContextCGL::CreateContext(lost.native()), nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to create context"));
}

TEST_F(TerminatedDisplayTest, IsInitialisedAgainForTheNextDevice) {
  for (int i = 0; i < 3; ++i) {
    GraphicsContextCGL context;
    ASSERT_TRUE(context.Build());
    ASSERT_TRUE(context.available());
    ASSERT_EQ(context.BindContext(), 1);
    EXPECT_TRUE(context.BindShader("rgba"));
    context.UnbindShader();
    context.UnbindContext();
    test::TerminateSharedDisplay();
  }
  EXPECT_THAT(TakeLog(), ElementsAre(kLost, kLost, kLost)) << "each at its end";
}

TEST_F(TerminatedDisplayTest, HandlesOfLostContextsAreUsedNoMore) {
  GraphicsContextCGL after;
  {
    GraphicsContextCGL before;
    ASSERT_TRUE(before.Build());
    const std::unique_ptr<NativeContext> view = GraphicsContextCGL::CreateContext(before.native());
    test::TerminateSharedDisplay();
    EXPECT_TRUE(after.Build());
    ASSERT_EQ(after.BindContext(), 1);
    gl_spy::StartTrace();
    EXPECT_EQ(before.BindContext(), -1) << "what is gone does not come back";
    EXPECT_FALSE(view->Bind());
    EXPECT_THAT(gl_spy::TakeTrace(), IsEmpty());
    EXPECT_EQ(after.BindContext(), 0);
    after.UnbindContext();
  }
  EXPECT_EQ(gl_spy::DestroyedContexts(), 0) << "they may be the new contexts' by now";
  EXPECT_EQ(after.BindContext(), 1);
  after.UnbindContext();
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
}

// A host that sets itself up anew.
TEST_F(TerminatedDisplayTest, DisplayThatTheHostHasInitialisedAgainIsUsedAsItIs) {
  GraphicsContextCGL before;
  ASSERT_TRUE(before.Build());
  test::TerminateSharedDisplay();
  ASSERT_TRUE(eglInitialize(test::SharedDisplay(), nullptr, nullptr));
  EXPECT_EQ(before.BindContext(), -1);
  EXPECT_EQ(before.BindContext(), -1);
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
  GraphicsContextCGL after;
  ASSERT_TRUE(after.Build());
  EXPECT_EQ(after.BindContext(), 1);
  after.UnbindContext();
}

TEST_F(TerminatedDisplayTest, DisplayTerminatedInTheMiddleOfADrawLosesTheContextAfterIt) {
  {
    GraphicsContextCGL context;
    ASSERT_TRUE(context.Build());
    ASSERT_EQ(context.BindContext(), 1);
    test::TerminateSharedDisplay();
    context.UnbindContext();
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
    EXPECT_EQ(context.BindContext(), -1);
  }
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
}

}  // namespace
