// What windows show, read from the screen and compared with a reference drawn on the CPU.
#include <memory>
#include <vector>

#include "tests/wayland/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using host::WindowWith;
using test::Flat;
using test::WaylandWindow;

class ViewPictureTest : public host::ViewTest {};

// Nothing is scaled, so nothing may be off: a pixel of the view is one of the screen.
TEST_F(ViewPictureTest, ShowsEveryPixelAsItIs) {
  const PatternScene scene(188, 110, device);
  WaylandWindow window(wayland, 198, 120);
  const View view(window.handle(), 198, 120, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 198, 120).picture(), {0, 0.0}));
}

TEST_F(ViewPictureTest, FitsWideAndTallScenesWithTheirMargin) {
  const PatternScene wide(90, 40, device);
  const PatternScene tall(48, 200, device);
  WaylandWindow window(wayland, 210, 162);
  View view(window.handle(), 210, 162, wide.scene());
  EXPECT_TRUE(Shows(window, ViewOf(wide.picture(), 210, 162)));
  view.SetScene(tall.scene());
  EXPECT_TRUE(Shows(window, ViewOf(tall.picture(), 210, 162)));
  view.SetScene(nullptr);
  EXPECT_TRUE(Shows(window, Flat(210, 162, 0x336699)));
}

// No other frame is needed, and nothing more of the host's once its surface has been committed.
TEST_F(ViewPictureTest, ShowsAFrameOnceItIsDrawn) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 198, 150);
  const View view(window.handle(), 198, 150, scene.scene());
  Frame();
  EXPECT_TRUE(
      window.ComesToShow(ViewOf(scene.picture(), 198, 150).picture(), host::kViewTolerance, [&] { window.Commit(); }));
  scene.item()->SetVisible(false);
  Frame();
  EXPECT_TRUE(ComesToShow(window, ViewOf(Flat(64, 48, 0), 198, 150)));
}

// A window is not seen through, whatever the alpha.
TEST_F(ViewPictureTest, ShowsATransparentBackgroundAsItsColour) {
  WaylandWindow window(wayland, 102, 84);
  View view(window.handle(), 102, 84);
  view.SetBackgroundColor(1, 1, 0, 0);
  EXPECT_TRUE(Shows(window, Flat(102, 84, 0xffff00)));
}

TEST_F(ViewPictureTest, KeepsItsLastPictureWhileDetached) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  const test::Canvas shown = ViewOf(scene.picture(), 120, 90);
  EXPECT_TRUE(Shows(window, shown));
  view.Detach();
  view.SetBackgroundColor(1, 0, 0, 1);
  Frames(3);
  EXPECT_TRUE(ComesToShow(window, shown));
  view.Attch();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
}

// Sixty views one after the other, as a host that opens and closes a panel.
TEST_F(ViewPictureTest, TakesOneViewAfterTheOtherAndLeavesNothingBehind) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  for (int i = 0; i < 60; ++i) {
    const View view(window.handle(), 120, 90, scene.scene());
    Frame();
  }
  EXPECT_TRUE(Shows(window, Flat(120, 90, 0x00f000)));
  {
    const View view(window.handle(), 120, 90, scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  }
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0x00f000), {})) << "and a view takes its picture along";
}

TEST_F(ViewPictureTest, ShowsTenViewsAtOnce) {
  WaylandWindow window(wayland, 540, 240);
  struct Place {
    Place(const WaylandWindow& window, int number, GsDevice* device)
        : width(60 + 6 * (number % 7)),
          height(90 - 6 * (number % 5)),
          x(108 * (number % 5)),
          y(120 * (number / 5)),
          scene(20 + 9 * number, 50, device),
          view(window.handle(), width, height, scene.scene()) {
      view.Move(x, y);
    }
    const int width, height, x, y;
    const PatternScene scene;
    View view;
  };
  std::vector<std::unique_ptr<Place>> places;
  std::vector<host::Placed> pictures;
  for (int i = 0; i < 10; ++i) {
    places.push_back(std::make_unique<Place>(window, i, device));
    const Place& place = *places.back();
    pictures.push_back({ViewOf(place.scene.picture(), place.width, place.height).picture(), place.x, place.y});
  }
  EXPECT_TRUE(Shows(window, WindowWith(540, 240, pictures)));
}

// Two views of one scene, each fitted on its own.
TEST_F(ViewPictureTest, ShowsASceneInTwoViews) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 300, 210);
  const View first(window.handle(), 198, 78, scene.scene());
  View second(window.handle(), 78, 198, scene.scene());
  second.Move(210, 6);
  EXPECT_TRUE(Shows(window, WindowWith(300, 210,
                                       {{ViewOf(scene.picture(), 198, 78).picture(), 0, 0},
                                        {ViewOf(scene.picture(), 78, 198).picture(), 210, 6}})));
}

// What is drawn over the scene is of the view's pixels too. Every edge falls between two: the scene is shown doubled.
TEST_F(ViewPictureTest, ShowsTheOverlayPixelByPixel) {
  const PatternScene scene(100, 76, device);
  const scoped_refptr<host::Item> item = host::MakeItem(gs_vec2(30, 20), device);
  item->MoveTo(gs_vec2(-20, 10));
  scene.scene()->AddItem(item);
  WaylandWindow window(wayland, 210, 162);
  View view(window.handle(), 210, 162, scene.scene());
  ASSERT_EQ(view.scale(), 2.0f);
  item->SetHovered(true);
  view.SetClampX(30);
  test::Canvas framed = ViewOf(scene.picture(), 210, 162);
  const test::Color blue = {0, 0, 1, 1}, green = {0, 1, 0, 1};
  framed.DrawSolid({-70, 20, 2, 42}, blue);
  framed.DrawSolid({-40, 0, 62, 2}, blue);
  framed.DrawSolid({-10, 20, 2, 42}, blue);
  framed.DrawSolid({-40, 40, 62, 2}, blue);
  framed.DrawSolid({30, 0, 2, 162}, green);
  EXPECT_TRUE(Shows(window, framed));
}

class ViewResizeTest : public host::ViewTest {};

TEST_F(ViewResizeTest, FollowsItsWindow) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 198, 150);
  View view(window.handle(), 198, 150, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 198, 150)));
  const int sizes[][2] = {{318, 204}, {102, 240}, {66, 66}, {540, 420}, {24, 18}, {198, 150}};
  for (const auto& size : sizes) {
    window.Resize(size[0], size[1]);
    view.Resize(static_cast<unsigned int>(size[0]), static_cast<unsigned int>(size[1]));
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), size[0], size[1])));
  }
}

// In one frame each, and of sizes that are not whole in the compositor's units.
TEST_F(ViewResizeTest, SurvivesEverySizeInARow) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (unsigned int i = 1; i <= 100; ++i) {
    view.Resize(i, 101 - i);
    Frame();
    if (i % 10 == 0) window.Commit();
  }
  for (const unsigned int side : {1u, 2u, 0u, 8000u, 100'000u, 1u}) {
    view.Resize(side, side == 8000 ? 3 : side);
    Frames(3);
    window.Commit();
  }
  std::string complaints;
  TakeComplaints(view, &complaints);  // What no texture is large enough for is told.
  view.Resize(120, 90);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  EXPECT_EQ(TakeComplaints(view, &complaints), 0) << complaints;
}

}  // namespace
