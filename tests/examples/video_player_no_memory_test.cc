// VideoPlayer, where there is no memory for a picture.
#include "studio/video_player.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "studio/error.h"
#include "tests/examples/example_program.h"
#include "tests/support/global_new.h"

namespace {

constexpr int kSide = 128;
constexpr std::size_t kPictureBytes = kSide * kSide * 4;  // Nothing else that this process has from new is as large.
std::atomic<bool> pictures_fail{false};

}  // namespace

void* global_new::Allocate(std::size_t size, std::size_t alignment, const void*) noexcept {
  if (size >= kPictureBytes && pictures_fail) return nullptr;
  return alignment > 0 ? std::aligned_alloc(alignment, size) : std::malloc(size);
}

namespace studio {
namespace {

constexpr std::int64_t kTenth = 100000000;

class VideoPlayerNoMemoryTest : public ExampleTest {
 protected:
  // Ten pictures at 10 a second.
  std::unique_ptr<VideoPlayer> Play(bool offline) {
    const std::string side = std::to_string(kSide);
    Ffmpeg("-f lavfi -i testsrc2=r=10:s=" + side + "x" + side + " -frames:v 10 -c:v mjpeg clip.avi");
    auto player = std::make_unique<VideoPlayer>(std::make_unique<MediaReader>(Path("clip.avi")), false, offline, 0);
    player->SetForm(PictureForm::kPixels);
    return player;
  }

  void TearDown() override {
    pictures_fail = false;
    ExampleTest::TearDown();
  }
};

TEST_F(VideoPlayerNoMemoryTest, OfflineAPictureIsLeftOutAndCounted) {
  pictures_fail = true;
  const auto player = Play(true);
  EXPECT_EQ(player->Take(0), nullptr);
  EXPECT_EQ(player->Take(3 * kTenth), nullptr);
  const std::uint64_t lost = player->damaged();
  EXPECT_GE(lost, 2u);
  pictures_fail = false;
  const Picture* const last = player->Take(9 * kTenth);
  ASSERT_NE(last, nullptr);
  EXPECT_GE(last->pixels.size(), kPictureBytes);
}

TEST_F(VideoPlayerNoMemoryTest, InRealTimeTheThreadGoesOn) {
  const auto player = Play(false);
  player->WaitAhead();
  pictures_fail = true;
  // Whatever has been converted until now is shown, what comes then is not.
  for (int i = 0; i < 6; ++i) {
    player->Take(i * kTenth);
    player->WaitAhead();
  }
  EXPECT_GE(player->damaged(), 1u);
  pictures_fail = false;
  const Picture* last = nullptr;
  for (int i = 6; i < 10; ++i) {
    if (const Picture* const picture = player->Take(i * kTenth)) last = picture;
    player->WaitAhead();
  }
  ASSERT_NE(last, nullptr);
  EXPECT_GE(last->pixels.size(), kPictureBytes);
}

// What main prints where nobody else has caught it.
TEST_F(VideoPlayerNoMemoryTest, TheUserIsToldInWords) {
  EXPECT_EQ(ErrorText(std::bad_alloc()), "no memory");
  EXPECT_EQ(ErrorText(Error("no film")), "no film");
}

}  // namespace
}  // namespace studio
