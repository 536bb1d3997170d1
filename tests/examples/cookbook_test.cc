// The programs of docs/cookbook.md that need no window.

#include <cstdio>

#include "tests/examples/film_sound.h"

namespace {

class CookbookTest : public SoundTest {
 protected:
  // What the program of a recipe has made.
  std::vector<RgbFrame> FramesOf(const std::string& recipe, const std::string& film) {
    const Ended ended = Run("cookbook-" + recipe, {});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    return Decode(film, 320, 180);
  }
  void ExpectColor(const RgbFrame& frame, int x, int y, int r, int g, int b, int tolerance = 2) {
    SCOPED_TRACE(testing::Message() << "at " << x << ", " << y);
    const std::uint8_t* const at = frame.At(x, y);
    EXPECT_NEAR(at[0], r, tolerance);
    EXPECT_NEAR(at[1], g, tolerance);
    EXPECT_NEAR(at[2], b, tolerance);
  }
};

// In real time: how many pictures there are and where the sound begins is the machine's, that there are both is not.
TEST_F(CookbookTest, RecordHasPictureAndSound) {
  const std::vector<RgbFrame> frames = FramesOf("record", "record.mp4");
  ASSERT_GE(frames.size(), 30u);
  ASSERT_LE(frames.size(), 90u);
  for (const std::size_t n : {std::size_t{1}, frames.size() / 2, frames.size() - 1}) {
    SCOPED_TRACE(n);
    EXPECT_GT(frames[n].At(160, 90)[0], 200);  // The card.
    EXPECT_LT(frames[n].At(160, 90)[2], 60);
    EXPECT_LT(frames[n].At(10, 10)[0], 20);
  }
  EXPECT_EQ(ProbeSound("record.mp4"), "aac,48000,1");
  const FilmSound sound = DecodeSound("record.mp4");
  EXPECT_GT(sound.end_s(), 1);
  EXPECT_NEAR(sound.Tone(0, 440, 0.5, 0.8), 0.25, 0.02);
}

TEST_F(CookbookTest, PictureInPictureIsFramedInTheCorner) {
  const std::vector<RgbFrame> frames = FramesOf("picture-in-picture", "picture-in-picture.png");
  ASSERT_EQ(frames.size(), 1u);
  ExpectColor(frames[0], 160, 90, 255, 255, 0);  // The card of the first camera,
  ExpectColor(frames[0], 20, 160, 0, 0, 255);    // and what is round it.
  ExpectColor(frames[0], 260, 38, 255, 255, 0);  // The card of the second,
  ExpectColor(frames[0], 220, 20, 0, 128, 0);    // and what is round that.
  ExpectColor(frames[0], 211, 38, 255, 255, 255);
  ExpectColor(frames[0], 308, 38, 255, 255, 255);
  ExpectColor(frames[0], 313, 38, 0, 0, 255);
}

TEST_F(CookbookTest, CrossFadeGoesFromOneSceneToTheOther) {
  const std::vector<RgbFrame> frames = FramesOf("cross-fade", "cross-fade.mp4");
  ASSERT_EQ(frames.size(), 32u);
  // What matrix the encoder chose makes other greens, and is left alone.
  for (std::size_t n = 0; n < frames.size(); ++n) {
    SCOPED_TRACE(n);
    const double share = n < 30 ? static_cast<double>(n) / 30 : 1;
    const std::uint8_t* const at = frames[n].At(160, 90);
    EXPECT_NEAR(at[0], 255 * (1 - share), 25);
    EXPECT_NEAR(at[2], 255 * share, 25);
  }
}

TEST_F(CookbookTest, CaptionIsSeenInItsTime) {
  const std::vector<RgbFrame> frames = FramesOf("captions", "captions.mp4");
  ASSERT_EQ(frames.size(), 30u);
  for (std::size_t n = 0; n < frames.size(); ++n) {
    SCOPED_TRACE(n);
    int bright = 0, beside = 0;
    for (int y = 0; y < 180; ++y) {
      for (int x = 0; x < 320; ++x) {
        const bool is_bright = frames[n].At(x, y)[0] > 200 && frames[n].At(x, y)[1] > 200;
        (y >= 134 && y < 174 ? bright : beside) += is_bright;
      }
    }
    EXPECT_EQ(beside, 0);
    if (n >= 9 && n < 21) {
      EXPECT_GT(bright, 300);
      EXPECT_LT(bright, 4000);
    } else {
      EXPECT_EQ(bright, 0);
    }
  }
}

TEST_F(CookbookTest, MetersTellOfInputsAndOfTheirSum) {
  const Ended ended = Run("cookbook-meters", {});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
  const std::string loud = "voice -6.0 -9.0  music -12.0 -15.1  sum -2.5 -5.5  \n";
  const std::string alone = "voice -6.0 -9.0  music -100.0 -100.0  sum -6.0 -9.0  \n";
  ASSERT_GE(ended.out.size(), 3 * loud.size() + 2 * alone.size());
  // The messages of the log are there as well; between the two kinds is the block in which the music goes.
  EXPECT_NE(ended.out.find(loud + loud + loud), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find(alone + alone), std::string::npos) << ended.out;
}

TEST_F(CookbookTest, OfflineIsExactAndTheSameTwice) {
  const std::vector<RgbFrame> frames = FramesOf("offline", "offline.mkv");
  const std::string bytes = ReadFile(Path("offline.mkv"));
  ASSERT_EQ(frames.size(), 30u);
  for (std::size_t n = 0; n < frames.size(); ++n) {
    SCOPED_TRACE(n);
    const int left = static_cast<int>(8 * n);
    ExpectColor(frames[n], left, 90, 0, 255, 0);
    ExpectColor(frames[n], left + 79, 90, 0, 255, 0);
    ExpectColor(frames[n], left + 80, 90, 0, 0, 0);
    if (n > 0) ExpectColor(frames[n], left - 1, 90, 0, 0, 0);
  }
  const FilmSound sound = DecodeSound("offline.mkv");
  EXPECT_EQ(sound.planes[0].size(), 48000u);
  EXPECT_NEAR(sound.Tone(0, 440, 0, 1), 0.25, 0.001);
  ASSERT_EQ(Run("cookbook-offline", {}).exit_code, 0);
  EXPECT_EQ(ReadFile(Path("offline.mkv")), bytes);
}

}  // namespace
