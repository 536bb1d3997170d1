// VideoPlayer, on media that the test makes.
#include "studio/video_player.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/examples/example_program.h"

namespace studio {
namespace {

constexpr std::int64_t kTenth = 100000000;

class VideoPlayerTest : public ExampleTest {
 protected:
  // At 10 a second; two greys of eight levels tell which picture it is.
  std::string MakeSteps(const std::string& name, int pictures, const std::string& codec) {
    Ffmpeg(
        "-f lavfi -i nullsrc=s=32x32:r=10,format=gray,geq=lum=20+30*if(lt(X\\,16)\\,floor(N/8)\\,mod(N\\,8)),"
        "scale=out_color_matrix=bt709:out_range=tv,format=yuv420p -frames:v " +
        std::to_string(pictures) + " -colorspace bt709 -color_range tv -c:v " + codec + " " + name);
    return Path(name);
  }

  static int Step(const Picture& picture) {
    const auto level = [&](std::size_t x) { return (picture.pixels.at(x * 4) - 5) / 30; };
    return level(8) * 8 + level(24);
  }

  static std::unique_ptr<VideoPlayer> Play(const std::string& file, bool loop, bool offline) {
    auto player = std::make_unique<VideoPlayer>(std::make_unique<MediaReader>(file), loop, offline, 0);
    player->SetForm(PictureForm::kPixels);
    return player;
  }

  // What is seen at the time, if anything new comes within a long while. In real time the thread needs time to catch
  // up, which the film does not give: the same moment is asked for again and again.
  static int Await(VideoPlayer* player, std::int64_t time_ns, int step) {
    int seen = -1;
    for (int i = 0; i < 20000 && seen != step; ++i) {
      if (const Picture* const picture = player->Take(time_ns)) seen = Step(*picture);
      if (seen != step) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return seen;
  }
};

TEST_F(VideoPlayerTest, OfflineAnyTimesGiveTheirPictures) {
  const std::string clip = MakeSteps("clip.mp4", 40, "libx264 -g 10 -qp 1");
  for (int round = 0; round < 3; ++round) {
    const auto player = Play(clip, true, true);
    int last = -1;
    for (const int tenth : {0, 1, 2, 4, 4, 6, 7, 20, 21, 39, 40, 41, 95, 96, 401}) {
      const Picture* const picture = player->Take(tenth * kTenth + kTenth / 3);
      ASSERT_EQ(picture != nullptr, tenth % 40 != last) << tenth;
      if (picture) last = Step(*picture);
      EXPECT_EQ(last, tenth % 40);
    }
  }
}

// Nothing tells at first that the second step is so wide that all that was converted ahead is passed.
TEST_F(VideoPlayerTest, OfflineAWideFirstStepIsTaken) {
  const auto player = Play(MakeSteps("clip.mp4", 40, "libx264 -g 10 -qp 1"), false, true);
  for (int i = 0; i < 2; ++i) {
    const Picture* const picture = player->Take(0);
    ASSERT_EQ(picture != nullptr, i == 0);
    if (picture) {
      EXPECT_EQ(Step(*picture), 0);
    }
  }
  player->WaitAhead();
  for (const int tenth : {10, 20, 30}) {
    const Picture* const picture = player->Take(tenth * kTenth);
    ASSERT_TRUE(picture);
    EXPECT_EQ(Step(*picture), tenth);
  }
}

// A film that is far ahead of its video shows what is due all the same.
TEST_F(VideoPlayerTest, InRealTimeALateVideoCatchesUp) {
  const std::string clip = MakeSteps("clip.mp4", 50, "libx264 -g 10 -qp 1");
  const auto player = Play(clip, false, false);
  EXPECT_EQ(Await(player.get(), 0, 0), 0);
  EXPECT_EQ(Await(player.get(), 43 * kTenth, 43), 43);
  EXPECT_EQ(Await(player.get(), 1000 * kTenth, 49), 49);
}

TEST_F(VideoPlayerTest, InRealTimeALoopCatchesUp) {
  const std::string clip = MakeSteps("clip.mp4", 10, "libx264 -g 3 -qp 1");
  const auto player = Play(clip, true, false);
  EXPECT_EQ(Await(player.get(), 100007 * kTenth, 7), 7);
}

// Where nothing is in a hurry, every picture is seen in its turn.
TEST_F(VideoPlayerTest, InRealTimeNothingIsLeftOutThatCanBeShown) {
  const std::string clip = MakeSteps("clip.mp4", 30, "libx264 -bf 2 -qp 1");
  const auto player = Play(clip, false, false);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(Await(player.get(), i * kTenth, i), i);
}

// A sender that is late: what it sends is shown as it comes, and destroying the player does not wait for more.
TEST_F(VideoPlayerTest, LateStreamIsShownAndLetGo) {
  const std::string clip = ReadFile(MakeSteps("clip.nut", 64, "mpeg2video -q:v 1 -g 1"));
  const std::string fifo = Path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);  // Never the last writer: it stays open.
  ASSERT_GE(writer, 0);
  const std::size_t most = clip.size() * 15 / 16;
  std::thread sender([&] { EXPECT_EQ(write(writer, clip.data(), most), static_cast<ssize_t>(most)); });
  {
    const auto player = Play(fifo, false, false);
    int shown = 0, last = -1;
    for (int i = 0; i < 20000 && last < 55; ++i) {
      if (const Picture* const picture = player->Take(5000 * kTenth)) {
        ++shown;
        EXPECT_GT(Step(*picture), last);
        last = Step(*picture);
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    EXPECT_GE(last, 55);
    EXPECT_GE(shown, 1);
    sender.join();
  }
  close(writer);
}

}  // namespace
}  // namespace studio
