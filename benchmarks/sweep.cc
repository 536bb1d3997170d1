// Tables, lines and plots of sweeps.
#include "benchmarks/sweep.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "benchmarks/measure.h"

namespace {

constexpr int kColumns = 3;  // Panels beside one another.

// A colour for each way, the same in all panels.
int ColorOf(const std::string& way) { return way == "engine" ? 1 : way == "least" ? 2 : 3; }

// As gnuplot reads it.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("''") : std::string(1, c);
  return quoted + "'";
}

// A block of data for gnuplot: the number, then each way's cost in milliseconds.
void WriteData(std::FILE* gnuplot, std::size_t index, const Sweep& sweep, const SweepResult& result) {
  std::fprintf(gnuplot, "$sweep%zu << END\n", index);
  for (std::size_t step = 0; step < sweep.steps.size(); ++step) {
    std::fprintf(gnuplot, "%d", sweep.steps[step]);
    for (std::size_t way = 0; way < sweep.ways.size(); ++way) {
      std::fprintf(gnuplot, " %g", result.Cost(way, step) / 1000.0);
    }
    std::fprintf(gnuplot, "\n");
  }
  std::fprintf(gnuplot, "END\n");
}

void WritePanel(std::FILE* gnuplot, std::size_t index, const Sweep& sweep, const SweepResult& result) {
  std::fprintf(gnuplot, "set title %s\nset xlabel '%ss'\nset ylabel 'ms of processor time a %s'\nplot ",
               Quoted(sweep.title).c_str(), sweep.thing.c_str(), sweep.result.c_str());
  for (std::size_t way = 0; way < sweep.ways.size(); ++way) {
    const Fit fit = result.Line(way);
    std::fprintf(gnuplot, "%s%g + %g * x with lines lc %d dt 2 notitle, ", way == 0 ? "" : ", ", fit.intercept / 1000.0,
                 fit.slope / 1000.0, ColorOf(sweep.ways[way]));
    std::fprintf(gnuplot, "$sweep%zu using 1:%zu with points lc %d pt 7 title '%s'", index, way + 2,
                 ColorOf(sweep.ways[way]), sweep.ways[way].c_str());
  }
  std::fprintf(gnuplot, "\n");
}

}  // namespace

Fit FitLine(const std::vector<double>& numbers, const std::vector<double>& costs) {
  const auto count = static_cast<double>(numbers.size());
  double x = 0, y = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    x += numbers[i] / count;
    y += costs[i] / count;
  }
  double xx = 0, xy = 0, yy = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    xx += (numbers[i] - x) * (numbers[i] - x);
    xy += (numbers[i] - x) * (costs[i] - y);
    yy += (costs[i] - y) * (costs[i] - y);
  }
  Fit fit = {};
  fit.slope = xx > 0 ? xy / xx : 0;
  fit.intercept = y - fit.slope * x;
  fit.r_squared = xx > 0 && yy > 0 ? xy * xy / (xx * yy) : 1;
  const double half = *std::max_element(numbers.begin(), numbers.end()) / 2;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] < half) continue;
    const double line = fit.intercept + fit.slope * numbers[i];
    fit.farthest = std::max(fit.farthest, std::abs(costs[i] - line) / std::abs(line));
  }
  return fit;
}

SweepResult::SweepResult(const Sweep& sweep)
    : numbers_(sweep.steps.begin(), sweep.steps.end()), rounds_(sweep.steps.size()) {}

void SweepResult::Add(std::size_t step, const std::vector<double>& costs) { rounds_[step].push_back(costs); }

double SweepResult::Cost(std::size_t way, std::size_t step) const {
  std::vector<double> costs;
  for (const std::vector<double>& round : rounds_[step]) costs.push_back(round[way]);
  return Median(costs);
}

double SweepResult::Ratio(std::size_t way, std::size_t step) const {
  std::vector<double> ratios;
  for (const std::vector<double>& round : rounds_[step]) ratios.push_back(round[0] / round[way]);
  return Median(ratios);
}

Fit SweepResult::Line(std::size_t way) const {
  std::vector<double> costs;
  for (std::size_t step = 0; step < rounds_.size(); ++step) costs.push_back(Cost(way, step));
  return FitLine(numbers_, costs);
}

void PrintTable(const Sweep& sweep, const SweepResult& result) {
  const std::size_t ways = sweep.ways.size();
  std::printf("### %s\n\n| %ss |", sweep.title.c_str(), sweep.thing.c_str());
  for (const std::string& way : sweep.ways) std::printf(" %s us |", way.c_str());
  for (std::size_t way = 1; way < ways; ++way) std::printf(" engine / %s |", sweep.ways[way].c_str());
  std::printf("\n|---|");
  for (std::size_t i = 1; i < 2 * ways; ++i) std::printf("---|");
  std::printf("\n");
  for (std::size_t step = 0; step < sweep.steps.size(); ++step) {
    std::printf("| %d |", sweep.steps[step]);
    for (std::size_t way = 0; way < ways; ++way) std::printf(" %.0f |", result.Cost(way, step));
    for (std::size_t way = 1; way < ways; ++way) std::printf(" %.2f |", result.Ratio(way, step));
    std::printf("\n");
  }
  if (sweep.steps.size() > 2) {
    std::vector<Fit> fits;
    for (std::size_t way = 0; way < ways; ++way) fits.push_back(result.Line(way));
    std::printf("| slope |");
    for (const Fit& fit : fits) std::printf(" %.2f |", fit.slope);
    for (std::size_t way = 1; way < ways; ++way) std::printf(" %.2f |", fits[0].slope / fits[way].slope);
    std::printf("\n| R² |");
    for (const Fit& fit : fits) std::printf(" %.4f |", fit.r_squared);
    for (std::size_t way = 1; way < ways; ++way) std::printf(" |");
    std::printf("\n| farthest |");
    for (const Fit& fit : fits) std::printf(" %.1f %% |", 100 * fit.farthest);
    for (std::size_t way = 1; way < ways; ++way) std::printf(" |");
    std::printf("\n");
  }
  std::printf("\n");
  std::fflush(stdout);
}

bool Plot(const std::vector<Sweep>& sweeps, const std::vector<SweepResult>& results, const std::string& file) {
  std::FILE* const gnuplot = popen("gnuplot", "w");
  if (!gnuplot) return false;
  const std::size_t rows = (sweeps.size() + kColumns - 1) / kColumns;
  const std::size_t columns = std::min<std::size_t>(sweeps.size(), kColumns);
  std::fprintf(gnuplot,
               "set terminal svg size %zu,%zu font 'sans,11' background 'white'\nset output %s\n"
               "set multiplot layout %zu,%zu\nset key above horizontal\nset samples 2\nset grid\nset xrange [0:*]\nset "
               "yrange [0:*]\n",
               400 * columns, 300 * rows, Quoted(file).c_str(), rows, columns);
  for (std::size_t i = 0; i < sweeps.size(); ++i) WriteData(gnuplot, i, sweeps[i], results[i]);
  for (std::size_t i = 0; i < sweeps.size(); ++i) WritePanel(gnuplot, i, sweeps[i], results[i]);
  std::fprintf(gnuplot, "unset multiplot\n");
  if (pclose(gnuplot) == 0) return true;
  std::fprintf(stderr, "gnuplot has drawn no %s; \"scripts/bootstrap benchmarks\" installs it\n", file.c_str());
  return false;
}
