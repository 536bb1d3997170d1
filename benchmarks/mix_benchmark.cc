// What the arithmetic of mixing costs a sample of a source, beside a plain copy of the same bytes in the same process.
//
// In every variant that this processor runs: the sources' planes added to the mix and its peak taken, for blocks of
// 50 ms at 48 kHz, in processor time of the one thread that does it. At the end it prints a table of the repetitions'
// medians, and of their minima in brackets; Google Benchmark's flags work as usual.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <quarn/qn_log.h>

#include "audio/mix_format.h"
#include "audio/mix_samples.h"
#include "audio/mix_samples_variants.h"

namespace {

constexpr unsigned int kFrames = 2400;
constexpr const char* kNanoseconds = "ns_per_sample";

struct Workload {
  unsigned int sources;
  unsigned int channels;
};

const Workload kWorkloads[] = {{2, 2}, {16, 2}, {64, 2}, {256, 2}, {2, 8}, {16, 8}, {64, 8}, {256, 8}};

template <typename T>
constexpr InternalSampleType kType = kInternalSampleFloat;
template <>
constexpr InternalSampleType kType<short> = kInternalSampleShort;

template <typename T>
std::string Name(const std::string& what, const Workload& workload) {
  return what + "/" + (kType<T> == kInternalSampleFloat ? "float" : "short") + "/" + std::to_string(workload.channels) +
         "/" + std::to_string(workload.sources);
}

// Planes of one source or of the mix.
template <typename T>
class Planes {
 public:
  // A quiet wave; every other source has it upside down, so that the mix stays within its range.
  Planes(unsigned int channels, unsigned int source) : Planes(channels) {
    const int sign = source % 2 == 0 ? 1 : -1;
    const T step = kType<T> == kInternalSampleFloat ? static_cast<T>(1.0 / 32768) : T{1};
    for (std::vector<T>& plane : samples_) {
      for (unsigned int i = 0; i < kFrames; ++i) {
        plane[i] = static_cast<T>(step * static_cast<T>(sign * static_cast<int>(i * 37 % 1001 + source / 2)));
      }
    }
  }
  explicit Planes(unsigned int channels) : samples_(channels, std::vector<T>(kFrames)) {
    for (unsigned int c = 0; c < channels; ++c) pointers_[c] = samples_[c].data();
  }
  T* operator[](unsigned int c) { return pointers_[c]; }

 private:
  std::vector<std::vector<T>> samples_;
  std::array<T*, kMaxMixChannels> pointers_{};
};

template <typename T>
std::vector<std::unique_ptr<Planes<T>>> MakeSources(const Workload& workload) {
  std::vector<std::unique_ptr<Planes<T>>> sources;
  for (unsigned int i = 0; i < workload.sources; ++i) {
    sources.push_back(std::make_unique<Planes<T>>(workload.channels, i));
  }
  return sources;
}

void CountSamples(benchmark::State& state, const Workload& workload, unsigned int blocks) {
  const double samples = static_cast<double>(blocks) * kFrames * workload.sources * workload.channels;
  state.counters[kNanoseconds] =
      benchmark::Counter(samples * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <typename T>
void Copy(benchmark::State& state, const Workload& workload) {
  const auto sources = MakeSources<T>(workload);
  Planes<T> mix(workload.channels);
  for (auto _ : state) {
    for (const auto& source : sources) {
      for (unsigned int c = 0; c < workload.channels; ++c) std::memcpy(mix[c], (*source)[c], kFrames * sizeof(T));
      benchmark::ClobberMemory();
    }
  }
  CountSamples(state, workload, 1);
}

void Add(const MixSampleVariant& variant, float* dst, const std::vector<const float*>& sources) {
  variant.mix_float(dst, sources.data(), sources.size(), kFrames);
}
void Add(const MixSampleVariant& variant, short* dst, const std::vector<const short*>& sources) {
  variant.mix_short(dst, sources.data(), sources.size(), kFrames);
}
float Peak(const MixSampleVariant& variant, const float* plane) { return variant.peak_float(plane, kFrames); }
short Peak(const MixSampleVariant& variant, const short* plane) { return variant.peak_short(plane, kFrames); }

// Eight sources at a time, as a pass adds them.
template <typename T>
void Arithmetic(benchmark::State& state, const Workload& workload, const MixSampleVariant& variant) {
  constexpr unsigned int kAtATime = 8;
  const auto sources = MakeSources<T>(workload);
  Planes<T> mix(workload.channels);
  std::vector<const T*> planes;
  for (auto _ : state) {
    for (unsigned int first = 0; first < workload.sources; first += kAtATime) {
      for (unsigned int c = 0; c < workload.channels; ++c) {
        planes.clear();
        for (unsigned int i = first; i < std::min(first + kAtATime, workload.sources); ++i) {
          planes.push_back((*sources[i])[c]);
        }
        Add(variant, mix[c], planes);
      }
    }
    T peak = 0;
    for (unsigned int c = 0; c < workload.channels; ++c) peak = AbsMax<T>(peak, Peak(variant, mix[c]));
    benchmark::DoNotOptimize(AudioPeak<T>(peak));
  }
  CountSamples(state, workload, 1);
}

// Gathers the figures under the benchmarks' names, and prints the table.
class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    PrintBasicContext(&std::cerr, context);
    return true;
  }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const auto figure = run.counters.find(kNanoseconds);
      if (run.run_type == Run::RT_Iteration && figure != run.counters.end()) {
        figures_[run.run_name.function_name].push_back(figure->second.value);
      }
    }
  }
  void Finalize() override {
    std::vector<std::string> columns = {"copy"};
    for (const MixSampleVariant* variant : RunnableMixSampleVariants()) columns.push_back(variant->name);
    std::printf("| samples | channels | sources |");
    for (const std::string& column : columns) std::printf(" %15s |", column.c_str());
    std::printf("\n|---------|----------|---------|");
    for (std::size_t i = 0; i < columns.size(); ++i) std::printf("-----------------|");
    std::printf("\n");
    PrintRows<float>("float", columns);
    PrintRows<short>("short", columns);
  }

 private:
  template <typename T>
  void PrintRows(const char* samples, const std::vector<std::string>& columns) {
    for (const Workload& workload : kWorkloads) {
      std::printf("| %-7s | %8u | %7u |", samples, workload.channels, workload.sources);
      for (const std::string& column : columns) {
        std::vector<double>& figures = figures_[Name<T>(column, workload)];
        std::sort(figures.begin(), figures.end());
        if (figures.empty()) {
          std::printf(" %15s |", "");
        } else {
          std::printf("   %.3f (%.3f) |", figures[figures.size() / 2], figures.front());
        }
      }
      std::printf("\n");
    }
  }

  std::map<std::string, std::vector<double>> figures_;
};

template <typename T>
void Register(const Workload& workload) {
  benchmark::RegisterBenchmark(Name<T>("copy", workload).c_str(), Copy<T>, workload);
  for (const MixSampleVariant* variant : RunnableMixSampleVariants()) {
    benchmark::RegisterBenchmark(Name<T>(variant->name, workload).c_str(),
                                 [=](benchmark::State& state) { Arithmetic<T>(state, workload, *variant); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The repetitions of all benchmarks are mingled, so that what else the machine does falls on all. Flags that are
  // given come later and win.
  std::string repetitions = "--benchmark_repetitions=11";
  std::string mingled = "--benchmark_enable_random_interleaving=true";
  std::string time = "--benchmark_min_time=0.02";
  std::vector<char*> args(argv, argv + argc);
  args.insert(args.begin() + 1, {repetitions.data(), mingled.data(), time.data()});
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 2;
  for (const Workload& workload : kWorkloads) {
    Register<float>(workload);
    Register<short>(workload);
  }
  qn_set_log_handle(nullptr, nullptr);
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
}
