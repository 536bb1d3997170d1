// Frame rates, and the points of time at which frames stand.
#ifndef QUARN_GRAPHICS_FRAME_GRID_H_
#define QUARN_GRAPHICS_FRAME_GRID_H_

#include <cstdint>

// Frames per second. Of a size and an alignment for an atomic.
struct alignas(8) FrameRate {
  static constexpr std::uint32_t kHighest = 1'000'000'000;  // Frames a second: a nanosecond each.
  static constexpr std::uint32_t kLongestPeriodSeconds = 3600;

  // Frames whose period is cut to whole nanoseconds.
  static FrameRate OfFps(std::uint32_t fps);
  // The fraction in lowest terms. False where it is no rate from one frame in kLongestPeriodSeconds to kHighest a
  // second.
  static bool OfFraction(std::uint32_t numerator, std::uint32_t denominator, FrameRate* rate);

  bool operator==(const FrameRate& other) const {
    return numerator == other.numerator && denominator == other.denominator;
  }
  bool operator!=(const FrameRate& other) const { return !(*this == other); }

  // Whole frames per second, to the nearest, at least 1.
  std::uint32_t fps() const;

  std::uint32_t numerator = 30;
  std::uint32_t denominator = 0;  // 0 for OfFps; else the fraction is exact.
};

// Points of time, in ns, that lie one period apart from a first one on, each rounded to the nearest nanosecond: however
// many there are, none is further than that from where it belongs. Holds for 292 years.
class FrameGrid {
 public:
  FrameGrid() : FrameGrid(0, FrameRate()) {}
  FrameGrid(std::uint64_t start, const FrameRate& rate);

  std::uint64_t start() const { return start_; }
  // The period, to the nearest.
  std::uint64_t interval() const { return Length(1); }
  // The time of point `number`, counted from 0.
  std::uint64_t TimeOf(std::uint64_t number) const { return start_ + Length(number); }
  // The number of the last point at or before `time`; 0 before the start.
  std::uint64_t PointAt(std::uint64_t time) const;
  // The time `periods` periods after `time`: a point where `time` is one.
  std::uint64_t After(std::uint64_t time, std::uint64_t periods) const;

 private:
  // How long that many periods are, to the nearest.
  std::uint64_t Length(std::uint64_t periods) const;

  std::uint64_t start_;
  // The period is numerator_ / denominator_ ns.
  std::uint64_t numerator_;
  std::uint64_t denominator_;
};

#endif  // QUARN_GRAPHICS_FRAME_GRID_H_
