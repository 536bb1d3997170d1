// A film of the scene, made while it is edited.
#ifndef QUARN_EXAMPLES_PREVIEW_RECORDING_H_
#define QUARN_EXAMPLES_PREVIEW_RECORDING_H_

#include <string>

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>

#include "studio/description.h"
#include "studio/encoder.h"
#include "studio/film_output.h"
#include "studio/film_picture.h"
#include "studio/stage_times.h"

namespace preview {

// Checks that `description` can be recorded; throws UsageError.
void ValidateRecording(const studio::Description& description);

// Runs from its construction until Finish, or until it is destroyed, which keeps what was encoded. Host's thread.
class Recording {
 public:
  // Of the description the scene's rate and size, the output and its size matter. Throws Error.
  Recording(GsScene* scene, const studio::Description& description, GsDevice* device);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  const std::string& name() const { return description_.output; }
  studio::FilmCounts counts() { return output_.counts(); }
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
};

// The first of `stem`-`first``suffix`, `stem`-(`first` + 1)`suffix`, ... that is not there yet.
std::string FreeName(const std::string& stem, const std::string& suffix, int first);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_RECORDING_H_
