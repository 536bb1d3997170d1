// The sound of a film: the mixer with all that is heard.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_MIX_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_MIX_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <quarn/qn_audio_mixer.h>

#include "studio/description.h"
#include "studio/sound_level.h"
#include "studio/sound_player.h"

namespace studio {

// The sounds of a film: those of the scene's videos that are seen, and its own. Throws Error.
std::vector<std::unique_ptr<SoundReader>> OpenSounds(const Description& description);

// How a mix went.
struct MixReport {
  struct Underruns {
    std::string file;
    std::uint64_t blocks = 0;
  };

  float peak = 0;                    // Linear; 1 is full scale, and what is beyond it was cut off.
  std::uint64_t clipped = 0;         // Samples that were.
  std::vector<Underruns> underruns;  // Of the sounds that had any.
};

class SoundMix : private QnAudioMixer::Callback {
 public:
  class Receiver {
   public:
    virtual ~Receiver() = default;
    // A block of kSoundChannels planes, whose first frame is heard at `clock_ns` of the monotonic clock. The planes are
    // valid during the call. Thread: the mixer's.
    virtual void OnSound(const float* const* planes, int frames, std::uint64_t clock_ns) = 0;
  };

  // The sounds begin to be read.
  SoundMix(Receiver* receiver, std::vector<std::unique_ptr<SoundReader>> readers);
  ~SoundMix() override;
  SoundMix(const SoundMix&) = delete;
  SoundMix& operator=(const SoundMix&) = delete;

  // Waits until enough was read to start. Returns whether it was within `timeout`.
  bool WaitRead(std::chrono::milliseconds timeout);
  // Starts mixing. Returns the time, some 250 ms ahead, at which the sounds begin. Throws Error.
  std::uint64_t Start();
  // Waits for the blocks until `clock_ns`, and stops.
  MixReport Finish(std::uint64_t clock_ns);

  // The largest magnitude, linear, since the last call. Thread: any.
  float TakeLevel();

 private:
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override;
  void OnMixPeak(float /*peak*/) override {}
  void Stop();

  Receiver* const receiver_;
  std::vector<std::unique_ptr<SoundPlayer>> players_;

  std::mutex mutex_;
  std::condition_variable mixed_;
  std::uint64_t begin_ns_ = 0;  // Of the first block; 0 until there is one.
  std::uint64_t until_ns_ = 0;  // The end of the last one.
  std::uint64_t end_ns_;        // Where the film ends.
  SoundLevel level_;

  QnAudioMixer mixer_;  // The last: its thread uses the others.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_MIX_H_
