// What becomes of a picture of video where the driver refuses. The pictures themselves are judged in tests/public.
#include "graphics/opengl/graphics_video_texture_gl.h"

#include <memory>
#include <string>
#include <vector>

#include "tests/support/gl_fixture.h"

namespace {

constexpr char kNoRoom[] = "E: A video texture of 4x2 cannot be made: the driver has no room for its planes";

class GraphicsVideoTextureGLTest : public GlTest {
 protected:
  std::unique_ptr<GraphicsVideoTextureGL> Make(VideoLayout layout = VideoLayout::kI420) {
    return std::make_unique<GraphicsVideoTextureGL>(context(), layout, 4, 2);
  }
  // A picture of grey of that level.
  const char* Update(GraphicsVideoTextureGL* texture, unsigned char level) {
    const std::vector<unsigned char> luma(8, level), chroma(2, 128);
    const unsigned char* const planes[] = {luma.data(), chroma.data(), chroma.data()};
    const unsigned int strides[] = {4, 2, 2};
    return texture->Update({VideoMatrix::kBT709, true, false}, planes, strides);
  }
  int Level(GraphicsVideoTextureGL* texture) {
    return test::ReadTarget(context(), static_cast<GraphicsTextureGL*>(texture->image())).at(1, 1)[0];
  }
};

TEST_F(GraphicsVideoTextureGLTest, LeavesNothingBehind) {
  for (const VideoLayout layout : {VideoLayout::kI420, VideoLayout::kNV12, VideoLayout::kP010}) {
    Make(layout)->Init();  // The program stays with the context.
    const int objects = gl_spy::LiveObjects();
    auto texture = Make(layout);
    ASSERT_TRUE(texture->Init());
    EXPECT_EQ(gl_spy::LiveObjects(), objects + VideoPlanes(layout) + 2) << "the planes, the image and its framebuffer";
    texture.reset();
    EXPECT_EQ(gl_spy::LiveObjects(), objects);
  }
}

TEST_F(GraphicsVideoTextureGLTest, InitFailsWhereATextureCannotBeHad) {
  auto texture = Make();
  gl_spy::faults().gen_textures = true;
  EXPECT_FALSE(texture->Init());
  gl_spy::faults().gen_textures = false;
  EXPECT_EQ(TakeLog(), std::vector<std::string>{kNoRoom});
}

// The error of the second plane's storage.
TEST_F(GraphicsVideoTextureGLTest, InitFailsWhereThereIsNoRoomForAPlane) {
  auto texture = Make();
  gl_spy::faults().errors = {GL_NO_ERROR, GL_NO_ERROR, GL_OUT_OF_MEMORY};
  EXPECT_FALSE(texture->Init());
  EXPECT_TRUE(gl_spy::faults().errors.empty());
  const std::vector<std::string> log = TakeLog();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].rfind("W: OUT_OF_MEMORY", 0), 0u) << log[0];
  EXPECT_EQ(log[1], kNoRoom);
}

TEST_F(GraphicsVideoTextureGLTest, InitFailsWhereTheImageCannotBeDrawnInto) {
  auto texture = Make();
  gl_spy::faults().incomplete = true;
  EXPECT_FALSE(texture->Init());
  gl_spy::faults().incomplete = false;
  EXPECT_EQ(TakeLog().size(), 1u);
  auto without_target = Make();
  gl_spy::faults().gen_framebuffers = true;
  EXPECT_FALSE(without_target->Init());
  gl_spy::faults().gen_framebuffers = false;
  EXPECT_EQ(TakeLog(), std::vector<std::string>{"E: GraphicsTextureGL create FrameBuffer failed"});
}

TEST_F(GraphicsVideoTextureGLTest, InitFailsWithoutAProgram) {
  gl_spy::faults().failed_links = 1;
  EXPECT_FALSE(Make()->Init());
  EXPECT_EQ(TakeLog().at(0), "E: CreateProgram linked error");
  EXPECT_FALSE(Make()->Init()) << "it is not tried again";
  EXPECT_TRUE(TakeLog().empty());
  EXPECT_TRUE(Make(VideoLayout::kNV12)->Init());
}

TEST_F(GraphicsVideoTextureGLTest, APictureThatTheDriverRefusesLeavesTheLastOne) {
  auto texture = Make();
  ASSERT_TRUE(texture->Init());
  EXPECT_EQ(Update(texture.get(), 90), nullptr);
  EXPECT_EQ(Level(texture.get()), 90);

  gl_spy::faults().errors = {GL_NO_ERROR, GL_NO_ERROR, GL_OUT_OF_MEMORY};
  EXPECT_STREQ(Update(texture.get(), 120), "the driver does not take its planes");
  EXPECT_EQ(TakeLog().size(), 1u);
  EXPECT_EQ(Level(texture.get()), 90);

  gl_spy::faults().incomplete = true;
  EXPECT_STREQ(Update(texture.get(), 150), "the driver does not draw it");
  gl_spy::faults().incomplete = false;
  EXPECT_TRUE(TakeLog().empty()) << "the caller says it";
  EXPECT_EQ(Level(texture.get()), 90);

  gl_spy::faults().make_current = true;
  EXPECT_STREQ(Update(texture.get(), 180), "its device cannot draw");
  gl_spy::faults().make_current = false;
  TakeLog();
  EXPECT_EQ(Level(texture.get()), 90);

  EXPECT_EQ(Update(texture.get(), 210), nullptr);
  EXPECT_EQ(Level(texture.get()), 210);
}

// What a host's own GL has left pending is not taken for the picture's.
TEST_F(GraphicsVideoTextureGLTest, ErrorsFromBeforeAreNotThePictures) {
  auto texture = Make();
  ASSERT_TRUE(texture->Init());
  gl_spy::faults().errors = {GL_INVALID_ENUM, GL_INVALID_VALUE};
  EXPECT_EQ(Update(texture.get(), 30), nullptr);
  EXPECT_EQ(TakeLog().size(), 2u);
  EXPECT_EQ(Level(texture.get()), 30);
}

TEST_F(GraphicsVideoTextureGLTest, DoesNothingWithoutAContext) {
  GraphicsVideoTextureGL texture(nullptr, VideoLayout::kI420, 4, 2);
  EXPECT_FALSE(texture.Init());
  EXPECT_STREQ(Update(&texture, 1), "its device cannot draw");
}

}  // namespace
