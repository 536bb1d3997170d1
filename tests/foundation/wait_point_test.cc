#include "foundation/wait_point.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

namespace {

TEST(WaitPointTest, WhatHoldsIsNotWaitedFor) {
  WaitPoint point;
  int asked = 0;
  EXPECT_TRUE(point.WaitFor(std::numeric_limits<unsigned int>::max(), [&] { return ++asked > 0; }));
  EXPECT_EQ(asked, 1);
}

TEST(WaitPointTest, TimeRunsOut) {
  WaitPoint point;
  int asked = 0;
  EXPECT_FALSE(point.WaitFor(0, [&] { return ++asked < 0; }));
  EXPECT_FALSE(point.WaitFor(1, [&] { return ++asked < 0; }));
  EXPECT_GE(asked, 2);
}

TEST(WaitPointTest, WakeWakesEverybody) {
  WaitPoint point;
  std::atomic<int> looked{0};
  std::atomic<bool> open{false};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      EXPECT_TRUE(point.WaitFor(std::numeric_limits<unsigned int>::max(), [&] {
        ++looked;
        return open.load();
      }));
    });
  }
  while (looked < 3) std::this_thread::yield();
  open = true;
  point.Wake();
  for (std::thread& waiter : waiters) waiter.join();
}

}  // namespace
