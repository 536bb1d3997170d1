// Mixers that the host drives block by block, through the public interface: what they mix is the same each time, so it
// is compared to the byte. Gains, levels and counts of inputs are tested on them too.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::FloatNear;

constexpr unsigned int kRate = 8000;
constexpr unsigned int kBlock = kRate / 20;
constexpr unsigned long long kBlockNs = 50000000;

template <class T>
constexpr QnMixSampleType kType = sizeof(T) == sizeof(float) ? kQnMixSampleFloat : kQnMixSampleShort;

using InputRef = scoped_refptr<RefCounted<QnAudioInput>>;

template <class T>
InputRef NewInput(unsigned int channels = 2) {
  return MakeRef<RefCounted<QnAudioInput>>(kRate, channels, kType<T>);
}

// Keeps all samples, channel after channel.
template <class T>
class Keeper : public QnAudioMixer::Callback {
 public:
  explicit Keeper(unsigned int channels = 2) : planes(channels) {}

  void OnMixSamples(void** from, unsigned int frames, unsigned long long timestamp_ns) override {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      const T* const samples = static_cast<const T*>(from[c]);
      planes[c].insert(planes[c].end(), samples, samples + frames);
    }
    timestamps.push_back(timestamp_ns);
    threads.push_back(std::this_thread::get_id());
    if (on_samples) on_samples();
  }
  void OnMixPeak(float peak) override {
    peaks.push_back(peak);
    if (on_peak) on_peak();
  }

  std::vector<T> Block(std::size_t block, std::size_t channel = 0) const {
    const auto begin = planes[channel].begin() + static_cast<std::ptrdiff_t>(block * kBlock);
    return {begin, begin + kBlock};
  }

  std::vector<std::vector<T>> planes;
  std::vector<unsigned long long> timestamps;
  std::vector<std::thread::id> threads;
  std::vector<float> peaks;
  std::function<void()> on_samples;
  std::function<void()> on_peak;
};

template <class T>
void Push(QnAudioInput* input, const std::vector<T>& left, const std::vector<T>& right, std::size_t first,
          std::size_t frames) {
  const void* planes[] = {left.data() + first, right.data() + first};
  input->PushBackSamples(planes, static_cast<unsigned int>(frames), 1);
}

template <class T>
void PushValue(QnAudioInput* input, T value, std::size_t frames) {
  const std::vector<T> samples(frames, value);
  Push(input, samples, samples, 0, frames);
}

// Quiet, no two neighbours the same.
template <class T>
std::vector<T> Wave(std::size_t frames, int seed) {
  std::vector<T> wave;
  for (std::size_t i = 0; i < frames; ++i) {
    const int sample = static_cast<int>((i * 37 + static_cast<std::size_t>(seed) * 101) % 8009) - 4000;
    wave.push_back(static_cast<T>(sizeof(T) == sizeof(float) ? sample / 32768.0 : sample));
  }
  return wave;
}

template <class T>
bool SameBytes(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// A mixer that the host drives, with one input.
template <class T>
class Driven {
 public:
  explicit Driven(QnAudioInput* only = nullptr) : mixer(kRate, 2, kType<T>, &keeper) {
    if (only) mixer.AddInput(only);
    EXPECT_TRUE(mixer.StartDriven());
  }
  void Mix(int blocks = 1) {
    for (; blocks > 0; --blocks) EXPECT_TRUE(mixer.MixBlock(++mixed * kBlockNs));
  }

  Keeper<T> keeper;
  QnAudioMixer mixer;
  unsigned long long mixed = 0;
};

class DrivenAudioTest : public testing::Test {
 protected:
  void SetUp() override { host::log::Clear(); }
};

template <class T>
class DrivenMixerTypedTest : public DrivenAudioTest {};
using SampleTypes = testing::Types<float, short>;
TYPED_TEST_SUITE(DrivenMixerTypedTest, SampleTypes);

// Two inputs, pushed 100 ms before the first block and then a block at a time, or more, or in odd pieces.
TYPED_TEST(DrivenMixerTypedTest, EverySampleComesOutFirstToLastInOrder) {
  using T = TypeParam;
  constexpr std::size_t kBlocks = 250;  // More than ten seconds.
  constexpr std::size_t kFrames = kBlocks * kBlock;
  const std::vector<T> waves[] = {Wave<T>(kFrames, 1), Wave<T>(kFrames, 2), Wave<T>(kFrames, 3), Wave<T>(kFrames, 4)};
  std::vector<T> sums[2];
  for (int c = 0; c < 2; ++c) {
    for (std::size_t i = 0; i < kFrames; ++i) {
      sums[c].push_back(static_cast<T>(waves[c][i] + waves[c + 2][i]));
    }
  }
  const std::vector<std::function<std::size_t(std::size_t)>> pushes = {
      [](std::size_t) { return std::size_t{kBlock}; },
      [](std::size_t block) { return block % 3 == 0 ? std::size_t{3 * kBlock} : std::size_t{0}; },
      [](std::size_t block) { return block % 2 == 0 ? std::size_t{kBlock + 137} : std::size_t{kBlock - 137}; },
  };
  for (const auto& pushed_after : pushes) {
    host::log::Clear();
    const InputRef first = NewInput<T>();
    const InputRef second = NewInput<T>();
    Driven<T> driven(first);
    driven.mixer.AddInput(second);
    std::size_t at = 0;
    const auto push = [&](std::size_t frames) {
      frames = std::min(frames, kFrames - at);
      Push(first, waves[0], waves[1], at, frames);
      Push(second, waves[2], waves[3], at, frames);
      at += frames;
    };
    push(kRate / 10);
    for (std::size_t block = 0; block < kBlocks; ++block) {
      driven.Mix();
      push(pushed_after(block));
    }
    EXPECT_EQ(at, kFrames);
    EXPECT_TRUE(SameBytes(driven.keeper.planes[0], sums[0]));
    EXPECT_TRUE(SameBytes(driven.keeper.planes[1], sums[1]));
    for (QnAudioInput* const input : {first.get(), second.get()}) {
      const QnAudioInputStats stats = input->stats();
      EXPECT_EQ(stats.buffered_frames, 0u);
      EXPECT_EQ(stats.underrun_frames, 0u);
      EXPECT_EQ(stats.overflow_frames, 0u);
      EXPECT_EQ(stats.trimmed_frames, 0u);
      driven.mixer.RemoveInput(input);
    }
    EXPECT_EQ(host::log::Complaints(), "audio mix source new sequence \naudio mix source new sequence \n");
  }
}

// Odd pushes, dry inputs, gains and mutings, all by one seed.
TYPED_TEST(DrivenMixerTypedTest, SamePushesGiveTheSameBytes) {
  using T = TypeParam;
  const std::vector<T> wave = Wave<T>(kRate, 5);
  const auto run = [&] {
    std::mt19937 random(7);
    std::vector<InputRef> inputs;
    Driven<T> driven;
    for (int i = 0; i < 11; ++i) {
      inputs.push_back(NewInput<T>());
      driven.mixer.AddInput(inputs.back());
    }
    for (int block = 0; block < 100; ++block) {
      for (const InputRef& input : inputs) {
        const std::size_t frames = random() % 4 == 0 ? random() % (2 * kBlock) : kBlock;
        Push(input.get(), wave, wave, random() % (kRate - 2 * kBlock), frames);
        if (random() % 8 == 0) input->SetGain(static_cast<float>(random() % 200) / 100.0f);
        if (random() % 8 == 0) input->SetMuted(random() % 2 == 0);
      }
      driven.Mix();
    }
    for (const InputRef& input : inputs) driven.mixer.RemoveInput(input);
    return driven.keeper.planes;
  };
  const std::vector<std::vector<T>> first = run();
  const std::vector<std::vector<T>> second = run();
  EXPECT_TRUE(SameBytes(first[0], second[0]));
  EXPECT_TRUE(SameBytes(first[1], second[1]));
  EXPECT_GT(*std::max_element(first[1].begin(), first[1].end()), T{0});
}

TEST_F(DrivenAudioTest, BlocksComeOnTheCallingThreadWithItsTimestamps) {
  const InputRef input = NewInput<float>();
  Keeper<float> keeper;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &keeper);
  for (const unsigned long long timestamp : {5ull, 0ull, ~0ull}) EXPECT_TRUE(mixer.MixBlock(timestamp));
  EXPECT_THAT(keeper.timestamps, ElementsAre(5ull, 0ull, ~0ull));
  EXPECT_THAT(keeper.threads, Each(std::this_thread::get_id()));
  EXPECT_THAT(keeper.peaks, ElementsAre(0.0f, 0.0f, 0.0f));
  EXPECT_THAT(keeper.planes[1], testing::AllOf(testing::SizeIs(3 * kBlock), Each(0.0f)));
  QnAudioMixer without_callback(kRate, 2, kQnMixSampleFloat, nullptr);
  EXPECT_TRUE(without_callback.MixBlock(0));
  QnAudioMixer slow(19, 2, kQnMixSampleFloat, &keeper);
  EXPECT_TRUE(slow.MixBlock(0)) << "an empty block";
  EXPECT_EQ(keeper.planes[1].size(), 3 * kBlock);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(DrivenAudioTest, KeepsAllThatIsPushedAfterStartDriven) {
  const InputRef before = NewInput<float>();
  const InputRef after = NewInput<float>();
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, nullptr);
  mixer.AddInput(before);
  for (int i = 0; i < 40; ++i) PushValue(before.get(), 0.5f, kBlock);
  EXPECT_EQ(before->stats().buffered_frames, kRate / 10) << "it is not being mixed";
  EXPECT_EQ(before->stats().trimmed_frames, 38 * kBlock);
  EXPECT_TRUE(mixer.StartDriven());
  EXPECT_TRUE(mixer.StartDriven()) << "it is driven already";
  mixer.AddInput(after);
  for (const InputRef& input : {before, after}) {
    for (int i = 0; i < 40; ++i) PushValue(input.get(), 0.5f, kBlock);
  }
  EXPECT_EQ(before->stats().buffered_frames, 42 * kBlock);
  EXPECT_EQ(after->stats().buffered_frames, 40 * kBlock);
  EXPECT_EQ(after->stats().trimmed_frames, 0u);
  mixer.Stop();
  PushValue(after.get(), 0.5f, kBlock);
  EXPECT_EQ(after->stats().trimmed_frames, kBlock) << "it is not being mixed any more";
  mixer.RemoveInput(before);
  mixer.RemoveInput(after);
}

TEST_F(DrivenAudioTest, MixBlockBeginsWhatStartDrivenBegins) {
  const InputRef input = NewInput<float>();
  Keeper<float> keeper;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &keeper);
  mixer.AddInput(input);
  PushValue(input.get(), 0.5f, kRate / 10);
  EXPECT_TRUE(mixer.MixBlock(0));
  for (int i = 0; i < 10; ++i) PushValue(input.get(), 0.5f, kBlock);
  EXPECT_EQ(input->stats().buffered_frames, 11 * kBlock);
  for (int i = 0; i < 11; ++i) EXPECT_TRUE(mixer.MixBlock(0));
  EXPECT_THAT(keeper.planes[0], testing::AllOf(testing::SizeIs(12 * kBlock), Each(0.5f)));
  mixer.RemoveInput(input);
}

// An input that is not ready adds nothing, and nothing is lost of it.
TEST_F(DrivenAudioTest, AnInputIsMixedOnceItHas100Ms) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  PushValue(input.get(), 0.5f, kBlock - 1);
  driven.Mix();
  EXPECT_THAT(driven.keeper.Block(0), Each(0.0f));
  EXPECT_EQ(input->stats().underrun_frames, 0u);
  PushValue(input.get(), 0.5f, kBlock + 1);
  driven.Mix(2);
  EXPECT_THAT(driven.keeper.Block(1), Each(0.5f));
  EXPECT_THAT(driven.keeper.Block(2), Each(0.5f));
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, IsRefusedWhileTheMixersThreadRuns) {
  Keeper<float> keeper;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &keeper);
  ASSERT_TRUE(mixer.Start());
  EXPECT_FALSE(mixer.MixBlock(0));
  EXPECT_FALSE(mixer.StartDriven());
  mixer.Stop();
  EXPECT_EQ(host::log::Complaints(),
            "[AudioMixer] MixBlock was called while the mixer's own thread mixes\n"
            "[AudioMixer] StartDriven was called while the mixer's own thread mixes\n");
  for (const std::thread::id& thread : keeper.threads) EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(DrivenAudioTest, IsRefusedInACallbackAndOnAnInertMixer) {
  const InputRef input = NewInput<float>();
  for (const bool in_peak : {false, true}) {
    host::log::Clear();
    Driven<float> driven;
    const auto act = [&] {
      EXPECT_FALSE(driven.mixer.MixBlock(0));
      EXPECT_FALSE(driven.mixer.StartDriven());
      EXPECT_FALSE(driven.mixer.Start());
      driven.mixer.AddInput(input);
    };
    (in_peak ? driven.keeper.on_peak : driven.keeper.on_samples) = act;
    driven.Mix();
    EXPECT_EQ(driven.keeper.timestamps.size(), 1u);
    EXPECT_EQ(host::log::Complaints(),
              "[AudioMixer] MixBlock was called in a callback of its own mixer: it is ignored\n"
              "[AudioMixer] StartDriven was called in a callback of its own mixer: it is ignored\n"
              "[AudioMixer] Start was called in a callback of its own mixer: it is ignored\n"
              "[QnAudioMixer] AddInput was called in a callback of its own mixer: it is ignored\n");
  }
  QnAudioMixer inert(0, 2, kQnMixSampleFloat, nullptr);
  host::log::Clear();
  EXPECT_FALSE(inert.MixBlock(0));
  EXPECT_FALSE(inert.StartDriven());
  EXPECT_EQ(host::log::Complaints(),
            "[AudioMixer] MixBlock was called on a mixer of 0 Hz and 2 channels\n"
            "[AudioMixer] StartDriven was called on a mixer of 0 Hz and 2 channels\n");
}

TEST_F(DrivenAudioTest, AMixersCallbackMayDriveAnother) {
  Driven<float> inner;
  Driven<float> outer;
  outer.keeper.on_samples = [&] {
    inner.Mix();
    EXPECT_FALSE(outer.mixer.MixBlock(0)) << "still its own callback";
  };
  outer.Mix();
  outer.keeper.on_samples = nullptr;
  outer.Mix();
  inner.Mix();
  EXPECT_EQ(inner.keeper.timestamps.size(), 2u);
  EXPECT_EQ(outer.keeper.timestamps.size(), 2u);
}

TEST_F(DrivenAudioTest, StopInACallbackEndsTheDrivingAfterTheBlock) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  driven.keeper.on_samples = [&] { driven.mixer.Stop(); };
  driven.Mix();
  EXPECT_THAT(driven.keeper.peaks, testing::SizeIs(1)) << "the block is whole";
  for (int i = 0; i < 4; ++i) PushValue(input.get(), 0.5f, kBlock);
  EXPECT_EQ(input->stats().buffered_frames, 2 * kBlock) << "nobody takes from it";
  driven.keeper.on_samples = nullptr;
  driven.Mix();
  EXPECT_THAT(driven.keeper.Block(1), Each(0.5f));
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, StartComesAfterMixBlockAndMixBlockAfterStop) {
  const InputRef input = NewInput<float>();
  Keeper<float> keeper;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &keeper);
  mixer.AddInput(input);
  ASSERT_TRUE(mixer.StartDriven());
  PushValue(input.get(), 0.5f, 20 * kBlock);
  EXPECT_TRUE(mixer.MixBlock(1));
  host::Flag mixed;
  keeper.on_peak = [&] { mixed.Set(); };
  ASSERT_TRUE(mixer.Start());
  mixed.Wait();
  mixer.Stop();
  keeper.on_peak = nullptr;
  const std::size_t blocks = keeper.peaks.size();
  EXPECT_TRUE(mixer.MixBlock(2));
  EXPECT_EQ(keeper.peaks.size(), blocks + 1);
  EXPECT_EQ(keeper.threads[0], keeper.threads.back());
  EXPECT_NE(keeper.threads[0], keeper.threads[1]);
  EXPECT_THAT(std::vector<float>(keeper.peaks.begin(), keeper.peaks.begin() + 2), Each(0.5f))
      << "what was pushed for the host's blocks is there for the thread's";
  mixer.RemoveInput(input);
}

// --- Gains

// The gain of each sample of a block, on the way from one to another.
std::vector<float> Ramp(float from, float to) {
  std::vector<float> gains;
  for (unsigned int i = 1; i <= kBlock; ++i) {
    gains.push_back(from + (to - from) * static_cast<float>(i) / static_cast<float>(kBlock));
  }
  return gains;
}

std::vector<testing::Matcher<float>> NearAll(const std::vector<float>& values) {
  std::vector<testing::Matcher<float>> matchers;
  for (const float value : values) matchers.push_back(FloatNear(value, 1e-6f));
  return matchers;
}

TEST_F(DrivenAudioTest, GainIsReachedEvenlyOverOneBlock) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  PushValue(input.get(), 1.0f, 20 * kBlock);
  EXPECT_EQ(input->gain(), 1.0f);
  EXPECT_FALSE(input->muted());
  driven.Mix();
  input->SetGain(0.25f);
  driven.Mix(2);
  input->SetMuted(true);
  driven.Mix();
  input->SetGain(0.5f);
  driven.Mix();
  EXPECT_TRUE(input->muted());
  EXPECT_EQ(input->gain(), 0.5f);
  input->SetMuted(false);
  driven.Mix(2);
  const Keeper<float>& keeper = driven.keeper;
  EXPECT_THAT(keeper.Block(0, 1), Each(1.0f));
  EXPECT_THAT(keeper.Block(1, 1), testing::ElementsAreArray(NearAll(Ramp(1.0f, 0.25f))));
  EXPECT_EQ(keeper.Block(1, 1).back(), 0.25f) << "exactly, where it arrives";
  EXPECT_THAT(keeper.Block(2, 1), Each(0.25f));
  EXPECT_THAT(keeper.Block(3, 1), testing::ElementsAreArray(NearAll(Ramp(0.25f, 0.0f))));
  EXPECT_THAT(keeper.Block(4, 1), Each(0.0f));
  EXPECT_THAT(keeper.Block(5, 1), testing::ElementsAreArray(NearAll(Ramp(0.0f, 0.5f))));
  EXPECT_THAT(keeper.Block(6, 1), Each(0.5f));
  EXPECT_THAT(keeper.peaks,
              ElementsAre(1.0f, FloatNear(1.0f, 0.01f), 0.25f, FloatNear(0.25f, 0.01f), 0.0f, 0.5f, 0.5f));
  driven.mixer.RemoveInput(input);
}

// Changes of a moment make no jump: each block goes on from the sample before it.
TEST_F(DrivenAudioTest, GainsThatFollowEachOtherNeverJump) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  std::mt19937 random(3);
  PushValue(input.get(), 1.0f, 2 * kBlock);
  for (int block = 0; block < 60; ++block) {
    driven.Mix();
    PushValue(input.get(), 1.0f, kBlock);
    for (int i = 0; i < 3; ++i) input->SetGain(static_cast<float>(random() % 101) / 100.0f);
    input->SetMuted(random() % 4 == 0);
  }
  float largest = 0;
  const std::vector<float>& samples = driven.keeper.planes[0];
  for (std::size_t i = 1; i < samples.size(); ++i) largest = std::max(largest, std::fabs(samples[i] - samples[i - 1]));
  EXPECT_GT(largest, 0.0f);
  EXPECT_LE(largest, 1.001f / kBlock) << "one block takes it from one end to the other";
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, GainThatWasSetBeforeTheFirstBlockNeedsNoRamp) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  input->SetGain(0.5f);
  PushValue(input.get(), 1.0f, 2 * kBlock);
  driven.Mix(3);
  EXPECT_THAT(driven.keeper.Block(0), Each(0.5f));
  input->SetGain(0.25f);
  PushValue(input.get(), 1.0f, kBlock);
  driven.Mix();
  EXPECT_THAT(driven.keeper.Block(2), Each(0.0f)) << "it had run dry";
  EXPECT_THAT(driven.keeper.Block(3), Each(0.25f));
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, ShortsAreRoundedAndSaturated) {
  const InputRef input = NewInput<short>();
  Driven<short> driven(input);
  const std::vector<short> samples = {1, 2, 3, 5, -1, -3, 20000, -20000, 32767, -32768, 0, 7};
  std::vector<short> block(2 * kBlock);
  std::copy(samples.begin(), samples.end(), block.begin());
  input->SetGain(0.5f);
  Push(input.get(), block, block, 0, 2 * kBlock);
  driven.Mix(3);  // Dry at the end, so that the next gain holds at once.
  input->SetGain(2.0f);
  Push(input.get(), block, block, 0, kBlock);
  driven.Mix();
  const auto begin_of = [&](std::size_t number) {
    std::vector<short> begin = driven.keeper.Block(number, 1);
    begin.resize(samples.size());
    return begin;
  };
  EXPECT_THAT(begin_of(0), ElementsAre(0, 1, 2, 2, 0, -2, 10000, -10000, 16384, -16384, 0, 4));
  EXPECT_THAT(begin_of(3), ElementsAre(2, 4, 6, 10, -2, -6, 32767, -32768, 32767, -32768, 0, 14));
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, RefusesGainsThatAreNone) {
  const InputRef input = NewInput<float>();
  input->SetGain(0.75f);
  for (const float gain : {-0.5f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity()}) {
    input->SetGain(gain);
    EXPECT_EQ(input->gain(), 0.75f);
  }
  EXPECT_EQ(
      host::log::Count(kQnLogWarning, "[QnAudioInput] a gain of -0.5 is refused: it must be 0 or more, and finite"), 1);
  EXPECT_EQ(
      host::log::Count(kQnLogWarning, "[QnAudioInput] a gain of inf is refused: it must be 0 or more, and finite"), 1);
  input->SetGain(0.0f);
  EXPECT_EQ(input->gain(), 0.0f);
  input->SetGain(std::numeric_limits<float>::max());
  EXPECT_EQ(input->gain(), std::numeric_limits<float>::max());
}

// With another gain than 1 nothing of another input is heard again where this one comes short.
TEST_F(DrivenAudioTest, AnInputWithAGainIsSilentWhereItHasNothing) {
  for (const float gain : {1.0f, 0.5f, 0.0f}) {
    const InputRef whole = NewInput<float>();
    const InputRef part = NewInput<float>();
    Driven<float> driven(whole);
    driven.mixer.AddInput(part);
    part->SetGain(gain);
    PushValue(whole.get(), 0.25f, 3 * kBlock);
    PushValue(part.get(), 0.5f, 2 * kBlock + 100);
    driven.Mix(3);
    const std::vector<float> last = driven.keeper.Block(2, 1);
    EXPECT_EQ(last[99], 0.25f + 0.5f * gain);
    EXPECT_EQ(last[100], gain == 1.0f ? 0.5f : 0.25f) << "at 1 it repeats what the other left there";
    EXPECT_EQ(driven.keeper.Block(2, 0)[100], 0.25f);
    driven.mixer.RemoveInput(whole);
    driven.mixer.RemoveInput(part);
  }
}

TEST_F(DrivenAudioTest, MutedIsSilenceWhateverTheSamplesAre) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  input->SetMuted(true);
  PushValue(input.get(), std::numeric_limits<float>::infinity(), kBlock);
  PushValue(input.get(), std::numeric_limits<float>::quiet_NaN(), kBlock + 10);
  driven.Mix(3);
  EXPECT_THAT(driven.keeper.planes[0], Each(0.0f));
  EXPECT_THAT(driven.keeper.planes[1], Each(0.0f));
  driven.mixer.RemoveInput(input);
}

// --- Levels

template <class T>
class LevelTypedTest : public DrivenAudioTest {};
TYPED_TEST_SUITE(LevelTypedTest, SampleTypes);

TYPED_TEST(LevelTypedTest, TellPeakAndRmsOfTheLastBlock) {
  using T = TypeParam;
  const double full = sizeof(T) == sizeof(float) ? 1.0 : 32767.0;
  const auto sample = [&](double value) { return static_cast<T>(value * full); };
  const InputRef input = NewInput<T>();
  Driven<T> driven(input);
  EXPECT_EQ(input->level(0).peak, 0.0f);
  EXPECT_EQ(driven.mixer.level(0).peak, 0.0f);
  std::vector<T> left(3 * kBlock);
  std::vector<T> right(3 * kBlock);
  double squares = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    left[i] = sample(i % 2 == 0 ? 0.5 : -0.5);
    right[i] = sample(static_cast<double>(i % kBlock) / kBlock);
    if (i < kBlock) squares += static_cast<double>(right[i]) * static_cast<double>(right[i]);
  }
  const auto rms = static_cast<float>(std::sqrt(squares / kBlock) / full);
  Push(input.get(), left, right, 0, left.size());
  int asked = 0;
  driven.keeper.on_samples = [&] {
    EXPECT_NEAR(input->level(0).peak, 0.5f, 1e-4f);
    EXPECT_NEAR(input->level(0).rms, 0.5f, 1e-4f);
    EXPECT_NEAR(input->level(1).peak, (kBlock - 1.0f) / kBlock, 1e-4f);
    EXPECT_NEAR(input->level(1).rms, rms, 1e-5f);
    for (unsigned int c = 0; c < 2; ++c) {
      EXPECT_EQ(driven.mixer.level(c).peak, input->level(c).peak) << "it is alone";
      EXPECT_EQ(driven.mixer.level(c).rms, input->level(c).rms);
    }
    ++asked;
  };
  driven.Mix();
  driven.keeper.on_samples = nullptr;
  input->SetGain(0.5f);
  driven.Mix(2);
  EXPECT_NEAR(input->level(0).rms, 0.25f, 1e-4f) << "with its gain";
  EXPECT_NEAR(driven.mixer.level(1).rms, rms / 2, 1e-4f);
  driven.Mix();
  EXPECT_EQ(input->level(0).rms, 0.0f) << "it had nothing";
  EXPECT_EQ(driven.mixer.level(1).peak, 0.0f);
  EXPECT_EQ(asked, 1);
  driven.mixer.RemoveInput(input);
}

TEST_F(DrivenAudioTest, LevelsCountWhatTheInputHadOverTheWholeBlock) {
  const InputRef input = NewInput<float>();
  const InputRef other = NewInput<float>();
  Driven<float> driven(other);
  driven.mixer.AddInput(input);
  input->level(0);
  PushValue(other.get(), 0.9f, 3 * kBlock);
  PushValue(input.get(), 0.8f, 2 * kBlock + kBlock / 4);
  driven.Mix(3);
  for (unsigned int c = 0; c < 2; ++c) {
    EXPECT_EQ(input->level(c).peak, 0.8f) << "not what it repeats of the other";
    EXPECT_NEAR(input->level(c).rms, 0.4f, 1e-5f);
  }
  driven.mixer.RemoveInput(input);
  driven.mixer.RemoveInput(other);
}

TEST_F(DrivenAudioTest, LevelsAreSilenceWhereNothingIsMixed) {
  const InputRef input = NewInput<float>();
  Driven<float> driven(input);
  for (const unsigned int channel : {0u, 2u, 7u, 8u, ~0u}) {
    input->level(channel);
    driven.mixer.level(channel);
  }
  PushValue(input.get(), 3.0f, 4 * kBlock);
  driven.Mix();
  EXPECT_EQ(input->level(1).peak, 1.0f) << "at most";
  EXPECT_EQ(input->level(1).rms, 1.0f);
  EXPECT_EQ(driven.mixer.level(1).rms, 1.0f);
  for (const unsigned int channel : {2u, 7u, 8u, ~0u}) {
    EXPECT_EQ(input->level(channel).peak, 0.0f);
    EXPECT_EQ(driven.mixer.level(channel).rms, 0.0f);
  }
  driven.mixer.Stop();
  EXPECT_EQ(input->level(1).peak, 0.0f);
  EXPECT_EQ(driven.mixer.level(1).peak, 0.0f);
  driven.Mix();
  EXPECT_EQ(input->level(1).peak, 1.0f);
  driven.mixer.RemoveInput(input);
  EXPECT_EQ(input->level(1).peak, 0.0f);
  EXPECT_EQ(driven.mixer.level(1).peak, 1.0f) << "of the last block";

  const auto inert = MakeRef<RefCounted<QnAudioInput>>(0u, 2u, kQnMixSampleFloat);
  EXPECT_EQ(inert->level(0).peak, 0.0f);
  for (const unsigned int channels : {2u, 9u, 64u, 100000u, ~0u}) {
    const auto none = MakeRef<RefCounted<QnAudioInput>>(channels == 2 ? 0u : kRate, channels, kQnMixSampleFloat);
    EXPECT_EQ(none->stats().buffered_frames, 0u);
  }
  QnAudioMixer inert_mixer(kRate, 9, kQnMixSampleFloat, nullptr);
  EXPECT_EQ(inert_mixer.level(0).peak, 0.0f);
}

// --- Counts

TEST_F(DrivenAudioTest, CountsWhatIsMissingOverflowsAndIsTrimmed) {
  const InputRef input = NewInput<float>();
  PushValue(input.get(), 0.5f, kBlock);
  EXPECT_EQ(input->stats().buffered_frames, kBlock);
  Driven<float> driven(input);
  driven.Mix();
  EXPECT_EQ(input->stats().underrun_frames, 0u) << "it has turned ready with that push";
  driven.Mix();
  EXPECT_EQ(input->stats().underrun_frames, kBlock);
  PushValue(input.get(), 0.5f, 100);
  driven.Mix();
  EXPECT_EQ(input->stats().underrun_frames, 2 * kBlock - 100);
  EXPECT_EQ(input->stats().buffered_frames, 0u);

  // A push that is longer than the ten seconds keeps its end; a part of what is kept then makes room at the ring's.
  PushValue(input.get(), 0.5f, 11 * kRate);
  QnAudioInputStats stats = input->stats();
  EXPECT_EQ(stats.buffered_frames + stats.overflow_frames, 11 * kRate);
  EXPECT_GE(stats.overflow_frames, kRate);
  PushValue(input.get(), 0.5f, kRate);
  stats = input->stats();
  EXPECT_EQ(stats.buffered_frames + stats.overflow_frames, 12 * kRate);
  EXPECT_EQ(stats.trimmed_frames, 0u);
  EXPECT_EQ(stats.underrun_frames, 2 * kBlock - 100);

  // A new sequence drops what is there, and is counted nowhere.
  const unsigned long long overflow = stats.overflow_frames;
  input->PushBackSamples(nullptr, 0, 2);
  stats = input->stats();
  EXPECT_EQ(stats.buffered_frames, 0u);
  EXPECT_EQ(stats.overflow_frames, overflow);
  driven.Mix();
  EXPECT_EQ(input->stats().underrun_frames, 2 * kBlock - 100) << "it is not ready";
  driven.mixer.RemoveInput(input);

  const std::vector<float> samples(kRate / 10, 0.5f);
  const void* planes[] = {samples.data(), nullptr};
  input->PushBackSamples(planes, kRate / 10, 2);
  EXPECT_EQ(input->stats().buffered_frames, 0u) << "a frame is one of every channel";
}

}  // namespace
