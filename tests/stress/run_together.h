// Works that run at the same time.
#ifndef QUARN_TESTS_STRESS_RUN_TOGETHER_H_
#define QUARN_TESTS_STRESS_RUN_TOGETHER_H_

#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace stress {

using Random = std::mt19937;

// One turn of a thread's work, made over and over.
using Work = std::function<void(Random& random)>;

// Every work on a thread of its own until the time is over, once at least. Prints how many turns each had.
inline void RunTogether(const std::vector<Work>& works, std::chrono::milliseconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  std::vector<std::thread> threads;
  std::vector<int> turns(works.size(), 0);
  for (std::size_t i = 0; i < works.size(); ++i) {
    threads.emplace_back([&, i] {
      Random random(static_cast<unsigned int>(i));
      do {
        works[i](random);
        ++turns[i];
      } while (std::chrono::steady_clock::now() < end);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::string text;
  for (const int count : turns) text += " " + std::to_string(count);
  std::printf("[ TURNS    ]%s\n", text.c_str());
}

}  // namespace stress

#endif  // QUARN_TESTS_STRESS_RUN_TOGETHER_H_
