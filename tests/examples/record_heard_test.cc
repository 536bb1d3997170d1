// What is heard in quarn-record's films, when, and how loud: all that does not depend on the clock.

#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/examples/film_sound.h"

namespace {

using Arguments = std::vector<std::string>;

class RecordHeardTest : public SoundTest {
 protected:
  // Small and black: these films are heard.
  Ended Film(const std::string& film, const std::string& seconds, const Arguments& sounds) {
    Arguments arguments = {"--canvas", "64x64", "--offline", "--duration", seconds, "-o", film};
    arguments.insert(arguments.end(), sounds.begin(), sounds.end());
    return Record(arguments);
  }
};

TEST_F(RecordHeardTest, MonoIsHeardAsItIsOnBothSides) {
  Ffmpeg("-f lavfi -i aevalsrc=0.5*sin(2*PI*t*440):s=44100:d=2 mono.wav");
  Film("film.mp4", "1", {"--audio", "mono.wav"});
  const FilmSound sound = DecodeSound("film.mp4");
  for (const int channel : {0, 1}) EXPECT_NEAR(sound.Tone(channel, 440, 0.2, 0.8), 0.5, 0.01);
}

TEST_F(RecordHeardTest, SurroundIsFoldedIntoStereo) {
  // Front left, front right, centre, low frequencies, back left, back right.
  Ffmpeg(
      "-f lavfi -i aevalsrc=0.2*sin(2*PI*t*300)|0.2*sin(2*PI*t*500)|0.2*sin(2*PI*t*700)|0|0|0:c=5.1:s=48000:d=2 "
      "surround.flac");
  Film("film.mp4", "1", {"--audio", "surround.flac"});
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.Tone(0, 300, 0.2, 0.8), 0.2, 0.01);
  EXPECT_LT(sound.Tone(1, 300, 0.2, 0.8), 0.01);
  EXPECT_LT(sound.Tone(0, 500, 0.2, 0.8), 0.01);
  EXPECT_NEAR(sound.Tone(1, 500, 0.2, 0.8), 0.2, 0.01);
  for (const int channel : {0, 1}) EXPECT_NEAR(sound.Tone(channel, 700, 0.2, 0.8), 0.2 / std::sqrt(2.0), 0.01);
}

TEST_F(RecordHeardTest, OtherRatesKeepPitchAndTime) {
  for (const std::string rate : {"44100", "22050", "96000"}) {
    SCOPED_TRACE(rate);
    MakeTone("tone.wav", 1000, 0.5, "1.5", rate);
    Film("film.mp4", "2", {"--audio", "tone.wav@1,0.25"});
    const FilmSound sound = DecodeSound("film.mp4");
    EXPECT_NEAR(sound.Tone(0, 1000, 0.5, 1.5), 0.5, 0.01);
    const double begin_s = sound.FirstLoud(0, 0.2);
    EXPECT_NEAR(begin_s, 0.25, 0.005);
    // The tone lasts as long in the film as in its file.
    EXPECT_GT(sound.Peak(0, begin_s + 1.4, begin_s + 1.49), 0.4);
    EXPECT_LT(sound.Peak(0, begin_s + 1.53, 2), 0.02);
  }
}

TEST_F(RecordHeardTest, SilenceHasAPeakOfNothing) {
  MakeTone("a.wav", 440, 0.9);
  const Ended ended = Film("film.mp4", "0.5", {"--audio", "a.wav@0"});
  EXPECT_NE(ended.out.find("  sound: aac, peak 0.00, "), std::string::npos) << ended.out;
}

TEST_F(RecordHeardTest, NamesMayHoldWhatSeparates) {
  MakeTone("a.wav", 440, 0.5);
  std::filesystem::rename(Path("a.wav"), Path("me@home: a, b.wav"));
  const Ended ended =
      Film("film.mp4", "0.5", {"--audio", "me\\@home: a, b.wav@0.5", "--audio", "me\\@home: a\\, b.wav"});
  EXPECT_NE(ended.out.find("peak 0.75"), std::string::npos) << ended.out;
}

TEST_F(RecordHeardTest, VideoMayBeSilenced) {
  MakeFlashes("clip.mp4", 1, 0.5, 10);
  const Ended ended = Film("film.mp4", "0.5", {"--video", "clip.mp4,volume=0"});
  EXPECT_EQ(ended.out.find("sound"), std::string::npos) << ended.out;
  EXPECT_EQ(ProbeSound("film.mp4"), "");
}

TEST_F(RecordHeardTest, VideoWithoutSoundMakesASilentFilm) {
  Ffmpeg("-f lavfi -i color=red:s=64x64:r=10:d=1 -c:v libx264 silent.mp4");
  Film("film.mp4", "0.5", {"--video", "silent.mp4"});
  EXPECT_EQ(ProbeSound("film.mp4"), "");
}

TEST_F(RecordHeardTest, SoundOfALoopStartsAgainWithItsPictures) {
  // 1.2 seconds of pictures; the sound is shorter in one clip, longer in the other.
  MakeFlashes("clip.mp4", 1.2, 0.4, 10);
  Ffmpeg("-i clip.mp4 -c:v copy -af atrim=end=0.8 shorter.mp4");
  Ffmpeg("-i clip.mp4 -c:v copy -af apad=whole_dur=2 longer.mp4");
  for (const std::string clip : {"shorter.mp4", "longer.mp4"}) {
    SCOPED_TRACE(clip);
    Film("film.mp4", "4", {"--fps", "50", "--video", clip + ",size=64x64,loop"});
    const FilmSound sound = DecodeSound("film.mp4");
    const FilmLight light = DecodeLight("film.mp4");
    for (const double flash_s : {0.4, 1.6, 2.8}) {
      SCOPED_TRACE(flash_s);
      EXPECT_NEAR(sound.FirstLoud(flash_s - 0.3, 0.2), light.FirstBright(flash_s - 0.3), 0.04);
      EXPECT_NEAR(sound.FirstLoud(flash_s - 0.3, 0.2), flash_s, 0.01);
      EXPECT_LT(sound.Peak(0, flash_s + 0.3, flash_s + 0.9), 0.02);
    }
  }
}

TEST_F(RecordHeardTest, SoundThatBeginsBehindItsPicturesDoesSoInTheFilm) {
  MakeFlashes("clip.mp4", 2, 0.5, 10);
  // The pictures begin at 3 s, the sound 0.3 s behind them.
  Ffmpeg("-itsoffset 3 -i clip.mp4 -itsoffset 3.3 -i clip.mp4 -map 0:v -map 1:a -c:v copy -c:a flac late.mkv");
  Film("film.mp4", "1.5", {"--fps", "50", "--video", "late.mkv,size=64x64"});
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.FirstLoud(0, 0.2) - DecodeLight("film.mp4").FirstBright(0), 0.3, 0.04);
}

// Whatever the container tells of lengths, and whichever begins first.
TEST_F(RecordHeardTest, VideosFadeOutWithTheirLastPicture) {
  const std::string sound = "-f lavfi -i aevalsrc=0.5*sin(2*PI*t*440):s=48000:d=", white = "-f lavfi -i color=white:";
  Ffmpeg(sound + "3 -itsoffset 1 " + white + "s=64x64:r=10:d=2 -c:v libx264 -bf 0 -c:a aac late.mp4");
  Ffmpeg(sound + "3 -itsoffset 1 " + white + "s=64x64:r=10:d=2 -c:v libx264 -bf 0 -c:a mp2 late.ts");
  Ffmpeg(sound + "4 " + white + "s=64x64:r=10:d=3 -c:v libx264 -bf 0 -c:a flac longer.mkv");
  for (const std::string clip : {"late.mp4", "late.ts", "longer.mkv"}) {
    SCOPED_TRACE(clip);
    Film("film.mkv", "3.4", {"--fps", "10", "--video", clip + ",size=64x64,fade=0:1"});
    const FilmLight light = DecodeLight("film.mkv");
    const FilmSound heard = DecodeSound("film.mkv");
    const auto light_at = [&](double time_s) { return light.levels[static_cast<std::size_t>(time_s * 10 + 0.5)]; };
    EXPECT_NEAR(light_at(1.9), 1, 0.05);
    EXPECT_NEAR(light_at(2.5), 0.5, 0.1);
    EXPECT_NEAR(light_at(3.1), 0, 0.05);
    EXPECT_NEAR(heard.Tone(0, 440, 1.7, 1.9), 0.5, 0.03);
    EXPECT_NEAR(heard.Tone(0, 440, 2.4, 2.6), 0.25, 0.03);
    EXPECT_LT(heard.Peak(0, 3.1, 3.3), 0.02);
  }
}

// Pictures have an end that is a whole number of them; a film of sound alone has its own.
TEST_F(RecordHeardTest, FilmsOfSoundAloneFadeOutAtTheirEnd) {
  MakeTone("tone.wav", 440, 0.5);
  Record({"--offline", "--duration", "1.4", "--fps", "1", "--audio", "tone.wav,fade=0:0.4", "-o", "film.wav"});
  EXPECT_NEAR(DecodeSound("film.wav").Tone(0, 440, 0.8, 0.98), 0.5, 0.02);
  EXPECT_NEAR(DecodeSound("film.wav").Tone(0, 440, 1.15, 1.25), 0.25, 0.02);
}

TEST_F(RecordHeardTest, StartTakesPicturesAndSoundFromThere) {
  MakeFlashes("clip.mp4", 4, 0.5, 1);
  MakeTone("tone.wav", 440, 0.5);
  Film("film.mp4", "1.5",
       {"--fps", "50", "--start", "2.2", "--video", "clip.mp4,size=64x64", "--audio", "tone.wav@1,3"});
  const FilmSound sound = DecodeSound("film.mp4");
  const FilmLight light = DecodeLight("film.mp4");
  EXPECT_NEAR(sound.FirstLoud(0, 0.2), 0.3, 0.01);
  EXPECT_NEAR(sound.FirstLoud(0, 0.2), light.FirstBright(0), 0.04);
  EXPECT_LT(sound.Tone(0, 440, 0.55, 0.75), 0.02);
  EXPECT_NEAR(sound.Tone(0, 440, 0.9, 1.25), 0.5, 0.02);

  // A loop in its 31st pass.
  MakeFlashes("loop.mp4", 1, 0.5, 10);
  Film("film.mp4", "1", {"--fps", "50", "--start", "30.2", "--video", "loop.mp4,size=64x64,loop"});
  EXPECT_NEAR(DecodeSound("film.mp4").FirstLoud(0, 0.2), 0.3, 0.01);
  EXPECT_NEAR(DecodeLight("film.mp4").FirstBright(0), 0.3, 0.04);
}

TEST_F(RecordHeardTest, SceneFilesNameSounds) {
  std::filesystem::create_directory(Path("scene"));
  MakeTone("scene/low.wav", 440, 0.8);
  MakeTone("high.wav", 1500, 0.8);
  MakeFlashes("scene/clip.mp4", 1, 0, 10);
  std::ofstream(Path("scene/scene.json")) << R"({
    "canvas": [64, 64], "duration": 1,
    "audio": [{"file": "low.wav", "gain": 0.5, "start": 0.5}],
    "layers": [{"video": "clip.mp4", "volume": 0}]
  })";
  Record({"--scene", "scene/scene.json", "--offline", "--audio", "high.wav@0.25", "-o", "film.mp4"});
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_LT(sound.Tone(0, 440, 0.1, 0.4), 0.02);
  EXPECT_NEAR(sound.Tone(0, 440, 0.6, 0.9), 0.4, 0.02);
  EXPECT_NEAR(sound.Tone(0, 1500, 0.1, 0.9), 0.2, 0.02);
  EXPECT_LT(sound.Tone(0, 1000, 0.05, 0.15), 0.02);
}

TEST_F(RecordHeardTest, StillsOfSceneSoundsAreSilent) {
  MakeTone("tone.wav", 440, 0.8);
  MakeFlashes("clip.mp4", 1, 0, 10);
  std::ofstream(Path("scene.json")) << R"({
    "canvas": [64, 64], "duration": 0.2, "audio": [{"file": "tone.wav"}], "layers": [{"video": "clip.mp4"}]
  })";
  Record({"--scene", "scene.json", "-o", "still.png"});
  // Nor is there sound in the kinds of film that take none.
  Record({"--scene", "scene.json", "--offline", "-o", "film.y4m"});
  EXPECT_EQ(Probe("film.y4m"), "rawvideo,64,64,30/1,6");
}

TEST_F(RecordHeardTest, EveryKindOfFilmHasTheSoundThatItTakes) {
  MakeFlashes("clip.mp4", 2, 0.5, 10);
  const struct {
    std::string film, sound;
  } kinds[] = {{"film.mov", "aac,48000,2"},
               {"film.mkv", "aac,48000,2"},
               {"film.ts", "aac,48000,2"},
               {"film.flv", "aac,48000,2"},
               {"film.webm", "opus,48000,2"}};
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.film);
    Film(kind.film, "1.5", {"--fps", "50", "--video", "clip.mp4,size=64x64"});
    EXPECT_EQ(ProbeSound(kind.film), kind.sound);
    const double heard_s = DecodeSound(kind.film).FirstLoud(0, 0.2), seen_s = DecodeLight(kind.film).FirstBright(0);
    EXPECT_GT(heard_s, 0.3);
    EXPECT_LE(std::fabs(heard_s - seen_s), 0.04) << heard_s << " s heard, " << seen_s << " s seen";
  }
}

TEST_F(RecordHeardTest, DamagedSoundIsHeardAsFarAsItGoes) {
  // What was cut off its end is silence.
  Ffmpeg("-f lavfi -i aevalsrc=0.5*sin(2*PI*t*440)*gte(t\\,2):d=3:s=48000:c=stereo -c:a aac -b:a 128k whole.mkv");
  std::string bytes = ReadFile(Path("whole.mkv"));
  ASSERT_GT(bytes.size(), 10000u);
  Film("whole.mp4", "2.8", {"--audio", "whole.mkv"});
  std::ofstream(Path("cut.mkv"), std::ios::binary) << bytes.substr(0, bytes.size() * 9 / 10);
  Film("cut.mp4", "2.8", {"--audio", "cut.mkv"});
  for (const std::string film : {"whole.mp4", "cut.mp4"}) {
    SCOPED_TRACE(film);
    const FilmSound sound = DecodeSound(film);
    EXPECT_NEAR(sound.end_s(), 2.8, 0.025);
    EXPECT_NEAR(sound.FirstLoud(0, 0.2), 2, 0.03);  // Matroska leaves what starts an AAC decoder in.
    EXPECT_NEAR(sound.Tone(0, 440, 2.1, 2.3), 0.5, 0.02);
  }
}

TEST_F(RecordHeardTest, GapsInASoundKeepItsTime) {
  // The times jump by a second, at the first packet from 0.5 s on.
  Ffmpeg(
      "-f lavfi -i aevalsrc=0.5*sin(2*PI*t*440):d=1:s=48000:c=stereo -af asetpts=PTS+gte(T\\,0.5)/TB -c:a pcm_s16le "
      "gap.mkv");
  Film("film.mp4", "2.3", {"--audio", "gap.mkv"});
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_GT(sound.Tone(0, 440, 0.1, 0.4), 0.45);
  EXPECT_LT(sound.Peak(0, 0.7, 1.3), 0.02);
  EXPECT_NEAR(sound.FirstLoud(0.8, 0.2), 1.5 + 0.012, 0.005);
  EXPECT_GT(sound.Tone(0, 440, 1.6, 1.9), 0.45);
  EXPECT_LT(sound.Peak(0, 2.15, 2.3), 0.02);
}

TEST_F(RecordHeardTest, DemoIsHeardOnItsBeat) {
  const std::string scene = std::string(QUARN_EXAMPLES_DIR) + "/scenes/demo.json";
  const Ended ended = Record(
      {"--scene", scene, "--output-size", "320x180", "--fps", "10", "--duration", "2", "--offline", "-o", "demo.mp4"});
  const FilmSound sound = DecodeSound("demo.mp4");
  // A drum on each beat over the tune, which stays below full scale.
  for (const double beat_s : {0.5, 1.0, 1.5}) {
    SCOPED_TRACE(beat_s);
    EXPECT_GT(sound.Tone(0, 55, beat_s, beat_s + 0.1), 2 * sound.Tone(0, 55, beat_s - 0.1, beat_s)) << ended.out;
  }
  EXPECT_LT(sound.Peak(0, 0, 2), 0.99);
}

}  // namespace
