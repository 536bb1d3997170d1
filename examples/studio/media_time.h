// Times and counts that media files say. These may be any: all of them go through here before they are reckoned with.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_TIME_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_TIME_H_

#include <algorithm>
#include <cstdint>
#include <limits>

#include "studio/av.h"

namespace studio {

constexpr AVRational kNanoseconds = {1, 1000000000};

// What is further from a media's beginning, or lasts longer, counts as this, 36 years: a sum of seven such times is a
// number yet.
constexpr std::int64_t kLongestNs = std::int64_t{1} << 60;
// The same of the media's own clocks, which may count from anywhere: from 1970, for instance.
constexpr std::int64_t kLatestNs = (std::int64_t{1} << 62) - 1;
// What starts again lasts at least this long: containers round times to it.
constexpr std::int64_t kShortestPassNs = 1000000;

inline std::int64_t LimitedNs(std::int64_t ns) { return std::clamp(ns, -kLongestNs, kLongestNs); }

// The sum and the difference of any numbers, or what is nearest to them.
inline std::int64_t Plus(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}
inline std::int64_t Minus(std::int64_t a, std::int64_t b) {
  std::int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b > 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

// In other units, rounded. FFmpeg's function answers the smallest number where there is no room for what is right.
inline std::int64_t Rescaled(std::int64_t value, AVRational from, AVRational to) {
  const std::int64_t rescaled = av_rescale_q(value, from, to);
  return rescaled == std::numeric_limits<std::int64_t>::min() && value > 0 ? std::numeric_limits<std::int64_t>::max()
                                                                           : rescaled;
}

// A time of a stream on the media's own clock; AV_NOPTS_VALUE stays that.
inline std::int64_t MediaNs(std::int64_t pts, AVRational time_base) {
  return pts == AV_NOPTS_VALUE ? pts : std::clamp(Rescaled(pts, time_base, kNanoseconds), -kLatestNs, kLatestNs);
}
// How long something lasts.
inline std::int64_t DurationNs(std::int64_t length, AVRational time_base) {
  return LimitedNs(Rescaled(length, time_base, kNanoseconds));
}
// How much later one time of the media's own clock is than another.
inline std::int64_t SinceNs(std::int64_t later_ns, std::int64_t earlier_ns) {
  return LimitedNs(Minus(later_ns, earlier_ns));
}

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_TIME_H_
