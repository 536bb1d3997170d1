// The output thread and its pool of frames.
//
// The render thread produces (LockFrame, fill, UnlockFrame), the output thread consumes (Run), any thread attaches and
// detaches, the output thread from inside its call too. `callback_mutex_` is held around every call into the host and
// guards the receiver; `cache_mutex_` guards the pool. An attach needs both and takes `cache_mutex_` second; the output
// thread holds only one at a time.
//
// One thread of the host at a time attaches and detaches; but a call that is running meanwhile may do so too, because a
// host's receiver may stop and start its own output. So whoever has waited for a call reads the receiver only then.
#ifndef QUARN_GRAPHICS_OUTPUT_GRAPHICS_OUTPUT_IMPL_H_
#define QUARN_GRAPHICS_OUTPUT_GRAPHICS_OUTPUT_IMPL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "foundation/mutex.h"
#include "foundation/semaphore.h"
#include "foundation/thread.h"
#include "foundation/wait_point.h"
#include "graphics/frame_grid.h"
#include "graphics/graphics_output.h"
#include "graphics/output/graphics_frame.h"

class FrameClock;
class GraphicsScene;

class GraphicsOutputImpl : public GraphicsOutput, public Runable {
 public:
  // A slot of the pool.
  struct CachedFrameInfo {
    GraphicsFrame frame;
    std::uint64_t timestamp = 0;  // Of the slot's next delivery, ns.
    std::int32_t overflow = 0;    // Periods added because the pool was full, and not yet delivered.
    std::int32_t repeat = 0;      // Deliveries still due.
    FrameGrid grid;               // The timestamps of its deliveries lie on it.
    bool delivered = false;       // Whether a receiver has been called with it.
  };

  // `fps` must not be 0: the interval is computed by dividing by it.
  GraphicsOutputImpl(GraphicsScene* scene, unsigned int width, unsigned int height, unsigned int fps);
  ~GraphicsOutputImpl() override;
  GraphicsOutputImpl(const GraphicsOutputImpl&) = delete;
  GraphicsOutputImpl& operator=(const GraphicsOutputImpl&) = delete;

  // Takes the exact rate of a device from its clock, for good, and its grids from then on. Before Init. An output
  // without a clock has grids that begin at 0.
  void FollowClock(std::shared_ptr<const FrameClock> clock);

  // Starts the output thread. Returns false, with an error in the log, when there is none.
  bool Init() override;
  void Output(unsigned long long timestamp, int count) override;
  // Sets the receiver and allocates the pool for its format. Frames still queued are discarded: nothing is delivered
  // that was not rendered for this receiver. The caller keeps the render thread from producing meanwhile. Null only
  // takes the receiver away.
  void Attach(OutputCallback* callback) override;
  // Ends the calls: none is running when it returns (but the one that it is called from), and no receiver is in place,
  // also when that call has attached one meanwhile.
  void Detach() override;
  // The body of the output thread.
  void Run() override;
  // Reserves the next slot for a picture that stands for `count` periods from `timestamp` on, and hands its frame out.
  // When the pool is full it returns false, and the newest queued frame is delivered `count` more times instead.
  virtual bool LockFrame(GraphicsFrame** frame, unsigned long long timestamp, int count);
  // Commits the slot of the last LockFrame that returned true.
  virtual void UnlockFrame();
  // Makes one delivery of the oldest slot. Returns true when the slot is finished, or when nothing is queued.
  virtual bool OutputCurrentFrame();

  // Waits for a running call (but the one that it is called from); no call of a raw receiver begins from then on, nor
  // is anything produced for it, until ResumeCalls. For whoever attaches what a running call might exchange.
  void PauseCalls();
  void ResumeCalls();

  // Does nothing.
  void InitCache();

  // What the output thread has done since it was started: the deliveries that are over; and the deliveries, the one
  // that is being made included, that repeat a picture because the pool was full when another was to be stored. Thread:
  // any.
  std::uint32_t output_count() const { return output_count_; }
  std::uint32_t repeat_count() const { return repeat_count_; }

  // See graphics_output.h. Thread: any.
  OutputStats stats() const;
  bool repeating() const { return repeating_.load(std::memory_order_relaxed); }
  bool WaitForRoom(unsigned int timeout_ms);
  bool WaitForDeliveries(unsigned int timeout_ms);

 protected:
  // Ends the output thread, if there is one. A derived class calls it first in its destructor.
  void StopThread();

  // What attached_format() answers without a receiver: told apart from a receiver that asks for kOutputNone.
  static constexpr OutputFormat kNotAttached = static_cast<OutputFormat>(0xFFFFFFFFu);

  // The format of the attached receiver; kNotAttached without one, and while calls are paused. What the render thread
  // goes by: it must not wait for a host's callback.
  OutputFormat attached_format() const {
    return pauses_ > 0 ? kNotAttached : attached_format_.load(std::memory_order_acquire);
  }
  // The layout of the frames that a receiver of that format gets; kFormatUnknown where it gets none.
  static GraphicsFormatInternal FrameFormat(OutputFormat format);

  // Counts a call of the receiver that is over.
  void CountDelivery(bool repeated);

  // Makes attached_format() answer kNotAttached until the next Attach: no delivery begins any more. A producer that
  // must not be under way either is kept out by the context's lock, which the caller then holds.
  void SuspendOutput();

  static constexpr int kCacheSlots = 16;

  OutputCallback* callback_ QUARN_GUARDED_BY(callback_mutex_) = nullptr;
  Mutex callback_mutex_;
  GraphicsScene* scene_;
  std::uint32_t width_;
  std::uint32_t height_;
  std::unique_ptr<Thread> thread_;
  std::atomic<bool> stop_{false};
  Semaphore semaphore_{0};
  std::uint64_t frame_interval_;  // The period, to the nearest nanosecond.
  std::atomic<std::uint32_t> output_count_{0};
  std::atomic<std::uint32_t> repeat_count_{0};
  CachedFrameInfo cache_[kCacheSlots];
  Mutex cache_mutex_;
  std::uint64_t capacity_ QUARN_GUARDED_BY(cache_mutex_) = 6;
  std::uint64_t free_count_ QUARN_GUARDED_BY(cache_mutex_) = 0;
  std::uint64_t read_index_ QUARN_GUARDED_BY(cache_mutex_) = 0;
  std::uint64_t write_index_ QUARN_GUARDED_BY(cache_mutex_) = 0;
  // False where an attach has made no frames: nothing can be queued, though no slot counts as free.
  bool pooled_ QUARN_GUARDED_BY(cache_mutex_) = false;
  // Counts the attaches: tells a discarded frame. Written with both mutexes held, so that either is enough to read it,
  // which the annotations cannot say.
  std::uint64_t generation_ = 0;

 private:
  // One delivery of a slot, as it stood when its turn came.
  struct Delivery {
    CachedFrameInfo* slot;
    std::uint64_t timestamp;
    std::uint64_t generation;  // When there is another, an attach has discarded the frame, and the slot has gone on.
  };

  // Waits until enough(free slots, finished_), which is asked with cache_mutex_ held.
  template <class Predicate>
  bool WaitForSlots(unsigned int timeout_ms, Predicate enough);

  // Discards what is queued and makes the frames anew; none for kFormatUnknown. Returns false when memory is short: no
  // frames are pooled then.
  bool ResetPool(GraphicsFormatInternal format) QUARN_REQUIRES(callback_mutex_);

  // What OutputCurrentFrame is made of, in this order.

  // The delivery whose turn it is, of the oldest slot; none when nothing is queued, or what was is discarded.
  std::optional<Delivery> NextDelivery();
  // Calls the receiver, unless it has gone, is about to go, or the frame has been discarded.
  void Deliver(const Delivery& delivery);
  // Accounts for the delivery, called or not. Returns true when the slot is finished: its last delivery is made, or its
  // frame has been discarded.
  bool FinishDelivery(const Delivery& delivery);

  // Without a receiver, makes the deliveries that are still due of the oldest slot all at once, but for the last: a
  // picture may stand for very many, and nobody hears of them. Returns how many.
  std::uint32_t PassOverUnheard();

  std::uint64_t NextIndex(std::uint64_t index) const QUARN_REQUIRES(cache_mutex_);

  const GraphicsFrame* delivering_ QUARN_GUARDED_BY(callback_mutex_) = nullptr;  // The frame of the running call.
  GraphicsFrame delivered_frame_ QUARN_GUARDED_BY(callback_mutex_);  // Its planes, once an attach has replaced it.
  FrameRate rate_;                                                   // The timestamps of repeats follow it.
  std::shared_ptr<const FrameClock> clock_;
  std::uint64_t committed_ QUARN_GUARDED_BY(cache_mutex_) = 0;  // Frames, of all generations.
  std::uint64_t finished_ QUARN_GUARDED_BY(cache_mutex_) = 0;   // Of these, the first that are delivered or discarded.
  bool discarded_in_call_ QUARN_GUARDED_BY(cache_mutex_) = false;  // Of what is discarded, a call still has one.
  WaitPoint slots_freed_;  // Woken when there are more free slots, or no receiver any more.
  std::atomic<bool> repeating_{false};
  std::atomic<std::uint64_t> stats_delivered_{0};
  std::atomic<std::uint64_t> stats_repeated_{0};
  std::atomic<std::uint64_t> stats_dropped_{0};
  std::atomic<OutputFormat> attached_format_{kNotAttached};
  std::atomic<int> pauses_{0};  // How many threads keep the calls paused.
};

#endif  // QUARN_GRAPHICS_OUTPUT_GRAPHICS_OUTPUT_IMPL_H_
