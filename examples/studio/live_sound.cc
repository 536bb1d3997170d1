#include "studio/live_sound.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <quarn/qn_os.h>

#include "studio/error.h"

namespace studio {
namespace {

constexpr std::int64_t kBehindNs = 250000000;
constexpr std::chrono::milliseconds kPeriod(25);

}  // namespace

LiveSound::LiveSound(SoundMix::Receiver* receiver, const Timeline* timeline, std::vector<Sound> sounds,
                     std::vector<LiveLayer> layers, std::int64_t begin_ns, std::int64_t scene_end_ns)
    : layers_(std::move(layers)), mix_(receiver, timeline, std::move(sounds), begin_ns, scene_end_ns) {
  mix_.SetLayers(layers_, begin_ns);
  thread_ = std::thread(&LiveSound::Run, this);
}

LiveSound::~LiveSound() { Stop(0); }

void LiveSound::SetLayers(std::vector<LiveLayer> layers) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (std::equal(layers.begin(), layers.end(), layers_.begin(), layers_.end(), SameSound)) return;
  layers_ = layers;
  edits_.push_back({static_cast<std::int64_t>(qn_os_gettime_ns()), std::move(layers)});
}

float LiveSound::TakeLevel() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(level_, 0.0f);
}

std::vector<std::string> LiveSound::TakeErrors() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(errors_, {});
}

MixReport LiveSound::Finish(std::int64_t clock_ns) {
  Stop(clock_ns);
  MixReport report;
  report.peak = mix_.level().peak();
  report.clipped = mix_.level().clipped();
  return report;
}

void LiveSound::Stop(std::int64_t end_ns) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    end_ns_ = end_ns;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void LiveSound::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (bool stop = false; !stop;) {
    changed_.wait_for(lock, kPeriod, [this] { return stop_; });
    stop = stop_;
    const std::int64_t end_ns = end_ns_;
    std::vector<Edit> edits = std::exchange(edits_, {});
    lock.unlock();
    std::vector<std::string> errors;
    try {
      for (Edit& edit : edits) mix_.SetLayers(std::move(edit.layers), edit.clock_ns);
      stop ? mix_.Finish(end_ns) : mix_.MixUntil(static_cast<std::int64_t>(qn_os_gettime_ns()) - kBehindNs);
      errors = mix_.TakeErrors();
    } catch (const std::exception& error) {
      errors.push_back(ErrorText(error));
      stop = true;  // The film goes on in silence.
    }
    const float level = mix_.TakeLevel();
    lock.lock();
    level_ = std::max(level_, level);
    errors_.insert(errors_.end(), errors.begin(), errors.end());
  }
}

}  // namespace studio
