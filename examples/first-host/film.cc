// first-film: three seconds of a square that crosses the canvas, as first-film.mp4. No picture is lost and none is
// repeated, however fast or slow the machine is.
#include <cstdio>

#include <quarn/quarn.h>

struct Film : GsOutputRaw {
  Film(GsScene* scene, std::FILE* to) : GsOutputRaw(scene, 640, 360, kGsFormatRGBA), encoder(to) {}
  ~Film() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    for (unsigned int y = 0; y < frame.height; ++y) {
      std::fwrite(frame.data[0] + y * frame.linesize[0], 4, frame.width, encoder);
    }
  }
  std::FILE* const encoder;
};

int main() {
  const GsDefaultDevice device(false);  // Not started: this program says when there is a frame, and of what time.
  if (!device.valid() || !device->SetFrameRate(30000, 1001)) return 1;
  const auto scene = MakeRefCounted<GsScene>(640u, 360u);
  const auto square = MakeRefCounted<GsPictureItem>(gs_vec2(160, 160), gs_vec3(1, 0, 0));
  scene->AddItem(square);
  std::FILE* const encoder = popen(
      "ffmpeg -v error -y -f rawvideo -pix_fmt rgba -s 640x360 -r 30000/1001 -i - -pix_fmt yuv420p first-film.mp4",
      "w");
  if (!encoder) return 1;
  bool whole = false;
  {
    Film film(scene, encoder);
    whole = film.Start() && device->InitThreadContext();
    for (unsigned int n = 0; whole && n < 90; ++n) {
      square->MoveTo(gs_vec2(-240 + 480 * static_cast<float>(n) / 89, 0));
      whole = film.WaitForRoom(10000);
      device->RunFrame(n * 1001'000'000'000ull / 30000);
    }
    whole = film.Flush(10000) && whole;
    device->UninitThreadContext();
  }
  return pclose(encoder) == 0 && whole ? 0 : 1;
}
