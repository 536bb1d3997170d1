// Pictures with alpha: made for tests pixel by pixel, read back, and put over one another by plain arithmetic.
#ifndef QUARN_TESTS_EXAMPLES_RGBA_PICTURE_H_
#define QUARN_TESTS_EXAMPLES_RGBA_PICTURE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/examples/example_program.h"

using Rgba = std::array<std::uint8_t, 4>;  // Not premultiplied.

struct RgbaPicture {
  int width = 0;
  int height = 0;
  std::vector<Rgba> pixels;

  RgbaPicture() = default;
  RgbaPicture(int width, int height, const std::function<Rgba(int x, int y)>& color);

  const Rgba& At(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

// A test of quarn-record's stills.
class StillTest : public ExampleTest {
 protected:
  // Writes a file that ffmpeg knows to make by its name; `options` are split at spaces.
  void Write(const RgbaPicture& picture, const std::string& name, const std::string& options = "");
  RgbaPicture Read(const std::string& name, int width, int height);
  // Runs quarn-record for a still, and reads it.
  RgbaPicture Still(int width, int height, std::vector<std::string> arguments);
};

// A colour, its alpha multiplied with `opacity`, over an opaque one: 0 to 255, not rounded.
std::array<double, 3> Over(const std::array<double, 3>& above, double alpha, const std::array<double, 3>& below);
std::array<double, 3> Over(const Rgba& above, double opacity, const std::array<double, 3>& below);

// How far the pixels are from those of a reference, at most.
double Difference(const RgbaPicture& picture, const std::function<std::array<double, 3>(int x, int y)>& reference);

#endif  // QUARN_TESTS_EXAMPLES_RGBA_PICTURE_H_
