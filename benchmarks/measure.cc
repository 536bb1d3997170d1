// Rounds of loops that take turns.
#include "benchmarks/measure.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

// A warm-up, too: programs are compiled and threads started in the first ones.
constexpr int kComparedFrames = 10;

double UsARepetition(const std::function<void()>& step, int repetitions) {
  const double start = ProcessCpuUs();
  for (int i = 0; i < repetitions; ++i) step();
  return (ProcessCpuUs() - start) / repetitions;
}

bool SamePixels(const char* name, const std::vector<unsigned char>& pixels, const std::vector<unsigned char>& engine,
                int frame) {
  const auto differ = std::mismatch(pixels.begin(), pixels.end(), engine.begin(), engine.end());
  if (differ.first == pixels.end() && differ.second == engine.end()) return true;
  std::size_t count = 0;
  for (std::size_t i = 0; i < std::min(pixels.size(), engine.size()); ++i) count += pixels[i] != engine[i];
  std::fprintf(stderr, "frame %d: %s and the engine differ in %zu of %zu and %zu bytes, first in byte %td\n", frame,
               name, count, pixels.size(), engine.size(), differ.first - pixels.begin());
  return false;
}

}  // namespace

double ProcessCpuUs() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto us = [](const timeval& t) { return 1e6 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec); };
  return us(usage.ru_utime) + us(usage.ru_stime);
}

void KeepFreedMemory() {
  constexpr int kKept = 256 << 20;
  mallopt(M_TRIM_THRESHOLD, kKept);
  mallopt(M_MMAP_THRESHOLD, kKept / 8);
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

Costs Compare(const std::vector<std::function<void()>>& steps, int rounds, double round_ms) {
  std::vector<int> repetitions;
  for (const auto& step : steps) {
    const double us = std::max(1.0, UsARepetition(step, 1));
    repetitions.push_back(std::max(1, static_cast<int>(std::lround(1000.0 * round_ms / us))));
  }
  std::vector<std::vector<double>> us(steps.size()), ratios(steps.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      us[i].push_back(UsARepetition(steps[i], repetitions[i]));
      ratios[i].push_back(us[0].back() / us[i].back());
    }
  }
  Costs costs;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    costs.us.push_back(Median(us[i]));
    costs.ratios.push_back(Median(ratios[i]));
  }
  return costs;
}

Costs Loops::Compare(int rounds, double round_ms) const {
  return ::Compare(
      {[this] { engine->MakeFrame(); }, [this] { same_passes->MakeFrame(); }, [this] { least->MakeFrame(); }}, rounds,
      round_ms);
}

Loops MakeLoops(const Workload& workload) {
  Loops loops = {MakeEngineLoop(workload), MakeSamePassesLoop(workload), MakeLeastLoop(workload)};
  if (!loops) return {};
  for (int i = 0; i < kComparedFrames; ++i) {
    loops.engine->MakeFrame();
    loops.same_passes->MakeFrame();
    loops.least->MakeFrame();
    const std::vector<unsigned char> pixels = loops.engine->Pixels();
    const bool same_passes = SamePixels("the same passes", loops.same_passes->Pixels(), pixels, i);
    if (!SamePixels("the least loop", loops.least->Pixels(), pixels, i) || !same_passes) return {};
  }
  return loops;
}
