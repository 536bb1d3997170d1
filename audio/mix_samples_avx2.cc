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

}  // namespace

const MixSampleVariant kAvx2MixSamples = {"avx2", HasAvx2, Mix<float>, Mix<short>, PeakFloat, PeakShort};

#endif  // QUARN_MIX_SAMPLES_X86
