// The time that a frame shows.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
#define QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_

#include <cstdint>

#include <quarn/gs_device.h>

#include "studio/timeline.h"

namespace studio {

// While it runs, a frame shows the time of its timestamp: what stands in a film then keeps to the clock, and to the
// sound, even where frames take long. All layers of a frame are told the same. Thread: any.
class FilmClock {
 public:
  FilmClock(std::int64_t start_ns, const GsDevice* device) : device_(device), timeline_(start_ns) {}
  FilmClock(const FilmClock&) = delete;
  FilmClock& operator=(const FilmClock&) = delete;

  // From now on time passes, from where the film stands.
  void Run() { RunFrom(FrameTime()); }
  // The same from the frame with that timestamp on.
  void RunFrom(std::int64_t clock_ns) { timeline_.SetRuns(clock_ns, true); }
  // From now on time stands still.
  void Pause() { timeline_.SetRuns(FrameTime(), false); }
  // The frame in hand, or else the next one, shows this time.
  void Set(std::int64_t film_ns) { timeline_.Jump(FrameTime(), film_ns); }
  // The time of the frame in hand, or of the last one.
  std::int64_t now_ns() const { return timeline_.At(FrameTime()).film_ns; }

  // What the frames of other times show or have shown.
  const Timeline& timeline() const { return timeline_; }

 private:
  std::int64_t FrameTime() const { return static_cast<std::int64_t>(device_->frame_time()); }

  const GsDevice* const device_;
  Timeline timeline_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_CLOCK_H_
