// The engine's view in Wayland surfaces, from the inside, with the driver and without a screen.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include <quarn/qn_native_display.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/cgl/window_thread.h"
#include "tests/graphics/opengl/cgl/painter.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/host_loop.h"
#include "tests/support/scripted_client.h"
#include "tests/support/scripted_compositor.h"

namespace {

using test::Painter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Surface = test::ScriptedCompositor::Surface;

// Of one colour.
test::Picture Flat(int width, int height, unsigned char red) {
  test::Picture picture(width, height, 4);
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    picture.pixels[i] = red;
    picture.pixels[i + 3] = 255;
  }
  return picture;
}

// A process has one display, so one compositor serves all cases, and the last ones end it.
class GraphicsViewWaylandTest : public GlTest {
 protected:
  GraphicsViewWaylandTest() {
    EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayWayland, Host().display()));
    surface_ = Host().MakeSurface();
  }
  ~GraphicsViewWaylandTest() override {
    compositor().SendFramesAtOnce(true);
    if (surface_) wl_surface_destroy(surface_);
  }
  void TearDown() override {
    WaitForTheWindowThread();
    GlTest::TearDown();
  }

  static test::ScriptedCompositor& compositor() {
    static test::ScriptedCompositor compositor;
    return compositor;
  }
  static test::ScriptedClient& Host() {
    static test::ScriptedClient host(&compositor());
    return host;
  }
  static void WaitForTheWindowThread() {
    while (!WindowThread::Get().HandOver([] {})) {
    }
  }
  // What was posted meanwhile is done too, and the compositor has it.
  static void Settle() {
    WaitForTheWindowThread();
    WaitForTheWindowThread();
    EXPECT_TRUE(Host().Roundtrip());
  }
  std::unique_ptr<GraphicsView> MakeView(unsigned int width, unsigned int height) {
    return MakeView(surface_, width, height);
  }
  std::unique_ptr<GraphicsView> MakeView(wl_surface* window, unsigned int width, unsigned int height) {
    std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{window}, width, height));
    WaitForTheWindowThread();
    return view;
  }
  void Frame() {
    device()->DrawDisplay();
    Settle();
  }
  // Pictures drawn, presented and skipped.
  static std::vector<std::uint32_t> Counts(const GraphicsView& view) {
    const ViewCounts counts = ReadViewCounts(&view);
    return {counts.drawn, counts.presented, counts.skipped};
  }
  static bool ComesToShow(wl_surface* window, const test::Picture& picture) {
    return compositor().Comes([&] {
      const std::vector<Surface> views = compositor().Views(window);
      return views.size() == 1 && views.front().picture.width == picture.width &&
             test::AreAlike(views.front().picture, picture, {});
    });
  }
  static PresentedView* Presented(const std::unique_ptr<GraphicsView>& view) {
    return dynamic_cast<PresentedView*>(view.get());
  }

  wl_surface* surface_ = nullptr;
};

TEST_F(GraphicsViewWaylandTest, ShowsThePictureUprightAndPixelForPixelAtEveryScale) {
  const test::Picture card = test::TestCard(120, 90);
  for (const unsigned int scale : {120u, 150u, 180u, 240u}) {
    compositor().SendPreferredScale(scale);
    const auto view = MakeView(120, 90);
    Painter painter(context(), card);
    view->Attach(&painter);
    Frame();
    EXPECT_TRUE(ComesToShow(surface_, card)) << scale;
    Frame();
    EXPECT_TRUE(compositor().Comes([&] {
      const Surface shown = compositor().View(surface_);
      return shown.destination_width == static_cast<int>(120 * 120 / scale) &&
             shown.destination_height == static_cast<int>(90 * 120 / scale) && shown.source_width == 0;
    }));
    view->Detach();
  }
  compositor().SendPreferredScale(120);
}

TEST_F(GraphicsViewWaylandTest, ShowsTheNewestPictureWhenTheCompositorWantsOne) {
  compositor().SendFramesAtOnce(false);
  const auto view = MakeView(40, 30);
  std::unique_ptr<Painter> painter;
  for (unsigned char i = 1; i <= 5; ++i) {
    painter = std::make_unique<Painter>(context(), Flat(40, 30, static_cast<unsigned char>(i * 20)));
    view->Attach(painter.get());
    Frame();
    view->Detach();
  }
  EXPECT_TRUE(ComesToShow(surface_, Flat(40, 30, 20))) << "the first";
  EXPECT_THAT(Counts(*view), ElementsAre(5, 1, 3)) << "the newest waits";
  // No frame is drawn any more.
  compositor().SendFrames();
  EXPECT_TRUE(ComesToShow(surface_, Flat(40, 30, 100)));
  WaitForTheWindowThread();
  EXPECT_THAT(Counts(*view), ElementsAre(5, 2, 3));
}

TEST_F(GraphicsViewWaylandTest, AStoppedCompositorKeepsNoFrameWaiting) {
  const auto view = MakeView(40, 30);
  Painter painter(context(), Flat(40, 30, 200));
  view->Attach(&painter);
  Frame();
  compositor().Stop();
  for (int i = 0; i < 200; ++i) {
    device()->DrawDisplay();
    Presented(view)->Move(i, i);
  }
  // Neither does it keep the host waiting that makes a view or destroys one.
  MakeView(20, 20).reset();
  WaitForTheWindowThread();
  EXPECT_EQ(Counts(*view)[0], 201u);
  EXPECT_LE(Counts(*view)[1], 2u);
  compositor().GoOn();
  Frame();
  EXPECT_TRUE(ComesToShow(surface_, Flat(40, 30, 200)));
  EXPECT_TRUE(compositor().Comes([&] { return compositor().View(surface_).x == 199; }));
  view->Detach();
}

TEST_F(GraphicsViewWaylandTest, EachOfTenViewsShowsItsPictureAtItsPlace) {
  std::vector<std::unique_ptr<GraphicsView>> views;
  std::vector<std::unique_ptr<Painter>> painters;
  for (unsigned char i = 0; i < 10; ++i) {
    views.push_back(MakeView(20u + i, 10));
    painters.push_back(std::make_unique<Painter>(context(), Flat(20 + i, 10, static_cast<unsigned char>(25 * i))));
    views.back()->Attach(painters.back().get());
    Presented(views.back())->Move(i * 30, i);
  }
  Frame();
  Frame();
  EXPECT_TRUE(compositor().Comes([&] {
    const std::vector<Surface> shown = compositor().Views(surface_);
    for (const Surface& one : shown) {
      if (one.picture.width == 0) return false;
    }
    return shown.size() == 10;
  }));
  const std::vector<Surface> shown = compositor().Views(surface_);
  ASSERT_THAT(shown, SizeIs(10));
  for (unsigned char i = 0; i < 10; ++i) {
    EXPECT_TRUE(test::PicturesMatch(shown[i].picture, Flat(20 + i, 10, static_cast<unsigned char>(25 * i)), {}));
    EXPECT_EQ(shown[i].x, i * 30);
    EXPECT_EQ(shown[i].y, i);
    views[i]->Detach();
  }
}

TEST_F(GraphicsViewWaylandTest, ALargerSurfaceHasTheBackgroundBesideThePicture) {
  test::HostLoop loop;
  const auto view = MakeView(40, 30);
  view->SetBackgroundColor(0, 0, 0, 1);
  Painter painter(context(), Flat(40, 30, 200));
  view->Attach(&painter);
  Frame();
  EXPECT_TRUE(ComesToShow(surface_, Flat(40, 30, 200)));
  view->Resize(60, 30);
  Frame();  // Asks for the new size.
  EXPECT_EQ(compositor().View(surface_).picture.width, 40);
  loop.Run();
  Frame();
  Frame();
  test::Picture wide = Flat(60, 30, 0);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) wide.at(x, y)[0] = 200;
  }
  EXPECT_TRUE(ComesToShow(surface_, wide));
  view->Detach();
}

TEST_F(GraphicsViewWaylandTest, GoesToAnotherSurface) {
  wl_surface* const other = Host().MakeSurface();
  const auto view = MakeView(40, 30);
  Painter painter(context(), Flat(40, 30, 200));
  view->Attach(&painter);
  Presented(view)->Move(7, 8);
  Frame();
  EXPECT_TRUE(ComesToShow(surface_, Flat(40, 30, 200)));
  wl_surface_destroy(std::exchange(surface_, other));
  Frame();  // Into nothing.
  Presented(view)->SetWindow(InternalWindowInfo{other});
  Frame();
  EXPECT_TRUE(ComesToShow(other, Flat(40, 30, 200)));
  EXPECT_EQ(compositor().View(other).x, 7);
  Presented(view)->SetWindow(InternalWindowInfo{nullptr});
  Frame();
  EXPECT_THAT(compositor().Anchors(other), IsEmpty());
  EXPECT_THAT(TakeLog(), ElementsAre("W: A view cannot be shown: it was given no window"));
  view->Detach();
}

TEST_F(GraphicsViewWaylandTest, TheHostsSurfaceMayGoFirstAndTheViewAsWell) {
  auto view = MakeView(40, 30);
  Painter painter(context(), Flat(40, 30, 200));
  view->Attach(&painter);
  Frame();
  view->Detach();
  view.reset();
  WaitForTheWindowThread();
  EXPECT_TRUE(Host().Roundtrip());
  EXPECT_THAT(compositor().Anchors(surface_), IsEmpty());

  view = MakeView(40, 30);
  view->Attach(&painter);
  Frame();
  wl_surface_destroy(std::exchange(surface_, nullptr));
  Frame();
  Presented(view)->Move(1, 2);
  Frame();
  view->Detach();
  view.reset();
  Settle();
}

// The last of the cases that have a compositor. Which of the two it is, is for the test's name to choose.
class LostGraphicsViewWaylandTest : public GraphicsViewWaylandTest {
 protected:
  void ViewsGoOnWithout(const std::function<void()>& end, const std::string& line) {
    const auto view = MakeView(40, 30);
    Painter painter(context(), Flat(40, 30, 200));
    view->Attach(&painter);
    Frame();
    end();
    EXPECT_TRUE(log().WaitFor(Logger::Level::Warn, line));
    for (int i = 0; i < 5; ++i) {
      device()->DrawDisplay();
      WaitForTheWindowThread();
    }
    EXPECT_EQ(Counts(*view)[0], 6u) << "frames are drawn as before";
    Presented(view)->Move(1, 2);
    Presented(view)->SetWindow(InternalWindowInfo{surface_});
    device()->DrawDisplay();
    view->Detach();
    const auto late = MakeView(40, 30);
    EXPECT_NE(late, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("W: " + line));
  }
};

TEST_F(LostGraphicsViewWaylandTest, GoesOnWithoutTheCompositor) {
  ViewsGoOnWithout([] { compositor().Disconnect(); }, "The Wayland compositor is gone: views show nothing any more");
}

TEST_F(LostGraphicsViewWaylandTest, GoesOnAfterAnErrorOfTheProtocol) {
  ViewsGoOnWithout(
      [this] { compositor().PostError(compositor().View(surface_).id, 1); },
      "The Wayland compositor has ended the connection, for error 1 of wl_surface: views show nothing any more");
}

}  // namespace
