#include "foundation/util_math.h"

#include <gtest/gtest.h>

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
