// The targets of scenes and filters, which are one design.
#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>

#include <quarn/glsl_src.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_filter_gl.h"
#include "graphics/opengl/graphics_scene_gl.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/gl_watch.h"
#include "tests/support/host_context.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

// What tells the two apart.
struct Scene {
  using Engine = GraphicsScene;
  using Target = GraphicsSceneGL;
  static constexpr char kSource[] = "graphics/opengl/graphics_scene_gl\\.cc";
  // Walks the registry, as the render loop does.
  static void Walk(GraphicsContextImpl* context) { context->DrawSceneOutput(); }
  static void Use(Target* target) { target->AddRef(); }
};
struct Filter {
  using Engine = GraphicsFilter;
  using Target = GraphicsFilterGL;
  static constexpr char kSource[] = "graphics/opengl/graphics_filter_gl\\.cc";
  static void Walk(GraphicsContextImpl* context) { context->HandleFilters(); }
  static void Use(Target*) {}
};

template <class Kind>
class GraphicsTargetGLTest : public GlTest {
 protected:
  using Target = typename Kind::Target;

  class Callback : public Kind::Engine::DrawCallback {
   public:
    void Draw() override {
      ++calls;
      if (draw) draw();
    }
    std::function<void()> draw;
    int calls = 0;
  };

  static constexpr int kSide = 8;

  void SetUp() override {
    GlTest::SetUp();
    ASSERT_TRUE(this->device()->AddShader("half_red", glsl_src[1],
                                          "out vec4 c;\nvoid main() { c = vec4(1.0, 0.0, 0.0, 0.5); }\n"));
    target_ = std::make_unique<Target>(this->context(), kSide, kSide);
    ASSERT_TRUE(target_->Init());
  }
  void TearDown() override {
    target_.reset();
    GlTest::TearDown();
  }

  void DrawHalfRed() {
    this->context()->SetViewPort(0, 0, kSide, kSide);
    ASSERT_TRUE(this->context()->BindShader("half_red"));
    this->context()->DrawRect(internal_vec2(kSide, kSide), internal_vec2(kSide, kSide));
    this->context()->UnbindShader();
  }
  test::Picture Result() {
    return test::ReadTarget(this->context(), static_cast<GraphicsTextureGL*>(target_->texture()));
  }
  static test::Picture Plain(const test::Color& color) { return test::Canvas(kSide, kSide, color).picture(); }

  std::unique_ptr<Target> target_;
};

using Kinds = ::testing::Types<Scene, Filter>;
struct KindNames {
  template <class Kind>
  static std::string GetName(int) {
    return std::is_same_v<Kind, Scene> ? "GraphicsSceneGL" : "GraphicsFilterGL";
  }
};
TYPED_TEST_SUITE(GraphicsTargetGLTest, Kinds, KindNames);

TYPED_TEST(GraphicsTargetGLTest, HasATargetOfItsSizeFromInitOn) {
  typename TestFixture::Target target(this->context(), 20, 10);
  EXPECT_EQ(target.texture(), nullptr);
  ASSERT_TRUE(target.Init());
  EXPECT_EQ(target.texture()->width(), 20u);
  EXPECT_EQ(target.texture()->height(), 10u);
}

TYPED_TEST(GraphicsTargetGLTest, IsOpaqueBlackWhenNothingIsDrawn) {
  this->target_->Draw();
  EXPECT_TRUE(test::PicturesMatch(this->Result(), this->Plain(test::kOpaqueBlack), {}));
}

TYPED_TEST(GraphicsTargetGLTest, BlendsOverOpaqueBlackEveryFrame) {
  typename TestFixture::Callback callback;
  callback.draw = [this] { this->DrawHalfRed(); };
  this->target_->Attach(&callback);
  // Cleared each time: the second frame is not over the first.
  for (int frame = 0; frame < 2; ++frame) {
    this->target_->Draw();
    test::Canvas canvas(this->kSide, this->kSide, test::kOpaqueBlack);
    canvas.DrawSolid({0, 0, 8, 8}, {1.0f, 0.0f, 0.0f, 0.5f});
    EXPECT_TRUE(test::PicturesMatch(this->Result(), canvas.picture(), {1}));
    EXPECT_NEAR(this->Result().at(0, 0)[0], 128, 1);
  }
  this->target_->Detach();
}

TYPED_TEST(GraphicsTargetGLTest, BlendsOnlyDuringTheDraw) {
  typename TestFixture::Callback callback;
  GLboolean blend = GL_FALSE;
  GLint factors[2] = {};
  callback.draw = [&] {
    blend = glIsEnabled(GL_BLEND);
    glGetIntegerv(GL_BLEND_SRC_RGB, &factors[0]);
    glGetIntegerv(GL_BLEND_DST_RGB, &factors[1]);
  };
  this->target_->Attach(&callback);
  const test::CurrentContext current(this->context());
  this->target_->Draw();
  EXPECT_TRUE(blend);
  EXPECT_THAT(factors, ElementsAre(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  EXPECT_FALSE(glIsEnabled(GL_BLEND));
  GLint framebuffer = -1;
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &framebuffer);
  EXPECT_EQ(framebuffer, 0);
  this->target_->Detach();
}

TYPED_TEST(GraphicsTargetGLTest, HostsContextThatACallbackLeavesIsNotDrawnWith) {
  test::HostContext host;
  glEnable(GL_BLEND);
  typename TestFixture::Callback callback;
  callback.draw = [&] {
    host.MakeCurrent();
    const test::WrongOnPurpose wrong;
    glEnable(0xFFFF);
  };
  this->target_->Attach(&callback);
  this->target_->Draw();
  this->target_->Detach();
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_TRUE(glIsEnabled(GL_BLEND));
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  const test::CurrentContext current(this->context());
  EXPECT_FALSE(glIsEnabled(GL_BLEND));
  GLint framebuffer = -1;
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &framebuffer);
  EXPECT_EQ(framebuffer, 0);
}

TYPED_TEST(GraphicsTargetGLTest, AnotherInitLeaksNothing) {
  const int objects = gl_spy::LiveObjects();
  EXPECT_TRUE(this->target_->Init());
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TYPED_TEST(GraphicsTargetGLTest, LeavesTheContextAsItFoundIt) {
  {
    const test::CurrentContext current(this->context());
    this->target_->Draw();
    EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "it was current before";
  }
  this->target_->Draw();
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "it was not";
}

TYPED_TEST(GraphicsTargetGLTest, KeepsTheOldContentWhenTheContextCannotBeMadeCurrent) {
  typename TestFixture::Callback callback;
  callback.draw = [this] { this->DrawHalfRed(); };
  this->target_->Attach(&callback);
  this->target_->Draw();
  const test::Picture before = this->Result();
  gl_spy::faults().make_current = true;
  this->target_->Draw();
  gl_spy::faults().make_current = false;
  EXPECT_EQ(callback.calls, 1);
  EXPECT_THAT(this->TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  EXPECT_TRUE(test::PicturesMatch(this->Result(), before, {}));
  this->target_->Detach();
}

TYPED_TEST(GraphicsTargetGLTest, DrawsNothingIntoATargetThatCannotBeBound) {
  gl_spy::faults().gen_framebuffers = true;
  typename TestFixture::Target target(this->context(), 4, 4);
  EXPECT_FALSE(target.Init());
  gl_spy::faults().gen_framebuffers = false;
  typename TestFixture::Callback callback;
  target.Attach(&callback);
  target.Draw();
  target.Detach();
  EXPECT_EQ(callback.calls, 0);
  EXPECT_THAT(this->TakeLog(), ElementsAre("E: GraphicsTextureGL create FrameBuffer failed",
                                           "W: GraphicsTextureGL::BindRenderTarget FrameBuffer is null"));
}

TYPED_TEST(GraphicsTargetGLTest, InitFailsWithItsTexture) {
  gl_spy::faults().gen_textures = true;
  typename TestFixture::Target target(this->context(), 4, 4);
  EXPECT_FALSE(target.Init());
  EXPECT_THAT(this->TakeLog(), ElementsAre("E: GraphicsTextureGL create texture failed"));
}

TYPED_TEST(GraphicsTargetGLTest, IsInertWithoutAContext) {
  typename TestFixture::Target target(nullptr, 4, 4);
  EXPECT_FALSE(target.Init());
  typename TestFixture::Callback callback;
  target.Attach(&callback);
  target.Draw();
  target.Detach();
  EXPECT_EQ(callback.calls, 0);
  EXPECT_EQ(target.texture(), nullptr);
}

TYPED_TEST(GraphicsTargetGLTest, IsDrawnByTheContextWhileAttached) {
  typename TestFixture::Callback callback;
  TypeParam::Use(this->target_.get());
  TypeParam::Walk(this->context());
  EXPECT_EQ(callback.calls, 0);
  this->target_->Attach(&callback);
  TypeParam::Walk(this->context());
  EXPECT_EQ(callback.calls, 1);
  this->target_->Detach();
  TypeParam::Walk(this->context());
  EXPECT_EQ(callback.calls, 1);
}

TYPED_TEST(GraphicsTargetGLTest, ChecksForErrorsFiveTimesAndGoesOn) {
  typename TestFixture::Callback callback;
  this->target_->Attach(&callback);
  gl_spy::faults().errors.assign(6, GL_INVALID_OPERATION);
  this->target_->Draw();
  this->target_->Detach();
  EXPECT_EQ(gl_spy::faults().errors.size(), 1u);
  gl_spy::faults().errors.clear();
  const std::vector<std::string> lines = this->TakeLog();
  EXPECT_EQ(lines.size(), 5u);
  EXPECT_THAT(lines,
              Each(MatchesRegex(std::string("W: INVALID_OPERATION \\| ") + TypeParam::kSource + " \\([0-9]+\\)")));
  EXPECT_EQ(callback.calls, 1);
}

using GraphicsFilterGLTest = GlTest;

TEST_F(GraphicsFilterGLTest, TakesItselfOutWhenDestroyedWhileAttached) {
  class Callback : public GraphicsFilter::DrawCallback {
   public:
    void Draw() override { ++calls; }
    int calls = 0;
  } callback;
  {
    GraphicsFilterGL filter(context(), 4, 4);
    ASSERT_TRUE(filter.Init());
    filter.Attach(&callback);
  }
  context()->HandleFilters();
  EXPECT_EQ(callback.calls, 0);
}

TEST_F(GraphicsFilterGLTest, ResizeKeepsTheTarget) {
  GraphicsFilterGL filter(context(), 4, 6);
  ASSERT_TRUE(filter.Init());
  filter.Resize(40, 60);
  EXPECT_EQ(filter.width(), 40u);
  EXPECT_EQ(filter.height(), 60u);
  EXPECT_EQ(filter.texture()->width(), 4u);
  EXPECT_EQ(filter.texture()->height(), 6u);
  filter.Draw();
}

}  // namespace
