#include "foundation/worker.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/support/run_in_fork.h"

namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

// Long enough for everything that is expected to be done.
constexpr std::chrono::milliseconds kLong(10'000);

class WorkerTest : public ::testing::Test {
 protected:
  ~WorkerTest() override { worker_.Stop(); }
  Worker worker_{{"quarn-test", "Test work"}};
};

// Keeps the thread busy until it is let go.
class Blocker {
 public:
  explicit Blocker(Worker* worker) {
    number_ = worker->Post([this] {
      entered_.set_value();
      leave_.get_future().wait();
    });
    entered_.get_future().wait();
  }
  std::uint64_t number() const { return number_; }
  void Leave() { leave_.set_value(); }

 private:
  std::uint64_t number_ = 0;
  std::promise<void> entered_;
  std::promise<void> leave_;
};

TEST_F(WorkerTest, NumbersAndDoesWorkInOrder) {
  std::vector<int> order;
  EXPECT_EQ(worker_.Post([&] { order.push_back(1); }), 1u);
  EXPECT_EQ(worker_.Post([&] { order.push_back(2); }), 2u);
  EXPECT_EQ(worker_.Post([&] { order.push_back(3); }), 3u);
  EXPECT_TRUE(worker_.WaitFor(3, kLong));
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_TRUE(worker_.WaitFor(1, 0ms)) << "that is done";
}

TEST_F(WorkerTest, WaitsForNoneThatWasNotPosted) { EXPECT_FALSE(worker_.WaitFor(0, kLong)); }

TEST_F(WorkerTest, WaitsInVainOnceAndAgainWhenEverythingIsDone) {
  Blocker blocker(&worker_);
  EXPECT_FALSE(worker_.lags());
  EXPECT_FALSE(worker_.WaitFor(blocker.number(), 1ms));
  EXPECT_TRUE(worker_.lags());
  bool done = false, lagged = false;
  const std::uint64_t next = worker_.Post([&] {
    lagged = worker_.lags();
    done = true;
  });
  EXPECT_FALSE(worker_.WaitFor(next, kLong)) << "it waits although it knows better";
  blocker.Leave();
  while (worker_.lags()) std::this_thread::yield();
  EXPECT_TRUE(done) << "what was queued meanwhile is done too";
  EXPECT_TRUE(lagged) << "what was queued meanwhile was not done yet";
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([] {}), kLong));
}

TEST_F(WorkerTest, StopDropsWhatIsQueuedAndTakesNoMore) {
  Blocker blocker(&worker_);
  std::thread letter([&] {
    while (worker_.Post([] { FAIL() << "this was queued when the thread was stopped"; }) != 0) {
      std::this_thread::yield();
    }
    blocker.Leave();
  });
  worker_.Stop();
  letter.join();
  EXPECT_EQ(worker_.Post([] { FAIL() << "the thread is stopped"; }), 0u);
}

TEST_F(WorkerTest, StopWithoutWorkReturns) {
  worker_.Stop();
  EXPECT_EQ(worker_.Post([] {}), 0u);
}

TEST_F(WorkerTest, LetsGoOfWhatAWorkHolds) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = held;
  const std::uint64_t number = worker_.Post([held] {});
  held.reset();
  EXPECT_TRUE(worker_.WaitFor(number, kLong));
  EXPECT_TRUE(watched.expired());
}

TEST_F(WorkerTest, RunsOnAThreadOfItsOwnWithTheNameThatItIsGiven) {
  char name[16] = "";
  std::thread::id thread;
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([&] {
    pthread_getname_np(pthread_self(), name, sizeof(name));
    thread = std::this_thread::get_id();
  }),
                              kLong));
  EXPECT_EQ(std::string(name), "quarn-test");
  EXPECT_NE(thread, std::this_thread::get_id());
}

std::thread::id ended_on;

TEST(WorkerEndTest, CallsTheHookOnTheThreadAfterTheLastWork) {
  ended_on = std::thread::id();
  Worker worker({"quarn-test", "Test work", nullptr, [] { ended_on = std::this_thread::get_id(); }});
  std::thread::id worked_on;
  std::thread::id ended_before = std::this_thread::get_id();
  EXPECT_TRUE(worker.WaitFor(worker.Post([&] {
    worked_on = std::this_thread::get_id();
    ended_before = ended_on;
  }),
                             kLong));
  EXPECT_EQ(ended_before, std::thread::id());
  worker.Stop();
  EXPECT_EQ(ended_on, worked_on);
}

// Whatever the hook waits for may want the worker.
TEST(WorkerEndTest, HooksMayCallTheWorker) {
  static Worker* ending = nullptr;
  static std::uint64_t posted = 1;
  Worker worker({"quarn-test", "Test work", nullptr, [] { posted = ending->Post([] {}); }});
  ending = &worker;
  EXPECT_TRUE(worker.WaitFor(worker.Post([] {}), kLong));
  worker.Stop();
  EXPECT_EQ(posted, 0u) << "it takes no more";
}

TEST(WorkerEndTest, CallsNoHookWithoutAThread) {
  ended_on = std::thread::id();
  Worker worker({"quarn-test", "Test work", nullptr, [] { ended_on = std::this_thread::get_id(); }});
  worker.Stop();
  EXPECT_EQ(ended_on, std::thread::id());
}

TEST_F(WorkerTest, StopWithinEndsTheThreadOrLeavesItsWork) {
  Worker idle({"quarn-test", "Test work"});
  EXPECT_TRUE(idle.WaitFor(idle.Post([] {}), kLong));
  idle.StopWithin(kLong);
  EXPECT_EQ(idle.Post([] {}), 0u);
}

// When the work returns after all, the process is ending, and what the hook would call has perhaps ended already.
TEST(WorkerEndTest, CallsNoHookOnAThreadThatWasLeft) {
  ended_on = std::thread::id();
  static auto* const worker =  // Its thread stays.
      new Worker({"quarn-test", "Test work", nullptr, [] { ended_on = std::this_thread::get_id(); }});
  Blocker blocker(worker);
  worker->StopWithin(1ms);  // Returns although the work does not.
  EXPECT_EQ(worker->Post([] { FAIL() << "the thread is stopped"; }), 0u);
  blocker.Leave();
  worker->StopWithin(100ms);  // Would join a thread that ends, behind its hook.
  EXPECT_EQ(ended_on, std::thread::id());
}

TEST_F(WorkerTest, SaysByItsOwnersNameThatAWorkFindsNoMemoryAndGoesOn) {
  LogCapture log;
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([] { throw std::bad_alloc(); }), kLong));
  EXPECT_TRUE(log.Has(Logger::Level::Error, "Test work comes to nothing: no memory"));
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([] {}), kLong));
  worker_.Stop();
}

TEST_F(WorkerTest, ForkedChildHasNoThreadAndWaitsForNone) {
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([] {}), kLong));
  EXPECT_EQ(test::RunInFork([&] {
              const bool dropped = worker_.Post([] {}) == 0;
              const bool lags = worker_.lags();
              worker_.Stop();
              return dropped && lags ? 7 : 1;
            }),
            7);
  EXPECT_TRUE(worker_.WaitFor(worker_.Post([] {}), kLong));
}

}  // namespace
