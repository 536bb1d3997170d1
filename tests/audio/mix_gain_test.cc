#include "audio/mix_gain.h"

#include <gtest/gtest.h>

namespace {

constexpr unsigned int kFrames = 400;

TEST(MixGainTest, IsOneUntilItIsSet) {
  MixGain gain;
  EXPECT_EQ(gain.gain(), 1.0f);
  EXPECT_FALSE(gain.muted());
  EXPECT_TRUE(gain.NextBlock(kFrames).IsUnity());
  EXPECT_TRUE(gain.NextBlock(kFrames).IsUnity());
}

TEST(MixGainTest, GoesFromWhereTheLastBlockEndedToWhatIsWantedNow) {
  MixGain gain;
  gain.NextBlock(kFrames);
  gain.Set(0.25f);
  gain.Set(0.5f);
  const GainRamp down = gain.NextBlock(kFrames);
  EXPECT_FLOAT_EQ(GainAt(down, 0), 1.0f - 0.5f / kFrames) << "it begins with the first step";
  EXPECT_EQ(GainAt(down, kFrames - 1), 0.5f) << "and ends with the last";
  gain.SetMuted(true);
  const GainRamp out = gain.NextBlock(kFrames);
  EXPECT_FLOAT_EQ(GainAt(out, kFrames / 2 - 1), 0.25f);
  EXPECT_EQ(GainAt(out, kFrames - 1), 0.0f);
  EXPECT_EQ(gain.gain(), 0.5f);
  gain.SetMuted(false);
  EXPECT_EQ(GainAt(gain.NextBlock(kFrames), kFrames - 1), 0.5f);
  const GainRamp steady = gain.NextBlock(kFrames);
  EXPECT_EQ(GainAt(steady, 0), 0.5f);
  EXPECT_FALSE(steady.IsUnity());
}

TEST(MixGainTest, BeginsWithWhatIsWanted) {
  MixGain gain;
  gain.Set(0.5f);
  EXPECT_EQ(GainAt(gain.NextBlock(kFrames), 0), 0.5f);
  gain.Set(1.0f);
  gain.Rest();
  EXPECT_TRUE(gain.NextBlock(kFrames).IsUnity());
}

TEST(MixGainTest, ABlockOfOneFrameArrivesAtOnce) {
  MixGain gain;
  gain.NextBlock(1);
  gain.Set(0.5f);
  EXPECT_EQ(GainAt(gain.NextBlock(1), 0), 0.5f);
}

}  // namespace
