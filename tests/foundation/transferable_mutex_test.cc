#include "foundation/transferable_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

// A thread that takes a mutex, says so, and gives it back once.
class Taker {
 public:
  explicit Taker(TransferableMutex* mutex)
      : taken_(promise_.get_future()), thread_([this, mutex] {
          mutex->Lock();
          promise_.set_value();
          mutex->Unlock();
        }) {}
  ~Taker() { thread_.join(); }

  // Whether it has the mutex by now; never waits.
  bool HasTaken() const { return taken_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }
  void WaitUntilTaken() const { taken_.wait(); }

 private:
  std::promise<void> promise_;
  std::future<void> taken_;
  std::thread thread_;
};

TEST(TransferableMutexTest, KeepsOthersOutUntilItsHolderHasGivenBackEveryLock) {
  TransferableMutex mutex;
  mutex.Lock();
  mutex.Lock();
  Taker other(&mutex);
  mutex.Unlock();
  EXPECT_FALSE(other.HasTaken());
  mutex.Unlock();
  other.WaitUntilTaken();
}

TEST(TransferableMutexTest, AnotherThreadMayGiveItBack) {
  TransferableMutex mutex;
  std::thread([&] { mutex.Lock(); }).join();
  Taker other(&mutex);
  EXPECT_FALSE(other.HasTaken());
  mutex.Unlock();
  other.WaitUntilTaken();
}

TEST(TransferableMutexTest, IsNotTheLastHoldersAfterItsEnd) {
  TransferableMutex mutex;
  std::thread([&] { mutex.Lock(); }).join();
  mutex.Unlock();
  mutex.Lock();
  Taker other(&mutex);
  EXPECT_FALSE(other.HasTaken());
  mutex.Unlock();
}

TEST(TransferableMutexTest, UnlockOfWhatNobodyHoldsDoesNothing) {
  TransferableMutex mutex;
  mutex.Unlock();
  mutex.Lock();
  Taker other(&mutex);
  EXPECT_FALSE(other.HasTaken());
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
