// Picture and sound of quarn-record stay together, over more than a minute of real time. The instants are those of the
// film's own timestamps. A machine that stands still for a moment shows a flash late or leaves it out, and rightly so:
// what may not move is the middle of many.

#include <algorithm>
#include <cmath>

#include "tests/examples/film_sound.h"

namespace {

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

class RecordSyncTest : public SoundTest {};

TEST_F(RecordSyncTest, FlashAndBeepStayTogetherForAMinute) {
  MakeFlashes("clip.mp4", 64, 1, 1);
  const Ended ended =
      Record({"--canvas", "160x90", "--fps", "50", "--duration", "62", "--video", "clip.mp4", "-o", "film.mp4"});
  const FilmSound sound = DecodeSound("film.mp4");
  const FilmLight light = DecodeLight("film.mp4");
  EXPECT_NEAR(sound.end_s(), 62, 0.025) << ended.out;
  for (int minute_third = 0; minute_third < 3; ++minute_third) {
    SCOPED_TRACE(minute_third);
    std::vector<double> heard_late_s, seen_late_s, apart_s;
    for (int second = 1 + minute_third * 20; second <= 20 + minute_third * 20; ++second) {
      const double heard_s = sound.FirstLoud(second - 0.5, 0.2), seen_s = light.FirstBright(second - 0.5);
      heard_late_s.push_back(heard_s - second);
      if (seen_s < second - 0.5 || seen_s > second + 0.5) continue;  // Left out.
      seen_late_s.push_back(seen_s - second);
      apart_s.push_back(heard_s - seen_s);
    }
    ASSERT_GE(apart_s.size(), 10) << ended.out;
    EXPECT_NEAR(Median(heard_late_s), 0, 0.02) << ended.out;
    EXPECT_NEAR(Median(seen_late_s), 0, 0.04) << ended.out;
    EXPECT_NEAR(Median(apart_s), 0, 0.04) << ended.out;
    const std::string third = std::to_string(minute_third);
    RecordProperty("heard_after_seen_ms_in_third_" + third, std::lround(Median(apart_s) * 1000));
  }
}

}  // namespace
