// What time the frames of a device have.
#ifndef QUARN_GRAPHICS_FRAME_CLOCK_H_
#define QUARN_GRAPHICS_FRAME_CLOCK_H_

#include <atomic>
#include <cstdint>

#include "graphics/frame_grid.h"

// The rate that a device is asked for, and the stamp of the frame that it makes. Shared by the device and its outputs,
// which may outlive it.
//
// Any thread sets and reads the rate, and reads the stamp. Whoever runs the frames says which frame is in hand.
class FrameClock {
 public:
  // Sets the rate. Refused, with a warning, where there is no such rate.
  void SetFps(unsigned int fps);
  bool SetFrameRate(unsigned int numerator, unsigned int denominator);
  FrameRate rate() const { return rate_.load(std::memory_order_relaxed); }

  // The stamp that outputs give the pictures of the frame in hand, or of the last one; 0 before the first.
  std::uint64_t stamp() const { return stamp_.load(std::memory_order_relaxed); }
  // Where the grid begins on which the stamps of the pictures lie.
  std::uint64_t grid_start() const { return grid_start_.load(std::memory_order_relaxed); }

  // Whether a loop of the device's own runs the frames, so that the host's stages are none of them.
  bool looping() const { return looping_.load(std::memory_order_relaxed); }
  void set_looping(bool looping) { looping_.store(looping, std::memory_order_relaxed); }

  // From now on a frame of that stamp is in hand, on a grid that begins there: a host's at 0.
  void BeginFrame(std::uint64_t stamp, std::uint64_t grid_start = 0);

  // Of a host that tells the stamp only when it outputs:

  // Ticks or filters begin: where the frame before has been output, they belong to the one after it, whose stamp is
  // taken to follow that of the frame before by as many periods as that stood for.
  void BeginStage();
  // The pictures are output, and stand for `count` periods.
  void BeginOutput(std::uint64_t stamp, unsigned int count);

 private:
  std::atomic<FrameRate> rate_{FrameRate()};
  static_assert(std::atomic<FrameRate>::is_always_lock_free);
  std::atomic<std::uint64_t> stamp_{0};
  std::atomic<std::uint64_t> grid_start_{0};
  std::atomic<bool> looping_{false};
  std::atomic<bool> output_{false};           // Whether the host has output the frame in hand.
  std::atomic<std::uint64_t> next_stamp_{0};  // What its next one is expected to carry.
};

#endif  // QUARN_GRAPHICS_FRAME_CLOCK_H_
