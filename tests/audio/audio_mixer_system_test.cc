// The memory, the thread and the lock of a mixer, with a system that counts and refuses.
#include "audio/audio_mixer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "audio/audio_mix_source.h"
#include "foundation/event.h"
#include "tests/audio/audio_system.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/log_capture.h"

namespace {

using audio_system::Calls;
using audio_system::calls;
using audio_system::EmptyCallback;
using audio_system::lock_waits;
using audio_system::on_join;
using audio_system::on_sleep;
using audio_system::refuse_callocs;
using audio_system::refuse_threads;
using audio_system::thread_creations;
using testing::ElementsAre;

using AudioMixerSystemTest = audio_system::Test;

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
  AudioMixSource first(8000, 2, kInternalSampleShort);
  AudioMixSource second(8000, 2, kInternalSampleShort);
  AudioMixSource silent(8000, 2, kInternalSampleShort);
  AudioMixer mixer(8000, 2, kInternalSampleShort, &watch);
  watch.mixer = &mixer;
  watch.log = &log_;
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
  EXPECT_EQ(watch.after.mappings, watch.before.mappings);
  EXPECT_EQ(watch.lines, 0u);
  // The mixer's lock, and the sources'.
  EXPECT_EQ(watch.after.locks - watch.before.locks, kCountedBlocks * (1 + 3));
}

TEST_F(AudioMixerSystemTest, BlocksOfAHostTakeTheirPlanesOnceAndNoOtherMemory) {
  AudioMixSource source(8000, 2, kInternalSampleFloat);
  AudioMixer mixer(8000, 2, kInternalSampleFloat, nullptr);
  mixer.AddSource(&source);
  const Calls begin = calls;
  ASSERT_TRUE(mixer.MixBlock(0));
  EXPECT_EQ(calls.callocs, begin.callocs + 16);
  const std::vector<float> samples(60000, 0.5f);
  const void* planes[] = {samples.data(), samples.data()};
  source.PushBackSamples(planes, 60000, 1);
  source.gain().Set(0.5f);
  source.levels().Ask(0);
  mixer.levels().Ask(0);
  const Calls before = calls;
  AllocationCounter counter;
  for (int i = 0; i < 100; ++i) mixer.MixBlock(0);
  EXPECT_EQ(counter.count(), 0u);
  EXPECT_EQ(calls.callocs, before.callocs);
  EXPECT_EQ(calls.mappings, before.mappings);
  EXPECT_EQ(calls.locks - before.locks, 100 * (2 + 1)) << "the mixer's two, and the source's";
  EXPECT_EQ(mixer.levels().Ask(1).rms, 0.25f);
  mixer.Stop();
  ASSERT_TRUE(mixer.MixBlock(0));
  EXPECT_EQ(calls.callocs, before.callocs + 16) << "Stop has freed them";
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
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
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
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
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

}  // namespace
