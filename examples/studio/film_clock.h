// The time that a frame shows.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
#define QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_

#include <atomic>
#include <cstdint>

#include <quarn/gs_item.h>
#include <quarn/qn_os.h>

namespace studio {

// An item that is never seen: hidden items are ticked like all others. Put into the scene before the layers, it reads
// the clock once a frame, so that they all move to the same time. An offline film sets the time itself.
class FilmClock : public GsItem {
 public:
  FilmClock(std::int64_t start_ns, GsDevice* device) : GsItem(device), now_ns_(start_ns) { SetVisible(false); }

  // From now on time passes; the next frame shows the time at which the film stands. Thread: any.
  void Run() { RunFrom(static_cast<std::int64_t>(qn_os_gettime_ns()), 1); }
  // The same from `clock_ns` of the monotonic clock on, in steps of `period_ns`. Thread: any.
  void RunFrom(std::int64_t clock_ns, std::int64_t period_ns) {
    shown_ns_ = clock_ns;
    period_ns_ = period_ns;
    running_ = true;
  }
  // From now on time stands still. Thread: any.
  void Pause() { running_ = false; }
  // The frame made next shows this time.
  void Set(std::int64_t film_ns) { now_ns_ = film_ns; }
  // The time of the frame in hand, or of the last one. Thread: any.
  std::int64_t now_ns() const { return now_ns_; }

  // A picture's timestamp is the time of the frame before, so that is the time that it shows: what stands in a film
  // then keeps to the clock, and to the sound, even where frames take long.
  void TickSource() override {
    const std::int64_t timestamp_ns = last_tick_ns_;
    last_tick_ns_ = static_cast<std::int64_t>(qn_os_gettime_ns());
    if (!running_ || timestamp_ns <= shown_ns_) return;
    const std::int64_t passed_ns = (timestamp_ns - shown_ns_) / period_ns_ * period_ns_;
    now_ns_ += passed_ns;
    shown_ns_ += passed_ns;
  }

 private:
  std::atomic<bool> running_{false};
  std::atomic<std::int64_t> now_ns_;
  std::atomic<std::int64_t> shown_ns_{0};  // The monotonic clock at now_ns_.
  std::atomic<std::int64_t> period_ns_{1};
  std::int64_t last_tick_ns_ = 0;  // Render thread.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
