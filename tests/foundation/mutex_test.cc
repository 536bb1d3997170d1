#include "foundation/mutex.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <quarn/qn_mutex.h>

namespace {

// Locks are taken and dropped step by step here, which the thread-safety analysis cannot follow.
void Lock(Mutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.Lock(); }
void Unlock(Mutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.Unlock(); }
bool TryLock(Mutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { return mutex.TryLock(); }

// Whether another thread can take the mutex now; it gives it back.
bool FreeForOthers(Mutex& mutex) {
  bool obtained = false;
  std::thread other([&] {
    obtained = !TryLock(mutex);
    if (obtained) Unlock(mutex);
  });
  other.join();
  return obtained;
}

struct RecordingLock {
  std::string calls;
  void Lock() { calls += 'L'; }
  void Unlock() { calls += 'U'; }
};

TEST(MutexTest, TryLockOnFreeMutexReturnsFalseAndHoldsIt) {
  Mutex mutex;
  EXPECT_FALSE(TryLock(mutex));
  EXPECT_FALSE(FreeForOthers(mutex));
  Unlock(mutex);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(MutexTest, TryLockOnMutexHeldByAnotherThreadReturnsTrue) {
  Mutex mutex;
  Lock(mutex);
  bool answer = false;
  std::thread other([&] { answer = TryLock(mutex); });
  other.join();
  EXPECT_TRUE(answer);
  Unlock(mutex);
}

TEST(MutexTest, OwnerLocksAgainAndEveryLockNeedsItsUnlock) {
  Mutex mutex;
  Lock(mutex);
  Lock(mutex);
  EXPECT_FALSE(TryLock(mutex));
  Unlock(mutex);
  Unlock(mutex);
  EXPECT_FALSE(FreeForOthers(mutex));
  Unlock(mutex);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(MutexTest, ExcludesOtherThreads) {
  Mutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 5000; ++n) {
        MutexLocker<Mutex> lock(mutex);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
}

TEST(MutexLockerTest, HoldsTheMutexWhileItLives) {
  Mutex mutex;
  {
    MutexLocker<Mutex> lock(mutex);
    EXPECT_FALSE(FreeForOthers(mutex));
  }
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(MutexLockerTest, GuardsAnyClassWithLockAndUnlock) {
  RecordingLock lockable;
  {
    MutexLocker<RecordingLock> lock(lockable);
    EXPECT_EQ(lockable.calls, "L");
  }
  EXPECT_EQ(lockable.calls, "LU");
}

TEST(QNMutexTest, IsRecursiveAndExcludesOtherThreads) {
  QNMutex mutex;
  int count = 0;
  const auto work = [&] {
    for (int n = 0; n < 5000; ++n) {
      mutex.Lock();
      mutex.Lock();
      ++count;
      mutex.Unlock();
      mutex.Unlock();
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 10000);
}

TEST(QNMutexLockerTest, HoldsTheMutexWhileItLives) {
  QNMutex mutex;
  int count = 0;
  const auto work = [&] {
    for (int n = 0; n < 5000; ++n) {
      QNMutexLocker lock(mutex);
      QNMutexLocker again(mutex);
      ++count;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 10000);
}

}  // namespace
