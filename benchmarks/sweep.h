// Sweeps: what a frame costs with one, two, many of something, and whether the cost grows linearly.
#ifndef QUARN_BENCHMARKS_SWEEP_H_
#define QUARN_BENCHMARKS_SWEEP_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Ways of making a frame, or a pass, with a number of something. The first is the engine's.
using Ways = std::vector<std::function<void()>>;

struct Sweep {
  std::string name;    // As in --sweep.
  std::string title;   // What is counted, and with what.
  std::string thing;   // One of what is counted.
  std::string result;  // What the cost is of: a frame or a pass.
  std::vector<std::string> ways;
  std::vector<int> steps;
  // Makes the ways with so many, which have made the same; nothing where they cannot be made or differ, and standard
  // error says why.
  std::function<std::optional<Ways>(int)> make;
  bool optional = false;  // Left out where what it needs is not there.
};

std::vector<Sweep> VideoSweeps();
Sweep AudioSweep();
Sweep ViewSweep();

// A straight line through the costs, by least squares.
struct Fit {
  double slope;
  double intercept;
  double r_squared;
  double farthest;  // The largest distance of a cost from the line, as a part of the line there, in the upper half.
};
Fit FitLine(const std::vector<double>& numbers, const std::vector<double>& costs);

// What a sweep gave.
class SweepResult {
 public:
  explicit SweepResult(const Sweep& sweep);

  // What a step of a round gave: each way's cost, in microseconds.
  void Add(std::size_t step, const std::vector<double>& costs);

  const std::vector<double>& numbers() const { return numbers_; }
  // Medians over the rounds. A ratio is the engine's cost beside the way's, in the same round.
  double Cost(std::size_t way, std::size_t step) const;
  double Ratio(std::size_t way, std::size_t step) const;
  Fit Line(std::size_t way) const;

 private:
  std::vector<double> numbers_;
  std::vector<std::vector<std::vector<double>>> rounds_;  // [step][round][way]
};

void PrintTable(const Sweep& sweep, const SweepResult& result);

// Draws all results, a panel each, into an SVG file by gnuplot. Returns false, and standard error says why, where that
// failed.
bool Plot(const std::vector<Sweep>& sweeps, const std::vector<SweepResult>& results, const std::string& file);

#endif  // QUARN_BENCHMARKS_SWEEP_H_
