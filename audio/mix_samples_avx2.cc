// The loops of the mix arithmetic with AVX2. Each function says that it is compiled for it, so that no other one is.
#include "audio/mix_samples_variants.h"

#if defined(QUARN_MIX_SAMPLES_X86)

#include <immintrin.h>

#include "audio/mix_samples.h"

#define QUARN_AVX2 __attribute__((target("avx2")))

namespace {

bool HasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}

// As AddAndNormaliz. The sum of two NaNs is the first one's in the instruction, whose operands the compiler would be
// free to swap. The maximum and the minimum answer their second operand when either is NaN, so a NaN passes both.
QUARN_AVX2 __m256 Add(__m256 a, __m256 b) {
  __m256 sum;
  asm("vaddps %2, %1, %0" : "=x"(sum) : "x"(a), "xm"(b));
  return _mm256_min_ps(_mm256_set1_ps(1.0f), _mm256_max_ps(_mm256_set1_ps(-1.0f), sum));
}

// As AbsMax with `peak` first, where that is not NaN: a NaN among the samples leaves the peak as it is.
QUARN_AVX2 __m256 Fold(__m256 peak, __m256 samples) {
  return _mm256_max_ps(_mm256_andnot_ps(_mm256_set1_ps(-0.0f), samples), peak);
}

// As AbsMax: 0 - x saturates, which makes 32767 of -32768.
QUARN_AVX2 __m256i Fold(__m256i peak, __m256i samples) {
  return _mm256_max_epi16(peak, _mm256_max_epi16(samples, _mm256_subs_epi16(_mm256_setzero_si256(), samples)));
}

QUARN_AVX2 __m256i Load(const short* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
QUARN_AVX2 void Store(short* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

QUARN_AVX2 __m256i Add(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
QUARN_AVX2 __m256 Load(const float* p) { return _mm256_loadu_ps(p); }
QUARN_AVX2 void Store(float* p, __m256 v) { _mm256_storeu_ps(p, v); }

// Keeps a piece of the mix in registers until all sources are added: several at a time, so that one addition need not
// wait for another's result.
template <class T>
QUARN_AVX2 void Mix(T* dst, const T* const* sources, std::size_t count, std::size_t frames) {
  constexpr std::size_t kWidth = 32 / sizeof(T);
  std::size_t i = 0;
  for (; i + 4 * kWidth <= frames; i += 4 * kWidth) {
    auto sum0 = Load(dst + i);
    auto sum1 = Load(dst + i + kWidth);
    auto sum2 = Load(dst + i + 2 * kWidth);
    auto sum3 = Load(dst + i + 3 * kWidth);
    for (std::size_t source = 0; source < count; ++source) {
      const T* const src = sources[source] + i;
      sum0 = Add(sum0, Load(src));
      sum1 = Add(sum1, Load(src + kWidth));
      sum2 = Add(sum2, Load(src + 2 * kWidth));
      sum3 = Add(sum3, Load(src + 3 * kWidth));
    }
    Store(dst + i, sum0);
    Store(dst + i + kWidth, sum1);
    Store(dst + i + 2 * kWidth, sum2);
    Store(dst + i + 3 * kWidth, sum3);
  }
  for (; i + kWidth <= frames; i += kWidth) {
    auto sum = Load(dst + i);
    for (std::size_t source = 0; source < count; ++source) sum = Add(sum, Load(sources[source] + i));
    Store(dst + i, sum);
  }
  for (; i < frames; ++i) {
    for (std::size_t source = 0; source < count; ++source) dst[i] = AddAndNormaliz<T>(dst[i], sources[source][i]);
  }
}

QUARN_AVX2 float PeakFloat(const float* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 8;
  // Several at a time, so that one need not wait for another's result.
  __m256 peak0 = _mm256_setzero_ps();
  __m256 peak1 = peak0;
  __m256 peak2 = peak0;
  __m256 peak3 = peak0;
  std::size_t i = 0;
  for (; i + 4 * kWidth <= frames; i += 4 * kWidth) {
    peak0 = Fold(peak0, _mm256_loadu_ps(plane + i));
    peak1 = Fold(peak1, _mm256_loadu_ps(plane + i + kWidth));
    peak2 = Fold(peak2, _mm256_loadu_ps(plane + i + 2 * kWidth));
    peak3 = Fold(peak3, _mm256_loadu_ps(plane + i + 3 * kWidth));
  }
  float lanes[kWidth];
  _mm256_storeu_ps(lanes, Fold(Fold(peak0, peak1), Fold(peak2, peak3)));
  float peak = 0.0f;
  for (const float lane : lanes) peak = AbsMax<float>(peak, lane);
  for (; i < frames; ++i) peak = AbsMax<float>(peak, plane[i]);
  return peak;
}

QUARN_AVX2 short PeakShort(const short* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 16;
  __m256i peak0 = _mm256_setzero_si256();
  __m256i peak1 = peak0;
  std::size_t i = 0;
  for (; i + 2 * kWidth <= frames; i += 2 * kWidth) {
    peak0 = Fold(peak0, Load(plane + i));
    peak1 = Fold(peak1, Load(plane + i + kWidth));
  }
  short lanes[kWidth];
  Store(lanes, Fold(peak0, peak1));
  short peak = 0;
  for (const short lane : lanes) peak = AbsMax<short>(peak, lane);
  for (; i < frames; ++i) peak = AbsMax<short>(peak, plane[i]);
  return peak;
}

// As GainAt, of eight samples.
QUARN_AVX2 __m256 Gains(const GainRamp& ramp, __m256i left) {
  return _mm256_add_ps(_mm256_set1_ps(ramp.to), _mm256_mul_ps(_mm256_set1_ps(ramp.step), _mm256_cvtepi32_ps(left)));
}

QUARN_AVX2 __m256i LeftOf(const GainRamp& ramp) {
  return _mm256_sub_epi32(_mm256_set1_epi32(ramp.left), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

QUARN_AVX2 void ScaleFloat(float* dst, const float* src, std::size_t frames, const GainRamp& ramp) {
  constexpr std::size_t kWidth = 8;
  __m256i left = LeftOf(ramp);
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m256 gains = Gains(ramp, left);
    const __m256 heard = _mm256_cmp_ps(gains, _mm256_setzero_ps(), _CMP_NEQ_UQ);
    Store(dst + i, _mm256_and_ps(_mm256_mul_ps(Load(src + i), gains), heard));
    left = _mm256_sub_epi32(left, _mm256_set1_epi32(kWidth));
  }
  for (; i < frames; ++i) dst[i] = Scale<float>(src[i], GainAt(ramp, i));
}

// As Scale, of eight samples that have been made wider. The conversion rounds to the nearest.
QUARN_AVX2 __m256i ScaleWide(__m128i samples, __m256 gains) {
  const __m256 scaled = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(samples)), gains);
  return _mm256_cvtps_epi32(_mm256_min_ps(_mm256_max_ps(scaled, _mm256_set1_ps(-32768.0f)), _mm256_set1_ps(32767.0f)));
}

QUARN_AVX2 void ScaleShort(short* dst, const short* src, std::size_t frames, const GainRamp& ramp) {
  constexpr std::size_t kWidth = 16;
  __m256i left = LeftOf(ramp);
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m256i samples = Load(src + i);
    const __m256i low = ScaleWide(_mm256_castsi256_si128(samples), Gains(ramp, left));
    const __m256i high = ScaleWide(_mm256_extracti128_si256(samples, 1),
                                   Gains(ramp, _mm256_sub_epi32(left, _mm256_set1_epi32(kWidth / 2))));
    // Packing interleaves the halves of the two.
    Store(dst + i, _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), 0xd8));
    left = _mm256_sub_epi32(left, _mm256_set1_epi32(kWidth));
  }
  for (; i < frames; ++i) dst[i] = Scale<short>(src[i], GainAt(ramp, i));
}

QUARN_AVX2 __m256d AddSquares(__m256d sum, __m128 samples) {
  const __m256d wide = _mm256_cvtps_pd(samples);
  return _mm256_add_pd(sum, _mm256_mul_pd(wide, wide));
}

QUARN_AVX2 double SquaresFloat(const float* plane, std::size_t frames) {
  __m256d low = _mm256_setzero_pd();
  __m256d high = low;
  std::size_t i = 0;
  for (; i + kSquareLanes <= frames; i += kSquareLanes) {
    __m256 samples = Load(plane + i);
    samples = _mm256_and_ps(samples, _mm256_cmp_ps(samples, samples, _CMP_ORD_Q));
    low = AddSquares(low, _mm256_castps256_ps128(samples));
    high = AddSquares(high, _mm256_extractf128_ps(samples, 1));
  }
  double lanes[kSquareLanes];
  _mm256_storeu_pd(lanes, low);
  _mm256_storeu_pd(lanes + 4, high);
  return SumSquares(lanes, plane, i, frames);
}

// Two squares are added in 32 bits without a sign, which -32768 fills.
QUARN_AVX2 std::uint64_t SquaresShort(const short* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 16;
  const __m256i zero = _mm256_setzero_si256();
  __m256i sum = zero;
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m256i samples = Load(plane + i);
    const __m256i squares = _mm256_madd_epi16(samples, samples);
    sum = _mm256_add_epi64(
        sum, _mm256_add_epi64(_mm256_unpacklo_epi32(squares, zero), _mm256_unpackhi_epi32(squares, zero)));
  }
  std::uint64_t lanes[4];
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(lanes), sum);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3] + kPlainMixSamples.squares_short(plane + i, frames - i);
}

}  // namespace

const MixSampleVariant kAvx2MixSamples = {"avx2",    HasAvx2,    Mix<float>, Mix<short>,   PeakFloat,
                                          PeakShort, ScaleFloat, ScaleShort, SquaresFloat, SquaresShort};

#endif  // QUARN_MIX_SAMPLES_X86
