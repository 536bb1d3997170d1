// Runs the example programs in a folder of their own, and looks at the films that they make.
#ifndef QUARN_TESTS_EXAMPLES_EXAMPLE_PROGRAM_H_
#define QUARN_TESTS_EXAMPLES_EXAMPLE_PROGRAM_H_

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// How a program ended.
struct Ended {
  int exit_code = -1;  // 128 + the signal's number, as shells have it.
  std::string out;
  std::string err;
};

// A picture, 3 bytes a pixel, the top row first.
struct RgbFrame {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;

  const std::uint8_t* At(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
};

// A picture with a note of where it is flat: where all pixels within 3 of one have its colour. Chroma at half the size
// and encoders blur edges.
struct ReferenceFrame : RgbFrame {
  std::vector<bool> flat;
};

// A rectangle of the plain CPU reference.
struct Rect {
  double x, y, width, height, rotation_deg;
  int r, g, b;
  double alpha;
};

class ExampleTest : public testing::Test {
 protected:
  ExampleTest();
  ~ExampleTest() override;

  // The path of a file in the test's folder.
  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  // The names of the files in the test's folder, sorted; those that runs leave for this fixture do not count.
  std::vector<std::string> Files() const;

  // Runs a program of the build, or the one at an absolute path, in the test's folder.
  Ended Run(const std::string& program, const std::vector<std::string>& arguments);
  // Run in two steps: Start begins the program, and Wait tells how it ended.
  pid_t Start(const std::string& program, const std::vector<std::string>& arguments);
  Ended Wait(pid_t pid);

  // Runs a program that can write no file larger than `blocks` of 512 bytes, as on a full disk, and is not ended for
  // it.
  Ended RunOnFullDisk(int blocks, const std::string& program, const std::vector<std::string>& arguments);

  // Runs quarn-record, and expects it to fail with one line, and to leave the folder as it is.
  void ExpectError(const std::vector<std::string>& arguments, int exit_code, const std::string& line);
  // Runs quarn-record, and expects it to succeed silently.
  Ended Record(const std::vector<std::string>& arguments);
  // Runs ffmpeg to make media; arguments split at spaces.
  void Ffmpeg(const std::string& arguments);
  // "codec,width,height,rate,frames" of the film's only stream, the frames counted by decoding them.
  std::string Probe(const std::string& film);
  // Every frame of a film; YUV is taken for BT.709, limited range.
  std::vector<RgbFrame> Decode(const std::string& film, int width, int height);

 private:
  std::string folder_;
};

std::string ReadFile(const std::string& path);

// Draws rectangles over opaque black, each pixel by its centre. Positions are counted from the centre, y downwards.
ReferenceFrame Reference(int width, int height, const std::vector<Rect>& rects);

// Expects `frame` to be within `tolerance` of `reference` in each channel wherever the reference is flat, which must be
// most of it. Encoders may be further off, up to three times as much, in one of 200 pixels.
void ExpectNear(const RgbFrame& frame, const ReferenceFrame& reference, int tolerance);

// Expects one pixel to be within 6 of a colour.
void ExpectPixel(const RgbFrame& frame, int x, int y, int r, int g, int b);

#endif  // QUARN_TESTS_EXAMPLES_EXAMPLE_PROGRAM_H_
