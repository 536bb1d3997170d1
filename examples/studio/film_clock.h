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
  FilmClock(std::int64_t start_ns, GsDevice* device) : GsItem(device), start_ns_(start_ns), now_ns_(start_ns) {
    SetVisible(false);
  }

  // From now on time passes. Thread: any.
  void Run() { running_ = true; }
  // The frame made next shows this time.
  void Set(std::int64_t film_ns) { now_ns_ = film_ns; }
  // Thread: render.
  std::int64_t now_ns() const { return now_ns_; }

  void TickSource() override {
    if (!running_) return;
    const auto now = static_cast<std::int64_t>(qn_os_gettime_ns());
    if (epoch_ns_ == 0) epoch_ns_ = now;
    now_ns_ = start_ns_ + now - epoch_ns_;
  }

 private:
  const std::int64_t start_ns_;
  std::atomic<bool> running_{false};
  std::atomic<std::int64_t> now_ns_;
  std::int64_t epoch_ns_ = 0;  // The clock at the first frame. Render thread.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
