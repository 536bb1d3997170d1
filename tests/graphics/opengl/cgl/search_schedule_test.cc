// When a window that is not there yet is looked for again.
#include "graphics/opengl/cgl/search_schedule.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(SearchScheduleTest, LooksAtOnceThenAtGrowingIntervalsAndNotForEver) {
  constexpr std::uint64_t kMs = 1'000'000;
  constexpr std::uint64_t kSecondNs = 1000 * kMs;
  SearchSchedule schedule;
  std::uint64_t now = 5 * kSecondNs;
  EXPECT_TRUE(schedule.Due(now));
  for (int tries = 1; tries < SearchSchedule::kTries; ++tries) {
    const std::uint64_t interval = tries <= 6 ? (10 * kMs) << (tries - 1) : 500 * kMs;
    EXPECT_FALSE(schedule.Due(now + interval - 1));
    now += interval;
    EXPECT_TRUE(schedule.Due(now)) << tries;
  }
  EXPECT_LT(now, 18 * kSecondNs);
  EXPECT_FALSE(schedule.Due(now + 1000 * kSecondNs));
  schedule.Restart();
  EXPECT_TRUE(schedule.Due(now));
  EXPECT_FALSE(schedule.Due(now + 10 * kMs - 1));
}

}  // namespace
