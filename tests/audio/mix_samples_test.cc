#include "audio/mix_samples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "audio/mix_samples_variants.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr short kShortMin = std::numeric_limits<short>::min();
constexpr short kShortMax = std::numeric_limits<short>::max();

std::uint32_t Bits(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

std::vector<std::uint32_t> Bits(const std::vector<float>& values) {
  std::vector<std::uint32_t> bits(values.size());
  if (!values.empty()) std::memcpy(bits.data(), values.data(), values.size() * sizeof(float));
  return bits;
}

std::vector<short> Bits(const std::vector<short>& values) { return values; }
short Bits(short value) { return value; }

// As a vector, so that a signalling not-a-number stays one.
std::vector<float> FloatsOfBits(const std::vector<std::uint32_t>& bits) {
  std::vector<float> values(bits.size());
  if (!bits.empty()) std::memcpy(values.data(), bits.data(), bits.size() * sizeof(float));
  return values;
}

// What the processor makes of a not-a-number that it computes with: a quiet one with the same payload, mostly.
std::uint32_t BitsOfQuiet(const volatile float& nan) { return Bits(nan + 0.0f); }

// Both signs of: zero, denormals, the neighbours of a half and of one, sums that overflow, infinity, and not-a-numbers,
// signalling and quiet, told apart by their payloads.
const std::vector<std::uint32_t>& EdgeBits() {
  static const std::vector<std::uint32_t> bits = [] {
    std::vector<std::uint32_t> all;
    for (const std::uint32_t magnitude :
         {0x00000000u, 0x00000001u, 0x00012345u, 0x007fffffu, 0x00800000u, 0x33800000u, 0x3effffffu,
          0x3f000000u, 0x3f000001u, 0x3f7fffffu, 0x3f800000u, 0x3f800001u, 0x40000000u, 0x7f7fffffu,
          0x7f800000u, 0x7f800001u, 0x7fabcdefu, 0x7fc00000u, 0x7fc00001u, 0x7fffffffu}) {
      all.push_back(magnitude);
      all.push_back(magnitude | 0x80000000u);
    }
    return all;
  }();
  return bits;
}

const std::vector<short>& EdgeShorts() {
  static const std::vector<short> edges = {-32768, -32767, -32766, -16385, -16384, -16383, -256,  -255,  -2,    -1,
                                           0,      1,      2,      255,    256,    16383,  16384, 16385, 32766, 32767};
  return edges;
}

template <typename T>
std::vector<T> RandomSamples(std::size_t count, std::uint32_t seed);

// Any bits, one in four of the edges.
template <>
std::vector<float> RandomSamples<float>(std::size_t count, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<std::uint32_t> bits(count);
  for (std::uint32_t& b : bits) {
    const std::uint32_t choice = random();
    b = choice % 4 == 0 ? EdgeBits()[random() % EdgeBits().size()] : random();
  }
  return FloatsOfBits(bits);
}

template <>
std::vector<short> RandomSamples<short>(std::size_t count, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<short> samples(count);
  for (short& s : samples) {
    const std::uint32_t choice = random();
    s = choice % 4 == 0 ? EdgeShorts()[random() % EdgeShorts().size()] : static_cast<short>(random());
  }
  return samples;
}

// Every pair of edges, one of each pair in `a` and the other in `b`.
template <typename T>
struct Pairs {
  std::vector<T> a;
  std::vector<T> b;
};

Pairs<float> EdgePairs(float) {
  std::vector<std::uint32_t> a;
  std::vector<std::uint32_t> b;
  for (const std::uint32_t first : EdgeBits()) {
    for (const std::uint32_t second : EdgeBits()) {
      a.push_back(first);
      b.push_back(second);
    }
  }
  return {FloatsOfBits(a), FloatsOfBits(b)};
}

// Every value beside every edge.
Pairs<short> EdgePairs(short) {
  Pairs<short> pairs;
  for (int first = kShortMin; first <= kShortMax; ++first) {
    for (const short second : EdgeShorts()) {
      pairs.a.push_back(static_cast<short>(first));
      pairs.b.push_back(second);
    }
  }
  return pairs;
}

// Planes of samples and the pointers to them that the arithmetic takes. Pointers past the last plane are null.
template <typename T>
class Planes {
 public:
  Planes(std::initializer_list<std::vector<T>> samples) : Planes(std::vector<std::vector<T>>(samples)) {}
  explicit Planes(std::vector<std::vector<T>> samples) : samples_(std::move(samples)) {
    for (std::size_t c = 0; c < samples_.size(); ++c) pointers_.at(c) = samples_[c].data();
  }
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;
  T** pointers() { return pointers_.data(); }
  const std::vector<std::vector<T>>& samples() const { return samples_; }
  const std::vector<T>& operator[](std::size_t c) const { return samples_[c]; }

 private:
  std::vector<std::vector<T>> samples_;
  std::array<T*, 8> pointers_{};
};

template <typename T>
Planes<T> RandomPlanes(unsigned int frames, unsigned int channels, std::uint32_t seed) {
  std::vector<std::vector<T>> samples;
  for (unsigned int c = 0; c < channels; ++c) samples.push_back(RandomSamples<T>(frames, seed + c));
  return Planes<T>(std::move(samples));
}

template <typename T>
std::vector<T> Mixed(const std::vector<T>& a, const std::vector<T>& b) {
  std::vector<T> sum(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) sum[i] = AddAndNormaliz<T>(a[i], b[i]);
  return sum;
}

template <typename T>
T Folded(const std::vector<T>& samples, T peak = 0) {
  for (const T& sample : samples) peak = AbsMax<T>(peak, sample);
  return peak;
}

// --- AddAndNormaliz

TEST(AddAndNormalizTest, FloatSumsSaturateAtOne) {
  EXPECT_EQ(AddAndNormaliz<float>(0.25f, 0.5f), 0.75f);
  EXPECT_EQ(AddAndNormaliz<float>(0.75f, 0.75f), 1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(-0.75f, -0.75f), -1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(0.5f, 0.5f), 1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(-1.0f, 0.0f), -1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(3e38f, 3e38f), 1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(kInfinity, -1.0f), 1.0f);
  EXPECT_EQ(AddAndNormaliz<float>(-kInfinity, 1.0f), -1.0f);
}

TEST(AddAndNormalizTest, SamplesOutsideTheRangeAreNotClampedBeforeTheSum) {
  EXPECT_EQ(AddAndNormaliz<float>(4.0f, -3.5f), 0.5f);
}

TEST(AddAndNormalizTest, NanPassesThrough) {
  EXPECT_TRUE(std::isnan(AddAndNormaliz<float>(kNan, 1.0f)));
  EXPECT_TRUE(std::isnan(AddAndNormaliz<float>(1.0f, kNan)));
  EXPECT_TRUE(std::isnan(AddAndNormaliz<float>(kInfinity, -kInfinity)));
}

TEST(AddAndNormalizTest, TheNanOfTheFirstPassesWhereBothAre) {
  for (const float first : FloatsOfBits({0x7fc00001, 0xffc00002, 0x7f800003, 0xff800004})) {
    for (const float second : FloatsOfBits({0x7fc00005, 0xffc00006, 0x7f800007, 0xff800008})) {
      EXPECT_EQ(Bits(AddAndNormaliz<float>(first, second)), BitsOfQuiet(first)) << std::hex << Bits(second);
    }
    EXPECT_EQ(Bits(AddAndNormaliz<float>(first, kInfinity)), BitsOfQuiet(first));
    EXPECT_EQ(Bits(AddAndNormaliz<float>(kInfinity, first)), BitsOfQuiet(first));
  }
}

TEST(AddAndNormalizTest, ZerosKeepTheirSigns) {
  EXPECT_EQ(Bits(AddAndNormaliz<float>(-0.0f, -0.0f)), Bits(-0.0f));
  EXPECT_EQ(Bits(AddAndNormaliz<float>(-0.0f, 0.0f)), Bits(0.0f));
}

TEST(AddAndNormalizTest, ShortSumsSaturateAtTheLimitsOfTheType) {
  EXPECT_EQ(AddAndNormaliz<short>(1000, -3000), -2000);
  EXPECT_EQ(AddAndNormaliz<short>(20000, 20000), 32767);
  EXPECT_EQ(AddAndNormaliz<short>(-20000, -20000), -32768);
  EXPECT_EQ(AddAndNormaliz<short>(16384, 16383), 32767);
  EXPECT_EQ(AddAndNormaliz<short>(-16384, -16384), -32768);
  EXPECT_EQ(AddAndNormaliz<short>(kShortMax, kShortMin), -1);
}

// --- AbsMax

TEST(AbsMaxTest, GivesTheLargerMagnitude) {
  EXPECT_EQ(AbsMax<float>(0.25f, -0.5f), 0.5f);
  EXPECT_EQ(AbsMax<float>(-0.5f, 0.25f), 0.5f);
  EXPECT_EQ(AbsMax<float>(-3.0f, 2.0f), 3.0f);
  EXPECT_EQ(AbsMax<float>(1.0f, -kInfinity), kInfinity);
  EXPECT_EQ(Bits(AbsMax<float>(-0.0f, -0.0f)), Bits(0.0f));
  EXPECT_EQ(AbsMax<short>(100, -200), 200);
  EXPECT_EQ(AbsMax<short>(-200, 100), 200);
}

TEST(AbsMaxTest, ANanCountsOnlyAsTheFirst) {
  EXPECT_EQ(AbsMax<float>(-0.5f, kNan), 0.5f);
  EXPECT_EQ(Bits(AbsMax<float>(FloatsOfBits({0xffc00007})[0], 0.5f)), 0x7fc00007u);
}

TEST(AbsMaxTest, TheLowestShortCountsAsTheHighest) {
  EXPECT_EQ(AbsMax<short>(0, kShortMin), 32767);
  EXPECT_EQ(AbsMax<short>(kShortMin, 0), 32767);
  EXPECT_EQ(AbsMax<short>(kShortMin, kShortMin), 32767);
  EXPECT_EQ(AbsMax<short>(0, -32767), 32767);
}

// --- MixSample

TEST(MixSampleTest, SaturatesAtEveryAdditionSoThatTheOrderCounts) {
  Planes<float> high{{0.8f}};
  Planes<float> low{{-0.8f}};
  Planes<float> first{{0.0f}};
  for (Planes<float>* source : {&high, &high, &low}) MixSample<float>(first.pointers(), source->pointers(), 1, 1);
  EXPECT_FLOAT_EQ(first[0][0], 0.2f);
  Planes<float> second{{0.0f}};
  for (Planes<float>* source : {&high, &low, &high}) MixSample<float>(second.pointers(), source->pointers(), 1, 1);
  EXPECT_FLOAT_EQ(second[0][0], 0.8f);
}

TEST(MixSampleTest, TwoSourcesAtThreeQuartersMixToOne) {
  Planes<float> mix{std::vector<float>(2400), std::vector<float>(2400)};
  Planes<float> source{std::vector<float>(2400, 0.75f), std::vector<float>(2400, -0.75f)};
  MixSample<float>(mix.pointers(), source.pointers(), 2400, 2);
  MixSample<float>(mix.pointers(), source.pointers(), 2400, 2);
  EXPECT_THAT(mix[0], Each(1.0f));
  EXPECT_THAT(mix[1], Each(-1.0f));
  EXPECT_EQ(AudioPeak<float>(CalcPeak<float>(mix.pointers(), 2400, 2)), 1.0f);
}

TEST(MixSampleTest, ShortSourcesMixWithSaturation) {
  Planes<short> mix{std::vector<short>(2400)};
  Planes<short> source{std::vector<short>(2400, 20000)};
  MixSample<short>(mix.pointers(), source.pointers(), 2400, 1);
  MixSample<short>(mix.pointers(), source.pointers(), 2400, 1);
  EXPECT_THAT(mix[0], Each(32767));
  EXPECT_EQ(AudioPeak<short>(CalcPeak<short>(mix.pointers(), 2400, 1)), 1.0f);
}

TEST(MixSampleTest, TouchesNoSourceAndNothingPastTheFrames) {
  Planes<float> mix{{0.1f, 0.2f, 0.3f}};
  Planes<float> source{{0.5f, 0.5f, 0.5f}};
  MixSample<float>(mix.pointers(), source.pointers(), 2, 1);
  EXPECT_THAT(mix[0], ElementsAre(0.1f + 0.5f, 0.2f + 0.5f, 0.3f));
  EXPECT_THAT(source[0], Each(0.5f));
}

TEST(MixSampleTest, APlaneCanBeMixedIntoItself) {
  std::vector<float> samples(101, 0.25f);
  float* planes[] = {samples.data()};
  MixSample<float>(planes, planes, 101, 1);
  EXPECT_THAT(samples, Each(0.5f));
}

template <typename T>
class MixSampleOverPlanesTest : public testing::Test {};
using SampleTypes = testing::Types<float, short>;
TYPED_TEST_SUITE(MixSampleOverPlanesTest, SampleTypes);

TYPED_TEST(MixSampleOverPlanesTest, MixesAsManyChannelsAsItIsTold) {
  for (unsigned int channels = 0; channels <= 8; ++channels) {
    for (const unsigned int frames : {0u, 1u, 37u, 2400u}) {
      Planes<TypeParam> mix = RandomPlanes<TypeParam>(frames, 8, 1);
      Planes<TypeParam> source = RandomPlanes<TypeParam>(frames, channels, 2);
      const std::vector<std::vector<TypeParam>> before = mix.samples();
      MixSample<TypeParam>(mix.pointers(), source.pointers(), frames, channels);
      for (unsigned int c = 0; c < 8; ++c) {
        const std::vector<TypeParam> expected = c < channels ? Mixed(before[c], source[c]) : before[c];
        EXPECT_EQ(Bits(mix[c]), Bits(expected)) << channels << " channels, " << frames << " frames, channel " << c;
      }
    }
  }
}

TYPED_TEST(MixSampleOverPlanesTest, MixesMoreFramesThanSixteenBitsCount) {
  constexpr unsigned int kFrames = 2 * 65536 + 3;
  Planes<TypeParam> mix = RandomPlanes<TypeParam>(kFrames, 2, 3);
  Planes<TypeParam> source = RandomPlanes<TypeParam>(kFrames, 2, 5);
  const std::vector<std::vector<TypeParam>> before = mix.samples();
  MixSample<TypeParam>(mix.pointers(), source.pointers(), kFrames, 2);
  EXPECT_TRUE(Bits(mix[0]) == Bits(Mixed(before[0], source[0])));
  EXPECT_TRUE(Bits(mix[1]) == Bits(Mixed(before[1], source[1])));
}

// --- CalcPeak

TEST(CalcPeakTest, IsZeroWithoutSamples) {
  Planes<float> planes{{0.5f}};
  EXPECT_EQ(Bits(CalcPeak<float>(planes.pointers(), 0, 1)), Bits(0.0f));
  EXPECT_EQ(Bits(CalcPeak<float>(planes.pointers(), 1, 0)), Bits(0.0f));
  Planes<short> shorts{{500}};
  EXPECT_EQ(CalcPeak<short>(shorts.pointers(), 0, 1), 0);
  EXPECT_EQ(CalcPeak<short>(shorts.pointers(), 1, 0), 0);
}

TEST(CalcPeakTest, IsTheLargestMagnitudeOfTheChannels) {
  Planes<float> planes{{0.25f, -0.5f}, {0.125f, 0.375f}, {-2.0f, 0.0f}};
  EXPECT_EQ(CalcPeak<float>(planes.pointers(), 2, 2), 0.5f);
  EXPECT_EQ(CalcPeak<float>(planes.pointers(), 2, 3), 2.0f);
  Planes<short> shorts{{25, -50}, {12, 37}, {-200, 0}};
  EXPECT_EQ(CalcPeak<short>(shorts.pointers(), 2, 2), 50);
  EXPECT_EQ(CalcPeak<short>(shorts.pointers(), 2, 3), 200);
}

TEST(CalcPeakTest, TheLowestShortPeaksAtOne) {
  Planes<short> planes{{0, kShortMin, 5}};
  EXPECT_EQ(CalcPeak<short>(planes.pointers(), 3, 1), 32767);
  EXPECT_EQ(AudioPeak<short>(CalcPeak<short>(planes.pointers(), 3, 1)), 1.0f);
}

TEST(CalcPeakTest, NoSampleThatIsNanCounts) {
  Planes<float> planes{{0.25f, kNan, -0.5f, kNan}, {kNan, kNan, kNan, kNan}};
  EXPECT_EQ(CalcPeak<float>(planes.pointers(), 4, 2), 0.5f);
  EXPECT_EQ(CalcPeak<float>(planes.pointers() + 1, 4, 1), 0.0f);
}

TEST(CalcPeakTest, SilenceOfEitherSignIsPositiveZero) {
  Planes<float> planes{std::vector<float>(2400, -0.0f)};
  EXPECT_EQ(Bits(CalcPeak<float>(planes.pointers(), 2400, 1)), Bits(0.0f));
}

template <typename T>
class CalcPeakOverPlanesTest : public testing::Test {};
TYPED_TEST_SUITE(CalcPeakOverPlanesTest, SampleTypes);

TYPED_TEST(CalcPeakOverPlanesTest, FoldsAsManyChannelsAsItIsTold) {
  for (unsigned int channels = 0; channels <= 8; ++channels) {
    for (const unsigned int frames : {0u, 1u, 37u, 2400u}) {
      Planes<TypeParam> planes = RandomPlanes<TypeParam>(frames, channels, 7);
      TypeParam expected = 0;
      for (unsigned int c = 0; c < channels; ++c) expected = Folded(planes[c], expected);
      EXPECT_EQ(Bits(CalcPeak<TypeParam>(planes.pointers(), frames, channels)), Bits(expected))
          << channels << " channels, " << frames << " frames";
    }
  }
}

TYPED_TEST(CalcPeakOverPlanesTest, FoldsMoreFramesThanSixteenBitsCount) {
  constexpr unsigned int kFrames = 2 * 65536 + 3;
  std::vector<TypeParam> samples(kFrames);
  samples.back() = 1;
  Planes<TypeParam> planes{samples};
  EXPECT_EQ(CalcPeak<TypeParam>(planes.pointers(), kFrames, 1), TypeParam{1});
  EXPECT_EQ(CalcPeak<TypeParam>(planes.pointers(), kFrames - 1, 1), TypeParam{0});
}

// --- GainAt and Scale

TEST(GainAtTest, GoesEvenlyToItsEnd) {
  const GainRamp ramp = {0.5f, 0.25f, 2};
  EXPECT_EQ(GainAt(ramp, 0), 1.0f);
  EXPECT_EQ(GainAt(ramp, 1), 0.75f);
  EXPECT_EQ(GainAt(ramp, 2), 0.5f);
  EXPECT_EQ(GainAt(ramp.After(1), 1), 0.5f);
  EXPECT_TRUE((GainRamp{1.0f, 0.0f, 99}.IsUnity()));
  EXPECT_FALSE((GainRamp{1.0f, 0.5f, 99}.IsUnity()));
  EXPECT_FALSE((GainRamp{0.5f, 0.0f, 99}.IsUnity()));
}

TEST(ScaleTest, MultipliesFloatsAndNothingIsLeftAtZero) {
  EXPECT_EQ(Scale<float>(-0.5f, 0.5f), -0.25f);
  EXPECT_EQ(Scale<float>(3.0f, 2.0f), 6.0f) << "what is added to saturates";
  EXPECT_TRUE(std::isnan(Scale<float>(kNan, 0.5f)));
  for (const float sample : {-1.0f, kNan, kInfinity, -kInfinity}) EXPECT_EQ(Bits(Scale<float>(sample, 0.0f)), 0u);
}

TEST(ScaleTest, ShortsAreRoundedToTheNearestAndSaturate) {
  EXPECT_EQ(Scale<short>(3, 0.5f), 2);
  EXPECT_EQ(Scale<short>(5, 0.5f), 2);
  EXPECT_EQ(Scale<short>(-3, 0.5f), -2);
  EXPECT_EQ(Scale<short>(100, 0.996f), 100);
  EXPECT_EQ(Scale<short>(kShortMax, 1.5f), kShortMax);
  EXPECT_EQ(Scale<short>(kShortMin, std::numeric_limits<float>::max()), kShortMin);
  EXPECT_EQ(Scale<short>(kShortMin, 1.0f), kShortMin);
  EXPECT_EQ(Scale<short>(kShortMin, 0.0f), 0);
}

// --- AudioPeak

TEST(AudioPeakTest, FloatIsAtMostOne) {
  EXPECT_EQ(AudioPeak<float>(0.0f), 0.0f);
  EXPECT_EQ(AudioPeak<float>(0.5f), 0.5f);
  EXPECT_EQ(AudioPeak<float>(1.0f), 1.0f);
  EXPECT_EQ(AudioPeak<float>(1.5f), 1.0f);
  EXPECT_EQ(AudioPeak<float>(kInfinity), 1.0f);
}

TEST(AudioPeakTest, ShortIsAShareOfTheHighest) {
  EXPECT_EQ(AudioPeak<short>(0), 0.0f);
  EXPECT_EQ(AudioPeak<short>(1), static_cast<float>(1 / 32767.0));
  EXPECT_EQ(AudioPeak<short>(16384), static_cast<float>(16384 / 32767.0));
  EXPECT_EQ(AudioPeak<short>(32766), static_cast<float>(32766 / 32767.0));
  EXPECT_EQ(AudioPeak<short>(32767), 1.0f);
}

// --- audio_frames_to_ns

TEST(AudioFramesToNsTest, GivesTheDurationRoundedDown) {
  EXPECT_EQ(audio_frames_to_ns(48000, 0), 0u);
  EXPECT_EQ(audio_frames_to_ns(48000, 1), 20833u);
  EXPECT_EQ(audio_frames_to_ns(48000, 2400), 50000000u);
  EXPECT_EQ(audio_frames_to_ns(44100, 2205), 50000000u);
  EXPECT_EQ(audio_frames_to_ns(22050, 1102), 49977324u);
  EXPECT_EQ(audio_frames_to_ns(2, 3), 1500000000u);
}

TEST(AudioFramesToNsTest, KeepsAYearOfFrames) {
  EXPECT_EQ(audio_frames_to_ns(48000, 1513728000000), 31536000000000000u);
}

// --- The variants: each gives bit for bit what one sample after another gives.

class MixSampleVariantTest : public testing::TestWithParam<const MixSampleVariant*> {
 protected:
  static void Mix(float* dst, const float* src, std::size_t frames) { GetParam()->mix_float(dst, &src, 1, frames); }
  static void Mix(short* dst, const short* src, std::size_t frames) { GetParam()->mix_short(dst, &src, 1, frames); }
  static void MixAll(float* dst, const std::vector<const float*>& sources, std::size_t frames) {
    GetParam()->mix_float(dst, sources.data(), sources.size(), frames);
  }
  static void MixAll(short* dst, const std::vector<const short*>& sources, std::size_t frames) {
    GetParam()->mix_short(dst, sources.data(), sources.size(), frames);
  }
  static float Peak(const float* plane, std::size_t frames) { return GetParam()->peak_float(plane, frames); }
  static short Peak(const short* plane, std::size_t frames) { return GetParam()->peak_short(plane, frames); }

  // Of any length up to 200, at any distance from an aligned address, with nothing before and after it written.
  template <typename T>
  static void MixesEveryLengthAndAlignment() {
    constexpr std::size_t kLongest = 200;
    constexpr std::size_t kStarts = 32 / sizeof(T);
    const std::vector<T> a = RandomSamples<T>(kLongest + 2 * kStarts, 11);
    const std::vector<T> b = RandomSamples<T>(kLongest + 2 * kStarts, 13);
    for (std::size_t frames = 0; frames <= kLongest; ++frames) {
      for (std::size_t start = 0; start < kStarts; ++start) {
        // The other plane starts elsewhere.
        const std::size_t other = (start * 5 + frames) % kStarts;
        std::vector<T> expected = a;
        for (std::size_t i = 0; i < frames; ++i) {
          expected[start + i] = AddAndNormaliz<T>(a[start + i], b[other + i]);
        }
        std::vector<T> mix = a;
        Mix(mix.data() + start, b.data() + other, frames);
        ASSERT_EQ(Bits(mix), Bits(expected)) << frames << " frames from " << start << " and " << other;
      }
    }
  }

  // One after another, each at a distance of its own from an aligned address.
  template <typename T>
  static void MixesSeveralSourcesInTheirOrder() {
    constexpr std::size_t kStarts = 32 / sizeof(T);
    for (std::size_t count = 0; count <= 17; ++count) {
      for (const std::size_t frames : {1, 3, 8, 15, 16, 31, 32, 33, 64, 95, 128, 200, 1201}) {
        std::vector<std::vector<T>> samples;
        std::vector<const T*> sources;
        const std::vector<T> before = RandomSamples<T>(frames + kStarts, 41);
        std::vector<T> expected = before;
        for (std::size_t source = 0; source < count; ++source) {
          samples.push_back(RandomSamples<T>(frames + kStarts, static_cast<std::uint32_t>(43 + source)));
          sources.push_back(samples.back().data() + source % kStarts);
          for (std::size_t i = 0; i < frames; ++i) expected[i] = AddAndNormaliz<T>(expected[i], sources.back()[i]);
        }
        std::vector<T> mix = before;
        MixAll(mix.data(), sources, frames);
        ASSERT_TRUE(Bits(mix) == Bits(expected)) << count << " sources of " << frames;
      }
    }
  }

  // The largest magnitude stands once at every place, between not-a-numbers and smaller ones; what stands before and
  // after the plane is larger and does not count.
  template <typename T>
  static void FindsThePeakAnywhere(const std::vector<T>& smaller, T peak, T outside) {
    constexpr std::size_t kStarts = 32 / sizeof(T);
    for (std::size_t frames = 1; frames <= 140; ++frames) {
      const std::size_t start = frames % kStarts;
      std::vector<T> samples(start + frames + kStarts, outside);
      for (std::size_t i = 0; i < frames; ++i) samples[start + i] = smaller[i % smaller.size()];
      for (std::size_t place = start; place < start + frames; ++place) {
        const T before = samples[place];
        samples[place] = peak;
        ASSERT_EQ(Bits(Peak(samples.data() + start, frames)), Bits(AbsMax<T>(0, peak)))
            << "at " << place - start << " of " << frames;
        samples[place] = before;
      }
    }
  }

  static void Scaled(float* dst, const float* src, std::size_t frames, const GainRamp& ramp) {
    GetParam()->scale_float(dst, src, frames, ramp);
  }
  static void Scaled(short* dst, const short* src, std::size_t frames, const GainRamp& ramp) {
    GetParam()->scale_short(dst, src, frames, ramp);
  }
  static double Squares(const float* plane, std::size_t frames) { return GetParam()->squares_float(plane, frames); }
  static std::uint64_t Squares(const short* plane, std::size_t frames) {
    return GetParam()->squares_short(plane, frames);
  }

  // On the way from one gain to another, or with the same; from another place, or in its own.
  template <typename T>
  static void ScalesEveryLengthAndAlignment() {
    constexpr std::size_t kLongest = 100;
    constexpr std::size_t kStarts = 32 / sizeof(T);
    constexpr float kHuge = std::numeric_limits<float>::max();
    const std::vector<T> samples = RandomSamples<T>(kLongest + 2 * kStarts, 37);
    for (const GainRamp& ramp :
         {GainRamp{1, 0, 0}, GainRamp{0, 0, 99}, GainRamp{0.3f, 0, 3}, GainRamp{7.3f, -0.07f, 99},
          GainRamp{0, 0.01f, 50}, GainRamp{0.1f, 1e-9f, 70}, GainRamp{0, kHuge / 128, 99}}) {
      for (std::size_t frames = 0; frames <= kLongest; ++frames) {
        for (std::size_t start = 0; start < kStarts; ++start) {
          const std::size_t other = (start * 5 + frames) % kStarts;
          std::vector<T> expected = samples;
          std::vector<T> in_place = samples;
          for (std::size_t i = 0; i < frames; ++i) {
            expected[start + i] = Scale<T>(samples[other + i], GainAt(ramp, i));
            in_place[start + i] = Scale<T>(samples[start + i], GainAt(ramp, i));
          }
          std::vector<T> scaled = samples;
          Scaled(scaled.data() + start, samples.data() + other, frames, ramp);
          ASSERT_TRUE(Bits(scaled) == Bits(expected)) << frames << " frames from " << start << " and " << other;
          scaled = samples;
          Scaled(scaled.data() + start, scaled.data() + start, frames, ramp);
          ASSERT_TRUE(Bits(scaled) == Bits(in_place)) << frames << " frames from " << start << ", in place";
        }
      }
    }
  }

  template <typename T>
  static void SquaresOfEveryLengthAndAlignment(const std::vector<T>& samples) {
    constexpr std::size_t kStarts = 32 / sizeof(T);
    for (std::size_t frames = 0; frames + kStarts <= samples.size(); ++frames) {
      for (std::size_t start = 0; start < kStarts; ++start) {
        const T* const plane = samples.data() + start;
        if constexpr (sizeof(T) == sizeof(float)) {
          ASSERT_EQ(Squares(plane, frames), kPlainMixSamples.squares_float(plane, frames))
              << frames << " from " << start;
        } else {
          ASSERT_EQ(Squares(plane, frames), kPlainMixSamples.squares_short(plane, frames))
              << frames << " from " << start;
        }
      }
    }
  }

  template <typename T>
  static void PeaksEveryLengthAndAlignment() {
    constexpr std::size_t kLongest = 200;
    constexpr std::size_t kStarts = 32 / sizeof(T);
    for (std::uint32_t seed = 17; seed < 21; ++seed) {
      const std::vector<T> samples = RandomSamples<T>(kLongest + kStarts, seed);
      for (std::size_t frames = 0; frames <= kLongest; ++frames) {
        for (std::size_t start = 0; start < kStarts; ++start) {
          const std::vector<T> plane(samples.begin() + start, samples.begin() + start + frames);
          ASSERT_EQ(Bits(Peak(samples.data() + start, frames)), Bits(Folded(plane)))
              << frames << " frames from " << start << ", seed " << seed;
        }
      }
    }
  }

  // In every lane, and in what is left over after the last full register.
  template <typename T>
  static void MixesEdgePairs(std::size_t starts) {
    const Pairs<T> pairs = EdgePairs(T{});
    const std::vector<T> expected = Mixed(pairs.a, pairs.b);
    for (std::size_t start = 0; start < starts; ++start) {
      std::vector<T> mix = pairs.a;
      Mix(mix.data(), pairs.b.data(), start);
      Mix(mix.data() + start, pairs.b.data() + start, mix.size() - start);
      ASSERT_TRUE(Bits(mix) == Bits(expected)) << "split at " << start;
    }
    std::vector<T> one_by_one = pairs.a;
    for (std::size_t i = 0; i < one_by_one.size(); ++i) Mix(&one_by_one[i], &pairs.b[i], 1);
    EXPECT_TRUE(Bits(one_by_one) == Bits(expected));
  }

  template <typename T>
  static void PeaksRunsOfOneEdge(const std::vector<T>& edges) {
    for (std::size_t edge = 0; edge < edges.size(); ++edge) {
      for (const std::size_t frames : {1, 7, 8, 15, 16, 31, 32, 33, 64, 65, 200}) {
        const std::vector<T> samples(frames, edges[edge]);
        EXPECT_EQ(Bits(Peak(samples.data(), frames)), Bits(Folded(samples))) << "edge " << edge << ", " << frames;
      }
    }
  }
};

TEST_P(MixSampleVariantTest, MixesFloatsOfEveryLengthAndAlignment) { MixesEveryLengthAndAlignment<float>(); }
TEST_P(MixSampleVariantTest, MixesShortsOfEveryLengthAndAlignment) { MixesEveryLengthAndAlignment<short>(); }
TEST_P(MixSampleVariantTest, MixesSeveralSourcesOfFloats) { MixesSeveralSourcesInTheirOrder<float>(); }
TEST_P(MixSampleVariantTest, MixesSeveralSourcesOfShorts) { MixesSeveralSourcesInTheirOrder<short>(); }
TEST_P(MixSampleVariantTest, PeaksFloatsOfEveryLengthAndAlignment) { PeaksEveryLengthAndAlignment<float>(); }
TEST_P(MixSampleVariantTest, PeaksShortsOfEveryLengthAndAlignment) { PeaksEveryLengthAndAlignment<short>(); }

TEST_P(MixSampleVariantTest, ScalesFloatsOfEveryLengthAndAlignment) { ScalesEveryLengthAndAlignment<float>(); }
TEST_P(MixSampleVariantTest, ScalesShortsOfEveryLengthAndAlignment) { ScalesEveryLengthAndAlignment<short>(); }

TEST_P(MixSampleVariantTest, SquaresFloatsOfEveryLengthAndAlignment) {
  SquaresOfEveryLengthAndAlignment<float>(RandomSamples<float>(200, 19));
  std::vector<float> quiet(200);
  for (std::size_t i = 0; i < quiet.size(); ++i) quiet[i] = static_cast<float>(i * 7919 % 1001) / 3000.0f;
  SquaresOfEveryLengthAndAlignment<float>(quiet);
}

TEST_P(MixSampleVariantTest, SquaresShortsOfEveryLengthAndAlignment) {
  SquaresOfEveryLengthAndAlignment<short>(RandomSamples<short>(200, 19));
  SquaresOfEveryLengthAndAlignment<short>(std::vector<short>(200, kShortMin));
}

TEST_P(MixSampleVariantTest, SumsSquares) {
  std::vector<float> floats(101, -0.5f);
  floats[50] = kNan;
  EXPECT_EQ(Squares(floats.data(), floats.size()), 25.0);
  floats[77] = -kInfinity;
  EXPECT_EQ(Squares(floats.data(), floats.size()), std::numeric_limits<double>::infinity());
  const std::vector<short> shorts(100003, kShortMin);
  EXPECT_EQ(Squares(shorts.data(), shorts.size()), 100003ull * 32768 * 32768);
}

TEST_P(MixSampleVariantTest, MixesEveryPairOfFloatEdges) { MixesEdgePairs<float>(32); }
TEST_P(MixSampleVariantTest, MixesEveryShortWithEveryEdge) { MixesEdgePairs<short>(1); }
TEST_P(MixSampleVariantTest, PeaksEveryFloatEdge) { PeaksRunsOfOneEdge(FloatsOfBits(EdgeBits())); }
TEST_P(MixSampleVariantTest, PeaksEveryShortEdge) { PeaksRunsOfOneEdge(EdgeShorts()); }

TEST_P(MixSampleVariantTest, FindsAFloatPeakAnywhere) {
  const std::vector<float> smaller = FloatsOfBits({0xbe800000, 0x7fc00001, 0x3e800000, 0xff800001, 0x80000000});
  FindsThePeakAnywhere<float>(smaller, 0.5f, kInfinity);
  FindsThePeakAnywhere<float>(smaller, -0.5f, kInfinity);
  FindsThePeakAnywhere<float>(smaller, -kInfinity, kNan);
}

TEST_P(MixSampleVariantTest, FindsADenormalPeakAmongZerosAndNans) {
  const std::vector<float> smaller = FloatsOfBits({0x00000000, 0xffc00001, 0x80000000, 0x00000001});
  FindsThePeakAnywhere<float>(smaller, -std::numeric_limits<float>::denorm_min() * 2, 1.0f);
}

TEST_P(MixSampleVariantTest, FindsAShortPeakAnywhere) {
  FindsThePeakAnywhere<short>({-100, 99, 0}, 101, 1000);
  FindsThePeakAnywhere<short>({-100, 99, 0}, -101, -1000);
  FindsThePeakAnywhere<short>({-100, 32766, 0}, kShortMin, 0);
}

TEST_P(MixSampleVariantTest, MixesAPlaneIntoItself) {
  const std::vector<float> before = RandomSamples<float>(203, 23);
  std::vector<float> samples = before;
  Mix(samples.data(), samples.data(), samples.size());
  EXPECT_EQ(Bits(samples), Bits(Mixed(before, before)));
}

TEST_P(MixSampleVariantTest, MixesALongPlaneOfRandomBits) {
  const std::vector<float> a = RandomSamples<float>(1000003, 29);
  const std::vector<float> b = RandomSamples<float>(1000003, 31);
  std::vector<float> mix = a;
  Mix(mix.data(), b.data(), mix.size());
  EXPECT_TRUE(Bits(mix) == Bits(Mixed(a, b)));
  EXPECT_EQ(Bits(Peak(mix.data(), mix.size())), Bits(Folded(mix)));
}

INSTANTIATE_TEST_SUITE_P(Runnable, MixSampleVariantTest, testing::ValuesIn(RunnableMixSampleVariants()),
                         [](const auto& variant) { return std::string(variant.param->name); });

TEST(MixSampleVariantsTest, ThePlainOneRunsEverywhereAndComesFirst) {
  EXPECT_EQ(RunnableMixSampleVariants().front(), &kPlainMixSamples);
}

TEST(MixSampleVariantsTest, TheLastIsUsed) {
  EXPECT_EQ(&FastestMixSampleVariant(), RunnableMixSampleVariants().back());
}

#if defined(QUARN_MIX_SAMPLES_X86)
TEST(MixSampleVariantsTest, ThoseOfTheProcessorAreThere) {
  std::vector<const MixSampleVariant*> expected = {&kPlainMixSamples, &kSse2MixSamples};
  if (__builtin_cpu_supports("avx2")) expected.push_back(&kAvx2MixSamples);
  EXPECT_EQ(RunnableMixSampleVariants(), expected);
}
#endif

}  // namespace
