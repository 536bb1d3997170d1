// Eight threads make random calls of the public interface, against the rules that its headers give and no others.
// Looked for is what the sanitizers see, a thread that does not go on, and what thread_checks.h, thread_world.h and
// thread_sound.h call wrong.
//
//   thread_stress --seconds 15           one seed after the other, from 1
//   thread_stress --seed 7               that one
//   thread_stress --seed 7 --seeds 100   a hundred from there
//
// A seed names a round. What each thread calls, in which order and with which values comes from the seed alone; how the
// threads' calls meet is the machine's. So a round that has failed makes the same calls again, and is repeated with
// --seed N --repeat until it fails again.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/stress/thread_calls.h"

namespace stress {
namespace {

constexpr int kRests = 3;
constexpr int kCalls = 120;  // Of each thread, between two rests.
// How long a round may take, which takes a second or two.
constexpr auto kPatience = std::chrono::seconds(240);

struct Options {
  unsigned int seed = 1;
  unsigned int seeds = 0;  // 0: until the time is over.
  int seconds = 0;
  bool repeat = false;
};

// Ends the process when a round takes too long, and says where each thread stands.
class Watchdog {
 public:
  explicit Watchdog(const std::vector<std::unique_ptr<Caller>>& callers)
      : thread_([this, &callers] {
          std::unique_lock<std::mutex> lock(mutex_);
          if (over_.wait_for(lock, kPatience, [this] { return done_; })) return;
          for (const auto& caller : callers) std::printf("HANGS in: %s\n", caller->now());
          std::fflush(stdout);
          std::abort();
        }) {}
  ~Watchdog() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    over_.notify_all();
    thread_.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable over_;
  bool done_ = false;
  std::thread thread_;
};

bool RunRound(unsigned int seed) {
  // A sanitizer ends the process: whose seed it was must stand there by then.
  std::printf("seed %u\n", seed);
  std::fflush(stdout);
  World world;
  std::vector<std::unique_ptr<Caller>> callers;
  callers.push_back(std::make_unique<Driver>(&world, seed, 0));
  for (int i = 1; i < kThreads; ++i) callers.push_back(std::make_unique<Caller>(&world, seed, i));
  const Watchdog watchdog(callers);
  const auto look = [&] {
    std::vector<const HeldScenes*> held;
    for (const auto& caller : callers) held.push_back(&caller->held());
    world.CheckReferences(held);
    for (const auto& caller : callers) caller->CheckReferences();
  };
  std::vector<std::thread> threads;
  for (const auto& caller : callers) {
    threads.emplace_back([&world, &look, caller = caller.get()] {
      caller->Begin();
      for (int rest = 0; rest < kRests; ++rest) {
        for (int call = 0; call < kCalls; ++call) caller->Call();
        world.rest.Wait(look);
      }
      caller->End();
    });
  }
  for (std::thread& thread : threads) thread.join();
  world.TakeApart();
  return !findings.any();
}

bool ReadNumber(int argc, char** argv, int* at, long* value) {
  if (++*at >= argc) return false;
  char* end = nullptr;
  *value = std::strtol(argv[*at], &end, 10);
  return end != argv[*at] && *end == '\0' && *value > 0;
}

bool ReadOptions(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    long value = 0;
    if (name == "--repeat") {
      options->repeat = true;
    } else if (!ReadNumber(argc, argv, &i, &value)) {
      return false;
    } else if (name == "--seconds") {
      options->seconds = static_cast<int>(value);
    } else if (name == "--seeds") {
      options->seeds = static_cast<unsigned int>(value);
    } else if (name == "--seed") {
      options->seed = static_cast<unsigned int>(value);
      if (options->seeds == 0) options->seeds = 1;
    } else {
      return false;
    }
  }
  if (options->seeds == 0 && options->seconds == 0) options->seconds = 15;
  if (options->repeat && options->seconds == 0) options->seconds = 1 << 30;
  return true;
}

int Main(int argc, char** argv) {
  Options options;
  if (!ReadOptions(argc, argv, &options)) {
    std::fprintf(stderr, "usage: thread_stress [--seconds S] [--seeds N] [--seed N] [--repeat]\n");
    return 2;
  }
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  WatchLog();
  const auto start = std::chrono::steady_clock::now();
  const auto passed = [&start] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  unsigned int rounds = 0;
  for (unsigned int seed = options.seed;; ++seed) {
    if (options.seeds > 0 && seed >= options.seed + options.seeds) {
      if (!options.repeat) break;
      seed = options.seed;
    }
    if (options.seconds > 0 && rounds > 0 && passed() > options.seconds) break;
    if (!RunRound(seed)) {
      std::printf("FAILED: seed %u; again: thread_stress --seed %u --repeat\n", seed, seed);
      return 1;
    }
    ++rounds;
  }
  std::printf("%u rounds of %d threads and %d calls each in %.1f s: nothing found\n", rounds, kThreads, kRests * kCalls,
              passed());
  return 0;
}

}  // namespace
}  // namespace stress

int main(int argc, char** argv) { return stress::Main(argc, argv); }
