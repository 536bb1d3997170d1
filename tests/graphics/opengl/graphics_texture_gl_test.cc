#include "graphics/opengl/graphics_texture_gl.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <quarn/qn_external_image.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "graphics/opengl/graphics_pack_buffer_gl.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr char kInvalidEnum[] = "W: INVALID_ENUM \\| graphics/opengl/graphics_texture_gl\\.cc \\([0-9]+\\)";

class GraphicsTextureGLTest : public GlTest {
 protected:
  // A frame of one value in every byte.
  static GraphicsFrame Filled(GraphicsFormatInternal format, unsigned int width, unsigned int height,
                              unsigned char value) {
    GraphicsFrame frame(format, width, height);
    std::memset(frame.data[0], value, static_cast<std::size_t>(frame.linesize[0]) * height);
    return frame;
  }
  static GLint Get(GLenum name) {
    GLint value = -1;
    glGetIntegerv(name, &value);
    return value;
  }
  GLint Level(GraphicsTextureGL* texture, GLenum name) {
    const test::CurrentContext current(context());
    glBindTexture(GL_TEXTURE_2D, test::TextureName(context(), texture));
    GLint value = -1;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, name, &value);
    glBindTexture(GL_TEXTURE_2D, 0);
    return value;
  }
  // The texture drawn over a target of its size.
  test::Picture Drawn(GraphicsTextureGL* texture) {
    const test::CurrentContext current(context());
    GraphicsTextureGL target(context(), texture->width(), texture->height());
    EXPECT_TRUE(target.Init(true));
    EXPECT_TRUE(target.BindRenderTarget());
    const internal_vec2 size(static_cast<float>(texture->width()), static_cast<float>(texture->height()));
    context()->SetViewPort(0, 0, texture->width(), texture->height());
    EXPECT_TRUE(context()->BindShader("rgba"));
    EXPECT_TRUE(texture->BindShaderResource(0));
    context()->DrawRect(size, size);
    texture->ReleaseShaderResource();
    context()->UnbindShader();
    target.ReleaseRenderTarget();
    return test::ReadTarget(context(), &target);
  }
};

struct LayoutCase {
  const char* name;
  GraphicsFormatInternal format;
  int sizes[4];  // Bits of red, green, blue and alpha; all 0 where creation fails.
};

class TextureLayoutTest : public GraphicsTextureGLTest, public ::testing::WithParamInterface<LayoutCase> {
 protected:
  bool supported() const { return GetParam().sizes[0] > 0; }
  void ExpectStorage(GraphicsTextureGL* texture) {
    EXPECT_EQ(Level(texture, GL_TEXTURE_WIDTH), 5);
    EXPECT_EQ(Level(texture, GL_TEXTURE_HEIGHT), 3);
    EXPECT_EQ(Level(texture, GL_TEXTURE_RED_SIZE), GetParam().sizes[0]);
    EXPECT_EQ(Level(texture, GL_TEXTURE_GREEN_SIZE), GetParam().sizes[1]);
    EXPECT_EQ(Level(texture, GL_TEXTURE_BLUE_SIZE), GetParam().sizes[2]);
    EXPECT_EQ(Level(texture, GL_TEXTURE_ALPHA_SIZE), GetParam().sizes[3]);
  }
};

TEST_P(TextureLayoutTest, AsRenderTarget) {
  const int objects = gl_spy::LiveObjects();
  GraphicsTextureGL texture(context(), GetParam().format, 5, 3);
  ASSERT_EQ(texture.Init(true), supported());
  EXPECT_THAT(TakeLog(), IsEmpty());
  if (!supported()) {
    EXPECT_EQ(gl_spy::LiveObjects(), objects);
    return;
  }
  ExpectStorage(&texture);
  const test::CurrentContext current(context());
  EXPECT_TRUE(texture.BindRenderTarget());
  texture.ReleaseRenderTarget();
}

TEST_P(TextureLayoutTest, AsSampledImage) {
  const int objects = gl_spy::LiveObjects();
  GraphicsTextureGL texture(context(), GetParam().format, 5, 3);
  ASSERT_EQ(texture.Init(false), supported());
  if (!supported()) {
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(gl_spy::LiveObjects(), objects);
    return;
  }
  EXPECT_EQ(gl_spy::LiveObjects(), objects + 1) << "only a render target has a framebuffer";
  if (GetParam().format == kFormatR8) {
    // GL_R8 is passed as the pixel format, which GL refuses: the texture exists, and has no storage.
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kInvalidEnum)));
    EXPECT_EQ(Level(&texture, GL_TEXTURE_WIDTH), 0);
    return;
  }
  ExpectStorage(&texture);
}

INSTANTIATE_TEST_SUITE_P(
    All, TextureLayoutTest,
    ::testing::Values(LayoutCase{"Unknown", kFormatUnknown, {}}, LayoutCase{"RGBA", kFormatRGBA, {8, 8, 8, 8}},
                      LayoutCase{"BGRA", kFormatBGRA, {}}, LayoutCase{"R8", kFormatR8, {8, 0, 0, 0}},
                      LayoutCase{"RG8", kFormatRG8, {8, 8, 0, 0}}, LayoutCase{"RGBA16", kFormatRGBA16, {}},
                      LayoutCase{"I420", kFormatI420, {}}, LayoutCase{"NV12", kFormatNV12, {}},
                      LayoutCase{"NV21", kFormatNV21, {}}),
    [](const ::testing::TestParamInfo<LayoutCase>& param_info) { return std::string(param_info.param.name); });

TEST_F(GraphicsTextureGLTest, DefaultLayoutIsRGBA) {
  GraphicsTextureGL texture(context(), 5, 3);
  EXPECT_EQ(texture.width(), 5u);
  EXPECT_EQ(texture.height(), 3u);
  ASSERT_TRUE(texture.Init(true));
  EXPECT_EQ(Level(&texture, GL_TEXTURE_ALPHA_SIZE), 8);
}

TEST_F(GraphicsTextureGLTest, FiltersLinearlyAndClampsToTheEdge) {
  for (const bool render_target : {false, true}) {
    GraphicsTextureGL texture(context(), 4, 4);
    ASSERT_TRUE(texture.Init(render_target));
    const test::CurrentContext current(context());
    glBindTexture(GL_TEXTURE_2D, test::TextureName(context(), &texture));
    const std::pair<GLenum, GLint> expected[] = {{GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE},
                                                 {GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE},
                                                 {GL_TEXTURE_MIN_FILTER, GL_LINEAR},
                                                 {GL_TEXTURE_MAG_FILTER, GL_LINEAR}};
    for (const auto& [name, value] : expected) {
      GLint actual = 0;
      glGetTexParameteriv(GL_TEXTURE_2D, name, &actual);
      EXPECT_EQ(actual, value);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
  }
}

TEST_F(GraphicsTextureGLTest, ConstructionDoesNoGlWork) {
  const int objects = gl_spy::LiveObjects();
  GraphicsTextureGL plain(context(), 4, 4);
  GraphicsTextureGL framed(context(), Filled(kFormatRGBA, 4, 4, 1));
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(GraphicsTextureGLTest, ShowsItsFrame) {
  const test::Picture card = test::TestCard(33, 17);
  EXPECT_TRUE(test::PicturesMatch(Drawn(test::MakeTexture(context(), card).get()), card, {1}));
}

TEST_F(GraphicsTextureGLTest, OddRowsOfPairsAreNotSheared) {
  test::Picture pairs(3, 3, 2);
  for (std::size_t i = 0; i < pairs.pixels.size(); ++i) pairs.pixels[i] = static_cast<unsigned char>(10 * i + 7);
  const test::Picture drawn = Drawn(test::MakeTexture(context(), pairs).get());
  EXPECT_TRUE(test::PicturesMatch(drawn.Channel(0), pairs.Channel(0), {1}));
  EXPECT_TRUE(test::PicturesMatch(drawn.Channel(1), pairs.Channel(1), {1}));
}

TEST_F(GraphicsTextureGLTest, AnotherInitMakesItAnew) {
  const int objects = gl_spy::LiveObjects();
  GraphicsTextureGL texture(context(), 4, 4);
  EXPECT_TRUE(texture.Init(true));
  EXPECT_TRUE(texture.Init(true));
  EXPECT_EQ(gl_spy::LiveObjects(), objects + 2) << "a texture and a framebuffer";
  const test::CurrentContext current(context());
  EXPECT_TRUE(texture.BindRenderTarget());
  texture.ReleaseRenderTarget();
  gl_spy::faults().gen_textures = true;
  EXPECT_FALSE(texture.Init(true));
  gl_spy::faults().gen_textures = false;
  EXPECT_EQ(texture.name(), 0u);
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create texture failed"));
}

TEST_F(GraphicsTextureGLTest, InitFailsWithoutAContext) {
  GraphicsTextureGL texture(nullptr, 4, 4);
  EXPECT_FALSE(texture.Init(true));
  EXPECT_FALSE(texture.Init(false));
  texture.Update(GraphicsFrame());
  texture.Update(static_cast<void*>(nullptr));
}

TEST_F(GraphicsTextureGLTest, InitFailsWhenTheContextCannotBeMadeCurrent) {
  GraphicsTextureGL texture(context(), 4, 4);
  gl_spy::faults().make_current = true;
  EXPECT_FALSE(texture.Init(true));
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(GraphicsTextureGLTest, InitLeavesTheContextAsItWas) {
  GraphicsTextureGL texture(context(), 4, 4);
  {
    const test::CurrentContext current(context());
    ASSERT_TRUE(texture.Init(true));
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent);
  }
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent);
  context()->UnbindContext();
}

// A host makes, updates and destroys such objects in the middle of its drawing.
TEST_F(GraphicsTextureGLTest, WorkOutsideADrawLeavesBoundWhatWasBound) {
  const test::CurrentContext current(context());
  GraphicsTextureGL target(context(), 4, 4);
  ASSERT_TRUE(target.Init(true));
  ASSERT_TRUE(target.BindRenderTarget());
  ASSERT_TRUE(target.BindReadFrameBuffer());
  GLuint names[5] = {};
  glGenTextures(2, names);
  glGenBuffers(3, names + 2);
  glActiveTexture(GL_TEXTURE2);
  glBindTexture(GL_TEXTURE_2D, names[0]);
  glBindTexture(GL_TEXTURE_RECTANGLE, names[1]);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, names[2]);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, names[3]);
  glBindBuffer(GL_UNIFORM_BUFFER, names[4]);
  constexpr GLenum kBindings[] = {
      GL_DRAW_FRAMEBUFFER_BINDING,  GL_READ_FRAMEBUFFER_BINDING,  GL_ACTIVE_TEXTURE,
      GL_TEXTURE_BINDING_2D,        GL_TEXTURE_BINDING_RECTANGLE, GL_PIXEL_UNPACK_BUFFER_BINDING,
      GL_PIXEL_PACK_BUFFER_BINDING, GL_UNIFORM_BUFFER_BINDING};
  std::vector<GLint> before;
  for (const GLenum name : kBindings) before.push_back(Get(name));
  const auto expect_unchanged = [&](const char* work) {
    for (std::size_t i = 0; i < before.size(); ++i)
      EXPECT_EQ(Get(kBindings[i]), before[i]) << work << ", binding " << i;
  };

  {
    GraphicsTextureGL sampled(context(), Filled(kFormatRGBA, 4, 4, 1));
    EXPECT_TRUE(sampled.Init(false));
    expect_unchanged("Init of a sampled texture");
    sampled.Update(Filled(kFormatRGBA, 4, 4, 2));
    expect_unchanged("Update");
  }
  expect_unchanged("the end of a sampled texture");
  {
    GraphicsTextureGL other(context(), 4, 4);
    EXPECT_TRUE(other.Init(true));
    expect_unchanged("Init of a target");
  }
  expect_unchanged("the end of a target");
  EXPECT_FALSE(GraphicsTextureGL(context(), kFormatBGRA, 4, 4).Init(true));
  expect_unchanged("Init of a layout without storage");
  {
    std::uint32_t pixel = 0;
    QnExternalImage image(1, 1, QnExternalImage::kPixelFormatBGRA, 4, &pixel);
    GraphicsTextureGL external(context(), static_cast<void*>(&image));
    EXPECT_TRUE(external.Init(false));
    external.Update(static_cast<void*>(&image));
    expect_unchanged("Update from an external image");
  }
  expect_unchanged("the end of an external texture");
  {
    GraphicsPackBufferGL pack_buffer(context(), 16);
    EXPECT_TRUE(pack_buffer.Init());
    expect_unchanged("Init of a pack buffer");
    const unsigned char bytes[16] = {};
    GraphicsConstantBufferGL constants(context(), bytes, sizeof(bytes));
    EXPECT_TRUE(constants.Init());
    expect_unchanged("Init of a constant buffer");
    constants.Update(bytes, sizeof(bytes));
    expect_unchanged("Update of a constant buffer");
  }
  expect_unchanged("the end of buffers");

  glDeleteTextures(2, names);
  glDeleteBuffers(3, names + 2);
  glActiveTexture(GL_TEXTURE0);
  target.ReleaseReadFrameBuffer();
  target.ReleaseRenderTarget();
}

TEST_F(GraphicsTextureGLTest, ReportsATextureThatCannotBeCreated) {
  gl_spy::faults().gen_textures = true;
  GraphicsTextureGL texture(context(), 4, 4);
  EXPECT_FALSE(texture.Init(false));
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create texture failed"));
  EXPECT_FALSE(texture.BindShaderResource(0));
  EXPECT_THAT(TakeLog(), ElementsAre("W: GraphicsTextureGL::BindShaderResource Texture is null"));
}

TEST_F(GraphicsTextureGLTest, ReportsAFramebufferThatCannotBeCreatedAndKeepsTheTexture) {
  gl_spy::faults().gen_framebuffers = true;
  GraphicsTextureGL texture(context(), 4, 4);
  EXPECT_FALSE(texture.Init(true));
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create FrameBuffer failed"));
  const test::CurrentContext current(context());
  EXPECT_TRUE(texture.BindShaderResource(0));
  texture.ReleaseShaderResource();
}

TEST_F(GraphicsTextureGLTest, BindingATargetWithoutFramebufferWarns) {
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(false));
  EXPECT_FALSE(texture.BindRenderTarget());
  EXPECT_THAT(TakeLog(), ElementsAre("W: GraphicsTextureGL::BindRenderTarget FrameBuffer is null"));
}

TEST_F(GraphicsTextureGLTest, ReadingATargetWithoutFramebufferWarnsInTheNameOfTheOther) {
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(false));
  EXPECT_FALSE(texture.BindReadFrameBuffer());
  EXPECT_THAT(TakeLog(), ElementsAre("W: GraphicsTextureGL::BindRenderTarget FrameBuffer is null"));
}

TEST_F(GraphicsTextureGLTest, ReportsAnIncompleteFramebufferAndLeavesNoneBound) {
  GraphicsTextureGL texture(context(), 6, 4);
  ASSERT_TRUE(texture.Init(true));
  const GLuint name = test::TextureName(context(), &texture);
  const test::CurrentContext current(context());
  glBindTexture(GL_TEXTURE_2D, name);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 0, 0, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glBindTexture(GL_TEXTURE_2D, 0);
  EXPECT_FALSE(texture.BindRenderTarget());
  EXPECT_THAT(TakeLog(),
              ElementsAre("E: frame_buffer status: 36054, texture: " + std::to_string(name) + ", size: 6x4"));
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
  EXPECT_EQ(Get(GL_READ_FRAMEBUFFER_BINDING), 0);
}

TEST_F(GraphicsTextureGLTest, TargetBindingsAreSeparate) {
  const test::CurrentContext current(context());
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(true));
  ASSERT_TRUE(texture.BindRenderTarget());
  EXPECT_NE(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
  EXPECT_EQ(Get(GL_READ_FRAMEBUFFER_BINDING), 0);
  ASSERT_TRUE(texture.BindReadFrameBuffer());
  EXPECT_EQ(Get(GL_READ_FRAMEBUFFER_BINDING), Get(GL_DRAW_FRAMEBUFFER_BINDING));
  texture.ReleaseRenderTarget();
  EXPECT_EQ(Get(GL_DRAW_FRAMEBUFFER_BINDING), 0);
  EXPECT_NE(Get(GL_READ_FRAMEBUFFER_BINDING), 0);
  texture.ReleaseReadFrameBuffer();
  EXPECT_EQ(Get(GL_READ_FRAMEBUFFER_BINDING), 0);
}

TEST_F(GraphicsTextureGLTest, BindsToTheUnitAskedFor) {
  const test::CurrentContext current(context());
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(false));
  ASSERT_TRUE(texture.BindShaderResource(3));
  EXPECT_EQ(Get(GL_ACTIVE_TEXTURE), GL_TEXTURE3);
  EXPECT_NE(Get(GL_TEXTURE_BINDING_2D), 0);
  glActiveTexture(GL_TEXTURE0);
  texture.ReleaseShaderResource();
  EXPECT_EQ(Get(GL_ACTIVE_TEXTURE), GL_TEXTURE3);
  EXPECT_EQ(Get(GL_TEXTURE_BINDING_2D), 0);
  texture.ReleaseShaderResource();
  EXPECT_EQ(Get(GL_ACTIVE_TEXTURE), GL_TEXTURE3) << "the unit is remembered";
  glActiveTexture(GL_TEXTURE0);
}

TEST_F(GraphicsTextureGLTest, ReleasingWithoutABindActivatesTheUnitBeforeTheFirst) {
  const test::CurrentContext current(context());
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(false));
  texture.ReleaseShaderResource();
  EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kInvalidEnum)));
}

TEST_F(GraphicsTextureGLTest, ChecksForErrorsAfterEachCallOfABind) {
  const test::CurrentContext current(context());
  GraphicsTextureGL texture(context(), 4, 4);
  ASSERT_TRUE(texture.Init(false));
  gl_spy::faults().errors.assign(5, GL_INVALID_ENUM);
  EXPECT_TRUE(texture.BindShaderResource(0));
  EXPECT_EQ(gl_spy::faults().errors.size(), 3u);
  texture.ReleaseShaderResource();
  EXPECT_EQ(gl_spy::faults().errors.size(), 1u);
  gl_spy::faults().errors.clear();
  EXPECT_EQ(TakeLog().size(), 4u);
}

TEST_F(GraphicsTextureGLTest, UpdateShowsTheNewFrameAndHandsBackTheOldPixels) {
  GraphicsFrame first = Filled(kFormatRGBA, 4, 4, 10);
  const unsigned char* const first_pixels = first.data[0];
  GraphicsTextureGL texture(context(), std::move(first));
  ASSERT_TRUE(texture.Init(false));
  const test::Picture card = test::TestCard(4, 4);
  GraphicsFrame second = test::UprightFrame(kFormatRGBA, card);
  texture.Update(std::move(second));
  EXPECT_EQ(second.data[0], first_pixels);  // NOLINT(bugprone-use-after-move): the exchange is what is tested.
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), card, {1}));
}

TEST_F(GraphicsTextureGLTest, UpdateRefusesAnotherSizeOrLayoutWithoutAWord) {
  GraphicsTextureGL texture(context(), Filled(kFormatRGBA, 4, 4, 10));
  ASSERT_TRUE(texture.Init(false));
  const test::Picture before = Drawn(&texture);
  for (auto&& frame : {Filled(kFormatRGBA, 5, 4, 99), Filled(kFormatRGBA, 4, 5, 99), Filled(kFormatBGRA, 4, 4, 99)}) {
    GraphicsFrame& offered = const_cast<GraphicsFrame&>(frame);
    const unsigned char* const pixels = offered.data[0];
    texture.Update(std::move(offered));
    EXPECT_EQ(offered.data[0], pixels) << "the frame is left with the caller";
  }
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), before, {}));
}

TEST_F(GraphicsTextureGLTest, TextureMadeWithoutAFrameRefusesEveryFrame) {
  GraphicsTextureGL texture(context(), kFormatRGBA, 640, 480);
  ASSERT_TRUE(texture.Init(true));
  GraphicsFrame frame = Filled(kFormatRGBA, 640, 480, 99);
  const unsigned char* const pixels = frame.data[0];
  texture.Update(std::move(frame));
  EXPECT_EQ(frame.data[0], pixels);  // NOLINT(bugprone-use-after-move)
}

TEST_F(GraphicsTextureGLTest, UpdateOfOtherLayoutsIsKeptButNotUploaded) {
  GraphicsFrame old = Filled(kFormatRG8, 4, 4, 10);
  const unsigned char* const old_pixels = old.data[0];
  GraphicsTextureGL pairs(context(), std::move(old));
  ASSERT_TRUE(pairs.Init(false));
  GraphicsFrame news = Filled(kFormatRG8, 4, 4, 99);
  pairs.Update(std::move(news));
  EXPECT_EQ(news.data[0], old_pixels);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(Drawn(&pairs).at(0, 0)[0], 10);

  GraphicsFrame grey = Filled(kFormatR8, 4, 4, 10);
  const unsigned char* const grey_pixels = grey.data[0];
  GraphicsTextureGL single(context(), std::move(grey));
  ASSERT_TRUE(single.Init(false));
  EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kInvalidEnum)));
  GraphicsFrame newer = Filled(kFormatR8, 4, 4, 99);
  single.Update(std::move(newer));
  EXPECT_EQ(newer.data[0], grey_pixels);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(Level(&single, GL_TEXTURE_WIDTH), 0);
}

TEST_F(GraphicsTextureGLTest, UpdateWithoutATextureOnlyKeepsThePixels) {
  GraphicsFrame old = Filled(kFormatBGRA, 4, 4, 10);
  const unsigned char* const old_pixels = old.data[0];
  GraphicsTextureGL texture(context(), std::move(old));
  EXPECT_FALSE(texture.Init(false));
  GraphicsFrame news = Filled(kFormatBGRA, 4, 4, 99);
  texture.Update(std::move(news));
  EXPECT_EQ(news.data[0], old_pixels);  // NOLINT(bugprone-use-after-move)

  GraphicsTextureGL unattached(nullptr, Filled(kFormatRGBA, 4, 4, 1));
  GraphicsFrame other = Filled(kFormatRGBA, 4, 4, 2);
  unattached.Update(std::move(other));
  EXPECT_EQ(other.data[0][0], 1);  // NOLINT(bugprone-use-after-move)
}

TEST_F(GraphicsTextureGLTest, UpdateWithAContextThatCannotBeMadeCurrentLeavesThePicture) {
  GraphicsTextureGL texture(context(), Filled(kFormatRGBA, 4, 4, 10));
  ASSERT_TRUE(texture.Init(false));
  gl_spy::faults().make_current = true;
  texture.Update(Filled(kFormatRGBA, 4, 4, 99));
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  EXPECT_EQ(Drawn(&texture).at(0, 0)[0], 10);
}

}  // namespace
