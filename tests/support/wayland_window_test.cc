// The tests' own compositors and windows show what they are said to.
#include "tests/support/wayland_window.h"

#include <memory>
#include <string>

namespace {

using test::Flat;
using test::Picture;
using test::WaylandCompositor;
using test::WaylandConnection;
using test::WaylandWindow;

constexpr std::uint32_t kBackground = 0x336699;

class WaylandWindowTest : public ::testing::TestWithParam<WaylandCompositor::Options> {};

TEST_P(WaylandWindowTest, IsShownPixelByPixel) {
  const WaylandCompositor compositor(GetParam());
  ASSERT_NE(compositor.socket(), "");
  WaylandConnection wayland(compositor);
  ASSERT_TRUE(wayland.ok());
  EXPECT_EQ(wayland.scale(), GetParam().scale);
  test::WaylandWindowOptions options;
  options.background = kBackground;
  WaylandWindow window(wayland, 120, 90, options);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, kBackground), {}));
  // What is beside it is not the window.
  window.Resize(60, 48);
  EXPECT_TRUE(window.ComesToShow(Flat(60, 48, kBackground), {}));
  const WaylandWindow other(wayland, 30, 30);
  EXPECT_TRUE(other.ComesToShow(Flat(30, 30, 0x00f000), {}));
}

std::string NameOf(const ::testing::TestParamInfo<WaylandCompositor::Options>& info) {
  const std::string kind = info.param.kind == WaylandCompositor::kWeston ? "Weston" : "Sway";
  return kind + std::to_string(static_cast<int>(100 * info.param.scale));
}

INSTANTIATE_TEST_SUITE_P(All, WaylandWindowTest,
                         ::testing::Values(WaylandCompositor::Options{WaylandCompositor::kWeston, 600, 480, 1},
                                           WaylandCompositor::Options{WaylandCompositor::kWeston, 600, 480, 2},
                                           WaylandCompositor::Options{WaylandCompositor::kSway, 600, 480, 1},
                                           WaylandCompositor::Options{WaylandCompositor::kSway, 640, 480, 1.5},
                                           WaylandCompositor::Options{WaylandCompositor::kSway, 600, 480, 2}),
                         NameOf);

class SwayTest : public ::testing::Test {
 protected:
  WaylandCompositor compositor_;
};

TEST_F(SwayTest, HidesMovesAndUnmapsWindows) {
  WaylandConnection wayland(compositor_);
  ASSERT_TRUE(wayland.ok());
  WaylandWindow behind(wayland, 120, 90);
  test::WaylandWindowOptions options;
  options.background = kBackground;
  WaylandWindow window(wayland, 120, 90, options);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, kBackground), {}));
  window.Hide();
  EXPECT_TRUE(behind.ComesToShow(Flat(120, 90, 0x00f000), {}));
  window.Show();
  EXPECT_TRUE(behind.ComesToShow(Flat(120, 90, kBackground), {}));
  window.MoveTo(120, 90);
  EXPECT_TRUE(behind.ComesToShow(Flat(120, 90, 0x00f000), {}));
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, kBackground), {}));
  behind.Unmap();
  const Picture nothing = wayland.ReadScreen(300, 300, 120, 90);
  EXPECT_TRUE(behind.ComesToShow(nothing, {}));
  behind.Map();
  EXPECT_TRUE(behind.ComesToShow(Flat(120, 90, 0x00f000), {}));
}

TEST_F(SwayTest, TellsAWindowOfAClick) {
  WaylandConnection wayland(compositor_);
  ASSERT_TRUE(wayland.ok());
  test::WaylandWindowOptions options;
  options.x = 60;
  options.y = 30;
  const WaylandWindow window(wayland, 120, 90, options);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0x00f000), {}));
  double x = 0, y = 0;
  wl_surface* clicked = nullptr;
  EXPECT_TRUE(test::ComesTrue([&] {
    wayland.Click(70, 50);
    clicked = wayland.TakeClick(&x, &y);
    return clicked != nullptr;
  }));
  EXPECT_EQ(clicked, window.surface());
  EXPECT_EQ(x, 10);
  EXPECT_EQ(y, 20);
}

TEST_F(SwayTest, StallsGoesOnAndStartsAnew) {
  {
    WaylandConnection wayland(compositor_);
    const WaylandWindow window(wayland, 120, 90);
    compositor_.Stall();
    compositor_.GoOn();
    EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0x00f000), {}));
    compositor_.Kill();
    EXPECT_EQ(window.Read().width, 0);
    EXPECT_FALSE(wayland.ok());
  }
  ASSERT_TRUE(compositor_.Restart());
  WaylandConnection wayland(compositor_);
  const WaylandWindow window(wayland, 120, 90);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0x00f000), {}));
}

}  // namespace
