// Mixes the sound of a scene while it is played, on a thread of its own.
#ifndef QUARN_EXAMPLES_STUDIO_LIVE_SOUND_H_
#define QUARN_EXAMPLES_STUDIO_LIVE_SOUND_H_

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "studio/live_mix.h"

namespace studio {

// Follows the clock that the pictures follow, some way behind: by then it is known what they have shown, and the sounds
// of a busy machine are there. A film does not hear of that: each block has its time.
class LiveSound {
 public:
  // Mixes from `begin_ns` of the monotonic clock on; as LiveMix has it. Throws Error.
  LiveSound(SoundMix::Receiver* receiver, const Timeline* timeline, std::vector<Sound> sounds,
            std::vector<LiveLayer> layers, std::int64_t begin_ns, std::int64_t scene_end_ns);
  ~LiveSound();
  LiveSound(const LiveSound&) = delete;
  LiveSound& operator=(const LiveSound&) = delete;

  // The scene's layers from now on; call it as often as you like. Thread: any.
  void SetLayers(std::vector<LiveLayer> layers);
  // The largest magnitude since the last call, at most 1. Thread: any.
  float TakeLevel();
  // What was wrong with sounds, since the last call: a line for each. Thread: any.
  std::vector<std::string> TakeErrors();
  // Mixes what is left to `clock_ns`, and ends.
  MixReport Finish(std::int64_t clock_ns);

 private:
  void Run();
  void Stop(std::int64_t end_ns);

  std::mutex mutex_;
  std::condition_variable changed_;
  struct Edit {
    std::int64_t clock_ns;
    std::vector<LiveLayer> layers;
  };

  std::vector<LiveLayer> layers_;
  std::vector<Edit> edits_;  // That the thread has not taken.
  std::vector<std::string> errors_;
  float level_ = 0;
  bool stop_ = false;
  std::int64_t end_ns_ = 0;  // Where it ends, once it is to stop.

  LiveMix mix_;  // The thread's.
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LIVE_SOUND_H_
