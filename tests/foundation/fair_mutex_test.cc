#include "foundation/fair_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/run_in_fork.h"
#include "tests/support/waiter.h"

namespace {

using test::RunInFork;
using test::Waiter;

// Locks are taken and dropped step by step here, which the thread-safety analysis cannot follow.
template <class Lockable>
void Lock(Lockable& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS {
  mutex.Lock();
}
template <class Lockable>
void Unlock(Lockable& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS {
  mutex.Unlock();
}
void LockReturning(FairMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.LockReturning(); }
bool LockAtOnce(RecursiveFairMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { return mutex.LockAtOnce(); }

// Whether another thread can have the mutex now; it gives it back.
bool FreeForOthers(RecursiveFairMutex& mutex) {
  bool obtained = false;
  std::thread other([&] {
    obtained = LockAtOnce(mutex);
    if (obtained) Unlock(mutex);
  });
  other.join();
  return obtained;
}

// Has four threads add up under the locks that `add` takes: a sum that falls short says that two held it at once.
template <class Add>
int AddUp(Add add) {
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 5000; ++n) add(i, &count);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return count;
}

TEST(FairMutexTest, ExcludesOtherThreadsHoweverItIsTaken) {
  FairMutex mutex;
  EXPECT_EQ(AddUp([&mutex](int thread, int* count) {
              if (thread == 0) {
                const ReturningLocker lock(mutex);
                ++*count;
              } else {
                const MutexLocker<FairMutex> lock(mutex);
                ++*count;
              }
            }),
            20000);
}

TEST(FairMutexTest, WhoWaitsComesBeforeTheThreadThatComesBack) {
  FairMutex mutex;
  std::string order;
  LockReturning(mutex);
  {
    const Waiter waiter([&] {
      const MutexLocker<FairMutex> lock(mutex);
      order += "waiter ";
    });
    Unlock(mutex);
    LockReturning(mutex);
    order += "back";
    Unlock(mutex);
  }
  EXPECT_EQ(order, "waiter back");
}

TEST(FairMutexTest, IsFreeInAForkWhoeverHeldItAndWaited) {
  FairMutex mutex;
  Lock(mutex);
  {
    const Waiter waiter([&mutex] { const MutexLocker<FairMutex> lock(mutex); });
    EXPECT_EQ(RunInFork([&mutex] {
                LockReturning(mutex);
                Unlock(mutex);
                Lock(mutex);
                Unlock(mutex);
                return 0;
              }),
              0);
    Unlock(mutex);
  }
}

TEST(RecursiveFairMutexTest, OwnerLocksAgainAndEveryLockNeedsItsUnlock) {
  RecursiveFairMutex mutex;
  Lock(mutex);
  Lock(mutex);
  EXPECT_TRUE(LockAtOnce(mutex));
  Unlock(mutex);
  Unlock(mutex);
  EXPECT_FALSE(FreeForOthers(mutex));
  EXPECT_TRUE(mutex.HeldByCaller());
  Unlock(mutex);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(RecursiveFairMutexTest, KnowsWhetherTheCallerHoldsIt) {
  RecursiveFairMutex mutex;
  EXPECT_FALSE(mutex.HeldByCaller());
  Lock(mutex);
  EXPECT_TRUE(mutex.HeldByCaller());
  bool other_holds_it = true;
  std::thread([&] { other_holds_it = mutex.HeldByCaller(); }).join();
  EXPECT_FALSE(other_holds_it);
  Unlock(mutex);
  EXPECT_FALSE(mutex.HeldByCaller());
  EXPECT_TRUE(LockAtOnce(mutex));
  EXPECT_TRUE(mutex.HeldByCaller());
  Unlock(mutex);
}

TEST(RecursiveFairMutexTest, ExcludesOtherThreadsHoweverItIsTaken) {
  RecursiveFairMutex mutex;
  EXPECT_EQ(AddUp([&mutex](int thread, int* count) {
              if (thread != 0 || !LockAtOnce(mutex)) Lock(mutex);
              const MutexLocker<RecursiveFairMutex> again(mutex);
              ++*count;
              Unlock(mutex);
            }),
            20000);
}

TEST(RecursiveFairMutexTest, WhoWaitsComesBeforeTheHolderThatComesBack) {
  RecursiveFairMutex mutex;
  std::string order;
  Lock(mutex);
  {
    const Waiter waiter([&] {
      const MutexLocker<RecursiveFairMutex> lock(mutex);
      order += "waiter ";
    });
    Unlock(mutex);
    Lock(mutex);
    order += "back";
    Unlock(mutex);
  }
  EXPECT_EQ(order, "waiter back");
}

TEST(RecursiveFairMutexTest, IsNotTakenAtOnceBeforeAWaiter) {
  RecursiveFairMutex mutex;
  std::string order;
  Lock(mutex);
  {
    const Waiter waiter([&] {
      const MutexLocker<RecursiveFairMutex> lock(mutex);
      order += "waiter ";
    });
    Unlock(mutex);
    // Until the waiter has been served it is refused.
    while (!LockAtOnce(mutex)) std::this_thread::yield();
    order += "back";
    Unlock(mutex);
  }
  EXPECT_EQ(order, "waiter back");
}

TEST(RecursiveFairMutexTest, IsRefusedAtOnceWhileOneWaits) {
  RecursiveFairMutex mutex;
  Lock(mutex);
  {
    const Waiter waiter([&] { const MutexLocker<RecursiveFairMutex> lock(mutex); });
    EXPECT_FALSE(FreeForOthers(mutex));
    Unlock(mutex);
  }
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(RecursiveFairMutexTest, IsNotHeldInAForkByTheThreadThatHeldIt) {
  RecursiveFairMutex mutex;
  Lock(mutex);
  EXPECT_EQ(RunInFork([&mutex] { return mutex.HeldByCaller() ? 1 : 0; }), 0);
  EXPECT_TRUE(mutex.HeldByCaller());
  Unlock(mutex);
}

TEST(RecursiveFairMutexTest, IsFreeInAForkWhoeverHeldItAndWaited) {
  RecursiveFairMutex mutex;
  std::atomic<bool> held{false};
  std::atomic<bool> done{false};
  std::thread holder([&] {
    Lock(mutex);
    held = true;
    while (!done) std::this_thread::yield();
    Unlock(mutex);
  });
  while (!held) std::this_thread::yield();
  {
    const Waiter waiter([&mutex] { const MutexLocker<RecursiveFairMutex> lock(mutex); });
    EXPECT_EQ(RunInFork([&mutex] {
                if (mutex.HeldByCaller()) return 1;
                Lock(mutex);
                if (!mutex.HeldByCaller()) return 2;
                Unlock(mutex);
                return mutex.HeldByCaller() ? 3 : 0;
              }),
              0);
    done = true;
  }
  holder.join();
}

TEST(RecursiveFairMutexTest, GivingBackInAForkWhatWasTakenBeforeItDoesNothing) {
  RecursiveFairMutex mutex;
  Lock(mutex);
  Lock(mutex);
  EXPECT_EQ(RunInFork([&mutex] {
              Unlock(mutex);
              Unlock(mutex);
              if (mutex.HeldByCaller()) return 1;
              Lock(mutex);
              Unlock(mutex);
              return mutex.HeldByCaller() ? 2 : 0;
            }),
            0);
  EXPECT_TRUE(mutex.HeldByCaller());
  Unlock(mutex);
  Unlock(mutex);
  EXPECT_TRUE(FreeForOthers(mutex));
}

}  // namespace
