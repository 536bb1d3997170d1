// The sound of quarn-record's films: what is heard, when, and how loud.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/examples/film_sound.h"

namespace {

using Arguments = std::vector<std::string>;

// Small and black: these films are heard.
const Arguments kDark = {"--canvas", "64x64"};

Arguments operator+(Arguments left, const Arguments& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// A terminal, which makes quarn-record show how far it is.
class Terminal {
 public:
  Terminal() { EXPECT_EQ(openpty(&ours_, &programs_, name_, nullptr, nullptr), 0); }
  ~Terminal() {
    close(programs_);
    close(ours_);
  }

  std::string name() const { return name_; }
  // What was written to it so far.
  std::string Read() {
    pollfd waiting = {ours_, POLLIN, 0};
    char piece[4096];
    while (poll(&waiting, 1, 0) == 1) {
      const ssize_t bytes = read(ours_, piece, sizeof(piece));
      if (bytes <= 0) break;
      text_.append(piece, static_cast<std::size_t>(bytes));
    }
    return text_;
  }
  // Waits until that many frames of the film were made.
  void WaitForFrames(int frames) {
    for (int ms = 0; ms < 60000; ms += 10) {
      const std::string text = Read();
      const std::size_t line = text.rfind('\r');
      const std::size_t count = line == std::string::npos ? line : text.find("] ", line);
      if (count != std::string::npos && std::atoi(&text[count + 2]) >= frames) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    FAIL() << text_;
  }

 private:
  int ours_ = -1;
  int programs_ = -1;
  char name_[64] = "";
  std::string text_;
};

class RecordSoundTest : public SoundTest {
 protected:
  // A tone in every channel.
  void MakeTone(const std::string& name, int hertz, double level, const std::string& seconds = "3",
                const std::string& rate = "48000") {
    Ffmpeg("-f lavfi -i aevalsrc=" + std::to_string(level) + "*sin(2*PI*t*" + std::to_string(hertz) + "):d=" + seconds +
           ":s=" + rate + ":c=stereo " + name);
  }

  // A film that is made as fast as it can be: for what does not depend on the clock.
  Ended Film(const std::string& film, const std::string& seconds, const Arguments& sounds) {
    return Live(film, seconds, sounds + Arguments{"--offline"});
  }
  // A film that is recorded in real time.
  Ended Live(const std::string& film, const std::string& seconds, const Arguments& sounds) {
    return Record(kDark + Arguments{"--duration", seconds, "-o", film} + sounds);
  }

  // Starts quarn-record on a terminal.
  pid_t StartOn(const Terminal& terminal, const Arguments& arguments) {
    const std::string record = std::string(QUARN_BIN_DIR) + "/quarn-record";
    return Start("/bin/sh", Arguments{"-c", "exec \"$@\" 2>" + terminal.name(), "sh", record} + kDark + arguments);
  }
};

TEST_F(RecordSoundTest, SoundsAreHeardFromTheirStartAtTheirGain) {
  MakeTone("low.wav", 440, 0.8);
  MakeTone("high.wav", 1500, 0.6);
  const Ended ended = Live("film.mp4", "2", {"--audio", "low.wav@0.5,0.5", "--audio", "high.wav@0.25,1.25"});
  EXPECT_NE(ended.out.find("  sound: aac, peak 0.5"), std::string::npos) << ended.out;
  EXPECT_EQ(ProbeSound("film.mp4"), "aac,48000,2");
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.end_s(), 2, 0.025);
  for (const int channel : {0, 1}) {
    SCOPED_TRACE(channel);
    EXPECT_NEAR(sound.FirstLoud(0, 0.1), 0.5, 0.005);
    EXPECT_LT(sound.Peak(channel, 0, 0.4), 0.02);
    EXPECT_NEAR(sound.Tone(channel, 440, 0.7, 1.1), 0.4, 0.01);
    EXPECT_LT(sound.Tone(channel, 1500, 0.7, 1.1), 0.01);
    EXPECT_NEAR(sound.Tone(channel, 440, 1.5, 1.9), 0.4, 0.01);
    EXPECT_NEAR(sound.Tone(channel, 1500, 1.5, 1.9), 0.15, 0.01);
  }
}

TEST_F(RecordSoundTest, ASoundMayEndBeforeTheFilm) {
  // Its last block is not a whole one: what follows is silence, on both sides.
  MakeTone("short.wav", 440, 0.8, "0.98");
  const Ended ended = Live("film.mp4", "1.5", {"--audio", "short.wav"});
  EXPECT_LT(Underruns(ended.out), 5) << ended.out;
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.end_s(), 1.5, 0.025);
  for (const int channel : {0, 1}) {
    EXPECT_NEAR(sound.Tone(channel, 440, 0.2, 0.8), 0.8, 0.02);
    EXPECT_LT(sound.Peak(channel, 1.1, 1.5), 0.001);
  }
}

TEST_F(RecordSoundTest, MonoIsHeardAsItIsOnBothSides) {
  Ffmpeg("-f lavfi -i aevalsrc=0.5*sin(2*PI*t*440):s=44100:d=2 mono.wav");
  Film("film.mp4", "1", {"--audio", "mono.wav"});
  const FilmSound sound = DecodeSound("film.mp4");
  for (const int channel : {0, 1}) EXPECT_NEAR(sound.Tone(channel, 440, 0.2, 0.8), 0.5, 0.01);
}

TEST_F(RecordSoundTest, SurroundIsFoldedIntoStereo) {
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

TEST_F(RecordSoundTest, OtherRatesKeepPitchAndTime) {
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

TEST_F(RecordSoundTest, LoudMixesAreCutAtFullScale) {
  MakeTone("a.wav", 440, 0.9);
  const Ended ended = Live("film.mp4", "0.5", {"--audio", "a.wav", "--audio", "a.wav"});
  EXPECT_NE(ended.out.find("peak 1.00 (0.0 dB)"), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("  sound clipped: "), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find(" samples (peak 1.80)\n"), std::string::npos) << ended.out;
}

TEST_F(RecordSoundTest, SilenceHasAPeakOfNothing) {
  MakeTone("a.wav", 440, 0.9);
  const Ended ended = Film("film.mp4", "0.5", {"--audio", "a.wav@0"});
  EXPECT_NE(ended.out.find("  sound: aac, peak 0.00, "), std::string::npos) << ended.out;
}

TEST_F(RecordSoundTest, NamesMayHoldWhatSeparates) {
  MakeTone("a.wav", 440, 0.5);
  std::filesystem::rename(Path("a.wav"), Path("me@home: a, b.wav"));
  const Ended ended =
      Film("film.mp4", "0.5", {"--audio", "me\\@home: a, b.wav@0.5", "--audio", "me\\@home: a\\, b.wav"});
  EXPECT_NE(ended.out.find("peak 0.75"), std::string::npos) << ended.out;
}

TEST_F(RecordSoundTest, VideoBringsItsSound) {
  MakeFlashes("clip.mp4", 2, 0.5, 10);
  Live("film.mp4", "1.5", {"--video", "clip.mp4,size=64x64,volume=0.5"});
  const FilmSound sound = DecodeSound("film.mp4");
  const double heard_s = sound.FirstLoud(0, 0.1);
  EXPECT_NEAR(heard_s, DecodeLight("film.mp4").FirstBright(0), 0.04);
  EXPECT_NEAR(sound.Tone(0, 1000, heard_s + 0.05, heard_s + 0.15), 0.4, 0.03);
}

TEST_F(RecordSoundTest, VideoMayBeSilenced) {
  MakeFlashes("clip.mp4", 1, 0.5, 10);
  const Ended ended = Film("film.mp4", "0.5", {"--video", "clip.mp4,volume=0"});
  EXPECT_EQ(ended.out.find("sound"), std::string::npos) << ended.out;
  EXPECT_EQ(ProbeSound("film.mp4"), "");
}

TEST_F(RecordSoundTest, VideoWithoutSoundMakesASilentFilm) {
  Ffmpeg("-f lavfi -i color=red:s=64x64:r=10:d=1 -c:v libx264 silent.mp4");
  Film("film.mp4", "0.5", {"--video", "silent.mp4"});
  EXPECT_EQ(ProbeSound("film.mp4"), "");
}

TEST_F(RecordSoundTest, SoundOfALoopStartsAgainWithItsPictures) {
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

TEST_F(RecordSoundTest, SoundThatBeginsBehindItsPicturesDoesSoInTheFilm) {
  MakeFlashes("clip.mp4", 2, 0.5, 10);
  // The pictures begin at 3 s, the sound 0.3 s behind them.
  Ffmpeg("-itsoffset 3 -i clip.mp4 -itsoffset 3.3 -i clip.mp4 -map 0:v -map 1:a -c:v copy -c:a flac late.mkv");
  Film("film.mp4", "1.5", {"--fps", "50", "--video", "late.mkv,size=64x64"});
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.FirstLoud(0, 0.2) - DecodeLight("film.mp4").FirstBright(0), 0.3, 0.04);
}

TEST_F(RecordSoundTest, StartTakesPicturesAndSoundFromThere) {
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

TEST_F(RecordSoundTest, SceneFilesNameSounds) {
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

TEST_F(RecordSoundTest, StillsOfSceneSoundsAreSilent) {
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

TEST_F(RecordSoundTest, EveryKindOfFilmHasTheSoundThatItTakes) {
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

TEST_F(RecordSoundTest, DamagedSoundIsHeardAsFarAsItGoes) {
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

TEST_F(RecordSoundTest, GapsInASoundKeepItsTime) {
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

TEST_F(RecordSoundTest, LatePicturesLeaveTheSoundWhereItIs) {
  // More than a software rasteriser does in a sixtieth of a second: pictures are repeated.
  MakeFlashes("clip.mp4", 4, 0.5, 1);
  const Ended ended = Record({"--canvas", "1280x720", "--fps", "60", "--duration", "3.8", "--video",
                              "clip.mp4,size=1280x720,filter=blur", "--color", "#ffffff08,spin=60", "-o", "film.mkv"});
  const FilmSound sound = DecodeSound("film.mkv");
  const FilmLight light = DecodeLight("film.mkv");
  for (const double flash_s : {0.5, 1.5, 2.5, 3.5}) {
    SCOPED_TRACE(flash_s);
    const double heard_s = sound.FirstLoud(flash_s - 0.3, 0.2), seen_s = light.FirstBright(flash_s - 0.3);
    EXPECT_NEAR(heard_s - light.times_s.front(), flash_s, 0.01);
    // What comes too late may be passed over, or be seen with the next flash: the one before may still be seen when
    // this one is looked for. It is never seen before it was made.
    if (seen_s < flash_s - 0.2 || seen_s > flash_s + 0.7) continue;
    EXPECT_GE(seen_s - heard_s, -0.04) << ended.out;
  }
}

// What a stream is made of: a WAV of floats whose length is not known.
std::string WavHeader() {
  const auto number = [](std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xff);
    return text;
  };
  return "RIFF" + number(0xffffffff, 4) + "WAVEfmt " + number(16, 4) + number(3, 2) + number(2, 2) + number(48000, 4) +
         number(48000 * 8, 4) + number(8, 2) + number(32, 2) + "data" + number(0xffffffff, 4);
}

// Seconds of stereo, each with a tone of its own: 400 Hz in the first, 100 Hz more in each that follows.
std::string Seconds(int first, int last) {
  std::string bytes;
  for (int second = first; second < last; ++second) {
    for (int i = 0; i < 48000; ++i) {
      const auto sample = static_cast<float>(0.5 * std::sin(2 * std::acos(-1.0) * (400 + 100 * second) * i / 48000));
      char raw[sizeof(sample)];
      std::memcpy(raw, &sample, sizeof(sample));
      bytes.append(raw, sizeof(raw)).append(raw, sizeof(raw));
    }
  }
  return bytes;
}

// Sends sound over a socket of its own.
class SoundSender {
 public:
  SoundSender() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address_), sizeof(address_)), 0);
    socklen_t size = sizeof(address_);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address_), &size);
    EXPECT_EQ(listen(listener_, 1), 0);
  }
  ~SoundSender() {
    close(listener_);
    if (receiver_ >= 0) close(receiver_);
  }

  std::string url() const { return "tcp://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)); }
  void Accept() { receiver_ = accept(listener_, nullptr, nullptr); }
  void Send(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
      const ssize_t sent = send(receiver_, &bytes[at], bytes.size() - at, MSG_NOSIGNAL);
      ASSERT_GT(sent, 0);
      at += static_cast<std::size_t>(sent);
    }
  }

 private:
  sockaddr_in address_ = {};
  const int listener_;
  int receiver_ = -1;
};

TEST_F(RecordSoundTest, ASenderThatStallsIsReportedAndSilent) {
  SoundSender sender;
  const pid_t pid =
      Start("quarn-record", kDark + Arguments{"--duration", "3", "--audio", sender.url() + "@0.8", "-o", "film.mp4"});
  sender.Accept();
  sender.Send(WavHeader() + Seconds(0, 1));  // And no more, but the connection stays.
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  // Twenty blocks a second; the last one that came may be cut by what the reader holds back.
  EXPECT_NE(ended.out.find("underruns:\n    " + sender.url() + ": "), std::string::npos) << ended.out;
  EXPECT_GE(Underruns(ended.out), 39) << ended.out;
  EXPECT_LE(Underruns(ended.out), 50) << ended.out;
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.end_s(), 3, 0.025);
  EXPECT_NEAR(sound.Tone(0, 400, 0.1, 0.4), 0.4, 0.02);
  for (const int channel : {0, 1}) EXPECT_LT(sound.Peak(channel, 1.1, 3), 0.001);
}

TEST_F(RecordSoundTest, WhatASenderBringsTooLateIsLeftOut) {
  SoundSender sender;
  Terminal terminal;
  const pid_t pid = StartOn(terminal, {"--duration", "5", "--audio", sender.url(), "-o", "film.mp4"});
  sender.Accept();
  sender.Send(WavHeader() + Seconds(0, 1));
  terminal.WaitForFrames(60);
  sender.Send(Seconds(1, 6));
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_NE(ended.out.find(" came late\n"), std::string::npos) << ended.out;
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.Tone(0, 400, 0.1, 0.4), 0.5, 0.02);
  EXPECT_LT(sound.Peak(0, 1.2, 1.8), 0.02);
  // Each second is heard at its own time again.
  EXPECT_NEAR(sound.Tone(0, 800, 4.3, 4.9), 0.5, 0.05) << ended.out;
}

TEST_F(RecordSoundTest, APipeThatStallsHoldsNothingUp) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const pid_t pid =
      Start("quarn-record", kDark + Arguments{"--duration", "1.5", "--audio", "pipe@0.8", "-o", "film.mp4"});
  const int pipe = open(Path("pipe").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  const std::string bytes = WavHeader() + Seconds(0, 1);
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t written = write(pipe, &bytes[at], bytes.size() - at);
    ASSERT_GT(written, 0);
    at += static_cast<std::size_t>(written);
  }
  const Ended ended = Wait(pid);  // The writer is still there.
  close(pipe);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_NE(ended.out.find("underruns:\n    pipe: "), std::string::npos) << ended.out;
  EXPECT_NEAR(DecodeSound("film.mp4").Tone(0, 400, 0.1, 0.4), 0.4, 0.02);
}

TEST_F(RecordSoundTest, PipesAreHeardToTheirEnd) {
  MakeTone("tone.wav", 440, 0.5, "0.5");
  const std::string record = std::string(QUARN_BIN_DIR) + "/quarn-record";
  const Ended ended = Run("/bin/sh", {"-c", "exec '" + record +
                                                "' --canvas 64x64 --duration 1 --audio /dev/stdin -o film.mp4 < "
                                                "/dev/null"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err.rfind("quarn-record: cannot open /dev/stdin: ", 0), 0u) << ended.err;
  const Ended piped = Run(
      "/bin/sh", {"-c", "cat tone.wav | '" + record + "' --canvas 64x64 --duration 1 --audio /dev/stdin -o film.mp4"});
  EXPECT_EQ(piped.exit_code, 0) << piped.err;
  EXPECT_LT(Underruns(piped.out), 5) << piped.out;
  const FilmSound sound = DecodeSound("film.mp4");
  EXPECT_NEAR(sound.Tone(0, 440, 0.1, 0.4), 0.5, 0.02);
  EXPECT_LT(sound.Peak(0, 0.6, 1), 0.001);
}

TEST_F(RecordSoundTest, VideoFromAPipeIsSilent) {
  // It cannot be opened a second time for its sound.
  MakeFlashes("clip.mp4", 1, 0.2, 10);
  Ffmpeg("-i clip.mp4 -c copy clip.mkv");
  const std::string record = std::string(QUARN_BIN_DIR) + "/quarn-record";
  const Ended piped = Run("/bin/sh", {"-c", "cat clip.mkv | '" + record +
                                                "' --canvas 64x64 --duration 0.5 --video /dev/stdin -o film.mp4"});
  EXPECT_EQ(piped.exit_code, 0) << piped.err;
  EXPECT_EQ(ProbeSound("film.mp4"), "");
  EXPECT_GT(DecodeLight("film.mp4").FirstBright(0), 0.1);
}

TEST_F(RecordSoundTest, DemoIsHeardOnItsBeat) {
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

TEST_F(RecordSoundTest, InterruptedFilmKeepsItsSound) {
  MakeTone("tone.wav", 440, 0.5, "60");
  Terminal terminal;
  const pid_t pid = StartOn(terminal, {"--duration", "600", "--audio", "tone.wav", "-o", "film.mp4"});
  terminal.WaitForFrames(30);
  kill(pid, SIGINT);
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_NE(ended.out.find("ended early"), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("peak 0.50"), std::string::npos) << ended.out;
  EXPECT_EQ(Files(), (std::vector<std::string>{"film.mp4", "tone.wav"}));
  const FilmSound sound = DecodeSound("film.mp4");
  const FilmLight light = DecodeLight("film.mp4");
  ASSERT_FALSE(light.times_s.empty());
  EXPECT_GT(sound.end_s(), light.times_s.back() - 0.05);
  EXPECT_LT(sound.end_s(), light.times_s.back() + 0.3);
  EXPECT_NEAR(sound.Tone(0, 440, sound.end_s() - 0.3, sound.end_s() - 0.1), 0.5, 0.02);
}

TEST_F(RecordSoundTest, InterruptedWhileASenderIsSlow) {
  // The film begins with the sender's third second, which does not come: it waits, and may be given up.
  SoundSender sender;
  const pid_t pid = Start("quarn-record", kDark + Arguments{"--start", "2", "--audio", sender.url(), "-o", "film.mp4"});
  sender.Accept();
  sender.Send(WavHeader() + Seconds(0, 1));
  std::error_code error;
  const auto started = [&] { return std::filesystem::exists(Path("film.mp4.part"), error); };
  for (int i = 0; i < 6000 && !started(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(pid, SIGINT);
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-record: stopped before the first frame: no film\n");
  EXPECT_TRUE(Files().empty());
}

TEST_F(RecordSoundTest, FullDiskLeavesNoFilm) {
  MakeTone("tone.wav", 440, 0.5);
  const Ended ended = RunOnFullDisk(20, "quarn-record",
                                    {"--canvas", "64x64", "--duration", "2", "--audio", "tone.wav", "-o", "film.ts"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-record: cannot write film.ts: File too large\n");
  EXPECT_EQ(Files(), std::vector<std::string>{"tone.wav"});
}

TEST_F(RecordSoundTest, UdpReceiverGetsTheSound) {
  MakeTone("tone.wav", 440, 0.5);
  const int receiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  socklen_t size = sizeof(address);
  getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size);
  const int room = 8 << 20;
  setsockopt(receiver, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));

  Live("udp://127.0.0.1:" + std::to_string(ntohs(address.sin_port)), "1", {"--audio", "tone.wav"});
  std::ofstream file(Path("received.ts"), std::ios::binary);
  char datagram[65536];
  for (ssize_t bytes = 0; (bytes = recv(receiver, datagram, sizeof(datagram), MSG_DONTWAIT)) > 0;) {
    file.write(datagram, bytes);
  }
  file.close();
  close(receiver);
  const FilmSound sound = DecodeSound("received.ts");
  const double begin_s = sound.pieces.front().time_s;
  EXPECT_NEAR(sound.end_s() - begin_s, 1, 0.1);
  EXPECT_NEAR(sound.Tone(0, 440, begin_s + 0.3, begin_s + 0.8), 0.5, 0.02);
}

TEST_F(RecordSoundTest, LevelIsShownBesideTheProgress) {
  MakeTone("tone.wav", 440, 0.1);  // -20 dB: half of the scale.
  Terminal terminal;
  EXPECT_EQ(Wait(StartOn(terminal, {"--duration", "1", "--audio", "tone.wav", "-o", "film.mp4"})).exit_code, 0);
  const std::string text = terminal.Read();
  EXPECT_NE(text.find(" of 30 frames, "), std::string::npos) << text;
  EXPECT_NE(text.find(", sound [#####.....] 0.10"), std::string::npos) << text;
}

}  // namespace
