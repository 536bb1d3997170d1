// What the programs of this folder show: a card that sways over black.
#ifndef QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_

#include <cmath>
#include <cstdint>

#include <quarn/quarn.h>

struct Card : GsPictureItem {
  Card() : GsPictureItem(gs_vec2(240, 160), gs_vec3(1, 0.5f, 0)) {}
  void TickSource() override { SetRotation(0.3f * std::sin(phase += 0.05f)); }
  float phase = 0;
};

// Shows the scene in an X11 window, given by its id.
struct DemoView : GsViewImpl {
  DemoView(std::uintptr_t window, unsigned int width, unsigned int height)
      : GsViewImpl({reinterpret_cast<void*>(window)}, width, height) {
    const auto scene = MakeRefCounted<GsScene>(640u, 360u);
    scene->AddItem(MakeRefCounted<Card>());
    SetScene(scene);
    SetBackgroundColor(0.2f, 0.2f, 0.25f, 1);
    Attch();
  }
  ~DemoView() override { Detach(); }
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
