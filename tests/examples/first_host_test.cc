// The programs of docs/first-host.md that need no window.

#include "tests/examples/film_sound.h"

namespace {

class FirstHostTest : public SoundTest {};

TEST_F(FirstHostTest, FilmHasEveryPictureOnce) {
  const Ended ended = Run("first-film", {});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_EQ(Probe("first-film.mp4"), "h264,640,360,30000/1001,90");
  const std::vector<RgbFrame> frames = Decode("first-film.mp4", 640, 360);
  ASSERT_EQ(frames.size(), 90u);
  for (std::size_t n = 0; n < frames.size(); ++n) {
    SCOPED_TRACE(n);
    const double x = -240 + 480 * static_cast<double>(n) / 89;
    const int left = static_cast<int>(320 + x - 80), right = static_cast<int>(320 + x + 80);
    // Pictures lie more than 5 pixels apart. What matrix the film's encoder chose does not matter here.
    const auto is_red = [&](int at) { return frames[n].At(at, 180)[0] > 128; };
    EXPECT_TRUE(is_red(left + 3));
    EXPECT_TRUE(is_red(right - 3));
    if (left - 3 >= 0) {
      EXPECT_FALSE(is_red(left - 3));
    }
    if (right + 3 < 640) {
      EXPECT_FALSE(is_red(right + 3));
    }
  }
}

TEST_F(FirstHostTest, SoundDiesAwayUnderTheFilm) {
  ASSERT_EQ(Run("first-film", {}).exit_code, 0);
  const Ended ended = Run("first-sound", {});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_EQ(ProbeSound("first-sound.mp4"), "aac,48000,1");
  const FilmSound sound = DecodeSound("first-sound.mp4");
  EXPECT_NEAR(sound.end_s(), 3, 0.05);
  for (const double from_s : {0.2, 1.0, 2.0, 2.7}) {
    SCOPED_TRACE(from_s);
    EXPECT_NEAR(sound.Tone(0, 440, from_s, from_s + 0.1), 0.5 * (1 - (from_s + 0.05) / 2.95), 0.02);
  }
}

TEST_F(FirstHostTest, SoundComplainsWithoutAFilm) { EXPECT_NE(Run("first-sound", {}).exit_code, 0); }

// Sends a line once the first camera is there, and waits for the other: what comes between the two is a mixture.
TEST_F(FirstHostTest, SwitcherFadesFromOneCameraToTheOther) {
  const Ended ended = Run("/bin/bash", {"-c", R"(
    mkfifo lines colours
    "$0" <lines 2>colours >/dev/null &
    exec {lines}>lines {colours}<colours
    until read -r -u "$colours" r g b && [ "$r" -gt 240 ]; do :; done
    echo >&"$lines"
    between=0
    while read -r -u "$colours" r g b && [ "$b" -lt 240 ]; do
      [ "$r" -lt 40 ] || [ "$r" -gt 230 ] || between=$((between + 1))
    done
    exec {lines}>&-
    cat <&"$colours" >/dev/null
    wait $! && echo "$between $r $b"
  )",
                                        QUARN_BIN_DIR "/switcher"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  int between = 0, red = 0, blue = 0;
  ASSERT_EQ(std::sscanf(ended.out.c_str(), "%d %d %d", &between, &red, &blue), 3) << ended.out;
  EXPECT_GT(between, 0);
  EXPECT_LT(red, 60);
  EXPECT_GE(blue, 240);
}

}  // namespace
