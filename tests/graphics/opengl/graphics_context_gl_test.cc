#include "graphics/opengl/graphics_context_gl.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <quarn/glsl_src.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "graphics/opengl/graphics_shader_gl.h"
#include "graphics/opengl/render_pass.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr float kPi = 3.14159265f;

class GraphicsContextGLTest : public GlTest {
 protected:
  static constexpr int kSide = 64;

  void SetUp() override {
    GlTest::SetUp();
    current_ = std::make_unique<test::CurrentContext>(context());
    target_ = std::make_unique<GraphicsTextureGL>(context(), kSide, kSide);
    ASSERT_TRUE(target_->Init(true));
    BeginTarget();
  }
  void TearDown() override {
    target_.reset();
    current_.reset();
    GlTest::TearDown();
  }

  std::unique_ptr<GraphicsTextureGL> target_;

  // Binds the target, cleared to opaque black.
  void BeginTarget() {
    ASSERT_TRUE(target_->BindRenderTarget());
    context()->SetViewPort(0, 0, kSide, kSide);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
  }
  void Draw(const internal_transform& transform) { context()->DrawRect(transform, internal_vec2(kSide, kSide)); }
  test::Picture Result() { return test::ReadTarget(context(), target_.get()); }

  // Adds a program of this fragment body and makes it current; returns its GL name.
  GLuint UseProgram(const char* name, const std::string& body) {
    const std::string source = "out vec4 FragColor;\nin vec2 v_tex_coord;\n" + body;
    EXPECT_TRUE(device()->AddShader(name, glsl_src[1], source.c_str()));
    EXPECT_TRUE(context()->BindShader(name));
    GLint program = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    return static_cast<GLuint>(program);
  }
  void UseWhite() { UseProgram("white", "void main() { FragColor = vec4(1.0); }\n"); }

  static GLint UniformValue(GLuint program, const char* name) {
    GLint value = -1;
    glGetUniformiv(program, glGetUniformLocation(program, name), &value);
    return value;
  }
  static GLint BlockBinding(GLuint program, const char* name) {
    GLint point = -1;
    glGetActiveUniformBlockiv(program, glGetUniformBlockIndex(program, name), GL_UNIFORM_BLOCK_BINDING, &point);
    return point;
  }
  static GLuint BufferAt(GLuint point) {
    GLint buffer = 0;
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, point, &buffer);
    return static_cast<GLuint>(buffer);
  }
  static std::vector<unsigned char> BufferBytes(GLuint buffer) {
    GLint size = 0;
    glBindBuffer(GL_UNIFORM_BUFFER, buffer);
    glGetBufferParameteriv(GL_UNIFORM_BUFFER, GL_BUFFER_SIZE, &size);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size), 0xAB);
    glGetBufferSubData(GL_UNIFORM_BUFFER, 0, size, bytes.data());
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
    return bytes;
  }
  static std::vector<int> Rgb(const test::Picture& picture, int x, int y) {
    const unsigned char* const pixel = picture.at(x, y);
    return {pixel[0], pixel[1], pixel[2]};
  }

 private:
  std::unique_ptr<test::CurrentContext> current_;
};

const std::vector<int> kBlack = {0, 0, 0};
const std::vector<int> kWhite = {255, 255, 255};
const std::vector<int> kRed = {255, 0, 0};
const std::vector<int> kGreen = {0, 255, 0};
const std::vector<int> kBlue = {0, 0, 255};

TEST_F(GraphicsContextGLTest, BuildsAllProgramsOfTheTable) {
  for (const char* name : {"rgba", "to_bgra", "to_y", "to_uv", "to_u", "to_v"}) {
    EXPECT_TRUE(context()->BindShader(name)) << name;
    GLint program = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    EXPECT_EQ(glGetAttribLocation(static_cast<GLuint>(program), "a_pos"), 0) << name;
    EXPECT_EQ(glGetAttribLocation(static_cast<GLuint>(program), "a_tex_coord"), 1) << name;
    context()->UnbindShader();
  }
  EXPECT_FALSE(context()->BindShader("to_rgba"));
}

TEST_F(GraphicsContextGLTest, UploadsTheSharedObjects) {
  const std::vector<gl_spy::Upload> uploads = gl_spy::Uploads();
  ASSERT_GE(uploads.size(), 4u);
  const float vertices[] = {-0.5f, -0.5f, 0, 0, 0, -0.5f, 0.5f, 0, 0, 1, 0.5f, 0.5f, 0, 1, 1, 0.5f, -0.5f, 0, 1, 0};
  const GLuint indices[] = {0, 1, 3, 1, 2, 3};
  EXPECT_EQ(uploads[0].target, static_cast<GLenum>(GL_ARRAY_BUFFER));
  EXPECT_EQ(uploads[0].usage, static_cast<GLenum>(GL_STATIC_DRAW));
  ASSERT_EQ(uploads[0].bytes.size(), 80u);
  EXPECT_EQ(std::memcmp(uploads[0].bytes.data(), vertices, 80), 0);
  EXPECT_EQ(uploads[1].target, static_cast<GLenum>(GL_ELEMENT_ARRAY_BUFFER));
  EXPECT_EQ(uploads[1].usage, static_cast<GLenum>(GL_STATIC_DRAW));
  ASSERT_EQ(uploads[1].bytes.size(), 24u);
  EXPECT_EQ(std::memcmp(uploads[1].bytes.data(), indices, 24), 0);
  EXPECT_EQ(uploads[2].target, static_cast<GLenum>(GL_UNIFORM_BUFFER));
  EXPECT_EQ(uploads[2].usage, static_cast<GLenum>(GL_STREAM_DRAW));
  ASSERT_EQ(uploads[2].bytes.size(), 192u);
  float matrices[48];
  std::memcpy(matrices, uploads[2].bytes.data(), sizeof(matrices));
  for (int i = 0; i < 48; ++i) EXPECT_EQ(matrices[i], i % 16 % 5 == 0 ? 1.0f : 0.0f) << i;
  EXPECT_EQ(uploads[3].target, static_cast<GLenum>(GL_UNIFORM_BUFFER));
  EXPECT_EQ(uploads[3].usage, static_cast<GLenum>(GL_STREAM_DRAW));
  EXPECT_EQ(uploads[3].bytes.size(), 256u);
  EXPECT_THAT(uploads[3].bytes, Each(0));
}

TEST_F(GraphicsContextGLTest, UnknownNameLeavesTheCurrentProgram) {
  UseWhite();
  EXPECT_FALSE(context()->BindShader("nothing of this name"));
  EXPECT_FALSE(context()->BindShader(nullptr));
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(Rgb(Result(), 0, 0), kWhite);
}

TEST_F(GraphicsContextGLTest, ProgramThatCannotBeBoundLeavesTheCurrentOne) {
  UseWhite();
  context()->AddShader("empty", new GraphicsShaderGL("empty"));
  EXPECT_FALSE(context()->BindShader("empty"));
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(Rgb(Result(), 0, 0), kWhite);
}

TEST_F(GraphicsContextGLTest, DrawsNothingWithoutAProgram) {
  UseWhite();
  context()->UnbindShader();
  GLint program = -1;
  glGetIntegerv(GL_CURRENT_PROGRAM, &program);
  EXPECT_EQ(program, 0);
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(gl_spy::Draws(), 0);
  EXPECT_EQ(Rgb(Result(), 0, 0), kBlack);
}

TEST_F(GraphicsContextGLTest, DrawsNothingWithoutTheSharedObjects) {
  UseWhite();
  const int objects = gl_spy::LiveObjects();
  context()->ReleaseVertexAttrBuffer();
  EXPECT_EQ(gl_spy::LiveObjects(), objects - 5);
  context()->ReleaseVertexAttrBuffer();
  EXPECT_EQ(gl_spy::LiveObjects(), objects - 5);
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(gl_spy::Draws(), 0);
  context()->BuildVertexAttrBuffer();
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(gl_spy::Draws(), 1);
}

TEST_F(GraphicsContextGLTest, SetViewPortPassesTheFourValues) {
  context()->SetViewPort(1, 2, 30, 40);
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_THAT(viewport, ElementsAre(1, 2, 30, 40));
  // Those that no GLint holds, too.
  context()->SetViewPort(0u - 3, 0u - 4, 50, 60);
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_THAT(viewport, ElementsAre(-3, -4, 50, 60));
}

// And leaves no error to a host's own GL, whatever comes next.
TEST_F(GraphicsContextGLTest, SetViewPortSaysWhatGlRefuses) {
  context()->SetViewPort(1, 2, 30, 40);
  for (const auto& [width, height] : {std::pair(0x80000000u, 1u), std::pair(1u, 0xffffffffu)}) {
    context()->SetViewPort(0, 0, width, height);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(MatchesRegex("W: INVALID_VALUE \\| graphics/opengl/graphics_context_gl\\.cc \\([0-9]+\\)")));
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_THAT(viewport, ElementsAre(1, 2, 30, 40));
  }
}

TEST_F(GraphicsContextGLTest, RectangleOfTheTargetsSizeCoversItExactly) {
  UseWhite();
  Draw(internal_transform(internal_vec2(0, 0), internal_vec2(kSide, kSide), 0.0f));
  EXPECT_THAT(Result().pixels, Each(255));
  EXPECT_EQ(gl_spy::Draws(), 1);
}

TEST_F(GraphicsContextGLTest, TextureOriginLandsAtTheBottomLeft) {
  GraphicsFrame frame(kFormatRGBA, 2, 2);
  std::memset(frame.data[0], 0, 16);
  frame.data[0][0] = 255;  // The first pixel of the first row: texture coordinate (0, 0).
  GraphicsTextureGL texture(context(), std::move(frame));
  ASSERT_TRUE(texture.Init(false));
  ASSERT_TRUE(context()->BindShader("rgba"));
  texture.BindShaderResource(0);
  Draw(internal_vec2(kSide, kSide));
  texture.ReleaseShaderResource();
  const test::Picture result = Result();
  EXPECT_EQ(Rgb(result, 0, kSide - 1), kRed);
  EXPECT_EQ(Rgb(result, 0, 0), kBlack);
  EXPECT_EQ(Rgb(result, kSide - 1, kSide - 1), kBlack);
}

TEST_F(GraphicsContextGLTest, PositionMovesRightAndDown) {
  UseWhite();
  Draw(internal_transform(internal_vec2(10, 20), internal_vec2(4, 6), 0.0f));
  test::Picture expected(kSide, kSide, 4);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const bool inside = x >= 32 + 10 - 2 && x < 32 + 10 + 2 && y >= 32 + 20 - 3 && y < 32 + 20 + 3;
      std::memset(expected.at(x, y), inside ? 255 : 0, 3);
      expected.at(x, y)[3] = 255;
    }
  }
  EXPECT_TRUE(test::PicturesMatch(Result(), expected, {}));
}

TEST_F(GraphicsContextGLTest, PositiveRotationTurnsClockwiseAsSeen) {
  UseWhite();
  Draw(internal_transform(internal_vec2(0, 0), internal_vec2(48, 4), kPi / 4.0f));
  const test::Picture result = Result();
  EXPECT_EQ(Rgb(result, 32 + 12, 32 + 12), kWhite);
  EXPECT_EQ(Rgb(result, 32 - 12, 32 - 12), kWhite);
  EXPECT_EQ(Rgb(result, 32 + 12, 32 - 12), kBlack);
  EXPECT_EQ(Rgb(result, 32 - 12, 32 + 12), kBlack);
}

TEST_F(GraphicsContextGLTest, ProgramsReadModelViewAndProjection) {
  UseWhite();
  context()->DrawRect(internal_transform(internal_vec2(10, 20), internal_vec2(4, 6), kPi / 6.0f),
                      internal_vec2(200, 100));
  GLint buffer = 0;
  GLint64 start = 0, size = 0;
  glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, 0, &buffer);
  glGetInteger64i_v(GL_UNIFORM_BUFFER_START, 0, &start);
  glGetInteger64i_v(GL_UNIFORM_BUFFER_SIZE, 0, &size);
  ASSERT_EQ(size, 192);
  float matrices[48];
  glBindBuffer(GL_UNIFORM_BUFFER, static_cast<GLuint>(buffer));
  glGetBufferSubData(GL_UNIFORM_BUFFER, static_cast<GLintptr>(start), sizeof(matrices), matrices);
  const float c = std::cos(kPi / 6.0f);
  const float s = std::sin(kPi / 6.0f);
  const float expected[48] = {
      4 * c,      -4 * s, 0, 0, 6 * s, 6 * c,      0, 0, 0, 0, 1,          0, 10, -20, 1,
      1,  // Model.
      1,          0,      0, 0, 0,     1,          0, 0, 0, 0, 1,          0, 0,  0,   -10,
      1,  // View.
      2 / 200.0f, 0,      0, 0, 0,     2 / 100.0f, 0, 0, 0, 0, -2 / 99.9f, 0, 0,  0,   -100.1f / 99.9f,
      1,
  };
  for (int i = 0; i < 48; ++i) EXPECT_THAT(matrices[i], FloatNear(expected[i], 1e-5f)) << i;
}

// What a pass has given back may stay bound in GL to the end of the pass, but nothing that is drawn reads it.
TEST_F(GraphicsContextGLTest, NothingReadsATextureThatWasGivenBack) {
  const auto white = test::MakeTexture(context(), test::Canvas(4, 4, {1, 1, 1, 1}).picture());
  RenderPass pass(context(), target_.get(), RenderPass::Options(), __FILE__);
  ASSERT_TRUE(pass.begun());
  context()->SetViewPort(0, 0, kSide, kSide);
  ASSERT_TRUE(context()->BindShader("rgba"));
  white->BindShaderResource(0);
  context()->DrawRect(internal_vec2(kSide, kSide), internal_vec2(kSide, kSide));
  white->ReleaseShaderResource();
  EXPECT_EQ(Rgb(Result(), 8, 8), kWhite);
  context()->DrawRect(internal_vec2(kSide, kSide), internal_vec2(kSide, kSide));
  EXPECT_EQ(Rgb(Result(), 8, 8), kBlack);
}

TEST_F(GraphicsContextGLTest, APassEndsWithoutProgramAndTextures) {
  const auto white = test::MakeTexture(context(), test::Canvas(4, 4, {1, 1, 1, 1}).picture());
  {
    RenderPass pass(context(), target_.get(), RenderPass::Options(), __FILE__);
    ASSERT_TRUE(context()->BindShader("rgba"));
    for (const int slot : {3, 0}) {
      white->BindShaderResource(slot);
      white->ReleaseShaderResource();
    }
    context()->UnbindShader();
  }
  GLint program = -1;
  glGetIntegerv(GL_CURRENT_PROGRAM, &program);
  EXPECT_EQ(program, 0);
  for (const GLenum unit : {GL_TEXTURE0, GL_TEXTURE3}) {
    GLint texture = -1;
    glActiveTexture(unit);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &texture);
    EXPECT_EQ(texture, 0) << unit - GL_TEXTURE0;
  }
  glActiveTexture(GL_TEXTURE0);
}

// A picture of noise, each of its pixels on one of the target's, is the same to the byte whether its filter is asked or
// not: a host's own program that does the same is filtered.
TEST_F(GraphicsContextGLTest, PictureOnWholePixelsIsCopiedToTheByte) {
  constexpr int kWidth = 72, kHeight = 60;  // More texels than are filtered for want of something better.
  ASSERT_TRUE(device()->AddShader("a copy", glsl_src[kGsGlslRgba + 1],
                                  (std::string(glsl_src[kGsGlslRgba + 2]) + "// A host's.\n").c_str()));
  test::Picture noise(kWidth, kHeight, 4);
  std::minstd_rand random(1);
  for (unsigned char& value : noise.pixels) value = static_cast<unsigned char>(random() >> 8);
  const auto texture = test::MakeTexture(context(), noise);
  const internal_vec2 places[] = {{0, 0}, {3, -5}, {-36, 30}, {0.5f, 0.25f}};
  for (const internal_vec2& place : places) {
    SCOPED_TRACE(std::to_string(place.x) + " " + std::to_string(place.y));
    std::vector<unsigned char> results[2];
    for (const char* const program : {"rgba", "a copy"}) {
      ASSERT_TRUE(context()->BindShader(program));
      texture->BindShaderResource(0);
      Draw(internal_transform(place, internal_vec2(kWidth, kHeight), 0.0f));
      texture->ReleaseShaderResource();
      results[program[0] == 'a'] = Result().pixels;
    }
    EXPECT_EQ(results[0], results[1]);
  }
}

// What a host's own GL has bound meanwhile is drawn as the host has it filtered.
TEST_F(GraphicsContextGLTest, ATextureOfAHostsOwnIsFilteredAsTheHostHasIt) {
  constexpr int kWidth = 72, kHeight = 60;
  ASSERT_TRUE(device()->AddShader("a copy", glsl_src[kGsGlslRgba + 1],
                                  (std::string(glsl_src[kGsGlslRgba + 2]) + "// A host's.\n").c_str()));
  const auto texture = test::MakeTexture(context(), test::TestCard(kWidth, kHeight));
  const auto own = test::MakeTexture(context(), test::TestCard(3, 3));  // It is linear.
  std::vector<unsigned char> results[2];
  for (const char* const program : {"rgba", "a copy"}) {
    ASSERT_TRUE(context()->BindShader(program));
    own->BindShaderResource(0);
    GLint name = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &name);
    own->ReleaseShaderResource();
    texture->BindShaderResource(0);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(name));
    Draw(internal_transform(internal_vec2(0, 0), internal_vec2(kWidth, kHeight), 0.0f));
    texture->ReleaseShaderResource();
    results[program[0] == 'a'] = Result().pixels;
  }
  EXPECT_EQ(results[0], results[1]);
}

struct PlacementCase {
  const char* name;
  test::Placement placement;
};

class PlacementTest : public GraphicsContextGLTest, public ::testing::WithParamInterface<PlacementCase> {};

TEST_P(PlacementTest, DrawsTheTextureAsTheReference) {
  const test::Placement& placement = GetParam().placement;
  const test::Picture card = test::TestCard(40, 24);
  const auto texture = test::MakeTexture(context(), card);
  ASSERT_TRUE(context()->BindShader("rgba"));
  texture->BindShaderResource(0);
  Draw(internal_transform(internal_vec2(placement.x, placement.y), internal_vec2(placement.width, placement.height),
                          placement.rotation));
  texture->ReleaseShaderResource();
  test::Canvas canvas(kSide, kSide, test::kOpaqueBlack);
  canvas.DrawPicture(placement, card);
  // Drivers weigh texels with 8 bits; a pixel whose centre lies on an edge may fall to either side.
  EXPECT_TRUE(test::PicturesMatch(Result(), canvas.picture(), {2, 0.002}));
}

INSTANTIATE_TEST_SUITE_P(
    All, PlacementTest,
    ::testing::Values(PlacementCase{"OwnSize", {0, 0, 40, 24}}, PlacementCase{"Enlarged", {0, 0, 64, 64}},
                      PlacementCase{"Reduced", {-9, 7, 30, 18}}, PlacementCase{"BeyondTheEdge", {30, -25, 40, 24}},
                      PlacementCase{"Turned", {3, -4, 40, 24, 0.5f}},
                      PlacementCase{"TurnedBack", {3, -4, 40, 24, -2.0f}},
                      PlacementCase{"UpsideDown", {0, 0, 40, 24, kPi}}),
    [](const ::testing::TestParamInfo<PlacementCase>& param_info) { return std::string(param_info.param.name); });

TEST_F(GraphicsContextGLTest, ToBgraExchangesRedAndBlue) {
  const test::Picture card = test::TestCard(kSide, kSide);
  const auto texture = test::MakeTexture(context(), card);
  ASSERT_TRUE(context()->BindShader("to_bgra"));
  texture->BindShaderResource(0);
  Draw(internal_vec2(kSide, kSide));
  texture->ReleaseShaderResource();
  test::Picture expected = card;
  for (std::size_t i = 0; i < expected.pixels.size(); i += 4) std::swap(expected.pixels[i], expected.pixels[i + 2]);
  EXPECT_TRUE(test::PicturesMatch(Result(), expected, {1}));
}

TEST_F(GraphicsContextGLTest, SamplersReadTheUnitOfTheirNumber) {
  const GLuint program = UseProgram("four", R"(
uniform sampler2D u_tex0, u_tex1, u_tex2, u_tex3, u_tex4;
void main() {
  FragColor = texture(u_tex0, v_tex_coord) + texture(u_tex1, v_tex_coord) + texture(u_tex2, v_tex_coord) +
              texture(u_tex3, v_tex_coord) + texture(u_tex4, v_tex_coord);
}
)");
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(UniformValue(program, "u_tex0"), 0);
  EXPECT_EQ(UniformValue(program, "u_tex1"), 1);
  EXPECT_EQ(UniformValue(program, "u_tex2"), 2);
  EXPECT_EQ(UniformValue(program, "u_tex3"), 3);
  EXPECT_EQ(UniformValue(program, "u_tex4"), 0) << "only four samplers have a name";
}

TEST_F(GraphicsContextGLTest, MissingSamplerEndsTheSearch) {
  const GLuint program = UseProgram("gap", R"(
uniform sampler2D u_tex0, u_tex2;
void main() { FragColor = texture(u_tex0, v_tex_coord) + texture(u_tex2, v_tex_coord); }
)");
  glUniform1i(glGetUniformLocation(program, "u_tex0"), 3);
  glUniform1i(glGetUniformLocation(program, "u_tex2"), 5);
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(UniformValue(program, "u_tex0"), 0);
  EXPECT_EQ(UniformValue(program, "u_tex2"), 5);
  EXPECT_THAT(TakeLog(), ElementsAre("W: The program \"gap\" uses u_tex2 but not u_tex1: u_tex2 is not bound, nor what "
                                     "follows it"));
}

TEST_F(GraphicsContextGLTest, FirstNameBehindAGapIsLogged) {
  UseProgram("none", "uniform sampler2D u_tex0; void main() { FragColor = texture(u_tex0, v_tex_coord); }\n");
  // What a program declares and does not use is no sampler of its.
  UseProgram("unused", R"(
uniform sampler2D u_tex0, u_tex2;
void main() { FragColor = texture(u_tex0, v_tex_coord); }
)");
  EXPECT_THAT(TakeLog(), IsEmpty());
  UseProgram("no first", R"(
uniform sampler2D u_tex1, u_tex3;
void main() { FragColor = texture(u_tex1, v_tex_coord) + texture(u_tex3, v_tex_coord); }
)");
  UseProgram("array", R"(
uniform sampler2D u_tex0, u_tex2[2];
void main() { FragColor = texture(u_tex0, v_tex_coord) + texture(u_tex2[0], v_tex_coord) +
              texture(u_tex2[1], v_tex_coord); }
)");
  UseProgram("both", R"(
uniform sampler2D u_tex3;
uniform u_buf0 { vec4 color0; };
uniform u_buf7 { vec4 color7; };
void main() { FragColor = texture(u_tex3, v_tex_coord) + color0 + color7; }
)");
  UseProgram("block array", R"(
uniform u_buf0 { vec4 color; } zero;
uniform u_buf2 { vec4 color; } two[2];
void main() { FragColor = zero.color + two[0].color + two[1].color; }
)");
  const std::string end = " is not bound, nor what follows it";
  EXPECT_THAT(TakeLog(), ElementsAre("W: The program \"no first\" uses u_tex1 but not u_tex0: u_tex1" + end,
                                     "W: The program \"array\" uses u_tex2 but not u_tex1: u_tex2" + end,
                                     "W: The program \"both\" uses u_tex3 but not u_tex0: u_tex3" + end,
                                     "W: The program \"both\" uses u_buf7 but not u_buf1: u_buf7" + end,
                                     "W: The program \"block array\" uses u_buf2 but not u_buf1: u_buf2" + end));
}

TEST_F(GraphicsContextGLTest, ClaimedPointIsReadAndUnclaimedOneIsZero) {
  UseProgram("blocks", R"(
uniform u_buf0 { vec4 left_color; };
uniform u_buf1 { vec4 right_color; };
void main() { FragColor = vec4(0.0, 0.0, 1.0, 1.0) + (v_tex_coord.x < 0.5 ? left_color : right_color); }
)");
  const float red[] = {1.0f, 0.0f, -1.0f, 0.0f};
  const float stale[] = {0.0f, 1.0f, 0.0f, 0.0f};
  GraphicsConstantBufferGL claimed(context(), red, sizeof(red));
  GraphicsConstantBufferGL given_back(context(), stale, sizeof(stale));
  ASSERT_TRUE(claimed.Init());
  ASSERT_TRUE(given_back.Init());
  ASSERT_TRUE(claimed.Bind(0));
  ASSERT_TRUE(given_back.Bind(1));
  given_back.Unbind();
  Draw(internal_vec2(kSide, kSide));
  const test::Picture result = Result();
  EXPECT_EQ(Rgb(result, 0, 0), kRed);
  EXPECT_EQ(Rgb(result, kSide - 1, 0), kBlue);
  EXPECT_EQ(BufferBytes(BufferAt(2)), std::vector<unsigned char>(256, 0));
  claimed.Unbind();
  BeginTarget();
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(Rgb(Result(), 0, 0), kBlue);
}

TEST_F(GraphicsContextGLTest, BlocksReadThePointAfterTheirNumber) {
  std::string body;
  std::string sum = "vec4(0.0)";
  for (int i = 0; i <= 10; ++i) {
    body += "uniform u_buf" + std::to_string(i) + " { vec4 color" + std::to_string(i) + "; };\n";
    sum += " + color" + std::to_string(i);
  }
  const GLuint program = UseProgram("many", body + "void main() { FragColor = " + sum + "; }\n");
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(BlockBinding(program, "mvp"), 0);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(BlockBinding(program, ("u_buf" + std::to_string(i)).c_str()), i + 1) << i;
  EXPECT_EQ(BlockBinding(program, "u_buf10"), 0) << "only ten blocks have a name";
}

TEST_F(GraphicsContextGLTest, MissingBlockEndsTheSearch) {
  const GLuint program = UseProgram("block_gap", R"(
uniform u_buf0 { vec4 color0; };
uniform u_buf2 { vec4 color2; };
void main() { FragColor = color0 + color2; }
)");
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(BlockBinding(program, "u_buf0"), 1);
  EXPECT_EQ(BlockBinding(program, "u_buf2"), 0);
  EXPECT_THAT(TakeLog(),
              ElementsAre("W: The program \"block_gap\" uses u_buf2 but not u_buf1: u_buf2 is not bound, nor "
                          "what follows it"));
}

TEST_F(GraphicsContextGLTest, ProgramWithoutMatricesIsDrawn) {
  const char vertex[] = "in vec3 a_pos;\nvoid main() { gl_Position = vec4(a_pos.xy * 2.0, 0.0, 1.0); }\n";
  ASSERT_TRUE(device()->AddShader("no_mvp", vertex, "out vec4 c;\nvoid main() { c = vec4(0.0, 1.0, 0.0, 1.0); }\n"));
  ASSERT_TRUE(context()->BindShader("no_mvp"));
  Draw(internal_vec2(1, 1));
  EXPECT_EQ(Rgb(Result(), 5, 5), kGreen);
}

TEST_F(GraphicsContextGLTest, ClaimingTwiceAndGivingBackUnknownPointsIsHarmless) {
  context()->AddUboIndex(3);
  context()->AddUboIndex(3);
  context()->RemoveUboIndex(3);
  context()->RemoveUboIndex(3);
  context()->RemoveUboIndex(99);
  UseProgram("three", R"(
uniform u_buf0 { vec4 color0; };
uniform u_buf1 { vec4 color1; };
uniform u_buf2 { vec4 color2; };
void main() { FragColor = color0 + color1 + color2; }
)");
  Draw(internal_vec2(kSide, kSide));
  EXPECT_EQ(BufferAt(3), BufferAt(1)) << "the zeros";
  EXPECT_NE(BufferAt(3), 0u);
}

TEST_F(GraphicsContextGLTest, ErrorsAreLoggedAndNeverStopADraw) {
  UseWhite();
  gl_spy::faults().errors = {GL_INVALID_VALUE, GL_INVALID_VALUE, GL_INVALID_VALUE, GL_INVALID_VALUE};
  Draw(internal_vec2(kSide, kSide));
  const std::string line = "W: INVALID_VALUE \\| graphics/opengl/graphics_context_gl\\.cc \\([0-9]+\\)";
  EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(line), MatchesRegex(line), MatchesRegex(line), MatchesRegex(line)));
  EXPECT_EQ(Rgb(Result(), 0, 0), kWhite);
}

TEST_F(GraphicsContextGLTest, BuildingTheSharedObjectsChecksSixTimes) {
  context()->ReleaseVertexAttrBuffer();
  gl_spy::faults().errors.assign(7, GL_INVALID_ENUM);
  context()->BuildVertexAttrBuffer();
  EXPECT_EQ(gl_spy::faults().errors.size(), 1u);
  gl_spy::faults().errors.clear();
  EXPECT_EQ(TakeLog().size(), 6u);
}

TEST_F(GraphicsContextGLTest, LimitsAreReadWhenItIsBuiltAndNotAskedAgain) {
  GLint size = 0;
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
  EXPECT_EQ(context()->max_texture_size(), static_cast<unsigned int>(size));
  glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE, &size);
  EXPECT_EQ(context()->max_rectangle_size(), static_cast<unsigned int>(size));
  gl_spy::faults().rectangle_limit = 17;
  EXPECT_EQ(context()->max_rectangle_size(), static_cast<unsigned int>(size));
  context()->ReadLimits();
  EXPECT_EQ(context()->max_rectangle_size(), 17u);
}

TEST_F(GraphicsContextGLTest, BuiltInProgramsAreCompiledWhenTheyAreFirstUsed) {
  const int objects = gl_spy::LiveObjects();
  int programs = 0;
  for (int row = 0; row < kGsGlslSrcCount; row += 3) {
    ASSERT_TRUE(context()->BindShader(glsl_src[row])) << glsl_src[row];
    EXPECT_EQ(gl_spy::LiveObjects(), objects + ++programs) << glsl_src[row];
    ASSERT_TRUE(context()->BindShader(glsl_src[row])) << glsl_src[row];
    EXPECT_EQ(gl_spy::LiveObjects(), objects + programs) << glsl_src[row];
  }
  EXPECT_FALSE(context()->BindShader("to_rgba"));
  EXPECT_EQ(gl_spy::LiveObjects(), objects + programs);
}

TEST_F(GraphicsContextGLTest, NamesOfBuiltInProgramsAreTakenBeforeTheyAreUsed) {
  constexpr char kOnes[] = "out vec4 FragColor;\nvoid main() { FragColor = vec4(1.0); }\n";
  ASSERT_TRUE(device()->AddShader("to_y", glsl_src[1], kOnes));
  EXPECT_FALSE(device()->AddShader("to_u", glsl_src[1], "no program"));
  EXPECT_EQ(TakeLog().size(), 2u);
  for (const char* const name : {"to_y", "to_u"}) {
    ASSERT_TRUE(context()->BindShader(name));
    GLint program = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    EXPECT_NE(glGetUniformBlockIndex(static_cast<GLuint>(program), "u_buf0"), GL_INVALID_INDEX) << name;
  }
}

TEST_F(GraphicsContextGLTest, ABuiltInProgramThatFailsSaysSoOnceAndLeavesItsNameToAHost) {
  gl_spy::faults().failed_links = 1;
  EXPECT_FALSE(context()->BindShader("to_bgra"));
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error", "E: The program \"to_bgra\" could not be built"));
  EXPECT_FALSE(context()->BindShader("to_bgra"));
  EXPECT_THAT(TakeLog(), IsEmpty());
  EXPECT_TRUE(context()->BindShader("to_y")) << "the others are not stopped";
  ASSERT_TRUE(device()->AddShader("to_bgra", glsl_src[1], glsl_src[kGsGlslRgba + 2]));
  EXPECT_TRUE(context()->BindShader("to_bgra"));

  // When it is a host's program of its name that has it tried.
  gl_spy::faults().failed_links = 1;
  ASSERT_TRUE(device()->AddShader("to_v", glsl_src[1], glsl_src[kGsGlslRgba + 2]));
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error", "E: The program \"to_v\" could not be built"));
  EXPECT_TRUE(context()->BindShader("to_v"));
}

TEST_F(GraphicsContextGLTest, ABuiltInProgramForWhichThereWasNoMemoryIsTriedAgain) {
  gl_spy::faults().failed_links = 1;
  gl_spy::faults().errors = {GL_OUT_OF_MEMORY};
  EXPECT_FALSE(context()->BindShader("to_bgra"));
  EXPECT_EQ(TakeLog().size(), 3u);
  EXPECT_TRUE(context()->BindShader("to_bgra"));
  EXPECT_THAT(TakeLog(), IsEmpty());

  // Not even for a program to link.
  gl_spy::faults().create_program = true;
  EXPECT_FALSE(context()->BindShader("to_y"));
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error", "E: The program \"to_y\" could not be built"));
  gl_spy::faults().create_program = false;
  EXPECT_TRUE(context()->BindShader("to_y"));
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsContextGLTest, BuildingTheProgramsAgainKeepsTheFirstOnes) {
  ASSERT_TRUE(context()->BindShader("rgba"));
  GLint before = 0;
  glGetIntegerv(GL_CURRENT_PROGRAM, &before);
  const int objects = gl_spy::LiveObjects();
  context()->BuildShader();
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
  ASSERT_TRUE(context()->BindShader("rgba"));
  GLint after = 0;
  glGetIntegerv(GL_CURRENT_PROGRAM, &after);
  EXPECT_EQ(before, after);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

}  // namespace
