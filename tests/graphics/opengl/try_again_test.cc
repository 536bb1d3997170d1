#include "graphics/opengl/try_again.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using ::testing::ElementsAre;

// The times at which it is tried, out of so many.
std::vector<int> Tries(TryAgain* tries, int times) {
  std::vector<int> tried;
  for (int i = 0; i < times; ++i) {
    if (!tries->IsDue()) continue;
    tried.push_back(i);
    tries->NoteFailure();
  }
  return tried;
}

TEST(TryAgainTest, TriesAtOnceAndThenMoreAndMoreSeldom) {
  TryAgain tries;
  EXPECT_THAT(Tries(&tries, 20), ElementsAre(0, 1, 3, 7, 15));
}

TEST(TryAgainTest, ASuccessBeginsAnew) {
  TryAgain tries;
  Tries(&tries, 20);
  tries.NoteSuccess();
  EXPECT_THAT(Tries(&tries, 3), ElementsAre(0, 1));
}

TEST(TryAgainTest, IsNeverGivenUp) {
  TryAgain tries;
  const std::vector<int> tried = Tries(&tries, 20000);
  EXPECT_EQ(tried.back() - tried[tried.size() - 2], 4096);
}

}  // namespace
