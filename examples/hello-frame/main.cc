// hello-frame IN.png OUT.png: composites a picture, turned by 15 degrees, without a window.
#include <png.h>

#include <cstdio>
#include <vector>

#include <quarn/quarn.h>

using Pixels = std::vector<unsigned char>;

struct Frame : GsOutputRaw {
  explicit Frame(GsScene* scene) : GsOutputRaw(scene, 640, 360, kGsFormatRGBA) {}
  ~Frame() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    rgba.assign(frame.data[0], frame.data[0] + frame.linesize[0] * frame.height);
  }
  Pixels rgba;
};

Pixels Composite(const Pixels& rgba, unsigned int width, unsigned int height) {
  const GsDefaultDevice device(false);
  const auto scene = MakeRefCounted<GsScene>(640u, 360u);
  const auto item = MakeRefCounted<GsPictureItem>(rgba.data(), width * 4, width, height);
  item->SetRotation(15 * 3.14159f / 180);
  scene->AddItem(item);
  Frame frame(scene);
  if (!frame.valid() || !frame.Start() || !device->InitThreadContext()) return {};
  device->RunFrame(0);
  device->UninitThreadContext();
  return frame.Flush(10000) ? frame.rgba : Pixels();
}

int main(int argc, char** argv) {
  png_image png = {nullptr, PNG_IMAGE_VERSION, 0, 0, 0, 0, 0, 0, ""};
  if (argc != 3 || !png_image_begin_read_from_file(&png, argv[1])) return std::puts("hello-frame IN.png OUT.png"), 2;
  png.format = PNG_FORMAT_RGBA;
  Pixels rgba(PNG_IMAGE_SIZE(png));
  if (!png_image_finish_read(&png, nullptr, rgba.data(), 0, nullptr)) return 1;
  rgba = Composite(rgba, png.width, png.height);
  for (std::size_t i = 3; i < rgba.size(); i += 4) rgba[i] = 255;  // Blending acted on the alpha, too.
  png.width = 640, png.height = 360;
  return !rgba.empty() && png_image_write_to_file(&png, argv[2], 0, rgba.data(), 0, nullptr) ? 0 : 1;
}
