// What pushing and mixing cost beside a loop that does nothing else: it copies each source's block into a ring and adds
// it from there, eight sources at a time, with the library's own loops of arithmetic, and takes the peak once. No
// locks, no sources that come and go or run short.
//
// Every source is pushed a block of 50 ms at 48 kHz, then all are mixed. The engine and two such loops, one with rings
// of 100 ms, which is what a source holds before it is mixed, and one with a single block a source, take turns in
// rounds; what they mix is compared first. Processor time of the one thread that does it all; medians, and of the
// ratios of neighbouring rounds.
//
//   quarn-mix-loop-benchmark [rounds]
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <quarn/qn_log.h>

#include "audio/audio_mix_source.h"
#include "audio/audio_mixer.h"
#include "audio/mix_samples.h"
#include "audio/mix_samples_variants.h"

namespace {

constexpr unsigned int kRate = 48000;
constexpr unsigned int kBlock = kRate / 20;

struct Workload {
  unsigned int channels;
  unsigned int sources;
};
constexpr Workload kWorkloads[] = {{2, 16}, {2, 64}, {2, 256}, {8, 16}, {8, 64}, {8, 256}};

template <class T>
constexpr bool kIsFloat = sizeof(T) == sizeof(float);
template <class T>
constexpr InternalSampleType kType = kIsFloat<T> ? kInternalSampleFloat : kInternalSampleShort;

double ThreadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// A quiet wave for each channel of each source.
template <class T>
class Hosts {
 public:
  explicit Hosts(const Workload& workload) : planes_(std::size_t{workload.sources} * workload.channels) {
    for (std::size_t p = 0; p < planes_.size(); ++p) {
      const int sign = p / workload.channels % 2 == 0 ? 1 : -1;
      for (unsigned int i = 0; i < kBlock; ++i) {
        const int sample = sign * static_cast<int>(i * 37 % 1001 + p / 2 % 100);
        planes_[p].push_back(static_cast<T>(kIsFloat<T> ? static_cast<double>(sample) / 32768 : sample));
      }
      pointers_.push_back(planes_[p].data());
    }
  }
  const void** planes(std::size_t plane) { return &pointers_[plane]; }

 private:
  std::vector<std::vector<T>> planes_;
  std::vector<const void*> pointers_;
};

template <class T>
class Loop {
 public:
  // As long as `frames` is not a constant, the copies are the C library's, as they are for the engine.
  Loop(const Workload& workload, unsigned int blocks, std::size_t frames)
      : workload_(workload),
        frames_(frames),
        ring_frames_(blocks * frames),
        rings_(std::size_t{workload.sources} * workload.channels, std::vector<T>(ring_frames_)),
        mix_(workload.channels, std::vector<T>(frames)) {
    for (auto& plane : mix_) planes_.push_back(plane.data());
  }

  void Push(Hosts<T>& hosts) {
    for (std::size_t p = 0; p < rings_.size(); ++p) {
      std::memcpy(&rings_[p][at_], *hosts.planes(p), frames_ * sizeof(T));
    }
  }

  float Mix() {
    const MixSampleVariant& variant = FastestMixSampleVariant();
    for (auto& plane : mix_) std::fill(plane.begin(), plane.end(), T{0});
    for (std::size_t first = 0; first < workload_.sources; first += kAtATime) {
      const std::size_t count = std::min<std::size_t>(kAtATime, workload_.sources - first);
      for (unsigned int c = 0; c < workload_.channels; ++c) {
        std::array<const T*, kAtATime> sources;
        for (std::size_t i = 0; i < count; ++i) sources[i] = &rings_[(first + i) * workload_.channels + c][at_];
        if constexpr (kIsFloat<T>) {
          variant.mix_float(mix_[c].data(), sources.data(), count, frames_);
        } else {
          variant.mix_short(mix_[c].data(), sources.data(), count, frames_);
        }
      }
    }
    at_ = (at_ + frames_) % ring_frames_;
    return AudioPeak<T>(CalcPeak<T>(planes_.data(), static_cast<unsigned int>(frames_), workload_.channels));
  }

  const void* plane(unsigned int c) const { return mix_[c].data(); }

 private:
  static constexpr std::size_t kAtATime = 8;

  const Workload workload_;
  const std::size_t frames_;
  const std::size_t ring_frames_;
  std::vector<std::vector<T>> rings_;
  std::vector<std::vector<T>> mix_;
  std::vector<T*> planes_;
  std::size_t at_ = 0;
};

template <class T>
class Engine : AudioMixer::Callback {
 public:
  explicit Engine(const Workload& workload) : workload_(workload), mixer_(kRate, workload.channels, kType<T>, this) {
    for (unsigned int i = 0; i < workload.sources; ++i) {
      sources_.push_back(std::make_unique<AudioMixSource>(kRate, workload.channels, kType<T>));
      sources_.back()->Enable();
      mixer_.AddSource(sources_.back().get());
    }
    for (std::size_t p = 0; p < planes_.size(); ++p) {
      memory_.emplace_back(kBlock * sizeof(float));
      planes_[p] = memory_.back().data();
    }
  }
  ~Engine() override {
    for (const auto& source : sources_) mixer_.RemoveSource(source.get());
  }

  void Push(Hosts<T>& hosts) {
    for (std::size_t i = 0; i < sources_.size(); ++i) {
      sources_[i]->PushBackSamples(hosts.planes(i * workload_.channels), kBlock, 1);
    }
  }

  float Mix() {
    for (unsigned int c = 0; c < workload_.channels; ++c) std::memset(planes_[c], 0, kBlock * sizeof(float));
    mixer_.Mix(planes_.data(), planes_.data() + kMaxMixChannels, kBlock, 0);
    return peak_;
  }

  const void* plane(unsigned int c) const { return planes_[c]; }

 private:
  void OnMixSamples(void**, unsigned int, unsigned long long) override {}
  void OnMixPeak(float peak) override { peak_ = peak; }

  const Workload workload_;
  AudioMixer mixer_;
  std::vector<std::unique_ptr<AudioMixSource>> sources_;
  std::vector<std::vector<unsigned char>> memory_;
  std::array<unsigned char*, 2 * kMaxMixChannels> planes_;
  float peak_ = 0;
};

struct Seconds {
  double push = 0;
  double mix = 0;
  double both() const { return push + mix; }
};

template <class T, class Mixer>
Seconds Measure(Mixer* mixer, Hosts<T>* hosts, unsigned int blocks) {
  Seconds seconds;
  for (unsigned int block = 0; block < blocks; ++block) {
    const double start = ThreadSeconds();
    mixer->Push(*hosts);
    const double pushed = ThreadSeconds();
    mixer->Mix();
    seconds.push += pushed - start;
    seconds.mix += ThreadSeconds() - pushed;
  }
  return seconds;
}

double Median(std::vector<double> figures) {
  std::sort(figures.begin(), figures.end());
  return figures[figures.size() / 2];
}

// Returns whether the three have mixed the same.
template <class T>
bool Compare(const Workload& workload, int rounds, std::size_t frames) {
  Hosts<T> hosts(workload);
  Engine<T> engine(workload);
  Loop<T> ring(workload, 2, frames);
  Loop<T> block(workload, 1, frames);
  engine.Push(hosts);
  ring.Push(hosts);
  block.Push(hosts);
  const float peak = engine.Mix();
  bool same = peak == ring.Mix() && peak == block.Mix();
  for (unsigned int c = 0; c < workload.channels; ++c) {
    same = same && std::memcmp(engine.plane(c), ring.plane(c), frames * sizeof(T)) == 0 &&
           std::memcmp(engine.plane(c), block.plane(c), frames * sizeof(T)) == 0;
  }
  if (!same) return false;

  const unsigned int planes = workload.sources * workload.channels;
  const unsigned int blocks = std::max(2u, 6000 / planes);
  const double samples = static_cast<double>(blocks) * planes * static_cast<double>(frames) * 1e-9;
  std::vector<double> figures[8];
  for (int round = 0; round < rounds; ++round) {
    const Seconds by_ring = Measure(&ring, &hosts, blocks);
    const Seconds by_engine = Measure(&engine, &hosts, blocks);
    const Seconds by_block = Measure(&block, &hosts, blocks);
    const double row[] = {by_ring.both() / samples,           by_block.both() / samples,
                          by_engine.both() / samples,         by_engine.both() / by_ring.both(),
                          by_engine.both() / by_block.both(), by_engine.mix / samples,
                          by_engine.mix / by_ring.mix,        by_engine.mix / by_block.mix};
    for (std::size_t i = 0; i < 8; ++i) figures[i].push_back(row[i]);
  }
  std::printf("| %-7s | %8u | %7u |", kIsFloat<T> ? "float" : "short", workload.channels, workload.sources);
  for (const std::vector<double>& figure : figures) std::printf(" %6.3f |", Median(figure));
  std::printf("\n");
  std::fflush(stdout);
  return true;
}

std::size_t ResidentBytes() {
  std::size_t pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (!file || std::fscanf(file, "%*u %zu", &pages) != 1) std::abort();
  std::fclose(file);
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// What a source of two channels that holds 200 ms costs in memory once ten minutes have gone through it.
template <class T>
void MeasureMemory() {
  constexpr unsigned int kSources = 64;
  const Workload workload = {2, kSources};
  Hosts<T> hosts(workload);
  const std::size_t before = ResidentBytes();
  Engine<T> engine(workload);
  for (int i = 0; i < 4; ++i) engine.Push(hosts);
  for (int i = 0; i < 10 * 60 * 20; ++i) {
    engine.Mix();
    engine.Push(hosts);
  }
  std::printf("| %-7s | %6.0f |\n", kIsFloat<T> ? "float" : "short",
              static_cast<double>(ResidentBytes() - before) / kSources / 1024);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = std::max(1, argc > 1 ? std::atoi(argv[1]) : 31);
  const volatile std::size_t frames = kBlock;  // Not a constant to the loops.
  qn_set_log_handle(nullptr, nullptr);
  std::printf(
      "| samples | channels | sources |   ring |  block | engine | /ring  | /block |  mix   | /ring  | /block |\n");
  std::printf(
      "|---------|----------|---------|--------|--------|--------|--------|--------|--------|--------|--------|\n");
  for (const Workload& workload : kWorkloads) {
    if (!Compare<float>(workload, rounds, frames)) return 1;
  }
  for (const Workload& workload : kWorkloads) {
    if (!Compare<short>(workload, rounds, frames)) return 1;
  }
  std::printf("\n| samples | KB/src |\n|---------|--------|\n");
  MeasureMemory<float>();
  MeasureMemory<short>();
}
