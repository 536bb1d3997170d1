// The line about late frames. A device's render thread enters.
#include "graphics/late_frame_report.h"

#include <cstdio>
#include <iterator>
#include <utility>

#include "foundation/logger.h"
#include "graphics/frame_times.h"

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

struct NamedPart {
  FramePart part;
  const char* name;
};

// The first is the frame before's doing, or the system's.
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
};

// The time of a part; 0 where it was not measured.
unsigned long long Measured(const NamedPart& part, const GsFrameTime& frame) {
  const unsigned long long time = TimeOf(part.part, frame);
  return time == kGsNotMeasured ? 0 : time;
}

// The part that took most of the time; where two took the same, the earlier one.
const NamedPart& Longest(const NamedPart* first, const NamedPart* end, const GsFrameTime& frame) {
  const NamedPart* longest = first;
  for (const NamedPart* part = first; part != end; ++part) {
    if (Measured(*part, frame) > Measured(*longest, frame)) longest = part;
  }
  return *longest;
}

double Ms(unsigned long long ns) { return static_cast<double>(ns) / 1e6; }

}  // namespace

void LateFrameReport::Note(const GsFrameTime& frame, std::uint64_t period_ns) {
  const GsFrameTime before = std::exchange(before_, frame);
  if (frame.periods <= 1) return;
  const std::uint64_t end_ns = frame.time_ns + frame.periods * period_ns;
  if (reported_ && end_ns - last_end_ns_ < kNsPerSecond) {
    ++unreported_;
    return;
  }
  const NamedPart& stage = Longest(std::begin(kStages), std::end(kStages), frame);
  const NamedPart& wait = Longest(std::begin(kWaits), std::end(kWaits), frame);
  char reason[96] = "";
  const NamedPart& stage_before = Longest(std::begin(kStages) + 1, std::end(kStages), before);
  if (stage.part == FramePart::kStartDelay && Measured(stage_before, before) > 0) {
    std::snprintf(reason, sizeof(reason), ", after %.1f ms of %s in the frame before",
                  Ms(Measured(stage_before, before)), stage_before.name);
  }
  char waited[128] = "";
  if (Measured(wait, frame) > 0) {
    std::snprintf(waited, sizeof(waited), "; waiting for %s took %.1f ms of the frame", wait.name,
                  Ms(Measured(wait, frame)));
  }
  char others[64] = "";
  if (unreported_ > 0) {
    std::snprintf(others, sizeof(others), "; %u more were late since the last such line", unreported_);
  }
  Logger::default_logger()->Debug("a frame took %u periods of %.1f ms: %.1f ms went into %s%s%s%s", frame.periods,
                                  Ms(period_ns), Ms(Measured(stage, frame)), stage.name, reason, waited, others);
  reported_ = true;
  last_end_ns_ = end_ns;
  unreported_ = 0;
}
