// The sound of a scene that is played and edited, without a window: what is heard follows what is shown.
#include "studio/live_sound.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>

#include <quarn/qn_os.h>

#include "tests/examples/example_program.h"

namespace studio {
namespace {

constexpr std::int64_t kMs = 1000000;
constexpr std::int64_t kBegin = 5000 * kMs;  // Of the clock.

using Plane = std::vector<float>;

class Keeper : public SoundMix::Receiver {
 public:
  void OnSound(const float* const* planes, int frames, std::uint64_t clock_ns) override {
    if (begin_ns == 0) begin_ns = clock_ns;
    EXPECT_EQ(clock_ns, begin_ns + left.size() * 1000000000 / kSoundRate);
    left.insert(left.end(), planes[0], planes[0] + frames);
  }

  Plane left;
  std::uint64_t begin_ns = 0;
};

class LiveSoundTest : public ExampleTest {
 protected:
  // A clip of gray pictures with a rising line as its sound, in both channels, and what that line is. A second is 48
  // thousandths of full scale.
  std::string MakeClip(const std::string& name, bool pictures) {
    const std::string sound = "-f lavfi -i aevalsrc=exprs=n/1000000:d=4:s=48000:c=mono -c:a pcm_f32le ";
    Ffmpeg((pictures ? "-f lavfi -i color=gray:s=16x16:r=10:d=4 -c:v ffv1 " : "") + sound + name);
    return Path(name);
  }
  static float Line(int frame) { return static_cast<float>(frame) / 1000000; }

  static LiveLayer Video(int id, const std::string& file, std::int64_t begin_ns = 0) {
    LiveLayer layer;
    layer.id = id;
    layer.layer.kind = LayerKind::kVideo;
    layer.layer.file = file;
    layer.begin_ns = begin_ns;
    return layer;
  }

  // Expects what is heard from `from_ms` to `to_ms` behind the beginning to be the line, with a gain, from `line_ms`
  // on.
  static void ExpectLine(const Plane& heard, int from_ms, int to_ms, int line_ms, float gain = 1) {
    for (int i = from_ms * 48; i < to_ms * 48; ++i) {
      ASSERT_NEAR(heard[i], Line(line_ms * 48 + i - from_ms * 48) * gain, 1e-7) << i / 48.0 << " ms";
    }
  }
  static void ExpectSilence(const Plane& heard, int from_ms, int to_ms) {
    for (int i = from_ms * 48; i < to_ms * 48; ++i) ASSERT_EQ(heard[i], 0) << i / 48.0 << " ms";
  }
};

TEST_F(LiveSoundTest, FollowsPlayPauseAndJumps) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin + 100 * kMs, true);
  timeline.SetRuns(kBegin + 260 * kMs, false);
  timeline.SetRuns(kBegin + 390 * kMs, true);
  timeline.Jump(kBegin + 510 * kMs, 2000 * kMs);
  timeline.Jump(kBegin + 640 * kMs, 0);
  Keeper keeper;
  LiveMix mix(&keeper, &timeline, {Sound{MakeClip("a.mov", false), 0.5f, 0}}, kBegin, kNoFilmEnd);
  mix.SetLayers({Video(1, MakeClip("b.mov", true))}, kBegin);
  mix.MixUntil(kBegin + 290 * kMs);
  EXPECT_EQ(keeper.left.size(), 250u * 48);  // Whole blocks.
  mix.Finish(kBegin + 777 * kMs);
  ASSERT_EQ(keeper.left.size(), 777u * 48);
  ExpectSilence(keeper.left, 0, 100);
  ExpectLine(keeper.left, 100, 260, 0, 1.5f);
  ExpectSilence(keeper.left, 260, 390);
  ExpectLine(keeper.left, 390, 510, 160, 1.5f);
  ExpectLine(keeper.left, 510, 640, 2000, 1.5f);
  ExpectLine(keeper.left, 640, 777, 0, 1.5f);
  EXPECT_TRUE(mix.TakeErrors().empty());
  EXPECT_NEAR(mix.level().peak(), Line(2130 * 48 - 1) * 1.5f, 1e-6);
}

TEST_F(LiveSoundTest, LayersComeAndGo) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin, true);
  const std::string clip = MakeClip("a.mov", true);
  Keeper keeper;
  LiveMix mix(&keeper, &timeline, {}, kBegin, kNoFilmEnd);
  // Added while the scene is played, it begins then; hidden, shown again, softer, deleted, and back by an undo.
  LiveLayer layer = Video(7, clip, 100 * kMs);
  LiveLayer hidden = layer, softer = layer;
  hidden.layer.visible = false;
  softer.layer.volume = 0.25f;
  mix.SetLayers({layer}, kBegin + 100 * kMs);
  mix.SetLayers({hidden}, kBegin + 300 * kMs);
  mix.SetLayers({layer}, kBegin + 500 * kMs);
  mix.SetLayers({softer}, kBegin + 600 * kMs);
  mix.SetLayers({}, kBegin + 800 * kMs);
  mix.SetLayers({softer}, kBegin + 1000 * kMs);
  mix.Finish(kBegin + 1200 * kMs);
  ASSERT_EQ(keeper.left.size(), 1200u * 48);
  ExpectSilence(keeper.left, 0, 100);
  ExpectLine(keeper.left, 100, 300, 0);
  ExpectSilence(keeper.left, 350, 500);  // The block before takes it out evenly.
  ExpectLine(keeper.left, 550, 600, 450);
  ExpectLine(keeper.left, 650, 800, 550, 0.25f);
  ExpectSilence(keeper.left, 850, 1000);
  ExpectLine(keeper.left, 1050, 1200, 950, 0.25f);
  for (std::size_t i = 1; i < keeper.left.size(); ++i) {
    // Nothing clicks but what begins at once: a second's worth of the line is less than this.
    if (i == 1000 * 48 || i == 500 * 48) continue;
    ASSERT_LT(std::fabs(keeper.left[i] - keeper.left[i - 1]), 0.001f) << i;
  }
}

TEST_F(LiveSoundTest, LayersFadeAsTheirPicturesDo) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin, true);
  LiveLayer layer = Video(1, MakeClip("a.mov", true));
  layer.layer.fade_in_s = 0.5f;
  layer.layer.fade_out_s = 1;  // It lasts four seconds.
  Keeper keeper;
  LiveMix mix(&keeper, &timeline, {}, kBegin, kNoFilmEnd);
  mix.SetLayers({layer}, kBegin);
  mix.Finish(kBegin + 4200 * kMs);
  for (int i = 0; i < 4000 * 48; i += 7) {
    const double gain = std::min({1.0, i / 24000.0, (192000 - i) / 48000.0});
    ASSERT_NEAR(keeper.left[i], Line(i) * gain, 1e-6) << i;
  }
  ExpectSilence(keeper.left, 4000, 4200);
}

// What has no end of its own goes with the scene's.
TEST_F(LiveSoundTest, LoopsAndSoundsFadeOutAtTheEndOfTheScene) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin, true);
  LiveLayer layer = Video(1, MakeClip("a.mov", true), 200 * kMs);
  layer.layer.loop = true;
  layer.layer.fade_out_s = 0.5f;
  Sound sound{MakeClip("b.mov", false)};
  sound.fade_out_s = 0.5;
  for (const bool of_video : {false, true}) {
    Keeper keeper;
    LiveMix mix(&keeper, &timeline, of_video ? std::vector<Sound>() : std::vector<Sound>{sound}, kBegin, 1000 * kMs);
    if (of_video) mix.SetLayers({layer}, kBegin);
    mix.Finish(kBegin + 1200 * kMs);
    const int begin = of_video ? 200 * 48 : 0;
    for (int i = begin; i < 1000 * 48; i += 7) {
      ASSERT_NEAR(keeper.left[i], Line(i - begin) * std::min(1.0, (48000 - i) / 24000.0), 1e-6) << i;
    }
    ExpectSilence(keeper.left, 1000, 1200);
  }
}

// Each jump opens the file anew, so those that are over at once are silent.
TEST_F(LiveSoundTest, NothingIsOpenedWhileTheTimeIsDrawnToAndFro) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin, true);
  for (int i = 0; i < 10; ++i) timeline.Jump(kBegin + (200 + 20 * i) * kMs, (500 + 100 * i) * kMs);
  Keeper keeper;
  LiveMix mix(&keeper, &timeline, {Sound{MakeClip("a.mov", false)}}, kBegin, kNoFilmEnd);
  mix.Finish(kBegin + 600 * kMs);
  ExpectLine(keeper.left, 0, 200, 0);
  ExpectSilence(keeper.left, 200, 380);
  ExpectLine(keeper.left, 380, 600, 1400);
}

TEST_F(LiveSoundTest, WhatCannotBeReadIsToldOnceAndSilent) {
  Timeline timeline(0);
  timeline.SetRuns(kBegin, true);
  Keeper keeper;
  LiveMix mix(&keeper, &timeline, {Sound{Path("none.wav"), 1, 0}, Sound{MakeClip("a.mov", false), 1, 0}}, kBegin,
              kNoFilmEnd);
  mix.Finish(kBegin + 200 * kMs);
  EXPECT_EQ(mix.TakeErrors(),
            std::vector<std::string>{"cannot open " + Path("none.wav") + ": No such file or directory"});
  ExpectLine(keeper.left, 0, 200, 0);
}

TEST_F(LiveSoundTest, TheThreadMixesToTheEndOfTheFilm) {
  const auto now_ns = static_cast<std::int64_t>(qn_os_gettime_ns());
  const std::int64_t begin_ns = now_ns - 900 * kMs;
  Timeline timeline(0);
  timeline.SetRuns(begin_ns, true);
  const LiveLayer layer = Video(1, MakeClip("a.mov", true));
  Keeper keeper;
  LiveSound sound(&keeper, &timeline, {}, {layer}, begin_ns, kNoFilmEnd);
  sound.SetLayers({layer});
  const MixReport report = sound.Finish(begin_ns + 1010 * kMs);
  ASSERT_EQ(keeper.left.size(), 1010u * 48);
  ExpectLine(keeper.left, 0, 1010, 0);
  EXPECT_EQ(report.clipped, 0u);
  EXPECT_NEAR(report.peak, Line(1010 * 48 - 1), 1e-6);
  EXPECT_NEAR(sound.TakeLevel(), report.peak, 1e-6);
  EXPECT_TRUE(sound.TakeErrors().empty());
}

// The frames of other times than the present: what a player of sound looks back at.
TEST(TimelineTest, RemembersWhatWasShownWhen) {
  Timeline timeline(70);
  EXPECT_EQ(timeline.At(1000).film_ns, 70);
  EXPECT_FALSE(timeline.At(1000).runs);
  timeline.SetRuns(100, true);
  timeline.Jump(150, 500);
  timeline.SetRuns(180, false);
  EXPECT_EQ(timeline.At(99).film_ns, 70);
  EXPECT_EQ(timeline.At(99).until_ns, 100);
  EXPECT_EQ(timeline.At(120).film_ns, 90);
  EXPECT_EQ(timeline.At(120).until_ns, 150);
  EXPECT_EQ(timeline.At(160).film_ns, 510);
  EXPECT_TRUE(timeline.At(160).runs);
  EXPECT_EQ(timeline.At(200).film_ns, 530);
  EXPECT_FALSE(timeline.At(200).runs);
  timeline.Jump(160, 0);  // What comes later is forgotten.
  EXPECT_EQ(timeline.At(190).film_ns, 30);
  for (int i = 0; i < 1000; ++i) timeline.Jump(1000 + i, i);
  EXPECT_EQ(timeline.At(1999).film_ns, 999);
  EXPECT_EQ(timeline.At(1990).film_ns, 990);
}

}  // namespace
}  // namespace studio
