// The mixer thread and its passes. Host threads enter through Start, Stop, AddSource and RemoveSource, the mixer thread
// through Run; the thread of a host that drives the mixer through MixBlock.
//
// In the steady state a pass takes the mixer's lock and each source's, and allocates and logs nothing.
#include "audio/audio_mixer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "audio/mix_pass.h"
#include "audio/mix_samples.h"
#include "audio/mix_samples_variants.h"
#include "foundation/logger.h"
#include "foundation/os_time.h"

namespace {

constexpr unsigned int kBlocksPerSecond = 20;

// That a mixer's thread is this one, or that its host mixes a block on it; a callback may drive other mixers.
class OwnMixer {
 public:
  OwnMixer(const AudioMixer* mixer, bool driven) : mixer_(mixer), driven_(driven), outer_(innermost_) {
    innermost_ = this;
  }
  ~OwnMixer() { innermost_ = outer_; }
  OwnMixer(const OwnMixer&) = delete;
  OwnMixer& operator=(const OwnMixer&) = delete;

  // Null where the caller is on no thread of that mixer's.
  static const OwnMixer* Find(const AudioMixer* mixer) {
    const OwnMixer* own = innermost_;
    while (own && own->mixer_ != mixer) own = own->outer_;
    return own;
  }
  // Whether it is the host's thread.
  bool driven() const { return driven_; }

 private:
  static thread_local const OwnMixer* innermost_;

  const AudioMixer* const mixer_;
  const bool driven_;
  const OwnMixer* const outer_;
};

thread_local const OwnMixer* OwnMixer::innermost_ = nullptr;

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

}  // namespace

// What one block after another is mixed in.
class BlockPlanes {
 public:
  explicit BlockPlanes(unsigned int block) : block_(block), mix_(bytes()), scratch_(bytes()) {}

  bool valid() const { return mix_.valid() && scratch_.valid(); }
  unsigned int block() const { return block_; }
  // As for floats, whatever the samples are.
  std::size_t bytes() const { return std::size_t{block_} * sizeof(float); }
  unsigned char** mix() { return mix_.data(); }
  unsigned char** scratch() { return scratch_.data(); }

 private:
  const unsigned int block_;
  Planes mix_;
  Planes scratch_;
};

namespace {

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
  if (thread_ || driven_) StopThread();
}

bool AudioMixer::Start() {
  if (!valid()) return false;
  if (const OwnMixer* const own = OwnMixer::Find(this)) {
    if (own->driven()) return !RefusedInCallback("Start");
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
  driven_ = false;
  driven_planes_.reset();
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

bool AudioMixer::StartDriven() {
  if (RefusedWhenInert("StartDriven") || RefusedInCallback("StartDriven")) return false;
  MutexLocker<Mutex> thread_lock(thread_lock_);
  return BeginDriven("StartDriven");
}

bool AudioMixer::BeginDriven(const char* operation) {
  if (driven_) return true;
  if (thread_ && !stop_.load(std::memory_order_relaxed)) {
    Logger::default_logger()->Error("[AudioMixer] %s was called while the mixer's own thread mixes", operation);
    return false;
  }
  // A thread that was told to end where nobody could wait for it.
  if (thread_) StopThread();
  driven_ = true;
  MutexLocker<FairMutex> lock(lock_);
  SetRunning(true);
  stop_.store(false, std::memory_order_relaxed);
  return true;
}

bool AudioMixer::MixBlock(unsigned long long timestamp_ns) {
  if (RefusedWhenInert("MixBlock") || RefusedInCallback("MixBlock")) return false;
  MutexLocker<Mutex> thread_lock(thread_lock_);
  if (!BeginDriven("MixBlock")) return false;
  if (!driven_planes_) {
    const unsigned int block = sample_rate_ / kBlocksPerSecond;
    driven_planes_.reset(new (std::nothrow) BlockPlanes(block));
    if (!driven_planes_ || !driven_planes_->valid()) {
      driven_planes_.reset();
      Logger::default_logger()->Error("[AudioMixer] no memory for blocks of %u frames", block);
      return false;
    }
  }
  {
    const OwnMixer own(this, true);
    MixInto(driven_planes_.get(), timestamp_ns);
  }
  // Its callback has called Stop.
  if (stop_.load(std::memory_order_relaxed)) StopThread();
  return true;
}

bool AudioMixer::RefusedInCallback(const char* operation) const {
  if (!OnOwnThread()) return false;
  Logger::default_logger()->Error("[AudioMixer] %s was called in a callback of its own mixer: it is ignored",
                                  operation);
  return true;
}

bool AudioMixer::RefusedWhenInert(const char* operation) const {
  if (valid()) return false;
  Logger::default_logger()->Error("[AudioMixer] %s was called on a mixer of %u Hz and %u channels", operation,
                                  sample_rate_, channels_);
  return true;
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
  driven_ = false;
  driven_planes_.reset();
  MutexLocker<FairMutex> lock(lock_);
  SetRunning(false);
}

void AudioMixer::RequestStop() { stop_.store(true, std::memory_order_relaxed); }

void AudioMixer::SetRunning(bool running) {
  running_ = running;
  if (!running) levels_.Silence();
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

bool AudioMixer::OnOwnThread() const { return OwnMixer::Find(this) != nullptr; }

void AudioMixer::Run() {
  NameThisThread("quarn-mixer");
  const OwnMixer own(this, false);
  MixUntilStopped();
  // However it ended, and whether anybody waits for it or not: nobody takes from the sources any more.
  MutexLocker<FairMutex> lock(lock_);
  SetRunning(false);
}

void AudioMixer::MixUntilStopped() {
  const std::uint64_t start = os::GetTimeNs();
  const unsigned int block = sample_rate_ / kBlocksPerSecond;  // 0 below 20 frames a second. Kept: C40.
  BlockPlanes planes(block);
  if (!planes.valid()) {
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
    MixInto(&planes, previous_deadline);
    previous_deadline = deadline;
  }
}

void AudioMixer::MixInto(BlockPlanes* planes, unsigned long long timestamp_ns) {
  for (unsigned int c = 0; c < channels_; ++c) std::memset(planes->mix()[c], 0, planes->bytes());
  Mix(planes->mix(), planes->scratch(), planes->block(), timestamp_ns);
}

template <class T>
void AudioMixer::MeasureLevels(void* const* mix, unsigned int frames) {
  for (unsigned int c = 0; c < channels_; ++c) {
    LevelMeter<T> meter;
    meter.Add(FastestMixSampleVariant(), static_cast<const T*>(mix[c]), frames);
    levels_.Set(c, meter.LevelOf(frames));
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
  if (levels_.wanted()) {
    if (type_ == kInternalSampleFloat) MeasureLevels<float>(mix.data(), count);
    if (type_ == kInternalSampleShort) MeasureLevels<short>(mix.data(), count);
  }
  if (!callback_) return;
  callback_->OnMixSamples(mix.data(), count, timestamp_ns);
  callback_->OnMixPeak(peak);
}
