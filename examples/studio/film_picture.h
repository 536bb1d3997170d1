// The picture that a film shows of its scene, where that is not the scene's as it is.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_PICTURE_H_
#define QUARN_EXAMPLES_STUDIO_FILM_PICTURE_H_

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>
#include <quarn/ref_count.h>

#include "studio/description.h"
#include "studio/stage_times.h"

namespace studio {

// An output that is smaller than its scene takes one sample a pixel, or a few, of what there is, and fine patterns
// become others. So a smaller film is made of a second scene, of the film's size, that shows the first one, each pixel
// the mean of what it covers. A transparent film's second scene also divides the colours by their alpha, as files want
// them. All within one frame. Any other film shows the scene itself, so it is not changed by a bit.
//
// Host's thread; outlasts the film's output.
class FilmPicture {
 public:
  // Throws Error.
  FilmPicture(GsScene* scene, const Description& description, GsDevice* device, StageTimes* times);

  // What the film's output takes its frames from.
  GsScene* scene() const { return shown_; }

 private:
  const scoped_refptr<GsScene> second_;
  GsScene* const shown_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_PICTURE_H_
