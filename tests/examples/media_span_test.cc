// What is measured of media: once for each file, and from where these begin.
#include "studio/media_span.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "studio/sound_reader.h"
#include "tests/examples/example_program.h"

namespace studio {
namespace {

using MediaSpanTest = ExampleTest;

constexpr std::int64_t kMillisecond = 1000000;

// Takes `frames` off the time of each page of an Ogg file that has one, by which players know what to cut off.
void MovePages(const std::string& path, std::int64_t frames) {
  std::string ogg = ReadFile(path);
  const auto number = [&](std::size_t at, int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
      value |= static_cast<std::uint64_t>(static_cast<unsigned char>(ogg[at + i])) << 8 * i;
    return value;
  };
  const auto set = [&](std::size_t at, int bytes, std::uint64_t value) {
    for (int i = 0; i < bytes; ++i) ogg[at + i] = static_cast<char>(value >> 8 * i);
  };
  for (std::size_t page = 0; page + 27 <= ogg.size();) {
    const auto segments = static_cast<std::size_t>(number(page + 26, 1));
    std::size_t bytes = 27 + segments;
    for (std::size_t i = 0; i < segments; ++i) bytes += number(page + 27 + i, 1);
    if (const auto time = static_cast<std::int64_t>(number(page + 6, 8)); time > 0) {
      set(page + 6, 8, static_cast<std::uint64_t>(time - frames));
    }
    set(page + 22, 4, 0);
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(ogg[page + i])) << 24;
      for (int bit = 0; bit < 8; ++bit) sum = sum << 1 ^ (sum >> 31 ? 0x04c11db7u : 0);
    }
    set(page + 22, 4, sum);
    page += bytes;
  }
  std::ofstream(path, std::ios::binary) << ogg;
}

TEST_F(MediaSpanTest, AFileIsReadOnceAsLongAsItStays) {
  const auto make = [this](const std::string& seconds) {
    Ffmpeg("-f lavfi -i color=s=32x32:r=10:d=" + seconds + " -f lavfi -i sine=d=" + seconds + " -y clip.mkv");
  };
  make("1");
  int asked = 0;
  const auto goes_on = [&] { return ++asked > 0; };
  const auto length_ms = [&] { return MeasurePictures(Path("clip.mkv"), true, goes_on).length_ns / kMillisecond; };
  EXPECT_EQ(length_ms(), 1000);
  const int times = std::exchange(asked, 0);
  EXPECT_GT(times, 0);
  EXPECT_EQ(length_ms(), 1000);
  EXPECT_EQ(asked, 0);
  EXPECT_NEAR(static_cast<double>(MeasureSound(Path("clip.mkv"), {}, goes_on).length_ns) * 1e-9, 1, 0.05);
  EXPECT_GT(std::exchange(asked, 0), 0);
  make("2");
  // Left before its end is known.
  EXPECT_LT(MeasurePictures(Path("clip.mkv"), true, [&] { return ++asked < times; }).length_ns, 2000 * kMillisecond);
  EXPECT_EQ(length_ms(), 2000);
}

TEST_F(MediaSpanTest, APacketOfSoundAheadOfThePicturesMovesNothing) {
  EXPECT_EQ(VideoOriginNs(21 * kMillisecond, 0), 21 * kMillisecond);
  EXPECT_EQ(VideoOriginNs(50 * kMillisecond - 1, 0), 50 * kMillisecond - 1);
  EXPECT_EQ(VideoOriginNs(50 * kMillisecond, 0), 0);
  EXPECT_EQ(VideoOriginNs(51 * kMillisecond, 0), 0);
  EXPECT_EQ(VideoOriginNs(0, 21 * kMillisecond), 0);
  EXPECT_EQ(VideoOriginNs(AV_NOPTS_VALUE, 0), 0);
  EXPECT_EQ(VideoOriginNs(0, AV_NOPTS_VALUE), 0);
  // AAC begins with a packet that Matroska does not say to be none of the sound. A film is as long as the one that it
  // is made of, and shows the same.
  Ffmpeg("-f lavfi -i testsrc2=s=64x64:r=25:d=0.6,format=rgb24 -f lavfi -i sine=d=0.6 -c:v ffv1 -c:a aac clip.mkv");
  const std::vector<RgbFrame> of = Decode("clip.mkv", 64, 64);
  ASSERT_EQ(of.size(), 15u);
  Record({"--canvas", "64x64", "--fps", "25", "--duration", "auto", "--offline", "--video", "clip.mkv", "--codec",
          "ffv1", "--format", "rgba", "-o", "film.mkv"});
  const std::vector<RgbFrame> film = Decode("film.mkv", 64, 64);
  ASSERT_EQ(film.size(), of.size());
  for (std::size_t n = 0; n < of.size(); ++n) EXPECT_TRUE(film[n].rgb == of[n].rgb) << n;
}

TEST_F(MediaSpanTest, WhatOggCutsOffInFrontIsNotHeard) {
  // Silence, then a tone: all of the silence is cut off.
  Ffmpeg(
      "-f lavfi -i aevalsrc=if(gte(t\\,0.3)\\,0.5*sin(2763*t)\\,0):s=48000:d=1 -c:a libvorbis -q:a 6 "
      "-page_duration 400000 sound.ogg");
  MovePages(Path("sound.ogg"), 14400);
  const Sound sound{Path("sound.ogg")};
  SoundReader reader(sound, 0);
  EXPECT_NEAR(static_cast<double>(reader.LengthNs(sound)) * 1e-9, 0.7, 0.01);
  EXPECT_NEAR(static_cast<double>(MeasureSound(sound.file, {}).length_ns) * 1e-9, 0.7, 0.01);
  std::array<std::vector<float>, kSoundChannels> planes;
  for (auto& plane : planes) plane.resize(kSoundRate);
  float* const pointers[kSoundChannels] = {planes[0].data(), planes[1].data()};
  EXPECT_NEAR(reader.Read(pointers, kSoundRate), 33600, 100);
  const auto loudest = [&](int from, int to) {
    float peak = 0;
    for (int i = from; i < to; ++i) peak = std::max(peak, std::fabs(planes[0][static_cast<std::size_t>(i)]));
    return peak;
  };
  EXPECT_GT(loudest(0, 500), 0.2f);
  EXPECT_GT(loudest(33000, 33500), 0.2f);
}

}  // namespace
}  // namespace studio
