// Waits on an event, with the times and the wake-ups in the test's hand.
#include "foundation/event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <utility>
#include <vector>

#include <quarn/qn_event.h>

#include "tests/foundation/system_calls.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

class EventSystemTest : public testing::Test {
 protected:
  void SetUp() override {
    system_calls().gettimeofday = [this](timeval* now) {
      *now = now_;
      return 0;
    };
    system_calls().pthread_cond_timedwait = [this](pthread_cond_t*, pthread_mutex_t*, const timespec* deadline) {
      deadlines_.emplace_back(deadline->tv_sec, deadline->tv_nsec);
      if (spurious_ == 0) return ETIMEDOUT;
      --spurious_;
      now_.tv_sec += 10;
      return 0;
    };
  }

  ScopedSystemCalls scope_;
  timeval now_{100, 250000};
  int spurious_ = 0;                                // Wake-ups for nothing before the time-out, ten seconds each.
  std::vector<std::pair<time_t, long>> deadlines_;  // Up to when each wait was to last.
};

TEST_F(EventSystemTest, TimedWaitEndsTheGivenTimeFromNow) {
  Event event(false);
  EXPECT_TRUE(event.TimedWait(1500));
  EXPECT_THAT(deadlines_, ElementsAre(Pair(101, 750000000)));
}

TEST_F(EventSystemTest, SpuriousWakeUpStartsTheFullWaitAgain) {
  Event event(false);
  spurious_ = 2;
  EXPECT_TRUE(event.TimedWait(20));
  EXPECT_THAT(deadlines_, ElementsAre(Pair(100, 270000000), Pair(110, 270000000), Pair(120, 270000000)));
}

TEST_F(EventSystemTest, DeadlineOnAFullSecondIsNotCarried) {
  Event event(false);
  EXPECT_TRUE(event.TimedWait(750));
  EXPECT_TRUE(event.TimedWait(751));
  EXPECT_THAT(deadlines_, ElementsAre(Pair(100, 1000000000), Pair(101, 1000000)));
}

TEST_F(EventSystemTest, SignalledEventIsNotWaitedFor) {
  Event event(true);
  event.Signal();
  EXPECT_FALSE(event.TimedWait(20));
  EXPECT_TRUE(deadlines_.empty());
}

TEST_F(EventSystemTest, FailedTimedWaitReturnsTrue) {
  Event event(false);
  int waits = 0;
  system_calls().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
    return ++waits, EINVAL;
  };
  EXPECT_TRUE(event.TimedWait(20));
  EXPECT_EQ(waits, 1);
}

TEST_F(EventSystemTest, FailedWaitReturnsFalse) {
  Event event(false);
  int waits = 0;
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t*) { return ++waits, EINVAL; };
  EXPECT_FALSE(event.Wait());
  EXPECT_EQ(waits, 1);
}

TEST_F(EventSystemTest, SpuriousWakeUpDoesNotEndAWait) {
  Event event(false);
  int waits = 0;
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t* mutex) {
    if (++waits == 3) {
      pthread_mutex_unlock(mutex);
      event.Signal();
      pthread_mutex_lock(mutex);
    }
    return 0;
  };
  EXPECT_TRUE(event.Wait());
  EXPECT_EQ(waits, 3);
  EXPECT_FALSE(event.Try());
}

TEST_F(EventSystemTest, SignalThatComesWithTheTimeOutIsKept) {
  Event event(false);
  system_calls().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t* mutex, const timespec*) {
    pthread_mutex_unlock(mutex);
    event.Signal();
    pthread_mutex_lock(mutex);
    return ETIMEDOUT;
  };
  EXPECT_TRUE(event.TimedWait(20));
  EXPECT_TRUE(event.Try());
}

TEST_F(EventSystemTest, SignalWakesOneWaiterNotAll) {
  int signals = 0;
  int broadcasts = 0;
  system_calls().pthread_cond_signal = [&](pthread_cond_t*) { return ++signals, 0; };
  system_calls().pthread_cond_broadcast = [&](pthread_cond_t*) { return ++broadcasts, 0; };
  Event automatic(false);
  automatic.Signal();
  Event manual(true);
  manual.Signal();
  EXPECT_EQ(signals, 2);
  EXPECT_EQ(broadcasts, 0);
}

TEST_F(EventSystemTest, WithoutMemoryEveryOperationReturnsFalse) {
  system_calls().new_nothrow = [](std::size_t) { return nullptr; };
  Event event(true);
  QNEvent wrapper(true);
  system_calls().new_nothrow = nullptr;
  EXPECT_FALSE(event.Signal());
  EXPECT_FALSE(event.Reset());
  EXPECT_FALSE(event.Wait());
  EXPECT_FALSE(event.TimedWait(0));
  EXPECT_FALSE(event.Try());
  EXPECT_FALSE(wrapper.Signal());
  EXPECT_FALSE(wrapper.Reset());
  EXPECT_FALSE(wrapper.Wait());
  EXPECT_FALSE(wrapper.TimedWait(0));
  EXPECT_FALSE(wrapper.Try());
}

}  // namespace
