// A red square on a black canvas, composited without a window and received as a raw frame.
#include <cstdio>

#include <quarn/quarn.h>

struct Square : GsItem {
  using GsItem::GsItem;
  void Draw() override {  // On the render thread, every frame.
    GsTextureBinder binder(&picture);
    GsContextDefault::SetViewport(0, 0, 320, 240);
    if (GsContextDefault::BindShader("rgba")) GsContextDefault::DrawRect({pos(), size()}, {320, 240});
    GsContextDefault::UnbindShader();
  }
  const unsigned char red[4] = {255, 0, 0, 255};
  GsTexture picture{red, 4, GsTexture::kTextureRGBA, 1, 1, nullptr};
};

struct Receiver : GsOutputRaw {
  using GsOutputRaw::GsOutputRaw;
  void OnFrame(const GsFrame& frame) override {  // On the output's own thread, one frame a period.
    const unsigned char* middle = frame.data[0] + 120 * frame.linesize[0] + 160 * 4;
    std::printf("%ux%u, in the middle %d %d %d\n", frame.width, frame.height, middle[0], middle[1], middle[2]);
    received.Signal();
  }
  QNEvent received{false};
};

int main() {
  if (!GsDevice::CreateDefaultDevice(true)) return 1;
  bool missed = true;
  {
    auto scene = MakeRef<RefCounted<GsScene>>(320u, 240u, nullptr);
    scene->AddItem(MakeRef<RefCounted<Square>>(gs_vec2(160, 160), nullptr));
    Receiver receiver(scene, 320, 240, kGsFormatRGBA, nullptr);
    if (receiver.Start()) missed = receiver.received.TimedWait(10000);  // True when the time ran out.
    receiver.Stop();
  }
  GsDevice::DestroyDefaultDevice();
  if (missed) std::fprintf(stderr, "no frame came in ten seconds\n");
  return missed ? 1 : 0;
}
