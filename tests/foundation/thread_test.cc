#include "foundation/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "foundation/semaphore.h"

namespace {

// Counts its runs; each lasts until it is let go.
class GatedRun : public Runable {
 public:
  void Run() override {
    id = std::this_thread::get_id();
    ++runs;
    entered.Post();
    leave.Wait();
  }

  std::atomic<int> runs{0};
  std::thread::id id;
  Semaphore entered{0};
  Semaphore leave{0};
};

TEST(ThreadTest, IsNotStartedWhenCreated) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  ASSERT_NE(thread, nullptr);
  EXPECT_FALSE(thread->started());
  thread->Join();
  EXPECT_FALSE(thread->started());
}

TEST(ThreadTest, RunsTheRunableOnAThreadOfItsOwn) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  GatedRun run;
  thread->Start(&run);
  EXPECT_TRUE(thread->started());
  run.leave.Post();
  thread->Join();
  EXPECT_FALSE(thread->started());
  EXPECT_EQ(run.runs, 1);
  EXPECT_NE(run.id, std::this_thread::get_id());
}

TEST(ThreadTest, SecondStartOnARunningThreadIsIgnored) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  GatedRun run;
  GatedRun other;
  thread->Start(&run);
  run.entered.Wait();
  thread->Start(&other);
  thread->Start(&run);
  run.leave.Post();
  thread->Join();
  EXPECT_EQ(run.runs, 1);
  EXPECT_EQ(other.runs, 0);
}

TEST(ThreadTest, StaysStartedUntilJoinedAfterRunReturned) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  GatedRun run;
  run.leave.Post();
  thread->Start(&run);
  run.entered.Wait();
  EXPECT_TRUE(thread->started());
  thread->Join();
  EXPECT_FALSE(thread->started());
}

TEST(ThreadTest, StartsAgainAfterJoin) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  GatedRun run;
  for (int n = 1; n <= 2; ++n) {
    run.leave.Post();
    thread->Start(&run);
    thread->Join();
    EXPECT_EQ(run.runs, n);
  }
  thread->Join();
}

TEST(ThreadTest, NothingToRunStartsNothing) {
  const std::unique_ptr<Thread> thread(Thread::Create());
  thread->Start(nullptr);
  EXPECT_FALSE(thread->started());
}

TEST(ThreadTest, NamesItself) {
  std::string name;
  std::thread other([&] {
    NameThisThread("fifteen letters");
    char buffer[16] = "";
    pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
    name = buffer;
  });
  other.join();
  EXPECT_EQ(name, "fifteen letters");
}

}  // namespace
