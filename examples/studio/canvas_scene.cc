#include "studio/canvas_scene.h"

#include "studio/blending.h"

namespace studio {

CanvasScene::CanvasScene(const Description& description, GsDevice* device, StageTimes* times)
    : GsScene(static_cast<unsigned int>(description.canvas.width), static_cast<unsigned int>(description.canvas.height),
              device),
      transparent_(description.transparent),
      times_(times) {}

void CanvasScene::Draw() {
  const StageTimer timer(&times_->scene);
  if (transparent_) ClearToTransparent();
  const PremultipliedBlending blending;
  GsScene::Draw();
}

}  // namespace studio
