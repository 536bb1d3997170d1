// Frames a second, exactly: 30000/1001 is no decimal number.
#ifndef QUARN_EXAMPLES_STUDIO_FRAME_RATE_H_
#define QUARN_EXAMPLES_STUDIO_FRAME_RATE_H_

#include <cstdint>
#include <string>

namespace studio {

struct FrameRate {
  int num = 30;  // Frames,
  int den = 1;   // and the seconds that they take.

  double fps() const { return static_cast<double>(num) / den; }
  // When the frame of an index begins, in nanoseconds from the first one, rounded to the nearest.
  std::int64_t TimeNs(std::int64_t index) const;
  // The frame that begins nearest to a time.
  std::int64_t IndexAt(std::int64_t time_ns) const;
  // How many frames a second are, or the fraction that is exact: "30", "30000/1001".
  std::string Text() const;
};

inline bool operator==(FrameRate a, FrameRate b) { return a.num == b.num && a.den == b.den; }

// "30", "30000/1001", "12.5"; and "29.97", by which people mean the fraction, as by the others of its kind. Throws
// UsageError for what is no rate of 1 to 1000 frames a second.
FrameRate ParseFrameRate(const std::string& text);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FRAME_RATE_H_
