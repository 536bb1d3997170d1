// The public mixer on a clock of the test's own.
#include <quarn/qn_audio_mixer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio_mix_source.h"
#include "foundation/event.h"
#include "tests/audio/mix_recorder.h"
#include "tests/support/fake_os_time.h"
#include "tests/support/log_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;

using FloatRecorder = MixRecorder<QnAudioMixer::Callback, float>;
using ShortRecorder = MixRecorder<QnAudioMixer::Callback, short>;

constexpr std::uint64_t kStartNs = fake_clock::kStartNs;
constexpr std::uint64_t kBlockNs = 50000000;

// An input that tells what the library does with its count.
class CountedInput : public QnAudioInput {
 public:
  using QnAudioInput::QnAudioInput;
  void AddRef() override {
    calls += "+";
    if (on_add_ref) on_add_ref();
  }
  void Release() override {
    calls += "-";
    if (on_release) on_release();
  }
  std::string calls;
  std::function<void()> on_add_ref;
  std::function<void()> on_release;
};

template <class T>
void Push(QnAudioInput* input, unsigned int frames, T left, T right) {
  const std::vector<T> samples[] = {std::vector<T>(frames, left), std::vector<T>(frames, right)};
  const void* planes[] = {samples[0].data(), samples[1].data()};
  input->PushBackSamples(planes, frames, 1);
}

// Runs a mixer for that many blocks at least: it ends soon after.
void RunBlocks(QnAudioMixer* mixer, std::size_t count) {
  const std::size_t before = fake_clock::Sleeps().size();
  ASSERT_TRUE(mixer->Start());
  // A sleep begins when the block before it is done.
  ASSERT_TRUE(fake_clock::WaitForSleeps(before + count + 1));
  mixer->Stop();
}

class QnAudioMixerTest : public testing::Test {
 protected:
  void SetUp() override { fake_clock::Reset(); }
  void TearDown() override { fake_clock::Reset(); }

  LogCapture log_;
};

TEST_F(QnAudioMixerTest, HandsBlocksAndPeaksToTheHost) {
  FloatRecorder recorder(2);
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &recorder);
  CountedInput first(48000, 2, kQnMixSampleFloat);
  CountedInput second(48000, 2, kQnMixSampleFloat);
  Push<float>(&first, 4800, 0.25f, -0.5f);
  Push<float>(&second, 4800, 0.5f, -0.25f);
  mixer.AddInput(&first);
  mixer.AddInput(&second);
  RunBlocks(&mixer, 3);
  ASSERT_GE(recorder.blocks.size(), 3u);
  for (std::size_t k = 0; k < 3; ++k) {
    const auto& block = recorder.blocks[k];
    const float sign = k < 2 ? 1.0f : 0.0f;
    EXPECT_EQ(block.frames, 2400u);
    EXPECT_EQ(block.timestamp_ns, kStartNs + k * kBlockNs);
    EXPECT_THAT(block.planes[0], Each(0.75f * sign));
    EXPECT_THAT(block.planes[1], Each(-0.75f * sign));
    EXPECT_THAT(block.peaks, ElementsAre(0.75f * sign));
  }
  EXPECT_EQ(recorder.stray_peaks, 0);
}

TEST_F(QnAudioMixerTest, EveryTypeButZeroMixesShorts) {
  for (const int type : {1, 7}) {
    const auto shorts = static_cast<QnMixSampleType>(type);
    ShortRecorder recorder(2);
    QnAudioMixer mixer(48000, 2, shorts, &recorder);
    CountedInput input(48000, 2, shorts);
    Push<short>(&input, 4800, 20000, -32768);
    mixer.AddInput(&input);
    RunBlocks(&mixer, 1);
    EXPECT_THAT(recorder.blocks.at(0).planes[0], Each(20000));
    EXPECT_THAT(recorder.blocks.at(0).planes[1], Each(-32768));
    EXPECT_THAT(recorder.blocks.at(0).peaks, ElementsAre(1.0f));
  }
}

TEST_F(QnAudioMixerTest, RunsWithoutACallback) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  CountedInput input(48000, 2, kQnMixSampleFloat);
  Push<float>(&input, 4800, 0.25f, 0.25f);
  mixer.AddInput(&input);
  RunBlocks(&mixer, 2);
  EXPECT_EQ(input.soruce()->PopFrontSamples(nullptr, 4800), 0u) << "its samples were mixed and discarded";
}

TEST_F(QnAudioMixerTest, HoldsOneReferenceOnAnInput) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  CountedInput input(48000, 2, kQnMixSampleFloat);
  mixer.AddInput(&input);
  EXPECT_EQ(input.calls, "+");
  mixer.AddInput(&input);
  EXPECT_EQ(input.calls, "+") << "adding it twice changes nothing";
  mixer.RemoveInput(&input);
  EXPECT_EQ(input.calls, "+-");
  mixer.RemoveInput(&input);
  EXPECT_EQ(input.calls, "+-");
  mixer.AddInput(&input);
  mixer.RemoveInput(&input);
  EXPECT_EQ(input.calls, "+-+-");
}

// While it is being referenced it is not in the list yet.
TEST_F(QnAudioMixerTest, ReferencesAnInputFirst) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  CountedInput input(48000, 2, kQnMixSampleFloat);
  bool known = true;
  input.on_add_ref = [&] {
    mixer.RemoveInput(&input);  // It would drop a reference if the input were in the list.
    known = input.calls != "+";
  };
  mixer.AddInput(&input);
  EXPECT_FALSE(known);
  EXPECT_EQ(input.calls, "+");
  mixer.RemoveInput(&input);
  EXPECT_EQ(input.calls, "+-");
}

TEST_F(QnAudioMixerTest, RemoveOfAnUnknownInputLeavesItsCount) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  CountedInput input(48000, 2, kQnMixSampleFloat);
  CountedInput added(48000, 2, kQnMixSampleFloat);
  mixer.AddInput(&added);
  mixer.RemoveInput(&input);
  EXPECT_EQ(input.calls, "");
  EXPECT_EQ(added.calls, "+");
}

TEST_F(QnAudioMixerTest, ReleasesAnInputLast) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  auto input = std::make_unique<CountedInput>(48000, 2, kQnMixSampleFloat);
  CountedInput* const raw = input.get();
  bool enabled = true;
  raw->on_release = [&] {
    enabled = raw->soruce()->enabled();
    mixer.RemoveInput(raw);  // It is out of the list: its reference is not dropped twice.
    EXPECT_EQ(raw->calls, "+-");
    const auto gone = std::move(input);  // Deleted here, as a count of zero would.
  };
  mixer.AddInput(raw);
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(3));
  mixer.RemoveInput(raw);
  EXPECT_FALSE(enabled) << "the mixer was done with it";
  EXPECT_EQ(input, nullptr);
  mixer.RemoveInput(raw);  // No more than an unknown address.
  mixer.Stop();
}

TEST_F(QnAudioMixerTest, DestroyedWithInputsLeavesThemTheirReference) {
  CountedInput input(48000, 2, kQnMixSampleFloat);
  {
    QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
    mixer.AddInput(&input);
  }
  EXPECT_EQ(input.calls, "+");
  {
    QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
    mixer.AddInput(&input);
    ASSERT_TRUE(mixer.Start());
    EXPECT_TRUE(input.soruce()->enabled());
  }
  EXPECT_EQ(input.calls, "++");
  EXPECT_FALSE(input.soruce()->enabled()) << "it is not mixed any more";
}

TEST_F(QnAudioMixerTest, DestructorStopsARunningMixer) {
  FloatRecorder recorder;
  {
    QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &recorder);
    ASSERT_TRUE(mixer.Start());
    ASSERT_TRUE(fake_clock::WaitForSleeps(3));
  }
  EXPECT_EQ(fake_clock::Sleeps().size(), recorder.blocks.size());
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(QnAudioMixerTest, IgnoresNullInputs) {
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, nullptr);
  mixer.AddInput(nullptr);
  mixer.RemoveInput(nullptr);
  RunBlocks(&mixer, 1);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(QnAudioMixerTest, InputsOfARunningMixerAreMixedAtOnceAndUntilRemoved) {
  FloatRecorder recorder(1);
  QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, &recorder);
  CountedInput input(48000, 1, kQnMixSampleFloat);
  // The mixer stands in a sleep while the host acts.
  Event step(false);
  fake_clock::SetHook([&](const fake_clock::Sleep&) { step.Wait(); });
  const auto next_block = [&] {
    const std::size_t sleeps = fake_clock::Sleeps().size();
    step.Signal();
    EXPECT_TRUE(fake_clock::WaitForSleeps(sleeps + 1));
  };
  ASSERT_TRUE(mixer.Start());
  ASSERT_TRUE(fake_clock::WaitForSleeps(1));
  next_block();
  mixer.AddInput(&input);
  EXPECT_TRUE(input.soruce()->enabled());
  Push<float>(&input, 9600, 0.5f, 0);
  next_block();
  mixer.RemoveInput(&input);
  EXPECT_FALSE(input.soruce()->enabled());
  next_block();
  fake_clock::SetHook(nullptr);
  step.Signal();
  mixer.Stop();
  ASSERT_GE(recorder.blocks.size(), 3u);
  EXPECT_THAT(recorder.blocks[0].peaks, ElementsAre(0.0f));
  EXPECT_THAT(recorder.blocks[1].peaks, ElementsAre(0.5f));
  EXPECT_THAT(recorder.blocks[2].peaks, ElementsAre(0.0f));
}

TEST_F(QnAudioMixerTest, InputsThatDoNotMatchAreMixedWithoutHarm) {
  FloatRecorder recorder(2);
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &recorder);
  CountedInput other_type(48000, 2, kQnMixSampleShort);
  CountedInput other_rate(8000, 2, kQnMixSampleFloat);
  CountedInput more_channels(48000, 8, kQnMixSampleFloat);
  CountedInput inert(0, 2, kQnMixSampleFloat);
  Push<short>(&other_type, 4800, 0, 0);
  Push<float>(&other_rate, 800, 0.25f, 0.25f);
  for (CountedInput* input : {&other_type, &other_rate, &more_channels, &inert}) mixer.AddInput(input);
  RunBlocks(&mixer, 3);
  EXPECT_EQ(recorder.blocks.at(0).planes[0][799], 0.25f);
  for (CountedInput* input : {&other_type, &other_rate, &more_channels, &inert}) mixer.RemoveInput(input);
}

TEST_F(QnAudioMixerTest, FloatsFitIntoAMixerOfShorts) {
  ShortRecorder recorder(2);
  QnAudioMixer mixer(48000, 2, kQnMixSampleShort, &recorder);
  CountedInput floats(48000, 2, kQnMixSampleFloat);
  Push<float>(&floats, 4800, 0, 0);
  mixer.AddInput(&floats);
  RunBlocks(&mixer, 2);
  EXPECT_THAT(recorder.blocks.at(0).planes[0], testing::Each(0));
  mixer.RemoveInput(&floats);
}

TEST_F(QnAudioMixerTest, InputsAreNeitherAddedNorRemovedInACallback) {
  FloatRecorder recorder;
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &recorder);
  CountedInput added(48000, 2, kQnMixSampleFloat);
  CountedInput refused(48000, 2, kQnMixSampleFloat);
  mixer.AddInput(&added);
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count != 1) return;
    mixer.AddInput(&refused);
    mixer.RemoveInput(&added);
  };
  RunBlocks(&mixer, 2);
  EXPECT_EQ(added.calls, "+");
  EXPECT_EQ(refused.calls, "");
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error,
                                           "[QnAudioMixer] AddInput was called in a callback of its own mixer: it is "
                                           "ignored"},
                          LogCapture::Line{Logger::Level::Error,
                                           "[QnAudioMixer] RemoveInput was called in a callback of its own mixer: it "
                                           "is ignored"}));
  mixer.RemoveInput(&added);
}

TEST_F(QnAudioMixerTest, IsInertWithoutARateAndWithTooManyChannels) {
  for (const auto& [rate, channels] : std::vector<std::pair<unsigned int, unsigned int>>{{0, 2}, {48000, 9}}) {
    log_.Clear();
    FloatRecorder recorder;
    QnAudioMixer mixer(rate, channels, kQnMixSampleFloat, &recorder);
    EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                           "[AudioMixer] no mixer of " + std::to_string(rate) +
                                                               " Hz and " + std::to_string(channels) + " channels"}));
    CountedInput input(48000, 2, kQnMixSampleFloat);
    mixer.AddInput(&input);
    EXPECT_FALSE(mixer.Start());
    mixer.Stop();
    mixer.RemoveInput(&input);
    EXPECT_EQ(input.calls, "+-");
    EXPECT_TRUE(recorder.blocks.empty());
  }
}

TEST_F(QnAudioMixerTest, StopInACallbackIsFinishedByALaterCall) {
  FloatRecorder recorder;
  QnAudioMixer mixer(48000, 2, kQnMixSampleFloat, &recorder);
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count == 2) mixer.Stop();
  };
  ASSERT_TRUE(mixer.Start());
  const std::string error =
      "Stop was called on the audio mixer's thread, which cannot wait for itself: it ends after this block; call "
      "Stop again from another thread";
  ASSERT_TRUE(log_.WaitFor(Logger::Level::Error, error));
  mixer.Stop();
  EXPECT_EQ(recorder.blocks.size(), 2u);
  EXPECT_EQ(log_.Lines().size(), 1u);
}

// Mixers that drive each other in their callbacks: each knows that a block of its is under way, be it the host's or its
// thread's.
TEST_F(QnAudioMixerTest, KnowsItsOwnBlockBehindAnothersCallback) {
  for (const bool has_thread : {false, true}) {
    log_.Clear();
    fake_clock::Reset();
    FloatRecorder outer_recorder;
    FloatRecorder inner_recorder;
    QnAudioMixer outer(48000, 1, kQnMixSampleFloat, &outer_recorder);
    QnAudioMixer inner(48000, 1, kQnMixSampleFloat, &inner_recorder);
    outer_recorder.on_samples = [&](void**, std::size_t count) { EXPECT_TRUE(count > 1 || inner.MixBlock(0)); };
    inner_recorder.on_samples = [&](void**, std::size_t) {
      EXPECT_FALSE(outer.MixBlock(0));
      outer.Stop();
      EXPECT_FALSE(outer.Start());
    };
    if (has_thread) {
      ASSERT_TRUE(outer.Start());
      ASSERT_TRUE(fake_clock::WaitForSleeps(1));
      ASSERT_TRUE(log_.WaitFor(Logger::Level::Error,
                               "Start was called on the audio mixer's thread after Stop: it ends after this block; "
                               "call Start from another thread"));
    } else {
      EXPECT_TRUE(outer.MixBlock(0));
    }
    outer.Stop();
    EXPECT_EQ(outer_recorder.blocks.size(), 1u);
    EXPECT_EQ(inner_recorder.blocks.size(), 1u);
    EXPECT_EQ(log_.Lines().size(), 3u);
  }
}

TEST_F(QnAudioMixerTest, MixesBlocksAgainAfterItsThreadHasEnded) {
  FloatRecorder recorder;
  QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, &recorder);
  recorder.on_samples = [&](void**, std::size_t count) {
    if (count == 1) mixer.Stop();
  };
  ASSERT_TRUE(mixer.Start());
  while (log_.Lines().empty()) std::this_thread::yield();
  EXPECT_TRUE(mixer.MixBlock(7)) << "it waits for the thread's last block";
  ASSERT_EQ(recorder.blocks.size(), 2u);
  EXPECT_EQ(recorder.blocks[1].timestamp_ns, 7u);
  EXPECT_EQ(recorder.blocks[1].thread, std::this_thread::get_id());
}

TEST_F(QnAudioMixerTest, DestroyedWhileDrivenLetsGoOfItsInputs) {
  CountedInput input(48000, 1, kQnMixSampleFloat);
  {
    QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
    mixer.AddInput(&input);
    ASSERT_TRUE(mixer.StartDriven());
    EXPECT_TRUE(input.soruce()->enabled());
  }
  EXPECT_FALSE(input.soruce()->enabled());
  EXPECT_EQ(input.calls, "+");
}

// A mixer that is deleted in its callback is left behind rather than taken away under its thread. That leaks, so it
// happens in a process of its own, which ends without a look at its leaks.
TEST_F(QnAudioMixerTest, DestroyedInItsCallbackIsLeftBehind) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        struct Host : QnAudioMixer::Callback {
          void OnMixSamples(void** planes, unsigned int frames, unsigned long long) override {
            ++blocks;
            delete mixer;
            static_cast<float*>(planes[0])[frames - 1] = 1;  // The planes are still there.
          }
          void OnMixPeak(float) override { ++peaks; }
          QnAudioMixer* mixer = nullptr;
          int blocks = 0;
          int peaks = 0;
        };
        auto input = MakeRef<RefCounted<QnAudioInput>>(48000u, 1u, kQnMixSampleFloat);
        AudioMixSource* const source = input->soruce();
        Host host;
        host.mixer = new QnAudioMixer(48000, 1, kQnMixSampleFloat, &host);
        host.mixer->AddInput(input);
        input = nullptr;  // The mixer's reference is the last one.
        if (!host.mixer->Start()) std::_Exit(1);
        const bool told =
            log_.WaitFor(Logger::Level::Error, "[QnAudioMixer] destroyed in its own callback: it is left behind");
        // Nobody can wait for that thread. It makes no second block: that would ask for a second sleep.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (source->enabled() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
        const bool ended = fake_clock::Sleeps().size() == 1 && host.blocks == 1 && host.peaks == 0;
        std::_Exit(told && ended && !source->enabled() ? 0 : 2);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(QnAudioMixerTest, DestroyedInTheCallbackOfMixBlockIsLeftBehind) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        struct Host : QnAudioMixer::Callback {
          void OnMixSamples(void** planes, unsigned int frames, unsigned long long) override {
            ++blocks;
            delete mixer;
            static_cast<float*>(planes[0])[frames - 1] = 1;  // The planes are still there.
          }
          void OnMixPeak(float) override { ++peaks; }
          QnAudioMixer* mixer = nullptr;
          int blocks = 0;
          int peaks = 0;
        };
        auto input = MakeRef<RefCounted<QnAudioInput>>(48000u, 1u, kQnMixSampleFloat);
        Host host;
        host.mixer = new QnAudioMixer(48000, 1, kQnMixSampleFloat, &host);
        host.mixer->AddInput(input);
        const bool mixed = host.mixer->MixBlock(0);
        const bool ended = host.blocks == 1 && host.peaks == 0 && !input->soruce()->enabled();
        std::_Exit(mixed && ended && log_.Lines().size() == 1 ? 0 : 2);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
