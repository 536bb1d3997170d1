// What windows show, read back from the X server and compared with a reference drawn on the CPU.
#include <cmath>
#include <limits>

#include "tests/x11/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::HostLoop;
using test::XWindow;

class ViewPictureTest : public host::ViewTest {};

TEST_F(ViewPictureTest, FitsAWideSceneWithItsMargin) {
  const PatternScene scene(90, 40, device);
  const XWindow window(x11, 210, 160);
  const View view(window.handle(), 210, 160, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 210, 160)));
}

TEST_F(ViewPictureTest, FitsATallSceneWithItsMargin) {
  const PatternScene scene(48, 200, device);
  const XWindow window(x11, 210, 160);
  const View view(window.handle(), 210, 160, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 210, 160)));
}

// Nothing is scaled, so nothing may be off.
TEST_F(ViewPictureTest, ShowsEveryPixelAsItIs) {
  const PatternScene scene(190, 110, device);
  const XWindow window(x11, 200, 120);
  const View view(window.handle(), 200, 120, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 120).picture(), {0, 0.0}));
}

// The server may show a picture a little later than it was handed over, but needs no other frame for it.
TEST_F(ViewPictureTest, ShowsAFrameOnceItIsDrawn) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 200, 150);
  const View view(window.handle(), 200, 150, scene.scene());
  Frame();
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 200, 150).picture(), host::kViewTolerance));
  scene.item()->SetVisible(false);
  Frame();
  EXPECT_TRUE(window.ComesToShow(ViewOf(Flat(64, 48, 0), 200, 150).picture(), host::kViewTolerance));
}

TEST_F(ViewPictureTest, ShowsOpaqueBlackUntilToldOtherwise) {
  const XWindow window(x11, 100, 80);
  GsViewImpl view({window.handle()}, 100, 80, nullptr);
  view.Attch();
  EXPECT_TRUE(Shows(window, Flat(100, 80, 0x000000)));
  view.Detach();
}

TEST_F(ViewPictureTest, ShowsItsBackgroundWithoutAScene) {
  const XWindow window(x11, 100, 80);
  View view(window.handle(), 100, 80);
  EXPECT_TRUE(Shows(window, Flat(100, 80, 0x336699)));
  view.SetBackgroundColor(1, 0, 1, 1);
  EXPECT_TRUE(Shows(window, Flat(100, 80, 0xff00ff)));
}

// A window is not seen through, whatever the alpha.
TEST_F(ViewPictureTest, ShowsATransparentBackgroundAsItsColour) {
  const XWindow window(x11, 100, 80);
  View view(window.handle(), 100, 80);
  view.SetBackgroundColor(1, 1, 0, 0);
  EXPECT_TRUE(Shows(window, Flat(100, 80, 0xffff00)));
}

TEST_F(ViewPictureTest, ShowsAnotherSceneAndNone) {
  const PatternScene first(64, 48, device);
  const PatternScene second(30, 60, device);
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, first.scene());
  EXPECT_TRUE(Shows(window, ViewOf(first.picture(), 120, 90)));
  view.SetScene(second.scene());
  EXPECT_TRUE(Shows(window, ViewOf(second.picture(), 120, 90)));
  view.SetScene(nullptr);
  EXPECT_TRUE(Shows(window, Flat(120, 90, 0x336699)));
}

TEST_F(ViewPictureTest, KeepsItsLastPictureWhileDetached) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, shown));
  view.Detach();
  view.SetBackgroundColor(1, 0, 0, 1);
  Frames(3);
  EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance));
  view.Attch();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
}

TEST_F(ViewPictureTest, LeavesTheHostsWindowBehind) {
  XWindow window(x11, 120, 90, {0, 0, 0xabcdef});
  {
    const View view(window.handle(), 120, 90);
    EXPECT_TRUE(Shows(window, Flat(120, 90, 0x336699)));
  }
  EXPECT_TRUE(window.ComesToHold(0)) << "the view has left something in the window";
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0xabcdef), {}));
}

// Sixty views one after the other, as a host that opens and closes a panel.
TEST_F(ViewPictureTest, TakesOneViewAfterTheOther) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  for (int i = 0; i < 60; ++i) {
    const View view(window.handle(), 120, 90, scene.scene());
    Frame();
  }
  EXPECT_TRUE(window.ComesToHold(0));
  const View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

TEST_F(ViewPictureTest, ShowsTenViewsAtOnce) {
  struct Place {
    Place(const test::XConnection& x11, int number, GsDevice* device)
        : width(60 + 7 * number),
          height(90 - 4 * number),
          scene(20 + 9 * number, 50, device),
          window(x11, width, height, {number % 5 * 126, number / 5 * 100}),
          view(window.handle(), width, height, scene.scene()) {}
    const int width;
    const int height;
    const PatternScene scene;
    const XWindow window;
    const View view;
  };
  std::vector<std::unique_ptr<Place>> places;
  for (int i = 0; i < 10; ++i) places.push_back(std::make_unique<Place>(x11, i, device));
  for (const auto& place : places) {
    EXPECT_TRUE(Shows(place->window, ViewOf(place->scene.picture(), place->width, place->height)));
  }
}

// Two views of one scene, each fitted on its own.
TEST_F(ViewPictureTest, ShowsASceneInTwoWindows) {
  const PatternScene scene(64, 48, device);
  const XWindow wide(x11, 200, 80);
  const XWindow tall(x11, 80, 200, {210, 0});
  const View first(wide.handle(), 200, 80, scene.scene());
  const View second(tall.handle(), 80, 200, scene.scene());
  EXPECT_TRUE(Shows(wide, ViewOf(scene.picture(), 200, 80)));
  EXPECT_TRUE(Shows(tall, ViewOf(scene.picture(), 80, 200)));
}

// A window's own visual need not be the view's.
class ViewVisualTest : public ViewPictureTest, public ::testing::WithParamInterface<int> {};

TEST_P(ViewVisualTest, ShowsItsPictureInAWindowOfThatDepth) {
  ASSERT_NE(x11.FindVisual(GetParam()), 0u) << "the server has no such visual";
  const PatternScene scene(64, 48, device);
  test::XWindowOptions options;
  options.depth = GetParam();
  XWindow window(x11, 120, 90, options);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Resize(180, 130);
  view.Resize(180, 130);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 180, 130)));
}

INSTANTIATE_TEST_SUITE_P(Depths, ViewVisualTest, ::testing::Values(24, 32), ::testing::PrintToStringParamName());

class ViewOverlayTest : public host::ViewTest {
 protected:
  // Sizes and scale are such that every edge of the overlay falls between pixels: the scene is shown doubled.
  static constexpr int kWidth = 210;
  static constexpr int kHeight = 170;
  static constexpr float kScale = 2;

  void SetUp() override {
    ViewTest::SetUp();
    if (HasFatalFailure()) return;
    scene_ = std::make_unique<PatternScene>(100, 80, device);
    small_ = host::MakeItem(gs_vec2(30, 20), device);
    small_->MoveTo(gs_vec2(-20, 10));
    scene_->scene()->AddItem(small_);
    window_ = std::make_unique<XWindow>(x11, kWidth, kHeight);
    view_ = std::make_unique<View>(window_->handle(), kWidth, kHeight, scene_->scene());
    ASSERT_EQ(view_->scale(), kScale);
  }
  void TearDown() override {
    view_.reset();
    window_.reset();
    small_ = nullptr;
    scene_.reset();
    ViewTest::TearDown();
  }

  test::Canvas Plain() const { return ViewOf(scene_->picture(), kWidth, kHeight); }
  // The frame of `small_`, drawn by hand.
  static void DrawFrame(test::Canvas* canvas, const test::Color& color) {
    canvas->DrawSolid({-70, 20, 2, 42}, color);
    canvas->DrawSolid({-40, 0, 62, 2}, color);
    canvas->DrawSolid({-10, 20, 2, 42}, color);
    canvas->DrawSolid({-40, 40, 62, 2}, color);
  }
  static void DrawHandles(test::Canvas* canvas, const test::Color& color) {
    for (const float x : {-70.0f, -40.0f, -10.0f}) {
      for (const float y : {0.0f, 20.0f, 40.0f}) {
        if (x != -40.0f || y != 20.0f) canvas->DrawSolid({x, y, 8, 8}, color);
      }
    }
  }

  static constexpr test::Color kBlue = {0, 0, 1, 1};
  static constexpr test::Color kRed = {1, 0, 0, 1};
  static constexpr test::Color kGreen = {0, 1, 0, 1};

  std::unique_ptr<PatternScene> scene_;
  scoped_refptr<host::Item> small_;
  std::unique_ptr<XWindow> window_;
  std::unique_ptr<View> view_;
};

TEST_F(ViewOverlayTest, FramesAHoveredItem) {
  EXPECT_TRUE(Shows(*window_, Plain()));
  small_->SetHovered(true);
  test::Canvas framed = Plain();
  DrawFrame(&framed, kBlue);
  EXPECT_TRUE(Shows(*window_, framed));
  small_->SetHovered(false);
  EXPECT_TRUE(Shows(*window_, Plain()));
}

TEST_F(ViewOverlayTest, FramesASelectedItemWithItsHandles) {
  small_->SetSelected(true);
  test::Canvas framed = Plain();
  DrawFrame(&framed, kRed);
  DrawHandles(&framed, kRed);
  EXPECT_TRUE(Shows(*window_, framed));
  small_->SetVisible(false);
  EXPECT_TRUE(Shows(*window_, Plain()));
}

TEST_F(ViewOverlayTest, ShowsGuideLinesUntilTheyAreNaN) {
  view_->SetClampX(30);
  view_->SetClampY(-40);
  test::Canvas guided = Plain();
  guided.DrawSolid({30, 0, 2, kHeight}, kGreen);
  guided.DrawSolid({0, -40, kWidth, 2}, kGreen);
  EXPECT_TRUE(Shows(*window_, guided));
  view_->SetClampX(std::nanf(""));
  view_->SetClampY(std::numeric_limits<float>::quiet_NaN());
  EXPECT_TRUE(Shows(*window_, Plain()));
}

TEST_F(ViewOverlayTest, IsNoPartOfTheSceneThatOutputsDeliver) {
  small_->SetSelected(true);
  view_->SetClampX(0);
  Frames(2);
  host::Receiver receiver(scene_->scene(), 100, 80, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  Frame();
  const auto deliveries = receiver.WaitFor(1);
  ASSERT_EQ(deliveries.size(), 1u);
  EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[0], scene_->picture(), {}));
}

class ViewResizeTest : public host::ViewTest {};

TEST_F(ViewResizeTest, FollowsItsWindow) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 200, 150);
  View view(window.handle(), 200, 150, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 150)));
  const int sizes[][2] = {{320, 200}, {100, 240}, {64, 64}, {640, 480}, {201, 151}, {200, 150}};
  for (const auto& size : sizes) {
    window.Resize(size[0], size[1]);
    view.Resize(static_cast<unsigned int>(size[0]), static_cast<unsigned int>(size[1]));
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), size[0], size[1])));
  }
}

// The engine's view is told before the host's window has its size, or after: toolkits do both.
TEST_F(ViewResizeTest, FollowsAWindowThatComesLater) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 200, 150);
  View view(window.handle(), 200, 150, scene.scene());
  Frame();
  view.Resize(320, 200);
  Frames(5);
  window.Resize(320, 200);
  view.Resize(320, 200);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 320, 200)));
}

// The off-screen image and the presentation follow on the main queue. Until then the picture of the new size is drawn
// into the image of the old one, from the lower left corner on.
TEST_F(ViewResizeTest, ShowsACornerOfTheNewSizeUntilTheMainQueueHasRun) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 100, {0, 0, 0x123456});
  View view(window.handle(), 120, 100, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 100)));
  EXPECT_EQ(queue.size(), 0u);
  window.Resize(200, 160);
  view.Resize(200, 160);
  Frame();
  EXPECT_EQ(queue.size(), 1u);
  const test::Picture after = ViewOf(scene.picture(), 200, 160).picture();
  test::Picture during = Flat(200, 160, 0x123456);
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 120; ++x) std::copy_n(after.at(x, 60 + y), 4, during.at(x, y));
  }
  EXPECT_TRUE(Shows(window, during));
  Frames(5);
  EXPECT_EQ(queue.size(), 1u) << "one size is queued once";
  EXPECT_EQ(queue.Run(), 1u);
  EXPECT_TRUE(Shows(window, after));
}

TEST_F(ViewResizeTest, QueuesNothingForTheSizeThatItHas) {
  HostLoop queue;
  const XWindow window(x11, 120, 100);
  View view(window.handle(), 120, 100);
  view.Resize(120, 100);
  Frames(3);
  view.Resize(300, 300);
  view.Resize(120, 100);
  Frames(3);
  EXPECT_EQ(queue.size(), 0u);
  EXPECT_TRUE(Shows(window, Flat(120, 100, 0x336699)));
}

TEST_F(ViewResizeTest, StopsAtASizeOfZeroAndGoesOnAfterIt) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, shown));
  for (const auto& [width, height] : {std::pair(0u, 0u), std::pair(120u, 0u), std::pair(0u, 90u)}) {
    view.Resize(width, height);
    EXPECT_EQ(view.width(), width);
    EXPECT_EQ(view.height(), height);
    Frames(3);
    EXPECT_TRUE(window.ComesToShow(shown, host::kViewTolerance));
  }
  view.Resize(120, 90);
  view.SetBackgroundColor(1, 1, 1, 1);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 1, 1, 1})));
}

TEST_F(ViewResizeTest, MayBeginWithASizeOfZero) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 0, 0, scene.scene());
  Frames(3);
  view.Resize(120, 90);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

// The margin is larger than such a view: the scene is scaled beyond all bounds, and one of its pixels fills the view.
TEST_F(ViewResizeTest, SurvivesASizeOfOnePixel) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  for (const auto& [width, height] : {std::pair(1, 1), std::pair(9, 300), std::pair(300, 3), std::pair(10, 10)}) {
    window.Resize(width, height);
    view.Resize(static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    Frames(5);
  }
  window.Resize(120, 90);
  view.Resize(120, 90);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

// Most of the window is off the screen.
TEST_F(ViewResizeTest, SurvivesAHugeSize) {
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90);
  Frame();
  window.Resize(5000, 3000);
  view.Resize(5000, 3000);
  const test::Picture expected = Flat(640, 480, 0x336699);
  EXPECT_TRUE(test::ComesTrue([&] {
    Frame();
    return AreAlike(x11.ReadScreen(0, 0, 640, 480), expected, {});
  }));
  window.Resize(120, 90);
  view.Resize(120, 90);
  EXPECT_TRUE(Shows(window, Flat(120, 90, 0x336699)));
}

// No texture has these sizes. There is no new picture, and there is one again with a size that a texture has.
TEST_F(ViewResizeTest, ComesBackFromASizeThatNoTextureHas) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, shown));
  view.SetBackgroundColor(1, 0, 0, 1);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  std::size_t frames = 0;
  for (const unsigned int size : {100'000u, 0x7fffffffu, 0xffffffffu}) {
    HostLoop queue;
    view.Resize(size, 90);
    view.Resize(size, size);
    Frame();
    EXPECT_EQ(queue.Run(), 1u);
    Frames(3);
    frames += 4;
    std::string complaints;
    EXPECT_EQ(TakeComplaints(&complaints), 1) << complaints;
  }
  EXPECT_EQ(receiver.WaitFor(frames).size(), frames);
  receiver.Stop();
  view.Resize(120, 90);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
}

}  // namespace
