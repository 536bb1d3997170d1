#include "tests/examples/rgba_picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>

RgbaPicture::RgbaPicture(int width_of, int height_of, const std::function<Rgba(int x, int y)>& color)
    : width(width_of), height(height_of) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) pixels.push_back(color(x, y));
  }
}

void StillTest::Write(const RgbaPicture& picture, const std::string& name, const std::string& options) {
  std::ofstream(Path(".run-pixels"), std::ios::binary)
      .write(reinterpret_cast<const char*>(picture.pixels.data()),
             static_cast<std::streamsize>(picture.pixels.size() * sizeof(Rgba)));
  Ffmpeg("-f rawvideo -pix_fmt rgba -s " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
         " -i .run-pixels -frames:v 1 " + options + " " + name);
}

RgbaPicture StillTest::Read(const std::string& name, int width, int height) {
  Ffmpeg("-i " + name + " -frames:v 1 -f rawvideo -pix_fmt rgba .run-raw");
  const std::string raw = ReadFile(Path(".run-raw"));
  RgbaPicture picture(width, height, [](int, int) { return Rgba{}; });
  EXPECT_EQ(raw.size(), picture.pixels.size() * sizeof(Rgba)) << name;
  if (raw.size() == picture.pixels.size() * sizeof(Rgba)) std::memcpy(picture.pixels.data(), raw.data(), raw.size());
  return picture;
}

RgbaPicture StillTest::Still(int width, int height, std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"-o", "still.png"});
  Record(arguments);
  return Read("still.png", width, height);
}

std::array<double, 3> Over(const Rgba& above, double opacity, const std::array<double, 3>& below) {
  return Over(std::array<double, 3>{1.0 * above[0], 1.0 * above[1], 1.0 * above[2]}, above[3] / 255.0 * opacity, below);
}

std::array<double, 3> Over(const std::array<double, 3>& above, double alpha, const std::array<double, 3>& below) {
  std::array<double, 3> color;
  for (std::size_t c = 0; c < 3; ++c) color[c] = above[c] * alpha + below[c] * (1 - alpha);
  return color;
}

double Difference(const RgbaPicture& picture, const std::function<std::array<double, 3>(int x, int y)>& reference) {
  double worst = 0;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const std::array<double, 3> color = reference(x, y);
      for (std::size_t c = 0; c < 3; ++c) worst = std::max(worst, std::fabs(picture.At(x, y)[c] - color[c]));
    }
  }
  return worst;
}
