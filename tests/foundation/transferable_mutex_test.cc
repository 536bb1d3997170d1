#include "foundation/transferable_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/waiter.h"

namespace {

// Takes the mutex on a thread of its own, which is known to wait for it when this returns, and gives it back once.
std::unique_ptr<test::Waiter> WaitForIt(TransferableMutex* mutex, std::atomic<bool>* taken) {
  return std::make_unique<test::Waiter>([mutex, taken] {
    mutex->Lock();
    *taken = true;
    mutex->Unlock();
  });
}

TEST(TransferableMutexTest, KeepsOthersOutUntilItsHolderHasGivenBackEveryLock) {
  TransferableMutex mutex;
  std::atomic<bool> taken{false};
  mutex.Lock();
  mutex.Lock();
  std::unique_ptr<test::Waiter> other = WaitForIt(&mutex, &taken);
  mutex.Unlock();
  EXPECT_FALSE(taken);
  mutex.Unlock();
  other.reset();
  EXPECT_TRUE(taken);
}

TEST(TransferableMutexTest, IsTakenWithoutAWaitWhereLockWouldNotWait) {
  TransferableMutex mutex;
  EXPECT_TRUE(mutex.TryLock());
  EXPECT_TRUE(mutex.TryLock()) << "the holder may lock again";
  mutex.Unlock();
  std::thread([&] { EXPECT_FALSE(mutex.TryLock()); }).join();
  mutex.Unlock();
  std::thread([&] { EXPECT_TRUE(mutex.TryLock()); }).join();
  EXPECT_FALSE(mutex.TryLock()) << "it is another's";
  mutex.Unlock();
}

TEST(TransferableMutexTest, AnotherThreadMayGiveItBack) {
  TransferableMutex mutex;
  std::atomic<bool> taken{false};
  std::promise<void> locked;
  std::promise<void> end;
  std::thread holder([&] {
    mutex.Lock();
    locked.set_value();
    end.get_future().wait();
  });
  locked.get_future().wait();
  std::unique_ptr<test::Waiter> other = WaitForIt(&mutex, &taken);
  EXPECT_FALSE(taken);
  mutex.Unlock();
  other.reset();
  EXPECT_TRUE(taken);
  end.set_value();
  holder.join();
}

TEST(TransferableMutexTest, IsNotTheLastHoldersAfterItsEnd) {
  TransferableMutex mutex;
  std::atomic<bool> taken{false};
  std::thread([&] { mutex.Lock(); }).join();
  mutex.Unlock();
  mutex.Lock();
  const std::unique_ptr<test::Waiter> other = WaitForIt(&mutex, &taken);
  EXPECT_FALSE(taken);
  mutex.Unlock();
}

TEST(TransferableMutexTest, UnlockOfWhatNobodyHoldsDoesNothing) {
  TransferableMutex mutex;
  std::atomic<bool> taken{false};
  mutex.Unlock();
  mutex.Lock();
  const std::unique_ptr<test::Waiter> other = WaitForIt(&mutex, &taken);
  EXPECT_FALSE(taken);
  mutex.Unlock();
}

TEST(TransferableMutexTest, MayBeDestroyedWhileItIsHeld) {
  auto mutex = std::make_unique<TransferableMutex>();
  mutex->Lock();
  mutex->Lock();
  mutex.reset();
}

TEST(TransferableMutexTest, OnlyOneThreadIsInsideAtATime) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  TransferableMutex mutex;
  int count = 0;  // Guarded by the mutex alone: ThreadSanitizer judges that too.
  std::atomic<bool> two_inside{false};
  std::atomic<int> inside{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        mutex.Lock();
        mutex.Lock();
        if (++inside != 1) two_inside = true;
        ++count;
        --inside;
        mutex.Unlock();
        mutex.Unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(two_inside);
  EXPECT_EQ(count, kThreads * kRounds);
}

}  // namespace
