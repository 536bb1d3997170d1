// What a frame costs in the engine, beside two bare loops of GL calls in the same process: one makes the same passes,
// the other the least that make the same bytes.
//
// Before anything is measured the bytes of all three are compared. Then they take turns in short rounds, so that what
// else the machine does falls on all. For each workload it prints medians over the rounds: processor time a frame of
// all threads, and the ratios of neighbours in a round.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include <quarn/qn_log.h>

#include "benchmarks/measure.h"

namespace {

const std::map<std::string, GsFormat> kFormats = {
    {"RGBA", kGsFormatRGBA}, {"BGRA", kGsFormatBGRA}, {"I420", kGsFormatI420}, {"NV12", kGsFormatNV12}};

bool ParseSize(const std::string& text, Workload* workload) {
  int end = 0;
  return std::sscanf(text.c_str(), "%ux%u%n", &workload->width, &workload->height, &end) == 2 &&
         static_cast<std::size_t>(end) == text.size() && workload->width > 0 && workload->height > 0;
}

bool PrintRow(const Workload& workload, const std::string& format, int rounds, double round_ms) {
  const Loops loops = MakeLoops(workload);
  if (!loops) return false;
  const Costs costs = loops.Compare(rounds, round_ms);
  std::printf("| %4ux%-4u | %5d | %-6s | %9.0f | %9.0f | %9.0f | %13.3f | %8.3f |\n", workload.width, workload.height,
              workload.items, format.c_str(), costs.us[0], costs.us[1], costs.us[2], costs.ratios[1], costs.ratios[2]);
  std::fflush(stdout);
  return true;
}

void DropLog(int, const char*, va_list, void*) {}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Compares what a frame costs in Quarn and in bare GL calls.", "quarn-frame-benchmark");
  std::vector<std::string> sizes = {"160x90", "1920x1080"};
  std::vector<int> items = {8, 64};
  std::vector<std::string> formats = {"RGBA", "BGRA", "I420", "NV12"};
  int rounds = 15;
  double round_ms = 200;
  app.add_option("--size", sizes, "Sizes of scene and output (160x90 1920x1080)")->type_name("WxH")->delimiter(',');
  app.add_option("--items", items, "Numbers of layers (8 64)")->check(CLI::Range(1, 100000))->delimiter(',');
  app.add_option("--format", formats, "Layouts (RGBA BGRA I420 NV12)")
      ->check(CLI::IsMember({"RGBA", "BGRA", "I420", "NV12"}))
      ->delimiter(',');
  app.add_option("--rounds", rounds, "Rounds of each row (15)")->check(CLI::Range(1, 1000));
  app.add_option("--round-ms", round_ms, "Processor time of each loop in a round, in milliseconds (200)")
      ->check(CLI::Range(0.0, 60000.0));
  CLI11_PARSE(app, argc, argv);
  KeepFreedMemory();
  qn_set_log_handle(&DropLog, nullptr);
  std::printf("| size      | items | format | engine us | same p.us |  least us | engine / same | / least  |\n");
  std::printf("|-----------|-------|--------|-----------|-----------|-----------|---------------|----------|\n");
  for (const std::string& size : sizes) {
    for (const int count : items) {
      for (const std::string& format : formats) {
        Workload workload;
        if (!ParseSize(size, &workload)) {
          std::fprintf(stderr, "%s is no size: it should be like 1920x1080\n", size.c_str());
          return EXIT_FAILURE;
        }
        workload.items = count;
        workload.format = kFormats.at(format);
        if (!PrintRow(workload, format, rounds, round_ms)) return EXIT_FAILURE;
      }
    }
  }
  return EXIT_SUCCESS;
}
