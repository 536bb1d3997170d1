#include "graphics/opengl/cgl/work_thread.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

// Long enough for everything that is expected to be done.
constexpr std::chrono::milliseconds kLong(10'000);

class WorkThreadTest : public ::testing::Test {
 protected:
  ~WorkThreadTest() override { thread_.Stop(); }
  WorkThread thread_{"quarn-test"};
};

// Keeps the thread busy until it is let go.
class Blocker {
 public:
  explicit Blocker(WorkThread* thread) {
    number_ = thread->Post([this] {
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

TEST_F(WorkThreadTest, NumbersAndDoesWorkInOrder) {
  std::vector<int> order;
  EXPECT_EQ(thread_.Post([&] { order.push_back(1); }), 1u);
  EXPECT_EQ(thread_.Post([&] { order.push_back(2); }), 2u);
  EXPECT_EQ(thread_.Post([&] { order.push_back(3); }), 3u);
  EXPECT_TRUE(thread_.WaitFor(3, kLong));
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_TRUE(thread_.WaitFor(1, 0ms)) << "that is done";
}

TEST_F(WorkThreadTest, WaitsForNoneThatWasNotPosted) { EXPECT_FALSE(thread_.WaitFor(0, kLong)); }

TEST_F(WorkThreadTest, WaitsInVainOnceAndAgainWhenEverythingIsDone) {
  Blocker blocker(&thread_);
  EXPECT_FALSE(thread_.lags());
  EXPECT_FALSE(thread_.WaitFor(blocker.number(), 1ms));
  EXPECT_TRUE(thread_.lags());
  bool done = false;
  const std::uint64_t next = thread_.Post([&] { done = true; });
  EXPECT_FALSE(thread_.WaitFor(next, kLong)) << "it waits although it knows better";
  blocker.Leave();
  while (thread_.lags()) std::this_thread::yield();
  EXPECT_TRUE(done) << "what was queued meanwhile is done too";
  EXPECT_TRUE(thread_.WaitFor(thread_.Post([] {}), kLong));
}

TEST_F(WorkThreadTest, StopDropsWhatIsQueuedAndTakesNoMore) {
  Blocker blocker(&thread_);
  std::thread letter([&] {
    while (thread_.Post([] { FAIL() << "this was queued when the thread was stopped"; }) != 0) {
      std::this_thread::yield();
    }
    blocker.Leave();
  });
  thread_.Stop();
  letter.join();
  EXPECT_EQ(thread_.Post([] { FAIL() << "the thread is stopped"; }), 0u);
}

TEST_F(WorkThreadTest, StopWithoutWorkReturns) {
  thread_.Stop();
  EXPECT_EQ(thread_.Post([] {}), 0u);
}

TEST_F(WorkThreadTest, LetsGoOfWhatAWorkHolds) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = held;
  const std::uint64_t number = thread_.Post([held] {});
  held.reset();
  EXPECT_TRUE(thread_.WaitFor(number, kLong));
  EXPECT_TRUE(watched.expired());
}

}  // namespace
