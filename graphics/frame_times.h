// Where the time of frames goes: the record of a device's last frames, and the spans of time that make it up.
//
// The render thread measures, and any thread reads meanwhile, without a lock and without waiting.
#ifndef QUARN_GRAPHICS_FRAME_TIMES_H_
#define QUARN_GRAPHICS_FRAME_TIMES_H_

#include <atomic>
#include <cstdint>
#include <initializer_list>

#include <quarn/gs_frame_times.h>

// What a frame's time is spent with: the parts that follow each other, then the waits inside of those.
enum class FramePart {
  kStartDelay,
  kTasks,
  kTicks,
  kFilters,
  kScenes,
  kOutputs,
  kViews,
  kSleep,
  kContextLockWait,
  kReadbackWait,
};

constexpr int kFramePartCount = static_cast<int>(FramePart::kReadbackWait) + 1;

// The time of `part` in a record.
unsigned long long& TimeOf(FramePart part, GsFrameTime* frame);
unsigned long long TimeOf(FramePart part, const GsFrameTime& frame);

// The last frames of one device's loop. A slot of the ring carries the number of the frame that it holds, and none
// while it is written: who finds the same number before and after it has read has read one frame, whole.
class FrameTimes {
 public:
  // How many frames are kept.
  static constexpr unsigned int kCapacity = 128;

  FrameTimes();
  FrameTimes(const FrameTimes&) = delete;
  FrameTimes& operator=(const FrameTimes&) = delete;

  // Says that these parts are measured: they are 0 in a frame that spends no time with them. Others are not measured
  // until a frame does. Before the first frame.
  void Declare(std::initializer_list<FramePart> parts);

  // Begins the frame of that time; its delay is counted from then. A frame that has begun and not ended is dropped.
  //
  // Thread: render.
  void Begin(std::uint64_t time_ns);
  // Adds to the frame that has begun, and to the totals. Thread: render.
  void Add(FramePart part, std::uint64_t ns);
  // Puts the frame that has begun into the ring, in the place of the oldest. Returns it, until the next Begin.
  //
  // Thread: render.
  const GsFrameTime& End(std::uint32_t periods);
  // Counts a frame that stood for that many periods in the totals: one of a host's, which is not put into the ring. End
  // does so by itself.
  //
  // Thread: render.
  void CountFrame(std::uint32_t periods);

  // Copies the last frames to `times`, `capacity` of them at most, the newest last. Returns how many. A frame that is
  // exchanged for a newer one meanwhile is left out, with those before it.
  //
  // Thread: any.
  unsigned int Read(GsFrameTime* times, unsigned int capacity) const;

  // What all frames come to, each value on its own. Thread: any.
  GsDeviceStats Totals() const;

 private:
  struct Slot {
    std::atomic<std::uint64_t> frame{0};  // Its number, counted from 1; 0 while it is written.
    std::atomic<std::uint64_t> time_ns{0};
    std::atomic<std::uint32_t> periods{0};
    std::atomic<std::uint64_t> parts[kFramePartCount] = {};
  };

  static bool ReadSlot(const Slot& slot, std::uint64_t frame, GsFrameTime* time);

  GsFrameTime unspent_;  // What every frame begins with.
  GsFrameTime current_;
  std::atomic<std::uint64_t> frames_{0};   // How many have been put into the ring.
  std::atomic<std::uint64_t> counted_{0};  // These, and a host's.
  std::atomic<std::uint64_t> missed_{0};
  std::atomic<std::uint64_t> totals_[kFramePartCount] = {};
  Slot slots_[kCapacity];
};

// While it lives, what the calling thread does belongs to the frames of `times`. They nest.
class MeasuredFrames {
 public:
  explicit MeasuredFrames(FrameTimes* times);
  ~MeasuredFrames();
  MeasuredFrames(const MeasuredFrames&) = delete;
  MeasuredFrames& operator=(const MeasuredFrames&) = delete;

 private:
  FrameTimes* const outer_;
};

// Adds the time that it lives to the frame that runs on this thread. Where none does it only looks whether one does.
// Put one around whatever may keep the render thread: it reads the clock twice, and nothing else.
class FrameSpan {
 public:
  explicit FrameSpan(FramePart part);
  ~FrameSpan();
  FrameSpan(const FrameSpan&) = delete;
  FrameSpan& operator=(const FrameSpan&) = delete;

 private:
  FrameTimes* const times_;
  const FramePart part_;
  const std::uint64_t start_ns_;
};

#endif  // QUARN_GRAPHICS_FRAME_TIMES_H_
