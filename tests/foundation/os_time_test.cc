#include "foundation/os_time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include <quarn/qn_os.h>

namespace {

std::uint64_t SteadyNs() {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

TEST(OsTimeTest, GetTimeNsReadsTheMonotonicClock) {
  const std::uint64_t before = SteadyNs();
  const std::uint64_t now = os::GetTimeNs();
  EXPECT_LE(before, now);
  EXPECT_LE(now, SteadyNs());
}

TEST(OsTimeTest, PublicEntryPointReadsTheSameClock) {
  const std::uint64_t before = os::GetTimeNs();
  const std::uint64_t now = qn_os_gettime_ns();
  EXPECT_LE(before, now);
  EXPECT_LE(now, os::GetTimeNs());
}

TEST(OsTimeTest, SleepToNsReturnsAtTheTargetOrLater) {
  const std::uint64_t target = os::GetTimeNs() + 3000000;
  EXPECT_TRUE(os::SleepToNs(target));
  EXPECT_GE(os::GetTimeNs(), target);
}

TEST(OsTimeTest, SleepToNsFastReturnsAtTheTargetOrLater) {
  const std::uint64_t target = os::GetTimeNs() + 3000000;
  EXPECT_TRUE(os::SleepToNsFast(target));
  EXPECT_GE(os::GetTimeNs(), target);
}

TEST(OsTimeTest, TargetInThePastReturnsFalse) {
  EXPECT_FALSE(os::SleepToNs(os::GetTimeNs() - 1));
  EXPECT_FALSE(os::SleepToNsFast(os::GetTimeNs() - 1));
  EXPECT_FALSE(os::SleepToNs(0));
  EXPECT_FALSE(os::SleepToNsFast(0));
}

}  // namespace
