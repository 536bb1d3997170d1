// The sound of a scene that is played and edited: what belongs to the pictures that were shown.
#ifndef QUARN_EXAMPLES_STUDIO_LIVE_MIX_H_
#define QUARN_EXAMPLES_STUDIO_LIVE_MIX_H_

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "studio/description.h"
#include "studio/driven_mix.h"
#include "studio/sound_feed.h"
#include "studio/sound_level.h"
#include "studio/sound_mix.h"
#include "studio/timeline.h"

namespace studio {

// A layer with what tells it from others.
struct LiveLayer {
  int id = 0;  // Above 0; the layer's for good.
  Layer layer;
  std::int64_t begin_ns = 0;  // The scene's time at which a video begins.
};

// Whether the same is heard of both.
bool SameSound(const LiveLayer& a, const LiveLayer& b);

// Has no clock of its own: mixes what was heard while the timeline showed it, as far as it is asked to. One thread.
class LiveMix {
 public:
  // Mixes from `begin_ns` of the clock on. What has no end of its own fades out at the scene's, `scene_end_ns`.
  LiveMix(SoundMix::Receiver* receiver, const Timeline* timeline, std::vector<Sound> sounds, std::int64_t begin_ns,
          std::int64_t scene_end_ns);
  LiveMix(const LiveMix&) = delete;
  LiveMix& operator=(const LiveMix&) = delete;

  // From the block at `clock_ns` on, or the next one, these are the scene's layers: new ones are heard, those that are
  // gone, hidden or of volume 0 go silent within a block.
  void SetLayers(std::vector<LiveLayer> layers, std::int64_t clock_ns);
  // Mixes the blocks that end by `clock_ns`. Throws Error.
  void MixUntil(std::int64_t clock_ns);
  // Mixes all that is left to there. Throws Error.
  void Finish(std::int64_t clock_ns);

  const SoundLevel& level() const { return level_; }
  float TakeLevel() { return level_.Take(); }
  // What was wrong with sounds, since the last call.
  std::vector<std::string> TakeErrors();

 private:
  struct Voice {
    // What is heard: a sound of the scene's own, or a video.
    Sound sound;
    LiveLayer video;
    bool is_video = false;
    float gain = 0;  // As it is to be; 0 for what is not heard.
    float last_gain = 0;
    bool gone = false;  // Its layer is.

    DrivenMix::Input input;
    std::unique_ptr<SoundFeed> feed;
    std::int64_t position = 0;  // The frame of its own time that the feed has next.
  };

  struct Edit {
    std::int64_t clock_ns;
    std::vector<LiveLayer> layers;
  };

  void Apply(const std::vector<LiveLayer>& layers);
  void MixBlock(int frames);
  void Play(Voice* voice, std::int64_t film_ns, std::int64_t lasts_ns, float* const* planes, int frames);
  SoundFeed::Open Opening(const Voice& voice, std::int64_t start_ns) const;

  SoundMix::Receiver* const receiver_;
  const Timeline* const timeline_;
  const std::int64_t scene_end_ns_;
  DrivenMix mix_;
  std::map<int, Voice> voices_;  // Videos by their layer's id, sounds below 0.
  std::deque<Edit> edits_;       // That are still to come.
  std::vector<std::string> errors_;
  SoundLevel level_;
  std::int64_t clock_ns_;  // Up to where it has mixed.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LIVE_MIX_H_
