#include "foundation/integer_math.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

namespace {

TEST(AlignSizeTest, RoundsUpToTheNextMultipleOf64) {
  EXPECT_EQ(AlignSize(0), 0u);
  EXPECT_EQ(AlignSize(1), 64u);
  EXPECT_EQ(AlignSize(63), 64u);
  EXPECT_EQ(AlignSize(64), 64u);
  EXPECT_EQ(AlignSize(65), 128u);
}

TEST(AlignSizeTest, WrapsToZeroWhereNoMultipleFits) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(AlignSize(kMax - 63), kMax - 63);
  EXPECT_EQ(AlignSize(kMax - 62), 0u);
  EXPECT_EQ(AlignSize(kMax), 0u);
}

TEST(UtilMulDiv64Test, TruncatesTheExactQuotient) {
  EXPECT_EQ(util_mul_div64(0, 1000000000, 44100), 0u);
  EXPECT_EQ(util_mul_div64(1, 1000000000, 3), 333333333u);
  EXPECT_EQ(util_mul_div64(44100, 1000000000, 44100), 1000000000u);
  EXPECT_EQ(util_mul_div64(44101, 1000000000, 44100), 1000022675u);
  EXPECT_EQ(util_mul_div64(3, 1000000000, 2), 1500000000u);
}

TEST(UtilMulDiv64Test, KeepsProductsThatDoNotFit64Bits) {
  // A year of samples: the plain product takes 71 bits.
  EXPECT_EQ(util_mul_div64(1513728000000, 1000000000, 48000), 31536000000000000u);
}

}  // namespace
