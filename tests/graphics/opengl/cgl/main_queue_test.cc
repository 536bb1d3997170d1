#include "graphics/opengl/cgl/main_queue.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/qn_main_queue.h>

#include "tests/support/host_loop.h"

namespace {

using test::HostLoop;
using ::testing::ElementsAre;

// Runs on the library's own thread, and returns when it has.
void RunOnTheLibrarysThread(const std::function<void()>& work) {
  std::promise<void> done;
  PostToMainQueue([&] {
    work();
    done.set_value();
  });
  done.get_future().wait();
}

TEST(MainQueueTest, IsAThreadOfTheLibrarysByDefault) {
  std::thread::id first, second;
  char name[16] = "";
  RunOnTheLibrarysThread([&] {
    first = std::this_thread::get_id();
    pthread_getname_np(pthread_self(), name, sizeof(name));
  });
  RunOnTheLibrarysThread([&] { second = std::this_thread::get_id(); });
  EXPECT_NE(first, std::this_thread::get_id());
  EXPECT_EQ(first, second) << "one thread serves the process";
  EXPECT_EQ(std::string(name), "quarn-mainqueue");
}

TEST(MainQueueTest, DefaultRunsWorkInTheOrderOfPosting) {
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) PostToMainQueue([&order, i] { order.push_back(i); });
  RunOnTheLibrarysThread([] {});
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(MainQueueTest, DefaultTakesWorkFromWork) {
  std::vector<int> order;
  std::promise<void> done;
  PostToMainQueue([&] {
    PostToMainQueue([&] {
      order.push_back(2);
      done.set_value();
    });
    order.push_back(1);
  });
  done.get_future().wait();
  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(MainQueueTest, HostsQueueGetsTheWorkAndRunsIt) {
  HostLoop loop;
  std::vector<int> order;
  std::thread::id thread;
  PostToMainQueue([&] { order.push_back(1); });
  PostToMainQueue([&] {
    order.push_back(2);
    thread = std::this_thread::get_id();
  });
  EXPECT_EQ(loop.size(), 2u);
  EXPECT_TRUE(order.empty()) << "posting does not run it";
  loop.Run();
  EXPECT_THAT(order, ElementsAre(1, 2));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST(MainQueueTest, WorkRunsOnceHoweverOftenItIsCalled) {
  HostLoop loop;
  int runs = 0;
  PostToMainQueue([&] { ++runs; });
  const auto work = loop.Take();
  work.first(work.second);
  work.first(work.second);
  EXPECT_EQ(runs, 1);
}

TEST(MainQueueTest, NullGoesBackToTheDefault) {
  {
    HostLoop loop;
    PostToMainQueue([] {});
    EXPECT_EQ(loop.size(), 1u);
  }
  std::thread::id thread;
  RunOnTheLibrarysThread([&] { thread = std::this_thread::get_id(); });
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(MainQueueTest, WorkStaysWhereItWasQueued) {
  std::deque<std::pair<QnMainQueueFunction, void*>> kept;
  int runs = 0;
  {
    HostLoop loop;
    PostToMainQueue([&] { ++runs; });
    kept.push_back(loop.Take());
  }
  RunOnTheLibrarysThread([] {});
  EXPECT_EQ(runs, 0) << "the default has taken what a host was given";
  kept.front().first(kept.front().second);
  EXPECT_EQ(runs, 1);
}

// The leak checker sees to it that nothing is lost.
TEST(MainQueueTest, HostMayDropWork) {
  auto owned = std::make_shared<int>(7);
  HostLoop loop;
  PostToMainQueue([owned] { FAIL() << "nobody has called this"; });
  loop.Take();
  EXPECT_EQ(loop.size(), 0u);
}

TEST(MainQueueTest, HostMayRunWorkInPost) {
  const auto post = [](QnMainQueueFunction function, void* argument, void*) { function(argument); };
  qn_set_main_queue(post, nullptr);
  bool ran = false;
  PostToMainQueue([&] { ran = true; });
  EXPECT_TRUE(ran);
  qn_set_main_queue(nullptr, nullptr);
}

TEST(MainQueueTest, SettingWaitsForAPostThatRuns) {
  struct Slow {
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
  } slow;
  const auto post = [](QnMainQueueFunction function, void* argument, void* user) {
    auto* const self = static_cast<Slow*>(user);
    self->entered.set_value();
    self->leave.get_future().wait();
    function(argument);
    self->left = true;
  };
  qn_set_main_queue(post, &slow);
  std::thread poster([] { PostToMainQueue([] {}); });
  slow.entered.get_future().wait();
  std::thread letter([&] { slow.leave.set_value(); });
  qn_set_main_queue(nullptr, nullptr);
  EXPECT_TRUE(slow.left) << "the queue was given back to its host while it was in use";
  letter.join();
  poster.join();
}

TEST(MainQueueTest, ChangesHandsWhileSeveralThreadsPost) {
  constexpr int kThreads = 3;
  constexpr int kWorks = 400;
  std::atomic<int> runs{0};
  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kWorks; ++i) PostToMainQueue([&] { ++runs; });
      --running;
    });
  }
  while (running > 0) {
    HostLoop loop;
    // One that ends with work left in it hands it on: so every work runs.
    while (loop.size() < 20 && running > 0) std::this_thread::yield();
    qn_set_main_queue(nullptr, nullptr);
    loop.Run();
  }
  for (std::thread& thread : threads) thread.join();
  RunOnTheLibrarysThread([] {});
  EXPECT_EQ(runs, kThreads * kWorks);
}

TEST(MainQueueTest, KeepsTheOrderOfEachOfSeveralThreads) {
  constexpr int kThreads = 3;
  constexpr int kWorks = 200;
  int last[kThreads] = {-1, -1, -1};
  bool ordered = true;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kWorks; ++i) {
        PostToMainQueue([&, t, i] {
          ordered = ordered && last[t] == i - 1;
          last[t] = i;
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  RunOnTheLibrarysThread([] {});
  EXPECT_TRUE(ordered);
  EXPECT_THAT(last, ElementsAre(kWorks - 1, kWorks - 1, kWorks - 1));
}

// A process ends cleanly with work queued and a work running: its end waits for that one, and runs no other.
TEST(MainQueueTest, ProcessEndsWithWorkQueued) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        static std::promise<void> started;
        PostToMainQueue([] {
          started.set_value();
          std::this_thread::yield();
        });
        PostToMainQueue([] {});
        started.get_future().wait();
        std::exit(7);
      },
      testing::ExitedWithCode(7), "");
}

// A work may wait for an engine that the host has left running when it ends: then it is left where it is.
TEST(MainQueueTest, ProcessEndsWithWorkThatDoesNotEnd) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        // Not destroyed at the end: the work still waits then.
        static auto* const started = new std::promise<void>;
        static auto* const never = new std::promise<void>;
        PostToMainQueue([] {
          started->set_value();
          never->get_future().wait();
        });
        started->get_future().wait();
        std::exit(7);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
