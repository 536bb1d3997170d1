// One input of the mixer: a ring of ten seconds for each channel, filled by the host and emptied by the mixer thread.
#ifndef QUARN_AUDIO_AUDIO_MIX_SOURCE_H_
#define QUARN_AUDIO_AUDIO_MIX_SOURCE_H_

#include <array>
#include <atomic>
#include <cstdint>

#include "audio/circle_buffer.h"
#include "audio/mix_format.h"
#include "audio/mix_gain.h"
#include "audio/mix_levels.h"
#include "foundation/event.h"
#include "foundation/fork_count.h"
#include "foundation/mutex.h"

// A source turns ready to be mixed once it has about 100 ms, and starts over with every new sequence. While no mixer
// takes from it, it keeps about its latest 100 ms.
//
// Its lock is taken under the mixer's, never the other way round.
class AudioMixSource {
 public:
  // `sample_rate` in frames a second. At a rate of 0, with more than eight channels and where the memory is missing, it
  // logs an error and stays inert: pushes are ignored. A type that is neither float nor short has no rings: pushes are
  // accepted and yield nothing.
  AudioMixSource(unsigned int sample_rate, unsigned int channels, InternalSampleType type);
  // The source must have been removed from its mixer.
  ~AudioMixSource();
  AudioMixSource(const AudioMixSource&) = delete;
  AudioMixSource& operator=(const AudioMixSource&) = delete;

  // Whether it is not inert. Any thread.
  bool valid() const { return !inert_; }

  // Appends `frames` samples of the source's type from planes[c] to channel c. Null `planes` add nothing, though a new
  // sequence starts with them too; a null plane adds nothing to its channel. Any thread.
  void PushBackSamples(const void** planes, unsigned int frames, unsigned long long sequence);
  // Moves up to `frames` samples of each channel to planes[c] and returns how many came of the last one: 0 while not
  // ready, with the planes untouched. Beyond what came, planes keep what they held. Where a plane, or `planes`, is
  // null, the samples are dropped. Unless `counts` is null, it is told how many came of each channel.
  using Counts = std::array<std::size_t, kMaxMixChannels>;
  unsigned long PopFrontSamples(void** planes, unsigned int frames, Counts* counts = nullptr);

  // A block where it lies in the rings, channel by channel: `count` samples at `samples`, the others at `rest`.
  struct LentPlane {
    const void* samples;
    std::size_t count;
    const void* rest;
  };
  using LentPlanes = std::array<LentPlane, kMaxMixChannels>;
  enum class Lending : std::uint8_t {
    kLent,     // The block is out of the rings. Its memory is not written to until TakeBack.
    kNothing,  // PopFrontSamples would give nothing at all, and leave the planes as they are.
    kNotSo,    // There is something else to pop than a whole block of these channels and this type.
    kBusy,     // Another thread has the source: only if the caller does not wait.
  };
  // Takes `frames` samples of each channel out of the rings as PopFrontSamples does, without copying them, where there
  // are as many in every channel and at least `channels` of these. Whoever has a block of one source does not wait for
  // another: a push may be waiting for what is lent, with the source's lock held.
  Lending LendBlock(InternalSampleType type, unsigned int channels, unsigned int frames, bool wait, LentPlanes* planes);
  // Ends what LendBlock began. It takes no lock.
  void TakeBack();

  // A source is enabled while a running mixer takes its samples. The mixer sets it, under its own lock: none is taken
  // here.
  void Enable() { enabled_.store(true, std::memory_order_relaxed); }
  void Disable() {
    enabled_.store(false, std::memory_order_relaxed);
    gain_.Rest();
    levels_.Silence();
  }
  bool enabled() const { return enabled_.load(std::memory_order_relaxed); }

  MixGain& gain() { return gain_; }
  MixLevels& levels() { return levels_; }
  InternalSampleType type() const { return type_; }
  // Any thread.
  QnAudioInputStats Stats();

 private:
  template <class T>
  using Rings = std::array<CircleBuffer<T>, kMaxMixChannels>;
  enum class Loan : std::uint8_t { kNone, kOut, kAwaited };

  // Calls work() with the rings of the source's type.
  template <class Work>
  auto WithRings(Work work) QUARN_REQUIRES(lock_) {
    return type_ == kInternalSampleFloat ? work(float_rings_) : work(short_rings_);
  }
  template <class T>
  void Push(Rings<T>& rings, const void** planes, unsigned int frames) QUARN_REQUIRES(lock_);
  template <class T>
  std::size_t Pop(Rings<T>& rings, void** planes, unsigned int frames, Counts* counts) QUARN_REQUIRES(lock_);
  template <class T>
  Lending Lend(Rings<T>& rings, bool fits, unsigned int frames, LentPlanes* planes) QUARN_REQUIRES(lock_);
  // Has the rings know that a block has been taken back, if it has.
  void NoteTakingBack() QUARN_REQUIRES(lock_);
  // Waits for a block that is lent if `frames` samples more would not go into the rings beside it.
  void MakeRoomFor(unsigned int frames) QUARN_REQUIRES(lock_);

  // 100 ms of frames.
  std::size_t limit() const { return sample_rate_ / 10; }

  const unsigned int sample_rate_;
  const unsigned int channels_;
  const InternalSampleType type_;
  bool inert_ = false;  // Settled by the constructor.
  std::atomic<bool> enabled_{false};
  bool ready_ QUARN_GUARDED_BY(lock_) = false;
  bool lent_ QUARN_GUARDED_BY(lock_) = false;  // Whether the rings keep a block for a mixer.
  std::atomic<Loan> loan_{Loan::kNone};        // Whether the mixer has it.
  ForkRenewal loan_renewal_;                   // A fork has no mixer that would give it back.
  Mutex lock_;
  std::uint64_t sequence_ QUARN_GUARDED_BY(lock_) = ~std::uint64_t{0};  // Of the last push.
  // Eight of the source's type, whatever its channels; those of the other have no memory.
  Rings<short> short_rings_ QUARN_GUARDED_BY(lock_);
  Rings<float> float_rings_ QUARN_GUARDED_BY(lock_);
  QnAudioInputStats stats_ QUARN_GUARDED_BY(lock_);  // But for what is buffered.
  MixGain gain_;
  MixLevels levels_;
  Event taken_back_{false};  // For the push that made the loan kAwaited.
};

#endif  // QUARN_AUDIO_AUDIO_MIX_SOURCE_H_
