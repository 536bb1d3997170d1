// The loops of the mix arithmetic with SSE2, which every 64-bit x86 processor has.
#include "audio/mix_samples_variants.h"

#if defined(QUARN_MIX_SAMPLES_X86)

#include <emmintrin.h>

#include "audio/mix_samples.h"

namespace {

bool Always() { return true; }

// As AddAndNormaliz. The sum of two NaNs is the first one's in the instruction, whose operands the compiler would be
// free to swap. The maximum and the minimum answer their second operand when either is NaN, so a NaN passes both.
__m128 Add(__m128 a, __m128 b) {
  asm("addps %1, %0" : "+x"(a) : "x"(b));
  return _mm_min_ps(_mm_set1_ps(1.0f), _mm_max_ps(_mm_set1_ps(-1.0f), a));
}

// As AbsMax with `peak` first, where that is not NaN: a NaN among the samples leaves the peak as it is.
__m128 Fold(__m128 peak, __m128 samples) { return _mm_max_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), samples), peak); }

// As AbsMax: 0 - x saturates, which makes 32767 of -32768.
__m128i Fold(__m128i peak, __m128i samples) {
  return _mm_max_epi16(peak, _mm_max_epi16(samples, _mm_subs_epi16(_mm_setzero_si128(), samples)));
}

__m128i Load(const short* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
void Store(short* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

__m128i Add(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
__m128 Load(const float* p) { return _mm_loadu_ps(p); }
void Store(float* p, __m128 v) { _mm_storeu_ps(p, v); }

// Keeps a piece of the mix in registers until all sources are added: several at a time, so that one addition need not
// wait for another's result.
template <class T>
void Mix(T* dst, const T* const* sources, std::size_t count, std::size_t frames) {
  constexpr std::size_t kWidth = 16 / sizeof(T);
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

float PeakFloat(const float* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 4;
  // Several at a time, so that one need not wait for another's result.
  __m128 peak0 = _mm_setzero_ps();
  __m128 peak1 = peak0;
  __m128 peak2 = peak0;
  __m128 peak3 = peak0;
  std::size_t i = 0;
  for (; i + 4 * kWidth <= frames; i += 4 * kWidth) {
    peak0 = Fold(peak0, _mm_loadu_ps(plane + i));
    peak1 = Fold(peak1, _mm_loadu_ps(plane + i + kWidth));
    peak2 = Fold(peak2, _mm_loadu_ps(plane + i + 2 * kWidth));
    peak3 = Fold(peak3, _mm_loadu_ps(plane + i + 3 * kWidth));
  }
  float lanes[kWidth];
  _mm_storeu_ps(lanes, Fold(Fold(peak0, peak1), Fold(peak2, peak3)));
  float peak = 0.0f;
  for (const float lane : lanes) peak = AbsMax<float>(peak, lane);
  for (; i < frames; ++i) peak = AbsMax<float>(peak, plane[i]);
  return peak;
}

short PeakShort(const short* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 8;
  __m128i peak0 = _mm_setzero_si128();
  __m128i peak1 = peak0;
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

// As GainAt, of four samples.
__m128 Gains(const GainRamp& ramp, __m128i left) {
  return _mm_add_ps(_mm_set1_ps(ramp.to), _mm_mul_ps(_mm_set1_ps(ramp.step), _mm_cvtepi32_ps(left)));
}

__m128i LeftOf(const GainRamp& ramp) { return _mm_sub_epi32(_mm_set1_epi32(ramp.left), _mm_setr_epi32(0, 1, 2, 3)); }

void ScaleFloat(float* dst, const float* src, std::size_t frames, const GainRamp& ramp) {
  constexpr std::size_t kWidth = 4;
  __m128i left = LeftOf(ramp);
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m128 gains = Gains(ramp, left);
    Store(dst + i, _mm_and_ps(_mm_mul_ps(Load(src + i), gains), _mm_cmpneq_ps(gains, _mm_setzero_ps())));
    left = _mm_sub_epi32(left, _mm_set1_epi32(kWidth));
  }
  for (; i < frames; ++i) dst[i] = Scale<float>(src[i], GainAt(ramp, i));
}

// As Scale, of four samples that have been made wider. The conversion rounds to the nearest.
__m128i ScaleWide(__m128i samples, __m128 gains) {
  const __m128 scaled = _mm_mul_ps(_mm_cvtepi32_ps(samples), gains);
  return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(scaled, _mm_set1_ps(-32768.0f)), _mm_set1_ps(32767.0f)));
}

void ScaleShort(short* dst, const short* src, std::size_t frames, const GainRamp& ramp) {
  constexpr std::size_t kWidth = 8;
  __m128i left = LeftOf(ramp);
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m128i samples = Load(src + i);
    const __m128i low = _mm_srai_epi32(_mm_unpacklo_epi16(samples, samples), 16);
    const __m128i high = _mm_srai_epi32(_mm_unpackhi_epi16(samples, samples), 16);
    const __m128i high_left = _mm_sub_epi32(left, _mm_set1_epi32(kWidth / 2));
    Store(dst + i, _mm_packs_epi32(ScaleWide(low, Gains(ramp, left)), ScaleWide(high, Gains(ramp, high_left))));
    left = _mm_sub_epi32(left, _mm_set1_epi32(kWidth));
  }
  for (; i < frames; ++i) dst[i] = Scale<short>(src[i], GainAt(ramp, i));
}

// The squares of the lower two, added.
__m128d AddSquares(__m128d sum, __m128 samples) {
  const __m128d wide = _mm_cvtps_pd(samples);
  return _mm_add_pd(sum, _mm_mul_pd(wide, wide));
}

double SquaresFloat(const float* plane, std::size_t frames) {
  __m128d sum01 = _mm_setzero_pd();
  __m128d sum23 = sum01;
  __m128d sum45 = sum01;
  __m128d sum67 = sum01;
  std::size_t i = 0;
  for (; i + kSquareLanes <= frames; i += kSquareLanes) {
    __m128 low = Load(plane + i);
    __m128 high = Load(plane + i + 4);
    low = _mm_and_ps(low, _mm_cmpord_ps(low, low));
    high = _mm_and_ps(high, _mm_cmpord_ps(high, high));
    sum01 = AddSquares(sum01, low);
    sum23 = AddSquares(sum23, _mm_movehl_ps(low, low));
    sum45 = AddSquares(sum45, high);
    sum67 = AddSquares(sum67, _mm_movehl_ps(high, high));
  }
  double lanes[kSquareLanes];
  _mm_storeu_pd(lanes, sum01);
  _mm_storeu_pd(lanes + 2, sum23);
  _mm_storeu_pd(lanes + 4, sum45);
  _mm_storeu_pd(lanes + 6, sum67);
  return SumSquares(lanes, plane, i, frames);
}

// Two squares are added in 32 bits without a sign, which -32768 fills.
std::uint64_t SquaresShort(const short* plane, std::size_t frames) {
  constexpr std::size_t kWidth = 8;
  const __m128i zero = _mm_setzero_si128();
  __m128i sum = zero;
  std::size_t i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const __m128i samples = Load(plane + i);
    const __m128i squares = _mm_madd_epi16(samples, samples);
    sum = _mm_add_epi64(sum, _mm_add_epi64(_mm_unpacklo_epi32(squares, zero), _mm_unpackhi_epi32(squares, zero)));
  }
  std::uint64_t lanes[2];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), sum);
  return lanes[0] + lanes[1] + kPlainMixSamples.squares_short(plane + i, frames - i);
}

}  // namespace

const MixSampleVariant kSse2MixSamples = {"sse2",    Always,     Mix<float>, Mix<short>,   PeakFloat,
                                          PeakShort, ScaleFloat, ScaleShort, SquaresFloat, SquaresShort};

#endif  // QUARN_MIX_SAMPLES_X86
