#include "graphics/opengl/packed_planes.h"

#include "tests/support/gl_fixture.h"

namespace {

class PackedPlanesTest : public GlTest {};

// Rows that leave red, green and blue as they are.
constexpr float kRows[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

TEST_F(PackedPlanesTest, FitWholeTexelsOnly) {
  EXPECT_TRUE(PackedPlanes::Fits(2, 4, 2));
  EXPECT_FALSE(PackedPlanes::Fits(2, 6, 2));
  EXPECT_FALSE(PackedPlanes::Fits(2, 4, 3));
  EXPECT_TRUE(PackedPlanes::Fits(3, 8, 2));
  EXPECT_FALSE(PackedPlanes::Fits(3, 4, 2)) << "rows of U of half a texel";
  EXPECT_FALSE(PackedPlanes::Fits(3, 8, 5));
  EXPECT_FALSE(PackedPlanes::Fits(1, 8, 2)) << "a picture of one plane";
}

// Each plane's bytes lie side by side, four to a texel: with red for luma, green for U and blue for V.
TEST_F(PackedPlanesTest, LieFourBytesToATexel) {
  const int width = 16, height = 4;
  test::Picture picture(width, height, 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char* const pixel = picture.at(x, height - 1 - y);  // GL's rows go up.
      pixel[0] = static_cast<unsigned char>(16 * y + x);
      pixel[1] = static_cast<unsigned char>(100 + 8 * (y / 2) + x / 2);
      pixel[2] = static_cast<unsigned char>(200 + 8 * (y / 2) + x / 2);
      pixel[3] = 255;
    }
  }
  for (const int planes : {2, 3}) {
    SCOPED_TRACE(planes);
    const auto source = test::MakeTexture(context(), picture);
    PackedPlanes packed(context(), planes, width, height);
    const test::CurrentContext current(context());
    ASSERT_TRUE(packed.Init());
    ASSERT_TRUE(packed.Draw(source.get(), kRows));
    const test::Picture drawn = test::ReadTarget(context(), packed.target());
    const auto byte = [&](int plane, int x, int y) {
      const PackedPlanes::Part& part = packed.part(plane);
      const int row = drawn.height - 1 - static_cast<int>(part.y) - y;
      return static_cast<int>(drawn.at(static_cast<int>(part.x) + x / 4, row)[x % 4]);
    };
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) EXPECT_EQ(byte(0, x, y), 16 * y + x);
    }
    for (int y = 0; y < height / 2; ++y) {
      for (int x = 0; x < width / 2; ++x) {
        EXPECT_EQ(planes == 2 ? byte(1, 2 * x, y) : byte(1, x, y), 100 + 8 * y + x);
        EXPECT_EQ(planes == 2 ? byte(1, 2 * x + 1, y) : byte(2, x, y), 200 + 8 * y + x);
      }
    }
  }
}

TEST_F(PackedPlanesTest, SayNothingWhenTheTargetCannotBeBound) {
  const auto source = test::MakeTexture(context(), test::TestCard(8, 4));
  PackedPlanes packed(context(), 2, 8, 4);
  const test::CurrentContext current(context());
  ASSERT_TRUE(packed.Init());
  gl_spy::faults().incomplete = true;
  EXPECT_FALSE(packed.Draw(source.get(), kRows));
  gl_spy::faults().incomplete = false;
  EXPECT_TRUE(TakeLog().empty());
}

TEST_F(PackedPlanesTest, ComeToNothingWithoutATarget) {
  gl_spy::faults().gen_framebuffers = true;
  PackedPlanes packed(context(), 2, 8, 4);
  const test::CurrentContext current(context());
  EXPECT_FALSE(packed.Init());
  gl_spy::faults().gen_framebuffers = false;
  EXPECT_EQ(TakeLog(), std::vector<std::string>{"E: GraphicsTextureGL create FrameBuffer failed"});
}

}  // namespace
