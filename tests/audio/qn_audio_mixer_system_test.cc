// A public mixer without memory and without a thread, with a system that counts and refuses.
#include <quarn/qn_audio_mixer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "audio/audio_mix_source.h"
#include "tests/audio/audio_system.h"
#include "tests/support/log_capture.h"

namespace {

using audio_system::CountedInput;
using audio_system::refuse_threads;
using audio_system::RefuseNew;
using testing::ElementsAre;

using QnAudioMixerSystemTest = audio_system::Test;

TEST_F(QnAudioMixerSystemTest, IsInertWithoutMemory) {
  CountedInput input(48000, 1, kQnMixSampleFloat);
  int refused = 0;
  while (RefuseNew(refused, [&] {
    QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
    if (!audio_system::NewFailed()) return;
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

}  // namespace
