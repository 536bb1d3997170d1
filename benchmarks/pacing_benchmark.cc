// How late frames and blocks begin, beside a bare grid in the same minute: a thread that sleeps from point to point
// with clock_nanosleep. The device draws a small scene for an output, the mixer mixes one input.
//
// For each rate it prints how long after their points the device's frames, the mixer's blocks and the bare thread's
// wakings came, and how many points of the grid had no frame of their own.
//
//   quarn-pacing-benchmark [--rates=24,25,30,50,60,120] [--seconds=60] [--load=THREADS] [--realtime]
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include <quarn/quarn.h>

namespace {

constexpr std::uint64_t kNsPerSecond = 1000000000;
constexpr std::uint64_t kBlockNs = kNsPerSecond / 20;
constexpr unsigned int kSampleRate = 48000;

struct Lateness {
  std::vector<std::uint64_t> ns;
  std::uint64_t missed = 0;
};

void PrintRow(unsigned int rate, const char* who, Lateness late) {
  if (late.ns.empty()) late.ns.push_back(0);
  std::sort(late.ns.begin(), late.ns.end());
  const auto us = [&late](double share) {
    return static_cast<double>(late.ns[static_cast<std::size_t>(share * static_cast<double>(late.ns.size() - 1))]) /
           1e3;
  };
  std::printf("| %4u | %-16s | %6zu | %8.0f | %8.0f | %8.0f | %6llu |\n", rate, who, late.ns.size(), us(0.5), us(0.99),
              us(1), static_cast<unsigned long long>(late.missed));
  std::fflush(stdout);
}

// Sleeps from point to point of a grid, and does nothing else.
Lateness SleepAlongGrid(unsigned int rate, double seconds) {
  pthread_setname_np(pthread_self(), "bare-grid");
  Lateness late;
  const std::uint64_t start = qn_os_gettime_ns();
  const auto points = static_cast<std::uint64_t>(seconds * rate);
  for (std::uint64_t point = 1; point <= points; ++point) {
    const std::uint64_t target = start + point * kNsPerSecond / rate;
    timespec until{};
    until.tv_sec = static_cast<time_t>(target / kNsPerSecond);
    until.tv_nsec = static_cast<long>(target % kNsPerSecond);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) continue;
    const std::uint64_t now = qn_os_gettime_ns();
    late.ns.push_back(now - target);
    // As the device has it: points that have gone by are left out.
    const std::uint64_t passed = (now - start) * rate / kNsPerSecond;
    if (passed > point) {
      late.missed += passed - point;
      point = passed;
    }
  }
  return late;
}

// What a device's frames were late by, from its own record of them, which holds the last 128.
class FrameRecord {
 public:
  explicit FrameRecord(const GsDevice* device) : device_(device), times_(128) {}

  void Read() {
    const unsigned int count = device_->ReadFrameTimes(times_.data(), static_cast<unsigned int>(times_.size()));
    for (unsigned int i = 0; i < count; ++i) {
      if (times_[i].time_ns <= last_ns_) continue;
      last_ns_ = times_[i].time_ns;
      late_.ns.push_back(times_[i].start_delay_ns);
      late_.missed += times_[i].periods - 1;
    }
  }
  // Leaves out what has been, the start of the driver.
  void Forget() {
    Read();
    late_ = Lateness();
  }
  const Lateness& late() const { return late_; }

 private:
  const GsDevice* const device_;
  std::vector<GsFrameTime> times_;
  unsigned long long last_ns_ = 0;
  Lateness late_;
};

class BlockRecord : public QnAudioMixer::Callback {
 public:
  void OnMixSamples(void**, unsigned int, unsigned long long timestamp_ns) override {
    const std::uint64_t late_ns = qn_os_gettime_ns() - (timestamp_ns + kBlockNs);
    const std::lock_guard<std::mutex> lock(lock_);
    late_.ns.push_back(late_ns);
    if (late_ns >= kBlockNs) ++late_.missed;
  }
  void OnMixPeak(float) override {}
  Lateness Take() {
    const std::lock_guard<std::mutex> lock(lock_);
    return std::exchange(late_, Lateness());
  }

 private:
  std::mutex lock_;
  Lateness late_;
};

// Threads that compute all the time.
class Load {
 public:
  explicit Load(int threads) {
    for (int i = 0; i < threads; ++i) {
      threads_.emplace_back([this] {
        volatile double value = 1;
        while (!stop_.load(std::memory_order_relaxed)) value = value * 1.0000001 + 1e-9;
      });
    }
  }
  ~Load() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  std::atomic<bool> stop_{false};
  std::vector<std::thread> threads_;
};

void PrintProblem(int level, const char* format, va_list args, void*) {
  if (level > kQnLogWarning) return;
  std::vfprintf(stderr, format, args);
  std::fputc('\n', stderr);
}

bool MeasureRate(unsigned int rate, double seconds, bool realtime) {
  GsDevice device;
  if (!device.Init()) return false;
  device.SetFrameRate(rate, 1);
  const auto scene = MakeRefCounted<GsScene>(320u, 180u, &device);
  scene->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(160, 90), gs_vec3(1, 0, 0), &device));
  GsOutputRaw output(scene, 320, 180, kGsFormatI420, &device);
  if (!output.Start()) return false;
  device.SetRealtime(realtime);
  if (!device.Start()) return false;

  BlockRecord blocks;
  QnAudioMixer mixer(kSampleRate, 2, kQnMixSampleFloat, &blocks);
  if (!mixer.Start()) return false;

  FrameRecord frames(&device);
  Lateness bare;
  std::thread grid([&] { bare = SleepAlongGrid(rate, seconds + 1); });
  const auto pause = std::chrono::milliseconds(250);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  frames.Forget();
  blocks.Take();
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(pause);
    frames.Read();
  }
  mixer.Stop();
  output.Stop();
  device.Stop();
  grid.join();
  PrintRow(rate, "device", frames.late());
  PrintRow(rate, "mixer", blocks.Take());
  PrintRow(rate, "clock_nanosleep", bare);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("How late frames and blocks begin, beside a bare grid of clock_nanosleep.");
  std::vector<unsigned int> rates = {24, 25, 30, 50, 60, 120};
  double seconds = 60;
  int load = 0;
  bool realtime = false;
  app.add_option("--rates", rates, "Frames a second")->delimiter(',')->check(CLI::Range(1u, 1000u));
  app.add_option("--seconds", seconds, "How long for each rate")->check(CLI::Range(0.5, 3600.0));
  app.add_option("--load", load, "Threads that compute meanwhile")->check(CLI::Range(0, 1000));
  app.add_flag("--realtime", realtime, "The device's render thread is a real-time one");
  CLI11_PARSE(app, argc, argv);

  qn_set_log_handle(PrintProblem, nullptr);
  const Load computing(load);
  std::printf("| Rate | Who              | Points |   p50 us |   p99 us |   max us | Missed |\n");
  std::printf("| ---: | ---------------- | -----: | -------: | -------: | -------: | -----: |\n");
  for (const unsigned int rate : rates) {
    if (!MeasureRate(rate, seconds, realtime)) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
