// The small example programs.

#include "tests/examples/film_sound.h"

namespace {

class HelloTest : public SoundTest {};

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

TEST_F(HelloTest, MixHoldsTheTonesAndTheFile) {
  for (const std::string rate : {"48000", "22050"}) {
    SCOPED_TRACE(rate);
    Ffmpeg("-f lavfi -i aevalsrc=0.6*sin(2*PI*t*1500)|0.4*sin(2*PI*t*2500):d=1.23:c=stereo:s=" + rate + " in.wav");
    const Ended ended = Run("hello-mix", {"in.wav", "out.wav"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find("1.23 s, peak 0.6"), std::string::npos) << ended.out;
    EXPECT_EQ(ProbeSound("out.wav"), "pcm_f32le," + rate + ",2");
    const FilmSound sound = DecodeSound("out.wav");
    EXPECT_NEAR(sound.end_s(), 1.23, 0.0001);
    // Over all of it, to the first sample and to the last.
    for (const double from_s : {0.0, 0.5, 1.13}) {
      SCOPED_TRACE(from_s);
      for (const int channel : {0, 1}) {
        EXPECT_NEAR(sound.Tone(channel, 440, from_s, from_s + 0.1), 0.2, 0.005);
        EXPECT_NEAR(sound.Tone(channel, 660, from_s, from_s + 0.1), 0.2, 0.005);
      }
      EXPECT_NEAR(sound.Tone(0, 1500, from_s, from_s + 0.1), 0.3, 0.005);
      EXPECT_NEAR(sound.Tone(1, 2500, from_s, from_s + 0.1), 0.2, 0.005);
      EXPECT_LT(sound.Tone(1, 1500, from_s, from_s + 0.1), 0.005);
    }
  }
}

TEST_F(HelloTest, MixComplainsWithoutFiles) {
  EXPECT_EQ(Run("hello-mix", {"missing.wav", "out.wav"}).exit_code, 2);
  EXPECT_EQ(Run("hello-mix", {}).exit_code, 2);
  EXPECT_TRUE(Files().empty());
  Ffmpeg("-f lavfi -i sine=d=0.1 in.wav");
  EXPECT_EQ(Run("hello-mix", {"in.wav", "none/out.wav"}).exit_code, 1);
}

}  // namespace
