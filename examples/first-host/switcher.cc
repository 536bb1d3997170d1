// switcher: two cameras, the other one small in the corner, and a cross-fade to it at each line of standard input. The
// programme goes to standard error as the colour of its middle; a real one would encode it.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <string>

#include <quarn/quarn.h>

constexpr unsigned int kWidth = 640, kHeight = 360;

// What a camera shows: here a card that turns. A scene of its own, since what it draws is to be drawn again.
struct Card : GsPictureItem {
  using GsPictureItem::GsPictureItem;
  void TickSource() override { SetRotation(rotation() + 0.02f); }
};

scoped_refptr<GsScene> MakeCamera(const gs_vec3& color) {
  const auto camera = MakeRefCounted<GsScene>(kWidth, kHeight);
  camera->AddItem(MakeRefCounted<Card>(gs_vec2(480, 270), color));
  return camera;
}

// Shows a scene, which it fades in within half a second.
struct Fader : GsPictureItem {
  using GsPictureItem::GsPictureItem;
  void FadeTo(GsScene* scene) {
    start_ns = device->frame_time() + device->frame_interval();
    SetOpacity(0);
    ShowScene(scene);
  }
  void TickSource() override {
    GsPictureItem::TickSource();
    SetOpacity(
        std::clamp(static_cast<float>(static_cast<long long>(device->frame_time() - start_ns)) / 5e8f, 0.0f, 1.0f));
  }
  GsDevice* const device = GsDevice::DefaultDevice();
  std::atomic<unsigned long long> start_ns{0};
};

struct Programme : GsOutputRaw {
  explicit Programme(GsScene* scene) : GsOutputRaw(scene, kWidth, kHeight, kGsFormatRGBA) {}
  ~Programme() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    const unsigned char* const middle = frame.data[0] + kHeight / 2 * frame.linesize[0] + kWidth / 2 * 4;
    std::fprintf(stderr, "%d %d %d\n", middle[0], middle[1], middle[2]);
  }
};

int main() {
  const GsDefaultDevice device;
  const scoped_refptr<GsScene> cameras[] = {MakeCamera(gs_vec3(1, 0.1f, 0.1f)), MakeCamera(gs_vec3(0.1f, 0.1f, 1))};
  const auto scene = MakeRefCounted<GsScene>(kWidth, kHeight);
  const auto below = MakeRefCounted<GsPictureItem>(), corner = MakeRefCounted<GsPictureItem>();
  const auto above = MakeRefCounted<Fader>();
  corner->Resize(gs_vec2(160, 90));
  corner->MoveTo(gs_vec2(220, 115));
  scene->AddItem(below);
  scene->AddItem(above);
  scene->AddItem(corner);
  Programme programme(scene);
  if (!programme.valid() || !programme.Start()) return 1;
  std::string line;
  int shown = 0;
  do {
    below->ShowScene(cameras[1 - shown]);
    above->FadeTo(cameras[shown]);
    corner->ShowScene(cameras[1 - shown]);
    shown = 1 - shown;
  } while (std::getline(std::cin, line));
}
