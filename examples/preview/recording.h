// A film of the scene, made while it is edited.
#ifndef QUARN_EXAMPLES_PREVIEW_RECORDING_H_
#define QUARN_EXAMPLES_PREVIEW_RECORDING_H_

#include <memory>
#include <string>
#include <vector>

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>

#include "studio/description.h"
#include "studio/encoder.h"
#include "studio/film_clock.h"
#include "studio/film_output.h"
#include "studio/film_picture.h"
#include "studio/film_sound.h"
#include "studio/live_sound.h"
#include "studio/stage_times.h"

namespace preview {

// Checks that `description` can be recorded; throws UsageError.
void ValidateRecording(const studio::Description& description);

// Runs from its construction until Finish, or until it is destroyed, which keeps what was encoded. Host's thread.
class Recording {
 public:
  // Of the description the scene's rate and size, the output, its size and the sounds matter. What is heard follows
  // `clock`, as what is seen does. Throws Error.
  Recording(GsScene* scene, const studio::Description& description, std::vector<studio::LiveLayer> layers,
            const studio::FilmClock& clock, GsDevice* device);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  const std::string& name() const { return description_.output; }
  studio::FilmCounts counts() { return output_.counts(); }
  // What the scene's layers are now, so that it is heard; call it as often as you like.
  void SetLayers(std::vector<studio::LiveLayer> layers);
  // The largest magnitude of the sound since the last call, 0 to 1.
  float level() { return sound_ ? sound_->TakeLevel() : 0; }
  // What was wrong with sounds, since the last call: a line for each.
  std::vector<std::string> TakeSoundErrors();
  // The film's length so far.
  double seconds();
  // Whether it goes on; if not, Finish tells why.
  bool running();
  // Ends the film. Throws Error.
  void Finish();

 private:
  const studio::Description description_;
  studio::StageTimes times_;
  studio::Encoder encoder_;
  const studio::FilmPicture picture_;
  studio::FilmOutput output_;
  studio::FilmSound film_sound_;
  std::unique_ptr<studio::LiveSound>
      sound_;  // Null for a kind of film that has none. The last: its thread uses others.
};

// The first of `stem`-`first``suffix`, `stem`-(`first` + 1)`suffix`, ... that is not there yet, nor, where it is a
// pattern, its first picture.
std::string FreeName(const std::string& stem, const std::string& suffix, int first);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_RECORDING_H_
