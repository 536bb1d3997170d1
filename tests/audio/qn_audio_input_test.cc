#include <quarn/qn_audio_input.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "audio/audio_mix_source.h"
#include "audio/mix_format.h"
#include "tests/support/log_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;

using Input = RefCounted<QnAudioInput>;

class QnAudioInputTest : public testing::Test {
 protected:
  // Pushes as many samples of `value` as make it ready, and returns what comes out.
  template <class T>
  std::vector<T> Pass(QnAudioInput* input, T value) {
    const std::vector<T> samples(2400, value);
    const void* pushed[] = {samples.data(), samples.data()};
    input->PushBackSamples(pushed, 2400, 1);
    std::vector<T> popped(3000);
    void* planes[] = {nullptr, popped.data()};
    popped.resize(input->soruce()->PopFrontSamples(planes, 3000));
    return popped;
  }

  LogCapture log_;
};

TEST_F(QnAudioInputTest, TypeZeroIsFloatAndEveryOtherIsShort) {
  EXPECT_EQ(ToInternalType(kQnMixSampleFloat), kInternalSampleFloat);
  EXPECT_EQ(ToInternalType(kQnMixSampleShort), kInternalSampleShort);
  EXPECT_EQ(ToInternalType(static_cast<QnMixSampleType>(7)), kInternalSampleShort);
  EXPECT_EQ(ToInternalType(static_cast<QnMixSampleType>(-1)), kInternalSampleShort);
}

TEST_F(QnAudioInputTest, PassesSamplesOfItsTypeOn) {
  const auto floats = MakeRef<Input>(48000u, 2u, kQnMixSampleFloat);
  EXPECT_THAT(Pass<float>(floats, 0.1f), testing::AllOf(testing::SizeIs(2400), Each(0.1f)));
  for (const int type : {1, 7}) {
    const auto shorts = MakeRef<Input>(48000u, 2u, static_cast<QnMixSampleType>(type));
    EXPECT_THAT(Pass<short>(shorts, -1234), testing::AllOf(testing::SizeIs(2400), Each(-1234)));
  }
}

TEST_F(QnAudioInputTest, PassesTheSequenceOn) {
  const auto input = MakeRef<Input>(48000u, 1u, kQnMixSampleFloat);
  const float sample = 0;
  const void* planes[] = {&sample};
  for (const unsigned long long sequence : {5ull, 5ull, 6ull, 5ull}) input->PushBackSamples(planes, 1, sequence);
  EXPECT_EQ(log_.Count(Logger::Level::Warn, "audio mix source new sequence "), 3u);
  EXPECT_EQ(log_.Lines().size(), 3u);
}

TEST_F(QnAudioInputTest, IgnoresNullPlanes) {
  const auto input = MakeRef<Input>(48000u, 1u, kQnMixSampleFloat);
  input->PushBackSamples(nullptr, 100, 1);
  const void* planes[] = {nullptr};
  input->PushBackSamples(planes, 100, 1);
  EXPECT_EQ(input->soruce()->PopFrontSamples(nullptr, 100), 0u);
}

TEST_F(QnAudioInputTest, OfNoRateIsInert) {
  const auto input = MakeRef<Input>(0u, 2u, kQnMixSampleFloat);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[AudioMixSource] no source of 0 Hz and 2 channels"}));
  EXPECT_TRUE(Pass<float>(input, 0.5f).empty());
  EXPECT_EQ(log_.Lines().size(), 1u);
}

TEST_F(QnAudioInputTest, OfTooManyChannelsIsInert) {
  const auto input = MakeRef<Input>(48000u, 9u, kQnMixSampleShort);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                         "[AudioMixSource] no source of 48000 Hz and 9 channels"}));
  EXPECT_TRUE(Pass<short>(input, 5).empty());
}

}  // namespace
