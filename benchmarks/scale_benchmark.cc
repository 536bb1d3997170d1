// Whether cost grows linearly: what a frame or a pass costs with more and more of something, in the engine and in bare
// loops that make the same.
//
// Each sweep runs in a process of its own, so that none finds what another left behind. A round goes through all steps:
// at each the pictures or samples of all ways are compared, and then the processor time that each takes, of all
// threads.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include <CLI/CLI.hpp>

#include <quarn/qn_log.h>

#include "benchmarks/measure.h"
#include "benchmarks/sweep.h"

namespace {

void DropLog(int, const char*, va_list, void*) {}

// The steps in the order in which a lap takes them: up, and down in the next, so that what changes slowly on the
// machine does not bend the line.
std::vector<std::size_t> OrderOfLap(const Sweep& sweep, int lap) {
  std::vector<std::size_t> order(sweep.steps.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (lap % 2 != 0) std::reverse(order.begin(), order.end());
  return order;
}

// In the process of a sweep: writes each step's costs as they come.
[[noreturn]] void RunLaps(const Sweep& sweep, int laps, double round_ms, int to) {
  KeepFreedMemory();
  qn_set_log_handle(&DropLog, nullptr);
  for (int lap = 0; lap < laps; ++lap) {
    for (const std::size_t step : OrderOfLap(sweep, lap)) {
      std::optional<Ways> ways = sweep.make(sweep.steps[step]);
      if (!ways) _exit(EXIT_FAILURE);
      const std::vector<double> costs = Compare(*ways, 1, round_ms).us;
      ways.reset();
      const auto size = static_cast<ssize_t>(costs.size() * sizeof(double));
      if (write(to, costs.data(), static_cast<std::size_t>(size)) != size) _exit(EXIT_FAILURE);
    }
  }
  _exit(EXIT_SUCCESS);
}

bool ReadCosts(int from, std::vector<double>* costs) {
  auto* at = reinterpret_cast<char*>(costs->data());
  std::size_t left = costs->size() * sizeof(double);
  while (left > 0) {
    const ssize_t count = read(from, at, left);
    if (count <= 0) return false;
    at += count;
    left -= static_cast<std::size_t>(count);
  }
  return true;
}

// Nothing where the sweep cannot be made.
std::optional<SweepResult> Run(const Sweep& sweep, int laps, double round_ms) {
  int ends[2];
  if (pipe(ends) != 0) return std::nullopt;
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    close(ends[0]);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);  // An X server must not hold it open.
    RunLaps(sweep, laps, round_ms, ends[1]);
  }
  close(ends[1]);
  SweepResult result(sweep);
  std::vector<double> costs(sweep.ways.size());
  bool complete = process > 0;
  for (int lap = 0; complete && lap < laps; ++lap) {
    for (const std::size_t step : OrderOfLap(sweep, lap)) {
      complete = complete && ReadCosts(ends[0], &costs);
      if (complete) result.Add(step, costs);
    }
  }
  close(ends[0]);
  if (process > 0) waitpid(process, nullptr, 0);
  if (!complete) return std::nullopt;
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Sweep> sweeps = VideoSweeps();
  sweeps.push_back(AudioSweep());
  sweeps.push_back(ViewSweep());
  std::vector<std::string> names;
  for (const Sweep& sweep : sweeps) names.push_back(sweep.name);

  CLI::App app("Measures how the cost of Quarn grows with what it has to do.", "quarn-scale-benchmark");
  std::vector<std::string> chosen = names;
  int most = 0;
  int rounds = 7;
  double round_ms = 60;
  std::string plot;
  app.add_option("--sweep", chosen, "Sweeps to make (all): " + CLI::detail::join(names, ", "))
      ->check(CLI::IsMember(names))
      ->delimiter(',');
  app.add_option("--most", most, "The largest number of anything (no limit)")->check(CLI::Range(1, 1000000));
  app.add_option("--rounds", rounds, "Rounds, each through all steps (7)")->check(CLI::Range(1, 1000));
  app.add_option("--round-ms", round_ms, "Processor time of each way in a round, in milliseconds (60)")
      ->check(CLI::Range(0.0, 60000.0));
  app.add_option("--plot", plot, "Draw all results into this file, with gnuplot")->type_name("FILE.svg");
  CLI11_PARSE(app, argc, argv);

  std::vector<Sweep> made;
  std::vector<SweepResult> results;
  bool failed = false;
  for (Sweep& sweep : sweeps) {
    if (std::find(chosen.begin(), chosen.end(), sweep.name) == chosen.end()) continue;
    if (most > 0) {
      sweep.steps.erase(
          std::remove_if(sweep.steps.begin(), sweep.steps.end(), [most](int step) { return step > most; }),
          sweep.steps.end());
    }
    const std::optional<SweepResult> result = Run(sweep, rounds, round_ms);
    failed |= !result && !sweep.optional;
    if (!result) continue;
    PrintTable(sweep, *result);
    made.push_back(sweep);
    results.push_back(*result);
  }
  if (!plot.empty() && !made.empty() && !Plot(made, results, plot)) return EXIT_FAILURE;
  return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}
