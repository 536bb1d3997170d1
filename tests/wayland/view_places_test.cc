// Where views are: several in one window, and one that goes from window to window.
#include <memory>
#include <string>
#include <thread>

#include "tests/wayland/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using host::WindowWith;
using test::Flat;
using test::Picture;
using test::WaylandWindow;

class ViewPlaceTest : public host::ViewTest {};

// No frame is needed for that, nor anything of the host's.
TEST_F(ViewPlaceTest, IsMovedAtOnceAndKeepsItsPicture) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 198, 150);
  View view(window.handle(), 120, 90, scene.scene());
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture, 0, 0}})));
  const unsigned int drawn = view.Counts().drawn;
  for (int i = 1; i <= 48; ++i) view.Move(i, i);
  EXPECT_TRUE(window.ComesToShow(WindowWith(198, 150, {{picture, 48, 48}}), host::kViewTolerance));
  view.Detach();
  view.Move(60, 6);
  EXPECT_TRUE(window.ComesToShow(WindowWith(198, 150, {{picture, 60, 6}}), host::kViewTolerance));
  EXPECT_EQ(view.Counts().drawn, drawn);
}

// Surfaces in a window are not cut off at its edges, as the compositor has it.
TEST_F(ViewPlaceTest, ComesBackFromFarAway) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 198, 150);
  View view(window.handle(), 120, 90, scene.scene());
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  view.Move(-30, -18);
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture, -30, -18}})));
  view.Move(1'000'000'000, -1'000'000'000);
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {})));
  view.Move(0, 0);
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture, 0, 0}})));
}

TEST_F(ViewPlaceTest, StaysThereAfterAResizeOfEither) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 210, 150);
  View view(window.handle(), 120, 90, scene.scene());
  view.Move(42, 30);
  view.Resize(150, 102);
  const Picture picture = ViewOf(scene.picture(), 150, 102).picture();
  EXPECT_TRUE(Shows(window, WindowWith(210, 150, {{picture, 42, 30}})));
  window.Resize(258, 174);
  EXPECT_TRUE(Shows(window, WindowWith(258, 174, {{picture, 42, 30}})));
}

class ViewDockTest : public host::ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    if (!HasFatalFailure()) scene_ = std::make_unique<PatternScene>(64, 48, device);
  }
  void TearDown() override {
    scene_.reset();
    ViewTest::TearDown();
  }
  const PatternScene& scene() const { return *scene_; }
  Picture picture() const { return ViewOf(scene().picture(), 120, 90).picture(); }

 private:
  std::unique_ptr<PatternScene> scene_;
};

TEST_F(ViewDockTest, GoesToAnotherWindowWithAllThatItHas) {
  WaylandWindow window(wayland, 198, 150);
  WaylandWindow other(wayland, 180, 120, {210, 0});
  View view(window.handle(), 120, 90, scene().scene());
  view.Move(18, 12);
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture(), 18, 12}})));
  view.SetWindow({other.handle()});
  EXPECT_TRUE(Shows(other, WindowWith(180, 120, {{picture(), 18, 12}})));
  EXPECT_TRUE(window.ComesToShow(Flat(198, 150, 0x00f000), {})) << "nothing is left behind";
  view.SetWindow({window.handle()});
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture(), 18, 12}})));
  EXPECT_TRUE(other.ComesToShow(Flat(180, 120, 0x00f000), {}));
}

TEST_F(ViewDockTest, MayGoToAnotherWindowInEachFrame) {
  WaylandWindow window(wayland, 120, 90);
  WaylandWindow other(wayland, 120, 90, {132, 0});
  View view(window.handle(), 120, 90, scene().scene());
  for (int i = 0; i < 200; ++i) {
    view.SetWindow({i % 2 == 0 ? other.handle() : window.handle()});
    Frame();
  }
  EXPECT_TRUE(Shows(window, picture()));
  EXPECT_TRUE(Shows(other, Flat(120, 90, 0x00f000)));
}

TEST_F(ViewDockTest, MayComeFromAWindowThatIsDestroyed) {
  WaylandWindow window(wayland, 120, 90);
  WaylandWindow second(wayland, 120, 90, {132, 0});
  WaylandWindow third(wayland, 120, 90, {264, 0});
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  window.Destroy();
  Frames(10);
  view.SetWindow({second.handle()});
  EXPECT_TRUE(Shows(second, picture()));
  view.SetWindow({third.handle()});
  EXPECT_TRUE(Shows(third, picture()));
  second.Destroy();
  EXPECT_TRUE(Shows(third, picture()));
}

// Neither costs more than the picture and a line.
TEST_F(ViewDockTest, ShowsNothingWithoutASurfaceUntilThereIsOne) {
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  std::string complaints;
  view.SetWindow({});
  Frames(10);
  EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  EXPECT_NE(complaints.find("A view cannot be shown: it was given no window"), std::string::npos) << complaints;
  EXPECT_TRUE(Shows(window, Flat(120, 90, 0x00f000)));
  view.SetWindow({wayland.surfaces()});
  Frames(10);
  EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  EXPECT_NE(complaints.find("wl_compositor, not a wl_surface"), std::string::npos) << complaints;
  view.SetWindow({window.handle()});
  EXPECT_TRUE(Shows(window, picture()));
}

// Input belongs to the host, over the view and beside it.
TEST_F(ViewDockTest, LeavesTheInputToTheHost) {
  WaylandWindow window(wayland, 198, 150, {60, 30});
  View view(window.handle(), 120, 90, scene().scene());
  view.Move(18, 12);
  EXPECT_TRUE(Shows(window, WindowWith(198, 150, {{picture(), 18, 12}})));
  for (const int place : {6, 60}) {
    double x = 0, y = 0;
    wl_surface* clicked = nullptr;
    EXPECT_TRUE(test::ComesTrue([&] {
      wayland.Click(60 + place, 30 + place);
      clicked = wayland.TakeClick(&x, &y);
      return clicked != nullptr;
    }));
    EXPECT_EQ(clicked, window.surface());
    EXPECT_NEAR(x, place, 1);  // The screen may end within a unit of the compositor's.
    EXPECT_NEAR(y, place, 1);
  }
}

class LiveDockTest : public host::LiveViewTest {};

// From threads of the host's, while frames are drawn.
TEST_F(LiveDockTest, MayBeSentAboutByAnyThread) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 198, 150);
  WaylandWindow other(wayland, 198, 150, {210, 0});
  View view(window.handle(), 120, 90, scene.scene());
  std::thread docker([&] {
    for (int i = 0; i < 100; ++i) view.SetWindow({i % 2 == 0 ? other.handle() : window.handle()});
  });
  std::thread mover([&] {
    for (int i = 0; i <= 102; ++i) view.Move(i % 7, i % 5);
  });
  for (unsigned int i = 0; i < 100; ++i) view.Resize(60 + i % 100, 50 + i % 60);
  docker.join();
  mover.join();
  view.Resize(120, 90);
  view.Move(12, 6);
  view.SetWindow({window.handle()});
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(
      window.ComesToShow(WindowWith(198, 150, {{picture, 12, 6}}), host::kViewTolerance, [&] { window.Commit(); }));
  EXPECT_TRUE(other.ComesToShow(Flat(198, 150, 0x00f000), {}, [&] { other.Commit(); }));
}

}  // namespace
