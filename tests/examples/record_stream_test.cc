// Films that quarn-record sends to a receiver, and receivers that misbehave.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/examples/example_program.h"

namespace {

class RecordStreamTest : public ExampleTest {
 protected:
  ~RecordStreamTest() override { Close(); }

  // Opens a receiver on loopback, and returns its port.
  int Open(int type) {
    receiver_ = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(receiver_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    socklen_t size = sizeof(address);
    getsockname(receiver_, reinterpret_cast<sockaddr*>(&address), &size);
    const int room = type == SOCK_DGRAM ? 8 << 20 : 4096;
    setsockopt(receiver_, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    return ntohs(address.sin_port);
  }

  void Close() {
    if (receiver_ >= 0) close(receiver_);
    receiver_ = -1;
  }

  // The next datagram; empty when none comes within `timeout_ms`.
  std::string Receive(int timeout_ms) {
    pollfd waiting = {receiver_, POLLIN, 0};
    if (poll(&waiting, 1, timeout_ms) != 1) return "";
    char datagram[65536];
    const ssize_t size = recv(receiver_, datagram, sizeof(datagram), 0);
    return size > 0 ? std::string(datagram, static_cast<std::size_t>(size)) : "";
  }

  // A port that nobody has.
  int FreePort(int type) {
    const int port = Open(type);
    Close();
    return port;
  }

  // Waits until a program listens on a port.
  static void WaitForListener(int port) {
    char local[16];
    std::snprintf(local, sizeof(local), ":%04X ", port);
    for (int i = 0; i < 12000; ++i) {
      std::istringstream lines(ReadFile("/proc/net/tcp"));
      for (std::string line; std::getline(lines, line);) {
        if (line.find(local) != std::string::npos && line.find(" 0A ") != std::string::npos) return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "nobody listens on " << port;
  }

  // Sends a film with sound to ffmpeg, which waits at `url` with `options`, and expects it to arrive whole.
  void ExpectArrives(const std::vector<std::string>& options, const std::string& url, int port,
                     const std::string& container) {
    Ffmpeg("-f lavfi -i sine=d=3 sound.wav");
    std::vector<std::string> words = {"-v", "error", "-nostdin", "-y"};
    words.insert(words.end(), options.begin(), options.end());
    const std::string film = "received." + container;
    words.insert(words.end(), {"-i", url, "-c", "copy", film});
    const pid_t receiver = Start(FFMPEG, words);
    WaitForListener(port);
    const Ended ended =
        Record({"--canvas", "320x180", "--color", "#c03050", "--duration", "1", "--audio", "sound.wav", "-o", url});
    EXPECT_EQ(ended.out.find("packets that no receiver took"), std::string::npos) << ended.out;
    Wait(receiver);  // Some call it an error that the film ends.
    const Ended probed = Run(FFPROBE, {"-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", film});
    EXPECT_EQ(probed.out.rfind("h264\naac\n", 0), 0u) << probed.out;
    const std::vector<RgbFrame> frames = Decode(film, 320, 180);
    if (ended.out.find(" 0 dropped by the host") != std::string::npos) {
      EXPECT_EQ(frames.size(), 30u);
    }
    ASSERT_FALSE(frames.empty());
    ExpectPixel(frames.back(), 160, 90, 0xc0, 0x30, 0x50);
  }

  // What no encoder makes small.
  void MakeNoise() { Ffmpeg("-f lavfi -i nullsrc=s=320x180,geq=random(1)*255:128:128 -frames:v 1 noise.png"); }

  int receiver_ = -1;
};

TEST_F(RecordStreamTest, UdpReceiverGetsTheFilm) {
  const std::string url = "udp://127.0.0.1:" + std::to_string(Open(SOCK_DGRAM));
  const pid_t pid = Start("quarn-record", {"--canvas", "320x180", "--color", "#c03050", "--duration", "1", "-o", url});
  const Ended ended = Wait(pid);  // All of it fits into the receiver's buffer.
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  EXPECT_NE(ended.out.find("frames: 30 delivered, "), std::string::npos) << ended.out;

  std::ofstream file(Path("received.ts"), std::ios::binary);
  for (std::string datagram; !(datagram = Receive(0)).empty();) {
    EXPECT_LE(datagram.size(), 1316u);
    EXPECT_EQ(datagram.size() % 188, 0u);
    file << datagram;
  }
  file.close();
  const std::vector<RgbFrame> frames = Decode("received.ts", 320, 180);
  EXPECT_GE(frames.size(), 25u);
  ASSERT_FALSE(frames.empty());
  for (const RgbFrame& frame : frames) ExpectPixel(frame, 160, 90, 0xc0, 0x30, 0x50);
}

TEST_F(RecordStreamTest, UdpReceiverMayGoAway) {
  MakeNoise();
  const std::string url = "udp://127.0.0.1:" + std::to_string(Open(SOCK_DGRAM)) + "?connect=1";
  const pid_t pid =
      Start("quarn-record", {"--canvas", "320x180", "--picture", "noise.png,spin=4000", "--duration", "1", "-o", url});
  EXPECT_FALSE(Receive(60000).empty());
  Close();
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  EXPECT_NE(ended.out.find("frames: 30 delivered, "), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("packets that no receiver took: "), std::string::npos) << ended.out;
}

TEST_F(RecordStreamTest, NobodyMayListenAtAll) {
  const std::string url = "udp://127.0.0.1:" + std::to_string(Open(SOCK_DGRAM));
  Close();
  const Ended ended = Record({"--canvas", "320x180", "--duration", "0.5", "-o", url});
  EXPECT_NE(ended.out.find("frames: 15 delivered, "), std::string::npos) << ended.out;
}

TEST_F(RecordStreamTest, LaggingReceiverStallsNothing) {
  // A receiver that takes the connection and reads nothing: the film ends on time, what has no room is dropped.
  // Uncompressed, it is 40 MB: more than any socket takes.
  const int port = Open(SOCK_STREAM);
  ASSERT_EQ(listen(receiver_, 1), 0);
  const Ended ended = Record({"--canvas", "640x360", "--color", "#c03050", "--fps", "60", "--duration", "2", "-o",
                              "tcp://127.0.0.1:" + std::to_string(port) + "/film.y4m"});
  EXPECT_NE(ended.out.find("frames: 120 delivered, "), std::string::npos) << ended.out;
  EXPECT_EQ(ended.out.find(" 0 dropped by the host"), std::string::npos) << ended.out;
}

TEST_F(RecordStreamTest, LaggingReceiverStallsNoSound) {
  MakeNoise();
  Ffmpeg("-f lavfi -i sine=d=6 sound.wav");
  const int port = Open(SOCK_STREAM);
  ASSERT_EQ(listen(receiver_, 1), 0);
  const Ended ended =
      Record({"--canvas", "320x180", "--picture", "noise.png,spin=4000", "--fps", "60", "--duration", "3", "--audio",
              "sound.wav", "-o", "tcp://127.0.0.1:" + std::to_string(port) + "/film.ts"});
  EXPECT_NE(ended.out.find("frames: 180 delivered, "), std::string::npos) << ended.out;
  EXPECT_EQ(ended.out.find("sound dropped by the host: "), std::string::npos) << ended.out;
}

TEST_F(RecordStreamTest, ConnectionRefusedIsOneLine) {
  const std::string url = "tcp://127.0.0.1:" + std::to_string(Open(SOCK_STREAM));
  Close();
  ExpectError({"--canvas", "320x180", "-o", url}, 1, "cannot write " + url + ": Connection refused");
}

TEST_F(RecordStreamTest, RtmpServerGetsTheFilm) {
  const int port = FreePort(SOCK_STREAM);
  ExpectArrives({"-listen", "1"}, "rtmp://127.0.0.1:" + std::to_string(port) + "/live/film", port, "flv");
}

TEST_F(RecordStreamTest, RtspServerGetsTheFilm) {
  const int port = FreePort(SOCK_STREAM);
  ExpectArrives({"-rtsp_flags", "listen"}, "rtsp://127.0.0.1:" + std::to_string(port) + "/film?tcp", port, "mkv");
}

TEST_F(RecordStreamTest, HttpServerGetsTheFilm) {
  const int port = FreePort(SOCK_STREAM);
  ExpectArrives({"-listen", "1"}, "http://127.0.0.1:" + std::to_string(port) + "/film", port, "ts");
}

TEST_F(RecordStreamTest, RtpReceiverGetsTheFilm) {
  const std::string url = "rtp://127.0.0.1:" + std::to_string(Open(SOCK_DGRAM));
  Record({"--canvas", "320x180", "--color", "#c03050", "--duration", "1", "--offline", "-o", url});
  std::ofstream file(Path("received.ts"), std::ios::binary);
  for (std::string datagram; !(datagram = Receive(0)).empty();) {
    ASSERT_GT(datagram.size(), 12u);
    EXPECT_EQ(static_cast<unsigned char>(datagram[0]), 0x80);
    EXPECT_EQ(datagram[1] & 0x7f, 33);  // What stands for MPEG-TS.
    file << datagram.substr(12);
  }
  file.close();
  EXPECT_EQ(Decode("received.ts", 320, 180).size(), 30u);
}

TEST_F(RecordStreamTest, WhatNobodyTookIsNoSuccess) {
  // Nothing may be sent there without being asked to.
  const std::string url = "udp://255.255.255.255:9";
  const Ended ended = Run("quarn-record", {"--canvas", "64x64", "--duration", "0.5", "--offline", "-o", url});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err.rfind("quarn-record: cannot write " + url + ": no receiver took any of it: ", 0), 0u)
      << ended.err;
  EXPECT_EQ(ended.out, "");
}

TEST_F(RecordStreamTest, UnknownProtocolIsOneLine) {
  ExpectError({"--canvas", "64x64", "-o", "gopher://127.0.0.1/film.ts"}, 2,
              "cannot write gopher://127.0.0.1/film.ts: films are not sent with \"gopher\"");
}

}  // namespace
