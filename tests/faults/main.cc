// Lets each call fail that the library makes, one at a time, and looks at what becomes of it. See docs/testing.md.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "tests/faults/imports.h"
#include "tests/faults/trial.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

namespace faults {
namespace {

struct Options {
  std::string scenario;  // A name, or a group; empty for all.
  std::string kind;      // Empty for all.
  int number = 0;        // 0 for all.
  int every = 1;
  int most = 0;  // 0 for all.
  bool here = false;
  bool verbose = false;
};

struct Row {
  int calls = 0;
  int injected = 0;
  int outcomes[kOutcomes] = {};
};

// Functions that no stub stands for and that are told of: all of these libraries' that can fail.
bool IsLeftOut(const std::string& name) {
  const char* const known[] = {
      // Iterators and constants.
      "xcb_depth_next",  "xcb_depth_visuals_iterator", "xcb_get_setup", "xcb_screen_allowed_depths_iterator",
      "xcb_screen_next", "xcb_setup_roots_iterator",   "xcb_shape_id",  "xcb_visualtype_next"};
  for (const char* const left_out : known) {
    if (name == left_out) return true;
  }
  const std::string table = "_interface";  // Of Wayland's: a constant.
  return name.size() > table.size() && name.compare(name.size() - table.size(), table.size(), table) == 0;
}

std::vector<Import> AllImports() {
  std::vector<Import> all;
  for (const auto& some : {SystemImports(), EglImports(), GlImports(), X11Imports(), WaylandImports()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

// Returns false where the library calls something that nobody has thought of here.
bool PutStubsInPlace() {
  std::vector<Import> own;
  std::vector<Import> standard;
  for (const Import& import : AllImports()) (import.in_standard_library ? standard : own).push_back(import);
  bool complete = true;
  for (const std::string& name : ReplaceImports("qn_log", own)) {
    const auto begins = [&name](const char* start) { return name.rfind(start, 0) == 0; };
    if (!begins("gl") && !begins("egl") && !begins("xcb_") && !begins("wl_")) continue;
    bool known = IsLeftOut(name);
    for (const Import& import : own) known = known || name == import.name;
    if (!known) std::printf("no stub stands for %s, which the library calls\n", name.c_str());
    complete = complete && known;
  }
  ReplaceImports("_ZSt17__throw_bad_allocv", standard);
  return complete;
}

std::vector<Scenario> Chosen(const Options& options) {
  std::vector<Scenario> chosen;
  for (const auto& some :
       {DeviceScenarios(), PictureScenarios(), SoundScenarios(), ViewScenarios(), WaylandScenarios()}) {
    for (const Scenario& scenario : some) {
      const bool named = scenario.name == options.scenario || scenario.group == options.scenario;
      if (options.scenario.empty() || named) chosen.push_back(scenario);
    }
  }
  return chosen;
}

// The calls that are to fail, of so many: spread over all of them.
std::vector<int> Numbers(const Options& options, int calls) {
  if (options.number > 0) return {options.number};
  std::vector<int> numbers;
  for (int number = 1; number <= calls; number += options.every) numbers.push_back(number);
  const int found = static_cast<int>(numbers.size());
  if (options.most == 0 || found <= options.most) return numbers;
  std::vector<int> spread;
  for (int i = 0; i < options.most; ++i) {
    spread.push_back(numbers[static_cast<std::size_t>(i * (found - 1) / std::max(1, options.most - 1))]);
  }
  return spread;
}

// Returns whether nothing went wrong.
bool RunKind(const Options& options, const Scenario& scenario, Kind kind, Row* row) {
  const Verdict plain = Try(scenario, kind, 0, {});
  if (plain.found.digest == kNothing || plain.outcome != kUnnoticed) {
    std::printf("%s without a fault: %s, digest %llx\n%s", scenario.name.c_str(), kOutcomeNames[plain.outcome],
                static_cast<unsigned long long>(plain.found.digest), plain.log.c_str());
    return false;
  }
  row->calls = plain.found.calls;
  bool right = true;
  for (const int number : Numbers(options, plain.found.calls)) {
    const auto run = options.here ? TryHere : Try;
    const Verdict verdict = run(scenario, kind, number, plain.found);
    ++row->outcomes[verdict.outcome];
    row->injected += verdict.outcome != kNotReached;
    const bool wrong = IsWrong(verdict.outcome);
    right = right && !wrong;
    if (wrong || options.verbose) {
      std::printf("%s --scenario %s --kind %s --number %d: %s\n%s", kOutcomeNames[verdict.outcome],
                  scenario.name.c_str(), kKindNames[kind], number, verdict.failed.c_str(), verdict.log.c_str());
    }
  }
  return right;
}

void PrintHead() {
  std::printf("%-16s %-10s %6s %8s", "scenario", "kind", "calls", "injected");
  for (const char* const name : kOutcomeNames) std::printf(" %11s", name);
  std::printf("\n");
}

void PrintRow(const std::string& scenario, const char* kind, const Row& row) {
  std::printf("%-16s %-10s %6d %8d", scenario.c_str(), kind, row.calls, row.injected);
  for (const int count : row.outcomes) std::printf(" %11d", count);
  std::printf("\n");
  std::fflush(stdout);
}

bool RunAll(const Options& options) {
  std::optional<test::XServer> server;
  std::optional<test::XConnection> client;  // Without any the server would begin anew, and refuse who comes meanwhile.
  bool right = true;
  Row sum;
  const std::vector<Scenario> scenarios = Chosen(options);
  if (scenarios.empty()) return false;
  PrintHead();
  for (const Scenario& scenario : scenarios) {
    const bool windows = scenario.group == "view";
    if (windows && !server) client.emplace(server.emplace().display());
    if (windows && !client->ok()) std::puts("the X server did not start: these tests want Xvfb");
    if (windows) setenv("DISPLAY", server->display().c_str(), 1);
    for (int kind = 0; kind < kKinds; ++kind) {
      if (!options.kind.empty() && options.kind != kKindNames[kind]) continue;
      Row row;
      right = RunKind(options, scenario, static_cast<Kind>(kind), &row) && right;
      PrintRow(scenario.name, kKindNames[kind], row);
      sum.calls += row.calls;
      sum.injected += row.injected;
      for (int i = 0; i < kOutcomes; ++i) sum.outcomes[i] += row.outcomes[i];
    }
    unsetenv("DISPLAY");
  }
  PrintRow("all", "", sum);
  return right;
}

bool Parse(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--here" || name == "--verbose") {
      (name == "--here" ? options->here : options->verbose) = true;
      continue;
    }
    if (++i == argc) return false;
    if (name == "--scenario") {
      options->scenario = argv[i];
    } else if (name == "--kind") {
      options->kind = argv[i];
    } else if (name == "--number") {
      options->number = std::atoi(argv[i]);
    } else if (name == "--every") {
      options->every = std::max(1, std::atoi(argv[i]));
    } else if (name == "--most") {
      options->most = std::atoi(argv[i]);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace faults

int main(int argc, char** argv) {
  faults::Options options;
  if (!faults::Parse(argc, argv, &options)) {
    std::puts("faults_test [--scenario NAME] [--kind KIND] [--number N] [--every N] [--most N] [--verbose] [--here]");
    return 2;
  }
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY"}) unsetenv(name);
  if (!faults::PutStubsInPlace()) return 1;
  return faults::RunAll(options) ? 0 : 1;
}
