// The raw output that the film is made of.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_OUTPUT_H_
#define QUARN_EXAMPLES_STUDIO_FILM_OUTPUT_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include <quarn/gs_output.h>

#include "studio/description.h"
#include "studio/encoder.h"
#include "studio/stage_times.h"

namespace studio {

// The library's name of a layout.
GsFormat ToGsFormat(PixelLayout layout);

// Counts of a film so far.
struct FilmCounts {
  std::uint64_t delivered = 0;  // Frame periods that the library delivered a frame for.
  std::uint64_t repeated = 0;   // Of them, those that showed the picture of the frame before once more.
  std::uint64_t dropped = 0;    // Of them, those that this host had no room for.
};

class FilmOutput : public GsOutputRaw {
 public:
  // Takes `frame_count` frames, then no more.
  FilmOutput(GsScene* scene, const Description& description, Encoder* encoder, GsDevice* device, StageTimes* times);
  ~FilmOutput() override;

  // The film begins with the picture of this time of the monotonic clock, or the next one. Before Start.
  void BeginAt(std::uint64_t clock_ns) { earliest_ns_ = clock_ns; }

  void OnFrame(const GsFrame& frame) override;

  // The film's first picture has this time of the monotonic clock; 0 until there is one. Thread: any.
  std::uint64_t begin_ns() const { return begin_ns_; }

  // Waits until `count` frames were delivered. Returns whether they were within `timeout`.
  bool WaitDelivered(std::uint64_t count, std::chrono::milliseconds timeout);
  FilmCounts counts();

 private:
  const std::uint64_t frame_count_;
  const FrameRate fps_;
  const std::uint64_t half_period_ns_;
  const bool offline_;
  Encoder* const encoder_;
  StageTimes* const times_;

  std::uint64_t earliest_ns_ = 0;
  std::atomic<std::uint64_t> begin_ns_{0};

  // Used on the output's thread only.
  bool begun_ = false;  // Whether the film has its first picture.

  std::mutex counts_mutex_;
  std::condition_variable delivered_;
  FilmCounts counts_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_OUTPUT_H_
