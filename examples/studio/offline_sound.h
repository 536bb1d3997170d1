// The sound of a film that is made offline: in step with its pictures, and the same every time.
#ifndef QUARN_EXAMPLES_STUDIO_OFFLINE_SOUND_H_
#define QUARN_EXAMPLES_STUDIO_OFFLINE_SOUND_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "studio/driven_mix.h"
#include "studio/encoder.h"
#include "studio/sound_level.h"
#include "studio/sound_mix.h"
#include "studio/sound_reader.h"

namespace studio {

// Nothing is late here: it waits for whatever a sound is read from, and for the encoder. One thread.
class OfflineSound {
 public:
  // Asks `goes_on` while it waits for a sender: when that says no, the sender has no more to say. Throws Error.
  OfflineSound(Encoder* encoder, std::vector<std::unique_ptr<SoundReader>> readers, std::function<bool()> goes_on);

  // Mixes and hands on the film's sound up to its frame `end`, but for less than a block. Throws Error.
  void MixUntil(std::int64_t end);
  // The film has `length` frames of sound: hands on the rest. Throws Error.
  MixReport Finish(std::int64_t length);

  // The largest magnitude since the last call, at most 1.
  float TakeLevel() { return level_.Take(); }

 private:
  struct Voice {
    std::unique_ptr<SoundReader> reader;
    DrivenMix::Input input;
    bool ended = false;
  };

  void MixBlock(int frames);

  Encoder* const encoder_;
  DrivenMix mix_;
  std::vector<Voice> voices_;
  SoundLevel level_;
  std::int64_t mixed_ = 0;  // Frames, from the film's start.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_OFFLINE_SOUND_H_
