// What textures make of the tables is in graphics_texture_gl_test.cc, what outputs do in graphics_output_gl_test.cc,
// and what becomes of external images in cgl/external_image_test.cc.
#include "graphics/opengl/pixel_format_gl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <quarn/glsl_src.h>

namespace {

using ::testing::Contains;
using ::testing::StrEq;

constexpr GraphicsFormatInternal kFormats[] = {kFormatUnknown, kFormatRGBA, kFormatBGRA, kFormatR8,  kFormatRG8,
                                               kFormatRGBA16,  kFormatI420, kFormatNV12, kFormatNV21};

// One byte each.
std::uint32_t Channels(GLenum storage) { return storage == GL_RED ? 1 : storage == GL_RG ? 2 : 4; }

TEST(PixelFormatGLTest, OutputsDrawEveryPlaneOrNone) {
  for (const GraphicsFormatInternal format : kFormats) {
    const PixelFormatGL row = PixelFormatGLOf(format);
    const int planes = row.plane[0].program ? PixelFormatOf(format).planes() : 0;
    ASSERT_LE(planes, PixelFormatGL::kMaxPlanes);
    for (int i = 0; i < PixelFormatGL::kMaxPlanes; ++i) {
      EXPECT_EQ(row.plane[i].program != nullptr, i < planes) << format << ", plane " << i;
    }
  }
}

TEST(PixelFormatGLTest, PlanesAreDrawnIntoTargetsThatThereAre) {
  for (const GraphicsFormatInternal format : kFormats) {
    for (const PixelFormatGL::Plane& plane : PixelFormatGLOf(format).plane) {
      if (!plane.program) continue;
      const GLenum storage = PixelFormatGLOf(plane.target).target;
      EXPECT_NE(storage, 0u) << format;
      EXPECT_EQ(PixelFormatOf(plane.target).pixel_size, Channels(storage)) << "what is read back, one byte a channel";
      EXPECT_GE(plane.first_row, 0);
      EXPECT_LE(plane.first_row + plane.rows, 3) << "rows of Y, U and V";
    }
  }
}

TEST(PixelFormatGLTest, ProgramsAreBuiltInButForTheOneThatAHostAdds) {
  std::vector<std::string> names = {"to_rgba"};
  for (int row = 0; row < kGsGlslSrcCount; row += 3) names.emplace_back(glsl_src[row]);
  for (const GraphicsFormatInternal format : kFormats) {
    for (const PixelFormatGL::Plane& plane : PixelFormatGLOf(format).plane) {
      if (!plane.program) continue;
      EXPECT_THAT(names, Contains(StrEq(plane.program)));
    }
  }
}

TEST(PixelFormatGLTest, ValueThatIsNoLayoutHasNothing) {
  const PixelFormatGL row = PixelFormatGLOf(static_cast<GraphicsFormatInternal>(9));
  EXPECT_EQ(row.target, 0u);
  EXPECT_EQ(row.sampled, 0u);
  EXPECT_EQ(row.updated, 0u);
  EXPECT_EQ(row.plane[0].program, nullptr);
}

TEST(PixelFormatGLTest, UnknownCodeOfAnExternalImageIsTakenForBGRA) {
  EXPECT_TRUE(ExternalFormatGLOf(kExternalImageBGRA).known);
  EXPECT_TRUE(ExternalFormatGLOf(kExternalImageL10R).known);
  const ExternalFormatGL bgra = ExternalFormatGLOf(kExternalImageBGRA);
  for (const std::uint32_t code : {0u, 0x52474241u}) {
    const ExternalFormatGL unknown = ExternalFormatGLOf(code);
    EXPECT_FALSE(unknown.known);
    EXPECT_EQ(unknown.internal_format, bgra.internal_format);
    EXPECT_EQ(unknown.format, bgra.format);
    EXPECT_EQ(unknown.type, bgra.type);
    EXPECT_EQ(unknown.pixel_size, bgra.pixel_size);
  }
}

}  // namespace
