// The plain loops, and the choice among them and the faster ones.
#include "audio/mix_samples.h"

#include "audio/mix_samples_variants.h"

namespace {

template <typename T>
void MixPlanes(T* dst, const T* const* sources, std::size_t count, std::size_t frames) {
  for (std::size_t source = 0; source < count; ++source) {
    for (std::size_t i = 0; i < frames; ++i) dst[i] = AddAndNormaliz<T>(dst[i], sources[source][i]);
  }
}

template <typename T>
T PlanePeak(const T* plane, std::size_t frames) {
  T peak = 0;
  for (std::size_t i = 0; i < frames; ++i) peak = AbsMax<T>(peak, plane[i]);
  return peak;
}

template <typename T>
void ScalePlane(T* dst, const T* src, std::size_t frames, const GainRamp& ramp) {
  for (std::size_t i = 0; i < frames; ++i) dst[i] = Scale<T>(src[i], GainAt(ramp, i));
}

double SquaresFloat(const float* plane, std::size_t frames) {
  double lanes[kSquareLanes] = {};
  return SumSquares(lanes, plane, 0, frames);
}

std::uint64_t SquaresShort(const short* plane, std::size_t frames) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < frames; ++i) sum += static_cast<std::uint64_t>(int{plane[i]} * int{plane[i]});
  return sum;
}

bool Always() { return true; }

// The plain one first, the fastest last.
constexpr const MixSampleVariant* kVariants[] = {
    &kPlainMixSamples,
#if defined(QUARN_MIX_SAMPLES_X86)
    &kSse2MixSamples,
    &kAvx2MixSamples,
#endif
};

const MixSampleVariant& FindFastest() {
  const MixSampleVariant* fastest = &kPlainMixSamples;
  for (const MixSampleVariant* variant : kVariants) {
    if (variant->runs_here()) fastest = variant;
  }
  return *fastest;
}

}  // namespace

const MixSampleVariant kPlainMixSamples = {
    "plain",          Always,           MixPlanes<float>,  MixPlanes<short>,
    PlanePeak<float>, PlanePeak<short>, ScalePlane<float>, ScalePlane<short>,
    SquaresFloat,     SquaresShort,
};

std::vector<const MixSampleVariant*> RunnableMixSampleVariants() {
  std::vector<const MixSampleVariant*> runnable;
  for (const MixSampleVariant* variant : kVariants) {
    if (variant->runs_here()) runnable.push_back(variant);
  }
  return runnable;
}

const MixSampleVariant& FastestMixSampleVariant() {
  static const MixSampleVariant& fastest = FindFastest();
  return fastest;
}

template <>
void MixSample<float>(float** dst, float** src, unsigned int frames, unsigned int channels) {
  const MixSampleVariant& variant = FastestMixSampleVariant();
  for (unsigned int c = 0; c < channels; ++c) variant.mix_float(dst[c], src + c, 1, frames);
}

template <>
void MixSample<short>(short** dst, short** src, unsigned int frames, unsigned int channels) {
  const MixSampleVariant& variant = FastestMixSampleVariant();
  for (unsigned int c = 0; c < channels; ++c) variant.mix_short(dst[c], src + c, 1, frames);
}

// The peak of the planes' peaks is the peak of all samples: none of them is NaN, so their order does not matter.
template <>
float CalcPeak<float>(float** planes, unsigned int frames, unsigned int channels) {
  const MixSampleVariant& variant = FastestMixSampleVariant();
  float peak = 0.0f;
  for (unsigned int c = 0; c < channels; ++c) peak = AbsMax<float>(peak, variant.peak_float(planes[c], frames));
  return peak;
}

template <>
short CalcPeak<short>(short** planes, unsigned int frames, unsigned int channels) {
  const MixSampleVariant& variant = FastestMixSampleVariant();
  short peak = 0;
  for (unsigned int c = 0; c < channels; ++c) peak = AbsMax<short>(peak, variant.peak_short(planes[c], frames));
  return peak;
}
