// What the audio layer takes from the system: memory, threads and locks. The linker's --wrap sends its calls here, so
// that a test may count and refuse them, or see one wait. The clock is the test's own too, without any lock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <quarn/qn_audio_mixer.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "audio/audio_mix_source.h"
#include "audio/audio_mixer.h"
#include "audio/circle_buffer.h"
#include "foundation/event.h"
#include "foundation/os_time.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/log_capture.h"

namespace {

// What this thread asked the system for.
struct Calls {
  int locks = 0;
  int callocs = 0;
};
thread_local Calls calls;

// How many allocations of this thread succeed before one fails; none fails while it is negative. After the one that
// fails, the others succeed again.
thread_local int callocs_until_failure = -1;
thread_local int news_until_failure = -1;
thread_local bool news_failed = false;

// The bytes of every calloc of this thread, while not null.
thread_local std::vector<std::size_t>* calloc_sizes = nullptr;

// Says when a lock of this thread has to wait.
thread_local std::atomic<bool>* lock_waits = nullptr;

std::atomic<int> thread_creations{0};
std::atomic<bool> refuse_threads{false};
std::atomic<bool> refuse_callocs{false};  // On every thread.
std::function<void()> on_join;

std::atomic<std::uint64_t> now{1000};
std::function<void()> on_sleep;

bool Fails(int* until_failure) {
  if (*until_failure < 0) return false;
  return (*until_failure)-- == 0;
}

}  // namespace

namespace os {

std::uint64_t GetTimeNs() { return now; }
bool SleepToNs(unsigned long long) { return true; }
bool SleepToNsFast(unsigned long long target) {
  if (on_sleep) on_sleep();
  now = target;
  return true;
}

}  // namespace os

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  ++calls.locks;
  if (lock_waits) {
    if (pthread_mutex_trylock(mutex) == 0) return 0;
    *lock_waits = true;
  }
  return __real_pthread_mutex_lock(mutex);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg) {
  ++thread_creations;
  return refuse_threads ? EAGAIN : __real_pthread_create(thread, attributes, entry, arg);
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
  if (on_join) on_join();
  return __real_pthread_join(thread, result);
}

void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
  ++calls.callocs;
  if (calloc_sizes) calloc_sizes->push_back(count * size);
  if (refuse_callocs || Fails(&callocs_until_failure)) return nullptr;
  return __real_calloc(count, size);
}

void* __real__Znwm(std::size_t size);
void* __wrap__Znwm(std::size_t size) {
  if (Fails(&news_until_failure)) {
    news_failed = true;
    throw std::bad_alloc();
  }
  return __real__Znwm(size);
}

}  // extern "C"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

// Runs `work` with its allocation number `n` refused. Returns whether there was one.
template <class Work>
bool RefuseNew(int n, Work work) {
  news_failed = false;
  news_until_failure = n;
  work();
  news_until_failure = -1;
  return news_failed;
}

class CountedInput : public QnAudioInput {
 public:
  using QnAudioInput::QnAudioInput;
  void AddRef() override { ++references; }
  void Release() override { --references; }
  int references = 0;
};

class AudioSystemTest : public testing::Test {
 protected:
  void SetUp() override { now = 1000; }
  void TearDown() override {
    on_sleep = nullptr;
    on_join = nullptr;
    refuse_threads = false;
    refuse_callocs = false;
    callocs_until_failure = -1;
  }

  LogCapture log_;
};

using CircleBufferSystemTest = AudioSystemTest;
using AudioMixSourceSystemTest = AudioSystemTest;
using AudioMixerSystemTest = AudioSystemTest;
using QnAudioInputSystemTest = AudioSystemTest;
using QnAudioMixerSystemTest = AudioSystemTest;

class EmptyCallback : public AudioMixer::Callback {
 public:
  void OnMixSamples(void**, unsigned int, unsigned long long) override {}
  void OnMixPeak(float) override {}
};

}  // namespace

TEST_F(CircleBufferSystemTest, TakesZeroedMemoryOnce) {
  std::vector<std::size_t> sizes;
  calloc_sizes = &sizes;
  CircleBuffer<float> buffer(1000);
  const std::vector<float> samples(1000);
  std::vector<float> popped(1000);
  for (int i = 0; i < 10; ++i) {
    buffer.PushBack(samples.data(), 700);
    buffer.PopFront(popped.data(), 300);
  }
  calloc_sizes = nullptr;
  EXPECT_THAT(sizes, ElementsAre(4000));
}

TEST_F(CircleBufferSystemTest, IsInertWithoutMemory) {
  callocs_until_failure = 0;
  CircleBuffer<float> buffer(1000);
  EXPECT_FALSE(buffer.valid());
  const std::vector<float> samples(3000);
  buffer.PushBack(samples.data(), 3000);
  buffer.PushBack(samples.data(), 3);
  EXPECT_EQ(buffer.size(), 0u);
  float sample = 7;
  EXPECT_EQ(buffer.PopFront(&sample, 1), 0u);
  EXPECT_EQ(buffer.PopFront(nullptr, 1), 0u);
  EXPECT_EQ(sample, 7);
  buffer.Clear();
}

TEST_F(AudioMixSourceSystemTest, HasEightRingsOfTenSecondsWhateverItsChannels) {
  for (const unsigned int channels : {0u, 1u, 8u}) {
    std::vector<std::size_t> sizes;
    calloc_sizes = &sizes;
    AudioMixSource floats(11025, channels, kInternalSampleFloat);
    AudioMixSource unknown(11025, channels, static_cast<InternalSampleType>(2));
    EXPECT_THAT(sizes, testing::AllOf(SizeIs(8), Each(110250 * 4)));
    sizes.clear();
    AudioMixSource shorts(11025, channels, kInternalSampleShort);
    EXPECT_THAT(sizes, testing::AllOf(SizeIs(8), Each(110250 * 2)));
    calloc_sizes = nullptr;
  }
}

TEST_F(AudioMixSourceSystemTest, PushAndPopTakeNoMemoryAndOneLock) {
  AudioMixSource source(48000, 2, kInternalSampleFloat);
  const std::vector<float> samples(480);
  const void* pushed[] = {samples.data(), samples.data()};
  std::vector<float> popped(480);
  void* planes[] = {popped.data(), popped.data()};
  source.PushBackSamples(pushed, 480, 1);
  AllocationCounter counter;
  const Calls before = calls;
  for (int i = 0; i < 100; ++i) {
    source.PushBackSamples(pushed, 480, 1);
    if (i > 20) source.PopFrontSamples(planes, 480);
  }
  EXPECT_EQ(counter.count(), 0u);
  EXPECT_EQ(calls.callocs, before.callocs);
  EXPECT_EQ(calls.locks, before.locks + 100 + 79);
}

TEST_F(AudioMixSourceSystemTest, IsInertWithoutMemory) {
  const std::vector<float> samples(4800, 0.5f);
  const void* pushed[] = {samples.data(), samples.data()};
  for (int ring = 0; ring < 8; ++ring) {
    log_.Clear();
    callocs_until_failure = ring;
    AudioMixSource source(48000, 2, kInternalSampleFloat);
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                           "[AudioMixSource] no memory for ten seconds at 48000 Hz"}));
    source.Enable();
    source.PushBackSamples(pushed, 4800, 1);
    source.PushBackSamples(pushed, 4800, 1);
    EXPECT_EQ(source.PopFrontSamples(nullptr, 4800), 0u);
    EXPECT_EQ(log_.Lines().size(), 1u);
  }
}

// The steady state, over two sources that sound and one that is not ready.
TEST_F(AudioMixerSystemTest, SteadyPassesTakeNoMemoryAndNoOtherLocksAndLogNothing) {
  constexpr int kWarmBlocks = 5;
  constexpr int kCountedBlocks = 100;
  struct Watch : AudioMixer::Callback {
    void OnMixSamples(void** planes, unsigned int, unsigned long long) override {
      heard = heard && static_cast<short*>(planes[0])[399] == 300;
      ++blocks;
      if (blocks == kWarmBlocks) {
        lines = log->Lines().size();
        counter = std::make_unique<AllocationCounter>();
        before = calls;
      }
      if (blocks == kWarmBlocks + kCountedBlocks) {
        after = calls;
        allocations = counter->count();
        counter.reset();
        lines = log->Lines().size() - lines;
        mixer->RequestStop();
        done.Signal();
      }
    }
    void OnMixPeak(float) override {}

    AudioMixer* mixer = nullptr;
    LogCapture* log = nullptr;
    int blocks = 0;
    bool heard = true;
    std::unique_ptr<AllocationCounter> counter;
    std::size_t lines = 0;
    std::size_t allocations = 1;
    Calls before;
    Calls after;
    Event done{true};
  } watch;
  AudioMixer mixer(8000, 2, kInternalSampleShort, &watch);
  watch.mixer = &mixer;
  watch.log = &log_;
  AudioMixSource first(8000, 2, kInternalSampleShort);
  AudioMixSource second(8000, 2, kInternalSampleShort);
  AudioMixSource silent(8000, 2, kInternalSampleShort);
  for (AudioMixSource* source : {&first, &second, &silent}) {
    source->Enable();
    mixer.AddSource(source);
  }
  const std::vector<short> samples[] = {std::vector<short>(60000, 100), std::vector<short>(60000, 200)};
  const void* first_planes[] = {samples[0].data(), samples[0].data()};
  const void* second_planes[] = {samples[1].data(), samples[1].data()};
  first.PushBackSamples(first_planes, 60000, 1);
  second.PushBackSamples(second_planes, 60000, 1);

  ASSERT_TRUE(mixer.Start());
  watch.done.Wait();
  mixer.Stop();
  EXPECT_EQ(watch.blocks, kWarmBlocks + kCountedBlocks);
  EXPECT_TRUE(watch.heard);
  EXPECT_EQ(watch.allocations, 0u);
  EXPECT_EQ(watch.after.callocs, watch.before.callocs);
  EXPECT_EQ(watch.lines, 0u);
  // The mixer's lock, and the sources'.
  EXPECT_EQ(watch.after.locks - watch.before.locks, kCountedBlocks * (1 + 3));
}

TEST_F(AudioMixerSystemTest, TakesSixteenPlanesPerStart) {
  struct Watch : EmptyCallback {
    void OnMixSamples(void** planes, unsigned int, unsigned long long) override {
      callocs = calls.callocs;
      for (int c = 0; c < 8; ++c) smallest = std::min(smallest, malloc_usable_size(planes[c]));
      mixer->RequestStop();
      done.Signal();
    }
    AudioMixer* mixer = nullptr;
    int callocs = 0;
    std::size_t smallest = SIZE_MAX;
    Event done{false};
  } watch;
  AudioMixer mixer(48000, 1, kInternalSampleShort, &watch);
  watch.mixer = &mixer;
  for (int start = 0; start < 2; ++start) {
    ASSERT_TRUE(mixer.Start());
    watch.done.Wait();
    mixer.Stop();
    EXPECT_EQ(watch.callocs, 16);
    EXPECT_GE(watch.smallest, 2400 * sizeof(float)) << "as large as for floats";
  }
}

TEST_F(AudioMixerSystemTest, StartAnswersFalseWhenNoThreadCame) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  refuse_threads = true;
  EXPECT_FALSE(mixer.Start());
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                         "[AudioMixer] the mixer thread could not be created"}));
  EXPECT_FALSE(source.enabled());
  AudioMixSource later(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&later);
  EXPECT_FALSE(later.enabled());
  mixer.Stop();

  refuse_threads = false;
  EXPECT_TRUE(mixer.Start());
  EXPECT_TRUE(source.enabled());
  mixer.Stop();
  EXPECT_EQ(log_.Lines().size(), 1u);
}

TEST_F(AudioMixerSystemTest, StartsOneThread) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  const int before = thread_creations;
  EXPECT_TRUE(mixer.Start());
  EXPECT_TRUE(mixer.Start());
  EXPECT_EQ(thread_creations, before + 1);
  mixer.Stop();
}

TEST_F(AudioMixerSystemTest, EndsWithAnErrorWithoutMemoryForItsPlanes) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  refuse_callocs = true;
  ASSERT_TRUE(mixer.Start());
  EXPECT_TRUE(log_.WaitFor(Logger::Level::Error, "[AudioMixer] no memory for blocks of 2400 frames"));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (source.enabled() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_FALSE(source.enabled());
  mixer.Stop();
  EXPECT_EQ(log_.Lines().size(), 1u);

  refuse_callocs = false;
  std::atomic<int> sleeps{0};
  on_sleep = [&] { ++sleeps; };
  ASSERT_TRUE(mixer.Start());
  while (sleeps < 3) std::this_thread::yield();
  mixer.Stop();
}

// Stop comes while the mixer sleeps: the block that it slept for is the last one.
TEST_F(AudioMixerSystemTest, StopWaitsForNoMoreThanTheBlockUnderWay) {
  struct Watch : EmptyCallback {
    void OnMixSamples(void**, unsigned int, unsigned long long) override { ++blocks; }
    int blocks = 0;
  } watch;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &watch);
  std::atomic<int> sleeps{0};
  Event asleep(true);
  Event wake(true);
  on_sleep = [&] {
    if (++sleeps < 5) return;
    asleep.Signal();
    wake.Wait();
  };
  on_join = [&] { wake.Signal(); };
  ASSERT_TRUE(mixer.Start());
  asleep.Wait();
  mixer.Stop();
  EXPECT_EQ(sleeps, 5);
  EXPECT_EQ(watch.blocks, 5);
}

// A mixer that is late never sleeps between its passes. A host that waits for the lock comes in before the next one.
TEST_F(AudioMixerSystemTest, HostThatWaitsComesBeforeTheNextPass) {
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  struct Watch : EmptyCallback {
    void OnMixSamples(void** planes, unsigned int, unsigned long long) override {
      heard.push_back(static_cast<float*>(planes[0])[0]);
      if (heard.size() == 3) {
        host = std::thread([this] {
          lock_waits = &waits;
          mixer->RemoveSource(source);
          lock_waits = nullptr;
        });
        while (!waits) std::this_thread::yield();
      }
      if (heard.size() == 6) {
        mixer->RequestStop();
        done.Signal();
      }
    }
    AudioMixer* mixer = nullptr;
    AudioMixSource* source = nullptr;
    std::vector<float> heard;
    std::thread host;
    std::atomic<bool> waits{false};
    Event done{true};
  } watch;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &watch);
  watch.mixer = &mixer;
  watch.source = &source;
  const std::vector<float> samples(48000, 0.5f);
  const void* planes[] = {samples.data()};
  source.Enable();
  source.PushBackSamples(planes, 48000, 1);
  mixer.AddSource(&source);
  ASSERT_TRUE(mixer.Start());
  watch.done.Wait();
  watch.host.join();
  mixer.Stop();
  EXPECT_THAT(watch.heard, ElementsAre(0.5f, 0.5f, 0.5f, 0.0f, 0.0f, 0.0f));
}

class AudioMixerCallbacksTest : public AudioMixerSystemTest, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Both, AudioMixerCallbacksTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "OnMixPeak" : "OnMixSamples"; });

TEST_P(AudioMixerCallbacksTest, RemoveSourceWaitsForTheCallback) {
  auto source = std::make_unique<AudioMixSource>(48000, 1, kInternalSampleFloat);
  struct Watch : EmptyCallback {
    void OnMixSamples(void**, unsigned int, unsigned long long) override {
      if (++blocks == 3 && !in_peak) Stay();
    }
    void OnMixPeak(float) override {
      if (blocks == 3 && in_peak) Stay();
    }
    void Stay() {
      in_callback.Signal();
      while (!waits) std::this_thread::yield();
      removed_early = removed;
    }
    bool in_peak = GetParam();
    int blocks = 0;
    Event in_callback{true};
    std::atomic<bool> waits{false};
    std::atomic<bool> removed{false};
    bool removed_early = false;
  } watch;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &watch);
  mixer.AddSource(source.get());
  ASSERT_TRUE(mixer.Start());
  watch.in_callback.Wait();
  lock_waits = &watch.waits;
  mixer.RemoveSource(source.get());
  lock_waits = nullptr;
  watch.removed = true;
  source.reset();  // It is not touched any more.
  mixer.Stop();
  EXPECT_FALSE(watch.removed_early);
}

TEST_F(QnAudioInputSystemTest, IsInertWithoutMemory) {
  int refused = 0;
  while (RefuseNew(refused, [&] {
    CountedInput input(48000, 1, kQnMixSampleFloat);
    if (!news_failed) return;
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error, "[QnAudioInput] no memory"}));
    EXPECT_EQ(input.soruce(), nullptr);
    const float sample = 1;
    const void* planes[] = {&sample};
    input.PushBackSamples(planes, 1, 1);
    QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
    mixer.AddInput(&input);
    mixer.RemoveInput(&input);
    EXPECT_EQ(input.references, 0);
    EXPECT_EQ(log_.Lines().size(), 1u);
  })) {
    log_.Clear();
    ++refused;
  }
  EXPECT_GE(refused, 9) << "the private object and its rings";
}

TEST_F(QnAudioMixerSystemTest, IsInertWithoutMemory) {
  CountedInput input(48000, 1, kQnMixSampleFloat);
  int refused = 0;
  while (RefuseNew(refused, [&] {
    QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
    if (!news_failed) return;
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error, "[QnAudioMixer] no memory"}));
    EXPECT_FALSE(mixer.Start());
    mixer.AddInput(&input);
    mixer.RemoveInput(&input);
    mixer.Stop();
  })) {
    log_.Clear();
    ++refused;
  }
  EXPECT_GE(refused, 2) << "the private object and the mixer";
  EXPECT_EQ(input.references, 0);
}

TEST_F(QnAudioMixerSystemTest, StartAnswersFalseWithoutMemory) {
  QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
  CountedInput input(48000, 1, kQnMixSampleFloat);
  mixer.AddInput(&input);
  bool started = true;
  ASSERT_TRUE(RefuseNew(0, [&] { started = mixer.Start(); }));
  EXPECT_FALSE(started);
  EXPECT_FALSE(input.soruce()->enabled());
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[QnAudioMixer] no memory for a thread"}));
  EXPECT_TRUE(mixer.Start());
  EXPECT_TRUE(input.soruce()->enabled());
  mixer.Stop();
}

TEST_F(QnAudioMixerSystemTest, StartAnswersFalseWhenNoThreadCame) {
  QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
  refuse_threads = true;
  EXPECT_FALSE(mixer.Start());
  refuse_threads = false;
  EXPECT_TRUE(mixer.Start());
  mixer.Stop();
}

// Each allocation that adding takes is refused once; what was not added is not referenced either.
TEST_F(QnAudioMixerSystemTest, InputWithoutMemoryIsNotAdded) {
  QnAudioMixer mixer(20, 1, kQnMixSampleFloat, nullptr);
  std::vector<std::unique_ptr<CountedInput>> inputs;
  int failures[3] = {};
  for (int i = 0; i < 200; ++i) {
    inputs.push_back(std::make_unique<CountedInput>(20, 1, kQnMixSampleFloat));
    CountedInput* const input = inputs.back().get();
    for (int n = 0; n < 3; ++n) {
      log_.Clear();
      if (RefuseNew(n, [&] { mixer.AddInput(input); })) {
        ++failures[n];
        EXPECT_EQ(input->references, 0);
        EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{
                                      Logger::Level::Error, "[QnAudioMixer] no memory for an input: it is not added"}));
      } else {
        EXPECT_EQ(input->references, 1);
        mixer.RemoveInput(input);
        EXPECT_EQ(input->references, 0);
      }
    }
    mixer.AddInput(input);
    EXPECT_EQ(input->references, 1);
  }
  EXPECT_EQ(failures[0], 200) << "the public list";
  EXPECT_GT(failures[1], 0) << "the mixer's queue";
  ASSERT_TRUE(mixer.Start());
  for (const auto& input : inputs) {
    EXPECT_TRUE(input->soruce()->enabled());
    mixer.RemoveInput(input.get());
    EXPECT_EQ(input->references, 0);
  }
  mixer.Stop();
}
