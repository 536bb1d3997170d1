#include "tests/support/image_compare.h"

#include <png.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/support/comes_true.h"

namespace test {
namespace {

constexpr int kWorstPixels = 5;
constexpr int kEnlargement = 8;

struct Deviation {
  int x;
  int y;
  int difference;
};

int PixelDifference(const Picture& a, const Picture& b, int x, int y) {
  int largest = 0;
  for (int c = 0; c < a.channels; ++c) largest = std::max(largest, std::abs(a.at(x, y)[c] - b.at(x, y)[c]));
  return largest;
}

std::string Describe(const unsigned char* pixel, int channels) {
  std::string text = "(";
  for (int c = 0; c < channels; ++c) text += (c ? ", " : "") + std::to_string(pixel[c]);
  return text + ")";
}

std::string Describe(const Picture& picture) {
  return std::to_string(picture.width) + "x" + std::to_string(picture.height) + " of " +
         std::to_string(picture.channels) + " channels";
}

// Opaque, so that a viewer shows a difference of alpha alone too.
Picture Difference(const Picture& a, const Picture& b) {
  Picture result(a.width, a.height, a.channels);
  for (std::size_t i = 0; i < result.pixels.size(); ++i) {
    result.pixels[i] = static_cast<unsigned char>(std::min(255, kEnlargement * std::abs(a.pixels[i] - b.pixels[i])));
  }
  if (a.channels != 4) return result;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) {
      unsigned char* const pixel = result.at(x, y);
      pixel[0] = std::max(pixel[0], pixel[3]);
      pixel[3] = 255;
    }
  }
  return result;
}

bool HaveOneShape(const Picture& a, const Picture& b) {
  return a.width == b.width && a.height == b.height && a.channels == b.channels;
}

struct Comparison {
  std::vector<Deviation> over;  // What is off by more than the tolerance.
  int largest = 0;
  double share = 0.0;  // What share of the pixels is off by more than the tolerance.
};

// How two pictures of one shape differ.
Comparison Compare(const Picture& actual, const Picture& expected, const Tolerance& tolerance) {
  Comparison result;
  for (int y = 0; y < actual.height; ++y) {
    for (int x = 0; x < actual.width; ++x) {
      const int difference = PixelDifference(actual, expected, x, y);
      result.largest = std::max(result.largest, difference);
      if (difference > tolerance.difference) result.over.push_back({x, y, difference});
    }
  }
  const double total = std::max(1.0, static_cast<double>(actual.width) * actual.height);
  result.share = static_cast<double>(result.over.size()) / total;
  return result;
}

std::string TestName() {
  const ::testing::TestInfo* const info = ::testing::UnitTest::GetInstance()->current_test_info();
  if (!info) return "picture";
  std::string name = std::string(info->test_suite_name()) + "." + info->name();
  std::replace(name.begin(), name.end(), '/', '-');
  return name;
}

// The path of the files of one failed comparison, without what tells them apart.
std::string FailureBase() {
  static std::atomic<int> count{0};
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path folder = program.parent_path().parent_path() / "failed-pictures";
  std::filesystem::create_directories(folder, error);
  return (folder / (TestName() + "-" + std::to_string(++count))).string();
}

}  // namespace

Picture::Picture(int width_px, int height_px, int channel_count)
    : width(width_px),
      height(height_px),
      channels(channel_count),
      pixels(static_cast<std::size_t>(width_px) * static_cast<std::size_t>(height_px) *
             static_cast<std::size_t>(channel_count)) {}

Picture::Picture(const unsigned char* data, std::size_t pitch, int width_px, int height_px, int channel_count)
    : Picture(width_px, height_px, channel_count) {
  const std::size_t row = static_cast<std::size_t>(width_px) * static_cast<std::size_t>(channel_count);
  for (int y = 0; row > 0 && y < height_px; ++y) std::memcpy(at(0, y), data + pitch * static_cast<std::size_t>(y), row);
}

Picture Picture::Flipped() const {
  Picture result(width, height, channels);
  const std::size_t row = static_cast<std::size_t>(width) * static_cast<std::size_t>(channels);
  for (int y = 0; row > 0 && y < height; ++y) std::memcpy(result.at(0, height - 1 - y), at(0, y), row);
  return result;
}

Picture Picture::Channel(int channel) const {
  Picture result(width, height, 1);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) *result.at(x, y) = at(x, y)[channel];
  }
  return result;
}

Picture Flat(int width, int height, std::uint32_t rgb) {
  Picture picture(width, height, 4);
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    picture.pixels[i] = static_cast<unsigned char>(rgb >> 16);
    picture.pixels[i + 1] = static_cast<unsigned char>(rgb >> 8);
    picture.pixels[i + 2] = static_cast<unsigned char>(rgb);
    picture.pixels[i + 3] = 255;
  }
  return picture;
}

bool AreAlike(const Picture& actual, const Picture& expected, const Tolerance& tolerance) {
  return HaveOneShape(actual, expected) && Compare(actual, expected, tolerance).share <= tolerance.share;
}

::testing::AssertionResult PicturesMatch(const Picture& actual, const Picture& expected, const Tolerance& tolerance) {
  if (!HaveOneShape(actual, expected)) {
    return ::testing::AssertionFailure() << "the picture is " << Describe(actual) << ", expected "
                                         << Describe(expected);
  }
  Comparison comparison = Compare(actual, expected, tolerance);
  std::vector<Deviation>& over = comparison.over;
  const int largest = comparison.largest;
  const double share = comparison.share;
  char verdict[200];
  std::snprintf(verdict, sizeof(verdict),
                "largest difference %d; %.4f %% of the pixels are off by more than %d, and %.4f %% may be", largest,
                share * 100.0, tolerance.difference, tolerance.share * 100.0);
  std::printf("[ PICTURE  ] %s: %s\n", TestName().c_str(), verdict);
  if (share <= tolerance.share) return ::testing::AssertionSuccess();

  const auto worst_end =
      over.begin() + std::min<std::ptrdiff_t>(kWorstPixels, static_cast<std::ptrdiff_t>(over.size()));
  std::partial_sort(over.begin(), worst_end, over.end(),
                    [](const Deviation& a, const Deviation& b) { return a.difference > b.difference; });
  ::testing::AssertionResult result = ::testing::AssertionFailure();
  result << verdict << "\nthe worst pixels:";
  for (auto it = over.begin(); it != worst_end; ++it) {
    result << "\n  (" << it->x << ", " << it->y << ") is " << Describe(actual.at(it->x, it->y), actual.channels)
           << ", expected " << Describe(expected.at(it->x, it->y), expected.channels);
  }
  const std::string base = FailureBase();
  const bool written = WritePicture(actual, base + "-actual.png") && WritePicture(expected, base + "-expected.png") &&
                       WritePicture(Difference(actual, expected), base + "-difference.png");
  return result << (written ? "\nthe pictures are in " : "\nthe pictures could not be written to ") << base << "-*.png";
}

::testing::AssertionResult ComesToShow(const std::function<Picture()>& read, const std::function<bool()>& is_over,
                                       const Picture& expected, const Tolerance& tolerance) {
  Picture picture;
  ComesTrue([&] {
    picture = read();
    return AreAlike(picture, expected, tolerance) || is_over();
  });
  return PicturesMatch(picture, expected, tolerance);
}

bool WritePicture(const Picture& picture, const std::string& path) {
  // A pair of channels is shown as red and green.
  std::vector<unsigned char> rgb;
  const unsigned char* pixels = picture.pixels.data();
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  switch (picture.channels) {
    case 1: image.format = PNG_FORMAT_GRAY; break;
    case 2:
      for (std::size_t i = 0; i < picture.pixels.size(); i += 2) {
        rgb.insert(rgb.end(), {picture.pixels[i], picture.pixels[i + 1], 0});
      }
      pixels = rgb.data();
      image.format = PNG_FORMAT_RGB;
      break;
    case 4: image.format = PNG_FORMAT_RGBA; break;
    default: return false;
  }
  return png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr) != 0;
}

}  // namespace test
