// Where views are: several in one window, and one that goes from window to window.
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/x11/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using host::WindowWith;
using test::Picture;
using test::XWindow;

class ViewPlaceTest : public host::ViewTest {};

TEST_F(ViewPlaceTest, ViewsLieBesideEachOtherInOneWindow) {
  const PatternScene scene(64, 48, device);
  const PatternScene other_scene(30, 48, device);
  const XWindow window(x11, 260, 120);
  const View left(window.handle(), 120, 90, scene.scene());
  View right(window.handle(), 100, 110, other_scene.scene());
  right.Move(130, 7);
  EXPECT_TRUE(Shows(window, WindowWith(260, 120,
                                       {{ViewOf(scene.picture(), 120, 90).picture(), 0, 0},
                                        {ViewOf(other_scene.picture(), 100, 110).picture(), 130, 7}})));
  EXPECT_EQ(window.ChildCount(), 2);
}

// No frame is needed for that, nor one that is over.
TEST_F(ViewPlaceTest, IsMovedAtOnceAndKeepsItsPicture) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 200, 150);
  View view(window.handle(), 120, 90, scene.scene());
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture, 0, 0}})));
  const unsigned int drawn = view.Counts().drawn;
  for (int i = 1; i <= 50; ++i) view.Move(i, i);
  EXPECT_TRUE(window.ComesToShow(WindowWith(200, 150, {{picture, 50, 50}}), host::kViewTolerance));
  view.Detach();
  view.Move(80, 5);
  EXPECT_TRUE(window.ComesToShow(WindowWith(200, 150, {{picture, 80, 5}}), host::kViewTolerance));
  EXPECT_EQ(view.Counts().drawn, drawn);
}

TEST_F(ViewPlaceTest, MayLieOutside) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 200, 150);
  View view(window.handle(), 120, 90, scene.scene());
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  view.Move(-30, -20);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture, -30, -20}})));
  view.Move(150, 100);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture, 150, 100}})));
  view.Move(1'000'000'000, -1'000'000'000);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {})));
  view.Move(0, 0);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture, 0, 0}})));
}

TEST_F(ViewPlaceTest, StaysThereAfterAResizeOfEither) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 200, 150);
  View view(window.handle(), 120, 90, scene.scene());
  view.Move(40, 30);
  view.Resize(150, 100);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{ViewOf(scene.picture(), 150, 100).picture(), 40, 30}})));
  window.Resize(260, 170);
  EXPECT_TRUE(Shows(window, WindowWith(260, 170, {{ViewOf(scene.picture(), 150, 100).picture(), 40, 30}})));
}

TEST_F(ViewPlaceTest, LeavesTheInputToTheHostThereToo) {
  XWindow window(x11, 200, 150);
  View view(window.handle(), 120, 90);
  view.Move(40, 30);
  Frame();
  EXPECT_TRUE(window.HearsAClickAt(100, 75));
}

class ViewDockTest : public host::ViewTest {
 protected:
  const PatternScene& scene() {
    if (!scene_) scene_ = std::make_unique<PatternScene>(64, 48, device);
    return *scene_;
  }
  Picture picture() { return ViewOf(scene().picture(), 120, 90).picture(); }
  void TearDown() override {
    scene_.reset();
    host::ViewTest::TearDown();
  }

 private:
  std::unique_ptr<PatternScene> scene_;
};

TEST_F(ViewDockTest, GoesToAnotherWindowWithAllThatItHas) {
  const XWindow window(x11, 200, 150);
  const XWindow other(x11, 180, 120, {210, 0});
  View view(window.handle(), 120, 90, scene().scene());
  view.Move(20, 10);
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture(), 20, 10}})));
  const GsViewCounts before = view.Counts();
  view.SetWindow({other.handle()});
  EXPECT_TRUE(Shows(other, WindowWith(180, 120, {{picture(), 20, 10}})));
  EXPECT_TRUE(window.ComesToHold(0));
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {})));
  EXPECT_EQ(view.scene(), scene().scene());
  EXPECT_EQ(view.width(), 120u);
  EXPECT_GE(view.Counts().drawn, before.drawn + 1);
  EXPECT_GE(view.Counts().presented, before.presented + 1);
  view.SetWindow({window.handle()});
  EXPECT_TRUE(Shows(window, WindowWith(200, 150, {{picture(), 20, 10}})));
  EXPECT_TRUE(other.ComesToHold(0));
}

TEST_F(ViewDockTest, StaysDetachedUntilItIsAttached) {
  const XWindow window(x11, 120, 90);
  const XWindow other(x11, 120, 90, {130, 0});
  View view(window.handle(), 120, 90, scene().scene());
  view.Detach();
  view.SetWindow({other.handle()});
  Frames(3);
  EXPECT_EQ(view.Counts().drawn, 0u);
  EXPECT_TRUE(other.ComesToHold(1));
  view.Attch();
  EXPECT_TRUE(Shows(other, picture()));
}

TEST_F(ViewDockTest, MayComeFromAWindowThatIsDestroyed) {
  XWindow window(x11, 120, 90);
  XWindow second(x11, 120, 90, {130, 0});
  const XWindow third(x11, 120, 90, {260, 0});
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  window.Destroy();
  view.SetWindow({second.handle()});
  EXPECT_TRUE(Shows(second, picture()));
  view.SetWindow({third.handle()});
  second.Destroy();
  EXPECT_TRUE(Shows(third, picture()));
  // A frame may fall between the end of a window and the way to the next, and tell of it.
  std::string complaints;
  const int count = TakeComplaints(view, &complaints);
  EXPECT_LE(count, 2) << complaints;
  EXPECT_EQ(count > 0, complaints.find("is gone") != std::string::npos) << complaints;
}

// The end of the first window is said as ever.
TEST_F(ViewDockTest, MayComeFromAWindowThatIsMissed) {
  XWindow window(x11, 120, 90);
  const XWindow other(x11, 120, 90, {130, 0});
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  window.Destroy();
  FramesUntilComplaint();
  std::string complaints;
  EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  view.SetWindow({other.handle()});
  EXPECT_TRUE(Shows(other, picture()));
}

TEST_F(ViewDockTest, ShowsNothingWithoutAWindowUntilThereIsOne) {
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  view.SetWindow({});
  Frames(10);
  EXPECT_TRUE(window.ComesToHold(0));
  std::string complaints;
  EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  EXPECT_NE(complaints.find("A view cannot be shown: it was given no window"), std::string::npos) << complaints;
  view.SetWindow({reinterpret_cast<void*>(std::uintptr_t{0x1fabcdef})});
  Frames(10);
  EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  view.SetWindow({window.handle()});
  EXPECT_TRUE(Shows(window, picture()));
}

TEST_F(ViewDockTest, TheSameWindowAgainChangesNothing) {
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene().scene());
  EXPECT_TRUE(Shows(window, picture()));
  view.Detach();
  view.SetWindow({window.handle()});
  EXPECT_TRUE(window.ComesToShow(picture(), host::kViewTolerance)) << "the picture stays, though there is no other";
  EXPECT_EQ(window.ChildCount(), 1);
}

// Whatever is thrown at it: no window of the library's is left behind.
TEST_F(ViewDockTest, MayGoToAnotherWindowInEachFrame) {
  const XWindow window(x11, 120, 90);
  const XWindow other(x11, 120, 90, {130, 0});
  View view(window.handle(), 120, 90, scene().scene());
  for (int i = 0; i < 1000; ++i) {
    view.SetWindow({i % 2 == 0 ? other.handle() : window.handle()});
    Frame();
  }
  EXPECT_TRUE(Shows(window, picture()));
  EXPECT_TRUE(window.ComesToHold(1));
  EXPECT_TRUE(other.ComesToHold(0));
  const GsViewCounts counts = view.Counts();
  EXPECT_GE(counts.drawn, 1000u);
  EXPECT_LE(counts.presented + counts.skipped, counts.drawn);
}

// A host's Draw may move its view and dock it elsewhere.
TEST_F(ViewDockTest, MayBeSentElsewhereInItsDraw) {
  const XWindow window(x11, 200, 150);
  const XWindow other(x11, 200, 150, {210, 0});
  class Restless : public GsViewImpl {
   public:
    using GsViewImpl::GsViewImpl;
    void Draw() override {
      DefaultDraw();
      Move(30, 20);
      SetWindow({goal});
    }
    void* goal = nullptr;
  };
  Restless view({window.handle()}, 120, 90, nullptr);
  view.goal = other.handle();
  view.SetBackgroundColor(host::kBackdrop.r, host::kBackdrop.g, host::kBackdrop.b, host::kBackdrop.a);
  view.SetScene(scene().scene());
  view.Attch();
  EXPECT_TRUE(Shows(other, WindowWith(200, 150, {{picture(), 30, 20}})));
  EXPECT_TRUE(window.ComesToHold(0));
  view.Detach();
}

class LiveDockTest : public host::LiveViewTest {};

// From a thread of the host's, while frames are drawn and another thread resizes.
TEST_F(LiveDockTest, MayBeSentAboutByAnyThread) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 200, 150);
  const XWindow other(x11, 200, 150, {210, 0});
  View view(window.handle(), 120, 90, scene.scene());
  std::thread docker([&] {
    for (int i = 0; i < 200; ++i) view.SetWindow({i % 2 == 0 ? other.handle() : window.handle()});
  });
  std::thread mover([&] {
    for (int i = 0; i <= 200; ++i) view.Move(i % 7, i % 5);
  });
  for (unsigned int i = 0; i < 200; ++i) view.Resize(60 + i % 100, 50 + i % 60);
  docker.join();
  mover.join();
  view.Resize(120, 90);
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(window.ComesToShow(WindowWith(200, 150, {{picture, 200 % 7, 200 % 5}}), host::kViewTolerance));
  EXPECT_TRUE(other.ComesToHold(0));
  EXPECT_TRUE(window.ComesToHold(1));
}

// A server that does not answer keeps no frame: what was asked for is done when it does.
TEST_F(LiveDockTest, FramesGoOnWhileTheServerStalls) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 120, 90);
  const XWindow other(x11, 200, 150, {130, 0});
  View view(window.handle(), 120, 90, scene.scene());
  const Picture picture = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(window.ComesToShow(picture, host::kViewTolerance));
  host::TheXServer().Stall();
  view.SetWindow({other.handle()});
  for (int i = 0; i < 100; ++i) view.Move(i, 9);
  EXPECT_TRUE(host::PassFrames(device, 50));
  host::TheXServer().GoOn();
  EXPECT_TRUE(other.ComesToShow(WindowWith(200, 150, {{picture, 99, 9}}), host::kViewTolerance));
  EXPECT_TRUE(window.ComesToHold(0));
}

}  // namespace
