// MediaReader, on media that the test makes.
#include "studio/media_reader.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/media_span.h"
#include "studio/placement.h"
#include "tests/examples/example_program.h"
#include "tests/support/made_matroska.h"

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

  // A file of pictures at these times, in units of `scale` nanoseconds.
  Layer Made(const std::vector<std::uint64_t>& times, std::uint64_t scale = 1000000,
             test::MadeMatroska::Track track = {}) const {
    test::MadeMatroska media;
    media.time_scale = scale;
    media.tracks = {track};
    for (const std::uint64_t time : times) media.blocks.push_back({1, time});
    std::ofstream(Path("made.mkv"), std::ios::binary) << media.Bytes();
    Layer layer;
    layer.kind = LayerKind::kVideo;
    layer.file = Path("made.mkv");
    return layer;
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

TEST_F(MediaReaderTest, TimesMayBeAny) {
  constexpr std::uint64_t kFarAway = 0x7000000000000000;
  for (const std::uint64_t scale : {std::uint64_t{1}, std::uint64_t{1000000}, std::uint64_t{4000000000}}) {
    for (const std::uint64_t time : {kFarAway, ~kFarAway + 1, std::uint64_t{1} << 63, std::uint64_t{40}}) {
      SCOPED_TRACE(std::to_string(scale) + ", " + std::to_string(time));
      for (const Layer& layer : {Made({0, time, 80}, scale), Made({time, 0, time}, scale)}) {
        MediaReader reader(layer);
        DecodedPicture picture;
        ASSERT_TRUE(reader.Decode(&picture));
        reader.SkipTo(500000000);
        while (reader.Decode(&picture)) {
          EXPECT_GE(picture.time_ns, -kLongestNs);
          EXPECT_LE(picture.time_ns, kLongestNs);
          EXPECT_GE(picture.end_ns, picture.time_ns);
        }
        reader.Rewind(700000000);
        EXPECT_LE(MeasurePictures(layer.file, true).length_ns, kLongestNs);
        EXPECT_LE(VideoLengthNs(layer), 2 * kLongestNs);
      }
    }
  }
  // What comes in 36 years or later comes then.
  MediaReader reader(Made({0, kFarAway}, 4000000000));
  DecodedPicture picture;
  ASSERT_TRUE(reader.Decode(&picture) && reader.Decode(&picture));
  EXPECT_EQ(picture.time_ns, kLongestNs);
}

TEST_F(MediaReaderTest, PicturesMayLastAnyTime) {
  for (const std::uint64_t frame_ns : {std::uint64_t{1}, std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
    test::MadeMatroska::Track track;
    track.frame_ns = frame_ns;
    MediaReader reader(Made({0, 40, 80}, 1000000, track));
    DecodedPicture picture;
    while (reader.Decode(&picture)) {
      EXPECT_GT(picture.end_ns, picture.time_ns);
      EXPECT_LE(picture.end_ns, 2 * kLongestNs);
    }
    reader.SkipTo(10000000);
  }
}

// Whose last picture is seen before its first one, or with it.
TEST_F(MediaReaderTest, EveryPassLasts) {
  for (const Layer& layer : {Made({5000, 1000, 0}), Made({0, 0, 0}, 1)}) {
    MediaReader reader(layer);
    std::int64_t begin_ns = -1;
    for (int pass = 0; pass < 5; ++pass) {
      DecodedPicture picture;
      ASSERT_TRUE(reader.Decode(&picture));
      EXPECT_GT(picture.time_ns, begin_ns);
      begin_ns = picture.time_ns;
      while (reader.Decode(&picture)) {
      }
      ASSERT_TRUE(reader.Rewind());
    }
  }
  // And where one would begin that far away, there is none.
  MediaReader reader(Made({0, 0x7000000000000000}, 4000000000));
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_EQ(Times(&reader).size(), pass == 0 ? 2u : 0u);
    EXPECT_FALSE(reader.Rewind());
  }
}

TEST_F(MediaReaderTest, NoSideFollowsFurtherThanFloatsCount) {
  Layer layer;
  layer.size = Size{8192, 0};
  EXPECT_EQ(DrawnSize(layer, Size{1, 1 << 20}).height, 1 << 24);
  EXPECT_EQ(DrawnSize(layer, Size{1 << 20, 1}).height, 1);
  EXPECT_EQ(DrawnSize(layer, Size{16, 9}).height, 4608);
}

TEST_F(MediaReaderTest, PixelsAreNotOfAnyShape) {
  const auto seen = [&](std::uint64_t width, std::uint64_t height, std::uint64_t across, std::uint64_t down) {
    test::MadeMatroska::Track track;
    track.width = width;
    track.height = height;
    track.display_width = across;
    track.display_height = down;
    try {
      const Size size = MediaReader(Made({0}, 1000000, track)).size();
      return std::to_string(size.width) + "x" + std::to_string(size.height);
    } catch (const Error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(seen(2, 2, 4, 2), "4x2");
  EXPECT_EQ(seen(2, 2, 1, 2000000000), "1x2");
  EXPECT_EQ(seen(2, 2, 2000000000, 1), "cannot decode " + Path("made.mkv") +
                                           ": its pictures are to be seen with 4000000000x2 pixels: each side must be "
                                           "at most 1048576");
  EXPECT_EQ(seen(20000, 20000, 0, 0),
            "cannot decode " + Path("made.mkv") + ": no picture in it of at most 134217728 pixels");
  for (const std::uint64_t side : {std::uint64_t{0}, std::uint64_t{1} << 31, ~std::uint64_t{0}}) {
    EXPECT_EQ(seen(side, side, 0, 0).rfind("cannot ", 0), 0u) << side;
  }
}

}  // namespace
}  // namespace studio
