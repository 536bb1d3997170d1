// quarn-preview at Wayland compositors, from outside: somebody points, clicks and types; the screen, what is saved and
// what is recorded are the judges. Every wait is for something to be seen. What the editor does with what it is told is
// preview_test's.
#include <linux/input-event-codes.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "tests/examples/preview_sight.h"
#include "tests/examples/wayland_program.h"

namespace {

constexpr int kWidth = kCanvasWidth + 2 * kMargin, kHeight = kCanvasHeight + 2 * kMargin;

class PreviewWaylandTest : public WaylandProgramTest {
 protected:
  void OpenScene(const std::string& json, std::vector<std::string> arguments = {"--no-panels"}) {
    std::ofstream(Path("scene.json")) << json;
    arguments.insert(arguments.begin(), {"--scene", "scene.json"});
    Open("quarn-preview", arguments, "scene.json.* - quarn-preview");
    // Until it takes keys, and says so: what is typed before is lost.
    int looks = 0;
    ASSERT_TRUE(ComesTrue([&] {
      if (looks++ % 50 == 0) user().Key(KEY_S);
      return Printed().find("saved scene.json\n") != std::string::npos;
    })) << Complained();
  }

  testing::AssertionResult Shows(const Sight& sight, double scale = 1, int width = kWidth, int height = kHeight) {
    const SightJudge judge(sight, scale, width, height);
    test::Picture seen;
    if (ComesTrue([&] { return judge.Likes(seen = Screen(width, height)); })) return testing::AssertionSuccess();
    return judge.Judge(seen) << Complained();
  }

  // Canvas positions, where the window has its first size.
  static int X(double x) { return static_cast<int>(x) + kCanvasWidth / 2 + kMargin; }
  static int Y(double y) { return static_cast<int>(y) + kCanvasHeight / 2 + kMargin; }

  testing::AssertionResult Says(const std::string& text) {
    if (ComesTrue([&] { return Printed().find(text) != std::string::npos; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it said " << Printed() << Complained();
  }

  std::string Saved() {
    const std::size_t before = Printed().size();
    user().Key(KEY_LEFTCTRL, KEY_S);
    EXPECT_TRUE(ComesTrue([&] { return Printed().find("saved scene.json\n", before) != std::string::npos; }));
    return ReadFile(Path("scene.json"));
  }
};

TEST_F(PreviewWaylandTest, HoversDragsResizesAndRecords) {
  SitDown(1);
  OpenScene(kOneScene);
  EXPECT_TRUE(Shows({{kOrange}}));
  user().MoveTo(X(-25), Y(-5));
  EXPECT_TRUE(Shows({{kOrange}, 0}));
  user().Key(KEY_R);
  EXPECT_TRUE(Says("recording film-1.mp4\n"));
  user().MoveTo(X(-60), Y(-25));
  user().Press();
  user().MoveTo(X(-13), Y(-35));
  EXPECT_TRUE(Shows({{At(kOrange, 0, -30)}, 0, 0, true}));
  user().MoveTo(X(30), Y(-35));
  EXPECT_TRUE(Shows({{At(kOrange, 40, -30)}, 0, 0}));
  // What is in hand follows the pointer out of the window, and is let go there.
  user().MoveTo(X(kCanvasWidth / 2 + 40), Y(kCanvasHeight / 2 + 60));
  EXPECT_TRUE(Shows({{At(kOrange, 150, 125)}, 0, 0}));
  user().MoveTo(X(30), Y(-35));
  user().Release();
  EXPECT_TRUE(Shows({{At(kOrange, 40, -30)}, 0, 0}));

  Resize(300, 130);  // Wider: the scene stays, in the middle.
  user().MoveTo(295, 125);
  EXPECT_TRUE(Shows({{At(kOrange, 40, -30)}, -1, 0}, 1, 300, 130));
  Resize(410, 250);  // Twice as large, with frames and handles as they were.
  EXPECT_TRUE(Shows({{At(kOrange, 40, -30)}, -1, 0}, 2, 410, 250));
  Resize(kWidth, kHeight);
  user().MoveTo(kScreenWidth - 1, kScreenHeight - 1);
  EXPECT_TRUE(Shows({{At(kOrange, 40, -30)}, -1, 0}));

  user().Key(KEY_R);
  EXPECT_TRUE(Says("recorded film-1.mp4, 0:0"));
  EXPECT_NE(Saved().find(R"({"color": "#c08040", "size": [60, 40], "pos": [40, -30]})"), std::string::npos);
  const std::vector<RgbFrame> film = Decode("film-1.mp4", kCanvasWidth, kCanvasHeight);
  ASSERT_GE(film.size(), 2u);
  ExpectPixel(film.back(), kCanvasWidth / 2 - 70, kCanvasHeight / 2 - 30, 0, 0, 0);
  ExpectPixel(film.back(), kCanvasWidth / 2 + 60, kCanvasHeight / 2 - 30, 192, 128, 64);
  const Ended ended = Close();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
}

// Where a colour lies on the screen.
struct Spot {
  int left = 0, top = 0, right = -1, bottom = -1;
  int width() const { return right - left + 1; }
  int height() const { return bottom - top + 1; }
};

Spot Find(const test::Picture& picture, int r, int g, int b) {
  Spot spot{picture.width, picture.height, -1, -1};
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const unsigned char* const pixel = picture.at(x, y);
      if (std::abs(pixel[0] - r) > 1 || std::abs(pixel[1] - g) > 1 || std::abs(pixel[2] - b) > 1) continue;
      spot = {std::min(spot.left, x), std::min(spot.top, y), std::max(spot.right, x), std::max(spot.bottom, y)};
    }
  }
  return spot;
}

class PreviewScaledTest : public PreviewWaylandTest, public testing::WithParamInterface<double> {
 protected:
  // The layer at 100 %, wherever the canvas lies: its lines of one pixel are lines of the screen.
  bool ShowsStripes(const test::Picture& seen, Spot* spot) {
    *spot = Find(seen, 255, 0, 80);
    if (spot->width() != 59 || spot->height() != 40) return false;
    for (int y = spot->top; y <= spot->bottom; ++y) {
      for (int x = spot->left; x <= spot->right; ++x) {
        const bool even = (x - spot->left) % 2 == 0;
        const unsigned char* const pixel = seen.at(x, y);
        if (pixel[0] != (even ? 255 : 0) || pixel[1] != (even ? 0 : 255) || pixel[2] != 80) return false;
      }
    }
    return true;
  }
};

// Beside panels, under menus and on the whole screen: the picture has the screen's pixels, and the pointer is where it
// is seen.
TEST_P(PreviewScaledTest, TheCanvasLiesWhereItsPlaceIs) {
  SitDown(GetParam());
  test::Picture stripes(60, 40, 4);
  for (std::size_t i = 0; i < stripes.pixels.size(); i += 4) {
    const bool even = i / 4 % 2 == 0;
    stripes.pixels[i] = even ? 255 : 0, stripes.pixels[i + 1] = even ? 0 : 255;
    stripes.pixels[i + 2] = 80, stripes.pixels[i + 3] = 255;
  }
  ASSERT_TRUE(WritePicture(stripes, Path("stripes.png")));
  OpenScene(R"({"canvas": [200, 120], "layers": [{"picture": "stripes.png", "pos": [-50, -20]}]})", {});
  Resize(kScreenWidth - 30, kScreenHeight - 30);
  user().Key(KEY_LEFTCTRL, KEY_1);
  // Wherever it comes to lie, the pointer finds it there: it is framed.
  Spot spot;
  EXPECT_TRUE(ComesToShow(kScreenWidth, kScreenHeight, [&](const test::Picture& seen) {
    Spot layer;
    if (ShowsStripes(seen, &layer)) {
      spot = layer;
      user().MoveTo(spot.left + 20, spot.top + 20);
    }
    if (spot.right < 0) return false;
    const unsigned char* const frame = seen.at(spot.left - 1, spot.top + 20);
    return std::abs(frame[0] - 89) < 3 && std::abs(frame[1] - 179) < 3 && frame[2] == 255;
  }));

  // Moved on the screen it is moved so much on the canvas. The toolkit tells of whole units only.
  const int x = spot.left + 20, y = spot.top + 20;
  user().HoldKey(KEY_LEFTCTRL);
  user().Press();
  user().MoveTo(x + 30, y + 6);
  user().Release();
  user().LetKeyGo(KEY_LEFTCTRL);
  EXPECT_NE(Saved().find(R"("pos": [-20, -14])"), std::string::npos) << ReadFile(Path("scene.json"));
  user().Key(KEY_LEFTCTRL, KEY_Z);
  user().Key(KEY_ESC);

  // A menu lies over the canvas.
  user().MoveTo(kScreenWidth - 1, kScreenHeight - 1);
  user().Key(KEY_LEFTALT, KEY_F);
  EXPECT_TRUE(ComesToShow(kScreenWidth, kScreenHeight,
                          [&](const test::Picture& seen) { return seen.at(40, spot.top / 2)[0] != 31; }));
  user().Key(KEY_ESC);

  // Without panels, and on the whole screen: the layer lies from 80 pixels on to the left of the middle.
  const auto shows_in_the_middle_of = [&](int width, int height) {
    return ComesToShow(kScreenWidth, kScreenHeight, [&](const test::Picture& seen) {
      Spot layer;
      const unsigned char* const corner = seen.at(width - 1, height - 1);
      const bool whole = width == kScreenWidth;
      if (!whole) Resize(width, height);  // What it has of panels may have kept it larger.
      return ShowsStripes(seen, &layer) && layer.left == width / 2 - 80 && layer.top == height / 2 - 40 &&
             corner[0] == 31 && corner[1] == 33 && corner[2] == 38;
    });
  };
  user().Key(KEY_F9);
  EXPECT_TRUE(shows_in_the_middle_of(kScreenWidth - 30, kScreenHeight - 30));
  user().Key(KEY_F11);
  EXPECT_TRUE(shows_in_the_middle_of(kScreenWidth, kScreenHeight));
  user().Key(KEY_F11);
  EXPECT_TRUE(shows_in_the_middle_of(kScreenWidth - 30, kScreenHeight - 30));
  (void)Saved();
  EXPECT_EQ(Close().exit_code, 0);
}

INSTANTIATE_TEST_SUITE_P(Scales, PreviewScaledTest, testing::Values(1.0, 1.5, 2.0),
                         [](const auto& scale) { return std::to_string(static_cast<int>(scale.param * 10)); });

// With the compositor its connection ends: so does the program, as its toolkit has it.
TEST_F(PreviewWaylandTest, EndsWithTheCompositor) {
  test::WaylandCompositor compositor;
  SitDownAt(compositor);
  OpenScene(kScene);
  EXPECT_TRUE(Shows({{kOrange, kBlue}}));
  compositor.Kill();
  EXPECT_LT(End().exit_code, 128);
}

TEST_F(PreviewWaylandTest, SaysThatThereIsNoCompositor) {
  std::ofstream(Path("scene.json")) << kScene;
  setenv("DISPLAY", "", 1);
  setenv("WAYLAND_DISPLAY", "/nonexistent/wayland-0", 1);
  const Ended ended = Run("quarn-preview", {"--scene", "scene.json"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err,
            "quarn-preview: cannot open a window on display /nonexistent/wayland-0: no Wayland compositor answers\n");
}

}  // namespace
