#include "foundation/align.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

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
