// The ring of frame times. Render threads write, each its own device's, and any thread reads.
#include "graphics/frame_times.h"

#include <utility>

#include "foundation/os_time.h"

namespace {

// In the order of FramePart.
constexpr unsigned long long GsFrameTime::*kTimes[] = {
    &GsFrameTime::start_delay_ns,   &GsFrameTime::tasks_ns,  &GsFrameTime::ticks_ns,
    &GsFrameTime::filters_ns,       &GsFrameTime::scenes_ns, &GsFrameTime::outputs_ns,
    &GsFrameTime::views_ns,         &GsFrameTime::sleep_ns,  &GsFrameTime::context_lock_wait_ns,
    &GsFrameTime::readback_wait_ns,
};
static_assert(sizeof(kTimes) / sizeof(*kTimes) == kFramePartCount, "one for each part");

// The frames that the calling thread runs; null on every thread but a device's own.
thread_local FrameTimes* measured_frames = nullptr;

}  // namespace

unsigned long long& TimeOf(FramePart part, GsFrameTime* frame) { return frame->*kTimes[static_cast<int>(part)]; }

unsigned long long TimeOf(FramePart part, const GsFrameTime& frame) { return frame.*kTimes[static_cast<int>(part)]; }

FrameTimes::FrameTimes() : unspent_(), current_() {
  for (const auto time : kTimes) unspent_.*time = kGsNotMeasured;
}

void FrameTimes::Declare(std::initializer_list<FramePart> parts) {
  for (const FramePart part : parts) TimeOf(part, &unspent_) = 0;
}

void FrameTimes::Begin(std::uint64_t time_ns) {
  current_ = unspent_;
  current_.time_ns = time_ns;
  const std::uint64_t now = os::GetTimeNs();
  current_.start_delay_ns = now > time_ns ? now - time_ns : 0;
}

void FrameTimes::Add(FramePart part, std::uint64_t ns) {
  unsigned long long& time = TimeOf(part, &current_);
  time = (time == kGsNotMeasured ? 0 : time) + ns;
  totals_[static_cast<int>(part)].fetch_add(ns, std::memory_order_relaxed);
}

void FrameTimes::CountFrame(std::uint32_t periods) {
  counted_.fetch_add(1, std::memory_order_relaxed);
  if (periods > 1) missed_.fetch_add(periods - 1, std::memory_order_relaxed);
}

// The fields are released one by one, and acquired so: who reads one of a newer frame thereby sees that the slot's
// number has been taken back, and that the frame is not the one looked for.
const GsFrameTime& FrameTimes::End(std::uint32_t periods) {
  current_.periods = periods;
  CountFrame(periods);
  const std::uint64_t frame = frames_.load(std::memory_order_relaxed) + 1;
  Slot& slot = slots_[frame % kCapacity];
  slot.frame.store(0, std::memory_order_relaxed);
  slot.time_ns.store(current_.time_ns, std::memory_order_release);
  slot.periods.store(current_.periods, std::memory_order_release);
  for (int i = 0; i < kFramePartCount; ++i) slot.parts[i].store(current_.*kTimes[i], std::memory_order_release);
  slot.frame.store(frame, std::memory_order_release);
  frames_.store(frame, std::memory_order_release);
  return current_;
}

bool FrameTimes::ReadSlot(const Slot& slot, std::uint64_t frame, GsFrameTime* time) {
  if (slot.frame.load(std::memory_order_acquire) != frame) return false;
  time->time_ns = slot.time_ns.load(std::memory_order_acquire);
  time->periods = slot.periods.load(std::memory_order_acquire);
  time->window_wait_ns = 0;
  for (int i = 0; i < kFramePartCount; ++i) time->*kTimes[i] = slot.parts[i].load(std::memory_order_acquire);
  return slot.frame.load(std::memory_order_relaxed) == frame;
}

unsigned int FrameTimes::Read(GsFrameTime* times, unsigned int capacity) const {
  if (!times) return 0;
  const std::uint64_t newest = frames_.load(std::memory_order_acquire);
  std::uint64_t kept = newest < kCapacity ? newest : kCapacity;
  if (kept > capacity) kept = capacity;
  unsigned int count = 0;
  for (std::uint64_t frame = newest - kept + 1; frame <= newest; ++frame) {
    count = ReadSlot(slots_[frame % kCapacity], frame, &times[count]) ? count + 1 : 0;
  }
  return count;
}

GsDeviceStats FrameTimes::Totals() const {
  const auto total = [this](FramePart part) { return totals_[static_cast<int>(part)].load(std::memory_order_relaxed); };
  GsDeviceStats stats = {};
  stats.frames = counted_.load(std::memory_order_relaxed);
  stats.missed = missed_.load(std::memory_order_relaxed);
  stats.tasks_ns = total(FramePart::kTasks);
  stats.ticks_ns = total(FramePart::kTicks);
  stats.filters_ns = total(FramePart::kFilters);
  stats.scenes_ns = total(FramePart::kScenes);
  stats.outputs_ns = total(FramePart::kOutputs);
  stats.views_ns = total(FramePart::kViews);
  stats.sleep_ns = total(FramePart::kSleep);
  stats.context_lock_wait_ns = total(FramePart::kContextLockWait);
  stats.readback_wait_ns = total(FramePart::kReadbackWait);
  return stats;
}

MeasuredFrames::MeasuredFrames(FrameTimes* times) : outer_(std::exchange(measured_frames, times)) {}

MeasuredFrames::~MeasuredFrames() { measured_frames = outer_; }

FrameSpan::FrameSpan(FramePart part) : times_(measured_frames), part_(part), start_ns_(times_ ? os::GetTimeNs() : 0) {}

FrameSpan::~FrameSpan() {
  if (!times_) return;
  const std::uint64_t now = os::GetTimeNs();
  times_->Add(part_, now > start_ns_ ? now - start_ns_ : 0);
}
