// Many threads push into sources, add, remove, start and stop them while a mixer runs at full tilt: its clock is a
// count that every sleep moves on at once. What is looked for is what the sanitizers see, a deadlock, a block that is
// out of order, and a mixer that has stopped working afterwards. Each test runs for a fixed time, because its point is
// to meet the mixer thread in as many places as that time allows.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <quarn/qn_audio_mixer.h>

#include "audio/audio_mix_source.h"
#include "audio/audio_mixer.h"
#include "foundation/event.h"
#include "foundation/logger.h"
#include "foundation/os_time.h"
#include "tests/stress/run_together.h"

namespace {

std::atomic<std::uint64_t> now{0};

}  // namespace

namespace os {

std::uint64_t GetTimeNs() { return now; }
bool SleepToNs(unsigned long long) { return true; }
bool SleepToNsFast(unsigned long long target) {
  // A second mixer's clock may be ahead.
  std::uint64_t seen = now;
  while (seen < target && !now.compare_exchange_weak(seen, target)) {
  }
  std::this_thread::yield();
  return seen <= target;
}

}  // namespace os

namespace {

constexpr auto kDuration = std::chrono::milliseconds(1500);
constexpr unsigned int kRate = 8000;
constexpr unsigned int kChannels = 2;
constexpr unsigned int kBlockFrames = 400;
constexpr std::uint64_t kBlockNs = 50000000;

using stress::Random;
using stress::Work;

void RunTogether(const std::vector<Work>& works) { stress::RunTogether(works, kDuration); }

// New sequences are part of the game: nobody wants to read of them.
class SilentLogger : public Logger {
 public:
  SilentLogger() : Logger("Test"), previous_(default_logger()) { SetDefaultLogger(this); }
  ~SilentLogger() override { SetDefaultLogger(previous_); }
  void Log(Level level, const char*, va_list) override {
    if (level == Level::Error) ++errors;
  }
  void Log(Level, const char*) override {}
  std::atomic<int> errors{0};

 private:
  Logger* previous_;
};

// Checks every block.
template <class Base>
class Checker : public Base {
 public:
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    if (blocks > 0 && timestamp_ns < last_ + kBlockNs) ++mistakes;  // Later, after a new start.
    if (frames != kBlockFrames) ++mistakes;
    last_ = timestamp_ns;
    for (unsigned int c = 0; c < kChannels; ++c) {
      const auto* const plane = static_cast<const float*>(planes[c]);
      for (unsigned int i = 0; i < frames; ++i) {
        if (!(plane[i] >= -1 && plane[i] <= 1)) ++mistakes;
      }
    }
    ++blocks;
    if (on_block) on_block();
  }
  void OnMixPeak(float peak) override {
    if (!(peak >= 0 && peak <= 1)) ++mistakes;
    if (peak > 0) {
      ++loud_blocks;
      loud.Signal();
    }
  }

  std::function<void()> on_block;
  std::atomic<int> blocks{0};
  std::atomic<int> loud_blocks{0};
  std::atomic<int> mistakes{0};
  Event loud{false};

 private:
  std::uint64_t last_ = 0;
};

// Pushes what a host may push: any size, now and then a new sequence, now and then a plane or all of them missing.
template <class Target>
void PushSomething(Target* target, Random& random) {
  thread_local std::vector<float> samples(3 * kRate, 0.25f);
  const unsigned int frames = static_cast<unsigned int>(random() % 8 == 0 ? random() % samples.size() : random() % 400);
  const void* planes[8];
  for (const void*& plane : planes) plane = random() % 50 == 0 ? nullptr : samples.data();
  target->PushBackSamples(random() % 100 == 0 ? nullptr : planes, frames, random() % 40 == 0 ? random() : 1);
}

class AudioStressTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(logger_.errors, 0); }
  SilentLogger logger_;
};

using AudioMixerStressTest = AudioStressTest;
using QnAudioMixerStressTest = AudioStressTest;

TEST_F(AudioMixerStressTest, SourcesComeAndGoFromManyThreads) {
  Checker<AudioMixer::Callback> checker;
  AudioMixer mixer(kRate, kChannels, kInternalSampleFloat, &checker);
  std::vector<std::unique_ptr<AudioMixSource>> sources;
  for (unsigned int i = 0; i < 6; ++i) {
    // Fewer channels than the mixer, as many and more.
    sources.push_back(std::make_unique<AudioMixSource>(kRate, 1 + i % 3, kInternalSampleFloat));
  }
  const auto any = [&](Random& random) { return sources[random() % sources.size()].get(); };
  const Work push = [&](Random& random) { PushSomething(any(random), random); };
  const Work change = [&](Random& random) {
    if (random() % 2) {
      mixer.AddSource(any(random));
    } else {
      mixer.RemoveSource(any(random));
    }
    PushSomething(any(random), random);  // Or it would be at the mixer's lock all the time.
  };
  const Work pass_through = [&](Random& random) {
    AudioMixSource source(kRate, kChannels, kInternalSampleFloat);
    mixer.AddSource(&source);
    PushSomething(&source, random);
    PushSomething(&source, random);
    mixer.RemoveSource(&source);
  };
  const Work start_and_stop = [&](Random& random) {
    EXPECT_TRUE(mixer.Start());
    if (random() % 2) std::this_thread::yield();
    if (random() % 2) mixer.Stop();
  };
  RunTogether({push, push, change, change, pass_through, start_and_stop, start_and_stop});
  mixer.Stop();
  EXPECT_EQ(checker.mistakes, 0);
  EXPECT_GT(checker.blocks, 0);
  std::printf("[ BLOCKS   ] %d, %d of them loud\n", checker.blocks.load(), checker.loud_blocks.load());
  for (const auto& source : sources) EXPECT_FALSE(source->enabled());

  // The mixer still mixes what it is given.
  for (const auto& source : sources) mixer.RemoveSource(source.get());
  Random random(1);
  AudioMixSource source(kRate, kChannels, kInternalSampleFloat);
  mixer.AddSource(&source);
  checker.loud.Reset();
  checker.on_block = [&] { PushSomething(&source, random); };
  ASSERT_TRUE(mixer.Start());
  checker.loud.Wait();
  mixer.Stop();
  EXPECT_EQ(checker.mistakes, 0);
}

// Two mixers take from the same sources, in opposite orders, while these are pushed more than they hold: whoever waits
// for another's block must not be waited for.
TEST_F(AudioMixerStressTest, MixersShareTheirSources) {
  Checker<AudioMixer::Callback> checkers[2];
  AudioMixer first(kRate, kChannels, kInternalSampleFloat, &checkers[0]);
  AudioMixer second(kRate, kChannels, kInternalSampleFloat, &checkers[1]);
  std::vector<std::unique_ptr<AudioMixSource>> sources;
  for (int i = 0; i < 12; ++i)
    sources.push_back(std::make_unique<AudioMixSource>(kRate, kChannels, kInternalSampleFloat));
  for (std::size_t i = 0; i < sources.size(); ++i) {
    first.AddSource(sources[i].get());
    second.AddSource(sources[sources.size() - 1 - i].get());
  }
  ASSERT_TRUE(first.Start());
  ASSERT_TRUE(second.Start());
  const std::vector<float> samples(11 * kRate, 0.25f);
  const Work push = [&](Random& random) {
    const void* planes[kChannels] = {samples.data(), samples.data()};
    const auto frames = static_cast<unsigned int>(random() % (random() % 16 == 0 ? samples.size() : 1000));
    sources[random() % sources.size()]->PushBackSamples(planes, frames, 1);
  };
  RunTogether({push, push, push});
  first.Stop();
  second.Stop();
  for (const auto& checker : checkers) {
    EXPECT_EQ(checker.mistakes, 0);
    EXPECT_GT(checker.loud_blocks, 0);
  }
}

// Start, Stop, AddInput and RemoveInput take turns, as the interface asks; pushes come when they like.
TEST_F(QnAudioMixerStressTest, HostPushesFromManyThreads) {
  Checker<QnAudioMixer::Callback> checker;
  QnAudioMixer mixer(kRate, kChannels, kQnMixSampleFloat, &checker);
  using Input = RefCounted<QnAudioInput>;
  std::vector<scoped_refptr<Input>> inputs;
  for (unsigned int i = 0; i < 5; ++i) inputs.push_back(MakeRef<Input>(kRate, kChannels, kQnMixSampleFloat));
  checker.on_block = [&, random = Random(7)]() mutable {
    // A callback may push; and now and then it takes long.
    PushSomething(inputs[0].get(), random);
    if (random() % 200 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  };
  const Work push = [&](Random& random) { PushSomething(inputs[random() % inputs.size()].get(), random); };
  const Work control = [&](Random& random) {
    const scoped_refptr<Input>& input = inputs[random() % inputs.size()];
    switch (random() % 5) {
      case 0: EXPECT_TRUE(mixer.Start()); break;
      case 1:
        if (random() % 4 == 0) {
          mixer.Stop();
          EXPECT_TRUE(random() % 2 == 0 || mixer.MixBlock(now.fetch_add(kBlockNs)));
        }
        break;
      case 2: mixer.RemoveInput(input); break;
      case 3: {
        // One that lives as long as it is added.
        const auto passing = MakeRef<Input>(kRate, kChannels, kQnMixSampleFloat);
        mixer.AddInput(passing);
        PushSomething(passing.get(), random);
        mixer.RemoveInput(passing);
        break;
      }
      default: mixer.AddInput(input); break;
    }
  };
  const Work tune = [&](Random& random) {
    const scoped_refptr<Input>& input = inputs[random() % inputs.size()];
    input->SetGain(static_cast<float>(random() % 200) / 100.0f);
    input->SetMuted(random() % 4 == 0);
    for (unsigned int c = 0; c < kChannels; ++c) {
      for (const QnAudioLevel& level : {input->level(c), mixer.level(c)}) {
        // The two are of one block: what is heard has both.
        if (!(level.peak >= level.rms && level.rms >= 0 && (level.peak == 0) == (level.rms == 0))) ++checker.mistakes;
      }
    }
    if (input->stats().buffered_frames > 10 * kRate) ++checker.mistakes;
  };
  RunTogether({push, push, push, control, tune});
  std::printf("[ BLOCKS   ] %d, %d of them loud\n", checker.blocks.load(), checker.loud_blocks.load());
  inputs[0]->SetGain(1.0f);
  inputs[0]->SetMuted(false);
  for (const auto& input : inputs) mixer.RemoveInput(input);
  ASSERT_TRUE(mixer.Start());
  checker.loud.Reset();
  mixer.AddInput(inputs[0]);  // The callback pushes into it.
  checker.loud.Wait();
  mixer.Stop();
  mixer.RemoveInput(inputs[0]);
  EXPECT_EQ(checker.mistakes, 0);
}

TEST_F(QnAudioMixerStressTest, MixersComeAndGoWithTheirInputsAdded) {
  using Input = RefCounted<QnAudioInput>;
  std::vector<scoped_refptr<Input>> inputs;
  for (unsigned int i = 0; i < 3; ++i) inputs.push_back(MakeRef<Input>(kRate, kChannels, kQnMixSampleFloat));
  const Work push = [&](Random& random) { PushSomething(inputs[random() % inputs.size()].get(), random); };
  const auto mix_with = [&](std::size_t i) -> Work {
    return [&inputs, i](Random& random) {
      Checker<QnAudioMixer::Callback> checker;
      {
        QnAudioMixer mixer(kRate, kChannels, kQnMixSampleFloat, &checker);
        mixer.AddInput(inputs[i]);
        EXPECT_TRUE(mixer.Start());
        while (checker.blocks < static_cast<int>(random() % 3)) std::this_thread::yield();
      }
      inputs[i]->Release();  // The one that the mixer took.
      EXPECT_EQ(checker.mistakes, 0);
    };
  };
  RunTogether({push, push, mix_with(0), mix_with(1), mix_with(2)});
}

}  // namespace
