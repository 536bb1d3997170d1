// The clock of a device's frames. Any thread sets the rate and reads; the render thread says which frame is in hand.
#include "graphics/frame_clock.h"

#include "foundation/logger.h"

void FrameClock::SetFps(unsigned int fps) {
  // Above one frame a nanosecond the interval would be 0, and pacing divides by it.
  if (fps == 0 || fps > FrameRate::kHighest) {
    Logger::default_logger()->Warn("a frame rate of %u is refused: it must be 1 to %u; the rate stays %u", fps,
                                   FrameRate::kHighest, rate().fps());
    return;
  }
  rate_.store(FrameRate::OfFps(fps), std::memory_order_relaxed);
}

bool FrameClock::SetFrameRate(unsigned int numerator, unsigned int denominator) {
  FrameRate rate;
  if (!FrameRate::OfFraction(numerator, denominator, &rate)) {
    Logger::default_logger()->Warn(
        "a frame rate of %u/%u is refused: it must be 1 in %u seconds to %u in one; the rate stays %u", numerator,
        denominator, FrameRate::kLongestPeriodSeconds, FrameRate::kHighest, this->rate().fps());
    return false;
  }
  rate_.store(rate, std::memory_order_relaxed);
  return true;
}

void FrameClock::BeginFrame(std::uint64_t stamp, std::uint64_t grid_start) {
  stamp_.store(stamp, std::memory_order_relaxed);
  grid_start_.store(grid_start, std::memory_order_relaxed);
  output_.store(false, std::memory_order_relaxed);
}

void FrameClock::BeginStage() {
  if (output_.load(std::memory_order_relaxed)) BeginFrame(next_stamp_.load(std::memory_order_relaxed));
}

void FrameClock::BeginOutput(std::uint64_t stamp, unsigned int count) {
  BeginFrame(stamp);
  next_stamp_.store(FrameGrid(0, rate()).After(stamp, count), std::memory_order_relaxed);
  output_.store(true, std::memory_order_relaxed);
}
