// What a frame costs in the engine, beside a bare loop of the same GL passes in the same process.
//
// The two take turns in short rounds, so that what else the machine does falls on both. For each workload it prints the
// median of the rounds: processor time a frame of all threads (a software rasteriser has several), wall time, and the
// ratios.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <quarn/qn_log.h>

#include "benchmarks/loops.h"

std::vector<unsigned char> Image() {
  std::vector<unsigned char> pixels;
  for (unsigned int y = 0; y < kImageSide; ++y) {
    for (unsigned int x = 0; x < kImageSide; ++x) {
      pixels.insert(pixels.end(), {static_cast<unsigned char>(4 * x), static_cast<unsigned char>(4 * y),
                                   static_cast<unsigned char>(255 - 4 * x), static_cast<unsigned char>(128 + x)});
    }
  }
  return pixels;
}

gs_transform Placement(const Workload& workload, int item) {
  const float side = 0.2f * static_cast<float>(workload.height);
  const float turn = 6.2831853f * static_cast<float>(item) / static_cast<float>(workload.items);
  const float reach_x = 0.4f * static_cast<float>(workload.width);
  const float reach_y = 0.4f * static_cast<float>(workload.height);
  return gs_transform(gs_vec2(reach_x * std::cos(turn), reach_y * std::sin(turn)), gs_vec2(side, side), turn);
}

std::uint64_t SumPlane(std::uint64_t sum, const unsigned char* data, unsigned int pitch, unsigned int row_size,
                       unsigned int rows) {
  for (unsigned int y = 0; y < rows; ++y) {
    for (unsigned int x = 0; x < row_size; ++x) sum = sum * 31 + data[static_cast<std::size_t>(pitch) * y + x];
  }
  return sum;
}

namespace {

struct Cost {
  double cpu_us;
  double wall_us;
};

double ProcessCpuUs() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto us = [](const timeval& t) { return 1e6 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec); };
  return us(usage.ru_utime) + us(usage.ru_stime);
}

Cost Round(FrameLoop& loop, int frames) {
  const double cpu = ProcessCpuUs();
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < frames; ++i) loop.MakeFrame();
  const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - start;
  return {(ProcessCpuUs() - cpu) / frames, wall.count() / frames};
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

const char* Name(GsFormat format) {
  switch (format) {
    case kGsFormatRGBA: return "RGBA";
    case kGsFormatBGRA: return "BGRA";
    case kGsFormatI420: return "I420";
    default: return "NV12";
  }
}

// Returns false when the two loops make different pictures.
bool Compare(const Workload& workload, int rounds, double round_ms) {
  const std::unique_ptr<FrameLoop> engine = MakeEngineLoop(workload);
  const std::unique_ptr<FrameLoop> bare = MakeBareLoop(workload);
  if (!engine || !bare) {
    std::fprintf(stderr, "no OpenGL 3.2 here\n");
    return false;
  }
  for (int i = 0; i < 10; ++i) {
    engine->MakeFrame();
    bare->MakeFrame();
  }
  if (engine->Checksum() != bare->Checksum()) {
    std::fprintf(stderr, "the two loops make different pictures\n");
    return false;
  }
  const int frames = std::max(2, static_cast<int>(1000.0 * round_ms / Round(*bare, 5).wall_us));
  std::vector<double> engine_cpu, engine_wall, bare_cpu, bare_wall, cpu_ratio;
  for (int i = 0; i < rounds; ++i) {
    const Cost e = Round(*engine, frames);
    const Cost b = Round(*bare, frames);
    engine_cpu.push_back(e.cpu_us);
    engine_wall.push_back(e.wall_us);
    bare_cpu.push_back(b.cpu_us);
    bare_wall.push_back(b.wall_us);
    cpu_ratio.push_back(e.cpu_us / b.cpu_us);
  }
  std::printf("| %4ux%-4u | %5d | %-6s | %9.0f | %9.0f | %5.3f | %9.0f | %9.0f | %5.3f |\n", workload.width,
              workload.height, workload.items, Name(workload.format), Median(engine_cpu), Median(bare_cpu),
              Median(cpu_ratio), Median(engine_wall), Median(bare_wall), Median(engine_wall) / Median(bare_wall));
  std::fflush(stdout);
  return true;
}

void DropLog(int, const char*, va_list, void*) {}

}  // namespace

// Usage: quarn-frame-benchmark [rounds [milliseconds a round]]
int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  const double round_ms = argc > 2 ? std::max(1.0, std::atof(argv[2])) : 200.0;
  qn_set_log_handle(&DropLog, nullptr);
  std::printf("| size      | items | format | engine us |   bare us | ratio | eng. wall | bare wall | ratio |\n");
  std::printf("|-----------|-------|--------|-----------|-----------|-------|-----------|-----------|-------|\n");
  const unsigned int sizes[][2] = {{160, 90}, {1920, 1080}};
  for (const auto& size : sizes) {
    for (const int items : {8, 64}) {
      for (const GsFormat format : {kGsFormatRGBA, kGsFormatBGRA, kGsFormatI420, kGsFormatNV12}) {
        if (!Compare({size[0], size[1], items, format}, rounds, round_ms)) return EXIT_FAILURE;
      }
    }
  }
  return EXIT_SUCCESS;
}
