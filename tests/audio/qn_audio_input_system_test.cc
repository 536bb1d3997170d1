// An input without memory, with a system that counts and refuses.
#include <quarn/qn_audio_input.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quarn/qn_audio_mixer.h>

#include "tests/audio/audio_system.h"
#include "tests/support/log_capture.h"

namespace {

using audio_system::CountedInput;
using audio_system::RefuseNew;
using testing::ElementsAre;

using QnAudioInputSystemTest = audio_system::Test;

TEST_F(QnAudioInputSystemTest, IsInertWithoutMemory) {
  int refused = 0;
  while (RefuseNew(refused, [&] {
    CountedInput input(48000, 1, kQnMixSampleFloat);
    if (!audio_system::NewFailed()) return;
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
  EXPECT_EQ(refused, 1) << "the private object; the rings' memory comes from elsewhere";
}

}  // namespace
