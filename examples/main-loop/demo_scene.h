// What the programs of this folder show: a card that sways over black.
#ifndef QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_

#include <algorithm>
#include <cmath>

#include <quarn/quarn.h>

struct Card : GsPictureItem {
  Card() : GsPictureItem(gs_vec2(240, 160), gs_vec3(1, 0.5f, 0)) {}
  void TickSource() override { SetRotation(0.3f * std::sin(phase += 0.05f)); }
  float phase = 0;
};

// Shows the scene in a window.
struct DemoView : GsViewImpl {
  DemoView(const GsWindowInfo& window, unsigned int width, unsigned int height) : GsViewImpl(window, width, height) {
    const auto scene = MakeRefCounted<GsScene>(640u, 360u);
    scene->AddItem(MakeRefCounted<Card>());
    SetScene(scene);
    SetBackgroundColor(0.2f, 0.2f, 0.25f, 1);
    Attch();
  }
  ~DemoView() override { Detach(); }

  // Lies where the program has room for it. `scale`: pixels for each of the units in which the rest is told.
  void Fit(double x, double y, double width, double height, double scale) {
    const auto pixels = [scale](double length) { return static_cast<int>(std::lround(length * scale)); };
    const auto wide = static_cast<unsigned int>(std::max(0, pixels(width)));
    const auto high = static_cast<unsigned int>(std::max(0, pixels(height)));
    Move(pixels(x), pixels(y));
    if (wide != this->width() || high != this->height()) Resize(wide, high);
  }
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
