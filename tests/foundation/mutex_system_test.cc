// Mutexes, and the other locks whose making nobody looks at: it must not be able to fail.
#include "foundation/mutex.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "foundation/event.h"
#include "foundation/rw_mutex.h"
#include "foundation/semaphore.h"
#include "tests/foundation/system_calls.h"
#include "tests/support/run_in_fork.h"

namespace {

// Has all functions that make a lock fail, and counts them.
class MutexSystemTest : public testing::Test {
 protected:
  void LetNoLockBeMade() {
    const auto fail = [this](auto*) { return ++calls_, ENOMEM; };
    system_calls().pthread_cond_init = fail;
    system_calls().pthread_mutex_init = fail;
    system_calls().pthread_mutexattr_init = fail;
    system_calls().pthread_rwlock_init = fail;
  }

  ScopedSystemCalls scope_;
  int calls_ = 0;
};

TEST_F(MutexSystemTest, NeedsNoCallThatMayFail) {
  LetNoLockBeMade();
  Mutex mutex;
  RWMutex rw_mutex;
  Event event(true);
  ASSERT_EQ(calls_, 0);
  { const MutexLocker<Mutex> lock(mutex); }
  { const WriteLocker lock(rw_mutex); }
  event.Signal();
  EXPECT_FALSE(event.TimedWait(60000));
}

// A fork makes them anew, for who held them may not be there.
TEST_F(MutexSystemTest, NeedsNoneInAForkEither) {
  Mutex mutex;
  RWMutex rw_mutex;
  Event event(true);
  Semaphore semaphore(1);
  EXPECT_EQ(test::RunInFork([&] {
              LetNoLockBeMade();
              { const MutexLocker<Mutex> lock(mutex); }
              { const WriteLocker lock(rw_mutex); }
              event.Signal();
              event.TimedWait(60000);
              semaphore.Wait();
              return calls_;
            }),
            0);
}

}  // namespace
