// Frame rates and grids: arithmetic that fits into 64 bits.
#include "graphics/frame_grid.h"

#include <numeric>

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

}  // namespace

FrameRate FrameRate::OfFps(std::uint32_t fps) {
  FrameRate rate;
  rate.numerator = fps;
  return rate;
}

bool FrameRate::OfFraction(std::uint32_t numerator, std::uint32_t denominator, FrameRate* rate) {
  if (numerator == 0 || denominator == 0) return false;
  if (numerator > std::uint64_t{kHighest} * denominator) return false;
  if (denominator > std::uint64_t{kLongestPeriodSeconds} * numerator) return false;
  const std::uint32_t divisor = std::gcd(numerator, denominator);
  rate->numerator = numerator / divisor;
  rate->denominator = denominator / divisor;
  return true;
}

std::uint32_t FrameRate::fps() const {
  if (denominator == 0) return numerator;
  const std::uint64_t rounded = (std::uint64_t{numerator} + denominator / 2) / denominator;
  return rounded == 0 ? 1 : static_cast<std::uint32_t>(rounded);
}

FrameGrid::FrameGrid(std::uint64_t start, const FrameRate& rate) : start_(start) {
  if (rate.denominator == 0) {
    numerator_ = kNsPerSecond / rate.numerator;
    denominator_ = 1;
  } else {
    numerator_ = kNsPerSecond * rate.denominator;
    denominator_ = rate.numerator;
  }
}

// With periods = q * denominator + r the length is q * numerator + r * numerator / denominator, whose last part is cut
// into whole nanoseconds and the rest: no product has a factor that it could overflow with, for r, the rest and the
// denominator have 32 bits.
std::uint64_t FrameGrid::Length(std::uint64_t periods) const {
  const std::uint64_t r = periods % denominator_;
  const std::uint64_t whole = numerator_ / denominator_;
  const std::uint64_t rest = numerator_ % denominator_;
  return periods / denominator_ * numerator_ + r * whole + (r * rest + denominator_ / 2) / denominator_;
}

std::uint64_t FrameGrid::PointAt(std::uint64_t time) const {
  if (time <= start_) return 0;
  const std::uint64_t elapsed = time - start_;
  // A period has this many nanoseconds at least, so the point is none of those further on.
  std::uint64_t last = elapsed / (numerator_ / denominator_);
  if (denominator_ == 1) return last;
  std::uint64_t first = 0;
  while (first < last) {
    const std::uint64_t middle = last - (last - first) / 2;  // After `first`.
    if (Length(middle) <= elapsed) {
      first = middle;
    } else {
      last = middle - 1;
    }
  }
  return first;
}

std::uint64_t FrameGrid::After(std::uint64_t time, std::uint64_t periods) const {
  const std::uint64_t point = PointAt(time);
  return TimeOf(point) == time ? TimeOf(point + periods) : time + Length(periods);
}
