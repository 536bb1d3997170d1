#include "graphics/opengl/graphics_constant_buffer_gl.h"

#include <gmock/gmock.h>

#include <limits>
#include <numeric>
#include <thread>
#include <vector>

#include <quarn/glsl_src.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/gl_error.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

class GraphicsConstantBufferGLTest : public GlTest {
 protected:
  static std::vector<unsigned char> Ramp(std::size_t size, unsigned char first) {
    std::vector<unsigned char> bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
  }
  GLuint BufferAt(GLuint point) {
    const test::CurrentContext current(context());
    GLint buffer = 0;
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, point, &buffer);
    return static_cast<GLuint>(buffer);
  }
};

TEST_F(GraphicsConstantBufferGLTest, InitUploadsTheBytes) {
  const std::vector<unsigned char> bytes = Ramp(32, 1);
  GraphicsConstantBufferGL buffer(context(), bytes.data(), 32);
  ASSERT_TRUE(buffer.Init());
  const gl_spy::Upload upload = gl_spy::Uploads().back();
  EXPECT_EQ(upload.target, static_cast<GLenum>(GL_UNIFORM_BUFFER));
  EXPECT_EQ(upload.usage, static_cast<GLenum>(GL_DYNAMIC_DRAW));
  EXPECT_EQ(upload.bytes, bytes);
}

TEST_F(GraphicsConstantBufferGLTest, BytesForWhichThereWasNoMemoryAreSentAgain) {
  const std::vector<unsigned char> bytes = Ramp(32, 1);
  GraphicsConstantBufferGL buffer(context(), bytes.data(), 32);
  gl_spy::faults().errors = {GL_OUT_OF_MEMORY};
  ASSERT_TRUE(buffer.Init());
  EXPECT_EQ(TakeLog().size(), 0u);
  const std::size_t uploads = gl_spy::Uploads().size();
  EXPECT_EQ(CheckGLError(__FILE__, __LINE__), static_cast<unsigned int>(GL_OUT_OF_MEMORY));  // As a draw does.
  EXPECT_EQ(TakeLog().size(), 1u);
  const test::CurrentContext current(context());
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(buffer.Bind(0));
    buffer.Unbind();
    ASSERT_EQ(gl_spy::Uploads().size(), uploads + 1);
  }
  EXPECT_EQ(gl_spy::Uploads().back().bytes, bytes);

  // The same bytes once more are no change, unless they have not come through.
  gl_spy::faults().errors = {GL_OUT_OF_MEMORY};
  const std::vector<unsigned char> news = Ramp(32, 50);
  buffer.Update(news.data(), 32);
  EXPECT_EQ(TakeLog().size(), 0u);
  CheckGLError(__FILE__, __LINE__);
  buffer.Update(news.data(), 32);
  buffer.Update(news.data(), 32);
  EXPECT_EQ(gl_spy::Uploads().size(), uploads + 3);
  EXPECT_EQ(TakeLog().size(), 1u);
}

TEST_F(GraphicsConstantBufferGLTest, SizeOnlyBufferHoldsZeros) {
  GraphicsConstantBufferGL buffer(context(), 48);
  ASSERT_TRUE(buffer.Init());
  const gl_spy::Upload upload = gl_spy::Uploads().back();
  EXPECT_TRUE(upload.has_data);
  EXPECT_EQ(upload.bytes.size(), 48u);
  EXPECT_THAT(upload.bytes, Each(0));
}

TEST_F(GraphicsConstantBufferGLTest, ShortUpdateKeepsTheRestAndUploadsEverything) {
  std::vector<unsigned char> bytes = Ramp(32, 1);
  GraphicsConstantBufferGL buffer(context(), bytes.data(), 32);
  ASSERT_TRUE(buffer.Init());
  const std::vector<unsigned char> news = Ramp(8, 100);
  buffer.Update(news.data(), 8);
  std::copy(news.begin(), news.end(), bytes.begin());
  const gl_spy::Upload upload = gl_spy::Uploads().back();
  EXPECT_EQ(upload.usage, static_cast<GLenum>(GL_DYNAMIC_DRAW));
  EXPECT_EQ(upload.bytes, bytes);
}

TEST_F(GraphicsConstantBufferGLTest, LongUpdateIsCut) {
  GraphicsConstantBufferGL buffer(context(), 32);
  ASSERT_TRUE(buffer.Init());
  const std::vector<unsigned char> news = Ramp(64, 1);
  buffer.Update(news.data(), 64);
  EXPECT_EQ(gl_spy::Uploads().back().bytes, Ramp(32, 1));
}

TEST_F(GraphicsConstantBufferGLTest, UpdateBeforeInitReachesTheBuffer) {
  GraphicsConstantBufferGL buffer(context(), 16);
  const std::vector<unsigned char> news = Ramp(16, 5);
  const std::size_t uploads = gl_spy::Uploads().size();
  buffer.Update(news.data(), 16);
  EXPECT_EQ(gl_spy::Uploads().size(), uploads);
  ASSERT_TRUE(buffer.Init());
  EXPECT_EQ(gl_spy::Uploads().back().bytes, news);
}

TEST_F(GraphicsConstantBufferGLTest, NullDataChangesNothing) {
  GraphicsConstantBufferGL buffer(context(), nullptr, 16);
  ASSERT_TRUE(buffer.Init());
  EXPECT_THAT(gl_spy::Uploads().back().bytes, Each(0));
  const std::size_t uploads = gl_spy::Uploads().size();
  buffer.Update(nullptr, 16);
  EXPECT_EQ(gl_spy::Uploads().size(), uploads);
}

TEST_F(GraphicsConstantBufferGLTest, SlotBindsThePointAfterIt) {
  GraphicsConstantBufferGL buffer(context(), 32);
  ASSERT_TRUE(buffer.Init());
  const test::CurrentContext current(context());
  ASSERT_TRUE(buffer.Bind(0));
  EXPECT_NE(BufferAt(1), 0u);
  EXPECT_EQ(BufferAt(2), 0u);
  buffer.Unbind();
  EXPECT_NE(BufferAt(1), 0u) << "Unbind leaves the GL binding in place";
}

TEST_F(GraphicsConstantBufferGLTest, PointGivenBackReadsZerosAtTheNextDraw) {
  ASSERT_TRUE(device()->AddShader("three", glsl_src[1], R"(
out vec4 FragColor;
uniform u_buf0 { vec4 color0; };
uniform u_buf1 { vec4 color1; };
uniform u_buf2 { vec4 color2; };
void main() { FragColor = color0 + color1 + color2; }
)"));
  GraphicsTextureGL target(context(), 4, 4);
  ASSERT_TRUE(target.Init(true));
  const float white[] = {1.0f, 1.0f, 1.0f, 1.0f};
  GraphicsConstantBufferGL buffer(context(), white, sizeof(white));
  ASSERT_TRUE(buffer.Init());

  const test::CurrentContext current(context());
  ASSERT_TRUE(target.BindRenderTarget());
  context()->SetViewPort(0, 0, 4, 4);
  ASSERT_TRUE(context()->BindShader("three"));
  ASSERT_TRUE(buffer.Bind(2));
  const GLuint claimed = BufferAt(3);
  context()->DrawRect(internal_vec2(4, 4), internal_vec2(4, 4));
  EXPECT_EQ(BufferAt(3), claimed);
  EXPECT_THAT(test::ReadTarget(context(), &target).pixels, Each(255));
  buffer.Unbind();
  context()->DrawRect(internal_vec2(4, 4), internal_vec2(4, 4));
  EXPECT_NE(BufferAt(3), claimed);
  EXPECT_EQ(BufferAt(3), BufferAt(1)) << "the zeros";
  EXPECT_THAT(test::ReadTarget(context(), &target).pixels, Each(0));
}

TEST_F(GraphicsConstantBufferGLTest, UnbindWithoutBindDoesNothing) {
  GraphicsConstantBufferGL buffer(context(), 16);
  ASSERT_TRUE(buffer.Init());
  buffer.Unbind();
}

TEST_F(GraphicsConstantBufferGLTest, SlotsThatNoBlockHasAreBoundAllTheSame) {
  GraphicsConstantBufferGL buffer(context(), 256);
  ASSERT_TRUE(buffer.Init());
  const test::CurrentContext current(context());
  EXPECT_TRUE(buffer.Bind(10));
  EXPECT_NE(BufferAt(11), 0u);
  buffer.Unbind();
  EXPECT_TRUE(buffer.Bind(-1));
  EXPECT_EQ(BufferAt(0), BufferAt(11));
  buffer.Unbind();
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(GraphicsConstantBufferGLTest, PointsThatGlDoesNotHaveAreItsOwnErrors) {
  GraphicsTextureGL target(context(), 4, 4);
  ASSERT_TRUE(target.Init(true));
  ASSERT_TRUE(device()->AddShader("blue", glsl_src[1], R"(
out vec4 FragColor;
uniform u_buf0 { vec4 color0; };
void main() { FragColor = color0 + vec4(0.0, 0.0, 1.0, 1.0); }
)"));
  const float white[] = {1.0f, 1.0f, 1.0f, 1.0f};
  GraphicsConstantBufferGL buffer(context(), white, sizeof(white));
  ASSERT_TRUE(buffer.Init());
  const test::CurrentContext current(context());
  ASSERT_TRUE(target.BindRenderTarget());
  context()->SetViewPort(0, 0, 4, 4);
  ASSERT_TRUE(context()->BindShader("blue"));
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const int slot : {1000000, kMax, -2, -kMax - 1}) {
    EXPECT_TRUE(buffer.Bind(slot));
    context()->DrawRect(internal_vec2(4, 4), internal_vec2(4, 4));
    EXPECT_THAT(TakeLog(), ElementsAre(testing::MatchesRegex("W: INVALID_VALUE \\| graphics/opengl/.*"))) << slot;
    buffer.Unbind();
  }
  EXPECT_TRUE(buffer.Bind(-1));  // In the place of the matrices, which the draw takes back.
  context()->DrawRect(internal_vec2(4, 4), internal_vec2(4, 4));
  buffer.Unbind();
  context()->UnbindShader();
  EXPECT_EQ(test::ReadTarget(context(), &target).at(1, 1)[0], 0);
  EXPECT_EQ(test::ReadTarget(context(), &target).at(1, 1)[2], 255);
}

TEST_F(GraphicsConstantBufferGLTest, DoesNoGlWorkWithoutAContext) {
  const unsigned char bytes[16] = {};
  const std::size_t uploads = gl_spy::Uploads().size();
  GraphicsConstantBufferGL buffer(nullptr, bytes, 16);
  EXPECT_FALSE(buffer.Init());
  EXPECT_FALSE(buffer.Bind(0));
  buffer.Update(bytes, 16);
  buffer.Unbind();
  EXPECT_EQ(gl_spy::Uploads().size(), uploads);
}

TEST_F(GraphicsConstantBufferGLTest, InitFailsWhenTheContextCannotBeMadeCurrent) {
  GraphicsConstantBufferGL buffer(context(), 16);
  gl_spy::faults().make_current = true;
  EXPECT_FALSE(buffer.Init());
  const unsigned char bytes[16] = {};
  buffer.Update(bytes, 16);
  gl_spy::faults().make_current = false;
  EXPECT_FALSE(buffer.Bind(0));
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(GraphicsConstantBufferGLTest, AnotherInitMakesTheBufferAnew) {
  const int objects = gl_spy::LiveObjects();
  {
    GraphicsConstantBufferGL buffer(context(), 16);
    EXPECT_TRUE(buffer.Init());
    EXPECT_TRUE(buffer.Init());
    EXPECT_EQ(gl_spy::LiveObjects(), objects + 1);
    gl_spy::faults().gen_buffers = true;
    EXPECT_FALSE(buffer.Init());
    EXPECT_EQ(TakeLog().size(), 1u);
    gl_spy::faults().gen_buffers = false;
    const test::CurrentContext current(context());
    EXPECT_FALSE(buffer.Bind(0));
  }
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(GraphicsConstantBufferGLTest, InitFailsWithoutAName) {
  gl_spy::faults().gen_buffers = true;
  GraphicsConstantBufferGL buffer(context(), 16);
  EXPECT_FALSE(buffer.Init());
  EXPECT_THAT(TakeLog(), ElementsAre("E: A constant buffer of 16 bytes cannot be made: GL has no buffer for it"));
  EXPECT_FALSE(buffer.Bind(0));
}

TEST_F(GraphicsConstantBufferGLTest, UpdateToTheSameBytesUploadsNothing) {
  const unsigned char bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  GraphicsConstantBufferGL buffer(context(), 16);
  ASSERT_TRUE(buffer.Init());
  buffer.Update(bytes, 8);
  const std::size_t before = gl_spy::Uploads().size();
  buffer.Update(bytes, 8);
  buffer.Update(bytes, 3);
  EXPECT_EQ(gl_spy::Uploads().size(), before);
  buffer.Update(bytes + 1, 3);
  ASSERT_EQ(gl_spy::Uploads().size(), before + 1);
  EXPECT_THAT(gl_spy::Uploads().back().bytes, ElementsAre(2, 3, 4, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(GraphicsConstantBufferGLTest, UpdatesOfTwoThreadsDoNotMix) {
  GraphicsConstantBufferGL buffer(context(), 4096);
  ASSERT_TRUE(buffer.Init());
  const auto update = [&buffer](unsigned char value) {
    const std::vector<unsigned char> bytes(4096, value);
    for (int i = 0; i < 50; ++i) buffer.Update(bytes.data(), 4096);
  };
  const std::size_t before = gl_spy::Uploads().size();
  std::thread other(update, 1);
  update(2);
  other.join();
  const std::vector<gl_spy::Upload> uploads = gl_spy::Uploads();
  ASSERT_GE(uploads.size(), before + 2);
  for (std::size_t i = before; i < uploads.size(); ++i) EXPECT_THAT(uploads[i].bytes, Each(uploads[i].bytes[0]));
}

}  // namespace
