#include "audio/mix_levels.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

template <class T>
QnAudioLevel LevelOf(const std::vector<T>& samples, unsigned int frames) {
  LevelMeter<T> meter;
  for (const T& sample : samples) meter.Add(FastestMixSampleVariant(), &sample, 1);
  return meter.LevelOf(frames);
}

TEST(LevelMeterTest, TellsShareOfFullScale) {
  const QnAudioLevel floats = LevelOf<float>({0.5f, -0.5f, 0.5f, -0.5f}, 4);
  EXPECT_EQ(floats.peak, 0.5f);
  EXPECT_EQ(floats.rms, 0.5f);
  const QnAudioLevel shorts = LevelOf<short>({32767, -32767}, 2);
  EXPECT_EQ(shorts.peak, 1.0f);
  EXPECT_EQ(shorts.rms, 1.0f);
}

TEST(LevelMeterTest, WhatWasNotAddedIsSilence) {
  const QnAudioLevel level = LevelOf<float>({-0.5f}, 4);
  EXPECT_EQ(level.peak, 0.5f);
  EXPECT_EQ(level.rms, 0.25f);
  EXPECT_EQ(LevelOf<float>({}, 4).rms, 0.0f);
  EXPECT_EQ(LevelOf<float>({}, 0).rms, 0.0f);
}

TEST(LevelMeterTest, IsAtMostOneAndNeverNan) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const float loud : {2.0f, std::numeric_limits<float>::max(), kInfinity, -kInfinity}) {
    const QnAudioLevel level = LevelOf<float>({loud, std::numeric_limits<float>::quiet_NaN()}, 2);
    EXPECT_EQ(level.peak, 1.0f);
    EXPECT_EQ(level.rms, 1.0f);
  }
  EXPECT_EQ(LevelOf<float>({std::numeric_limits<float>::quiet_NaN()}, 1).rms, 0.0f);
  EXPECT_EQ(LevelOf<short>({-32768}, 1).rms, 1.0f);
}

TEST(MixLevelsTest, IsWantedOnceSomebodyHasAsked) {
  MixLevels levels;
  EXPECT_FALSE(levels.wanted());
  EXPECT_EQ(levels.Ask(0).peak, 0.0f);
  EXPECT_TRUE(levels.wanted());
  levels.Set(7, {0.5f, 0.25f});
  EXPECT_EQ(levels.Ask(7).peak, 0.5f);
  EXPECT_EQ(levels.Ask(7).rms, 0.25f);
  EXPECT_EQ(levels.Ask(8).rms, 0.0f);
  levels.Silence();
  EXPECT_EQ(levels.Ask(7).peak, 0.0f);
}

}  // namespace
