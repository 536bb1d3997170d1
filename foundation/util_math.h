// Integer arithmetic on times.
#ifndef QUARN_FOUNDATION_UTIL_MATH_H_
#define QUARN_FOUNDATION_UTIL_MATH_H_

#include <cstdint>

// a * b / c without the overflow of a * b. A zero c is a division fault.
constexpr std::uint64_t util_mul_div64(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  return (a / c) * b + ((a % c) * b) / c;
}

#endif  // QUARN_FOUNDATION_UTIL_MATH_H_
