// The passes of scenes, filters, outputs and views are in their tests.
#include "graphics/opengl/render_pass.h"

#include <gmock/gmock.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/gl_fixture.h"
#include "tests/support/host_context.h"

namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class RenderPassTest : public GlTest {
 protected:
  static constexpr int kSide = 4;

  void SetUp() override {
    GlTest::SetUp();
    target_ = std::make_unique<GraphicsTextureGL>(context(), kSide, kSide);
    ASSERT_TRUE(target_->Init(true));
    current_ = std::make_unique<test::CurrentContext>(context());
  }
  void TearDown() override {
    target_.reset();
    current_.reset();
    GlTest::TearDown();
  }

  // What GL is asked for by a pass of these options, up to the drawing and after it.
  std::vector<std::string> Trace(const RenderPass::Options& options) {
    gl_spy::StartTrace();
    {
      const RenderPass pass(context(), target_.get(), options, "here");
      EXPECT_TRUE(pass.begun());
      glFlush();
    }
    return gl_spy::TakeTrace();
  }
  static GLint Get(GLenum name) {
    GLint value = -1;
    glGetIntegerv(name, &value);
    return value;
  }

  std::unique_ptr<GraphicsTextureGL> target_;
  std::unique_ptr<test::CurrentContext> current_;
};

TEST_F(RenderPassTest, ClearsToOpaqueBlackUnlessToldOtherwise) {
  EXPECT_THAT(Trace({}), ElementsAre("clear colour 0 0 0 1", "check", "clear 0x4000", "check", "flush"));
  const test::Picture black = test::Canvas(kSide, kSide, test::kOpaqueBlack).picture();
  EXPECT_TRUE(test::PicturesMatch(test::ReadTarget(context(), target_.get()), black, {}));
  RenderPass::Options options;
  options.clear_color[0] = 1.0f;
  options.clear_color[3] = 0.5f;
  EXPECT_EQ(Trace(options).front(), "clear colour 1 0 0 0.5");
  EXPECT_EQ(test::ReadTarget(context(), target_.get()).at(0, 0)[0], 255);
}

TEST_F(RenderPassTest, BlendsAndChecksOnceAsItBegins) {
  RenderPass::Options options;
  options.blend = true;
  EXPECT_THAT(Trace(options),
              ElementsAre("clear colour 0 0 0 1", "check", "clear 0x4000", "check", "check", "enable 0xbe2",
                          "blend 0x302 0x303", "check", "flush", "disable 0xbe2", "check"));
}

TEST_F(RenderPassTest, ChecksEachCallIfAsked) {
  RenderPass::Options options;
  options.blend = true;
  options.check_each_call = true;
  EXPECT_THAT(Trace(options),
              ElementsAre("clear colour 0 0 0 1", "check", "clear 0x4000", "check", "enable 0xbe2", "check",
                          "blend 0x302 0x303", "check", "flush", "check", "disable 0xbe2", "check", "check"));
}

// By the line a reader of a log tells which call GL has refused.
TEST_F(RenderPassTest, EachCheckNamesTheFileOfThePassAndALineOfItsOwn) {
  for (const bool each : {false, true}) {
    RenderPass::Options options;
    options.blend = true;
    options.check_each_call = each;
    // One error for each check that the cases above count, and one that nobody asks for.
    const std::size_t checks = each ? 7 : 5;
    gl_spy::faults().errors.assign(checks + 1, GL_INVALID_VALUE);
    Trace(options);
    EXPECT_THAT(gl_spy::faults().errors, SizeIs(1));
    gl_spy::faults().errors.clear();
    const std::vector<std::string> log = TakeLog();
    EXPECT_THAT(log, AllOf(SizeIs(checks), Each(MatchesRegex("W: INVALID_VALUE \\| here \\([0-9]+\\)"))));
    EXPECT_THAT(std::set<std::string>(log.begin(), log.end()), SizeIs(checks));
  }
}

TEST_F(RenderPassTest, MakesTheViewportTheTargetIfAsked) {
  context()->SetViewPort(1, 2, 30, 40);
  RenderPass::Options options;
  Trace(options);
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_THAT(viewport, ElementsAre(1, 2, 30, 40));
  options.whole_viewport = true;
  Trace(options);
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_THAT(viewport, ElementsAre(0, 0, kSide, kSide));
}

TEST_F(RenderPassTest, TargetIsBoundUntilItsEnd) {
  {
    RenderPass::Options options;
    options.blend = true;
    RenderPass pass(context(), target_.get(), options, "here");
    EXPECT_NE(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_TRUE(pass.EndDrawing());
    EXPECT_NE(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    gl_spy::StartTrace();
    EXPECT_TRUE(pass.EndDrawing()) << "what has ended";
  }
  EXPECT_THAT(gl_spy::TakeTrace(), IsEmpty());
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
}

TEST_F(RenderPassTest, WithoutATargetDoesNothing) {
  gl_spy::faults().incomplete = true;
  gl_spy::StartTrace();
  {
    const RenderPass pass(context(), target_.get(), {}, "here");
    EXPECT_FALSE(pass.begun());
  }
  EXPECT_THAT(gl_spy::TakeTrace(), IsEmpty());
  EXPECT_EQ(TakeLog().size(), 1u) << "the target's own";
}

TEST_F(RenderPassTest, TargetMayGoWhileItIsDrawnInto) {
  {
    const RenderPass pass(context(), target_.get(), {}, "here");
    target_ = std::make_unique<GraphicsTextureGL>(context(), kSide, kSide);
    ASSERT_TRUE(target_->Init(true));
    ASSERT_TRUE(target_->BindRenderTarget());
    EXPECT_NE(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
  }
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
  Trace({});
  const test::Picture black = test::Canvas(kSide, kSide, test::kOpaqueBlack).picture();
  EXPECT_TRUE(test::PicturesMatch(test::ReadTarget(context(), target_.get()), black, {}));
}

TEST_F(RenderPassTest, HostsContextIsLeftAloneWhereItsOwnCannotBeMadeCurrentAgain) {
  RenderPass::Options options;
  options.blend = true;
  options.check_each_call = true;
  test::HostContext host;
  GLuint hosts_target = 0;
  glGenFramebuffers(1, &hosts_target);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, hosts_target);
  glEnable(GL_BLEND);
  const ScopedBind bind(context());
  {
    RenderPass pass(context(), target_.get(), options, "here");
    host.MakeCurrent();
    gl_spy::StartTrace();
    gl_spy::faults().make_current = true;
    EXPECT_FALSE(pass.EndDrawing());
    gl_spy::faults().make_current = false;
    EXPECT_FALSE(pass.EndDrawing()) << "not tried again";
  }
  EXPECT_THAT(gl_spy::TakeTrace(), ElementsAre("make current")) << "the one that was refused";
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_TRUE(glIsEnabled(GL_BLEND));
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), static_cast<GLint>(hosts_target));
  glDeleteFramebuffers(1, &hosts_target);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(RenderPassTest, TellsWhatStandsBetweenAPassAndItsTarget) {
  EXPECT_TRUE(RenderPass::DrawsWhole(*context()));
  for (const GLenum state : {GL_BLEND, GL_COLOR_LOGIC_OP, GL_CULL_FACE, GL_RASTERIZER_DISCARD, GL_SCISSOR_TEST}) {
    glEnable(state);
    EXPECT_FALSE(RenderPass::DrawsWhole(*context())) << state;
    glDisable(state);
  }
  glColorMask(GL_TRUE, GL_TRUE, GL_FALSE, GL_TRUE);
  EXPECT_FALSE(RenderPass::DrawsWhole(*context()));
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
  EXPECT_FALSE(RenderPass::DrawsWhole(*context()));
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  if (context()->has_samplers()) {
    GLuint sampler = 0;
    glGenSamplers(1, &sampler);
    glBindSampler(0, sampler);
    EXPECT_FALSE(RenderPass::DrawsWhole(*context()));
    glDeleteSamplers(1, &sampler);
  }
  EXPECT_TRUE(RenderPass::DrawsWhole(*context()));
}

}  // namespace
