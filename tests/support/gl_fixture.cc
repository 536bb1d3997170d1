#include "tests/support/gl_fixture.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

GLenum ReadFormat(int channels) { return channels == 1 ? GL_RED : channels == 2 ? GL_RG : GL_RGBA; }

}  // namespace

GlTest::GlTest() {
  // No window system, whatever the machine has.
  unsetenv("DISPLAY");
  gl_spy::Reset();
}

GlTest::~GlTest() { gl_spy::Reset(); }

void GlTest::SetUp() {
  objects_before_ = gl_spy::LiveObjects();
  device_ = std::make_unique<GraphicsDeviceCGL>();
  ASSERT_TRUE(device_->Init());
  ASSERT_TRUE(context()->available());
  EXPECT_EQ(TakeLog(), std::vector<std::string>());
}

void GlTest::TearDown() {
  DestroyDevice();
  EXPECT_EQ(TakeLog(), std::vector<std::string>()) << "a message that the test does not expect";
}

void GlTest::DestroyDevice() {
  if (!device_) return;
  if (device_->gs_context()) {
    test::CurrentContext current(context());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR)) << "an error that nobody has looked at";
  }
  device_.reset();
  EXPECT_EQ(gl_spy::LiveObjects(), objects_before_) << "GL objects that nobody deleted";
}

std::vector<std::string> GlTest::TakeLog() {
  std::vector<std::string> result;
  for (const LogCapture::Line& line : log_.Lines()) {
    if (line.level == Logger::Level::Warn) result.push_back("W: " + line.text);
    if (line.level == Logger::Level::Error) result.push_back("E: " + line.text);
  }
  log_.Clear();
  return result;
}

namespace test {

Picture TestCard(int width, int height) {
  Picture picture(width, height, 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char* const pixel = picture.at(x, y);
      pixel[0] = static_cast<unsigned char>(255 * (2 * x + 1) / (2 * width));
      pixel[1] = static_cast<unsigned char>(255 * (2 * y + 1) / (2 * height));
      pixel[2] = (x / 16 + y / 16) % 2 ? 224 : 32;
      pixel[3] = 255;
    }
  }
  return picture;
}

GraphicsFrame UprightFrame(GraphicsFormatInternal format, const Picture& picture) {
  GraphicsFrame frame(format, static_cast<unsigned int>(picture.width), static_cast<unsigned int>(picture.height));
  const Picture flipped = picture.Flipped();
  if (frame.data[0]) std::memcpy(frame.data[0], flipped.pixels.data(), flipped.pixels.size());
  return frame;
}

std::unique_ptr<GraphicsTextureGL> MakeTexture(GraphicsContextGL* context, const Picture& picture) {
  const GraphicsFormatInternal format = picture.channels == 2 ? kFormatRG8 : kFormatRGBA;
  auto texture = std::make_unique<GraphicsTextureGL>(context, UprightFrame(format, picture));
  EXPECT_TRUE(texture->Init(false));
  return texture;
}

Picture ReadTarget(GraphicsContextGL* context, GraphicsTextureGL* target, int channels) {
  const CurrentContext current(context);
  Picture picture(static_cast<int>(target->width()), static_cast<int>(target->height()), channels);
  EXPECT_TRUE(target->BindReadFrameBuffer());
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, picture.width, picture.height, ReadFormat(channels), GL_UNSIGNED_BYTE, picture.pixels.data());
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  target->ReleaseReadFrameBuffer();
  return picture.Flipped();
}

GLuint TextureName(GraphicsContextGL* context, GraphicsTextureGL* texture) {
  const CurrentContext current(context);
  EXPECT_TRUE(texture->BindShaderResource(0));
  GLint name = 0;
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &name);
  texture->ReleaseShaderResource();
  return static_cast<GLuint>(name);
}

}  // namespace test
