// What quarn-record shows and plays of media that are not plain: late, trimmed, transparent, interlaced, turned,
// damaged.
#include <algorithm>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/examples/example_program.h"

namespace {

using Arguments = std::vector<std::string>;

// Where the matrix of a track's header lies behind its name, in an MP4 file of version 0.
constexpr std::size_t kMatrixBehindName = 44;

class RecordMediaTest : public ExampleTest {
 protected:
  // A clip at 10 pictures a second whose picture n is of the grey level 20 n + 20.
  void MakeSteps(const std::string& name, int pictures, const std::string& codec) {
    Ffmpeg("-f lavfi -i nullsrc=s=32x32:r=10,format=gray,geq=lum=20*N+20,scale=out_color_matrix=bt709:out_range=tv," +
           std::string("format=yuv420p -frames:v ") + std::to_string(pictures) +
           " -colorspace bt709 -color_range tv -c:v " + codec + " " + name);
  }

  // Which picture of MakeSteps each frame of a film at 10 frames a second shows.
  std::vector<int> Steps(const std::string& video, const std::string& duration, const Arguments& more = {}) {
    Arguments arguments = {"--canvas", "32x32", "--fps",   "10",  "--duration", duration,  "--offline",
                           "--format", "bgra",  "--video", video, "-o",         "film.mkv"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Record(arguments);
    std::vector<int> steps;
    for (const RgbFrame& frame : Decode("film.mkv", 32, 32)) steps.push_back((frame.At(16, 16)[0] - 10) / 20);
    return steps;
  }
};

TEST_F(RecordMediaTest, FirstPictureIsSeenFromTheBeginningOfTheSound) {
  MakeSteps("steps.mp4", 4, "libx264");
  Ffmpeg("-itsoffset 0.3 -i steps.mp4 -f lavfi -i sine=d=0.7 -map 0:v -map 1:a -c:v copy -c:a flac late.mkv");
  EXPECT_EQ(Steps("late.mkv", "1"), (std::vector<int>{0, 0, 0, 0, 1, 2, 3, 3, 3, 3}));
  EXPECT_EQ(Steps("late.mkv,loop", "1.6"), (std::vector<int>{0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0, 1, 2, 3, 0, 0}));
}

TEST_F(RecordMediaTest, TrimIsExactToThePicture) {
  // One key picture, and references in both directions.
  MakeSteps("steps.mp4", 11, "libx264 -g 100 -bf 3 -qp 1");
  EXPECT_EQ(Steps("steps.mp4,trim=0.3:0.7", "0.6"), (std::vector<int>{3, 4, 5, 6, 6, 6}));
  EXPECT_EQ(Steps("steps.mp4,loop,trim=0.3:0.6", "0.8"), (std::vector<int>{3, 4, 5, 3, 4, 5, 3, 4}));
  EXPECT_EQ(Steps("steps.mp4,loop,trim=0.8:", "0.7"), (std::vector<int>{8, 9, 10, 8, 9, 10, 8}));
  EXPECT_EQ(Steps("steps.mp4,loop,trim=:0.2", "0.5"), (std::vector<int>{0, 1, 0, 1, 0}));
  EXPECT_EQ(Steps("steps.mp4,trim=0.45:", "0.3"), (std::vector<int>{4, 5, 6}));
  ExpectError({"--video", "steps.mp4,trim=2:", "-o", "film.mp4"}, 1,
              "cannot decode steps.mp4: its trim begins where it has ended");
}

TEST_F(RecordMediaTest, StartMayBeFarIntoALoop) {
  MakeSteps("steps.mp4", 10, "libx264 -g 4 -qp 1");
  EXPECT_EQ(Steps("steps.mp4", "0.3", {"--start", "0.6"}), (std::vector<int>{6, 7, 8}));
  EXPECT_EQ(Steps("steps.mp4", "0.2", {"--start", "4000"}), (std::vector<int>{9, 9}));
  EXPECT_EQ(Steps("steps.mp4,trim=:0.5", "0.2", {"--start", "4000"}), (std::vector<int>{4, 4}));
  EXPECT_EQ(Steps("steps.mp4,loop", "0.3", {"--start", "50000.8"}), (std::vector<int>{8, 9, 0}));
}

TEST_F(RecordMediaTest, StandardInputIsPlayed) {
  MakeSteps("steps.nut", 8, "libx264 -g 3 -qp 1");
  const Ended ended = Run("/bin/sh", {"-c", "cat steps.nut | " QUARN_BIN_DIR
                                            "/quarn-record --canvas 32x32 --fps 10 --duration 0.9 --offline --format "
                                            "bgra --video - -o film.mkv"});
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  const std::vector<RgbFrame> frames = Decode("film.mkv", 32, 32);
  ASSERT_EQ(frames.size(), 9u);
  for (int i = 0; i < 9; ++i) EXPECT_EQ((frames[static_cast<std::size_t>(i)].At(16, 16)[0] - 10) / 20, std::min(i, 7));
}

TEST_F(RecordMediaTest, TransparencyOfVp8AndVp9IsSeen) {
  for (const std::string codec : {"libvpx", "libvpx-vp9"}) {
    SCOPED_TRACE(codec);
    Ffmpeg(
        "-f lavfi -i color=white:s=64x32:r=10:d=0.3,format=yuva420p,geq=lum=235:cb=128:cr=128:a=255*gte(X\\,32) "
        "-c:v " +
        codec + " -b:v 1M -auto-alt-ref 0 half.webm");
    Record({"--canvas", "64x32", "--color", "#0000ff", "--video", "half.webm", "-o", "still.png"});
    const RgbFrame frame = Decode("still.png", 64, 32).at(0);
    ExpectPixel(frame, 8, 16, 0, 0, 255);
    ExpectPixel(frame, 56, 16, 255, 255, 255);
  }
}

// A bar that moves by 16 pixels from one half of a picture to the other has a comb at its sides.
TEST_F(RecordMediaTest, InterlacedPicturesAreMadeWhole) {
  Ffmpeg(
      "-f lavfi -i nullsrc=s=128x64:r=20,format=gray,geq=lum=255*between(X-16*mod(N\\,6)\\,8\\,39) -frames:v 12 -vf "
      "tinterlace=interleave_top,format=yuv420p,setfield=tff -c:v mpeg2video -q:v 1 -flags +ildct+ilme clip.mkv");
  const auto combs = [this](const std::string& video) {
    Record({"--canvas", "128x64", "--fps", "10", "--duration", "0.5", "--offline", "--format", "bgra", "--video", video,
            "-o", "film.mkv"});
    int count = 0;
    for (const RgbFrame& frame : Decode("film.mkv", 128, 64)) {
      for (int y = 20; y < 40; ++y) {
        for (int x = 0; x < 128; ++x) {
          const int above = frame.At(x, y - 1)[0], here = frame.At(x, y)[0], below = frame.At(x, y + 1)[0];
          if ((here - above) * (here - below) > 128 * 128) ++count;
        }
      }
    }
    return count;
  };
  const int off = combs("clip.mkv,deinterlace=off");
  EXPECT_GT(off, 1000);
  EXPECT_LT(combs("clip.mkv"), off / 20);
  std::ofstream(Path("scene.json")) << R"({"canvas": [128, 64], "layers": [
    {"video": "clip.mkv", "deinterlace": "off", "trim": "0.2:"}]})";
  Record({"--scene", "scene.json", "-o", "scene.png"});
  Record({"--canvas", "128x64", "--video", "clip.mkv,deinterlace=off,trim=0.2:", "-o", "option.png"});
  EXPECT_TRUE(ReadFile(Path("scene.png")) == ReadFile(Path("option.png")));
}

TEST_F(RecordMediaTest, DeinterlacedPicturesKeepTheirTimes) {
  MakeSteps("steps.mkv", 8, "mpeg2video -q:v 1 -flags +ildct+ilme -top 1");
  EXPECT_EQ(Steps("steps.mkv,loop", "1.1"), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2}));
}

// What turns each of the orientations of EXIF into the stored picture, and its matrix in MP4.
struct Orientation {
  const char* stored;
  int a, b, c, d;
};
constexpr Orientation kOrientations[] = {{"null", 1, 0, 0, 1},
                                         {"hflip", -1, 0, 0, 1},
                                         {"hflip,vflip", -1, 0, 0, -1},
                                         {"vflip", 1, 0, 0, -1},
                                         {"transpose=cclock_flip", 0, 1, 1, 0},
                                         {"transpose=cclock", 0, 1, -1, 0},
                                         {"transpose=clock_flip", 0, -1, -1, 0},
                                         {"transpose=clock", 0, -1, 1, 0}};

const std::string kCorners =
    "-f lavfi -i color=red:s=32x16:r=10:d=0.1 -f lavfi -i color=lime:s=32x16:r=10:d=0.1 -f lavfi -i "
    "color=white:s=32x16:r=10:d=0.1 -f lavfi -i color=blue:s=32x16:r=10:d=0.1 -filter_complex "
    "[0][1]hstack[t];[2][3]hstack[b];[t][b]vstack,";

// Draws eight pictures of 64 by 32 below each other, and expects each to have red, green, blue and white in its
// corners, from the upper left one clockwise.
class RecordOrientationTest : public RecordMediaTest {
 protected:
  void ExpectAllUpright(const std::string& option, const std::string& suffix) {
    Arguments arguments = {"--canvas", "64x256", "-o", "still.png"};
    for (int i = 0; i < 8; ++i) {
      arguments.insert(arguments.end(),
                       {option, std::to_string(i) + suffix + ",pos=0:" + std::to_string(32 * i - 112)});
    }
    Record(arguments);
    const RgbFrame frame = Decode("still.png", 64, 256).at(0);
    for (int i = 0; i < 8; ++i) {
      SCOPED_TRACE(i + 1);
      ExpectPixel(frame, 8, 32 * i + 8, 255, 0, 0);
      ExpectPixel(frame, 56, 32 * i + 8, 0, 255, 0);
      ExpectPixel(frame, 56, 32 * i + 24, 0, 0, 255);
      ExpectPixel(frame, 8, 32 * i + 24, 255, 255, 255);
    }
  }
};

TEST_F(RecordOrientationTest, PhotosHeldInAnyWayStandUpright) {
  // The tag stands in a segment of its own behind the start of the file.
  constexpr char kSegment[] =
      "\xff\xe1\0\x22"
      "Exif\0\0MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0";
  const std::string exif(kSegment, sizeof(kSegment) - 1);
  for (int i = 0; i < 8; ++i) {
    Ffmpeg(kCorners + kOrientations[i].stored +
           ",scale=out_color_matrix=bt601:out_range=pc,format=yuvj444p -q:v 1 -frames:v 1 plain.jpg");
    const std::string jpeg = ReadFile(Path("plain.jpg"));
    std::ofstream(Path(std::to_string(i) + ".jpg"), std::ios::binary)
        << jpeg.substr(0, 2) << exif << static_cast<char>(i + 1) << std::string(6, '\0') << jpeg.substr(2);
  }
  ExpectAllUpright("--picture", ".jpg");
}

TEST_F(RecordOrientationTest, VideosHeldInAnyWayStandUpright) {
  for (int i = 0; i < 8; ++i) {
    const Orientation& held = kOrientations[i];
    const std::string name = std::to_string(i) + ".mp4";
    Ffmpeg(kCorners + held.stored +
           ",scale=out_color_matrix=bt709:out_range=tv,format=yuv444p -c:v libx264 -qp 1 -colorspace bt709 "
           "-color_range tv " +
           name);
    std::string clip = ReadFile(Path(name));
    const std::size_t at = clip.find("tkhd") + kMatrixBehindName;
    ASSERT_LT(at + 36, clip.size());
    const int values[] = {held.a, held.b, 0, held.c, held.d};
    for (std::size_t n = 0; n < 5; ++n) {
      const auto fixed = static_cast<unsigned int>(values[n] * 65536);
      for (std::size_t byte = 0; byte < 4; ++byte) {
        clip[at + n * 4 + byte] = static_cast<char>(fixed >> (24 - 8 * byte));
      }
    }
    std::ofstream(Path(name), std::ios::binary) << clip;
  }
  ExpectAllUpright("--video", ".mp4");
}

TEST_F(RecordMediaTest, DamageIsToldAndTheRestIsShown) {
  MakeSteps("steps.avi", 10, "mpeg4 -q:v 1 -g 1");
  const Ended whole = Record(
      {"--canvas", "32x32", "--fps", "10", "--duration", "1", "--offline", "--video", "steps.avi", "-o", "whole.mkv"});
  EXPECT_EQ(whole.out.find("damaged"), std::string::npos) << whole.out;
  // The fourth picture becomes noise.
  std::string clip = ReadFile(Path("steps.avi"));
  std::size_t at = clip.find("movi");
  for (int i = 0; i < 4; ++i) at = clip.find("00dc", at + 1);
  const std::size_t size = static_cast<unsigned char>(clip[at + 4]) + 256u * static_cast<unsigned char>(clip[at + 5]);
  for (std::size_t i = 0; i < size; ++i) clip[at + 8 + i] = static_cast<char>(i * 89 + 7);
  std::ofstream(Path("steps.avi"), std::ios::binary) << clip;
  const Ended ended = Record({"--canvas", "32x32", "--fps", "10", "--duration", "2", "--offline", "--format", "bgra",
                              "--video", "steps.avi,loop", "-o", "film.mkv"});
  EXPECT_NE(ended.out.find("  damaged: steps.avi: 1 packets could not be decoded\n"), std::string::npos) << ended.out;
  const std::vector<RgbFrame> frames = Decode("film.mkv", 32, 32);
  ASSERT_EQ(frames.size(), 20u);
  for (const int i : {0, 1, 2, 4, 5, 9, 12, 14, 19}) EXPECT_EQ((frames[i].At(16, 16)[0] - 10) / 20, i % 10) << i;
}

TEST_F(RecordMediaTest, BadValuesAreOneLine) {
  const std::pair<const char*, const char*> kCases[] = {
      {"a.mp4,trim=3", "\"3\" is not a part such as 2:5.5, 2: or :5.5"},
      {"a.mp4,trim=:", "\":\" is not a part such as 2:5.5, 2: or :5.5"},
      {"a.mp4,trim=5:2", "layer trim: must be 0 to 86400 seconds, and its end behind its start"},
      {"a.mp4,trim=-1:2", "layer trim: must be 0 to 86400 seconds, and its end behind its start"},
      {"a.mp4,deinterlace=on", "unknown deinterlacing \"on\": there are auto and off"}};
  for (const auto& [video, line] : kCases) ExpectError({"--video", video, "-o", "film.mp4"}, 2, line);
}

}  // namespace
