// How quarn-record draws what is transparent, and films smaller than their scene, against plain arithmetic.

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <random>

#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "studio/device.h"
#include "studio/film_picture.h"
#include "studio/premultiply.h"
#include "studio/texel_copy.h"
#include "tests/examples/rgba_picture.h"

namespace {

using Arguments = std::vector<std::string>;
using Levels = std::array<double, 3>;

class RecordDrawingTest : public StillTest {};

// White of every alpha, with colours of no sense hidden where it is 0.
RgbaPicture WhiteWithHiddenColors() {
  std::mt19937 random(1);
  return RgbaPicture(64, 64, [&](int x, int y) {
    const auto byte = [&random] { return static_cast<std::uint8_t>(random() & 0xff); };
    const bool hidden = (x / 8 + y / 8) % 2 != 0;
    return hidden ? Rgba{byte(), byte(), byte(), 0} : Rgba{255, 255, 255, x < 32 ? std::uint8_t{255} : byte()};
  });
}

// Some of everything: colours, alphas, hard edges.
RgbaPicture Colorful(int width, int height) {
  std::mt19937 random(2);
  return RgbaPicture(width, height, [&](int, int) {
    const auto byte = [&random] { return static_cast<std::uint8_t>(random() & 0xff); };
    return Rgba{byte(), byte(), byte(), byte()};
  });
}

TEST(PremultiplyTest, EveryColorOverItselfIsItselfAndWhiteIsWhite) {
  for (unsigned int alpha = 0; alpha < 256; ++alpha) {
    for (unsigned int color = 0; color < 256; ++color) {
      const unsigned int premultiplied = studio::Premultiplied(color, alpha);
      ASSERT_EQ(premultiplied, static_cast<unsigned int>(std::lround(color * alpha / 255.0))) << color << " " << alpha;
      const long over = std::lround(premultiplied + color * (255 - alpha) / 255.0);
      ASSERT_LE(std::labs(over - static_cast<long>(color)), 1) << color << " " << alpha;
      if (color == 255) {
        ASSERT_EQ(over, 255) << alpha;
      }
    }
  }
}

TEST(PremultiplyTest, ScalingKeepsWhiteWhite) {
  RgbaPicture picture = WhiteWithHiddenColors();
  auto* const bytes = picture.pixels.data()->data();
  studio::Premultiply({{64, 64}, 64 * 4, bytes});
  for (const studio::Size size : {studio::Size{33, 20}, studio::Size{100, 70}, studio::Size{1, 1}}) {
    std::vector<std::uint8_t> scaled(static_cast<std::size_t>(size.width) * size.height * 4);
    ASSERT_TRUE(studio::ScalePremultiplied({{64, 64}, 64 * 4, bytes}, {size, size.width * 4, scaled.data()}));
    for (std::size_t at = 0; at < scaled.size(); at += 4) {
      for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(scaled[at + c], scaled[at + 3]) << size.width << " " << at;
    }
  }
}

TEST_F(RecordDrawingTest, HiddenColorsShowNowhere) {
  Write(WhiteWithHiddenColors(), "white.png");
  Write(WhiteWithHiddenColors(), "white.mov", "-c:v qtrle -pix_fmt argb");
  Arguments arguments = {"--canvas", "400x300", "--color", "#ffffff"};
  int number = 0;
  for (const char* const drawn :
       {"", ",size=90x80", ",size=40x23", ",rotation=30", ",filter=blur", ",filter=blur,size=90x0,rotation=20",
        ",opacity=0.4", ",filter=grey,size=50x50,rotation=-70", ",filter=blur,size=31x0,opacity=0.7",
        ",rotation=45,size=70x0", ",crop=3:9:5:1,rotation=10"}) {
    const std::string pos =
        ",pos=" + std::to_string(number % 4 * 100 - 150) + ":" + std::to_string(number / 4 * 100 - 100);
    arguments.insert(arguments.end(), {"--picture", std::string("white.png") + pos + drawn});
    arguments.insert(arguments.end(), {"--video", std::string("white.mov") + pos + drawn + ",hidden"});
    ++number;
  }
  const auto darkest = [](const RgbaPicture& picture) {
    int level = 255;
    for (const Rgba& pixel : picture.pixels)
      level = std::min<int>(level, *std::min_element(pixel.begin(), pixel.end()));
    return level;
  };
  EXPECT_GE(darkest(Still(400, 300, arguments)), 254);
  for (std::string& argument : arguments) {  // The videos now.
    const std::size_t hidden = argument.find(",hidden");
    if (hidden != std::string::npos) {
      argument.erase(hidden);
    } else if (argument.rfind("white.png", 0) == 0) {
      argument += ",hidden";
    }
  }
  EXPECT_GE(darkest(Still(400, 300, arguments)), 254);
}

TEST_F(RecordDrawingTest, TransparentPicturesAndVideosAreDrawnExactly) {
  const RgbaPicture picture = Colorful(48, 40);
  Write(picture, "a.png");
  Write(picture, "a.mov", "-c:v qtrle -pix_fmt argb");
  const Levels below = {0x30, 0x90, 0xd0};
  struct Case {
    std::string option, layer;
    double opacity;
    bool grey;
    double tolerance;
  };
  // What is premultiplied is rounded once, what a filter makes of it once more, and the whole in the end; drivers may
  // round what they blend, too.
  for (const Case& drawn : {Case{"--picture", "a.png", 1, false, 1.1}, Case{"--picture", "a.png", 0.55, true, 2},
                            Case{"--video", "a.mov", 0.55, false, 2}, Case{"--video", "a.mov", 1, true, 1.6}}) {
    SCOPED_TRACE(drawn.layer + " " + std::to_string(drawn.opacity));
    const std::string seen =
        drawn.layer + ",opacity=" + std::to_string(drawn.opacity) + (drawn.grey ? ",filter=grey" : "");
    const RgbaPicture still = Still(48, 40, {"--canvas", "48x40", "--color", "#3090d0", drawn.option, seen});
    EXPECT_LE(Difference(still,
                         [&](int x, int y) {
                           const Rgba color = picture.At(x, y);
                           if (!drawn.grey) return Over(color, drawn.opacity, below);
                           const double level = color[0] * 0.2126 + color[1] * 0.7152 + color[2] * 0.0722;
                           return Over(Levels{level, level, level}, color[3] / 255.0 * drawn.opacity, below);
                         }),
              drawn.tolerance);
  }
}

// The mean of what each pixel covers.
Levels Mean(const RgbaPicture& from, int width, int height, int x, int y) {
  const double across = static_cast<double>(from.width) / width, down = static_cast<double>(from.height) / height;
  Levels sum = {0, 0, 0};
  for (int v = static_cast<int>(y * down); v < std::min<double>(from.height, (y + 1) * down); ++v) {
    for (int u = static_cast<int>(x * across); u < std::min<double>(from.width, (x + 1) * across); ++u) {
      const double part = (std::min(u + 1.0, (x + 1) * across) - std::max<double>(u, x * across)) *
                          (std::min(v + 1.0, (y + 1) * down) - std::max<double>(v, y * down));
      for (std::size_t c = 0; c < 3; ++c) sum[c] += from.At(u, v)[c] * part / (across * down);
    }
  }
  return sum;
}

// Asks, while it is drawn, whether its texture can be copied into the picture.
class CopiedItem : public GsItem {
 public:
  explicit CopiedItem(GsDevice* device)
      : GsItem(gs_vec2(8, 8), device),
        pixels_(8 * 8 * 4, 200),
        texture_(pixels_.data(), 8 * 4, GsTexture::kTextureRGBA, 8, 8, device) {}

  void Draw() override {
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    expected = major * 10 + minor >= 43;
    copied = studio::CopyTexels(&texture_, {8, 8}, 4, 4, {32, 32});
  }

  std::optional<bool> expected, copied;

 private:
  std::vector<unsigned char> pixels_;
  GsTexture texture_;
};

TEST(CopyTexelsTest, CopiesWhereTheDriverCan) {
  const studio::Device device({25, 1}, false);
  ASSERT_TRUE(device.get()->InitThreadContext());
  {
    const auto scene = MakeRefCounted<GsScene>(32, 32, device.get());
    const auto item = MakeRefCounted<CopiedItem>(device.get());
    scene->AddItem(item);
    const GsSceneHold hold(scene.get());
    device.get()->RunFrame(0);
    ASSERT_TRUE(item->copied.has_value());
    EXPECT_EQ(item->copied, item->expected);
  }
  device.get()->UninitThreadContext();
}

// With a driver that copies images, and with one that is as old as it may be.
TEST_F(RecordDrawingTest, OpaquePicturesLieTexelByTexelWhereverTheyReach) {
  std::mt19937 random(3);
  const RgbaPicture picture(40, 30, [&](int x, int y) {
    const auto byte = [&random] { return static_cast<std::uint8_t>(random() & 0xff); };
    return Rgba{byte(), byte(), static_cast<std::uint8_t>(x + 4 * y), 255};
  });
  Write(picture, "opaque.png");
  struct Corner {
    int left, top;
  };
  const std::vector<Corner> corners = {{-7, -11}, {75, -5}, {-39, 45}, {70, 50}, {30, 25}, {-40, 20}, {100, 80}};
  Arguments arguments = {"--canvas", "100x80"};
  for (const Corner& corner : corners) {
    arguments.insert(arguments.end(), {"--picture", "opaque.png,pos=" + std::to_string(corner.left + 20 - 50) + ":" +
                                                        std::to_string(corner.top + 15 - 40)});
  }
  const auto expected = [&](int x, int y) {
    Levels levels{0, 0, 0};
    for (const Corner& corner : corners) {
      const int u = x - corner.left, v = y - corner.top;
      if (u < 0 || v < 0 || u >= 40 || v >= 30) continue;
      const Rgba& texel = picture.At(u, v);
      levels = {static_cast<double>(texel[0]), static_cast<double>(texel[1]), static_cast<double>(texel[2])};
    }
    return levels;
  };
  EXPECT_EQ(Difference(Still(100, 80, arguments), expected), 0);
  setenv("MESA_GL_VERSION_OVERRIDE", "3.2", 1);
  const RgbaPicture drawn = Still(100, 80, arguments);
  unsetenv("MESA_GL_VERSION_OVERRIDE");
  EXPECT_EQ(Difference(drawn, expected), 0);
}

TEST_F(RecordDrawingTest, ASmallerFilmIsTheMeanOfWhatItCovers) {
  const RgbaPicture plate(180, 120, [](int x, int y) {
    const double squared = (x - 90.0) * (x - 90.0) + (y - 60.0) * (y - 60.0);
    const auto level = static_cast<std::uint8_t>(std::lround(127.5 + 127.5 * std::cos(squared * 3.14159265 / 180)));
    return Rgba{level, static_cast<std::uint8_t>(255 - level), static_cast<std::uint8_t>(x), 255};
  });
  Write(plate, "plate.png");
  const Arguments head = {"--canvas", "180x120", "--picture", "plate.png", "--output-size"};
  for (const auto& [width, height] : {std::pair(90, 60), {60, 40}, {120, 80}}) {
    Arguments arguments = head;
    arguments.push_back(std::to_string(width) + "x" + std::to_string(height));
    const RgbaPicture still = Still(width, height, arguments);
    EXPECT_LE(Difference(still, [&, w = width, h = height](int x, int y) { return Mean(plate, w, h, x, y); }), 1)
        << width;
  }
  // Between bars, on whole pixels.
  Arguments arguments = head;
  arguments.emplace_back("90x77");
  const RgbaPicture still = Still(90, 77, arguments);
  EXPECT_LE(Difference(still,
                       [&](int x, int y) {
                         const int row = y - 8;
                         return row < 0 || row >= 60 ? Levels{0, 0, 0} : Mean(plate, 90, 60, x, row);
                       }),
            1);
}

TEST_F(RecordDrawingTest, ASmallerFilmShowsTheFramesOfTheirOwnTimes) {
  Record({"--canvas", "160x40", "--color", "#ffffff,size=20x40,pos=-70:0,drift=200:0", "--fps", "10", "--duration",
          "0.8", "--output-size", "80x20", "--offline", "-o", "film.y4m"});
  const std::vector<RgbFrame> frames = Decode("film.y4m", 80, 20);
  ASSERT_EQ(frames.size(), 8u);
  for (int n = 0; n < 8; ++n) {
    for (int place = 0; place < 8; ++place) {
      const int level = place == n ? 255 : 0;
      ExpectPixel(frames[static_cast<std::size_t>(n)], place * 10 + 5, 10, level, level, level);
    }
  }
}

TEST(FilmPictureTest, OnlyASmallerOrATransparentFilmIsMadeAnew) {
  const studio::Device device(studio::FrameRate{30, 1}, false);
  studio::StageTimes times;
  studio::Description description;
  description.canvas = {64, 48};
  const auto scene = MakeRefCounted<GsScene>(64u, 48u, device.get());
  const auto is_made_anew = [&](std::optional<studio::Size> size, bool transparent) {
    description.output_size = size;
    description.transparent = transparent;
    const studio::FilmPicture picture(scene, description, device.get(), &times);
    return picture.scene() != scene.get();
  };
  EXPECT_FALSE(is_made_anew(std::nullopt, false));
  EXPECT_FALSE(is_made_anew(studio::Size{64, 48}, false));
  EXPECT_FALSE(is_made_anew(studio::Size{128, 96}, false));
  EXPECT_FALSE(is_made_anew(studio::Size{64, 100}, false));
  EXPECT_TRUE(is_made_anew(studio::Size{62, 48}, false));
  EXPECT_TRUE(is_made_anew(studio::Size{64, 48}, true));
}

TEST_F(RecordDrawingTest, TransparentStillsCompositeToWhatTheSceneIs) {
  const RgbaPicture picture = Colorful(24, 20);
  Write(picture, "a.png");
  const Arguments layers = {"--canvas",  "64x48",
                            "--color",   "#e02080,size=40x20,pos=-8:-6,opacity=0.3",
                            "--picture", "a.png",
                            "--color",   "#10f0a080,size=20x30,pos=10:5",
                            "--color",   "#ffffff,size=4x48,pos=-30:0"};
  Arguments arguments = layers;
  arguments.emplace_back("--transparent");
  const RgbaPicture still = Still(64, 48, arguments);
  EXPECT_EQ(still.At(60, 2)[3], 0);
  EXPECT_EQ(still.At(3, 47), (Rgba{255, 255, 255, 255}));
  EXPECT_EQ(still.At(4, 47), (Rgba{0, 0, 0, 0}));
  // What the layers are by plain arithmetic, over a background.
  const auto inside = [](int x, int y, int px, int py, int width, int height) {
    const double dx = x + 0.5 - 32 - px, dy = y + 0.5 - 24 - py;
    return std::fabs(dx) < width / 2.0 && std::fabs(dy) < height / 2.0;
  };
  for (const Levels& background : {Levels{0, 0, 0}, Levels{255, 255, 255}, Levels{200, 30, 90}}) {
    double worst = 0;
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 64; ++x) {
        Levels color = background;
        if (inside(x, y, -8, -6, 40, 20)) color = Over({0xe0, 0x20, 0x80, 255}, 0.3, color);
        if (inside(x, y, 0, 0, 24, 20)) color = Over(picture.At(x - 20, y - 14), 1, color);
        if (inside(x, y, 10, 5, 20, 30)) color = Over({0x10, 0xf0, 0xa0, 0x80}, 1, color);
        if (inside(x, y, -30, 0, 4, 48)) color = {255, 255, 255};
        const Levels shown = Over(still.At(x, y), 1, background);
        for (std::size_t c = 0; c < 3; ++c) worst = std::max(worst, std::fabs(shown[c] - color[c]));
      }
    }
    // Each of up to three layers is rounded to a level, the picture twice.
    EXPECT_LE(worst, 2) << background[0];
  }
  // Without --transparent it is opaque: the same over black.
  const RgbaPicture opaque = Still(64, 48, layers);
  EXPECT_LE(Difference(opaque, [&](int x, int y) { return Over(still.At(x, y), 1, {0, 0, 0}); }), 2);
  for (const Rgba& pixel : opaque.pixels) ASSERT_EQ(pixel[3], 255);
}

TEST_F(RecordDrawingTest, TransparentStillsOfAnotherSizeHaveNoDarkEdges) {
  const Arguments layers = {"--canvas", "60x60", "--color", "#ffffff,size=31x31,rotation=20", "--transparent"};
  for (const int side : {60, 40, 90}) {
    Arguments arguments = layers;
    arguments.insert(arguments.end(), {"--output-size", std::to_string(side) + "x" + std::to_string(side)});
    int covered = 0, partly = 0;
    for (const Rgba& pixel : Still(side, side, arguments).pixels) {
      if (pixel[3] == 0) continue;
      ++covered;
      partly += pixel[3] < 255 ? 1 : 0;
      for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(pixel[c], 255) << side;
    }
    EXPECT_GT(partly, side / 2) << side;
    EXPECT_NEAR(covered, side * side * 31 * 31 / 3600.0, side * 2.5) << side;
  }
}

}  // namespace
