// Compares pictures. The judgement has two thresholds: how far a channel may be off, and what share of the pixels may
// be off further than that.
//
//   EXPECT_TRUE(test::PicturesMatch(delivered, test::FitPicture(source, 640, 360), {/*difference=*/2}));
//
// A comparison always prints both thresholds and what was found. One that fails also prints the worst pixels and writes
// the two pictures and their difference (eight times enlarged) as PNG files into failed-pictures/, beside the test's
// binary directory in the build folder.
#ifndef QUARN_TESTS_SUPPORT_IMAGE_COMPARE_H_
#define QUARN_TESTS_SUPPORT_IMAGE_COMPARE_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace test {

// Pixels of one byte a channel, tightly packed, the top row first. One channel is a plane, two are chroma pairs, four
// are R G B A.
struct Picture {
  Picture() = default;
  // All zeros.
  Picture(int width_px, int height_px, int channel_count);
  // Copies rows that are `pitch` bytes apart, the first of them the top one.
  Picture(const unsigned char* data, std::size_t pitch, int width_px, int height_px, int channel_count);

  unsigned char* at(int x, int y) { return pixels.data() + Offset(x, y); }
  const unsigned char* at(int x, int y) const { return pixels.data() + Offset(x, y); }
  // The first row becomes the last.
  Picture Flipped() const;
  // One channel as a plane.
  Picture Channel(int channel) const;

  int width = 0;
  int height = 0;
  int channels = 0;
  std::vector<unsigned char> pixels;

 private:
  std::size_t Offset(int x, int y) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
           static_cast<std::size_t>(channels);
  }
};

// The whole of a picture in one colour, 0xrrggbb, opaque.
Picture Flat(int width, int height, std::uint32_t rgb);

struct Tolerance {
  int difference = 0;  // A pixel is over when one of its channels is off by more than this, of 255.
  double share = 0.0;  // The share of the picture's pixels that may be over, 0 to 1.
};

// The same judgement, and silent: for those who look again and again.
bool AreAlike(const Picture& actual, const Picture& expected, const Tolerance& tolerance);

::testing::AssertionResult PicturesMatch(const Picture& actual, const Picture& expected, const Tolerance& tolerance);

// Reads until the picture is the expected one, the patience runs out or nothing will come any more, then judges.
::testing::AssertionResult ComesToShow(const std::function<Picture()>& read, const std::function<bool()>& is_over,
                                       const Picture& expected, const Tolerance& tolerance);

// Writes a PNG file. Returns false when that fails.
bool WritePicture(const Picture& picture, const std::string& path);

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_IMAGE_COMPARE_H_
