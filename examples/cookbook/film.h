// A film or a still of a scene, as the recipes make them: raw pictures through a pipe to FFmpeg's program. The device
// is not started, so that no picture is lost, however fast or slow the machine is.
#ifndef QUARN_EXAMPLES_COOKBOOK_FILM_H_
#define QUARN_EXAMPLES_COOKBOOK_FILM_H_

#include <cstdio>
#include <string>
#include <utility>

#include <quarn/quarn.h>

struct Film : GsOutputRaw {
  // `codec`: what FFmpeg is told of what it is to make.
  Film(GsScene* scene, const std::string& name, const std::string& codec = "-pix_fmt yuv420p")
      : GsOutputRaw(scene, scene->width(), scene->height(), kGsFormatRGBA) {
    const std::string size = std::to_string(scene->width()) + "x" + std::to_string(scene->height());
    encoder = popen(
        ("ffmpeg -v error -y -f rawvideo -pix_fmt rgba -r 30 -s " + size + " -i - " + codec + " " + name).c_str(), "w");
    whole = encoder && valid() && Start() && GsDevice::DefaultDevice()->InitThreadContext();
  }
  ~Film() override { Close(); }

  // Makes the frame of that number, 30 a second.
  void Draw(unsigned long long number) {
    whole = whole && WaitForRoom(10000);
    if (whole) GsDevice::DefaultDevice()->RunFrame(number * 1'000'000'000 / 30);
  }
  // Returns whether all of it is in the file.
  bool Close() {
    whole = whole && Flush(10000);
    Stop();
    if (!encoder) return false;
    GsDevice::DefaultDevice()->UninitThreadContext();
    return pclose(std::exchange(encoder, nullptr)) == 0 && whole;
  }
  void OnFrame(const GsFrame& frame) override {
    for (unsigned int y = 0; y < frame.height; ++y) {
      std::fwrite(frame.data[0] + y * frame.linesize[0], 4, frame.width, encoder);
    }
  }

  std::FILE* encoder = nullptr;
  bool whole = false;
};

#endif  // QUARN_EXAMPLES_COOKBOOK_FILM_H_
