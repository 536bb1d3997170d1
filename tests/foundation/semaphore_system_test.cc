// The order in which waiters are served, and what happens when the system refuses.
#include "foundation/semaphore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "tests/foundation/system_calls.h"

namespace {

TEST(SemaphoreSystemTest, WaitersAreServedInTheOrderOfTheirComing) {
  constexpr int kWaiters = 5;
  ScopedSystemCalls scope;
  Semaphore semaphore(0);
  Semaphore queued(0);
  Semaphore served(0);
  // A waiter reports itself with the semaphore's mutex held, so that who posts after the report finds it queued.
  thread_local bool waiter_thread = false;
  system_calls().pthread_cond_wait = [&](pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (waiter_thread) queued.Post();
    return __real_pthread_cond_wait(condition, mutex);
  };
  std::vector<int> order;  // Written by one served waiter at a time.
  std::vector<std::thread> threads;
  for (int i = 0; i < kWaiters; ++i) {
    threads.emplace_back([&, i] {
      waiter_thread = true;
      EXPECT_TRUE(semaphore.Wait());
      order.push_back(i);
      served.Post();
    });
    queued.Wait();
  }
  for (int i = 0; i < kWaiters; ++i) {
    semaphore.Post();
    served.Wait();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST(SemaphoreSystemTest, EachPostWakesOneWaiter) {
  ScopedSystemCalls scope;
  int signals = 0;
  int broadcasts = 0;
  system_calls().pthread_cond_signal = [&](pthread_cond_t*) { return ++signals, 0; };
  system_calls().pthread_cond_broadcast = [&](pthread_cond_t*) { return ++broadcasts, 0; };
  Semaphore semaphore(0);
  // The unit comes during the wait, from this very thread: the wrapped call stands in for the wait.
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t* mutex) {
    pthread_mutex_unlock(mutex);
    semaphore.Post();
    semaphore.Post();
    pthread_mutex_lock(mutex);
    return 0;
  };
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_EQ(signals, 1);
  EXPECT_EQ(broadcasts, 0);
  EXPECT_TRUE(semaphore.Wait());  // The second post was kept.
}

TEST(SemaphoreSystemTest, SpuriousWakeUpTakesNothing) {
  ScopedSystemCalls scope;
  Semaphore semaphore(0);
  int wake_ups = 0;
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t* mutex) {
    if (++wake_ups == 3) {
      pthread_mutex_unlock(mutex);
      semaphore.Post();
      pthread_mutex_lock(mutex);
    }
    return 0;
  };
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_EQ(wake_ups, 3);
}

TEST(SemaphoreSystemTest, WaitBlocksWhenTheCountIsSpent) {
  ScopedSystemCalls scope;
  Semaphore semaphore(2);
  int waits = 0;
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t*) { return ++waits, EINVAL; };
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_EQ(waits, 0);
  EXPECT_FALSE(semaphore.Wait());
  EXPECT_EQ(waits, 1);
}

TEST(SemaphoreSystemTest, FailedWaitReturnsFalseAndLosesNoPost) {
  ScopedSystemCalls scope;
  Semaphore semaphore(0);
  system_calls().pthread_cond_wait = [](pthread_cond_t*, pthread_mutex_t*) { return EINVAL; };
  EXPECT_FALSE(semaphore.Wait());
  EXPECT_FALSE(semaphore.Wait());
  semaphore.Post();
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_FALSE(semaphore.Wait());
}

TEST(SemaphoreSystemTest, FailedWaitLeavesOthersInTheQueue) {
  ScopedSystemCalls scope;
  Semaphore semaphore(0);
  // Two nested waits: the inner one fails, at the end of the queue, while the outer one waits for its unit.
  int depth = 0;
  system_calls().pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t* mutex) {
    if (++depth == 2) return EINVAL;
    pthread_mutex_unlock(mutex);
    EXPECT_FALSE(semaphore.Wait());
    semaphore.Post();
    semaphore.Post();
    pthread_mutex_lock(mutex);
    return 0;
  };
  EXPECT_TRUE(semaphore.Wait());
  EXPECT_EQ(depth, 2);
  EXPECT_TRUE(semaphore.Wait());
}

TEST(SemaphoreSystemTest, FailedCreationLeavesItInert) {
  ScopedSystemCalls scope;
  system_calls().pthread_mutex_init = [](pthread_mutex_t*) { return ENOMEM; };
  Semaphore semaphore(1);
  system_calls().pthread_mutex_init = nullptr;
  EXPECT_FALSE(semaphore.valid());
  EXPECT_FALSE(semaphore.Wait());
  semaphore.Post();
  EXPECT_FALSE(semaphore.Wait());
}

TEST(SemaphoreSystemTest, IsInertWithoutMemory) {
  ScopedSystemCalls scope;
  system_calls().new_nothrow = [](std::size_t) { return nullptr; };
  Semaphore semaphore(1);
  system_calls().new_nothrow = nullptr;
  EXPECT_FALSE(semaphore.valid());
  EXPECT_FALSE(semaphore.Wait());
  semaphore.Post();
  EXPECT_FALSE(semaphore.Wait());
}

}  // namespace
