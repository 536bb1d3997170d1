// Buffering between the host and the mixer. Any thread pushes, the mixer thread pops; each takes the source's lock for
// all of it. What the mixer thread borrows it reads without the lock: pushes go on beside it.
#include "audio/audio_mix_source.h"

#include <algorithm>

#include "foundation/logger.h"

namespace {

constexpr std::size_t kRingSeconds = 10;

template <class T>
std::array<CircleBuffer<T>, kMaxMixChannels> MakeRings(std::size_t capacity) {
  static_assert(kMaxMixChannels == 8);
  using Ring = CircleBuffer<T>;
  return {Ring(capacity), Ring(capacity), Ring(capacity), Ring(capacity),
          Ring(capacity), Ring(capacity), Ring(capacity), Ring(capacity)};
}

// How long a ring of a source is, whose samples are of `type`, if the ring's are of `of_type`.
std::size_t CapacityOf(InternalSampleType of_type, unsigned int sample_rate, unsigned int channels,
                       InternalSampleType type) {
  return type == of_type && IsMixable(sample_rate, channels) ? sample_rate * kRingSeconds : 0;
}

template <class Rings>
bool AreValid(const Rings& rings) {
  return std::all_of(rings.begin(), rings.end(), [](const auto& ring) { return ring.valid(); });
}

}  // namespace

AudioMixSource::AudioMixSource(unsigned int sample_rate, unsigned int channels, InternalSampleType type)
    : sample_rate_(sample_rate),
      channels_(channels),
      type_(type),
      short_rings_(MakeRings<short>(CapacityOf(kInternalSampleShort, sample_rate, channels, type))),
      float_rings_(MakeRings<float>(CapacityOf(kInternalSampleFloat, sample_rate, channels, type))) {
  if (!IsMixable(sample_rate, channels)) {
    inert_ = true;
    Logger::default_logger()->Error("[AudioMixSource] no source of %u Hz and %u channels", sample_rate, channels);
    return;
  }
  inert_ = !taken_back_.valid() || (type_ == kInternalSampleFloat && !AreValid(float_rings_)) ||
           (type_ == kInternalSampleShort && !AreValid(short_rings_));
  if (inert_) {
    Logger::default_logger()->Error("[AudioMixSource] no memory for ten seconds at %u Hz", sample_rate);
  }
}

AudioMixSource::~AudioMixSource() = default;

void AudioMixSource::PushBackSamples(const void** planes, unsigned int frames, unsigned long long sequence) {
  if (inert_) return;
  MutexLocker<Mutex> lock(lock_);
  NoteTakingBack();
  if (planes && lent_) MakeRoomFor(frames);
  if (sequence != sequence_) {
    // Kept: C2.
    Logger::default_logger()->Warn("audio mix source new sequence ");
    ready_ = false;
    WithRings([this](auto& rings) {
      for (unsigned int c = 0; c < channels_; ++c) rings[c].Clear();
    });
    sequence_ = sequence;
  }
  if (!planes) return;
  if (type_ == kInternalSampleFloat) {
    Push(float_rings_, planes, frames);
  } else {
    Push(short_rings_, planes, frames);
  }
}

unsigned long AudioMixSource::PopFrontSamples(void** planes, unsigned int frames, Counts* counts) {
  Counts popped{};
  MutexLocker<Mutex> lock(lock_);
  std::size_t last = 0;
  if (ready_) {
    last = type_ == kInternalSampleFloat ? Pop(float_rings_, planes, frames, &popped)
                                         : Pop(short_rings_, planes, frames, &popped);
  }
  if (counts) *counts = popped;
  return last;
}

// The analysis does not follow a lock that is taken in two ways.
AudioMixSource::Lending AudioMixSource::LendBlock(InternalSampleType type, unsigned int channels, unsigned int frames,
                                                  bool wait, LentPlanes* planes) QUARN_NO_THREAD_SAFETY_ANALYSIS {
  if (wait) {
    lock_.Lock();
  } else if (lock_.TryLock()) {  // True says that it was not obtained.
    return Lending::kBusy;
  }
  Lending lending = Lending::kNothing;
  if (ready_ && frames > 0) {
    NoteTakingBack();
    const bool fits = type == type_ && channels <= channels_ && !lent_;
    lending = type_ == kInternalSampleFloat ? Lend(float_rings_, fits, frames, planes)
                                            : Lend(short_rings_, fits, frames, planes);
  }
  lock_.Unlock();
  return lending;
}

QnAudioInputStats AudioMixSource::Stats() {
  if (inert_) return {};
  MutexLocker<Mutex> lock(lock_);
  QnAudioInputStats stats = stats_;
  stats.buffered_frames = WithRings([this](const auto& rings) {
    std::size_t least = channels_ > 0 ? rings[0].size() : 0;
    for (unsigned int c = 1; c < channels_; ++c) least = std::min(least, rings[c].size());
    return least;
  });
  return stats;
}

void AudioMixSource::TakeBack() {
  if (loan_.exchange(Loan::kNone, std::memory_order_acq_rel) == Loan::kAwaited) taken_back_.Signal();
}

template <class T>
void AudioMixSource::Push(Rings<T>& rings, const void** planes, unsigned int frames) {
  // Asked once, so that all channels keep the same span.
  const bool idle = !enabled();
  std::size_t overflow = 0;
  std::size_t trimmed = 0;
  for (unsigned int c = 0; c < channels_; ++c) {
    const std::size_t wanted = rings[c].size() + (planes[c] && rings[c].valid() ? frames : 0);
    rings[c].PushBack(static_cast<const T*>(planes[c]), frames);
    overflow = std::max(overflow, wanted - rings[c].size());
    // Nobody takes from it: as much goes as came, so the ring stays at its latest 100 ms.
    if (idle && rings[c].size() > limit()) trimmed = std::max(trimmed, rings[c].PopFront(nullptr, frames));
  }
  stats_.overflow_frames += overflow;
  stats_.trimmed_frames += trimmed;
  // The push counts in the size, and by itself. Kept: C33.
  if (rings[0].valid() && rings[0].size() + frames >= limit()) ready_ = true;
}

template <class T>
std::size_t AudioMixSource::Pop(Rings<T>& rings, void** planes, unsigned int frames, Counts* counts) {
  std::size_t popped = 0;
  std::size_t least = frames;
  for (unsigned int c = 0; c < channels_; ++c) {
    popped = rings[c].PopFront(planes ? static_cast<T*>(planes[c]) : nullptr, frames);
    (*counts)[c] = popped;
    least = std::min(least, popped);
  }
  stats_.underrun_frames += frames - least;
  return popped;
}

template <class T>
AudioMixSource::Lending AudioMixSource::Lend(Rings<T>& rings, bool fits, unsigned int frames, LentPlanes* planes) {
  bool empty = true;
  for (unsigned int c = 0; c < channels_; ++c) {
    empty = empty && rings[c].size() == 0;
    fits = fits && rings[c].size() >= frames;
  }
  if (empty) {
    if (channels_ > 0) stats_.underrun_frames += frames;
    return Lending::kNothing;
  }
  if (!fits) return Lending::kNotSo;
  for (unsigned int c = 0; c < channels_; ++c) {
    const LentSamples<T> lent = rings[c].Lend(frames);
    (*planes)[c] = {lent.samples, lent.count, lent.rest};
  }
  lent_ = true;
  loan_.store(Loan::kOut, std::memory_order_relaxed);
  return Lending::kLent;
}

void AudioMixSource::NoteTakingBack() {
  loan_renewal_.Check([this] { loan_.store(Loan::kNone, std::memory_order_relaxed); });
  if (!lent_ || loan_.load(std::memory_order_acquire) != Loan::kNone) return;
  WithRings([this](auto& rings) {
    for (unsigned int c = 0; c < channels_; ++c) rings[c].TakeBack();
  });
  lent_ = false;
}

void AudioMixSource::MakeRoomFor(unsigned int frames) {
  const bool room = WithRings([&](const auto& rings) {
    return std::all_of(rings.begin(), rings.end(), [&](const auto& ring) { return ring.HasRoomFor(frames); });
  });
  while (!room && lent_) {
    Loan out = Loan::kOut;
    loan_.compare_exchange_strong(out, Loan::kAwaited, std::memory_order_acq_rel);
    if (out != Loan::kNone) taken_back_.Wait();
    NoteTakingBack();
  }
}
