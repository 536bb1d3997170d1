// The sound of a video keeps to its pictures: where they begin, and what is trimmed.
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/media_length.h"
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

// The video begins with FFmpeg's choice, whichever is heard.
TEST_F(VideoSoundTest, TheChosenTrackDoesNotMoveTheBeginning) {
  Layer layer = MakeClip("0.4", "0.4");
  Ffmpeg(
      "-copyts -i clip.mkv -i sound.mkv -map 0 -map 1:a -c copy -disposition:a:0 default -disposition:a:1 0 "
      "tracks.mkv");
  layer.file = Path("tracks.mkv");
  layer.track = 1;
  const std::vector<float> samples = Read(layer, kSoundRate / 2);
  for (const double time_s : {0.1, 0.4}) ExpectAt(samples, time_s, time_s + 0.4);
}

TEST_F(VideoSoundTest, VideosLastFromTheirBeginningToTheEndOfWhatIsSeenAndHeard) {
  Description description;
  const auto end_s = [&](const Layer& layer) {
    description.layers = {layer};
    return MediaEndSeconds(description);
  };
  EXPECT_NEAR(end_s(MakeClip("1", "0")), 2, 0.002);
  Layer layer = MakeClip("0.1", "1.6");  // The pictures end at 1 s, the sound at 2.5 s.
  EXPECT_NEAR(end_s(layer), 2.5, 0.002);
  layer.trim_start_s = 0.5;
  EXPECT_NEAR(end_s(layer), 2, 0.002);
  layer.fade_out_s = 0.5;
  EXPECT_NEAR(end_s(layer), 0.5, 0.002);
  layer.fade_out_s = 0;
  layer.volume = 0;
  EXPECT_NEAR(end_s(layer), 0.5, 0.002);
}

// Files without a length in them: FFmpeg guesses from their beginning, which is silent here and takes few bytes.
TEST_F(VideoSoundTest, LengthsThatFFmpegGuessesAreMeasured) {
  for (const std::string name : {"-c:a aac a.aac", "-c:a libmp3lame -q:a 2 -write_xing 0 a.mp3"}) {
    SCOPED_TRACE(name);
    Ffmpeg("-f lavfi -i aevalsrc=if(gte(t\\,3)\\,random(0)-0.5\\,0):s=48000:d=4 " + name);
    Description description;
    description.sounds = {Sound{Path(name.substr(name.rfind(' ') + 1))}};
    EXPECT_NEAR(MediaEndSeconds(description), 4, 0.1);
    description.sounds[0].trim_start_s = 4.5;
    EXPECT_THROW(MediaEndSeconds(description), Error);
  }
}

// What lies before the start is not read where the file can be sought in, and what is read is the same.
TEST_F(VideoSoundTest, SeeksNearItsStart) {
  for (const std::string name : {"sound.wav", "sound.flac", "sound.m4a", "sound.mkv"}) {
    SCOPED_TRACE(name);
    Ffmpeg("-f lavfi -i aevalsrc=0.3*sin(t*t*40):s=44100:d=60 -c:a " +
           std::string(name == "sound.wav"    ? "pcm_s16le "
                       : name == "sound.flac" ? "flac "
                                              : "aac ") +
           name);
    std::vector<float> heard[2];
    int asked[2] = {0, 0};
    for (const int seeks : {0, 1}) {
      SoundReader reader(Sound{Path(name)}, 55500000000);
      if (seeks) reader.SeekNearStart();
      reader.SetGoesOn([&asked, seeks] { return ++asked[seeks] > 0; });
      std::array<std::vector<float>, kSoundChannels> planes;
      for (auto& plane : planes) plane.resize(kSoundRate);
      float* const pointers[kSoundChannels] = {planes[0].data(), planes[1].data()};
      ASSERT_EQ(reader.Read(pointers, kSoundRate), kSoundRate);
      heard[seeks] = planes[0];
    }
    EXPECT_LT(asked[1] * 2, asked[0]);
    for (std::size_t i = 0; i < kSoundRate; i += 7) ASSERT_NEAR(heard[1][i], heard[0][i], 0.02) << i;
  }
}

}  // namespace
}  // namespace studio
