// A red square on a black canvas, composited without a window and received as a raw frame.
#include <cstdio>

#include <quarn/quarn.h>

struct Receiver : GsOutputRaw {
  using GsOutputRaw::GsOutputRaw;
  ~Receiver() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {  // On the output's own thread, one frame a period.
    std::printf("red in the middle: %d\n", frame.data[0][120 * frame.linesize[0] + 160 * 4]);
    received.Signal();
  }
  QNEvent received{false};
};

int main() {
  const GsDefaultDevice device;
  const auto scene = MakeRefCounted<GsScene>(320u, 240u);
  scene->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(160, 160), gs_vec3(1, 0, 0)));
  Receiver receiver(scene, 320, 240, kGsFormatRGBA);
  return receiver.valid() && receiver.Start() && receiver.received.Wait() ? 0 : 1;
}
