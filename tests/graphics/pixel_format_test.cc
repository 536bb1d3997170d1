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
    int planes;
  };
  const Row rows[] = {{kFormatUnknown, 0, Chroma::kNone, false, 0},    {kFormatRGBA, 4, Chroma::kNone, true, 1},
                      {kFormatBGRA, 4, Chroma::kNone, false, 1},       {kFormatR8, 1, Chroma::kNone, true, 1},
                      {kFormatRG8, 2, Chroma::kNone, true, 1},         {kFormatRGBA16, 8, Chroma::kNone, true, 1},
                      {kFormatI420, 1, Chroma::kPlanar, false, 3},     {kFormatNV12, 1, Chroma::kInterleaved, false, 2},
                      {kFormatNV21, 1, Chroma::kInterleaved, false, 2}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.format);
    const PixelFormat format = PixelFormatOf(row.format);
    EXPECT_EQ(format.pixel_size, row.pixel_size);
    EXPECT_EQ(format.chroma, row.chroma);
    EXPECT_EQ(format.copied, row.copied);
    EXPECT_EQ(format.planes(), row.planes);
  }
}

TEST(PixelFormatTest, ValueThatIsNoLayoutHasNoBytes) {
  const PixelFormat format = PixelFormatOf(static_cast<GraphicsFormatInternal>(9));
  EXPECT_EQ(format.pixel_size, 0u);
  EXPECT_FALSE(format.copied);
  EXPECT_EQ(format.planes(), 0);
}

}  // namespace
