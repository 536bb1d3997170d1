// The sound of quarn-record's films in real time: with the pictures, in spite of whatever is late.

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

TEST_F(RecordSoundTest, LoudMixesAreCutAtFullScale) {
  MakeTone("a.wav", 440, 0.9);
  const Ended ended = Live("film.mp4", "0.5", {"--audio", "a.wav", "--audio", "a.wav"});
  EXPECT_NE(ended.out.find("peak 1.00 (0.0 dB)"), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("  sound clipped: "), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find(" samples (peak 1.80)\n"), std::string::npos) << ended.out;
}

TEST_F(RecordSoundTest, VideoBringsItsSound) {
  MakeFlashes("clip.mp4", 2, 0.5, 10);
  Live("film.mp4", "1.5", {"--video", "clip.mp4,size=64x64,volume=0.5"});
  const FilmSound sound = DecodeSound("film.mp4");
  const double heard_s = sound.FirstLoud(0, 0.1);
  // How exactly they come together over many flashes is RecordSyncTest's; a single one may be late.
  EXPECT_NEAR(heard_s, DecodeLight("film.mp4").FirstBright(0), 0.2);
  EXPECT_NEAR(sound.Tone(0, 1000, heard_s + 0.05, heard_s + 0.15), 0.4, 0.03);
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
  for (int i = 0; i < 6000 && Files().empty(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(pid, SIGINT);
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-record: stopped before the first frame: no film\n");
  EXPECT_TRUE(Files().empty());
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
