// What OpenMedia opens, and what it leaves alone that a file names: playlists, numbered pictures, pictures of any size.
#include "studio/media_file.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

#include "studio/error.h"
#include "studio/media_reader.h"
#include "tests/examples/example_program.h"

namespace studio {
namespace {

constexpr char kElsewhere[] = ": it names other files or addresses, which are not opened";

// A socket that somebody may connect to.
class Server {
 public:
  Server() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(socket_, 8), 0);
    EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    address_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~Server() { close(socket_); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const std::string& address() const { return address_; }
  // Sends a text to the next who connects, and ends.
  void Send(const std::string& text) const {
    const int to = accept(socket_, nullptr, nullptr);
    EXPECT_EQ(send(to, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    close(to);
  }
  bool HasVisitor() const {
    timeval at_once = {};
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(socket_, &sockets);
    return select(socket_ + 1, &sockets, nullptr, nullptr, &at_once) > 0;
  }

 private:
  const int socket_;
  std::string address_;
};

class MediaFileTest : public ExampleTest {
 protected:
  void Write(const std::string& name, const std::string& bytes) const { std::ofstream(Path(name)) << bytes; }
  static std::string ErrorOf(const std::string& file) {
    try {
      OpenMedia(file);
    } catch (const Error& error) {
      return error.what();
    }
    return "opened";
  }
  static std::string Playlist(const std::string& segment) {
    return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:0.5,\n" + segment +
           "\n#EXT-X-ENDLIST\n";
  }
  void MakeClip() { Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=0.5 -c:v mpeg2video -y clip.ts"); }
};

TEST_F(MediaFileTest, AFileOpensNoOther) {
  MakeClip();
  EXPECT_EQ(ErrorOf(Path("clip.ts")), "opened");
  EXPECT_EQ(ErrorOf("file://" + Path("clip.ts")), "opened");
  Write("list.m3u8", Playlist("clip.ts"));
  EXPECT_EQ(ErrorOf(Path("list.m3u8")), "cannot open " + Path("list.m3u8") + kElsewhere);
  EXPECT_EQ(ErrorOf("file://" + Path("list.m3u8")), "cannot open file://" + Path("list.m3u8") + kElsewhere);
  Write("list.ffconcat", "ffconcat version 1.0\nfile clip.ts\n");
  EXPECT_EQ(ErrorOf(Path("list.ffconcat")).rfind("cannot open ", 0), 0u);
  for (const std::string& name :
       {"concat:" + Path("clip.ts") + "|://", "subfile,,start,0,end,0,,:://" + Path("clip.ts")}) {
    EXPECT_NE(ErrorOf(name), "opened");
  }
}

TEST_F(MediaFileTest, AFileOpensNoAddress) {
  const Server server;
  Write("list.m3u8", Playlist("http://" + server.address() + "/clip.ts"));
  EXPECT_EQ(ErrorOf(Path("list.m3u8")), "cannot open " + Path("list.m3u8") + kElsewhere);
  Write("call.sdp",
        "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=-\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 9 RTP/AVP 96\n"
        "a=rtpmap:96 H264/90000\n");
  EXPECT_EQ(ErrorOf(Path("call.sdp")).rfind("cannot open ", 0), 0u);
  EXPECT_FALSE(server.HasVisitor());
}

TEST_F(MediaFileTest, APipeOpensNoAddress) {
  const Server server;
  const std::string fifo = Path("list.m3u8");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(fifo) << Playlist("http://" + server.address() + "/clip.ts"); });
  EXPECT_EQ(ErrorOf(fifo), "cannot open " + fifo + kElsewhere);
  writer.join();
  EXPECT_FALSE(server.HasVisitor());
}

TEST_F(MediaFileTest, AStreamOpensNoFile) {
  MakeClip();
  const Server server;
  for (const std::string protocol : {"file://", "concat:file://", "subfile,,start,0,end,0,,:file://"}) {
    std::thread sender([&] { server.Send(Playlist(protocol + Path("clip.ts"))); });
    EXPECT_NE(ErrorOf("tcp://" + server.address() + "/list.m3u8"), "opened") << protocol;
    sender.join();
  }
}

TEST_F(MediaFileTest, WhatIsNamedIsOpened) {
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=0.5 picture-%02d.png");
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10 -frames:v 1 picture.tga");
  MakeClip();
  MediaReader numbered(Path("picture-%02d.png"));
  int pictures = 0;
  for (Picture picture; numbered.Next(&picture); ++pictures) EXPECT_EQ(picture.size.width, 32);
  EXPECT_EQ(pictures, 5);
  EXPECT_EQ(ErrorOf(Path("picture.tga")), "opened");
  const Server server;
  std::thread sender([&] { server.Send(ReadFile(Path("clip.ts"))); });
  EXPECT_EQ(ErrorOf("tcp://" + server.address()), "opened");
  sender.join();
}

// Each of these files is smaller than this test's source.
TEST_F(MediaFileTest, PicturesHaveSoManyPixels) {
  const auto gif = [&](int width, int height) {
    const auto sides = [](int a, int b) {
      return std::string{static_cast<char>(a), static_cast<char>(a >> 8), static_cast<char>(b),
                         static_cast<char>(b >> 8)};
    };
    const std::string colors(6, '\0');
    Write("picture.gif", "GIF89a" + sides(width, height) + std::string("\x80\0\0", 3) + colors + "," + sides(0, 0) +
                             sides(1, 1) + std::string("\0\x02\x02\x44\x01\0;", 7));
    try {
      const MediaReader reader(Path("picture.gif"));
      return std::to_string(reader.size().width) + "x" + std::to_string(reader.size().height);
    } catch (const Error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(gif(64, 32), "64x32");
  EXPECT_EQ(gif(65535, 1000), "65535x1000");
  const std::string refused = "cannot decode " + Path("picture.gif") + ": no picture in it of at most 67108864 pixels";
  EXPECT_EQ(gif(16000, 16000), refused);
  EXPECT_EQ(gif(65535, 65535), refused);
}

}  // namespace
}  // namespace studio
