// MediaReader, on media that the test makes.
#include "studio/media_reader.h"

#include <string>
#include <vector>

#include "tests/examples/example_program.h"

namespace studio {
namespace {

class MediaReaderTest : public ExampleTest {
 protected:
  // Pictures at 10 a second, with a key picture in every `group`.
  std::string MakeClip(const std::string& name, int pictures, int group) {
    Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10 -frames:v " + std::to_string(pictures) + " -c:v libx264 -bf 2 -g " +
           std::to_string(group) + " -keyint_min " + std::to_string(group) + " -sc_threshold 0 -pix_fmt yuv420p " +
           name);
    return Path(name);
  }

  static std::vector<int> Times(MediaReader* reader) {
    std::vector<int> times;
    for (DecodedPicture picture; reader->Decode(&picture);) {
      times.push_back(static_cast<int>((picture.time_ns + 1000000) / 100000000));
    }
    return times;
  }
};

TEST_F(MediaReaderTest, SkipGoesOnAtTheKeyPictureBefore) {
  for (const std::string name : {"clip.mp4", "clip.mkv", "clip.ts", "clip.avi"}) {
    SCOPED_TRACE(name);
    MediaReader reader(MakeClip(name, 20, 5));
    DecodedPicture picture;
    ASSERT_TRUE(reader.Decode(&picture));
    reader.SkipTo(1370000000);
    EXPECT_EQ(Times(&reader), (std::vector<int>{10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
  }
}

TEST_F(MediaReaderTest, SkipNeverGoesBack) {
  MediaReader reader(MakeClip("clip.mp4", 12, 100));
  DecodedPicture picture;
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(reader.Decode(&picture));
  reader.SkipTo(900000000);
  EXPECT_EQ(Times(&reader), (std::vector<int>{4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(MediaReaderTest, HurryLeavesOutPicturesThatNoOtherOneNeeds) {
  MediaReader reader(MakeClip("clip.mp4", 30, 100));
  reader.SetHurry(true);
  const std::size_t hurried = Times(&reader).size();
  EXPECT_LT(hurried, 28u);
  EXPECT_GT(hurried, 5u);
  ASSERT_TRUE(reader.Rewind());
  EXPECT_EQ(Times(&reader).size(), 30u);
}

TEST_F(MediaReaderTest, PassesThatAreOverAreLeftOut) {
  MediaReader reader(MakeClip("clip.mp4", 5, 5));
  EXPECT_EQ(Times(&reader).size(), 5u);
  ASSERT_TRUE(reader.Rewind(7300000000));
  EXPECT_EQ(Times(&reader), (std::vector<int>{70, 71, 72, 73, 74}));
  ASSERT_TRUE(reader.Rewind());
  EXPECT_EQ(Times(&reader), (std::vector<int>{75, 76, 77, 78, 79}));
}

// FFmpeg crops no pictures whose pixels share bytes.
TEST_F(MediaReaderTest, PicturesOfOneBitAreCropped) {
  Ffmpeg(
      "-f lavfi -i nullsrc=s=32x16,format=gray,geq=lum=255*gte(X\\,13)*gte(Y\\,5) -frames:v 1 -pix_fmt monob bits.png");
  Layer layer;
  layer.file = Path("bits.png");
  layer.crop.left = 13;
  layer.crop.top = 5;
  MediaReader reader(layer);
  Picture picture;
  ASSERT_TRUE(reader.Next(&picture));
  ASSERT_EQ(picture.size.width, 19);
  ASSERT_EQ(picture.size.height, 11);
  for (int y = 0; y < 11; ++y) {
    for (int x = 0; x < 19; ++x) {
      ASSERT_EQ(picture.pixels[static_cast<std::size_t>(y * picture.stride + x * 4)], 255) << x << "," << y;
    }
  }
}

TEST_F(MediaReaderTest, TrimsWhereContainersCannotSeek) {
  for (const std::string name : {"clip.mp4", "clip.mkv", "clip.ts", "clip.avi", "clip.nut"}) {
    SCOPED_TRACE(name);
    Layer layer;
    layer.file = MakeClip(name, 20, 6);
    layer.trim_start_s = 0.8;
    layer.trim_end_s = 1.5;
    MediaReader reader(layer);
    EXPECT_EQ(Times(&reader), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(Times(&reader).empty());
    ASSERT_TRUE(reader.Rewind());
    EXPECT_EQ(Times(&reader), (std::vector<int>{7, 8, 9, 10, 11, 12, 13}));
  }
}

}  // namespace
}  // namespace studio
