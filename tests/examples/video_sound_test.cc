// The sound of a video keeps to its pictures: where they begin, and what is trimmed.
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "studio/sound_reader.h"
#include "tests/examples/example_program.h"

namespace studio {
namespace {

class VideoSoundTest : public ExampleTest {
 protected:
  // A second of pictures and of a sound that rises from 0 to 0.5, one of them late.
  Layer MakeClip(const std::string& picture_s, const std::string& sound_s) {
    Ffmpeg("-f lavfi -i color=s=32x32:r=10:d=1 -c:v libx264 picture.mkv");
    Ffmpeg("-f lavfi -i aevalsrc=t/2:s=48000:d=1 -c:a flac sound.mkv");
    Ffmpeg("-itsoffset " + picture_s + " -i picture.mkv -itsoffset " + sound_s +
           " -i sound.mkv -map 0:v -map 1:a -c copy clip.mkv");
    Layer layer;
    layer.kind = LayerKind::kVideo;
    layer.file = Path("clip.mkv");
    return layer;
  }

  static std::vector<float> Read(const Layer& layer, int frames) {
    const std::unique_ptr<SoundReader> reader = SoundReader::OfVideo(layer, 0);
    std::array<std::vector<float>, kSoundChannels> planes;
    for (auto& plane : planes) plane.resize(static_cast<std::size_t>(frames));
    float* const pointers[kSoundChannels] = {planes[0].data(), planes[1].data()};
    planes[0].resize(static_cast<std::size_t>(reader->Read(pointers, frames)));
    return planes[0];
  }

  // Expects the sample at a time to be that of another time of the sound, silence before it.
  static void ExpectAt(const std::vector<float>& samples, double time_s, double sound_s) {
    const auto index = static_cast<std::size_t>(std::lround(time_s * kSoundRate));
    ASSERT_LT(index, samples.size());
    const float unity = std::sqrt(0.5f);  // What one channel is in each of two.
    const float mono = static_cast<float>(std::max(sound_s, 0.0) / 2);
    EXPECT_TRUE(std::abs(samples[index] - mono) < 0.002f || std::abs(samples[index] - mono * unity) < 0.002f)
        << samples[index] << " at " << time_s;
  }
};

TEST_F(VideoSoundTest, IsNotMovedByALatePicture) {
  const std::vector<float> samples = Read(MakeClip("0.3", "0"), kSoundRate);
  for (const double time_s : {0.1, 0.2, 0.5, 0.9}) ExpectAt(samples, time_s, time_s);
}

TEST_F(VideoSoundTest, IsSilentUntilItBegins) {
  const std::vector<float> samples = Read(MakeClip("0", "0.3"), kSoundRate);
  for (const double time_s : {0.1, 0.29, 0.5, 0.9}) ExpectAt(samples, time_s, time_s - 0.3);
}

TEST_F(VideoSoundTest, LoopsLastFromTheBeginningToTheLastPicture) {
  Layer layer = MakeClip("0.3", "0");
  layer.loop = true;
  const std::vector<float> samples = Read(layer, 3 * kSoundRate);
  ExpectAt(samples, 0.9, 0.9);
  ExpectAt(samples, 1.2, -1);  // The sound is over, the pictures are not.
  ExpectAt(samples, 1.4, 0.1);
  ExpectAt(samples, 2.8, 0.2);
}

TEST_F(VideoSoundTest, IsTrimmed) {
  Layer layer = MakeClip("0.3", "0");
  layer.trim_start_s = 0.4;
  layer.trim_end_s = 0.6;
  std::vector<float> samples = Read(layer, kSoundRate);
  EXPECT_EQ(samples.size(), 9600u);
  for (const double time_s : {0.01, 0.1, 0.19}) ExpectAt(samples, time_s, 0.4 + time_s);
  layer.loop = true;
  samples = Read(layer, kSoundRate);
  for (const double time_s : {0.01, 0.19, 0.31, 0.39, 0.81, 0.99}) {
    ExpectAt(samples, time_s, 0.4 + std::fmod(time_s, 0.2));
  }
  layer.trim_end_s.reset();
  samples = Read(layer, 2 * kSoundRate);
  ExpectAt(samples, 0.5, 0.9);
  ExpectAt(samples, 1.0, 0.5);  // Nine tenths of a second lie between its trim and its last picture.
}

}  // namespace
}  // namespace studio
