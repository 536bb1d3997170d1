#include "tests/support/fake_os_time.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "foundation/os_time.h"

namespace {

struct State {
  std::mutex mutex;
  std::condition_variable slept;
  std::uint64_t now = fake_clock::kStartNs;
  std::vector<fake_clock::Sleep> sleeps;
  fake_clock::Hook hook;
};

// Never destroyed: a thread under test may outlive main.
State& state() {
  static State* const instance = new State;
  return *instance;
}

bool SleepTo(std::uint64_t target, bool fast) {
  State& s = state();
  fake_clock::Sleep sleep{};
  fake_clock::Hook hook;
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    sleep = {s.now, target, fast};
    s.sleeps.push_back(sleep);
    hook = s.hook;
  }
  s.slept.notify_all();
  if (hook) hook(sleep);
  std::lock_guard<std::mutex> lock(s.mutex);
  if (target < s.now) return false;
  s.now = target;
  return true;
}

}  // namespace

namespace fake_clock {

void Reset() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.now = kStartNs;
  s.sleeps.clear();
  s.hook = nullptr;
}

std::uint64_t Now() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.now;
}

void Set(std::uint64_t now) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.now = now;
}

void Advance(std::uint64_t ns) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.now += ns;
}

void SetHook(Hook hook) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.hook = std::move(hook);
}

std::vector<Sleep> Sleeps() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.sleeps;
}

std::vector<std::uint64_t> Targets() {
  std::vector<std::uint64_t> targets;
  for (const Sleep& sleep : Sleeps()) targets.push_back(sleep.target);
  return targets;
}

bool WaitForSleeps(std::size_t count) {
  State& s = state();
  std::unique_lock<std::mutex> lock(s.mutex);
  return s.slept.wait_for(lock, std::chrono::seconds(10), [&] { return s.sleeps.size() >= count; });
}

}  // namespace fake_clock

namespace os {

std::uint64_t GetTimeNs() { return fake_clock::Now(); }

bool SleepToNs(unsigned long long target) { return SleepTo(target, false); }

bool SleepToNsFast(unsigned long long target) { return SleepTo(target, true); }

}  // namespace os
