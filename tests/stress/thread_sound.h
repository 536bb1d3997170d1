// The sound of a stress round: inputs that every thread pushes into, and two mixers, one that a thread drives and one
// with a thread of its own. Each input has a bit of its own in the samples, so that from what is mixed can be told how
// much of it came from where: nothing that was pushed may be lost without being counted.
#ifndef QUARN_TESTS_STRESS_THREAD_SOUND_H_
#define QUARN_TESTS_STRESS_THREAD_SOUND_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include <quarn/quarn.h>

#include "tests/stress/thread_checks.h"

namespace stress {

using Input = Counted<QnAudioInput>;

constexpr unsigned int kRate = 2000;
constexpr unsigned int kBlockFrames = kRate / 20;
constexpr std::uint64_t kBlockNs = 50000000;
constexpr unsigned int kInputs = 4;  // Of each mixer.

// One mixer with its inputs.
class SoundMixer : public QnAudioMixer::Callback {
 public:
  SoundMixer();
  ~SoundMixer() override = default;

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override;
  void OnMixPeak(float peak) override;

  // Any thread.
  void Push(Random& random);
  // Any thread: adds, removes, starts, stops or drives, as `driven` says, one call at a time.
  void Change(Random& random, bool driven);
  // The caller's threads have gone.
  void TakeApart();

 private:
  std::mutex mutex_;  // The mixer is the caller's to serialise.
  std::vector<scoped_refptr<Input>> inputs_;
  std::array<bool, kInputs> added_{};
  std::array<std::atomic<std::uint64_t>, kInputs> pushed_{};
  std::array<std::uint64_t, kInputs> mixed_{};
  Gate gate_{false};
  std::uint64_t driven_time_ = 0;
  std::uint64_t last_time_ = 0;  // 0: the next block is the first one.
  bool peak_is_due_ = false;
  QnAudioMixer mixer_;
};

struct Sound {
  SoundMixer driven;
  SoundMixer timed;

  void TakeApart() {
    driven.TakeApart();
    timed.TakeApart();
  }
};

}  // namespace stress

#endif  // QUARN_TESTS_STRESS_THREAD_SOUND_H_
