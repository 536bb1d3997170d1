// How long each stage of the film takes on the CPU.
#ifndef QUARN_EXAMPLES_STUDIO_STAGE_TIMES_H_
#define QUARN_EXAMPLES_STUDIO_STAGE_TIMES_H_

#include <atomic>
#include <cstdint>

#include <quarn/qn_os.h>

namespace studio {

// Sums over the film, in nanoseconds; each stage belongs to one thread, the sums are read at the end.
struct StageTimes {
  std::atomic<std::uint64_t> tick{0};      // Layers moving on: new pictures of videos go to their textures.
  std::atomic<std::uint64_t> filter{0};    // Filters drawing.
  std::atomic<std::uint64_t> scene{0};     // The scene drawing its layers.
  std::atomic<std::uint64_t> output{0};    // Conversion and readback; a host sees it only when it drives the frames.
  std::atomic<std::uint64_t> delivery{0};  // Frames copied in OnFrame.
  std::atomic<std::uint64_t> encode{0};    // Frames encoded and written.

  void Clear() { tick = filter = scene = output = delivery = encode = 0; }
};

// Adds the time of its life to a stage.
class StageTimer {
 public:
  explicit StageTimer(std::atomic<std::uint64_t>* stage) : stage_(stage), start_ns_(qn_os_gettime_ns()) {}
  ~StageTimer() { *stage_ += qn_os_gettime_ns() - start_ns_; }
  StageTimer(const StageTimer&) = delete;
  StageTimer& operator=(const StageTimer&) = delete;

 private:
  std::atomic<std::uint64_t>* const stage_;
  const std::uint64_t start_ns_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_STAGE_TIMES_H_
