// The mixer thread and its passes. Host threads enter through Start, Stop, AddSource and RemoveSource, the mixer thread
// through Run.
//
// In the steady state a pass takes the mixer's lock and each source's, and allocates and logs nothing.
#include "audio/audio_mixer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "audio/mix_pass.h"
#include "audio/mix_samples.h"
#include "audio/mix_samples_variants.h"
#include "foundation/logger.h"
#include "foundation/os_time.h"

namespace {

constexpr unsigned int kBlocksPerSecond = 20;

// The mixer whose thread this is.
thread_local const AudioMixer* own_mixer = nullptr;

// Eight zeroed planes. They come from the system, so that planes nobody uses cost no memory.
class Planes {
 public:
  explicit Planes(std::size_t plane_bytes) {
    for (unsigned char*& plane : planes_) {
      plane = static_cast<unsigned char*>(std::calloc(std::max<std::size_t>(plane_bytes, 1), 1));
    }
  }
  ~Planes() {
    for (unsigned char* plane : planes_) std::free(plane);
  }
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;

  bool valid() const { return std::find(planes_.begin(), planes_.end(), nullptr) == planes_.end(); }
  unsigned char** data() { return planes_.data(); }

 private:
  std::array<unsigned char*, kMaxMixChannels> planes_{};
};

template <class T>
std::array<T*, kMaxMixChannels> PlanesOf(void* const* planes) {
  std::array<T*, kMaxMixChannels> typed;
  std::transform(planes, planes + kMaxMixChannels, typed.begin(), [](void* plane) { return static_cast<T*>(plane); });
  return typed;
}

template <class T>
float Peak(void* const* mix, unsigned int frames, unsigned int channels) {
  return AudioPeak<T>(CalcPeak<T>(PlanesOf<T>(mix).data(), frames, channels));
}

}  // namespace

AudioMixer::AudioMixer(unsigned int sample_rate, unsigned int channels, InternalSampleType type, Callback* callback)
    : sample_rate_(sample_rate), channels_(channels), type_(type), callback_(callback) {
  if (!valid()) {
    Logger::default_logger()->Error("[AudioMixer] no mixer of %u Hz and %u channels", sample_rate, channels);
  }
}

AudioMixer::~AudioMixer() {
  MutexLocker<Mutex> thread_lock(thread_lock_);
  // A stopped mixer leaves its sources alone: they may be gone by now.
  if (thread_) StopThread();
}

bool AudioMixer::Start() {
  if (!valid()) return false;
  if (OnOwnThread()) {
    if (!stop_.load(std::memory_order_relaxed)) return true;
    Logger::default_logger()->Error(
        "Start was called on the audio mixer's thread after Stop: it ends after this block; call Start from another "
        "thread");
    return false;
  }
  MutexLocker<Mutex> thread_lock(thread_lock_);
  if (thread_) {
    if (!stop_.load(std::memory_order_relaxed)) return true;
    // It was told to end on its own thread, where nobody could wait for it.
    StopThread();
  }
  thread_.reset(Thread::Create());
  {
    MutexLocker<FairMutex> lock(lock_);
    SetRunning(true);
    stop_.store(false, std::memory_order_relaxed);
    thread_->Start(this);
    if (thread_->started()) return true;
    SetRunning(false);
  }
  thread_.reset();
  Logger::default_logger()->Error("[AudioMixer] the mixer thread could not be created");
  return false;
}

void AudioMixer::Stop() {
  if (OnOwnThread()) {
    RequestStop();
    Logger::default_logger()->Error(
        "Stop was called on the audio mixer's thread, which cannot wait for itself: it ends after this block; call "
        "Stop again from another thread");
    return;
  }
  MutexLocker<Mutex> thread_lock(thread_lock_);
  StopThread();
}

void AudioMixer::StopThread() {
  RequestStop();
  if (thread_) {
    thread_->Join();
    thread_.reset();
  }
  MutexLocker<FairMutex> lock(lock_);
  SetRunning(false);
}

void AudioMixer::RequestStop() { stop_.store(true, std::memory_order_relaxed); }

void AudioMixer::SetRunning(bool running) {
  running_ = running;
  for (AudioMixSource* source : sources_) {
    if (running) {
      source->Enable();
    } else {
      source->Disable();
    }
  }
}

void AudioMixer::AddSource(AudioMixSource* source) {
  if (!source) return;
  MutexLocker<FairMutex> lock(lock_);
  if (std::find(sources_.begin(), sources_.end(), source) != sources_.end()) return;
  sources_.push_back(source);
  if (running_) source->Enable();
}

void AudioMixer::RemoveSource(AudioMixSource* source) {
  if (!source) return;
  MutexLocker<FairMutex> lock(lock_);
  const auto found = std::find(sources_.begin(), sources_.end(), source);
  if (found == sources_.end()) return;
  source->Disable();
  sources_.erase(found);
}

bool AudioMixer::OnOwnThread() const { return own_mixer == this; }

void AudioMixer::Run() {
  NameThisThread("quarn-mixer");
  own_mixer = this;
  MixUntilStopped();
  // However it ended, and whether anybody waits for it or not: nobody takes from the sources any more.
  MutexLocker<FairMutex> lock(lock_);
  SetRunning(false);
}

void AudioMixer::MixUntilStopped() {
  const std::uint64_t start = os::GetTimeNs();
  const unsigned int block = sample_rate_ / kBlocksPerSecond;  // 0 below 20 frames a second. Kept: C40.
  const std::size_t plane_bytes = std::size_t{block} * sizeof(float);
  Planes mix(plane_bytes);
  Planes scratch(plane_bytes);
  if (!mix.valid() || !scratch.valid()) {
    Logger::default_logger()->Error("[AudioMixer] no memory for blocks of %u frames", block);
    RequestStop();
    return;
  }
  std::uint64_t frames_done = 0;
  std::uint64_t previous_deadline = start;
  while (!stop_.load(std::memory_order_relaxed)) {
    frames_done += block;
    // From the start and not from the block before, so that rounding does not add up to drift.
    const std::uint64_t deadline = start + audio_frames_to_ns(sample_rate_, frames_done);
    os::SleepToNsFast(deadline);
    for (unsigned int c = 0; c < channels_; ++c) std::memset(mix.data()[c], 0, plane_bytes);
    Mix(mix.data(), scratch.data(), block, previous_deadline);
    previous_deadline = deadline;
  }
}

void AudioMixer::Mix(unsigned char** mix_planes, unsigned char** scratch_planes, unsigned long frames,
                     unsigned long long timestamp_ns) {
  const auto count = static_cast<unsigned int>(frames);
  std::array<void*, kMaxMixChannels> mix;
  std::copy_n(mix_planes, kMaxMixChannels, mix.begin());

  const ReturningLocker lock(lock_);
  MixPass pass(FastestMixSampleVariant(), type_, channels_, mix_planes, scratch_planes, count);
  for (AudioMixSource* source : sources_) {
    if (source->enabled()) pass.Add(source);
  }
  pass.Finish();
  float peak = 0;
  if (type_ == kInternalSampleFloat) peak = Peak<float>(mix.data(), count, channels_);
  if (type_ == kInternalSampleShort) peak = Peak<short>(mix.data(), count, channels_);
  if (!callback_) return;
  callback_->OnMixSamples(mix.data(), count, timestamp_ns);
  callback_->OnMixPeak(peak);
}
