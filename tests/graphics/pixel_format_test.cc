// What frames make of the table is in graphics_frame_test.cc.
#include "graphics/pixel_format.h"

#include <gtest/gtest.h>

namespace {

using Chroma = PixelFormat::Chroma;

TEST(PixelFormatTest, EveryLayoutHasItsRow) {
  struct Row {
    GraphicsFormatInternal format;
    std::uint32_t pixel_size;
    Chroma chroma;
    bool copied;
    bool sampled;
    bool updates_shown;
    int planes;
  };
  const Row rows[] = {
      {kFormatUnknown, 0, Chroma::kNone, false, false, false, 0},
      {kFormatRGBA, 4, Chroma::kNone, true, true, true, 1},
      {kFormatBGRA, 4, Chroma::kNone, false, false, false, 1},
      {kFormatR8, 1, Chroma::kNone, true, false, false, 1},
      {kFormatRG8, 2, Chroma::kNone, true, true, false, 1},
      {kFormatRGBA16, 8, Chroma::kNone, true, false, false, 1},
      {kFormatI420, 1, Chroma::kPlanar, false, false, false, 3},
      {kFormatNV12, 1, Chroma::kInterleaved, false, false, false, 2},
      {kFormatNV21, 1, Chroma::kInterleaved, false, false, false, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.format);
    const PixelFormat format = PixelFormatOf(row.format);
    EXPECT_EQ(format.pixel_size, row.pixel_size);
    EXPECT_EQ(format.chroma, row.chroma);
    EXPECT_EQ(format.copied, row.copied);
    EXPECT_EQ(format.sampled, row.sampled);
    EXPECT_EQ(format.updates_shown, row.updates_shown);
    EXPECT_EQ(format.planes(), row.planes);
    EXPECT_LE(format.planes(), PixelFormat::kMaxPlanes);
  }
}

TEST(PixelFormatTest, PlanesOfAnOddSize) {
  struct Row {
    GraphicsFormatInternal format;
    int plane;
    std::uint32_t pixel_size, width, height, pitch;
    std::uint64_t size;
  };
  const Row rows[] = {
      {kFormatRGBA, 0, 4, 7, 5, 28, 140}, {kFormatRG8, 0, 2, 7, 5, 14, 70}, {kFormatRGBA16, 0, 8, 7, 5, 56, 280},
      {kFormatI420, 0, 1, 7, 5, 7, 35},   {kFormatI420, 1, 1, 3, 2, 3, 8},  {kFormatI420, 2, 1, 3, 2, 3, 8},
      {kFormatNV12, 0, 1, 7, 5, 7, 35},   {kFormatNV12, 1, 2, 3, 2, 7, 17}, {kFormatNV21, 1, 2, 3, 2, 7, 17},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.format << ", plane " << row.plane);
    const PixelFormat::Plane plane = PixelFormatOf(row.format).plane(row.plane);
    EXPECT_EQ(plane.pixel_size, row.pixel_size);
    EXPECT_EQ(plane.Width(7), row.width);
    EXPECT_EQ(plane.Height(5), row.height);
    EXPECT_EQ(plane.Pitch(7), row.pitch);
    EXPECT_EQ(plane.Size(7, 5), row.size);
  }
}

TEST(PixelFormatTest, SizeOfAllPlanesIsRoundedOnce) {
  EXPECT_EQ(PixelFormatOf(kFormatRGBA).Size(7, 5), 140u);
  EXPECT_EQ(PixelFormatOf(kFormatI420).Size(7, 5), 52u) << "and not 35 + 8 + 8";
  EXPECT_EQ(PixelFormatOf(kFormatNV12).Size(7, 5), 52u);
  EXPECT_EQ(PixelFormatOf(kFormatUnknown).Size(7, 5), 0u);
}

TEST(PixelFormatTest, SizesOfTheLargestPicturesDoNotWrap) {
  constexpr std::uint32_t kSide = 0xFFFFFFFFu;
  EXPECT_EQ(PixelFormatOf(kFormatNV12).plane(1).Pitch(kSide), kSide);
  EXPECT_EQ(PixelFormatOf(kFormatNV12).Size(kSide, 1), 6442450942u);
  EXPECT_EQ(PixelFormatOf(kFormatRGBA16).Size(kSide / 8, 1), 4294967288u);
}

TEST(PixelFormatTest, ValueThatIsNoLayoutHasNoBytes) {
  const PixelFormat format = PixelFormatOf(static_cast<GraphicsFormatInternal>(9));
  EXPECT_EQ(format.pixel_size, 0u);
  EXPECT_FALSE(format.copied);
  EXPECT_EQ(format.planes(), 0);
}

}  // namespace
