// Locks in a fork of the process that made them.
#include "foundation/fork_count.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "foundation/event.h"
#include "foundation/mutex.h"
#include "foundation/rw_mutex.h"
#include "foundation/semaphore.h"
#include "foundation/thread.h"
#include "tests/support/run_in_fork.h"
#include "tests/support/waiter.h"

namespace {

using test::RunInFork;
using test::Waiter;

TEST(ForkCountTest, CountsInTheChildAlone) {
  const unsigned int before = os::ForkCount();
  EXPECT_EQ(RunInFork([before] { return os::ForkCount() == before + 1 ? 0 : 1; }), 0);
  EXPECT_EQ(os::ForkCount(), before);
}

// Holds a lock on a thread of its own for as long as it lives.
template <class Lockable>
class Holder {
 public:
  Holder(Lockable* lockable, void (Lockable::*lock)(), void (Lockable::*unlock)())
      : thread_([=] {
          (lockable->*lock)();
          holds_ = true;
          while (!done_) std::this_thread::yield();
          (lockable->*unlock)();
        }) {
    while (!holds_) std::this_thread::yield();
  }
  ~Holder() {
    done_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> holds_{false};
  std::atomic<bool> done_{false};
  std::thread thread_;
};

TEST(ForkCountTest, MutexOfAThreadThatIsNotInTheChildIsFreeThere) {
  Mutex mutex;
  const Holder<Mutex> holder(&mutex, &Mutex::Lock, &Mutex::Unlock);
  EXPECT_EQ(RunInFork([&mutex] {
              mutex.Lock();
              mutex.Unlock();
              return mutex.TryLock() ? 1 : 0;  // True says that it was not obtained.
            }),
            0);
  EXPECT_TRUE(mutex.TryLock());  // Held in this process still.
}

TEST(ForkCountTest, MutexThatTheForkingThreadHoldsMayBeGivenBackInTheChild) {
  Mutex mutex;
  mutex.Lock();
  EXPECT_EQ(RunInFork([&mutex] {
              mutex.Unlock();
              mutex.Lock();
              mutex.Unlock();
              return 0;
            }),
            0);
  mutex.Unlock();
}

TEST(ForkCountTest, ReaderWriterLockIsFreeInTheChild) {
  RWMutex written;
  RWMutex read;
  const Holder<RWMutex> writer(&written, &RWMutex::WriteLock, &RWMutex::WriteUnlock);
  const Holder<RWMutex> reader(&read, &RWMutex::ReadLock, &RWMutex::ReadUnlock);
  EXPECT_EQ(RunInFork([&] {
              written.ReadLock();
              written.ReadUnlock();
              read.WriteLock();
              read.WriteUnlock();
              return 0;
            }),
            0);
  EXPECT_FALSE(written.TryReadLock());
}

TEST(ForkCountTest, EventThatSomebodyWaitsForMayBeUsedAndDestroyedInTheChild) {
  auto event = std::make_unique<Event>(false);
  const Waiter waiter([&event] { event->Wait(); });
  EXPECT_EQ(RunInFork([&event] {
              event->Signal();
              const bool signalled = event->Wait();
              event.reset();
              return signalled ? 0 : 1;
            }),
            0);
  event->Signal();
}

TEST(ForkCountTest, SemaphoreThatSomebodyWaitsForStartsAnewInTheChild) {
  Semaphore semaphore(0);
  const Waiter waiter([&semaphore] { semaphore.Wait(); });
  EXPECT_EQ(RunInFork([&semaphore] {
              semaphore.Post();
              return semaphore.Wait() ? 0 : 1;
            }),
            0);
  semaphore.Post();
}

// Ends when it is told to.
class Waiting : public Runable {
 public:
  void Run() override {
    while (!done) std::this_thread::yield();
  }
  std::atomic<bool> done{false};
};

TEST(ForkCountTest, JoinInTheChildWaitsForNoThreadOfTheParent) {
  Waiting waiting;
  const std::unique_ptr<Thread> thread(Thread::Create());
  thread->Start(&waiting);
  EXPECT_EQ(RunInFork([&thread] {
              thread->Join();
              return thread->started() ? 1 : 0;
            }),
            0);
  EXPECT_TRUE(thread->started());
  waiting.done = true;
  thread->Join();
}

}  // namespace
