#include "foundation/semaphore.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

namespace {

TEST(SemaphoreTest, InitialCountSatisfiesThatManyWaits) {
  Semaphore semaphore(2);
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_TRUE(semaphore.Wait());
  // The count is spent: a third wait takes what is posted.
  std::thread poster([&] { semaphore.Post(); });
  EXPECT_TRUE(semaphore.Wait());
  poster.join();
}

TEST(SemaphoreTest, PostsBeforeTheWaitAreKept) {
  Semaphore semaphore(0);
  for (int i = 0; i < 3; ++i) semaphore.Post();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(semaphore.Wait());
}

TEST(SemaphoreTest, CountsOnFromTheLargestInitialValue) {
  Semaphore semaphore(INT_MAX);
  semaphore.Post();
  EXPECT_TRUE(semaphore.Wait());
}

TEST(SemaphoreTest, NegativeInitialCountLeavesItInert) {
  Semaphore semaphore(-1);
  EXPECT_FALSE(semaphore.Wait());
  semaphore.Post();
  semaphore.Post();
  EXPECT_FALSE(semaphore.Wait());
}

TEST(SemaphoreTest, EveryPostIsTakenOnce) {
  Semaphore items(0);
  Semaphore done(0);
  std::vector<int> taken(4, 0);
  std::vector<std::thread> threads;
  for (int& own : taken) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) own += items.Wait();
      done.Post();
    });
  }
  for (int n = 0; n < 4000; ++n) items.Post();
  for (int n = 0; n < 4; ++n) EXPECT_TRUE(done.Wait());
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(taken, std::vector<int>(4, 1000));
}

}  // namespace
