#include "graphics/realtime_wish.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/types.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/log_capture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// What the system was asked for, and what it answers.
std::vector<int> asked;
int answer = 0;

}  // namespace

extern "C" int sched_setscheduler(pid_t thread, int policy, const sched_param* param) noexcept {
  EXPECT_EQ(thread, 0);
  const bool realtime = policy != SCHED_OTHER;
  EXPECT_EQ(param->sched_priority, realtime ? sched_get_priority_min(SCHED_RR) : 0);
  asked.push_back(policy);
  errno = answer;
  return answer == 0 ? 0 : -1;
}

namespace {

LogCapture::Line Warning(const std::string& text) { return {Logger::Level::Warn, text}; }

constexpr int kRealtime = SCHED_RR | SCHED_RESET_ON_FORK;

class RealtimeWishTest : public ::testing::Test {
 protected:
  RealtimeWishTest() {
    asked.clear();
    answer = 0;
  }

  LogCapture log_;
  RealtimeWish wish_;
};

TEST_F(RealtimeWishTest, NothingIsAskedOfTheSystemWithoutAWish) {
  wish_.Fulfil();
  wish_.Set(false);
  wish_.Fulfil();
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_FALSE(wish_.fulfilled());
}

TEST_F(RealtimeWishTest, IsFulfilledOnceAndTakenBackOnce) {
  wish_.Set(true);
  EXPECT_FALSE(wish_.fulfilled());
  wish_.Fulfil();
  wish_.Fulfil();
  EXPECT_TRUE(wish_.fulfilled());
  wish_.Set(false);
  EXPECT_TRUE(wish_.fulfilled());
  wish_.Fulfil();
  wish_.Fulfil();
  EXPECT_FALSE(wish_.fulfilled());
  EXPECT_THAT(asked, ElementsAre(kRealtime, SCHED_OTHER));
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(RealtimeWishTest, ARefusalIsToldOfOnceAndLeavesTheThreadAsItIs) {
  answer = EPERM;
  wish_.Set(true);
  wish_.Fulfil();
  wish_.Fulfil();
  EXPECT_FALSE(wish_.fulfilled());
  EXPECT_THAT(log_.Lines(),
              ElementsAre(Warning("The render thread does not become real-time: Operation not permitted")));
}

TEST_F(RealtimeWishTest, ARefusedWayBackLeavesTheThreadRealTime) {
  wish_.Set(true);
  wish_.Fulfil();
  answer = EPERM;
  wish_.Set(false);
  wish_.Fulfil();
  EXPECT_TRUE(wish_.fulfilled());
  EXPECT_THAT(log_.Lines(),
              ElementsAre(Warning("The render thread does not become ordinary again: Operation not permitted")));
}

TEST_F(RealtimeWishTest, EachRenderThreadIsAskedForAnew) {
  wish_.Set(true);
  wish_.Fulfil();
  wish_.End();
  EXPECT_FALSE(wish_.fulfilled());
  wish_.Fulfil();
  EXPECT_TRUE(wish_.fulfilled());
  EXPECT_THAT(asked, ElementsAre(kRealtime, kRealtime));
}

}  // namespace
