// Shows how far a film is, on the error output.
#ifndef QUARN_EXAMPLES_RECORD_PROGRESS_H_
#define QUARN_EXAMPLES_RECORD_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "record/recorder.h"
#include "studio/description.h"

namespace studio {

enum class ProgressShown { kNone, kBar, kLines };

// "1.5 dB" of a linear level, as a number.
double Decibels(float level);

// A bar is cleared at the end; lines, one a second, are for programs to read.
class ProgressDisplay {
 public:
  ProgressDisplay(ProgressShown shown, const Description& description);
  ~ProgressDisplay();
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;

  void Show(const Status& status);

 private:
  void ShowBar(const Status& status);
  void ShowLine(const Status& status) const;

  const ProgressShown shown_;
  const std::uint64_t frames_;  // Of the whole film; 0 for sound alone.
  const double duration_s_;
  std::optional<std::chrono::steady_clock::time_point> last_;  // When it was shown last.
  float level_ = 0;                                            // Since then.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_PROGRESS_H_
