// Threads that the system refuses, and threads that nobody joins.
#include "foundation/thread.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "foundation/semaphore.h"
#include "tests/foundation/system_calls.h"

namespace {

class CountedRun : public Runable {
 public:
  void Run() override {
    leave.Wait();
    ++runs;
  }

  int runs = 0;
  Semaphore leave{0};
};

TEST(ThreadSystemTest, FailedCreationLeavesItNotStarted) {
  ScopedSystemCalls scope;
  int joins = 0;
  system_calls().pthread_join = [&](pthread_t handle) {
    ++joins;
    return __real_pthread_join(handle, nullptr);
  };
  system_calls().pthread_create = [](pthread_t* handle, void* (*)(void*), void*) {
    std::memset(handle, 0x5a, sizeof(*handle));  // What a failure leaves there is unspecified.
    return EAGAIN;
  };
  const std::unique_ptr<Thread> thread(Thread::Create());
  CountedRun run;
  thread->Start(&run);
  EXPECT_FALSE(thread->started());
  thread->Join();
  EXPECT_EQ(joins, 0);

  // It can be tried again.
  system_calls().pthread_create = nullptr;
  run.leave.Post();
  thread->Start(&run);
  EXPECT_TRUE(thread->started());
  thread->Join();
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(run.runs, 1);
}

TEST(ThreadSystemTest, CreatesOneThreadForTwoStarts) {
  ScopedSystemCalls scope;
  int creations = 0;
  system_calls().pthread_create = [&](pthread_t* handle, void* (*entry)(void*), void* arg) {
    ++creations;
    return __real_pthread_create(handle, nullptr, entry, arg);
  };
  const std::unique_ptr<Thread> thread(Thread::Create());
  CountedRun run;
  thread->Start(&run);
  thread->Start(&run);
  EXPECT_EQ(creations, 1);
  run.leave.Post();
  thread->Join();
  EXPECT_EQ(run.runs, 1);
}

TEST(ThreadSystemTest, DestructorDoesNotJoin) {
  ScopedSystemCalls scope;
  pthread_t created{};
  int joins = 0;
  system_calls().pthread_create = [&](pthread_t* handle, void* (*entry)(void*), void* arg) {
    const int result = __real_pthread_create(handle, nullptr, entry, arg);
    created = *handle;
    return result;
  };
  system_calls().pthread_join = [&](pthread_t) {
    ++joins;
    return 0;
  };
  CountedRun run;
  Thread* const thread = Thread::Create();
  thread->Start(&run);
  delete thread;  // Joining here would never return: the run has not been let go.
  EXPECT_EQ(joins, 0);
  run.leave.Post();
  __real_pthread_join(created, nullptr);
  EXPECT_EQ(run.runs, 1);
}

TEST(ThreadSystemTest, RealtimeIsAskedForAndAnsweredWithTheSystemsReason) {
  ScopedSystemCalls scope;
  int result = 0, policy = -1;
  system_calls().sched_setscheduler = [&](int asked, const sched_param*) {
    policy = asked;
    if (result != 0) errno = EPERM;
    return result;
  };
  for (const bool realtime : {true, false}) {
    errno = EINTR;  // Of another call.
    result = 0;
    EXPECT_EQ(SetThisThreadRealtime(realtime), 0);
    EXPECT_EQ(policy, realtime ? SCHED_RR | SCHED_RESET_ON_FORK : SCHED_OTHER);
    result = -1;
    EXPECT_EQ(SetThisThreadRealtime(realtime), EPERM);
  }
}

}  // namespace
