// The matrices of BT.709: the limited range from code values 16 to 235 and 16 to 240, the full range from 0 to 255.
#include "graphics/color_matrix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;

TEST(ColorMatrixTest, LimitedRangeMatrixIsBt709) {
  float m[16];
  InitializeLimitedRangeMatrix(m);
  EXPECT_EQ(m[0], 255.0f / 219.0f);
  EXPECT_NEAR(m[0], 1.164383, 1e-6);
  EXPECT_EQ(m[1], 0.0f);
  EXPECT_EQ(m[2], 255.0f / 112.0f * (1.0f - 0.2126f));
  EXPECT_NEAR(m[2], 1.792741, 1e-6);
  EXPECT_EQ(m[4], m[0]);
  EXPECT_NEAR(m[5], -0.213249, 1e-6);
  EXPECT_NEAR(m[6], -0.532909, 1e-6);
  EXPECT_EQ(m[8], m[0]);
  EXPECT_EQ(m[9], 255.0f / 112.0f * (1.0f - 0.0722f));
  EXPECT_NEAR(m[9], 2.112402, 1e-6);
  EXPECT_EQ(m[10], 0.0f);
  EXPECT_EQ(m[12], 0.0f);
  EXPECT_EQ(m[13], 0.0f);
  EXPECT_EQ(m[14], 0.0f);
  EXPECT_EQ(m[15], 1.0f);
}

TEST(ColorMatrixTest, LimitedRangeMatrixMapsBlackAndWhite) {
  float m[16];
  InitializeLimitedRangeMatrix(m);
  for (int row = 0; row < 3; ++row) {
    const float chroma = 128.0f / 255.0f * (m[row * 4 + 1] + m[row * 4 + 2]);
    EXPECT_NEAR(m[row * 4] * 16.0f / 255.0f + chroma + m[row * 4 + 3], 0.0, 1e-6) << row;
    EXPECT_NEAR(m[row * 4] * 235.0f / 255.0f + chroma + m[row * 4 + 3], 1.0, 1e-6) << row;
  }
}

TEST(ColorMatrixTest, FullRangeMatrixHasUnitLumaAndChromaOffsets) {
  float m[16];
  InitializeFullRangeMatrix(m);
  EXPECT_EQ(m[0], 1.0f);
  EXPECT_EQ(m[4], 1.0f);
  EXPECT_EQ(m[8], 1.0f);
  EXPECT_EQ(m[2], 2.0f * (1.0f - 0.2126f));
  EXPECT_EQ(m[9], 2.0f * (1.0f - 0.0722f));
  EXPECT_NEAR(m[5], -0.187324, 1e-6);
  EXPECT_NEAR(m[6], -0.468124, 1e-6);
  // Luma black is 0, so the offsets are those of the chroma alone.
  constexpr float kBlack = -128.0f / 255.0f;
  EXPECT_EQ(m[3], kBlack * m[2]);
  EXPECT_EQ(m[7], kBlack * m[5] + kBlack * m[6]);
  EXPECT_EQ(m[11], kBlack * m[9]);
  EXPECT_EQ(m[12], 0.0f);
  EXPECT_EQ(m[13], 0.0f);
  EXPECT_EQ(m[14], 0.0f);
  EXPECT_EQ(m[15], 1.0f);
}

// To the last bit, which the order of the operations decides: pictures depend on it.
TEST(ColorMatrixTest, LimitedRangeMatrixIsKeptToTheBit) {
  constexpr float kRows[4][4] = {{0x1.2a150ap+0f, 0x0p+0f, 0x1.caf114p+0f, -0x1.f225dep-1f},
                                 {0x1.2a150ap+0f, -0x1.b4bbbp-3f, -0x1.10d97ep-1f, 0x1.34b7ep-2f},
                                 {0x1.2a150ap+0f, 0x1.0e632ep+1f, 0x0p+0f, -0x1.2226a6p+0f},
                                 {0.0f, 0.0f, 0.0f, 1.0f}};
  float m[16];
  InitializeLimitedRangeMatrix(m);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(m[i], kRows[i / 4][i % 4]) << i;
}

TEST(ColorMatrixTest, FullRangeMatrixIsKeptToTheBit) {
  constexpr float kRows[4][4] = {{0x1p+0f, 0x0p+0f, 0x1.932618p+0f, -0x1.94bad4p-1f},
                                 {0x1p+0f, -0x1.7fa3dcp-3f, -0x1.df5bf8p-2f, 0x1.50e7dcp-2f},
                                 {0x1p+0f, 0x1.db089ap+0f, 0x0p+0f, -0x1.dce582p-1f},
                                 {0.0f, 0.0f, 0.0f, 1.0f}};
  float m[16];
  InitializeFullRangeMatrix(m);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(m[i], kRows[i / 4][i % 4]) << i;
}

TEST(InitializeMatrixTest, FollowsItsStepsInSinglePrecision) {
  constexpr float kMin[] = {1.0f, 2.0f, 3.0f};
  constexpr float kMax[] = {9.0f, 12.0f, 43.0f};
  constexpr float kBlack[] = {1.0f, 7.0f, 23.0f};
  float m[16];
  initialize_matrix(0.25f, 0.5f, 10.0f, kMin, kMax, kBlack, m);
  // y_scale = 10/8, u_scale = 10/5, v_scale = 10/20, kg = 0.25.
  EXPECT_THAT(m, ElementsAre(FloatEq(1.25f), FloatEq(0.0f), FloatEq(0.25f), FloatEq(-0.125f - 0.575f),  //
                             FloatEq(1.25f), FloatEq(-1.5f), FloatEq(-0.5f), FloatEq(-0.125f + 1.05f + 1.15f),
                             FloatEq(1.25f), FloatEq(1.5f), FloatEq(0.0f), FloatEq(-0.125f - 1.05f), FloatEq(0.0f),
                             FloatEq(0.0f), FloatEq(0.0f), FloatEq(1.0f)));
}

TEST(InitializeMatrixTest, LogsTheRowsAtDebugLevel) {
  constexpr float kMin[] = {0.0f, 0.0f, 0.0f};
  constexpr float kMax[] = {8.0f, 8.0f, 8.0f};
  constexpr float kBlack[] = {0.0f, 4.0f, 4.0f};
  float m[16];
  LogCapture log;
  initialize_matrix(0.25f, 0.5f, 8.0f, kMin, kMax, kBlack, m);
  EXPECT_THAT(log.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Debug,
                                                        "\n 1.000000,  0.000000,  1.000000, -0.500000"
                                                        "\n 1.000000, -1.500000, -2.000000,  1.750000"
                                                        "\n 1.000000,  1.500000,  0.000000, -0.750000"
                                                        "\n 0.000000,  0.000000,  0.000000,  1.000000"}));
}

}  // namespace
