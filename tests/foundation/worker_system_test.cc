// A worker whose thread the system refuses.
#include "foundation/worker.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

#include "tests/foundation/system_calls.h"

namespace {

int refusals_logged = 0;

TEST(WorkerSystemTest, LogsWithoutAThreadDropsTheWorkAndTriesAgainWithTheNext) {
  ScopedSystemCalls scope;
  refusals_logged = 0;
  Worker worker({"quarn-test", "Test work", [] { ++refusals_logged; }});
  system_calls().pthread_create = [](pthread_t*, void* (*)(void*), void*) { return EAGAIN; };
  bool dropped_ran = false;
  EXPECT_EQ(worker.Post([&] { dropped_ran = true; }), 0u);
  EXPECT_EQ(refusals_logged, 1);
  EXPECT_FALSE(worker.lags());

  system_calls().pthread_create = nullptr;
  bool ran = false;
  EXPECT_TRUE(worker.WaitFor(worker.Post([&] { ran = true; }), std::chrono::seconds(10)));
  worker.Stop();
  EXPECT_TRUE(ran);
  EXPECT_FALSE(dropped_ran);
  EXPECT_EQ(refusals_logged, 1);
}

TEST(WorkerSystemTest, NeedsNobodyToLogForIt) {
  ScopedSystemCalls scope;
  Worker worker({"quarn-test", "Test work"});
  system_calls().pthread_create = [](pthread_t*, void* (*)(void*), void*) { return EAGAIN; };
  EXPECT_EQ(worker.Post([] {}), 0u);
  worker.Stop();
}

}  // namespace
