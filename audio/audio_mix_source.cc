// Buffering between the host and the mixer. Any thread pushes, the mixer thread pops; each takes the source's lock for
// all of it. What the mixer thread borrows it reads without the lock: pushes go on beside it.
#include "audio/audio_mix_source.h"

#include "foundation/logger.h"

namespace {

constexpr std::size_t kRingSeconds = 10;

}  // namespace

AudioMixSource::AudioMixSource(unsigned int sample_rate, unsigned int channels, InternalSampleType type)
    : sample_rate_(sample_rate), channels_(channels), type_(type) {
  if (!IsMixable(sample_rate, channels)) {
    inert_ = true;
    Logger::default_logger()->Error("[AudioMixSource] no source of %u Hz and %u channels", sample_rate, channels);
    return;
  }
  if (type_ == kInternalSampleFloat) {
    inert_ = !MakeRings(&float_rings_);
  } else if (type_ == kInternalSampleShort) {
    inert_ = !MakeRings(&short_rings_);
  }
  inert_ = inert_ || !taken_back_.valid();
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
    ClearRings(float_rings_);
    ClearRings(short_rings_);
    sequence_ = sequence;
  }
  if (!planes) return;
  Push(float_rings_, planes, frames);
  Push(short_rings_, planes, frames);
}

unsigned long AudioMixSource::PopFrontSamples(void** planes, unsigned int frames) {
  MutexLocker<Mutex> lock(lock_);
  if (!ready_) return 0;
  return type_ == kInternalSampleFloat ? Pop(float_rings_, planes, frames) : Pop(short_rings_, planes, frames);
}

// The analysis does not see that the guard outlives the lock only by TryLock.
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

void AudioMixSource::TakeBack() {
  if (loan_.exchange(Loan::kNone, std::memory_order_acq_rel) == Loan::kAwaited) taken_back_.Signal();
}

template <class T>
bool AudioMixSource::MakeRings(Rings<T>* rings) const {
  for (auto& ring : *rings) {
    ring = std::make_unique<CircleBuffer<T>>(sample_rate_ * kRingSeconds);
    if (!ring->valid()) return false;
  }
  return true;
}

template <class T>
void AudioMixSource::ClearRings(const Rings<T>& rings) {
  for (unsigned int c = 0; c < channels_; ++c) {
    if (rings[c]) rings[c]->Clear();
  }
}

template <class T>
void AudioMixSource::Push(const Rings<T>& rings, const void** planes, unsigned int frames) {
  // Asked once, so that all channels keep the same span.
  const bool idle = !enabled();
  for (unsigned int c = 0; c < channels_; ++c) {
    CircleBuffer<T>* const ring = rings[c].get();
    if (!ring) continue;
    ring->PushBack(static_cast<const T*>(planes[c]), frames);
    // Nobody takes from it: as much goes as came, so the ring stays at its latest 100 ms.
    if (idle && ring->size() > limit()) ring->PopFront(nullptr, frames);
  }
  // The push counts in the size, and by itself. Kept: C33.
  if (rings[0] && rings[0]->size() + frames >= limit()) ready_ = true;
}

template <class T>
std::size_t AudioMixSource::Pop(const Rings<T>& rings, void** planes, unsigned int frames) {
  std::size_t popped = 0;
  for (unsigned int c = 0; c < channels_; ++c) {
    popped = rings[c] ? rings[c]->PopFront(planes ? static_cast<T*>(planes[c]) : nullptr, frames) : 0;
  }
  return popped;
}

template <class T>
AudioMixSource::Lending AudioMixSource::Lend(const Rings<T>& rings, bool fits, unsigned int frames,
                                             LentPlanes* planes) {
  bool empty = true;
  for (unsigned int c = 0; c < channels_; ++c) {
    empty = empty && rings[c]->size() == 0;
    fits = fits && rings[c]->size() >= frames;
  }
  if (empty) return Lending::kNothing;
  if (!fits) return Lending::kNotSo;
  for (unsigned int c = 0; c < channels_; ++c) {
    const LentSamples<T> lent = rings[c]->Lend(frames);
    (*planes)[c] = {lent.samples, lent.count, lent.rest};
  }
  lent_ = true;
  loan_.store(Loan::kOut, std::memory_order_relaxed);
  return Lending::kLent;
}

template <class T>
void AudioMixSource::TakeBack(const Rings<T>& rings) {
  for (unsigned int c = 0; c < channels_; ++c) {
    if (rings[c]) rings[c]->TakeBack();
  }
}

void AudioMixSource::NoteTakingBack() {
  loan_renewal_.Check([this] { loan_.store(Loan::kNone, std::memory_order_relaxed); });
  if (!lent_ || loan_.load(std::memory_order_acquire) != Loan::kNone) return;
  TakeBack(float_rings_);
  TakeBack(short_rings_);
  lent_ = false;
}

template <class T>
bool AudioMixSource::HaveRoomFor(const Rings<T>& rings, unsigned int frames) const {
  for (unsigned int c = 0; c < channels_; ++c) {
    if (rings[c] && !rings[c]->HasRoomFor(frames)) return false;
  }
  return true;
}

void AudioMixSource::MakeRoomFor(unsigned int frames) {
  if (HaveRoomFor(float_rings_, frames) && HaveRoomFor(short_rings_, frames)) return;
  while (lent_) {
    Loan out = Loan::kOut;
    loan_.compare_exchange_strong(out, Loan::kAwaited, std::memory_order_acq_rel);
    if (out != Loan::kNone) taken_back_.Wait();
    NoteTakingBack();
  }
}
