// The memory and the locks of a source, with a system that counts and refuses.
#include "audio/audio_mix_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "tests/audio/audio_system.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/log_capture.h"

namespace {

using audio_system::Calls;
using audio_system::calls;
using audio_system::mapping_sizes;
using audio_system::mappings_until_failure;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

using AudioMixSourceSystemTest = audio_system::Test;

TEST_F(AudioMixSourceSystemTest, HasEightRingsOfTenSecondsWhateverItsChannels) {
  for (const unsigned int channels : {0u, 1u, 8u}) {
    std::vector<std::size_t> sizes;
    mapping_sizes = &sizes;
    AudioMixSource floats(11025, channels, kInternalSampleFloat);
    AudioMixSource unknown(11025, channels, static_cast<InternalSampleType>(2));
    EXPECT_THAT(sizes, testing::AllOf(SizeIs(8), Each(110250 * 4)));
    sizes.clear();
    AudioMixSource shorts(11025, channels, kInternalSampleShort);
    EXPECT_THAT(sizes, testing::AllOf(SizeIs(8), Each(110250 * 2)));
    mapping_sizes = nullptr;
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
  EXPECT_EQ(calls.mappings, before.mappings);
  EXPECT_EQ(calls.locks, before.locks + 100 + 79);
}

TEST_F(AudioMixSourceSystemTest, IsInertWithoutMemory) {
  const std::vector<float> samples(4800, 0.5f);
  const void* pushed[] = {samples.data(), samples.data()};
  for (int ring = 0; ring < 8; ++ring) {
    log_.Clear();
    mappings_until_failure = ring;
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

}  // namespace
