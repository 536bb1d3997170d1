// Integer arithmetic on sizes and times.
#ifndef QUARN_FOUNDATION_INTEGER_MATH_H_
#define QUARN_FOUNDATION_INTEGER_MATH_H_

#include <cstddef>
#include <cstdint>

// The next multiple of 64 at or above `size`; 0 where there is none.
constexpr std::size_t AlignSize(std::size_t size) { return (size + 63) & ~static_cast<std::size_t>(63); }

// a * b / c without the overflow of a * b. A zero c is a division fault.
constexpr std::uint64_t util_mul_div64(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  return (a / c) * b + ((a % c) * b) / c;
}

#endif  // QUARN_FOUNDATION_INTEGER_MATH_H_
