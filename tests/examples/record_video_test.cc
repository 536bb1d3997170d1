// Videos drawn from their planes and from RGBA show the same, whatever their layout and the tags of their colours.
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/examples/example_program.h"

namespace {

class RecordVideoTest : public ExampleTest {
 protected:
  ~RecordVideoTest() override { unsetenv("QUARN_STUDIO_VIDEO"); }

  // The first picture of a video, drawn from that form of it.
  RgbFrame Draw(const char* form, const std::string& video, int width, int height) {
    setenv("QUARN_STUDIO_VIDEO", form, 1);
    const std::string canvas = std::to_string(width) + "x" + std::to_string(height);
    Record({"--canvas", canvas, "--fps", "10", "--duration", "0.2", "--offline", "--format", "bgra", "--video", video,
            "-o", "still.png"});
    const std::vector<RgbFrame> frames = Decode("still.png", width, height);
    return frames.empty() ? RgbFrame() : frames[0];
  }

  // The mean difference of the channels, in levels.
  static double Difference(const RgbFrame& one, const RgbFrame& other) {
    double sum = 0;
    for (std::size_t i = 0; i < one.rgb.size(); ++i) sum += std::abs(one.rgb[i] - other.rgb[i]);
    return sum / static_cast<double>(one.rgb.size());
  }
};

TEST_F(RecordVideoTest, ColorsAreTheirTags) {
  struct Media {
    const char* name;
    const char* conversion;
    const char* tags;
  };
  const Media kMedia[] = {
      {"601.mkv", "scale=out_color_matrix=bt601:out_range=tv,format=yuv420p",
       "-c:v ffv1 -colorspace smpte170m -color_range tv"},
      {"709.mkv", "scale=out_color_matrix=bt709:out_range=tv,format=yuv420p",
       "-c:v ffv1 -colorspace bt709 -color_range tv"},
      {"2020.mkv", "scale=out_color_matrix=bt2020:out_range=tv,format=yuv420p10le",
       "-c:v ffv1 -colorspace bt2020nc -color_range tv"},
      {"full.mkv", "scale=out_color_matrix=bt709:out_range=pc,format=yuv420p",
       "-c:v ffv1 -colorspace bt709 -color_range pc"},
      {"left.mkv", "scale=out_color_matrix=bt709:out_range=tv,format=yuv420p",
       "-c:v ffv1 -colorspace bt709 -color_range tv -chroma_sample_location left"},
      {"jpeg.avi", "scale=out_color_matrix=bt601:out_range=pc,format=yuvj420p", "-c:v mjpeg -q:v 1"},
      {"semiplanar.nut", "scale=out_color_matrix=bt601:out_range=tv,format=nv12", "-c:v rawvideo"},
      {"chroma.mkv", "scale=out_color_matrix=bt709:out_range=tv,format=yuv444p",
       "-c:v ffv1 -colorspace bt709 -color_range tv"},
      {"alpha.mkv", "scale=out_color_matrix=bt601:out_range=tv,format=yuva420p",
       "-c:v ffv1 -colorspace smpte170m -color_range tv"}};
  for (const Media& media : kMedia) {
    SCOPED_TRACE(media.name);
    Ffmpeg(std::string("-y -f lavfi -i color=0xC04020:s=67x51:r=10:d=0.5 -vf ") + media.conversion + " " + media.tags +
           " " + media.name);
    for (const char* const form : {"planes", "pixels"}) {
      SCOPED_TRACE(form);
      const RgbFrame frame = Draw(form, media.name, 68, 52);
      if (frame.rgb.empty()) continue;
      for (const auto& [x, y] : {std::pair<int, int>{2, 2}, {33, 25}, {65, 49}}) {
        ExpectPixel(frame, x, y, 0xC0, 0x40, 0x20);
      }
    }
  }
}

// Edges of chroma are drawn between its samples from planes, and in pairs of pixels otherwise: that the two differ
// there shows that both are what they should be.
TEST_F(RecordVideoTest, BothFormsShowTheSamePicture) {
  Ffmpeg("-f lavfi -i testsrc2=s=320x180:r=10:d=0.5 -vf format=yuv420p -c:v ffv1 clip.mkv");
  const RgbFrame planes = Draw("planes", "clip.mkv", 320, 180), pixels = Draw("pixels", "clip.mkv", 320, 180);
  EXPECT_LT(Difference(planes, pixels), 4);
  EXPECT_GT(Difference(planes, pixels), 0);
}

TEST_F(RecordVideoTest, BothFormsAreFiltered) {
  Ffmpeg("-f lavfi -i testsrc2=s=161x91:r=10:d=0.5 -vf format=yuv420p -c:v ffv1 clip.mkv");
  for (const std::string video : {"clip.mkv,filter=grey", "clip.mkv,filter=blur"}) {
    SCOPED_TRACE(video);
    EXPECT_LT(Difference(Draw("planes", video, 162, 92), Draw("pixels", video, 162, 92)), 4);
  }
}

// A smaller picture keeps its chroma where it is shrunk as pixels: the reader does so in either case.
TEST_F(RecordVideoTest, ShrunkPicturesArePixels) {
  Ffmpeg("-f lavfi -i testsrc2=s=640x360:r=10:d=0.5 -vf format=yuv420p -c:v ffv1 clip.mkv");
  const std::string video = "clip.mkv,size=161x91";
  EXPECT_EQ(Draw("planes", video, 170, 96).rgb, Draw("pixels", video, 170, 96).rgb);
}

}  // namespace
