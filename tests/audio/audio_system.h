// What the audio layer takes from the system: memory, threads and locks. The linker's --wrap sends its calls here, so
// that a test may count and refuse them, or see one wait. The clock is the test's own too, without any lock.
#ifndef QUARN_TESTS_AUDIO_AUDIO_SYSTEM_H_
#define QUARN_TESTS_AUDIO_AUDIO_SYSTEM_H_

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <vector>

#include <quarn/qn_audio_input.h>

#include "audio/audio_mixer.h"
#include "tests/support/log_capture.h"

namespace audio_system {

// What this thread asked the system for.
struct Calls {
  int locks = 0;  // Also those that were only tried.
  int callocs = 0;
  int mappings = 0;
};
extern thread_local Calls calls;

// How many mappings of this thread succeed before one fails; none fails while it is negative. After the one that fails,
// the others succeed again.
extern thread_local int mappings_until_failure;

// The bytes of every mapping of this thread, while not null.
extern thread_local std::vector<std::size_t>* mapping_sizes;

// Says when a lock of this thread has to wait.
extern thread_local std::atomic<bool>* lock_waits;

extern std::atomic<int> thread_creations;
extern std::atomic<bool> refuse_threads;
extern std::atomic<bool> refuse_callocs;  // On every thread.
extern std::function<void()> on_join;
extern std::function<void()> on_sleep;

// Whether the work that RefuseNew runs has been refused an allocation.
bool NewFailed();
// Has operator new of this thread fail once, after `n` that succeed; negative for never.
void FailNewAfter(int n);

// Runs `work` with its allocation number `n` refused. Returns whether there was one.
template <class Work>
bool RefuseNew(int n, Work work) {
  FailNewAfter(n);
  work();
  const bool failed = NewFailed();
  FailNewAfter(-1);
  return failed;
}

// Sets the clock, and lets go of everything that was refused or watched at its end.
class Test : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  LogCapture log_;
};

class CountedInput : public QnAudioInput {
 public:
  using QnAudioInput::QnAudioInput;
  void AddRef() override { ++references; }
  void Release() override { --references; }
  int references = 0;
};

class EmptyCallback : public AudioMixer::Callback {
 public:
  void OnMixSamples(void**, unsigned int, unsigned long long) override {}
  void OnMixPeak(float) override {}
};

}  // namespace audio_system

#endif  // QUARN_TESTS_AUDIO_AUDIO_SYSTEM_H_
