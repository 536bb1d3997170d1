// The line about late frames. A device's render thread enters.
#include "graphics/late_frame_report.h"

#include <cstdio>

#include "foundation/logger.h"
#include "graphics/frame_times.h"

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

struct NamedPart {
  FramePart part;
  const char* name;
};

constexpr NamedPart kStages[] = {
    {FramePart::kStartDelay, "a late start"},
    {FramePart::kTasks, "queued tasks"},
    {FramePart::kTicks, "ticks"},
    {FramePart::kFilters, "filters"},
    {FramePart::kScenes, "scenes"},
    {FramePart::kOutputs, "outputs"},
    {FramePart::kViews, "views"},
};
constexpr NamedPart kWaits[] = {
    {FramePart::kContextLockWait, "the context's lock"},
    {FramePart::kReadbackWait, "readback"},
    {FramePart::kWindowWait, "the window system"},
};

// The time of a part; 0 where it was not measured.
unsigned long long Measured(const NamedPart& part, const GsFrameTime& frame) {
  const unsigned long long time = TimeOf(part.part, frame);
  return time == kGsNotMeasured ? 0 : time;
}

// The part that took most; of equals the first.
template <int kCount>
const NamedPart& Longest(const NamedPart (&parts)[kCount], const GsFrameTime& frame) {
  const NamedPart* longest = parts;
  for (const NamedPart& part : parts) {
    if (Measured(part, frame) > Measured(*longest, frame)) longest = &part;
  }
  return *longest;
}

double Ms(unsigned long long ns) { return static_cast<double>(ns) / 1e6; }

}  // namespace

void LateFrameReport::Note(const GsFrameTime& frame, std::uint64_t period_ns) {
  if (frame.periods <= 1) return;
  if (reported_ && frame.time_ns - last_time_ns_ < kNsPerSecond) {
    ++unreported_;
    return;
  }
  const NamedPart& stage = Longest(kStages, frame);
  const NamedPart& wait = Longest(kWaits, frame);
  char waited[128] = "";
  if (Measured(wait, frame) > 0) {
    std::snprintf(waited, sizeof(waited), "; waiting for %s took %.1f ms of the frame", wait.name,
                  Ms(Measured(wait, frame)));
  }
  char others[64] = "";
  if (unreported_ > 0) {
    std::snprintf(others, sizeof(others), "; %u more were late since the last such line", unreported_);
  }
  Logger::default_logger()->Debug("a frame took %u periods of %.1f ms: %.1f ms went into %s%s%s", frame.periods,
                                  Ms(period_ns), Ms(Measured(stage, frame)), stage.name, waited, others);
  reported_ = true;
  last_time_ns_ = frame.time_ns;
  unreported_ = 0;
}
