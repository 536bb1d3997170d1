// What layers of quarn-record can be: cropped, fading, and letters.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/examples/rgba_picture.h"

namespace {

using Arguments = std::vector<std::string>;

using RecordLayersTest = StillTest;

// Every pixel another.
RgbaPicture Numbered(int width, int height) {
  return RgbaPicture(width, height, [](int x, int y) {
    return Rgba{static_cast<std::uint8_t>(x * 4), static_cast<std::uint8_t>(y * 5), static_cast<std::uint8_t>(x ^ y),
                255};
  });
}

TEST_F(RecordLayersTest, ACroppedPictureIsWhatIsLeftOfIt) {
  Write(Numbered(60, 50), "whole.png");
  Write(RgbaPicture(45, 44, [](int x, int y) { return Numbered(60, 50).At(x + 8, y + 4); }), "part.png");
  Arguments whole = {"--canvas", "320x80", "--color", "#ffffff"}, part = whole;
  for (const std::string drawn :
       {"pos=-120:0", "pos=-40:0,size=30x0", "pos=40:0,size=0x70,filter=blur", "pos=120:0,filter=grey,rotation=33"}) {
    whole.insert(whole.end(), {"--picture", "whole.png,crop=8:4:7:2," + drawn});
    part.insert(part.end(), {"--picture", "part.png," + drawn});
  }
  EXPECT_EQ(Still(320, 80, whole).pixels, Still(320, 80, part).pixels);
  ExpectError({"--picture", "whole.png,crop=30:0:30:0", "-o", "x.png"}, 1,
              "the crop leaves nothing of whole.png, which has 60x50 pixels");
}

// As pixels and as planes, upright and held sideways, in every picture.
TEST_F(RecordLayersTest, ACroppedVideoIsWhatIsLeftOfIt) {
  // Green with a border of another colour at each side: 8 pixels at the left, 4 above, 12 at the right, 6 below.
  Ffmpeg(
      "-f lavfi -i color=lime:s=60x40:r=10:d=0.3,pad=80:50:8:4:red,drawbox=68:0:12:50:blue:fill,"
      "drawbox=0:44:80:6:white:fill -c:v libx264 -qp 0 -pix_fmt yuv420p clip.mp4");
  Ffmpeg("-i clip.mp4 -c copy -metadata:s:v rotate=270 turned.mp4");
  for (const char* const form : {"pixels", "planes"}) {
    for (const std::string clip : {"clip.mp4,crop=8:4:12:6", "turned.mp4,crop=6:8:4:12"}) {
      SCOPED_TRACE(clip + " " + form);
      const bool turned = clip[0] == 't';
      const int width = turned ? 40 : 60, height = turned ? 60 : 40;
      const Ended ended =
          Run("/usr/bin/env", {std::string("QUARN_STUDIO_VIDEO=") + form, std::string(QUARN_BIN_DIR) + "/quarn-record",
                               "--canvas", "80x80", "--video", clip, "--fps", "10", "--duration", "0.3", "--offline",
                               "--format", "rgba", "-o", "film.y4m"});
      ASSERT_EQ(ended.exit_code, 0) << ended.err;
      const std::vector<RgbFrame> frames = Decode("film.y4m", 80, 80);
      ASSERT_EQ(frames.size(), 3u);
      for (const RgbFrame& frame : frames) {
        for (const auto& [x, y, outside] : {std::tuple(40, 40, false),
                                            {42 - width / 2, 42 - height / 2, false},
                                            {37 + width / 2, 37 + height / 2, false},
                                            {37 - width / 2, 40, true},
                                            {42 + width / 2, 40, true},
                                            {40, 37 - height / 2, true},
                                            {40, 42 + height / 2, true}}) {
          ExpectPixel(frame, x, y, 0, outside ? 0 : 255, 0);
        }
      }
    }
  }
}

// Colours and pictures fade at the film's ends, a video at its own; in a scene file as on the command line.
TEST_F(RecordLayersTest, LayersFadeInAndOut) {
  Ffmpeg("-f lavfi -i color=white:s=32x32:r=10:d=1 -c:v ffv1 -pix_fmt gbrp clip.mkv");
  const Arguments head = {"--canvas", "96x32", "--fps", "10", "--duration", "2", "--offline", "--format", "rgba"};
  Arguments arguments = head;
  arguments.insert(arguments.end(),
                   {"--color", "#ffffff,size=32x32,pos=-32:0,fade=0.5:1", "--video", "clip.mkv,fade=0.4:0.5", "--video",
                    "clip.mkv,pos=32:0,fade=0:0.5,loop,opacity=0.5", "-o", "film.y4m"});
  Record(arguments);
  const std::vector<RgbFrame> frames = Decode("film.y4m", 96, 32);
  ASSERT_EQ(frames.size(), 20u);
  for (int n = 0; n < 20; ++n) {
    const double time = n / 10.0;
    const auto share = [](double passed, double of) { return std::clamp(passed / of, 0.0, 1.0); };
    const double seen[3] = {share(time, 0.5) * share(2 - time, 1), share(time, 0.4) * share(1 - time, 0.5),
                            share(2 - time, 0.5) * 0.5};
    for (int i = 0; i < 3; ++i) {
      const int level = static_cast<int>(std::lround(255 * seen[i]));
      SCOPED_TRACE(std::to_string(n) + " " + std::to_string(i));
      ExpectPixel(frames[static_cast<std::size_t>(n)], 16 + 32 * i, 16, level, level, level);
    }
  }
  std::ofstream(Path("scene.json")) << R"({"canvas": [96, 32], "fps": 10, "duration": 2, "layers": [
      {"color": "#ffffff", "size": [32, 32], "pos": [-32, 0], "fade": [0.5, 1]},
      {"video": "clip.mkv", "fade": [0.4, 0.5]},
      {"video": "clip.mkv", "pos": [32, 0], "fade": [0, 0.5], "loop": true, "opacity": 0.5}]})";
  Record({"--scene", "scene.json", "--offline", "--format", "rgba", "-o", "scene.y4m"});
  EXPECT_TRUE(ReadFile(Path("scene.y4m")) == ReadFile(Path("film.y4m")));
}

// Where there is anything but black.
struct Inked {
  int left = 1 << 20, top = 1 << 20, right = -1, bottom = -1;
  int width() const { return right - left + 1; }
  int height() const { return bottom - top + 1; }
};

Inked InkOf(const RgbaPicture& picture) {
  Inked ink;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const Rgba& pixel = picture.At(x, y);
      if (std::max({pixel[0], pixel[1], pixel[2]}) < 64) continue;
      ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x), std::max(ink.bottom, y)};
    }
  }
  return ink;
}

TEST_F(RecordLayersTest, TextsAreLettersOfTheHeightAskedFor) {
  const auto ink_of = [this](const std::string& text) {
    return InkOf(Still(400, 200, {"--canvas", "400x200", "--text", text}));
  };
  const Inked small = ink_of("HH,height=30"), large = ink_of("HH,height=90");
  EXPECT_NEAR(large.height(), small.height() * 3, 5);
  EXPECT_NEAR(large.width(), small.width() * 3, 7);
  EXPECT_GT(large.height(), 50);
  EXPECT_LT(large.height(), 90);
  EXPECT_NEAR(large.left + large.right, 399, 12);  // In the middle.
  // Lines lie under one another, at the side that is asked for.
  const Inked two = ink_of("HH\\nHHHH,height=30");
  EXPECT_GT(two.height(), small.height() * 2);
  EXPECT_GT(two.width(), small.width() * 18 / 10);
  const auto first_line = [this](const std::string& align) {
    const RgbaPicture still =
        Still(400, 200, {"--canvas", "400x200", "--text", "H\\nHHHHHHHH,height=30,align=" + align});
    RgbaPicture upper(400, 100, [&](int x, int y) { return still.At(x, y); });
    return InkOf(upper).left;
  };
  EXPECT_GT(first_line("center"), first_line("left") + 30);
  EXPECT_GT(first_line("right"), first_line("center") + 30);
  // A size of its own is filled.
  const Inked wide = ink_of("HHHH,height=30,size=300x0");
  EXPECT_GT(wide.width(), 275);
  EXPECT_LE(wide.width(), 301);
  // A font that is not there, and letters of other scripts.
  EXPECT_GT(ink_of("\xc3\x84\xd0\x96\xce\xa9,height=30,font=No Such Font At All Bold").width(), small.width());
}

// Larger than letters are drawn.
TEST_F(RecordLayersTest, AnEnormousTextIsEnlarged) {
  const RgbaPicture still = Still(40, 40, {"--canvas", "40x40", "--text", "\xe2\x96\x88,height=10,size=0x3000"});
  for (const Rgba& pixel : still.pixels) ASSERT_EQ(pixel, (Rgba{255, 255, 255, 255}));
  Record({"--text", std::string(32, 'A') + ",size=0x2000", "-o", "wide.png"});
}

TEST_F(RecordLayersTest, TextsHaveTheirColorAndNoDarkEdges) {
  const RgbaPicture still =
      Still(200, 100,
            {"--canvas", "200x100", "--color", "#ff8040", "--text", "Ag\\, g,height=60,color=#ff8040,rotation=10",
             "--text", "W,color=#ff804080,filter=blur"});
  EXPECT_LE(Difference(still, [](int, int) { return std::array<double, 3>{0xff, 0x80, 0x40}; }), 2);
  const RgbaPicture blue = Still(200, 100, {"--canvas", "200x100", "--text", "MM,height=80,color=#2040f0,opacity=0.5"});
  int most = 0;
  for (const Rgba& pixel : blue.pixels) {
    most = std::max<int>(most, pixel[2]);
    ASSERT_NEAR(pixel[0], pixel[2] * 0x20 / 240.0, 2);
    ASSERT_NEAR(pixel[1], pixel[2] * 0x40 / 240.0, 2);
  }
  EXPECT_NEAR(most, 120, 2);
}

TEST_F(RecordLayersTest, TextsStandInSceneFiles) {
  std::ofstream(Path("scene.json")) << R"({"canvas": [200, 100], "layers": [
      {"text": "One,\nzwö", "font": "Serif Italic", "height": 30, "color": "#f0a020", "align": "right",
       "rotation": 5}]})";
  Record({"--scene", "scene.json", "-o", "a.png"});
  Record({"--canvas", "200x100", "--text",
          "One\\,\\nzw\xc3\xb6,font=Serif Italic,height=30,color=#f0a020,align=right,rotation=5", "-o", "b.png"});
  EXPECT_TRUE(ReadFile(Path("a.png")) == ReadFile(Path("b.png")));
  EXPECT_GT(InkOf(Read("a.png", 200, 100)).height(), 40);
}

TEST_F(RecordLayersTest, ATextThatIsTooLargeIsToldInOneLine) {
  const Ended ended = Run("quarn-record", {"--text", std::string(60, 'm') + "\\n1,height=2000", "-o", "x.png"});
  EXPECT_EQ(ended.exit_code, 2);
  EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
  EXPECT_NE(ended.err.find("pixels: each side must be at most 8192"), std::string::npos) << ended.err;
}

}  // namespace
