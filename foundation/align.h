// Rounding of allocation sizes.
#ifndef QUARN_FOUNDATION_ALIGN_H_
#define QUARN_FOUNDATION_ALIGN_H_

#include <cstddef>

// The next multiple of 64 at or above `size`.
constexpr std::size_t AlignSize(std::size_t size) { return (size + 63) & ~static_cast<std::size_t>(63); }

#endif  // QUARN_FOUNDATION_ALIGN_H_
