// Sleeping, on a clock that the test drives.
#include "foundation/os_time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/foundation/system_calls.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint64_t kNow = 5000000000;

class OsSleepTest : public testing::Test {
 protected:
  void SetUp() override {
    system_calls().clock_gettime = [this](timespec* ts) {
      ts->tv_sec = static_cast<time_t>(now_ / 1000000000);
      ts->tv_nsec = static_cast<long>(now_ % 1000000000);
      return 0;
    };
    system_calls().usleep = [this](useconds_t us) {
      steps_.push_back(us);
      now_ += us * std::uint64_t{1000};
      return 0;
    };
    system_calls().nanosleep = [this](const timespec* request, timespec* remaining) {
      requests_.emplace_back(request->tv_sec, request->tv_nsec);
      if (interruptions_.empty()) return 0;
      *remaining = interruptions_.back();
      interruptions_.pop_back();
      errno = EINTR;
      return -1;
    };
  }

  ScopedSystemCalls scope_;
  std::uint64_t now_ = kNow;
  std::vector<useconds_t> steps_;                  // What was asked of usleep.
  std::vector<std::pair<time_t, long>> requests_;  // What was asked of nanosleep.
  std::vector<timespec> interruptions_;            // What nanosleep leaves over, the last first.
};

TEST_F(OsSleepTest, GetTimeNsCountsSecondsAndNanoseconds) {
  now_ = 12000000345;
  EXPECT_EQ(os::GetTimeNs(), 12000000345u);
}

TEST_F(OsSleepTest, PreciseSleepInThePastReturnsFalseWithoutSleeping) {
  EXPECT_FALSE(os::SleepToNs(kNow - 1));
  EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(OsSleepTest, PreciseSleepToNowReturnsTrue) {
  EXPECT_TRUE(os::SleepToNs(kNow));
  EXPECT_THAT(requests_, ElementsAre(Pair(0, 0)));
}

TEST_F(OsSleepTest, PreciseSleepIsSplitIntoSecondsAndNanoseconds) {
  EXPECT_TRUE(os::SleepToNs(kNow + 2500000007));
  EXPECT_THAT(requests_, ElementsAre(Pair(2, 500000007)));
}

TEST_F(OsSleepTest, PreciseSleepMayBeginWithinASecond) {
  now_ = kNow + 300000000;
  EXPECT_TRUE(os::SleepToNs(kNow + 2500000007));
  EXPECT_THAT(requests_, ElementsAre(Pair(2, 200000007)));
}

TEST_F(OsSleepTest, InterruptedPreciseSleepGoesOnForWhatIsLeft) {
  interruptions_ = {{0, 3}, {1, 4}};
  EXPECT_TRUE(os::SleepToNs(kNow + 2500000007));
  EXPECT_THAT(requests_, ElementsAre(Pair(2, 500000007), Pair(1, 4), Pair(0, 3)));
}

TEST_F(OsSleepTest, FastSleepInThePastReturnsFalseWithoutSleeping) {
  EXPECT_FALSE(os::SleepToNsFast(kNow - 1));
  EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(OsSleepTest, FastSleepToNowReturnsTrue) {
  EXPECT_TRUE(os::SleepToNsFast(kNow));
  EXPECT_THAT(steps_, ElementsAre(0));
}

TEST_F(OsSleepTest, FastSleepTakesStepsOfAtMost999999Microseconds) {
  EXPECT_TRUE(os::SleepToNsFast(kNow + 2500000000));
  EXPECT_THAT(steps_, ElementsAre(999999, 999999, 500002));
}

TEST_F(OsSleepTest, FastSleepRoundsUpToWholeMicroseconds) {
  EXPECT_TRUE(os::SleepToNsFast(kNow + 1));
  EXPECT_TRUE(os::SleepToNsFast(now_ + 1000));
  EXPECT_TRUE(os::SleepToNsFast(now_ + 1001));
  EXPECT_THAT(steps_, ElementsAre(1, 1, 2));
}

TEST_F(OsSleepTest, FastSleepThatWakesEarlyGoesOn) {
  system_calls().usleep = [this](useconds_t us) {
    steps_.push_back(us);
    now_ += steps_.size() == 1 ? 400000 : us * std::uint64_t{1000};
    return 0;
  };
  EXPECT_TRUE(os::SleepToNsFast(kNow + 1000000));
  EXPECT_THAT(steps_, ElementsAre(1000, 600));
}

}  // namespace
