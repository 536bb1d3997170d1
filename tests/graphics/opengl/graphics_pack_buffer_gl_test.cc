#include "graphics/opengl/graphics_pack_buffer_gl.h"

#include <gmock/gmock.h>

#include "graphics/frame_times.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

using GraphicsPackBufferGLTest = GlTest;

GLuint BoundPackBuffer() {
  GLint buffer = 0;
  glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  return static_cast<GLuint>(buffer);
}

TEST_F(GraphicsPackBufferGLTest, InitAllocatesForReading) {
  GraphicsPackBufferGL buffer(context(), 77);
  EXPECT_EQ(buffer.size(), 77u);
  const std::size_t uploads = gl_spy::Uploads().size();
  ASSERT_TRUE(buffer.Init());
  ASSERT_EQ(gl_spy::Uploads().size(), uploads + 1);
  const gl_spy::Upload upload = gl_spy::Uploads().back();
  EXPECT_EQ(upload.target, static_cast<GLenum>(GL_PIXEL_PACK_BUFFER));
  EXPECT_EQ(upload.bytes.size(), 77u);
  EXPECT_FALSE(upload.has_data);
  EXPECT_EQ(upload.usage, static_cast<GLenum>(GL_STREAM_READ));
}

TEST_F(GraphicsPackBufferGLTest, BindsAndMaps) {
  const test::CurrentContext current(context());
  GraphicsPackBufferGL buffer(context(), 16);
  ASSERT_TRUE(buffer.Init());
  EXPECT_EQ(BoundPackBuffer(), 0u);
  EXPECT_TRUE(buffer.Bind());
  EXPECT_NE(BoundPackBuffer(), 0u);
  EXPECT_NE(buffer.Map(), nullptr);
  EXPECT_TRUE(buffer.Unmap());
  EXPECT_FALSE(buffer.Unmap()) << "it is not mapped";
  glGetError();
  buffer.Unbind();
  EXPECT_EQ(BoundPackBuffer(), 0u);
}

TEST_F(GraphicsPackBufferGLTest, MappingIsAWaitOfTheFrame) {
  const test::CurrentContext current(context());
  GraphicsPackBufferGL buffer(context(), 16);
  ASSERT_TRUE(buffer.Init());
  buffer.Bind();
  FrameTimes times;
  times.Begin(0);
  {
    const MeasuredFrames measured(&times);
    buffer.Map();
  }
  buffer.Unmap();
  buffer.Unbind();
  EXPECT_NE(times.End(1).readback_wait_ns, kGsNotMeasured);
}

TEST_F(GraphicsPackBufferGLTest, MapAnswersNullWhenTheDriverDoes) {
  const test::CurrentContext current(context());
  GraphicsPackBufferGL buffer(context(), 16);
  ASSERT_TRUE(buffer.Init());
  buffer.Bind();
  gl_spy::faults().map_buffer = true;
  EXPECT_EQ(buffer.Map(), nullptr);
  buffer.Unbind();
}

TEST_F(GraphicsPackBufferGLTest, AnotherInitMakesTheBufferAnew) {
  const int objects = gl_spy::LiveObjects();
  GraphicsPackBufferGL buffer(context(), 16);
  EXPECT_TRUE(buffer.Init());
  EXPECT_TRUE(buffer.Init());
  EXPECT_TRUE(buffer.available());
  EXPECT_EQ(gl_spy::LiveObjects(), objects + 1);
}

TEST_F(GraphicsPackBufferGLTest, InitFailsWithoutAContext) { EXPECT_FALSE(GraphicsPackBufferGL(nullptr, 16).Init()); }

TEST_F(GraphicsPackBufferGLTest, InitFailsWhenTheContextCannotBeMadeCurrent) {
  GraphicsPackBufferGL buffer(context(), 16);
  gl_spy::faults().make_current = true;
  EXPECT_FALSE(buffer.Init());
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

TEST_F(GraphicsPackBufferGLTest, InitSucceedsEvenWithoutAName) {
  gl_spy::faults().gen_buffers = true;
  GraphicsPackBufferGL buffer(context(), 16);
  EXPECT_TRUE(buffer.Init());
  EXPECT_THAT(
      TakeLog(),
      ElementsAre(MatchesRegex("W: INVALID_OPERATION \\| graphics/opengl/graphics_pack_buffer_gl\\.cc \\([0-9]+\\)")));
}

}  // namespace
