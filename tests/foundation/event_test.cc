#include "foundation/event.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <ctime>
#include <thread>

#include <quarn/qn_event.h>

namespace {

// The public wrapper answers as the event does.
template <class T>
class EventTest : public testing::Test {};

using EventTypes = testing::Types<Event, QNEvent>;
TYPED_TEST_SUITE(EventTest, EventTypes);

TYPED_TEST(EventTest, StartsUnsignalled) {
  TypeParam event(false);
  EXPECT_FALSE(event.Try());
  TypeParam manual(true);
  EXPECT_FALSE(manual.Try());
}

TYPED_TEST(EventTest, AutoResetSignalSatisfiesOneWait) {
  TypeParam event(false);
  EXPECT_TRUE(event.Signal());
  EXPECT_TRUE(event.Wait());
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, AutoResetSignalSatisfiesOneTry) {
  TypeParam event(false);
  event.Signal();
  EXPECT_TRUE(event.Try());
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, AutoResetSignalSatisfiesOneTimedWait) {
  TypeParam event(false);
  event.Signal();
  EXPECT_FALSE(event.TimedWait(60000));
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, SignalsDoNotCount) {
  TypeParam event(false);
  event.Signal();
  event.Signal();
  EXPECT_TRUE(event.Try());
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, ManualResetStaysSignalledUntilReset) {
  TypeParam event(true);
  event.Signal();
  EXPECT_TRUE(event.Wait());
  EXPECT_TRUE(event.Wait());
  EXPECT_FALSE(event.TimedWait(60000));
  EXPECT_TRUE(event.Try());
  EXPECT_TRUE(event.Try());
  EXPECT_TRUE(event.Reset());
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, ResetClearsAnAutoResetEventToo) {
  TypeParam event(false);
  event.Signal();
  EXPECT_TRUE(event.Reset());
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, SignalWakesAWaiter) {
  TypeParam event(false);
  TypeParam answer(false);
  std::thread waiter([&] {
    event.Wait();
    answer.Signal();
  });
  event.Signal();
  EXPECT_TRUE(answer.Wait());
  waiter.join();
  EXPECT_FALSE(event.Try());
}

TYPED_TEST(EventTest, SignalWakesATimedWaiter) {
  TypeParam event(true);
  bool timed_out = true;
  std::thread waiter([&] { timed_out = event.TimedWait(60000); });
  event.Signal();
  waiter.join();
  EXPECT_FALSE(timed_out);
}

TYPED_TEST(EventTest, TimedWaitWaitsItsTimeAndReturnsTrue) {
  TypeParam event(false);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(event.TimedWait(10));
  // The wait is measured on the wall clock, which may be slewed against this one.
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(9));
}

TYPED_TEST(EventTest, TimedWaitOfNothingReturnsTrueUnlessSignalled) {
  TypeParam event(false);
  EXPECT_TRUE(event.TimedWait(0));
  event.Signal();
  EXPECT_FALSE(event.TimedWait(0));
}

TYPED_TEST(EventTest, LongestTimedWaitEndsWithASignal) {
  TypeParam event(false);
  bool timed_out = true;
  std::thread waiter([&] { timed_out = event.TimedWait(ULONG_MAX); });
  event.Signal();
  waiter.join();
  EXPECT_FALSE(timed_out);
}

TEST(AddMsToTsTest, LeavesASumOfExactlyOneSecondUncarried) {
  timespec ts{1, 500000000};
  add_ms_to_ts(&ts, 500);
  EXPECT_EQ(ts.tv_sec, 1);
  EXPECT_EQ(ts.tv_nsec, 1000000000);
}

TEST(AddMsToTsTest, CarriesASumAboveOneSecond) {
  timespec ts{1, 500000000};
  add_ms_to_ts(&ts, 600);
  EXPECT_EQ(ts.tv_sec, 2);
  EXPECT_EQ(ts.tv_nsec, 100000000);

  ts = {1, 500000001};
  add_ms_to_ts(&ts, 500);
  EXPECT_EQ(ts.tv_sec, 2);
  EXPECT_EQ(ts.tv_nsec, 1);
}

TEST(AddMsToTsTest, SplitsWholeSecondsOff) {
  timespec ts{1, 999999999};
  add_ms_to_ts(&ts, 0);
  EXPECT_EQ(ts.tv_sec, 1);
  EXPECT_EQ(ts.tv_nsec, 999999999);

  ts = {1, 0};
  add_ms_to_ts(&ts, 2999);
  EXPECT_EQ(ts.tv_sec, 3);
  EXPECT_EQ(ts.tv_nsec, 999000000);
}

}  // namespace
