#include "graphics/opengl/cgl/graphics_context_cgl.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/gl_watch.h"
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
  EXPECT_EQ(unbuilt.BindContext(), GraphicsContextGL::kBindFailed);
  unbuilt.UnbindContext();
}

TEST_F(GraphicsContextCGLTest, BindTellsWhoMadeTheContextCurrent) {
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent);
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent);
  context()->UnbindContext();
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  context()->UnbindContext();
}

TEST_F(GraphicsContextCGLTest, FailedBindHoldsNothing) {
  gl_spy::faults().make_current = true;
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kBindFailed);
  context()->UnbindContext();
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
  // Another thread would wait here for ever if this one held the lock.
  std::thread other([this] {
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
    context()->UnbindContext();
  });
  other.join();
}

TEST_F(GraphicsContextCGLTest, UnbindWithoutBindDoesNothing) {
  context()->UnbindContext();
  ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  std::thread other([this] { context()->UnbindContext(); });
  other.join();
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "the other thread gave back what it did not hold";
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent);
  context()->UnbindContext();
  context()->UnbindContext();
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  context()->UnbindContext();
}

TEST_F(GraphicsContextCGLTest, ThreadsTakeTurns) {
  constexpr int kTurns = 200;
  int turns = 0;  // Not atomic: the context's own lock is what keeps the two apart.
  const auto work = [&] {
    for (int i = 0; i < kTurns; ++i) {
      ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
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
  ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  NativeContext::ClearCurrent();  // As a host's callback may.
  ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  context()->UnbindContext();
  context()->UnbindContext();
  std::thread other([this] {
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
    context()->UnbindContext();
  });
  other.join();
}

TEST_F(GraphicsContextCGLTest, UnbindPutsBackTheHostsOwnContext) {
  const HostContext host(HostContext::Api::kOpenGlEs);
  ASSERT_TRUE(host.IsCurrent());
  ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  EXPECT_FALSE(host.IsCurrent());
  context()->UnbindContext();
  EXPECT_TRUE(host.IsCurrent());
}

TEST_F(GraphicsContextCGLTest, FailedBindLeavesTheHostsOwnContext) {
  const HostContext host(HostContext::Api::kOpenGlEs);
  gl_spy::faults().make_current = true;
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kBindFailed);
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
  ASSERT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
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

// What a host's own context holds, some of it under every name that the library's objects may have in theirs.
class HostObjects {
 public:
  HostObjects() {
    for (GLuint& program : programs_) program = glCreateProgram();
    glGenBuffers(kCount, buffers_);
    glGenTextures(kCount, textures_);
    for (int i = 0; i < kCount; ++i) {
      glBindBuffer(GL_ARRAY_BUFFER, buffers_[i]);
      glBindTexture(GL_TEXTURE_2D, textures_[i]);
    }
    glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_2D, textures_[0]);
    glBindBufferRange(GL_UNIFORM_BUFFER, 1, buffers_[0], 0, 16);
    glViewport(1, 2, 3, 4);
    glEnable(GL_BLEND);
  }
  // Whether all of it is as it was.
  ::testing::AssertionResult Untouched() const {
    for (int i = 0; i < kCount; ++i) {
      if (!glIsProgram(programs_[i])) return ::testing::AssertionFailure() << "program " << programs_[i];
      if (!glIsBuffer(buffers_[i])) return ::testing::AssertionFailure() << "buffer " << buffers_[i];
      if (!glIsTexture(textures_[i])) return ::testing::AssertionFailure() << "texture " << textures_[i];
    }
    if (Value(GL_ACTIVE_TEXTURE) != GL_TEXTURE2) return ::testing::AssertionFailure() << "the active unit";
    if (Value(GL_TEXTURE_BINDING_2D) != static_cast<GLint>(textures_[0])) {
      return ::testing::AssertionFailure() << "the bound texture";
    }
    GLint buffer = 0;
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, 1, &buffer);
    if (buffer != static_cast<GLint>(buffers_[0])) return ::testing::AssertionFailure() << "the bound buffer";
    if (Value(GL_DRAW_FRAMEBUFFER_BINDING) != 0) return ::testing::AssertionFailure() << "the framebuffer";
    if (Value(GL_CURRENT_PROGRAM) != 0) return ::testing::AssertionFailure() << "the program";
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    if (viewport[0] != 1 || viewport[3] != 4) return ::testing::AssertionFailure() << "the viewport";
    if (!glIsEnabled(GL_BLEND)) return ::testing::AssertionFailure() << "blending";
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR) return ::testing::AssertionFailure() << "an error, " << error;
    return ::testing::AssertionSuccess();
  }

 private:
  static constexpr int kCount = 64;
  static GLint Value(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
  }

  GLuint programs_[kCount];
  GLuint buffers_[kCount];
  GLuint textures_[kCount];
};

TEST_F(GraphicsContextCGLTest, EndWithoutBeingCurrentDeletesNothingOfTheHosts) {
  const test::WrongOnPurpose wrong;  // Objects go with their contexts, the host's and the other's.
  const int objects = gl_spy::LiveObjects();
  {
    const HostContext host;
    const HostObjects host_objects;
    {
      GraphicsContextCGL other;
      ASSERT_TRUE(other.Build());
      gl_spy::faults().make_current = true;
    }
    gl_spy::faults().make_current = false;
    EXPECT_TRUE(host_objects.Untouched());
    EXPECT_TRUE(host.IsCurrent());
  }
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
  gl_spy::SetLiveObjects(objects);  // They went with their contexts.
}

// Everything that a host can reach, at a time when it must not.
TEST_F(GraphicsContextCGLTest, DrawingOutOfTimeLeavesTheHostsContextAlone) {
  GraphicsTextureGL target(context(), 4, 4);
  GraphicsTextureGL texture(context(), GraphicsFrame(kFormatRGBA, 4, 4));
  GraphicsConstantBufferGL constants(context(), 16);
  ASSERT_TRUE(target.Init(true));
  ASSERT_TRUE(texture.Init(false));
  ASSERT_TRUE(constants.Init());
  const auto draw = [&] {
    context()->SetViewPort(0, 0, 4, 4);
    const bool bound = context()->BindShader("rgba");
    EXPECT_EQ(target.BindRenderTarget(), bound);
    EXPECT_EQ(texture.BindShaderResource(0), bound);
    EXPECT_EQ(constants.Bind(0), bound);
    context()->DrawRect(internal_vec2(4, 4), internal_vec2(4, 4));
    constants.Unbind();
    texture.ReleaseShaderResource();
    context()->UnbindShader();
    target.ReleaseRenderTarget();
    EXPECT_EQ(target.BindReadFrameBuffer(), bound);
    target.ReleaseReadFrameBuffer();
    return bound;
  };
  {
    const test::CurrentContext current(context());
    ASSERT_TRUE(draw());  // So that what the first draw makes is there when objects are counted.
  }
  const int drawn = gl_spy::Draws();
  const int alive = gl_spy::LiveObjects();
  {
    const test::WrongOnPurpose wrong;  // The host's objects go with its context.
    HostContext host;
    const HostObjects host_objects;
    EXPECT_FALSE(draw());
    EXPECT_FALSE(draw());
    EXPECT_TRUE(host_objects.Untouched());
    std::thread other([&] { EXPECT_FALSE(draw()); });
    other.join();
    EXPECT_EQ(gl_spy::Draws(), drawn);
    EXPECT_THAT(TakeLog(), ElementsAre("E: SetViewport does nothing: the device's GL context is not current on this "
                                       "thread; draw inside a Draw, TickSource, OnTexture or queued task"));
    // Nor does it draw in the middle of a callback that has made the host's context current.
    const test::CurrentContext current(context());
    const EGLContext own = eglGetCurrentContext();
    EXPECT_TRUE(draw());
    host.MakeCurrent();
    EXPECT_FALSE(draw());
    EXPECT_TRUE(host_objects.Untouched());
    eglBindAPI(EGL_OPENGL_API);
    eglMakeCurrent(test::SharedDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, own);
    EXPECT_TRUE(draw());
  }
  gl_spy::SetLiveObjects(alive);
  EXPECT_GT(gl_spy::Draws(), drawn);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsContextCGLTest, FailuresInARowAreOneLineAndTheirEndAnother) {
  for (int episode = 0; episode < 2; ++episode) {
    log().Clear();
    gl_spy::faults().make_current = true;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kBindFailed);
    gl_spy::faults().make_current = false;
    EXPECT_FALSE(log().Has(Logger::Level::Info, kCurrentAgain));
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
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
      for (int turn = 0; turn < 100; ++turn) EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kBindFailed);
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
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kBindFailed);
    EXPECT_FALSE(views->Bind());
  }
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent, kNotMadeCurrent));
  log().Clear();
  ASSERT_TRUE(views->Bind());
  views->Unbind();
  EXPECT_EQ(log().Count(Logger::Level::Info, kCurrentAgain), 1u);
}

TEST_F(GraphicsContextCGLTest, FirstMakeCurrentThatFailsLeavesItUnavailable) {
  GraphicsContextCGL other;
  gl_spy::faults().make_current = true;
  EXPECT_TRUE(other.Build());
  gl_spy::faults().make_current = false;
  EXPECT_FALSE(other.available());
  EXPECT_EQ(other.native(), nullptr);
  EXPECT_EQ(other.BindContext(), GraphicsContextGL::kBindFailed);
  EXPECT_FALSE(other.BindShader("rgba"));
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
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
    EXPECT_EQ(lost.BindContext(), GraphicsContextGL::kBindFailed);
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
    ASSERT_EQ(context.BindContext(), GraphicsContextGL::kMadeCurrent);
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
    ASSERT_EQ(after.BindContext(), GraphicsContextGL::kMadeCurrent);
    gl_spy::StartTrace();
    EXPECT_EQ(before.BindContext(), GraphicsContextGL::kBindFailed) << "what is gone does not come back";
    EXPECT_FALSE(view->Bind());
    EXPECT_THAT(gl_spy::TakeTrace(), IsEmpty());
    EXPECT_EQ(after.BindContext(), GraphicsContextGL::kWasCurrent);
    after.UnbindContext();
  }
  EXPECT_EQ(gl_spy::DestroyedContexts(), 0) << "they may be the new contexts' by now";
  EXPECT_EQ(after.BindContext(), GraphicsContextGL::kMadeCurrent);
  after.UnbindContext();
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
}

// A host that sets itself up anew.
TEST_F(TerminatedDisplayTest, DisplayThatTheHostHasInitialisedAgainIsUsedAsItIs) {
  GraphicsContextCGL before;
  ASSERT_TRUE(before.Build());
  test::TerminateSharedDisplay();
  ASSERT_TRUE(eglInitialize(test::SharedDisplay(), nullptr, nullptr));
  EXPECT_EQ(before.BindContext(), GraphicsContextGL::kBindFailed);
  EXPECT_EQ(before.BindContext(), GraphicsContextGL::kBindFailed);
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
  GraphicsContextCGL after;
  ASSERT_TRUE(after.Build());
  EXPECT_EQ(after.BindContext(), GraphicsContextGL::kMadeCurrent);
  after.UnbindContext();
}

TEST_F(TerminatedDisplayTest, DisplayTerminatedInTheMiddleOfADrawLosesTheContextAfterIt) {
  {
    GraphicsContextCGL context;
    ASSERT_TRUE(context.Build());
    ASSERT_EQ(context.BindContext(), GraphicsContextGL::kMadeCurrent);
    test::TerminateSharedDisplay();
    context.UnbindContext();
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
    EXPECT_EQ(context.BindContext(), GraphicsContextGL::kBindFailed);
  }
  EXPECT_THAT(TakeLog(), ElementsAre(kLost));
}

}  // namespace
