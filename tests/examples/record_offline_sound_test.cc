// The sound of films that are made offline: compared sample by sample with what it should be.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/examples/film_sound.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr int kRate = 48000;

// A plane of samples.
using Plane = std::vector<float>;

class RecordOfflineSoundTest : public SoundTest {
 protected:
  // Writes noise that is the same every time, in 16 bits, and returns it: channel after channel.
  std::vector<Plane> MakeNoise(const std::string& name, int frames, std::uint32_t seed, float level) {
    std::vector<Plane> planes(2);
    std::string bytes;
    for (int i = 0; i < frames; ++i) {
      for (Plane& plane : planes) {
        seed = seed * 1664525 + 1013904223;
        const auto sample =
            static_cast<std::int16_t>(static_cast<float>(static_cast<std::int16_t>(seed >> 16)) * level);
        plane.push_back(static_cast<float>(sample) / 32768);
        bytes += static_cast<char>(sample & 0xff);
        bytes += static_cast<char>(sample >> 8 & 0xff);
      }
    }
    std::ofstream(Path("noise.raw"), std::ios::binary) << bytes;
    Ffmpeg("-f s16le -ar 48000 -ac 2 -i noise.raw " + name);
    return planes;
  }

  // Makes a film offline, of small and dark pictures, 25 a second; its sound is rounded to 16 bits and nothing else.
  Ended Film(const Arguments& arguments, const std::string& rate = "25") {
    Arguments all = {"--canvas", "64x64", "--fps", rate, "--offline", "-o", "film.mxf"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return Record(all);
  }

  // Expects the film's sound to be that, within a step of 16 bits.
  void ExpectSound(const std::vector<Plane>& expected) {
    const std::vector<Plane> sound = Samples();
    for (int c = 0; c < 2; ++c) {
      SCOPED_TRACE(c);
      ASSERT_EQ(sound[c].size(), expected[c].size());
      for (std::size_t i = 0; i < expected[c].size(); ++i) {
        ASSERT_NEAR(sound[c][i], expected[c][i], 1.01 / 32768) << "frame " << i;
      }
    }
  }

  // What the film's sound is made of.
  std::vector<Plane> Samples() {
    Ffmpeg("-i film.mxf -map 0:a:0 -f s16le samples.raw");
    const std::string bytes = ReadFile(Path("samples.raw"));
    std::vector<Plane> planes(2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
      const int sample = static_cast<unsigned char>(bytes[at]) | static_cast<signed char>(bytes[at + 1]) * 256;
      planes[at / 2 % 2].push_back(static_cast<float>(sample) / 32768);
    }
    return planes;
  }
};

// Adds `from`, from its frame `first` on, at frame `at` with a gain.
void Add(std::vector<Plane>* mix, const std::vector<Plane>& from, int at, float gain, int first = 0,
         int count = 1 << 30) {
  for (int c = 0; c < 2; ++c) {
    for (int i = 0; i < count && first + i < static_cast<int>(from[c].size()); ++i) {
      if (at + i >= 0 && at + i < static_cast<int>((*mix)[c].size())) (*mix)[c][at + i] += from[c][first + i] * gain;
    }
  }
}

std::vector<Plane> Silence(int frames) { return std::vector<Plane>(2, Plane(static_cast<std::size_t>(frames), 0.0f)); }

TEST_F(RecordOfflineSoundTest, EachSampleStandsInItsPlace) {
  const std::vector<Plane> a = MakeNoise("a.wav", 30000, 1, 0.4f), b = MakeNoise("b.wav", 30001, 2, 0.3f);
  // 27 pictures: the last block of sound is not a whole one. The starts are on neither pictures nor blocks.
  const Arguments film = {"--duration", "1.08", "--audio", "a.wav@0.5,0.1", "--audio", "b.wav@1.5,0.33337"};
  const Ended ended = Film(film);
  EXPECT_NE(ended.out.find("frames: 27 delivered"), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("  sound: pcm_s16le, peak 0."), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find(", no underrun\n"), std::string::npos) << ended.out;
  std::vector<Plane> expected = Silence(27 * kRate / 25);
  Add(&expected, a, 4800, 0.5f);
  Add(&expected, b, 16002, 1.5f);
  ExpectSound(expected);

  const std::string first = ReadFile(Path("film.mxf"));
  Film(film);
  EXPECT_TRUE(first == ReadFile(Path("film.mxf")));

  // From the middle of both.
  Film({"--duration", "0.4", "--start", "0.5", "--audio", "a.wav@0.5,0.1", "--audio", "b.wav@1.5,0.33337"});
  expected = Silence(10 * kRate / 25);
  Add(&expected, a, 4800 - 24000, 0.5f);
  Add(&expected, b, 16002 - 24000, 1.5f);
  ExpectSound(expected);
}

TEST_F(RecordOfflineSoundTest, SoundIsAsLongAsThePictures) {
  const std::vector<Plane> a = MakeNoise("a.wav", 30000, 3, 0.5f);
  Film({"--duration", "0.2336", "--audio", "a.wav"}, "29.97");
  EXPECT_EQ(Probe("film.mxf").rfind("mpeg2video,64,64,30000/1001,7", 0), 0u) << Probe("film.mxf");
  std::vector<Plane> expected = Silence(11211);  // 7 * 1001 / 30000 * 48000 = 11211.2
  Add(&expected, a, 0, 1);
  ExpectSound(expected);
}

TEST_F(RecordOfflineSoundTest, PartsOfASoundComeAndGo) {
  const std::vector<Plane> a = MakeNoise("a.wav", 48000, 4, 0.5f);
  const auto ramp = [](std::vector<Plane>* planes, int begin, int in, int end, int out) {
    for (Plane& plane : *planes) {
      for (int i = 0; i < static_cast<int>(plane.size()); ++i) {
        double gain = std::min(1.0, (end - i) / static_cast<double>(out));
        if (in > 0) gain = std::min(gain, (i - begin) / static_cast<double>(in));
        plane[i] *= static_cast<float>(std::max(gain, 0.0));
      }
    }
  };
  // From 0.25 s to 0.75 s, heard from 0.1 s on.
  Film({"--duration", "0.8", "--audio", "a.wav@1,0.1,trim=0.25:0.75,fade=0.2:0.1"});
  std::vector<Plane> expected = Silence(38400);
  Add(&expected, a, 4800, 1, 12000, 24000);
  ramp(&expected, 4800, 9600, 4800 + 24000, 4800);
  ExpectSound(expected);

  // A film that ends before the sound takes it out at its own end.
  Film({"--duration", "0.4", "--start", "0.2", "--audio", "a.wav,fade=0.3:0.1,trim=:0.9"});
  expected = Silence(19200);
  Add(&expected, a, -9600, 1);
  ramp(&expected, -9600, 14400, 19200, 4800);
  ExpectSound(expected);

  // Scene files say the same.
  std::ofstream(Path("scene.json")) << R"({"duration": 0.8, "audio": [
    {"file": "a.wav", "start": 0.1, "trim": "0.25:0.75", "fade": "0:0.1", "gain": 0.5}]})";
  Film({"--scene", "scene.json"});
  expected = Silence(38400);
  Add(&expected, a, 4800, 0.5f, 12000, 24000);
  ramp(&expected, 4800, 0, 4800 + 24000, 4800);
  ExpectSound(expected);
}

TEST_F(RecordOfflineSoundTest, TracksAreChosen) {
  const std::vector<Plane> a = MakeNoise("a.wav", 24000, 5, 0.5f), b = MakeNoise("b.wav", 24000, 6, 0.4f);
  Ffmpeg(
      "-f lavfi -i color=gray:s=32x32:r=25:d=0.5 -i a.wav -i b.wav -map 0:v -map 1:a -map 2:a -c:v ffv1 -c:a copy "
      "clip.mov");
  const struct {
    Arguments arguments;
    const std::vector<Plane>& heard;
  } cases[] = {{{"--audio", "clip.mov,track=0"}, a},
               {{"--audio", "clip.mov@1,track=1"}, b},
               {{"--video", "clip.mov,track=1"}, b},
               {{"--video", "clip.mov"}, a}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.arguments[1]);
    Arguments arguments = {"--duration", "0.48"};
    arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
    Film(arguments);
    std::vector<Plane> expected = Silence(23040);
    Add(&expected, test.heard, 0, 1);
    ExpectSound(expected);
  }
  for (const std::string option : {"--audio", "--video"}) {
    const Ended ended = Run("quarn-record", {option, "clip.mov,track=2", "--offline", "-o", "film.mp4"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_EQ(ended.err, "quarn-record: cannot decode clip.mov: no sound track 2: the last one is 1\n");
  }
  const Ended hidden = Film({"--duration", "0.2", "--video", "clip.mov,hidden"});
  EXPECT_EQ(hidden.out.find("sound"), std::string::npos) << hidden.out;
}

TEST_F(RecordOfflineSoundTest, LoopsOfVideosStartOverToTheSample) {
  // Ten pictures; the sound is shorter, then longer.
  for (const int length : {15000, 24000}) {
    SCOPED_TRACE(length);
    const std::vector<Plane> a = MakeNoise("a.wav", length, 7, 0.5f);
    Ffmpeg("-f lavfi -i color=gray:s=32x32:r=25:d=0.4 -i a.wav -c:v ffv1 -c:a copy clip.mov");
    Film({"--duration", "1", "--start", "30.2", "--video", "clip.mov,loop,volume=0.5"});
    std::vector<Plane> expected = Silence(kRate);
    for (int pass = 75; pass < 79; ++pass) Add(&expected, a, pass * 19200 - 30 * kRate - 9600, 0.5f, 0, 19200);
    ExpectSound(expected);
  }
}

TEST_F(RecordOfflineSoundTest, OtherRatesAreWithinASample) {
  for (const std::string rate : {"44100", "96000"}) {
    SCOPED_TRACE(rate);
    Ffmpeg("-f lavfi -i aevalsrc=0.5*sin(2*PI*t*200):d=1:c=stereo:s=" + rate + " tone.wav");
    Film({"--duration", "0.8", "--audio", "tone.wav@1,0.2"});
    const Plane sound = Samples()[0];
    ASSERT_EQ(sound.size(), 38400u);
    const double step = 2 * std::acos(-1.0) * 200 / kRate;  // What a sample makes of the phase.
    for (int i = 9600 + 480; i < 38400; ++i) {
      ASSERT_NEAR(sound[i], 0.5 * std::sin(step * (i - 9600)), 0.5 * step) << i;
    }
    for (int i = 0; i < 9600 - 48; ++i) ASSERT_NEAR(sound[i], 0, 0.01) << i;
  }
}

TEST_F(RecordOfflineSoundTest, WhatIsTooLoudIsCutAndCounted) {
  const std::vector<Plane> a = MakeNoise("a.wav", 14400, 8, 0.9f), b = MakeNoise("b.wav", 14400, 9, 0.9f);
  const Ended ended = Film({"--duration", "0.2", "--audio", "a.wav", "--audio", "b.wav@1.25", "--audio", "a.wav"});
  std::vector<Plane> expected = Silence(9600);
  Add(&expected, a, 0, 2);
  Add(&expected, b, 0, 1.25f);
  int clipped = 0;
  float peak = 0;
  for (Plane& plane : expected) {
    for (float& sample : plane) {
      peak = std::max(peak, std::fabs(sample));
      if (std::fabs(sample) > 1) ++clipped;
      sample = std::clamp(sample, -1.0f, 1.0f);
    }
  }
  char line[80];
  std::snprintf(line, sizeof(line), "  sound clipped: %d samples (peak %.2f)\n", clipped, static_cast<double>(peak));
  EXPECT_NE(ended.out.find(line), std::string::npos) << line << ended.out;
  EXPECT_NE(ended.out.find("peak 1.00 (0.0 dB)"), std::string::npos) << ended.out;
  ExpectSound(expected);
}

TEST_F(RecordOfflineSoundTest, SlowSendersAreWaitedFor) {
  const std::vector<Plane> a = MakeNoise("a.wav", 28800, 10, 0.5f);
  Ffmpeg("-i a.wav -c:a pcm_f32le -f nut a.nut");
  const std::string record = std::string(QUARN_BIN_DIR) + "/quarn-record";
  const Ended ended = Run("/bin/sh", {"-c", "(head -c 100000 a.nut; sleep 0.5; tail -c +100001 a.nut) | '" + record +
                                                "' --canvas 64x64 --fps 25 --duration 0.8 --offline --audio /dev/stdin "
                                                "-o film.mxf"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_NE(ended.out.find(", no underrun\n"), std::string::npos) << ended.out;
  std::vector<Plane> expected = Silence(38400);
  Add(&expected, a, 0, 1);
  ExpectSound(expected);
}

TEST_F(RecordOfflineSoundTest, AFilmThatWaitsForASenderCanBeEnded) {
  MakeNoise("a.wav", 48000, 11, 0.5f);
  Ffmpeg("-i a.wav -c:a pcm_f32le -f nut a.nut");
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const pid_t pid = Start("quarn-record", {"--canvas", "64x64", "--fps", "25", "--duration", "600", "--offline",
                                           "--audio", "pipe", "-o", "film.mxf"});
  const int pipe = open(Path("pipe").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  const std::string bytes = ReadFile(Path("a.nut"));
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t written = write(pipe, &bytes[at], bytes.size() - at);
    ASSERT_GT(written, 0);
    at += static_cast<std::size_t>(written);
  }
  kill(pid, SIGINT);
  const Ended ended = Wait(pid);  // The sender is still there.
  close(pipe);
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_NE(ended.out.find("ended early"), std::string::npos) << ended.out;
  const std::string probed = Probe("film.mxf"), head = "mpeg2video,64,64,25/1,";
  ASSERT_EQ(probed.rfind(head, 0), 0u) << probed;
  const int pictures = std::atoi(&probed[head.size()]);
  EXPECT_GT(pictures, 0);
  EXPECT_EQ(Samples()[0].size(), static_cast<std::size_t>(pictures) * kRate / 25);
}

// Sound runs far ahead of pictures that an encoder still holds, and waits for places in its queue.
TEST_F(RecordOfflineSoundTest, SlowPicturesMakeTheSameBytesEveryTime) {
  MakeNoise("a.wav", 48000, 12, 0.5f);
  const Arguments film = {"--canvas", "16x16",      "--fps",     "1",  "--duration", "30",
                          "--audio",  "a.wav@1,20", "--offline", "-o", "film.mkv"};
  Record(film);
  const std::string first = ReadFile(Path("film.mkv"));
  const FilmSound sound = DecodeSound("film.mkv");
  EXPECT_NEAR(sound.end_s(), 30, 0.05);
  EXPECT_NEAR(sound.FirstLoud(0, 0.1), 20, 0.03);  // Matroska leaves what starts an AAC decoder in.
  for (int i = 0; i < 2; ++i) {
    Record(film);
    EXPECT_TRUE(first == ReadFile(Path("film.mkv")));
  }
}

TEST_F(RecordOfflineSoundTest, DurationMayBeThatOfTheLongestMedium) {
  MakeNoise("a.wav", 48000, 13, 0.5f);
  Ffmpeg("-f lavfi -i color=gray:s=32x32:r=25:d=0.6 -c:v ffv1 clip.mkv");
  Ffmpeg("-f lavfi -i color=red:s=32x32 -frames:v 1 still.png");
  const struct {
    Arguments arguments;
    int pictures;
  } cases[] = {{{"--video", "clip.mkv", "--picture", "still.png"}, 15},
               {{"--video", "clip.mkv", "--audio", "a.wav"}, 25},
               {{"--video", "clip.mkv,loop", "--audio", "a.wav@1,0.4,trim=0.2:0.6"}, 20},
               {{"--video", "clip.mkv", "--start", "0.2"}, 10}};
  for (const auto& test : cases) {
    Arguments arguments = {"--canvas", "64x64", "--fps", "25", "--offline", "--duration", "auto", "-o", "film.y4m"};
    if (test.arguments[0] == "--video" && test.arguments.size() > 2 && test.arguments[2] == "--audio") {
      arguments.back() = "film.mkv";
    }
    arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
    EXPECT_NE(Record(arguments).out.find("frames: " + std::to_string(test.pictures) + " delivered"), std::string::npos);
  }
  std::ofstream(Path("scene.json")) << R"({"duration": "auto", "layers": [{"video": "clip.mkv"}]})";
  EXPECT_NE(Film({"--scene", "scene.json"}).out.find("frames: 15 delivered"), std::string::npos);

  const auto expect_error = [this](Arguments arguments, const std::string& line) {
    arguments.insert(arguments.end(), {"--offline", "--duration", "auto", "-o", "none.mkv"});
    ExpectError(arguments, 2, "duration auto: " + line);
  };
  expect_error({"--video", "clip.mkv,loop", "--picture", "still.png"}, "no video or sound of the scene has a length");
  expect_error({"--video", "clip.mkv", "--start", "1"}, "everything has ended before the film's start");
}

TEST_F(RecordOfflineSoundTest, BadOptionsOfSounds) {
  MakeNoise("a.wav", 4800, 14, 0.5f);
  const auto expect_error = [this](const std::string& sound, int exit_code, const std::string& line) {
    const Ended ended = Run("quarn-record", {"--audio", sound, "--offline", "-o", "film.mp4"});
    EXPECT_EQ(ended.exit_code, exit_code);
    EXPECT_EQ(ended.err, "quarn-record: " + line + "\n");
  };
  const auto bad = [](const std::string& sound, const std::string& what) { return "audio \"" + sound + "\": " + what; };
  expect_error("a.wav,track=-1", 2, bad("a.wav,track=-1", "\"-1\" is not the number of a track: 0 is the first"));
  expect_error("a.wav,trim=1", 2, bad("a.wav,trim=1", "\"1\" is not a part such as 2:5.5, 2: or :5.5"));
  expect_error("a.wav@1,0,trim=a:2", 2, bad("a.wav@1,0,trim=a:2", "\"a\" is not a number"));
  expect_error("a.wav,fade=1", 2, bad("a.wav,fade=1", "\"1\" is not a pair of seconds such as 1:2"));
  expect_error("a.wav,trim=2:1", 2, "audio trim: must end behind its start");
  expect_error("a.wav,fade=-1:0", 2, "audio fade: must be 0 to 86400 seconds");
  expect_error("a.wav,trim=1:", 1, "cannot trim a.wav: it ends before that");
  // A name may hold what looks like one.
  std::filesystem::rename(Path("a.wav"), Path("a,track=7"));
  Film({"--duration", "0.1", "--audio", "a\\,track=7,track=0"});
}

}  // namespace
