// What textures make of the tables is in graphics_texture_gl_test.cc, what outputs do in graphics_output_gl_test.cc,
// and what becomes of external images in cgl/linux/external_image_test.cc.
#include "graphics/opengl/pixel_format_gl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <quarn/glsl_src.h>

namespace {

using ::testing::Contains;
using ::testing::StrEq;

// What a row has to be; a plane is "TARGET PROGRAM FIRST_ROW ROWS".
struct Row {
  GraphicsFormatInternal format;
  GLenum target;
  GLenum sampled;
  GLenum updated;
  std::vector<std::string> planes;
};
const Row kRows[] = {
    {kFormatUnknown, 0, 0, 0, {}},
    {kFormatRGBA, GL_RGBA, GL_RGBA, GL_RGBA, {"1 rgba 0 0"}},
    {kFormatBGRA, 0, 0, GL_RGBA, {"1 to_rgba 0 0"}},
    {kFormatR8, GL_RED, GL_R8, 0, {}},
    {kFormatRG8, GL_RG, GL_RG, 0, {}},
    {kFormatRGBA16, 0, 0, 0, {}},
    {kFormatI420, 0, 0, 0, {"3 to_y 0 1", "3 to_u 1 1", "3 to_v 2 1"}},
    {kFormatNV12, 0, 0, 0, {"3 to_y 0 1", "4 to_uv 1 2"}},
    {kFormatNV21, 0, 0, 0, {}},
};

std::vector<std::string> Planes(const PixelFormatGL& row) {
  std::vector<std::string> planes;
  for (const PixelFormatGL::Plane& plane : row.plane) {
    if (!plane.program) continue;
    planes.push_back(std::to_string(plane.target) + " " + plane.program + " " + std::to_string(plane.first_row) + " " +
                     std::to_string(plane.rows));
  }
  return planes;
}

// Whether GL takes the storage, which is its pixel format as well.
bool IsPixelFormat(GLenum storage) { return storage == GL_RED || storage == GL_RG || storage == GL_RGBA; }

// Bytes of a pixel, one a channel.
std::uint32_t Channels(GLenum storage) { return storage == GL_RED ? 1 : storage == GL_RG ? 2 : 4; }

TEST(PixelFormatGLTest, EveryLayoutHasItsRow) {
  for (const Row& expected : kRows) {
    SCOPED_TRACE(expected.format);
    const PixelFormatGL row = PixelFormatGLOf(expected.format);
    EXPECT_EQ(row.target, expected.target);
    EXPECT_EQ(row.sampled, expected.sampled);
    EXPECT_EQ(row.updated, expected.updated);
    EXPECT_EQ(Planes(row), expected.planes);
  }
}

TEST(PixelFormatGLTest, AgreesWithWhatTheLayoutsSayOfTextures) {
  for (const Row& expected : kRows) {
    SCOPED_TRACE(expected.format);
    const PixelFormat layout = PixelFormatOf(expected.format);
    const PixelFormatGL row = PixelFormatGLOf(expected.format);
    EXPECT_EQ(layout.sampled, IsPixelFormat(row.sampled));
    EXPECT_EQ(layout.updates_shown, layout.copied && IsPixelFormat(row.sampled) && IsPixelFormat(row.updated));
    for (const GLenum storage : {row.target, row.sampled, row.updated}) {
      if (!IsPixelFormat(storage)) continue;
      EXPECT_EQ(layout.pixel_size, Channels(storage));
    }
  }
}

TEST(PixelFormatGLTest, OutputsDrawEveryPlaneOrNone) {
  for (const Row& expected : kRows) {
    const PixelFormatGL row = PixelFormatGLOf(expected.format);
    const int planes = row.plane[0].program ? PixelFormatOf(expected.format).planes() : 0;
    for (int i = 0; i < PixelFormat::kMaxPlanes; ++i) {
      EXPECT_EQ(row.plane[i].program != nullptr, i < planes) << expected.format << ", plane " << i;
    }
  }
}

TEST(PixelFormatGLTest, PlanesAreDrawnIntoTargetsOfTheirPixels) {
  for (const Row& expected : kRows) {
    const PixelFormatGL row = PixelFormatGLOf(expected.format);
    for (int i = 0; i < PixelFormat::kMaxPlanes; ++i) {
      const PixelFormatGL::Plane& plane = row.plane[i];
      if (!plane.program) continue;
      SCOPED_TRACE(testing::Message() << expected.format << ", plane " << i);
      const GLenum storage = PixelFormatGLOf(plane.target).target;
      EXPECT_NE(storage, 0u);
      EXPECT_EQ(PixelFormatOf(expected.format).plane(i).pixel_size, Channels(storage)) << "what is read back";
    }
  }
}

TEST(PixelFormatGLTest, ConstantsAreRowsOfTheMatrixThatProgramsHaveRoomFor) {
  constexpr int kMatrixRows = 3;  // Y, U and V.
  for (const Row& expected : kRows) {
    for (const PixelFormatGL::Plane& plane : PixelFormatGLOf(expected.format).plane) {
      EXPECT_GE(plane.first_row, 0);
      EXPECT_LE(plane.first_row + plane.rows, kMatrixRows);
      EXPECT_LE(plane.rows, PixelFormatGL::kMaxRows) << "constant buffers are made for that many";
    }
  }
}

TEST(PixelFormatGLTest, ProgramsAreBuiltInButForTheOneThatAHostAdds) {
  std::vector<std::string> names = {"to_rgba"};
  for (int row = 0; row < kGsGlslSrcCount; row += 3) names.emplace_back(glsl_src[row]);
  for (const Row& expected : kRows) {
    for (const PixelFormatGL::Plane& plane : PixelFormatGLOf(expected.format).plane) {
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
