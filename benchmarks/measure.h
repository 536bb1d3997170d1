// Measuring loops against one another: processor time, in rounds in which they take turns.
#ifndef QUARN_BENCHMARKS_MEASURE_H_
#define QUARN_BENCHMARKS_MEASURE_H_

#include <functional>
#include <vector>

#include "benchmarks/loops.h"

// Processor time that the process has taken so far, of all its threads (a software rasteriser has several).
double ProcessCpuUs();

double Median(std::vector<double> values);

// Has the C library keep memory that is freed, as it does by itself in a host that has once freed a large picture.
// Otherwise the small sizes pay for the driver's memory being handed back and fetched anew in every frame, or do not,
// depending on what happens to lie on the heap behind it.
void KeepFreedMemory();

struct Costs {
  std::vector<double> us;      // The median of the rounds, for each of the steps.
  std::vector<double> ratios;  // The first step's cost beside each one's: the median over the rounds.
};
// Has the steps take turns for that many rounds. In a round each is repeated for about that long.
Costs Compare(const std::vector<std::function<void()>>& steps, int rounds, double round_ms);

// The three loops of a workload, which have made the same pictures.
struct Loops {
  std::unique_ptr<FrameLoop> engine, same_passes, least;
  explicit operator bool() const { return engine && same_passes && least; }
  // The engine, the same passes, the least.
  Costs Compare(int rounds, double round_ms) const;
};
// Makes the loops and some frames with each, and compares their bytes. None where one cannot be made or they differ;
// standard error says which.
Loops MakeLoops(const Workload& workload);

#endif  // QUARN_BENCHMARKS_MEASURE_H_
