// The line about frames that were late.
#ifndef QUARN_GRAPHICS_LATE_FRAME_REPORT_H_
#define QUARN_GRAPHICS_LATE_FRAME_REPORT_H_

#include <cstdint>

#include <quarn/gs_frame_times.h>

// Tells at debug level of late frames, one line a second at most: how late one was, and what took most of its time.
// One thread.
class LateFrameReport {
 public:
  // Looks at the frame that has just ended, in a loop of that period. Every frame is to be looked at: one may be late
  // because the one before it ran over.
  void Note(const GsFrameTime& frame, std::uint64_t period_ns);

 private:
  bool reported_ = false;
  std::uint64_t last_end_ns_ = 0;  // Of the frame that the last line was about.
  std::uint32_t unreported_ = 0;   // How many were late since, without a line.
  GsFrameTime before_ = {};        // The frame before; without periods before the first.
};

#endif  // QUARN_GRAPHICS_LATE_FRAME_REPORT_H_
