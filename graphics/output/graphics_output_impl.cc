// The output thread and its pool of frames. The render thread produces, the output thread delivers, any thread attaches
// and detaches: the header says which lock covers what.
#include "graphics/output/graphics_output_impl.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/integer_math.h"
#include "foundation/logger.h"
#include "graphics/frame_clock.h"

namespace {

// The output whose receiver the calling thread is in a call of.
thread_local const GraphicsOutputImpl* calling_output = nullptr;

std::int32_t SaturatingAdd(std::int32_t a, std::int32_t b) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  const std::int64_t sum = std::int64_t{a} + b;
  return static_cast<std::int32_t>(sum < kMin ? kMin : sum > kMax ? kMax : sum);
}

}  // namespace

GraphicsOutputImpl::GraphicsOutputImpl(GraphicsScene* scene, unsigned int width, unsigned int height, unsigned int fps)
    : scene_(scene),
      width_(width),
      height_(height),
      frame_interval_(util_mul_div64(1000000000, 1, fps)),
      rate_(FrameRate::OfFps(fps)) {}

GraphicsOutputImpl::~GraphicsOutputImpl() { StopThread(); }

void GraphicsOutputImpl::FollowClock(std::shared_ptr<const FrameClock> clock) {
  clock_ = std::move(clock);
  rate_ = clock_->rate();
  frame_interval_ = FrameGrid(0, rate_).interval();
}

bool GraphicsOutputImpl::Init() {
  if (thread_) return true;
  if (!semaphore_.valid()) {
    Logger::default_logger()->Error("[GraphicsOutput] no memory for the output thread");
    return false;
  }
  stop_ = false;
  std::unique_ptr<Thread> thread(Thread::Create());
  thread->Start(this);
  if (!thread->started()) {
    Logger::default_logger()->Error("[GraphicsOutput] the output thread could not be started");
    return false;
  }
  thread_ = std::move(thread);
  return true;
}

void GraphicsOutputImpl::StopThread() {
  if (!thread_) return;
  stop_ = true;
  semaphore_.Post();
  thread_->Join();
  thread_.reset();
}

GraphicsFormatInternal GraphicsOutputImpl::FrameFormat(OutputFormat format) {
  switch (format) {
    case kOutputNone:
    case kOutputTexture: break;
    case kOutputRGBA: return kFormatRGBA;
    case kOutputBGRA: return kFormatBGRA;
    case kOutputI420: return kFormatI420;
    case kOutputNV12: return kFormatNV12;
  }
  return kFormatUnknown;
}

void GraphicsOutputImpl::InitCache() {}

void GraphicsOutputImpl::Output(unsigned long long /*timestamp*/, int /*count*/) {
  // Kept: C2.
  Logger::default_logger()->Warn("GraphicsOuputImpl::Output is unimplemented");
}

void GraphicsOutputImpl::PauseCalls() {
  ++pauses_;  // Before the wait, so that it is for the running call only, not for all that is queued.
  MutexLocker<Mutex> lock(callback_mutex_);
}

void GraphicsOutputImpl::ResumeCalls() { --pauses_; }

void GraphicsOutputImpl::Attach(OutputCallback* callback) {
  PauseCalls();
  bool has_frames = true;
  {
    MutexLocker<Mutex> lock(callback_mutex_);
    callback_ = callback;
    if (callback) has_frames = ResetPool(FrameFormat(callback->format()));
    attached_format_.store(callback ? callback->format() : kNotAttached, std::memory_order_release);
  }
  ResumeCalls();
  slots_freed_.Wake();
  // Logged without the locks, because a host's log handler may take its time.
  if (!has_frames) {
    Logger::default_logger()->Error("[GraphicsOutput] no memory for frames of %u x %u pixels", width_, height_);
  }
}

void GraphicsOutputImpl::Detach() {
  PauseCalls();
  {
    MutexLocker<Mutex> lock(callback_mutex_);
    callback_ = nullptr;
    SuspendOutput();
  }
  ResumeCalls();
}

void GraphicsOutputImpl::SuspendOutput() {
  attached_format_.store(kNotAttached, std::memory_order_release);
  slots_freed_.Wake();
}

bool GraphicsOutputImpl::ResetPool(GraphicsFormatInternal format) {
  MutexLocker<Mutex> lock(cache_mutex_);
  ++generation_;
  if (pooled_) {
    std::uint64_t index = read_index_;
    for (std::uint64_t queued = free_count_; queued < capacity_; ++queued, index = NextIndex(index)) {
      if (!cache_[index].delivered) ++stats_dropped_;
    }
  }
  discarded_in_call_ = discarded_in_call_ || delivering_;
  finished_ = committed_ - (discarded_in_call_ ? 1 : 0);
  pooled_ = false;
  free_count_ = 0;
  write_index_ = read_index_;
  if (format == kFormatUnknown) return true;
  for (std::uint64_t i = 0; i < capacity_; ++i) {
    GraphicsFrame frame(format, width_, height_);
    if (!frame.data[0]) return false;
    frame.Clear();  // With an odd width, rows have bytes that no picture is copied into.
    GraphicsFrame& pooled_frame = cache_[i].frame;
    if (&pooled_frame == delivering_) {
      // The receiver attaches from inside its call: the planes that it was given stay valid until the call ends.
      delivered_frame_ = std::move(pooled_frame);
      delivering_ = nullptr;
    }
    pooled_frame = std::move(frame);
  }
  pooled_ = true;
  free_count_ = capacity_;
  return true;
}

bool GraphicsOutputImpl::LockFrame(GraphicsFrame** frame, unsigned long long timestamp, int count) {
  MutexLocker<Mutex> lock(cache_mutex_);
  if (free_count_ == 0) {
    ++stats_dropped_;
    CachedFrameInfo& newest = cache_[write_index_];
    newest.repeat = SaturatingAdd(newest.repeat, count);
    newest.overflow = SaturatingAdd(newest.overflow, count);
    return false;
  }
  // When the ring is empty, the slot at which the consumer stopped is used first.
  if (free_count_ != capacity_) write_index_ = NextIndex(write_index_);
  CachedFrameInfo& slot = cache_[write_index_];
  slot.timestamp = timestamp;
  slot.repeat = count;
  slot.overflow = 0;
  slot.grid = FrameGrid(clock_ ? clock_->grid_start() : 0, rate_);
  slot.delivered = false;
  if (frame) *frame = &slot.frame;
  return true;
}

void GraphicsOutputImpl::UnlockFrame() {
  MutexLocker<Mutex> lock(cache_mutex_);
  if (free_count_ == 0) return;  // No slot was locked.
  --free_count_;
  ++committed_;
  semaphore_.Post();
}

void GraphicsOutputImpl::Run() {
  NameThisThread("quarn-output");
  while (semaphore_.Wait() && !stop_) {
    if (!NextDelivery()) continue;  // Woken for a frame that has been discarded.
    bool finished = false;
    while (!finished && !stop_) {
      finished = OutputCurrentFrame();
      if (!finished) output_count_ += 1 + PassOverUnheard();
    }
    ++output_count_;
  }
}

bool GraphicsOutputImpl::OutputCurrentFrame() {
  const std::optional<Delivery> delivery = NextDelivery();
  if (!delivery) return true;
  Deliver(*delivery);
  const bool finished = FinishDelivery(*delivery);
  if (finished) slots_freed_.Wake();
  return finished;
}

std::uint32_t GraphicsOutputImpl::PassOverUnheard() {
  MutexLocker<Mutex> lock(cache_mutex_);
  // Whoever attaches a receiver discards what is queued.
  if (attached_format_.load(std::memory_order_acquire) != kNotAttached || !pooled_ || free_count_ == capacity_)
    return 0;
  CachedFrameInfo& slot = cache_[read_index_];
  const std::int32_t passed = std::max(slot.repeat, 1) - 1;
  const std::int32_t overflow = std::clamp(slot.overflow, 0, passed);
  slot.timestamp = slot.grid.After(slot.timestamp, static_cast<std::uint32_t>(passed));
  slot.repeat -= passed;
  slot.overflow -= overflow;
  repeat_count_ += static_cast<std::uint32_t>(overflow);
  return static_cast<std::uint32_t>(passed);
}

std::optional<GraphicsOutputImpl::Delivery> GraphicsOutputImpl::NextDelivery() {
  MutexLocker<Mutex> lock(cache_mutex_);
  if (!pooled_ || free_count_ == capacity_) return std::nullopt;
  CachedFrameInfo& oldest = cache_[read_index_];
  return Delivery{&oldest, oldest.timestamp, generation_};
}

void GraphicsOutputImpl::Deliver(const Delivery& delivery) {
  // Whoever takes the receiver away may be waiting for the lock already, and must not have to wait for one more call.
  if (attached_format() == kNotAttached) return;
  MutexLocker<Mutex> lock(callback_mutex_);
  if (!callback_ || delivery.generation != generation_ || pauses_ > 0) return;
  delivering_ = &delivery.slot->frame;
  const bool repeated = std::exchange(delivery.slot->delivered, true);
  repeating_.store(repeated, std::memory_order_relaxed);
  const GraphicsOutputImpl* const outer = std::exchange(calling_output, this);
  callback_->OnOutputRawData(delivery.slot->frame, delivery.timestamp);
  calling_output = outer;
  repeating_.store(false, std::memory_order_relaxed);
  CountDelivery(repeated);
  delivering_ = nullptr;
  delivered_frame_ = GraphicsFrame();
}

void GraphicsOutputImpl::CountDelivery(bool repeated) {
  stats_delivered_.fetch_add(1, std::memory_order_relaxed);
  if (repeated) stats_repeated_.fetch_add(1, std::memory_order_relaxed);
}

OutputStats GraphicsOutputImpl::stats() const {
  OutputStats stats;
  stats.delivered = stats_delivered_.load(std::memory_order_relaxed);
  stats.repeated = stats_repeated_.load(std::memory_order_relaxed);
  stats.dropped = stats_dropped_.load(std::memory_order_relaxed);
  return stats;
}

template <class Predicate>
bool GraphicsOutputImpl::WaitForSlots(unsigned int timeout_ms, Predicate enough) {
  if (calling_output == this) return false;  // The call would wait for itself.
  bool attached = true;
  const bool waited = slots_freed_.WaitFor(timeout_ms, [&] {
    MutexLocker<Mutex> lock(cache_mutex_);
    attached = pooled_ && attached_format_.load(std::memory_order_acquire) != kNotAttached;
    return !attached || enough(free_count_, finished_);
  });
  return waited && attached;
}

bool GraphicsOutputImpl::WaitForRoom(unsigned int timeout_ms) {
  return WaitForSlots(timeout_ms, [](std::uint64_t free, std::uint64_t) { return free > 0; });
}

bool GraphicsOutputImpl::WaitForDeliveries(unsigned int timeout_ms) {
  std::uint64_t so_far = 0;
  {
    MutexLocker<Mutex> lock(cache_mutex_);
    so_far = committed_;
  }
  return WaitForSlots(timeout_ms, [so_far](std::uint64_t, std::uint64_t finished) { return finished >= so_far; });
}

bool GraphicsOutputImpl::FinishDelivery(const Delivery& delivery) {
  MutexLocker<Mutex> lock(cache_mutex_);
  if (delivery.generation != generation_) {
    // Discarded meanwhile: the slot is no longer this frame's.
    if (std::exchange(discarded_in_call_, false)) ++finished_;
    return true;
  }
  CachedFrameInfo& slot = *delivery.slot;
  slot.timestamp = slot.grid.After(slot.timestamp, 1);
  slot.repeat = SaturatingAdd(slot.repeat, -1);
  if (slot.repeat <= 0) {
    if (!slot.delivered) ++stats_dropped_;
    read_index_ = NextIndex(read_index_);
    ++free_count_;
    ++finished_;
    if (free_count_ == capacity_) write_index_ = read_index_;
    return true;
  }
  if (slot.overflow >= 1) {
    --slot.overflow;
    ++repeat_count_;
  }
  return false;
}

std::uint64_t GraphicsOutputImpl::NextIndex(std::uint64_t index) const {
  return index + 1 == capacity_ ? 0 : index + 1;
}

OutputPause::OutputPause(GraphicsOutput* output) : output_(dynamic_cast<GraphicsOutputImpl*>(output)) {
  if (output_) output_->PauseCalls();
}

OutputPause::~OutputPause() {
  if (output_) output_->ResumeCalls();
}

OutputStats ReadOutputStats(const GraphicsOutput* output) {
  const auto* const impl = dynamic_cast<const GraphicsOutputImpl*>(output);
  return impl ? impl->stats() : OutputStats();
}

bool RepeatsDelivery(const GraphicsOutput* output) {
  const auto* const impl = dynamic_cast<const GraphicsOutputImpl*>(output);
  return impl && impl->repeating();
}

bool WaitForRoom(GraphicsOutput* output, unsigned int timeout_ms) {
  auto* const impl = dynamic_cast<GraphicsOutputImpl*>(output);
  return impl && impl->WaitForRoom(timeout_ms);
}

bool WaitForDeliveries(GraphicsOutput* output, unsigned int timeout_ms) {
  auto* const impl = dynamic_cast<GraphicsOutputImpl*>(output);
  return impl && impl->WaitForDeliveries(timeout_ms);
}

OutputCounts ReadOutputCounts(const GraphicsOutput* output) {
  OutputCounts counts;
  if (const auto* const impl = dynamic_cast<const GraphicsOutputImpl*>(output)) {
    counts.delivered = impl->output_count();
    counts.repeated = impl->repeat_count();
  }
  return counts;
}
