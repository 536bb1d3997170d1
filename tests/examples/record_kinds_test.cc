// What films are packed into and encoded with, as the studio decides and writes it: without programs and graphics.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/film_kinds.h"
#include "studio/film_writer.h"
#include "studio/output_name.h"
#include "tests/examples/film_sound.h"

namespace {

using studio::Description;

class RecordKindsTest : public SoundTest {
 protected:
  // A film of 96x64 at 10 frames a second, in the test's folder.
  Description Film(const std::string& name) {
    Description description;
    description.canvas = {96, 64};
    description.fps.num = 10;
    description.fps.den = 1;
    description.duration_s = 0.3;
    description.offline = true;
    description.output = Path(name);
    return description;
  }

  // Writes three frames of noise, whose alpha is 255, 128, 0 in thirds of the width.
  static void Write(const Description& description) {
    Validate(description);
    studio::FilmWriter writer(description);
    std::uint32_t seed = 1;
    for (int i = 0; i < 3; ++i) {
      const studio::AvFrame frame = writer.NewFrame();
      const bool is_rgb = description.Format() == studio::PixelLayout::kRgba;
      for (int plane = 0; plane < (is_rgb ? 1 : 3); ++plane) {
        const int rows = plane == 0 ? frame->height : frame->height / 2;
        for (int y = 0; y < rows; ++y) {
          std::uint8_t* const row = frame->data[plane] + static_cast<std::ptrdiff_t>(frame->linesize[plane]) * y;
          for (int x = 0; x < (is_rgb ? frame->width * 4 : rows * frame->width / frame->height); ++x) {
            seed = seed * 1664525 + 1013904223;
            const int third = x / 4 / (frame->width / 3);
            row[x] = is_rgb && x % 4 == 3 ? static_cast<std::uint8_t>(third == 0   ? 255
                                                                      : third == 1 ? 128
                                                                                   : 0)
                                          : static_cast<std::uint8_t>(100 + (seed >> 26));
          }
        }
      }
      writer.Write(frame.get(), i);
    }
    writer.Finish();
  }

  std::string Streams(const std::string& film) {
    return Run(FFPROBE, {"-v", "error", "-count_frames", "-show_entries", "stream=codec_name,nb_read_frames", "-of",
                         "csv=p=0", film})
        .out;
  }

  static std::string Refusal(const Description& description) {
    try {
      Validate(description);
      return studio::FilmWriter(description, !description.HasPicture()).encoder_name() + ": not refused";
    } catch (const studio::UsageError& error) {
      return error.what();
    }
  }
};

TEST_F(RecordKindsTest, EveryCodecGivesTheSameBytesTwice) {
  const std::vector<std::pair<std::string, std::string>> codecs = {
      {"h264", "mp4"}, {"hevc", "mkv"},  {"h265", "mp4"},  {"vp9", "webm"}, {"av1", "mkv"},      {"prores", "mov"},
      {"ffv1", "mkv"}, {"mpeg4", "avi"}, {"qtrle", "mov"}, {"vp8", "webm"}, {"mpeg2video", "ts"}};
  for (const auto& [codec, suffix] : codecs) {
    SCOPED_TRACE(codec);
    Description description = Film("film." + suffix);
    description.encoding.codec = codec;
    Write(description);
    const std::string first = ReadFile(description.output);
    const std::string name = codec == "h265" ? "hevc" : codec;
    EXPECT_EQ(Streams(description.output).rfind(name + ",3", 0), 0u) << Streams(description.output);
    Write(description);
    EXPECT_TRUE(first == ReadFile(description.output));
  }
}

TEST_F(RecordKindsTest, EncodersHaveTheirOwnNamesToo) {
  Description description = Film("film.mkv");
  description.encoding.codec = "libx264rgb";
  EXPECT_EQ(studio::FilmWriter(description).encoder_name(), "libx264rgb");
  description.encoding.codec = "h264";
  description.encoding.preset = "veryslow";
  EXPECT_EQ(studio::FilmWriter(description).encoder_name(), "libx264");
}

TEST_F(RecordKindsTest, QualityAndBitRateChangeTheSize) {
  const auto size = [&](const std::string& codec, const std::string& name, int quality, int bitrate) {
    Description description = Film(name);
    description.encoding.codec = codec;
    if (quality >= 0) description.encoding.quality = quality;
    if (bitrate > 0) description.encoding.bitrate = bitrate;
    Write(description);
    return ReadFile(description.output).size();
  };
  for (const std::string codec : {"h264", "hevc", "vp9", "libaom-av1", "mpeg4", "mpeg2video", "mjpeg"}) {
    SCOPED_TRACE(codec);
    EXPECT_GT(size(codec, "film.mkv", 100, 0), size(codec, "film.mkv", 50, 0));
    EXPECT_GT(size(codec, "film.mkv", 50, 0), size(codec, "film.mkv", 0, 0));
  }
  EXPECT_GT(size("", "film.webp", 100, 0), size("", "film.webp", 0, 0));
  for (const std::string codec : {"h264", "vp9"}) {
    SCOPED_TRACE(codec);
    EXPECT_GT(size(codec, "film.mkv", -1, 2000000), size(codec, "film.mkv", -1, 50000));
  }
}

// Where the film has alpha it is what the frames have, and the colours beside it are theirs.
TEST_F(RecordKindsTest, AlphaIsKept) {
  const std::vector<std::pair<std::string, std::string>> films = {
      {"film.mov", "prores"}, {"film.webm", "vp9"}, {"film.mkv", "ffv1"}, {"film.mov", "qtrle"},
      {"film.apng", ""},      {"film.png", ""},     {"film-%d.png", ""},  {"film.tiff", ""}};
  for (const auto& [name, codec] : films) {
    SCOPED_TRACE(name + " " + codec);
    Description description = Film(name);
    description.encoding.codec = codec;
    description.transparent = true;
    Write(description);
    const std::string film = name == "film-%d.png" ? "film-1.png" : name;
    std::vector<std::string> arguments = {"-v", "error", "-nostdin", "-y"};
    if (codec == "vp9") arguments.insert(arguments.end(), {"-c:v", "libvpx-vp9"});  // FFmpeg's own ignores alpha.
    arguments.insert(arguments.end(), {"-i", film, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "rgba", ".run-raw"});
    const Ended ended = Run(FFMPEG, arguments);
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const std::string raw = ReadFile(Path(".run-raw"));
    ASSERT_EQ(raw.size(), 96u * 64 * 4);
    for (const int x : {8, 48, 88}) {
      const int alpha = static_cast<unsigned char>(raw[(32 * 96 + x) * 4 + 3]);
      EXPECT_NEAR(alpha, x == 8 ? 255 : x == 48 ? 128 : 0, codec == "vp9" ? 6 : 1) << x;
    }
    if (codec == "prores" || codec == "vp9") continue;
    EXPECT_EQ(static_cast<unsigned char>(raw[0]), 100 + (1015568748u >> 26));  // The first of the noise.
  }
}

TEST_F(RecordKindsTest, AnimatedPicturesMoveForever) {
  Description webp = Film("moving.webp");
  webp.encoding.container = "webp";
  Write(webp);
  const std::string bytes = ReadFile(webp.output);
  std::size_t frames = 0;
  for (std::size_t at = 0; (at = bytes.find("ANMF", at)) != std::string::npos; ++at) ++frames;
  EXPECT_EQ(frames, 3u);
  const std::size_t control = bytes.find("ANIM");
  ASSERT_NE(control, std::string::npos);
  EXPECT_EQ(bytes.substr(control + 12, 2), std::string(2, '\0'));

  Write(Film("moving.gif"));
  EXPECT_NE(ReadFile(Path("moving.gif")).find(std::string("NETSCAPE2.0\x03\x01\x00\x00", 15)), std::string::npos);
  EXPECT_EQ(Streams("moving.gif"), "gif,3\n");
  Write(Film("moving.apng"));
  const std::string apng = ReadFile(Path("moving.apng"));
  const std::size_t animation = apng.find("acTL");
  ASSERT_NE(animation, std::string::npos);
  EXPECT_EQ(apng.substr(animation + 4, 8), std::string("\0\0\0\x03\0\0\0\0", 8));  // Three frames, without an end.
}

TEST_F(RecordKindsTest, IndexLiesInFrontUnlessToldOtherwise) {
  for (const std::string name : {"film.mp4", "film.mov"}) {
    SCOPED_TRACE(name);
    Description description = Film(name);
    Write(description);
    const std::string fast = ReadFile(description.output);
    EXPECT_LT(fast.find("moov"), fast.find("mdat"));
    description.encoding.faststart = false;
    Write(description);
    const std::string slow = ReadFile(description.output);
    EXPECT_GT(slow.find("moov"), slow.find("mdat"));
  }
}

TEST_F(RecordKindsTest, SoundAloneIsAFilm) {
  const std::vector<std::pair<std::string, std::string>> kinds = {
      {"wav", "pcm_s16le"}, {"flac", "flac"}, {"mp3", "mp3"}, {"m4a", "aac"}, {"ogg", "vorbis"}, {"opus", "opus"}};
  for (const auto& [suffix, codec] : kinds) {
    SCOPED_TRACE(suffix);
    Description description = Film("sound." + suffix);
    description.duration_s = 0.2345;
    description.needs_sound = true;
    EXPECT_FALSE(description.HasPicture());
    studio::FilmWriter writer(description, true);
    ASSERT_TRUE(writer.has_sound());
    const std::vector<float> samples(studio::kSoundRate / 2, 0.25f);
    const float* const planes[] = {samples.data(), samples.data()};
    writer.WriteSound(studio::NewSoundBlock(planes, studio::kSoundRate / 2).get(), 0);
    writer.Finish();
    EXPECT_EQ(ProbeSound(description.output).rfind(codec + ",48000,2", 0), 0u) << ProbeSound(description.output);
    const FilmSound sound = DecodeSound(description.output);
    if (suffix == "wav" || suffix == "flac") {
      EXPECT_EQ(sound.planes[0].size(), 11256u);
    }
  }
}

TEST_F(RecordKindsTest, WhatDoesNotFitIsRefused) {
  const auto expect = [&](const std::string& name, void (*change)(Description * description), const std::string& line) {
    Description description = Film(name);
    change(&description);
    std::string refusal = Refusal(description);
    const std::size_t path = refusal.find(Path(""));
    if (path != std::string::npos) refusal.erase(path, Path("").size());
    EXPECT_EQ(refusal.substr(0, line.size()), line);
  };
  expect(
      "a.mp4", [](Description* d) { d->encoding.codec = "gif"; }, "--codec gif: mp4 takes h264, hevc, vp9, av1, ");
  expect(
      "a.mp4", [](Description* d) { d->encoding.codec = "nosuch"; }, "--codec nosuch: FFmpeg has no such encoder");
  expect(
      "a.mp4", [](Description* d) { d->encoding.codec = "aac"; }, "--codec aac: FFmpeg has no such encoder");
  expect(
      "a.y4m", [](Description* d) { d->encoding.codec = "vp9"; }, "--codec vp9: yuv4mpegpipe leaves no choice");
  expect(
      "a.png", [](Description* d) { d->encoding.codec = "png"; }, "--codec png: pictures are encoded as their name");
  expect(
      "a.wav", [](Description* d) { d->encoding.codec = "h264"; }, "--codec: a.wav has sound alone: take --audio-c");
  expect(
      "a.wav", [](Description* d) { d->encoding.quality = 5; }, "--quality, --bitrate and --preset are for pictures");
  expect(
      "a.webm", [](Description* d) { d->encoding.audio_codec = "mp3"; }, "--audio-codec mp3: webm takes opus, vor");
  expect(
      "a.gif", [](Description* d) { d->encoding.audio_bitrate = 64000; }, "--audio-codec and --audio-bitrate: a.gif");
  expect(
      "a.wav", [](Description* d) { d->encoding.audio_bitrate = 64000; }, "--audio-bitrate: pcm_s16le takes none: ");
  expect(
      "a", [](Description* d) { d->encoding.container = "nosuch"; }, "--container nosuch: FFmpeg has none such: ");
  expect(
      "a.unknown", [](Description*) {}, "cannot tell the kind of film from the name a.unknown");
  expect(
      "a.mkv", [](Description* d) { d->encoding.quality = 101; }, "quality: must be 0 to 100");
  expect(
      "a.mkv", [](Description* d) { d->encoding.bitrate = 10; }, "bit rate: must be 1k to 1000M");
  expect(
      "a.mkv", [](Description* d) { d->encoding.quality = 5, d->encoding.bitrate = 5000; }, "either --quality or ");
  expect(
      "a.gif", [](Description* d) { d->encoding.quality = 5; }, "--quality: gif takes none: leave it out");
  expect(
      "a.gif", [](Description* d) { d->encoding.bitrate = 5000; }, "--bitrate: gif takes none: leave it out");
  expect(
      "a.gif", [](Description* d) { d->encoding.preset = "fast"; }, "--preset: gif takes none: libx264, libx265 ");
  expect(
      "a.mkv", [](Description* d) { d->encoding.preset = "quick"; }, "--preset quick: libx264 takes one of ultraf");
  for (const char* name : {"a.mp4", "a.y4m", "a.jpg", "a.ts"}) {
    expect(
        name, [](Description* d) { d->transparent = true; }, std::string("--transparent: ") + name + " has no alpha");
  }
  expect(
      "a.mov", [](Description* d) { d->transparent = true, d->encoding.codec = "h264"; }, "--transparent: h264 in ");
  expect(
      "a.mp4", [](Description* d) { d->transparent = true, d->encoding.codec = "vp9"; }, "--transparent: vp9 in a");
  expect(
      "a.mov", [](Description* d) { d->transparent = true, d->format = studio::PixelLayout::kI420; },
      "i420 and nv12 have no alpha: take rgba or bgra");
  EXPECT_TRUE(Files().empty());
}

TEST_F(RecordKindsTest, NamesTellWhereFilmsGo) {
  EXPECT_EQ(studio::DescriptorOf("-"), 1);
  EXPECT_EQ(studio::DescriptorOf("/dev/stdout"), 1);
  EXPECT_EQ(studio::DescriptorOf("/proc/self/fd/7"), 7);
  for (const char* name : {"/dev/fd/x", "/dev/fd/", "/dev/fd/1x", "/dev/fd/-1", "film.mp4", "--"}) {
    EXPECT_FALSE(studio::DescriptorOf(name)) << name;
  }
  EXPECT_TRUE(studio::IsPipe("/dev/null"));
  EXPECT_FALSE(studio::IsPipe("udp://127.0.0.1:1"));
  EXPECT_TRUE(studio::IsPattern("frame-%04d.png"));
  EXPECT_FALSE(studio::IsPattern("100%.png"));
  EXPECT_EQ(studio::SuffixOf("a.b/c.MP4"), "mp4");
  EXPECT_EQ(studio::SuffixOf("a.b/c"), "");
}

// Of more files than could be asked for one by one.
TEST_F(RecordKindsTest, TheFirstFileOfAPatternIsFoundAtOnce) {
  constexpr std::uint64_t kMany = std::uint64_t{1} << 62;
  const auto first = [&](const std::string& pattern, std::uint64_t from, std::uint64_t count) {
    const std::string file = studio::FirstNumberedFile(Path(pattern), from, count);
    return file.empty() ? file : file.substr(Path("").size());
  };
  const auto make = [&](const std::string& name) { std::ofstream(Path(name)) << "older"; };
  EXPECT_EQ(first("f%04d.png", 1, kMany), "");
  EXPECT_EQ(first("none/f%04d.png", 1, kMany), "");
  for (const char* name : {"f0012.png", "f7.png", "f0000.png", "g0003.png", "f123456.png", "12"}) make(name);
  EXPECT_EQ(first("f%04d.png", 1, kMany), "f0012.png");
  EXPECT_EQ(first("f%04d.png", 0, kMany), "f0000.png");
  EXPECT_EQ(first("f%04d.png", 13, kMany), "f123456.png");
  EXPECT_EQ(first("f%04d.png", 1, 11), "");
  EXPECT_EQ(first("f%04d.png", 1, 12), "f0012.png");
  EXPECT_EQ(first("f%d.png", 1, kMany), "f7.png");
  // The number may be that of a folder.
  std::filesystem::create_directories(Path("100%/shot3"));
  std::filesystem::create_directories(Path("100%/shot2"));
  make("100%/shot3/a.png");
  EXPECT_EQ(first("100%%/shot%d/a.png", 1, kMany), "100%/shot3/a.png");
  EXPECT_EQ(first("100%%/shot%d/b.png", 1, kMany), "");
  ExpectError({"--canvas", "32x32", "--fps", "1000", "--duration", "86400", "--no-overwrite", "-o", "f%04d.png"}, 2,
              "f0012.png is there already: leave out --no-overwrite, or take another name");
}

}  // namespace
