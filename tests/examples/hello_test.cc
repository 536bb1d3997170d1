// The small example programs.

#include "tests/examples/example_program.h"

namespace {

class HelloTest : public ExampleTest {};

TEST_F(HelloTest, FrameHoldsTheTurnedPicture) {
  Ffmpeg("-f lavfi -i color=0x2060c0:s=200x100,format=rgba -frames:v 1 in.png");
  ASSERT_EQ(Run("hello-frame", {"in.png", "out.png"}).exit_code, 0);
  const std::vector<RgbFrame> frames = Decode("out.png", 640, 360);
  ASSERT_EQ(frames.size(), 1u);
  ExpectNear(frames[0], Reference(640, 360, {{0, 0, 200, 100, 15, 0x20, 0x60, 0xc0, 1}}), 1);
}

TEST_F(HelloTest, FrameComplainsWithoutPicture) {
  EXPECT_EQ(Run("hello-frame", {"missing.png", "out.png"}).exit_code, 2);
  EXPECT_TRUE(Files().empty());
}

TEST_F(HelloTest, TextureReportsTenFrames) {
  const Ended ended = Run("hello-texture", {});
  EXPECT_EQ(ended.exit_code, 0);
  std::size_t count = 0;
  for (std::size_t at = 0; (at = ended.out.find("640 x 360 at ", at)) != std::string::npos; ++at) ++count;
  EXPECT_GE(count, 10u);
}

}  // namespace
