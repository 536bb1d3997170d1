#include "record/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace studio {
namespace {

constexpr int kTerminalLine = 79;
constexpr double kBarPeriodSeconds = 0.1;
constexpr double kLinePeriodSeconds = 1;

std::string Bar(int done, int width) { return "[" + std::string(done, '#') + std::string(width - done, '.') + "]"; }

// The level of the sound on a scale of decibels.
std::string Meter(float level) {
  constexpr int kWidth = 10;
  constexpr double kLowest = -40;
  const double share = level > 0 ? 1 - Decibels(level) / kLowest : 0;
  char text[16];
  std::snprintf(text, sizeof(text), " %.2f", static_cast<double>(level));
  return ", sound " + Bar(static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kWidth)), kWidth) + text;
}

double Speed(const Status& status) {
  return status.seconds > 0 ? static_cast<double>(status.counts.delivered) / status.seconds : 0;
}

unsigned long long Number(std::uint64_t value) { return value; }

}  // namespace

double Decibels(float level) { return 20 * std::log10(static_cast<double>(level)); }

ProgressDisplay::ProgressDisplay(ProgressShown shown, const Description& description)
    : shown_(shown),
      frames_(description.HasPicture() ? description.FrameCount() : 0),
      duration_s_(description.duration_s) {}

ProgressDisplay::~ProgressDisplay() {
  if (shown_ == ProgressShown::kBar) std::fprintf(stderr, "\r\033[K");
}

void ProgressDisplay::Show(const Status& status) {
  if (shown_ == ProgressShown::kNone) return;
  if (status.level) level_ = std::max(level_, *status.level);
  const double period_s = shown_ == ProgressShown::kBar ? kBarPeriodSeconds : kLinePeriodSeconds;
  const auto now = std::chrono::steady_clock::now();
  if (status.seconds <= 0 || (last_ && now - *last_ < std::chrono::duration<double>(period_s))) return;
  last_ = now;
  shown_ == ProgressShown::kBar ? ShowBar(status) : ShowLine(status);
  level_ = 0;
}

void ProgressDisplay::ShowBar(const Status& status) {
  char counts[80];
  if (frames_ > 0) {
    std::snprintf(counts, sizeof(counts), " %llu of %llu frames, %.1f fps", Number(status.counts.delivered),
                  Number(frames_), Speed(status));
  } else {
    std::snprintf(counts, sizeof(counts), " %.1f of %.1f s", status.seconds, duration_s_);
  }
  const std::string text = counts + (status.level ? Meter(level_) : std::string());
  // The whole of it fits a terminal's line.
  const int width = std::clamp(kTerminalLine - 2 - static_cast<int>(text.size()), 10, 40);
  const double share = frames_ > 0 ? static_cast<double>(status.counts.delivered) / static_cast<double>(frames_)
                                   : status.seconds / duration_s_;
  const int done = static_cast<int>(std::clamp(share, 0.0, 1.0) * width);
  std::fprintf(stderr, "\r%s%s\033[K", Bar(done, width).c_str(), text.c_str());
}

void ProgressDisplay::ShowLine(const Status& status) const {
  std::string line = "seconds=" + std::to_string(status.seconds);
  char text[160];
  if (frames_ > 0) {
    std::snprintf(text, sizeof(text), " frames=%llu of=%llu fps=%.2f repeated=%llu dropped=%llu",
                  Number(status.counts.delivered), Number(frames_), Speed(status), Number(status.counts.repeated),
                  Number(status.counts.dropped));
  } else {
    std::snprintf(text, sizeof(text), " of=%.3f", duration_s_);
  }
  line += text;
  if (status.level) line += " level=" + std::to_string(level_);
  std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace studio
