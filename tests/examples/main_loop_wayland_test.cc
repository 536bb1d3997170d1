// The programs of examples/main-loop, and the window of docs/first-host.md, at Wayland compositors: a window that shows
// the scene pixel for pixel of the screen, follows a resize and is closed.
#include <cstdlib>
#include <string>
#include <tuple>

#include "tests/examples/wayland_program.h"

namespace {

bool Is(const test::Picture& picture, int x, int y, int r, int g, int b) {
  const unsigned char* const pixel = picture.at(x, y);
  return std::abs(pixel[0] - r) <= 1 && std::abs(pixel[1] - g) <= 1 && std::abs(pixel[2] - b) <= 1;
}

class MainLoopWaylandTest : public WaylandProgramTest,
                            public testing::WithParamInterface<std::tuple<const char*, double>> {
 protected:
  // Whether a window of that size shows the scene in its margins, to the last pixel, and nothing lies beside it.
  bool Shows(int width, int height) {
    return ComesToShow(width + 1, height + 1, [&](const test::Picture& seen) {
      const auto is_margin = [&](int x, int y) { return Is(seen, x, y, 51, 51, 64); };
      return is_margin(0, 0) && is_margin(width - 1, 0) && is_margin(0, height - 1) &&
             is_margin(width - 1, height - 1) && Is(seen, width / 2, height / 2, 255, 128, 0) &&
             // A margin of five pixels on the sides that limit the scene.
             is_margin(4, height / 2) && Is(seen, 5, height / 2, 0, 0, 0) && Is(seen, width - 6, height / 2, 0, 0, 0) &&
             is_margin(width - 5, height / 2) && !is_margin(width, height / 2) && !is_margin(width / 2, height);
    });
  }
};

TEST_P(MainLoopWaylandTest, ShowsASceneThatFollowsItsWindow) {
  const auto [program, scale] = GetParam();
  SitDown(scale);
  Open(program, {}, program);
  // It asked for 640x360 units, of which a large scale leaves no room for all.
  Resize(480, 270);
  EXPECT_TRUE(Shows(480, 270));
  Resize(318, 396);
  EXPECT_TRUE(Shows(318, 396));
  Resize(600, 420);
  EXPECT_TRUE(Shows(600, 420));
  EXPECT_EQ(Close().exit_code, 0);
}

INSTANTIATE_TEST_SUITE_P(Programs, MainLoopWaylandTest,
                         testing::Combine(testing::Values("main-loop-gtk", "main-loop-qt", "main-loop-sdl"),
                                          testing::Values(1.0, 1.5, 2.0)),
                         [](const auto& program) {
                           return std::string(std::get<0>(program.param)).substr(10) +
                                  std::to_string(static_cast<int>(std::get<1>(program.param) * 10));
                         });

class FirstWindowWaylandTest : public WaylandProgramTest {};

TEST_F(FirstWindowWaylandTest, ShowsTheSquareAndFramesItUnderThePointer) {
  SitDown(1.5);
  Open("first-window", {}, "first-window");
  Resize(480, 270);
  const auto shows = [&](bool framed) {
    return ComesToShow(480, 270, [&](const test::Picture& seen) {
      // The scene of 640x360 lies in a margin of 5 pixels, so its square of 160 pixels reaches 58 to each side.
      bool blue = false;
      for (int x = 240 - 62; x < 240 - 54; ++x) blue = blue || Is(seen, x, 135, 0, 0, 255);
      return blue == framed && Is(seen, 240, 135, 255, 0, 0) && Is(seen, 240 - 64, 135, 0, 0, 0);
    });
  };
  EXPECT_TRUE(shows(false));
  user().MoveTo(240, 135);
  EXPECT_TRUE(shows(true));
  user().MoveTo(100, 135);
  EXPECT_TRUE(shows(false));
  EXPECT_EQ(Close().exit_code, 0);
}

}  // namespace
