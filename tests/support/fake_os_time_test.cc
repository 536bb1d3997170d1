#include "tests/support/fake_os_time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include <quarn/qn_os.h>

#include "foundation/os_time.h"

namespace {

using testing::ElementsAre;

class FakeOsTimeTest : public testing::Test {
 protected:
  void SetUp() override { fake_clock::Reset(); }
  void TearDown() override { fake_clock::Reset(); }
};

TEST_F(FakeOsTimeTest, StandsStillUntilMoved) {
  EXPECT_EQ(os::GetTimeNs(), fake_clock::kStartNs);
  fake_clock::Advance(5);
  EXPECT_EQ(os::GetTimeNs(), fake_clock::kStartNs + 5);
  fake_clock::Set(7);
  EXPECT_EQ(qn_os_gettime_ns(), 7u);
}

TEST_F(FakeOsTimeTest, SleepMovesTheClockToTheTarget) {
  fake_clock::Set(100);
  EXPECT_TRUE(os::SleepToNs(100));
  EXPECT_TRUE(os::SleepToNs(150));
  EXPECT_EQ(fake_clock::Now(), 150u);
  EXPECT_TRUE(os::SleepToNsFast(175));
  EXPECT_EQ(fake_clock::Now(), 175u);
  EXPECT_FALSE(os::SleepToNs(174));
  EXPECT_FALSE(os::SleepToNsFast(174));
  EXPECT_EQ(fake_clock::Now(), 175u);
  EXPECT_THAT(fake_clock::Targets(), ElementsAre(100, 150, 175, 174, 174));
  EXPECT_TRUE(fake_clock::Sleeps()[2].fast);
  EXPECT_FALSE(fake_clock::Sleeps()[3].fast);
  EXPECT_EQ(fake_clock::Sleeps()[3].now, 175u);
}

TEST_F(FakeOsTimeTest, HookCanMakeASleepLate) {
  fake_clock::Set(100);
  fake_clock::SetHook([](const fake_clock::Sleep& sleep) { fake_clock::Set(sleep.target + 1); });
  EXPECT_FALSE(os::SleepToNs(150));
  EXPECT_EQ(fake_clock::Now(), 151u);
}

TEST_F(FakeOsTimeTest, WaitsForSleepsOfAnotherThread) {
  std::thread sleeper([] {
    os::SleepToNs(fake_clock::kStartNs + 1);
    os::SleepToNs(fake_clock::kStartNs + 2);
  });
  EXPECT_TRUE(fake_clock::WaitForSleeps(2));
  sleeper.join();
  EXPECT_EQ(fake_clock::Now(), fake_clock::kStartNs + 2);
}

}  // namespace
