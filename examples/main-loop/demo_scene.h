// What the programs of this folder show: a card that sways over black.
#ifndef QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_

#include <cmath>
#include <cstdint>

#include <quarn/quarn.h>

struct Card : GsItem {
  Card() : GsItem(gs_vec2(240, 160), nullptr) {}
  void TickSource() override { SetRotation(0.3f * std::sin(phase += 0.05f)); }
  void Draw() override {
    GsContextDefault::SetViewport(0, 0, 640, 360);
    if (!GsContextDefault::BindShader("rgba")) return;
    {
      const GsTextureBinder binder(&texture);
      GsContextDefault::DrawRect(gs_transform(pos(), size(), rotation()), gs_vec2(640, 360));
    }
    GsContextDefault::UnbindShader();
  }
  float phase = 0;
  const unsigned char orange[4] = {255, 128, 0, 255};
  GsTexture texture{orange, 4, GsTexture::kTextureRGBA, 1, 1, nullptr};
};

// Shows the scene in an X11 window, given by its id.
struct DemoView : GsViewImpl {
  DemoView(std::uintptr_t window, unsigned int width, unsigned int height)
      : GsViewImpl({reinterpret_cast<void*>(window)}, width, height, nullptr) {
    const auto scene = MakeRef<RefCounted<GsScene>>(640u, 360u, nullptr);
    scene->AddItem(MakeRef<RefCounted<Card>>());
    SetScene(scene);
    SetBackgroundColor(0.2f, 0.2f, 0.25f, 1);
    Attch();
  }
  ~DemoView() override { Detach(); }
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_DEMO_SCENE_H_
