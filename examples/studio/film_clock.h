// The time that a frame shows.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
#define QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_

#include <algorithm>
#include <cstdint>
#include <mutex>

#include <quarn/gs_device.h>

namespace studio {

// While it runs, a frame shows the time of its timestamp: what stands in a film then keeps to the clock, and to the
// sound, even where frames take long. All layers of a frame are told the same. Thread: any.
class FilmClock {
 public:
  FilmClock(std::int64_t start_ns, const GsDevice* device) : device_(device), film_ns_(start_ns) {}
  FilmClock(const FilmClock&) = delete;
  FilmClock& operator=(const FilmClock&) = delete;

  // From now on time passes, from where the film stands.
  void Run() { RunFrom(FrameTime()); }
  // The same from the frame with that timestamp on.
  void RunFrom(std::int64_t clock_ns) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_ns_ = clock_ns;
    running_ = true;
  }
  // From now on time stands still.
  void Pause() {
    const std::lock_guard<std::mutex> lock(mutex_);
    film_ns_ = Now();
    running_ = false;
  }
  // The frame in hand, or else the next one, shows this time.
  void Set(std::int64_t film_ns) {
    const std::lock_guard<std::mutex> lock(mutex_);
    film_ns_ = film_ns;
    clock_ns_ = FrameTime();
  }
  // The time of the frame in hand, or of the last one.
  std::int64_t now_ns() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Now();
  }

 private:
  std::int64_t FrameTime() const { return static_cast<std::int64_t>(device_->frame_time()); }
  std::int64_t Now() const {
    return running_ ? film_ns_ + std::max<std::int64_t>(0, FrameTime() - clock_ns_) : film_ns_;
  }

  const GsDevice* const device_;
  mutable std::mutex mutex_;
  bool running_ = false;
  std::int64_t film_ns_;  // The film's time where the frame's is clock_ns_, or where it stands still.
  std::int64_t clock_ns_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
