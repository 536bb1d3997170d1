// A device without a window for tests of the OpenGL backend.
//
//   TEST_F(GraphicsTextureGLTest, RefusesOtherLayouts) {
//     GraphicsTextureGL texture(context(), kFormatBGRA, 4, 4);
//     EXPECT_FALSE(texture.Init(true));
//   }
//
// A test fails when it leaves a warning or an error in the log that it has not taken, a GL error pending, or a GL
// object undeleted after the device is gone.
#ifndef QUARN_TESTS_SUPPORT_GL_FIXTURE_H_
#define QUARN_TESTS_SUPPORT_GL_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "graphics/opengl/cgl/graphics_context_cgl.h"
#include "graphics/opengl/cgl/graphics_device_cgl.h"
#include "graphics/opengl/gl_scope.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/output/graphics_frame.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/gl_spy.h"
#include "tests/support/image_compare.h"
#include "tests/support/log_capture.h"

class GlTest : public ::testing::Test {
 protected:
  GlTest();
  ~GlTest() override;
  void SetUp() override;
  void TearDown() override;

  GraphicsDeviceCGL* device() { return device_.get(); }
  // The device's context, built.
  GraphicsContextCGL* context() { return static_cast<GraphicsContextCGL*>(device_->gs_context()); }
  // Before the test's end, as a host would; checks that no GL object is left.
  void DestroyDevice();

  // The warnings and errors logged since the last call, as "W: text" and "E: text".
  std::vector<std::string> TakeLog();
  LogCapture& log() { return log_; }

 private:
  LogCapture log_;
  int objects_before_ = 0;
  std::unique_ptr<GraphicsDeviceCGL> device_;
};

namespace test {

// Holds a context's lock and keeps it current.
using CurrentContext = GLScope;

// A picture in which a wrong place, size, direction or channel shows: ramps in red and green, squares in blue.
Picture TestCard(int width, int height);
// A frame that shows `picture` upright when it is drawn: its first row is the bottom one.
GraphicsFrame UprightFrame(GraphicsFormatInternal format, const Picture& picture);
// A texture that shows `picture`, with one, two or four channels as the picture has them.
std::unique_ptr<GraphicsTextureGL> MakeTexture(GraphicsContextGL* context, const Picture& picture);
// What a render target holds, upright. It must have been bound once.
Picture ReadTarget(GraphicsContextGL* context, GraphicsTextureGL* target, int channels = 4);
// The GL names behind a texture.
GLuint TextureName(GraphicsContextGL* context, GraphicsTextureGL* texture);

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_GL_FIXTURE_H_
