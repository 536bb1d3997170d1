// The scene of the layers.
#ifndef QUARN_EXAMPLES_STUDIO_CANVAS_SCENE_H_
#define QUARN_EXAMPLES_STUDIO_CANVAS_SCENE_H_

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>

#include "studio/description.h"
#include "studio/stage_times.h"

namespace studio {

// Blends its items as premultiplied colours want it. Its picture is premultiplied too: opaque all over, unless it
// begins with nothing.
class CanvasScene : public GsScene {
 public:
  // Of the description only the canvas matters, and whether it is transparent.
  CanvasScene(const Description& description, GsDevice* device, StageTimes* times);
  void Draw() override;

 private:
  const bool transparent_;
  StageTimes* const times_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_CANVAS_SCENE_H_
