// SoundReader, on sounds that no encoder would write.
#include "studio/sound_reader.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "studio/error.h"
#include "tests/examples/example_program.h"
#include "tests/support/made_matroska.h"

namespace studio {
namespace {

constexpr std::uint64_t kFarAway = 0x7000000000000000;

class SoundReaderTest : public ExampleTest {
 protected:
  Sound Write(const test::MadeMatroska& media) const {
    std::ofstream(Path("sound.mkv"), std::ios::binary) << media.Bytes();
    return Sound{Path("sound.mkv")};
  }
  // A sound of a twentieth of a second, and one that long at another time.
  static test::MadeMatroska Media(std::uint64_t time) {
    test::MadeMatroska media;
    media.tracks = {{true}};
    const std::string samples(kSoundBlock * 2, '\x11');
    media.blocks = {{1, 0, samples}, {1, time, samples}};
    return media;
  }
  // How many of so many frames there are.
  static int Read(SoundReader* reader, int frames) {
    std::array<std::vector<float>, kSoundChannels> planes;
    for (auto& plane : planes) plane.resize(static_cast<std::size_t>(frames));
    float* const pointers[kSoundChannels] = {planes[0].data(), planes[1].data()};
    return reader->Read(pointers, frames);
  }
};

TEST_F(SoundReaderTest, TimesMayBeAny) {
  for (const std::uint64_t scale : {std::uint64_t{1}, std::uint64_t{1000000}, std::uint64_t{4000000000}}) {
    for (const std::uint64_t time : {kFarAway, ~kFarAway + 1, std::uint64_t{1} << 63, std::uint64_t{0}}) {
      SCOPED_TRACE(std::to_string(scale) + ", " + std::to_string(time));
      test::MadeMatroska media = Media(time);
      media.time_scale = scale;
      const Sound sound = Write(media);
      SoundReader reader(sound, 0);
      EXPECT_GE(reader.LengthNs(sound), 0);
      EXPECT_LE(reader.LengthNs(sound), kLongestNs);
      reader.SeekNearStart();
      EXPECT_GT(Read(&reader, kSoundRate), 0);
      EXPECT_LE(MeasureSound(sound.file, {}).length_ns, kLongestNs);
    }
  }
  // What comes in 36 years or later is waited for.
  test::MadeMatroska media = Media(kFarAway);
  media.time_scale = 4000000000;
  SoundReader reader(Write(media), 0);
  EXPECT_EQ(Read(&reader, 10 * kSoundRate), 10 * kSoundRate);
}

TEST_F(SoundReaderTest, LengthsMayBeAny) {
  for (const double length : {1e300, -1e300, 9.3e18, 1e-300}) {
    test::MadeMatroska media = Media(40);
    media.duration = length;
    const Sound sound = Write(media);
    const std::int64_t length_ns = SoundReader(sound, 0).LengthNs(sound);
    EXPECT_GE(length_ns, 0) << length;
    EXPECT_LE(length_ns, kLongestNs) << length;
  }
}

// A trim may leave less of a video than a sample, and each pass opens the file.
TEST_F(SoundReaderTest, PassesAreAMillisecondAtLeast) {
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=0.5 -f lavfi -i sine=d=0.5 -c:v mpeg4 -c:a pcm_s16le clip.mkv");
  Layer layer;
  layer.kind = LayerKind::kVideo;
  layer.file = Path("clip.mkv");
  layer.loop = true;
  layer.trim_end_s = 1e-9;
  EXPECT_EQ(VideoLengthNs(layer), kShortestPassNs);
  const auto reader = SoundReader::OfVideo(layer, 0);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(Read(reader.get(), kSoundRate / 100), kSoundRate / 100);
}

TEST_F(SoundReaderTest, RatesHaveLimits) {
  for (const double rate : {1.0, 999.0, 7e6, 2e9}) {
    test::MadeMatroska media = Media(0);
    media.tracks[0].rate = rate;
    const Sound sound = Write(media);
    try {
      SoundReader reader(sound, 0);
      ADD_FAILURE() << rate;
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), "cannot decode " + sound.file + ": FFmpeg cannot convert it") << rate;
    }
  }
  for (const double rate : {1000.0, 6e6}) {
    test::MadeMatroska media = Media(0);
    media.tracks[0].rate = rate;
    SoundReader reader(Write(media), 0);
    EXPECT_GT(Read(&reader, kSoundRate), 0) << rate;
  }
}

// A packet holds what a minute's samples are made of, and no more.
TEST_F(SoundReaderTest, PacketsHaveALimit) {
  test::MadeMatroska media = Media(0);
  media.tracks[0].rate = 1000;
  media.blocks = {{1, 0, std::string(2 * 61000, '\x11')}};
  SoundReader longer(Write(media), 0);
  EXPECT_LT(Read(&longer, kSoundRate), kSoundRate);
  media.blocks = {{1, 0, std::string(2 * 59000, '\x11')}};
  SoundReader shorter(Write(media), 0);
  EXPECT_EQ(Read(&shorter, kSoundRate), kSoundRate);
}

}  // namespace
}  // namespace studio
