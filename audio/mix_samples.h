// The arithmetic of mixing: pure functions over planes of samples, float or 16-bit, apart from the thread that runs
// them.
//
// Threads: any; what is shared is the caller's to guard. Nothing here allocates, logs or fails.
#ifndef QUARN_AUDIO_MIX_SAMPLES_H_
#define QUARN_AUDIO_MIX_SAMPLES_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "foundation/integer_math.h"

// a + b, saturated: to -1 ... 1 for float, to the range of the type for short. A NaN passes through, the one of `a`
// where both are. Kept: C1.
template <typename T>
T AddAndNormaliz(T a, T b);

template <>
inline float AddAndNormaliz<float>(float a, float b) {
  // Which NaN the sum of two of them is depends on their order in the instruction, and the compiler may swap them. So b
  // counts only where a is a number.
  const float sum = a + (std::isnan(a) ? 0.0f : b);
  if (sum < -1.0f) return -1.0f;
  if (sum > 1.0f) return 1.0f;
  return sum;
}

template <>
inline short AddAndNormaliz<short>(short a, short b) {
  return static_cast<short>(std::clamp(int{a} + int{b}, -32768, 32767));
}

// The larger magnitude. For float it is b's if that compares larger, else a's: so a NaN in `b` does not count, and one
// in `a` stays, without its sign. For short it is at most 32767, which is what -32768 counts as.
template <typename T>
T AbsMax(T a, T b);

template <>
inline float AbsMax<float>(float a, float b) {
  const float abs_a = std::fabs(a);
  const float abs_b = std::fabs(b);
  return abs_b > abs_a ? abs_b : abs_a;
}

template <>
inline short AbsMax<short>(short a, short b) {
  const int abs_a = a < 0 ? -int{a} : int{a};
  const int abs_b = b < 0 ? -int{b} : int{b};
  return static_cast<short>(std::min(std::max(abs_a, abs_b), 32767));
}

// A gain that changes evenly from sample to sample until, `left` samples after the first, it is `to`.
struct GainRamp {
  bool IsUnity() const { return to == 1.0f && step == 0.0f; }
  // The ramp as it goes on after so many samples.
  GainRamp After(std::size_t frames) const { return {to, step, left - static_cast<std::int32_t>(frames)}; }

  float to = 1.0f;
  float step = 0.0f;
  std::int32_t left = 0;
};

// The gain of the ramp's sample `i`. Nothing here is fused: see CMakeLists.txt.
inline float GainAt(const GainRamp& ramp, std::size_t i) {
  return ramp.to + ramp.step * static_cast<float>(ramp.left - static_cast<std::int32_t>(i));
}

// The sample with a gain of 0 and up: for short rounded to the nearest, to the even one of two, and saturated. With a
// gain of 0 it is silence, whatever it was.
template <typename T>
T Scale(T sample, float gain);

template <>
inline float Scale<float>(float sample, float gain) {
  return gain != 0.0f ? sample * gain : 0.0f;
}

template <>
inline short Scale<short>(short sample, float gain) {
  return static_cast<short>(std::lrint(std::clamp(static_cast<float>(sample) * gain, -32768.0f, 32767.0f)));
}

// The sum of squares of a plane of floats is made of eight: that of every eighth sample, each from its own start. So it
// is the same sum wherever eight are added at a time.
constexpr std::size_t kSquareLanes = 8;

// What a sample adds to it. A NaN adds nothing.
inline double Square(float sample) {
  const double number = std::isnan(sample) ? 0.0 : static_cast<double>(sample);
  return number * number;
}

// The eight, with the samples of the plane from `first` on that are not in them yet.
inline double SumSquares(double (&lanes)[kSquareLanes], const float* plane, std::size_t first, std::size_t frames) {
  for (std::size_t i = first; i < frames; ++i) lanes[i % kSquareLanes] += Square(plane[i]);
  double sum = 0.0;
  for (const double lane : lanes) sum += lane;
  return sum;
}

// dst[c][i] = AddAndNormaliz(dst[c][i], src[c][i]) for every frame of the first `channels` planes. It saturates at
// every addition, so what several sources mix to depends on their order (Kept: C35). A plane of `src` is the same as
// that of `dst` or does not overlap it.
//
// Specialisations do not follow the build's visibility: they say that they stay inside.
template <typename T>
void MixSample(T** dst, T** src, unsigned int frames, unsigned int channels);

template <>
[[gnu::visibility("hidden")]] void MixSample<float>(float** dst, float** src, unsigned int frames,
                                                    unsigned int channels);
template <>
[[gnu::visibility("hidden")]] void MixSample<short>(short** dst, short** src, unsigned int frames,
                                                    unsigned int channels);

// AbsMax folded over every sample of the first `channels` planes, from 0. No sample that is NaN counts, so the peak is
// never one.
template <typename T>
T CalcPeak(T** planes, unsigned int frames, unsigned int channels);

template <>
[[gnu::visibility("hidden")]] float CalcPeak<float>(float** planes, unsigned int frames, unsigned int channels);
template <>
[[gnu::visibility("hidden")]] short CalcPeak<short>(short** planes, unsigned int frames, unsigned int channels);

// What CalcPeak gave as a linear level, 0 to 1.
template <typename T>
float AudioPeak(T peak);

template <>
inline float AudioPeak<float>(float peak) {
  return std::min(peak, 1.0f);
}

template <>
inline float AudioPeak<short>(short peak) {
  return std::min(static_cast<float>(peak) / 32767.0f, 1.0f);
}

// How long that many frames last, in nanoseconds. A rate of 0 is a division fault.
constexpr unsigned long long audio_frames_to_ns(unsigned long sample_rate, unsigned long long frames) {
  return util_mul_div64(frames, 1000000000, sample_rate);
}

#endif  // QUARN_AUDIO_MIX_SAMPLES_H_
