// The loops of the mix arithmetic, one set for each kind of processor. Every set gives bit for bit what the plain one
// gives, not-a-numbers, infinities, signed zeros and denormals included.
#ifndef QUARN_AUDIO_MIX_SAMPLES_VARIANTS_H_
#define QUARN_AUDIO_MIX_SAMPLES_VARIANTS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/mix_samples.h"

// Over one plane, or one of each source. No alignment is asked for beyond that of the sample.
struct MixSampleVariant {
  const char* name;
  // Whether this processor has the instructions. Nothing else of a variant may run where it has not.
  bool (*runs_here)();
  // dst[i] = AddAndNormaliz(dst[i], src[i]) for each plane of `sources`, one after another. None overlaps dst; the only
  // one may be the same.
  void (*mix_float)(float* dst, const float* const* sources, std::size_t count, std::size_t frames);
  void (*mix_short)(short* dst, const short* const* sources, std::size_t count, std::size_t frames);
  // AbsMax folded over the plane, from 0.
  float (*peak_float)(const float* plane, std::size_t frames);
  short (*peak_short)(const short* plane, std::size_t frames);
  // dst[i] = Scale(src[i], GainAt(ramp, i)). The two are the same or do not overlap.
  void (*scale_float)(float* dst, const float* src, std::size_t frames, const GainRamp& ramp);
  void (*scale_short)(short* dst, const short* src, std::size_t frames, const GainRamp& ramp);
  // The sum of the samples' squares: for float that of SumSquares.
  double (*squares_float)(const float* plane, std::size_t frames);
  std::uint64_t (*squares_short)(const short* plane, std::size_t frames);
};

// The loops as they read, which are the definition.
extern const MixSampleVariant kPlainMixSamples;
#if defined(__SSE2__)
#define QUARN_MIX_SAMPLES_X86
extern const MixSampleVariant kSse2MixSamples;
extern const MixSampleVariant kAvx2MixSamples;
#endif

// Those that this processor runs: the plain one first, the fastest last.
std::vector<const MixSampleVariant*> RunnableMixSampleVariants();

// The last of them, which MixSample and CalcPeak use.
const MixSampleVariant& FastestMixSampleVariant();

#endif  // QUARN_AUDIO_MIX_SAMPLES_VARIANTS_H_
