// Picture and sound of quarn-record stay together, over more than a minute of real time. The instants are those of the
// film's own timestamps, so it does not matter how late the machine was.

#include <cmath>

#include "tests/examples/film_sound.h"

namespace {

class RecordSyncTest : public SoundTest {};

TEST_F(RecordSyncTest, FlashAndBeepStayTogetherForAMinute) {
  MakeFlashes("clip.mp4", 64, 1, 10);
  const Ended ended =
      Record({"--canvas", "160x90", "--fps", "50", "--duration", "62", "--video", "clip.mp4", "-o", "film.mp4"});
  const FilmSound sound = DecodeSound("film.mp4");
  const FilmLight light = DecodeLight("film.mp4");
  EXPECT_NEAR(sound.end_s(), 62, 0.025);
  for (int second = 1; second <= 61; second += 10) {
    SCOPED_TRACE(second);
    const double seen_s = light.FirstBright(second - 0.5), heard_s = sound.FirstLoud(second - 0.5, 0.2);
    EXPECT_NEAR(seen_s, second, 0.1) << ended.out;
    EXPECT_NEAR(heard_s, second, 0.1) << ended.out;
    EXPECT_LE(std::fabs(seen_s - heard_s), 0.040) << seen_s << " s seen, " << heard_s << " s heard\n" << ended.out;
    RecordProperty("heard_after_seen_ms_at_" + std::to_string(second), std::lround((heard_s - seen_s) * 1000));
  }
}

}  // namespace
