// The mixer on a clock of the test's own: sleeping takes no time and is recorded.
#include "audio/audio_mixer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "foundation/event.h"
#include "foundation/os_time.h"
#include "tests/audio/mix_recorder.h"
#include "tests/support/fake_os_time.h"
#include "tests/support/log_capture.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using FloatRecorder = MixRecorder<AudioMixer::Callback, float>;
using ShortRecorder = MixRecorder<AudioMixer::Callback, short>;

constexpr std::uint64_t kStartNs = fake_clock::kStartNs;
constexpr std::uint64_t kBlockNs = 50000000;

constexpr char kStartAfterStopOnOwnThread[] =
    "Start was called on the audio mixer's thread after Stop: it ends after this block; call Start from another thread";
constexpr char kStopOnOwnThread[] =
    "Stop was called on the audio mixer's thread, which cannot wait for itself: it ends after this block; call Stop "
    "again from another thread";

// Pushes `frames` frames with the same value in each channel.
template <class T>
void Push(AudioMixSource* source, unsigned int frames, const std::vector<T>& values, std::uint64_t sequence = 1) {
  std::vector<std::vector<T>> planes;
  std::vector<const void*> pointers;
  for (const T value : values) planes.emplace_back(frames, value);
  for (const auto& plane : planes) pointers.push_back(plane.data());
  source->PushBackSamples(pointers.data(), frames, sequence);
}

// Runs a mixer for exactly that many blocks.
void RunBlocks(AudioMixer* mixer, std::size_t count) {
  const std::size_t before = fake_clock::Sleeps().size();
  std::size_t sleeps = 0;
  fake_clock::SetHook([&sleeps, mixer, count](const fake_clock::Sleep&) {
    if (++sleeps == count) mixer->RequestStop();
  });
  ASSERT_TRUE(mixer->Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(before + count));
  mixer->Stop();
  fake_clock::SetHook(nullptr);
}

// Waits until a mixer has let go of the source. Returns false after ten seconds without.
bool WaitForDisabled(const AudioMixSource& source) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (source.enabled() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return !source.enabled();
}

// The eight planes that a pass works on, filled with one value a plane.
class PassPlanes {
 public:
  PassPlanes(std::size_t frames, std::vector<float> values) {
    values.resize(8);
    for (const float value : values) planes_.emplace_back(frames, value);
    for (auto& plane : planes_) pointers_.push_back(reinterpret_cast<unsigned char*>(plane.data()));
  }
  unsigned char** data() { return pointers_.data(); }
  const std::vector<float>& operator[](std::size_t channel) const { return planes_[channel]; }

 private:
  std::vector<std::vector<float>> planes_;
  std::vector<unsigned char*> pointers_;
};

class AudioMixerTest : public testing::Test {
 protected:
  void SetUp() override { fake_clock::Reset(); }
  void TearDown() override { fake_clock::Reset(); }

  // What a mixer of one channel makes of sources with one value each, in this order.
  template <class T>
  typename MixRecorder<AudioMixer::Callback, T>::Block MixValues(const std::vector<T>& values) {
    constexpr InternalSampleType kType = sizeof(T) == sizeof(float) ? kInternalSampleFloat : kInternalSampleShort;
    MixRecorder<AudioMixer::Callback, T> recorder(1);
    AudioMixer mixer(48000, 1, kType, &recorder);
    std::vector<std::unique_ptr<AudioMixSource>> sources;
    for (const T value : values) {
      sources.push_back(std::make_unique<AudioMixSource>(48000, 1, kType));
      Push<T>(sources.back().get(), 4800, {value});
      mixer.AddSource(sources.back().get());
    }
    RunBlocks(&mixer, 1);
    return recorder.blocks.at(0);
  }

  LogCapture log_;
};

TEST_F(AudioMixerTest, BlockIsATwentiethOfASecondRoundedDown) {
  for (const auto& [rate, frames] : std::vector<std::pair<unsigned int, unsigned int>>{
           {48000, 2400}, {44100, 2205}, {22050, 1102}, {8000, 400}, {39, 1}, {20, 1}}) {
    fake_clock::Reset();
    FloatRecorder recorder(2);
    AudioMixer mixer(rate, 2, kInternalSampleFloat, &recorder);
    RunBlocks(&mixer, 2);
    ASSERT_EQ(recorder.blocks.size(), 2u) << rate;
    for (const auto& block : recorder.blocks) {
      EXPECT_EQ(block.frames, frames);
      EXPECT_THAT(block.planes[0], Each(0.0f));
      EXPECT_THAT(block.planes[1], Each(0.0f));
      EXPECT_THAT(block.peaks, ElementsAre(0.0f));
    }
  }
}

TEST_F(AudioMixerTest, BlocksAreDueEvery50MsAndStampedWithTheirStart) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  RunBlocks(&mixer, 4);
  EXPECT_THAT(fake_clock::Targets(), ElementsAre(kStartNs + kBlockNs, kStartNs + 2 * kBlockNs, kStartNs + 3 * kBlockNs,
                                                 kStartNs + 4 * kBlockNs));
  ASSERT_EQ(recorder.blocks.size(), 4u);
  for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(recorder.blocks[k].timestamp_ns, kStartNs + k * kBlockNs);
  for (const auto& sleep : fake_clock::Sleeps()) EXPECT_TRUE(sleep.fast);
}

// An hour of blocks. A deadline follows the frames that were mixed, each rounded down by itself.
TEST_F(AudioMixerTest, DeadlinesDoNotDriftOverAnHour) {
  constexpr std::uint64_t kBlocks = 20 * 3600;
  for (const std::uint64_t rate : {44100u, 22050u, 11025u, 48000u}) {
    fake_clock::Reset();
    const std::uint64_t block = rate / 20;
    FloatRecorder recorder;
    AudioMixer mixer(static_cast<unsigned int>(rate), 1, kInternalSampleFloat, &recorder);
    RunBlocks(&mixer, kBlocks);
    const std::vector<std::uint64_t> targets = fake_clock::Targets();
    ASSERT_EQ(targets.size(), kBlocks);
    ASSERT_EQ(recorder.blocks.size(), kBlocks);
    std::uint64_t due = kStartNs;
    for (std::uint64_t k = 0; k < kBlocks; ++k) {
      ASSERT_EQ(recorder.blocks[k].timestamp_ns, due) << rate << " Hz, block " << k;
      due = kStartNs + (k + 1) * block * 1000000000 / rate;
      ASSERT_EQ(targets[k], due) << rate << " Hz, block " << k;
    }
  }
}

TEST_F(AudioMixerTest, LateWakeUpDelaysBlocksAndLosesNone) {
  FloatRecorder recorder;
  AudioMixer mixer(44100, 1, kInternalSampleFloat, &recorder);
  constexpr std::size_t kBlocks = 40;
  constexpr std::uint64_t kLateNs = kStartNs + 5 * kBlockNs + 1000000000;  // A second behind block 5.
  std::size_t sleeps = 0;
  fake_clock::SetHook([&](const fake_clock::Sleep& sleep) {
    ++sleeps;
    if (sleeps == 5) fake_clock::Set(kLateNs);
    if (sleeps > 5) {
      EXPECT_EQ(sleep.now, std::max(kLateNs, kStartNs + (sleeps - 1) * kBlockNs)) << "block " << sleeps;
    }
    if (sleeps == kBlocks) mixer.RequestStop();
  });
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(kBlocks));
  mixer.Stop();
  ASSERT_EQ(recorder.blocks.size(), kBlocks);
  const auto targets = fake_clock::Targets();
  for (std::size_t k = 0; k < kBlocks; ++k) {
    EXPECT_EQ(recorder.blocks[k].timestamp_ns, kStartNs + k * kBlockNs);
    EXPECT_EQ(targets[k], kStartNs + (k + 1) * kBlockNs);
  }
}

TEST_F(AudioMixerTest, SlowCallbackDelaysBlocksAndLosesNone) {
  FloatRecorder recorder(2);
  AudioMixer mixer(44100, 2, kInternalSampleFloat, &recorder);
  AudioMixSource source(44100, 2, kInternalSampleFloat);
  mixer.AddSource(&source);
  // The host pushes what time has brought, up to the sample; every sample has a value of its own.
  std::uint64_t pushed = 0;
  const auto push_due = [&] {
    const std::uint64_t due = (os::GetTimeNs() - kStartNs) * 44100 / 1000000000 + 44100;
    std::vector<float> left;
    std::vector<float> right;
    for (; pushed < due; ++pushed) {
      left.push_back(static_cast<float>(pushed % 1000) / 1000.0f);
      right.push_back(-left.back());
    }
    const void* planes[] = {left.data(), right.data()};
    source.PushBackSamples(planes, static_cast<unsigned int>(left.size()), 7);
  };
  source.Enable();  // Before the mixer does, so that the first second is kept.
  push_due();
  constexpr std::size_t kBlocks = 200;
  recorder.on_samples = [&](void**, std::size_t count) {
    // Every 20th callback takes as long as several blocks, up to some 20.
    if (count % 20 == 0) fake_clock::Advance(count * 5432101);
    push_due();
    if (count == kBlocks) mixer.RequestStop();
  };
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(kBlocks));
  mixer.Stop();
  ASSERT_EQ(recorder.blocks.size(), kBlocks);
  std::uint64_t next = 0;
  for (std::size_t k = 0; k < kBlocks; ++k) {
    const auto& block = recorder.blocks[k];
    ASSERT_EQ(block.timestamp_ns, kStartNs + k * kBlockNs);
    ASSERT_EQ(block.frames, 2205u);
    for (unsigned int i = 0; i < block.frames; ++i, ++next) {
      ASSERT_EQ(block.planes[0][i], static_cast<float>(next % 1000) / 1000.0f) << "block " << k;
      ASSERT_EQ(block.planes[1][i], -block.planes[0][i]);
    }
  }
}

TEST_F(AudioMixerTest, RateBelow20CallsBackWithEmptyBlocksWithoutAPause) {
  FloatRecorder recorder(1);
  AudioMixer mixer(19, 1, kInternalSampleFloat, &recorder);
  RunBlocks(&mixer, 50);
  EXPECT_THAT(fake_clock::Targets(), AllOf(testing::SizeIs(50), Each(kStartNs)));
  ASSERT_EQ(recorder.blocks.size(), 50u);
  for (const auto& block : recorder.blocks) {
    EXPECT_EQ(block.frames, 0u);
    EXPECT_EQ(block.timestamp_ns, kStartNs);
    EXPECT_THAT(block.peaks, ElementsAre(0.0f));
  }
}

TEST_F(AudioMixerTest, IsInertWithoutARate) {
  FloatRecorder recorder;
  AudioMixer mixer(0, 2, kInternalSampleFloat, &recorder);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[AudioMixer] no mixer of 0 Hz and 2 channels"}));
  AudioMixSource source(48000, 2, kInternalSampleFloat);
  mixer.AddSource(&source);
  EXPECT_FALSE(mixer.Start());
  EXPECT_FALSE(source.enabled());
  mixer.RemoveSource(&source);
  mixer.Stop();
  EXPECT_THAT(fake_clock::Sleeps(), IsEmpty());
  EXPECT_THAT(recorder.blocks, IsEmpty());
}

TEST_F(AudioMixerTest, IsInertWithMoreThanEightChannels) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 9, kInternalSampleFloat, &recorder);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[AudioMixer] no mixer of 48000 Hz and 9 channels"}));
  EXPECT_FALSE(mixer.Start());
  mixer.Stop();
  EXPECT_THAT(recorder.blocks, IsEmpty());
}

TEST_F(AudioMixerTest, AddsSourcesAndMeasures) {
  const auto block = MixValues<float>({0.25f, -0.75f});
  EXPECT_THAT(block.planes[0], Each(-0.5f));
  EXPECT_THAT(block.peaks, ElementsAre(0.5f));
}

TEST_F(AudioMixerTest, SaturatesFloats) {
  const auto block = MixValues<float>({0.75f, 0.75f});
  EXPECT_THAT(block.planes[0], Each(1.0f));
  EXPECT_THAT(block.peaks, ElementsAre(1.0f));
}

TEST_F(AudioMixerTest, SaturatesShorts) {
  const auto block = MixValues<short>({20000, 20000});
  EXPECT_EQ(block.frames, 2400u);
  EXPECT_THAT(block.planes[0], Each(32767));
  EXPECT_THAT(block.peaks, ElementsAre(1.0f));
}

TEST_F(AudioMixerTest, PeakOfTheLowestShortIsOne) {
  const auto block = MixValues<short>({-32768});
  EXPECT_THAT(block.planes[0], Each(-32768));
  EXPECT_THAT(block.peaks, ElementsAre(1.0f));
}

TEST_F(AudioMixerTest, PeakOfShortsIsLinear) {
  EXPECT_THAT(MixValues<short>({-16384}).peaks, ElementsAre(16384 / 32767.0f));
}

TEST_F(AudioMixerTest, SaturatesAtEveryAdditionInTheOrderOfAdding) {
  EXPECT_THAT(MixValues<float>({0.8f, 0.8f, -0.8f}).planes[0], Each(1.0f - 0.8f));
  EXPECT_THAT(MixValues<float>({0.8f, -0.8f, 0.8f}).planes[0], Each(0.8f));
}

TEST_F(AudioMixerTest, NoSourceGivesSilence) {
  const auto block = MixValues<short>({});
  EXPECT_THAT(block.planes[0], Each(0));
  EXPECT_THAT(block.peaks, ElementsAre(0.0f));
}

TEST_F(AudioMixerTest, SourceThatIsNotReadyAddsNothing) {
  FloatRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 2, kInternalSampleFloat);
  Push<float>(&source, 2000, {0.5f, 0.5f});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 3);
  ASSERT_EQ(recorder.blocks.size(), 3u);
  for (const auto& block : recorder.blocks) {
    EXPECT_THAT(block.planes[0], Each(0.0f));
    EXPECT_THAT(block.planes[1], Each(0.0f));
    EXPECT_THAT(block.peaks, ElementsAre(0.0f));
  }
}

TEST_F(AudioMixerTest, NewSequenceOnEveryPushNeverSounds) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  std::uint64_t sequence = 0;
  recorder.on_samples = [&](void**, std::size_t) {
    for (int i = 0; i < 5; ++i) Push<float>(&source, 480, {0.5f}, ++sequence);
  };
  RunBlocks(&mixer, 20);
  for (const auto& block : recorder.blocks) EXPECT_THAT(block.peaks, ElementsAre(0.0f));
}

TEST_F(AudioMixerTest, SourceThatRunsDryIsSilentUntilMoreComes) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  Push<float>(&source, 3600, {0.5f});
  mixer.AddSource(&source);
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count == 3) Push<float>(&source, 1, {0.25f});
  };
  RunBlocks(&mixer, 5);
  ASSERT_EQ(recorder.blocks.size(), 5u);
  EXPECT_THAT(recorder.blocks[0].planes[0], Each(0.5f));
  std::vector<float> half(2400, 0.0f);
  std::fill_n(half.begin(), 1200, 0.5f);
  EXPECT_EQ(recorder.blocks[1].planes[0], half) << "the rest of the block is silence";
  EXPECT_THAT(recorder.blocks[1].peaks, ElementsAre(0.5f));
  EXPECT_THAT(recorder.blocks[2].planes[0], Each(0.0f));
  EXPECT_EQ(recorder.blocks[3].planes[0][0], 0.25f) << "it needs no new start";
  EXPECT_EQ(recorder.blocks[3].planes[0][1], 0.0f);
  EXPECT_THAT(recorder.blocks[4].planes[0], Each(0.0f));
}

// The first channel alone is padded with silence; the others repeat what the last pop left.
TEST_F(AudioMixerTest, ShortReadRepeatsOldSamplesInAllChannelsButTheFirst) {
  FloatRecorder recorder(3);
  AudioMixer mixer(48000, 3, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 3, kInternalSampleFloat);
  Push<float>(&source, 2400, {0.5f, 0.25f, 0.125f});
  Push<float>(&source, 400, {0.75f, 0.5f, 0.25f});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 3);
  const auto& block = recorder.blocks.at(1);
  EXPECT_EQ(block.planes[0][399], 0.75f);
  EXPECT_EQ(block.planes[1][399], 0.5f);
  EXPECT_EQ(block.planes[2][399], 0.25f);
  for (std::size_t i = 400; i < 2400; ++i) {
    ASSERT_EQ(block.planes[0][i], 0.0f);
    ASSERT_EQ(block.planes[1][i], 0.25f);
    ASSERT_EQ(block.planes[2][i], 0.125f);
  }
  EXPECT_THAT(recorder.blocks.at(2).peaks, ElementsAre(0.0f)) << "what gives no frame at all adds nothing";
}

TEST_F(AudioMixerTest, ShortReadOf16BitSamplesMixesTheFullBlockToo) {
  ShortRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleShort, &recorder);
  AudioMixSource source(48000, 2, kInternalSampleShort);
  Push<short>(&source, 2400, {100, 200});
  Push<short>(&source, 400, {300, 400});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 2);
  const auto& block = recorder.blocks.at(1);
  EXPECT_EQ(block.planes[0][399], 300);
  EXPECT_EQ(block.planes[1][399], 400);
  for (std::size_t i = 400; i < 2400; ++i) {
    ASSERT_EQ(block.planes[0][i], 0);
    ASSERT_EQ(block.planes[1][i], 200);
  }
}

TEST_F(AudioMixerTest, ChannelsThatASourceLacksRepeatTheLastPopOfAnother) {
  FloatRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  AudioMixSource mono(48000, 1, kInternalSampleFloat);
  AudioMixSource stereo(48000, 2, kInternalSampleFloat);
  Push<float>(&mono, 4800, {0.5f});
  Push<float>(&stereo, 2400, {0.125f, 0.25f});
  mixer.AddSource(&mono);
  mixer.AddSource(&stereo);
  RunBlocks(&mixer, 2);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(0.625f));
  EXPECT_THAT(recorder.blocks.at(0).planes[1], Each(0.25f)) << "the planes start as silence";
  EXPECT_THAT(recorder.blocks.at(1).planes[0], Each(0.5f));
  EXPECT_THAT(recorder.blocks.at(1).planes[1], Each(0.25f));
}

TEST_F(AudioMixerTest, ChannelsThatTheMixerLacksAreDropped) {
  FloatRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 8, kInternalSampleFloat);
  Push<float>(&source, 4800, {0.5f, 0.25f, 0.75f, 1, 1, 1, 1, 1});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 1);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(0.5f));
  EXPECT_THAT(recorder.blocks.at(0).planes[1], Each(0.25f));
  EXPECT_THAT(recorder.blocks.at(0).peaks, ElementsAre(0.5f));
}

TEST_F(AudioMixerTest, MixesEightChannels) {
  ShortRecorder recorder(8);
  AudioMixer mixer(48000, 8, kInternalSampleShort, &recorder);
  AudioMixSource source(48000, 8, kInternalSampleShort);
  Push<short>(&source, 2400, {1, 2, 3, 4, 5, 6, 7, 8});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 1);
  for (short c = 0; c < 8; ++c) EXPECT_THAT(recorder.blocks.at(0).planes[static_cast<std::size_t>(c)], Each(c + 1));
}

TEST_F(AudioMixerTest, NoChannelsGiveBlocksWithoutSamples) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 0, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 2, kInternalSampleFloat);
  Push<float>(&source, 4800, {0.5f, 0.5f});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 1);
  EXPECT_EQ(recorder.blocks.at(0).frames, 2400u);
  EXPECT_THAT(recorder.blocks.at(0).peaks, ElementsAre(0.0f));
}

TEST_F(AudioMixerTest, UnknownTypeMixesNothing) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, static_cast<InternalSampleType>(2), &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  Push<float>(&source, 2400, {0.5f});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 2);
  EXPECT_EQ(recorder.blocks.at(0).frames, 2400u);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(0.0f));
  EXPECT_THAT(recorder.blocks.at(0).peaks, ElementsAre(0.0f));
  EXPECT_EQ(source.PopFrontSamples(nullptr, 100), 0u) << "the source was emptied all the same";
}

TEST_F(AudioMixerTest, HostMayWriteIntoTheBlock) {
  FloatRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  recorder.on_samples = [](void** planes, std::size_t) {
    for (int c = 0; c < 2; ++c) std::fill_n(static_cast<float*>(planes[c]), 2400, 0.5f);
    planes[0] = planes[1] = nullptr;
  };
  RunBlocks(&mixer, 3);
  for (const auto& block : recorder.blocks) {
    EXPECT_THAT(block.planes[0], Each(0.0f));
    EXPECT_THAT(block.planes[1], Each(0.0f));
    EXPECT_THAT(block.peaks, ElementsAre(0.0f));
  }
}

TEST_F(AudioMixerTest, PassClearsTheFirstScratchPlaneAlone) {
  FloatRecorder recorder(2);
  AudioMixer mixer(48000, 2, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  source.Enable();
  Push<float>(&source, 2400, {0.25f});
  EXPECT_EQ(source.PopFrontSamples(nullptr, 2399), 2399u);  // One is left.
  mixer.AddSource(&source);
  PassPlanes mix(10, {0.125f, 0.0f});
  PassPlanes scratch(10, {1, 0.5f, 0.75f});
  mixer.Mix(mix.data(), scratch.data(), 10, 77);
  ASSERT_EQ(recorder.blocks.size(), 1u);
  EXPECT_EQ(recorder.blocks[0].timestamp_ns, 77u);
  EXPECT_EQ(recorder.blocks[0].planes[0][0], 0.375f);
  EXPECT_EQ(recorder.blocks[0].planes[0][1], 0.125f);
  EXPECT_THAT(recorder.blocks[0].planes[1], Each(0.5f));
  EXPECT_EQ(scratch[0][1], 0.0f);
  EXPECT_THAT(scratch[2], Each(0.75f));
}

TEST_F(AudioMixerTest, PassOfShortsClearsTheirBytes) {
  AudioMixer mixer(48000, 1, kInternalSampleShort, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleShort);
  mixer.AddSource(&source);
  source.Enable();
  PassPlanes mix(10, {});
  PassPlanes scratch(10, {1, 1});
  mixer.Mix(mix.data(), scratch.data(), 10, 0);
  const std::vector<float> half_cleared{0, 0, 0, 0, 0, 1, 1, 1, 1, 1};
  EXPECT_EQ(scratch[0], half_cleared);
  EXPECT_THAT(scratch[1], Each(1.0f));
}

TEST_F(AudioMixerTest, PassLeavesOutWhatIsNotEnabled) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  Push<float>(&source, 2400, {0.25f});
  mixer.AddSource(&source);  // The mixer does not run.
  PassPlanes mix(10, {});
  PassPlanes scratch(10, {1});
  mixer.Mix(mix.data(), scratch.data(), 10, 0);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(0.0f));
  EXPECT_THAT(scratch[0], Each(1.0f));
  EXPECT_EQ(source.PopFrontSamples(nullptr, 2400), 2400u);
}

TEST_F(AudioMixerTest, SourceAddedTwiceIsMixedOnce) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  Push<float>(&source, 4800, {0.25f});
  mixer.AddSource(&source);
  mixer.AddSource(&source);
  RunBlocks(&mixer, 2);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(0.25f));
  EXPECT_THAT(recorder.blocks.at(1).planes[0], Each(0.25f)) << "it gives 100 ms for two blocks";
  // One removal takes it out.
  mixer.RemoveSource(&source);
  Push<float>(&source, 4800, {0.25f});
  RunBlocks(&mixer, 1);
  EXPECT_THAT(recorder.blocks.at(2).planes[0], Each(0.0f));
}

TEST_F(AudioMixerTest, SourceAddedAgainKeepsItsPlace) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  std::vector<std::unique_ptr<AudioMixSource>> sources;
  for (const float value : {0.8f, 0.8f, -0.8f}) {
    sources.push_back(std::make_unique<AudioMixSource>(48000, 1, kInternalSampleFloat));
    Push<float>(sources.back().get(), 4800, {value});
    mixer.AddSource(sources.back().get());
  }
  mixer.AddSource(sources[0].get());
  RunBlocks(&mixer, 1);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(1.0f - 0.8f));
}

TEST_F(AudioMixerTest, IgnoresNullAndUnknownSources) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  source.Enable();
  mixer.AddSource(nullptr);
  mixer.RemoveSource(nullptr);
  mixer.RemoveSource(&source);
  EXPECT_TRUE(source.enabled()) << "one that was never added is left alone";
  RunBlocks(&mixer, 2);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixerTest, SourcesAreEnabledWhileAttachedAndRunning) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource early(48000, 1, kInternalSampleFloat);
  AudioMixSource late(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&early);
  EXPECT_FALSE(early.enabled());
  ASSERT_TRUE(mixer.Start());
  EXPECT_TRUE(early.enabled());
  mixer.AddSource(&late);
  EXPECT_TRUE(late.enabled());
  mixer.RemoveSource(&early);
  EXPECT_FALSE(early.enabled());
  mixer.Stop();
  EXPECT_FALSE(late.enabled());
  mixer.AddSource(&early);
  EXPECT_FALSE(early.enabled());
  ASSERT_TRUE(mixer.Start());
  EXPECT_TRUE(early.enabled());
  EXPECT_TRUE(late.enabled());
  mixer.Stop();
}

TEST_F(AudioMixerTest, RunsWithoutACallback) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  Push<float>(&source, 2400, {0.25f});
  mixer.AddSource(&source);
  RunBlocks(&mixer, 1);
  EXPECT_EQ(source.PopFrontSamples(nullptr, 100), 0u) << "the block was mixed and discarded";
}

TEST_F(AudioMixerTest, StartOnARunningMixerChangesNothing) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  ASSERT_TRUE(mixer.Start());
  EXPECT_TRUE(mixer.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(100));
  EXPECT_TRUE(mixer.Start());
  mixer.Stop();
  std::set<std::thread::id> threads;
  for (std::size_t k = 0; k < recorder.blocks.size(); ++k) {
    threads.insert(recorder.blocks[k].thread);
    EXPECT_EQ(recorder.blocks[k].timestamp_ns, kStartNs + k * kBlockNs);
  }
  EXPECT_EQ(threads.size(), 1u);
}

TEST_F(AudioMixerTest, StartAfterStopStartsANewTime) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  RunBlocks(&mixer, 2);
  fake_clock::Set(kStartNs + 12345678901);
  RunBlocks(&mixer, 2);
  ASSERT_EQ(recorder.blocks.size(), 4u);
  EXPECT_EQ(recorder.blocks[2].timestamp_ns, kStartNs + 12345678901);
  EXPECT_EQ(recorder.blocks[3].timestamp_ns, kStartNs + 12345678901 + kBlockNs);
}

TEST_F(AudioMixerTest, StopOnAStoppedMixerDoesNothing) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  mixer.Stop();
  RunBlocks(&mixer, 1);
  mixer.Stop();
  mixer.Stop();
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixerTest, StopInACallbackEndsAfterTheBlock) {
  for (const bool in_peak : {false, true}) {
    fake_clock::Reset();
    log_.Clear();
    FloatRecorder recorder;
    AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
    AudioMixSource source(48000, 1, kInternalSampleFloat);
    mixer.AddSource(&source);
    if (in_peak) {
      recorder.on_peak = [&](std::size_t count) {
        if (count == 3) mixer.Stop();
      };
    } else {
      recorder.on_samples = [&](void**, std::size_t count) {
        if (count == 3) mixer.Stop();
      };
    }
    ASSERT_TRUE(mixer.Start());
    ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, kStopOnOwnThread));
    EXPECT_TRUE(WaitForDisabled(source)) << "whether anybody waits for the thread or not";
    AudioMixSource later(48000, 1, kInternalSampleFloat);
    mixer.AddSource(&later);
    EXPECT_FALSE(later.enabled());
    mixer.RemoveSource(&later);
    mixer.Stop();
    EXPECT_FALSE(source.enabled());
    ASSERT_EQ(recorder.blocks.size(), 3u);
    EXPECT_THAT(recorder.blocks[2].peaks, testing::SizeIs(1)) << "the block under way is finished";
    EXPECT_EQ(log_.Count(Logger::Level::Error, kStopOnOwnThread), 1u);
  }
}

TEST_F(AudioMixerTest, StartAfterStopInACallbackStartsAnew) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  bool enabled_again = false;
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count == 4) enabled_again = source.enabled();
    if (count == 3 || count == 5) mixer.Stop();
  };
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, kStopOnOwnThread));
  log_.Clear();
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, kStopOnOwnThread));
  mixer.Stop();
  EXPECT_TRUE(enabled_again);
  EXPECT_EQ(recorder.blocks.size(), 5u);
}

// While the mixer does not run, its sources keep no more than they had: what they hold is what the sound is late by.
TEST_F(AudioMixerTest, SoundIsNotLateAfterAStopInACallback) {
  constexpr unsigned int kRate = 8000;
  constexpr unsigned int kBlock = kRate / 20;
  FloatRecorder recorder(1);
  AudioMixer mixer(kRate, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(kRate, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  // Every sample has a value of its own, which tells how old it is.
  unsigned int pushed = 0;
  const auto push_block = [&] {
    std::vector<float> samples;
    for (unsigned int i = 0; i < kBlock; ++i) samples.push_back(static_cast<float>(++pushed) / 65536);
    const void* planes[] = {samples.data()};
    source.PushBackSamples(planes, kBlock, 1);
  };
  const auto frames_late = [&] {
    return pushed - static_cast<unsigned int>(recorder.blocks.back().planes[0][0] * 65536);
  };
  push_block();
  push_block();
  unsigned int before = 0;
  recorder.on_samples = [&](void**, std::size_t count) {
    push_block();
    if (count != 10) return;
    before = frames_late();
    mixer.Stop();
  };
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, kStopOnOwnThread));
  ASSERT_TRUE(WaitForDisabled(source));
  for (int i = 0; i < 90; ++i) push_block();  // Four and a half seconds without a mixer.
  unsigned int after = 0;
  recorder.on_samples = [&](void**, std::size_t) {
    push_block();
    after = frames_late();
  };
  RunBlocks(&mixer, 1);
  EXPECT_EQ(after, before);
  EXPECT_LE(after, kRate / 5);
}

TEST_F(AudioMixerTest, StartInACallbackTellsWhetherTheMixingGoesOn) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  bool before = false;
  bool after = true;
  recorder.on_samples = [&](void**, std::size_t) {
    before = mixer.Start();
    mixer.Stop();
    after = mixer.Start();
  };
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, kStopOnOwnThread));
  mixer.Stop();
  EXPECT_TRUE(before);
  EXPECT_FALSE(after);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error, kStopOnOwnThread},
                                        LogCapture::Line{Logger::Level::Error, kStartAfterStopOnOwnThread}));
}

TEST_F(AudioMixerTest, OneMixersCallbackMayStopAnother) {
  AudioMixer other(48000, 1, kInternalSampleFloat, nullptr);
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  ASSERT_TRUE(other.Start());
  Event stopped(true);
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count > 1) return;
    other.Stop();
    stopped.Signal();
  };
  ASSERT_TRUE(mixer.Start());
  stopped.Wait();
  mixer.Stop();
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixerTest, StopDisablesEverySourceAlsoOfAMixerThatDoesNotRun) {
  AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  source.Enable();
  mixer.Stop();
  EXPECT_FALSE(source.enabled());
}

TEST_F(AudioMixerTest, DestructorStopsARunningMixer) {
  FloatRecorder recorder;
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  {
    AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
    mixer.AddSource(&source);
    ASSERT_TRUE(mixer.Start());
    ASSERT_TRUE(fake_clock::WaitForSleeps(3));
  }
  EXPECT_FALSE(source.enabled());
  const std::size_t sleeps = fake_clock::Sleeps().size();
  const std::size_t blocks = recorder.blocks.size();
  EXPECT_EQ(sleeps, blocks);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixerTest, DestructorOfAStoppedMixerLeavesItsSourcesAlone) {
  auto source = std::make_unique<AudioMixSource>(48000, 1, kInternalSampleFloat);
  {
    AudioMixer mixer(48000, 1, kInternalSampleFloat, nullptr);
    mixer.AddSource(source.get());
    RunBlocks(&mixer, 1);
    source.reset();  // A host that forgot to remove it.
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixerTest, PeakFollowsEveryBlock) {
  FloatRecorder recorder;
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  RunBlocks(&mixer, 10);
  EXPECT_EQ(recorder.stray_peaks, 0);
  for (const auto& block : recorder.blocks) EXPECT_EQ(block.peaks.size(), 1u);
}

TEST_F(AudioMixerTest, CallbackMayPush) {
  FloatRecorder recorder(1);
  AudioMixer mixer(48000, 1, kInternalSampleFloat, &recorder);
  AudioMixSource source(48000, 1, kInternalSampleFloat);
  mixer.AddSource(&source);
  recorder.on_samples = [&](void**, std::size_t) { Push<float>(&source, 2400, {0.5f}); };
  RunBlocks(&mixer, 3);
  EXPECT_THAT(recorder.blocks.at(1).planes[0], Each(0.5f));
  EXPECT_THAT(recorder.blocks.at(2).planes[0], Each(0.5f));
}

}  // namespace
