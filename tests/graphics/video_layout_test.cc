// The planes of video, and the rows that turn their values into colours.
#include "graphics/video_layout.h"

#include <gtest/gtest.h>

namespace {

constexpr VideoLayout kLayouts[] = {VideoLayout::kI420, VideoLayout::kNV12, VideoLayout::kP010};

void ExpectPlane(const VideoPlane& plane, std::uint32_t width, std::uint32_t height, std::uint64_t row_bytes) {
  EXPECT_EQ(plane.width, width);
  EXPECT_EQ(plane.height, height);
  EXPECT_EQ(plane.row_bytes(), row_bytes);
}

TEST(VideoLayoutTest, HalvesAreRoundedUp) {
  EXPECT_EQ(VideoPlanes(VideoLayout::kI420), 3);
  ExpectPlane(VideoPlaneOf(VideoLayout::kI420, 0, 641, 3), 641, 3, 641);
  ExpectPlane(VideoPlaneOf(VideoLayout::kI420, 1, 641, 3), 321, 2, 321);
  ExpectPlane(VideoPlaneOf(VideoLayout::kI420, 2, 640, 2), 320, 1, 320);
  EXPECT_EQ(VideoPlanes(VideoLayout::kNV12), 2);
  ExpectPlane(VideoPlaneOf(VideoLayout::kNV12, 0, 1, 1), 1, 1, 1);
  ExpectPlane(VideoPlaneOf(VideoLayout::kNV12, 1, 1, 1), 1, 1, 2);
  EXPECT_EQ(VideoPlanes(VideoLayout::kP010), 2);
  ExpectPlane(VideoPlaneOf(VideoLayout::kP010, 0, 5, 4), 5, 4, 10);
  ExpectPlane(VideoPlaneOf(VideoLayout::kP010, 1, 5, 4), 3, 2, 12);
}

TEST(VideoLayoutTest, NoSideIsTooLongToCount) {
  const std::uint32_t most = 0xFFFFFFFF;
  ExpectPlane(VideoPlaneOf(VideoLayout::kP010, 1, most, most), 0x80000000, 0x80000000, std::uint64_t{0x80000000} * 4);
}

// Black, white and grey of a range are so in each channel, whatever the layout.
TEST(VideoLayoutTest, RowsMapTheEndsOfTheRanges) {
  for (const VideoLayout layout : kLayouts) {
    for (const VideoMatrix matrix : {VideoMatrix::kBT601, VideoMatrix::kBT709, VideoMatrix::kBT2020}) {
      for (const bool full : {false, true}) {
        const bool words = layout == VideoLayout::kP010;
        const auto read = [&](int value) { return words ? value * 64 / 65535.0f : value / 255.0f; };
        const int unit = words ? 4 : 1, most = words ? 1023 : 255;
        float rows[12];
        VideoRows(layout, {matrix, full, false}, rows);
        for (int i = 0; i < 12; i += 4) {
          const auto value = [&](float y) {
            return rows[i] * y + (rows[i + 1] + rows[i + 2]) * read(128 * unit) + rows[i + 3];
          };
          EXPECT_NEAR(value(read(full ? 0 : 16 * unit)), 0, 1e-5);
          EXPECT_NEAR(value(read(full ? most : 235 * unit)), 1, 1e-5);
        }
        EXPECT_EQ(rows[1], 0.0f) << "red has no U";
        EXPECT_EQ(rows[10], 0.0f) << "blue has no V";
      }
    }
  }
}

// The coefficients of the recommendations, in the limited range.
TEST(VideoLayoutTest, MatricesAreThoseOfTheRecommendations) {
  const auto expect = [](VideoMatrix matrix, double red_v, double green_u, double green_v, double blue_u) {
    float rows[12];
    VideoRows(VideoLayout::kI420, {matrix, false, false}, rows);
    EXPECT_NEAR(rows[2], red_v, 1e-5);
    EXPECT_NEAR(rows[5], green_u, 1e-5);
    EXPECT_NEAR(rows[6], green_v, 1e-5);
    EXPECT_NEAR(rows[9], blue_u, 1e-5);
  };
  expect(VideoMatrix::kBT601, 1.596027, -0.391762, -0.812968, 2.017232);
  expect(VideoMatrix::kBT709, 1.792741, -0.213249, -0.532909, 2.112402);
  expect(VideoMatrix::kBT2020, 1.678674, -0.187326, -0.650424, 2.141772);
}

}  // namespace
