// The engine's view in X11 windows, from the inside: what it asks of GL and of the window system, in which order.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/qn_main_queue.h>

#include "graphics/internal_types.h"
#include "graphics/opengl/cgl/main_queue.h"
#include "tests/graphics/opengl/cgl/engine_view_test.h"
#include "tests/graphics/opengl/cgl/painter.h"
#include "tests/support/host_loop.h"
#include "tests/support/stalled_window_thread.h"

namespace {

using test::HostLoop;
using test::Painter;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

class GraphicsViewX11Test : public EngineViewTest {
 protected:
  std::unique_ptr<GraphicsView> MakeView(void* window, unsigned int width, unsigned int height) {
    return std::unique_ptr<GraphicsView>(device()->CreateView(InternalWindowInfo{window}, width, height));
  }
  // One that can be shown.
  std::unique_ptr<GraphicsView> MakeView(const test::XWindow& window, unsigned int width, unsigned int height) {
    auto view = MakeView(window.handle(), width, height);
    EXPECT_THAT(TakeLog(), IsEmpty());
    return view;
  }
  // Pictures drawn, presented and skipped.
  static std::vector<std::uint32_t> Counts(const GraphicsView& view) {
    const ViewCounts counts = ReadViewCounts(&view);
    return {counts.drawn, counts.presented, counts.skipped};
  }
  // After the display is set.
  test::XConnection& x11() {
    if (!x11_) x11_ = std::make_unique<test::XConnection>(TheXServer().display());
    return *x11_;
  }

 private:
  std::unique_ptr<test::XConnection> x11_;
};

TEST_F(GraphicsViewX11Test, ShowsThePictureUprightAndPixelForPixel) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));
  view->Detach();
}

TEST_F(GraphicsViewX11Test, InitTakesTheWindowAndWaitsForNoRefresh) {
  const test::XWindow window(x11(), 120, 90);
  gl_spy::StartTrace();
  const auto view = MakeView(window.handle(), 120, 90);
  EXPECT_THAT(TakeTrace(), ElementsAre("make current", "check", "flush", "check", "clear current", "make current",
                                       "swap interval 0", "flush", "check", "clear current"));
  EXPECT_TRUE(window.ComesToHold(1));
}

TEST_F(GraphicsViewX11Test, FrameIsDrawnCopiedAndPresentedInTheStatedOrder) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  gl_spy::StartTrace();
  Draw(view.get());
  std::vector<std::string> trace = TakeTrace();
  ASSERT_GE(trace.size(), 10u);
  // Off-screen, as without a window.
  EXPECT_THAT(std::vector<std::string>(trace.begin(), trace.begin() + 3),
              ElementsAre("make current", "clear colour 0 0 0 1", "check"));
  EXPECT_THAT(std::vector<std::string>(trace.end() - 10, trace.end()),
              ElementsAre("clear current", "make current", "check", "blit 0 0 120 90 to 0 0 120 90, 0x4000, 0x2600",
                          "check", "present", "flush", "check", "check", "clear current"));
}

TEST_F(GraphicsViewX11Test, EveryStepOfTheCopyIsChecked) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  gl_spy::faults().errors = std::deque<GLenum>(8, GL_NO_ERROR);  // What is drawn off-screen.
  gl_spy::faults().errors.insert(gl_spy::faults().errors.end(), 4, GL_INVALID_ENUM);
  Draw(view.get());
  EXPECT_THAT(gl_spy::faults().errors, IsEmpty());
  EXPECT_THAT(TakeLog(),
              AllOf(SizeIs(4),
                    Each(MatchesRegex("W: INVALID_ENUM \\| graphics/opengl/cgl/graphics_view_cgl\\.cc \\([0-9]+\\)"))));
}

TEST_F(GraphicsViewX11Test, CopiesTheNewSizeFromTheOldImageUntilTheMainQueueHasRun) {
  const test::XWindow window(x11(), 200, 160);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  view->Resize(200, 160);
  gl_spy::StartTrace();
  Draw(view.get());
  EXPECT_THAT(TakeTrace(), ::testing::Contains("blit 0 0 200 160 to 0 0 200 160, 0x4000, 0x2600"));
  gl_spy::StartTrace();
  loop.Run();
  EXPECT_THAT(TakeTrace(), ElementsAre("make current", "check", "flush", "clear current",  // The image.
                                       "make current", "flush", "clear current"));         // The window.
  Painter painter(context(), test::TestCard(200, 160));
  view->Attach(&painter);
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(200, 160), {}));
  view->Detach();
}

TEST_F(GraphicsViewX11Test, CopiesASmallerPictureToTheUpperLeftOfAClearedWindow) {
  const test::XWindow window(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  view->SetBackgroundColor(1, 0.5f, 0.25f, 0);
  view->Resize(80, 60);
  gl_spy::StartTrace();
  Draw(view.get());
  const std::vector<std::string> trace = TakeTrace();
  ASSERT_GE(trace.size(), 11u);
  EXPECT_THAT(std::vector<std::string>(trace.end() - 11, trace.end() - 5),
              ElementsAre("check", "clear colour 1 0.5 0.25 0", "clear 0x4000", "check",
                          "blit 0 0 80 60 to 0 30 80 90, 0x4000, 0x2600", "check"));
}

// Nobody knows for which of the two sizes the host has drawn it.
TEST_F(GraphicsViewX11Test, PictureIsNotPresentedWhenTheSizeChangesWhileItIsDrawn) {
  struct Resizer : GraphicsView::DrawCallback {
    explicit Resizer(GraphicsView* resized) : view(resized) {}
    void Draw() override { view->Resize(80, 60); }
    GraphicsView* const view;
  };
  const test::XWindow window(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  Resizer resizer(view.get());
  view->Attach(&resizer);
  gl_spy::StartTrace();
  Draw(view.get());
  EXPECT_THAT(TakeTrace(), Not(::testing::Contains(HasSubstr("blit"))));
  gl_spy::StartTrace();
  Draw(view.get());
  EXPECT_THAT(TakeTrace(), ::testing::Contains(HasSubstr("blit 0 0 80 60")));
  view->Detach();
}

// A driver keeps the buffer that it took when the context was made current, which each of the works does.
TEST_F(GraphicsViewX11Test, WindowKeepsItsSizeFromTheBeginningOfAPictureToItsEnd) {
  const test::XWindow window(x11(), 200, 160, {0, 0, 0x123456});
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  view->SetBackgroundColor(1, 0, 0, 1);
  const test::Picture card = test::TestCard(150, 60);
  Painter painter(context(), card);
  view->Attach(&painter);
  view->Resize(130, 100);
  Frames(1);
  PostToMainQueue([&] { view->Resize(150, 60); });
  view->Resize(140, 110);
  Frames(1);
  int works = 0;
  for (; loop.size() > 0; ++works) {
    const HostLoop::Work work = loop.Take();
    work.first(work.second);
    WaitForTheWindowThread();  // It would take two sizes for one.
  }
  EXPECT_EQ(works, 3);
  const auto shown = [&card](int width) {
    test::Picture whole = test::Flat(200, 160, 0x123456);
    for (int y = 0; y < 60; ++y) {
      std::copy_n(test::Flat(150, 1, 0xff0000).at(0, 0), 150 * 4, whole.at(0, y));
      std::copy_n(card.at(0, y), width * 4, whole.at(0, y));
    }
    return whole;
  };
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(shown(140), {}));
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(shown(150), {}));
  view->Detach();
}

TEST_F(GraphicsViewX11Test, WindowKeepsItsPictureWhileTheSizeIsZero) {
  const test::XWindow window(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));
  view->Resize(121, 90);
  Frames(1);
  view->Resize(0, 0);
  loop.Run();
  Frames(3);
  EXPECT_EQ(painter.draws, 2);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));
  view->Detach();
}

TEST_F(GraphicsViewX11Test, BindRenderTargetDrawsIntoTheWindow) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  ASSERT_TRUE(view->BindRenderTarget());
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  EXPECT_THAT(viewport, ElementsAre(0, 0, 120, 90));
  GLint buffer = 0;
  glGetIntegerv(GL_DRAW_BUFFER, &buffer);
  EXPECT_EQ(buffer, GL_BACK);
  glClearColor(0, 1, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  eglSwapBuffers(eglGetCurrentDisplay(), eglGetCurrentSurface(EGL_DRAW));
  view->UnbindRenderTarget();
  EXPECT_TRUE(window.ComesToShow(test::Flat(120, 90, 0x00ff00), {}));
}

TEST_F(GraphicsViewX11Test, FramesGoOnInsideATaskThatHasTheContextCurrent) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  {
    const test::CurrentContext current(context());
    const EGLContext before = eglGetCurrentContext();
    Frames(1);
    EXPECT_EQ(eglGetCurrentContext(), before);
  }
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));
  view->Detach();
}

// What is no window, or takes none inside.

TEST_F(GraphicsViewX11Test, NoWindowIsSaidOnceAndTheViewDrawsAllTheSame) {
  const auto input_only = [&] {
    const xcb_window_t id = xcb_generate_id(x11().get());
    xcb_create_window(x11().get(), 0, id, x11().screen()->root, 0, 0, 9, 9, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    x11().Sync();
    return id;
  }();
  const std::pair<std::uintptr_t, const char*> cases[] = {
      {0, "W: A view cannot be shown: it was given no window"},
      {std::uintptr_t{1} << 40, "W: A view cannot be shown in window 0x10000000000: there is no such window"},
      {0x1fffffff, "W: A view cannot be shown in window 0x1fffffff: there is no such window, or "},
      {0xffffffff, "W: A view cannot be shown in window 0xffffffff: there is no such window, or "},
      {x11().MakePixmap(9, 9), "there is no such window"},
      {input_only, "it takes no pictures, or is on another screen"}};
  for (const auto& [handle, message] : cases) {
    const auto view = MakeView(reinterpret_cast<void*>(handle), 16, 16);
    ASSERT_NE(view, nullptr);
    Painter painter(context(), test::TestCard(16, 16));
    view->Attach(&painter);
    Frames(3);
    EXPECT_EQ(painter.draws, 3);
    EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr(message)));
    view->Detach();
  }
  xcb_destroy_window(x11().get(), input_only);
}

// A window's end.

TEST_F(GraphicsViewX11Test, WindowThatGoesAwayIsSaidOnceAndFramesGoOn) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  const test::XWindow other(x11(), 40, 30, {200, 0});
  HostLoop loop;
  const auto view = MakeView(*window, 120, 90);
  const auto second = MakeView(other, 40, 30);
  Painter painter(context(), test::TestCard(120, 90));
  Painter other_painter(context(), test::TestCard(40, 30));
  view->Attach(&painter);
  second->Attach(&other_painter);
  Frames(1);
  EXPECT_TRUE(window->ComesToShow(test::TestCard(120, 90), {}));
  const std::string id = [&] {
    char text[20];
    std::snprintf(text, sizeof(text), "0x%x", window->id());
    return std::string(text);
  }();
  window.reset();
  Frames(5);
  EXPECT_EQ(painter.draws, 6);
  EXPECT_THAT(TakeLog(), ElementsAre("W: A view shows nothing any more: its window " + id + " is gone"));
  view->Resize(60, 50);
  Frames(1);
  loop.Run();
  Frames(2);
  EXPECT_EQ(painter.draws, 9);
  EXPECT_TRUE(other.ComesToShow(test::TestCard(40, 30), {}));
  view->Detach();
  second->Detach();
}

TEST_F(GraphicsViewX11Test, HostThatDestroysWhatIsInItsWindowHarmsNothing) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  Draw(view.get());
  xcb_destroy_subwindows(x11().get(), window.id());
  x11().Sync();
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

TEST_F(GraphicsViewX11Test, WindowThatGoesAwayBeforeTheFirstFrameHarmsNothing) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  const auto view = MakeView(*window, 120, 90);
  window.reset();
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

TEST_F(GraphicsViewX11Test, WindowThatGoesAwayWhileItsSurfaceIsMadeHarmsNothing) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  gl_spy::faults().at_window_surface = [&] { window.reset(); };
  const auto view = MakeView(window->handle(), 120, 90);
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_FALSE(window);
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

TEST_F(GraphicsViewX11Test, HostThatDestroysWhatIsInItsWindowMeanwhileHarmsNothing) {
  const test::XWindow window(x11(), 120, 90);
  gl_spy::faults().at_window_surface = [&] {
    xcb_destroy_subwindows(x11().get(), window.id());
    x11().Sync();
  };
  const auto view = MakeView(window.handle(), 120, 90);
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_FALSE(gl_spy::faults().at_window_surface);
  EXPECT_EQ(window.ChildCount(), 1);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsViewX11Test, WindowThatIsGoneAtTheViewsEndHarmsNothing) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  auto view = MakeView(*window, 120, 90);
  Draw(view.get());
  window.reset();
  view.reset();
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsViewX11Test, WindowThatGoesAwayBeforeTheResizeWorkHarmsNothing) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(*window, 120, 90);
  view->Resize(60, 50);
  Draw(view.get());
  window.reset();
  loop.Run();
  Draw(view.get());
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

TEST_F(GraphicsViewX11Test, LeavesTheWindowWhenDestroyed) {
  const test::XWindow window(x11(), 120, 90);
  auto view = MakeView(window, 120, 90);
  const auto second = MakeView(window, 60, 50);
  EXPECT_TRUE(window.ComesToHold(2));
  Draw(view.get());
  view.reset();
  EXPECT_TRUE(window.ComesToHold(1));
}

TEST_F(GraphicsViewX11Test, LaterViewOfAWindowLiesOnTop) {
  const test::XWindow window(x11(), 120, 90);
  const auto below = MakeView(window, 120, 90);
  const auto above = MakeView(window, 60, 45);
  below->SetBackgroundColor(1, 0, 0, 1);
  above->SetBackgroundColor(0, 1, 0, 1);
  Draw(above.get());
  Draw(below.get());
  test::Picture expected = test::Flat(120, 90, 0xff0000);
  for (int y = 0; y < 45; ++y) {
    for (int x = 0; x < 60; ++x) {
      expected.at(x, y)[0] = 0;
      expected.at(x, y)[1] = 255;
    }
  }
  EXPECT_TRUE(window.ComesToShow(expected, {}));
}

// A server that does not answer.

// However long the window thread is kept, no frame and no change of size waits for it.
TEST_F(GraphicsViewX11Test, FramesGoOnWhileTheWindowThreadIsKept) {
  const test::XWindow window(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  {
    const test::StalledWindowThread stalled;
    for (int i = 0; i < 20; ++i) {
      view->Resize(i % 2 == 0 ? 100 : 120, 90);
      device()->DrawDisplay();
      loop.Run();
    }
    device()->DrawDisplay();
    EXPECT_EQ(painter.draws, 21);
    EXPECT_THAT(Counts(*view), ElementsAre(21, 0, 20));
    EXPECT_FALSE(WindowThread::Get().lags()) << "somebody has waited";
  }
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {})) << "the newest is shown";
  WaitForTheWindowThread();
  EXPECT_THAT(Counts(*view), ElementsAre(21, 1, 20));
  view->Detach();
}

// A frame would wait for whoever holds the context's lock.
TEST_F(GraphicsViewX11Test, ViewsAreMadeAndEndedInACallbackWithoutAWait) {
  const test::XWindow window(x11(), 120, 90);
  {
    const test::StalledWindowThread stalled;
    const test::CurrentContext current(context());
    auto view = MakeView(window.handle(), 120, 90);
    view->Draw();
    view.reset();
    EXPECT_FALSE(WindowThread::Get().lags()) << "somebody has waited";
  }
  const auto view = MakeView(window.handle(), 120, 90);
  {
    const test::StalledWindowThread stalled;
    const auto another = MakeView(window.handle(), 60, 45);
    EXPECT_TRUE(WindowThread::Get().lags()) << "nobody has waited, where the host may count on its window";
  }
}

// Where somebody may count on the window being left, there is a wait, and elsewhere none.
TEST_F(GraphicsViewX11Test, AnotherWindowIsTakenInACallbackWithoutAWait) {
  const test::XWindow window(x11(), 120, 90);
  const test::XWindow other(x11(), 120, 90, {130, 0});
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  PresentedView* const presented = ToPresented(view.get());
  {
    const test::StalledWindowThread stalled;
    presented->Move(1, 1);
    const test::CurrentContext current(context());
    presented->SetWindow({other.handle()});
    EXPECT_FALSE(WindowThread::Get().lags()) << "somebody has waited";
  }
  EXPECT_TRUE(window.ComesToHold(0));
  EXPECT_TRUE(other.ComesToHold(1));
  presented->SetWindow({window.handle()});
  EXPECT_EQ(other.ChildCount(), 0) << "it is done when the call returns";
  EXPECT_EQ(window.ChildCount(), 1);
  presented->Move(0, 0);
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));
  {
    const test::StalledWindowThread stalled;
    presented->SetWindow({other.handle()});
    EXPECT_TRUE(WindowThread::Get().lags()) << "nobody has waited";
  }
  WaitForTheWindowThread();
  view->Detach();
}

// The size that the new window's place gets is the one that the next change is told from.
TEST_F(GraphicsViewX11Test, AnotherWindowBetweenTwoSizesShowsTheLast) {
  const test::XWindow window(x11(), 120, 90);
  const test::XWindow other(x11(), 120, 90, {130, 0});
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  Frames(1);
  view->Resize(0, 0);
  ToPresented(view.get())->SetWindow({other.handle()});
  view->Resize(120, 90);
  Frames(1);
  loop.Run();
  Frames(1);
  EXPECT_TRUE(other.ComesToShow(test::TestCard(120, 90), {}));
  view->Detach();
}

TEST_F(GraphicsViewX11Test, CountsWhatBecomesOfItsPictures) {
  auto window = std::make_unique<test::XWindow>(x11(), 120, 90);
  const auto view = MakeView(*window, 120, 90);
  EXPECT_THAT(Counts(*view), ElementsAre(0, 0, 0));
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_THAT(Counts(*view), ElementsAre(3, 3, 0));
  view->Resize(0, 90);
  Draw(view.get());
  EXPECT_THAT(Counts(*view), ElementsAre(3, 3, 0));
  view->Resize(120, 90);
  window.reset();
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_THAT(Counts(*view), ElementsAre(6, 3, 3));
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

// Its pictures were there in time.
TEST_F(GraphicsViewX11Test, ViewThatIsShownInTimeHasOneImage) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  Draw(view.get());
  const int objects = gl_spy::LiveObjects();
  for (int i = 0; i < 10; ++i) Draw(view.get());
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
  {
    const test::StalledWindowThread stalled;
    for (int i = 0; i < 10; ++i) view->Draw();
    EXPECT_EQ(gl_spy::LiveObjects(), objects + 2) << "one waits, one is drawn to: a texture and a framebuffer more";
  }
  WaitForTheWindowThread();
}

// A host may keep a view's context: the others are shown meanwhile.
TEST_F(GraphicsViewX11Test, ViewWhoseContextIsTakenKeepsNoOtherFromItsWindow) {
  const test::XWindow window(x11(), 120, 90);
  const test::XWindow other(x11(), 40, 30, {200, 0});
  const auto view = MakeView(window, 120, 90);
  const auto second = MakeView(other, 40, 30);
  view->SetBackgroundColor(1, 0, 0, 1);
  second->SetBackgroundColor(0, 1, 0, 1);
  std::thread host([&] {
    ASSERT_TRUE(view->BindRenderTarget());
    std::thread render([&] {
      Draw(view.get());
      Draw(second.get());
      NativeContext::ReleaseThread();
    });
    render.join();
    EXPECT_TRUE(other.ComesToShow(test::Flat(40, 30, 0x00ff00), {}));
    EXPECT_THAT(Counts(*view), ElementsAre(1, 0, 0));
    view->UnbindRenderTarget();
    NativeContext::ReleaseThread();
  });
  host.join();
  EXPECT_TRUE(window.ComesToShow(test::Flat(120, 90, 0xff0000), {}));
}

// The server is stopped for 24 frames and runs for two, again and again. What else the machine does falls on a device
// beside, whose view draws the same and has no window.
TEST_F(GraphicsViewX11Test, FramesKeepTheirRateOnAServerThatMostlyStalls) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  GraphicsDeviceCGL beside;
  ASSERT_TRUE(beside.Init());
  std::unique_ptr<GraphicsView> without_window(beside.CreateView(InternalWindowInfo{}, 120, 90));
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("it was given no window")));
  struct Nothing : GraphicsView::DrawCallback {
    void Draw() override {}
  } nothing;
  view->Attach(&nothing);
  without_window->Attach(&nothing);
  for (GraphicsDeviceCGL* const each : {device(), &beside}) {
    each->SetFps(100);
    ASSERT_TRUE(each->Start());
  }
  const auto drawn = [](const auto& counted) { return ReadViewCounts(counted.get()).drawn; };
  const auto wait = [&](unsigned int frames) {
    const unsigned int end = drawn(without_window) + frames;
    EXPECT_TRUE(test::ComesTrue([&] { return drawn(without_window) >= end; }));
  };
  wait(10);
  const unsigned int before = drawn(view), before_beside = drawn(without_window);
  for (int i = 0; i < 10; ++i) {
    TheXServer().Stall();
    wait(24);
    TheXServer().GoOn();
    wait(2);
  }
  EXPECT_GE(4 * (drawn(view) - before), 3 * (drawn(without_window) - before_beside));
  beside.Stop();
  device()->Stop();
  without_window->Detach();
  view->Detach();
  without_window.reset();
  WaitForTheWindowThread();
  const ViewCounts counts = ReadViewCounts(view.get());
  EXPECT_EQ(counts.presented + counts.skipped, counts.drawn);
  EXPECT_GT(counts.presented, 0u);
}

TEST_F(GraphicsViewX11Test, ServerThatStallsDoesNotStallTheFrames) {
  const test::XWindow window(x11(), 120, 90);
  HostLoop loop;
  const auto view = MakeView(window, 120, 90);
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  Frames(1);
  EXPECT_TRUE(window.ComesToShow(test::TestCard(120, 90), {}));

  ucred server = {};
  socklen_t size = sizeof(server);
  ASSERT_EQ(getsockopt(xcb_get_file_descriptor(x11().get()), SOL_SOCKET, SO_PEERCRED, &server, &size), 0);
  ASSERT_GT(server.pid, 1);
  ASSERT_EQ(kill(server.pid, SIGSTOP), 0);
  const auto frames = [this](int count) {
    for (int n = 0; n < count; ++n) device()->DrawDisplay();
  };
  // Each of these would wait for the server for ever.
  frames(20);
  view->Resize(200, 160);
  frames(2);
  loop.Run();
  frames(2);
  EXPECT_EQ(painter.draws, 25);
  ASSERT_EQ(kill(server.pid, SIGCONT), 0);
  view->SetBackgroundColor(0, 0, 1, 1);
  view->Detach();
  EXPECT_TRUE(window.ComesToShow(test::Flat(120, 90, 0x0000ff), {}, [&] { view->Draw(); }));
}

TEST_F(GraphicsViewX11Test, ServerThatStallsDoesNotKeepAViewFromItsEnd) {
  const test::XWindow window(x11(), 120, 90);
  auto view = MakeView(window, 120, 90);
  view->Draw();
  x11().Sync();
  ucred server = {};
  socklen_t size = sizeof(server);
  ASSERT_EQ(getsockopt(xcb_get_file_descriptor(x11().get()), SOL_SOCKET, SO_PEERCRED, &server, &size), 0);
  ASSERT_GT(server.pid, 1);
  ASSERT_EQ(kill(server.pid, SIGSTOP), 0);
  view->Draw();
  view.reset();
  ASSERT_EQ(kill(server.pid, SIGCONT), 0);
  while (!WindowThread::Get().HandOver([] {})) {
  }
  EXPECT_TRUE(window.ComesToHold(0));
}

TEST_F(GraphicsViewX11Test, PresentationThatFailsIsSaidOnce) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  gl_spy::faults().present = true;
  for (int i = 0; i < 3; ++i) Draw(view.get());
  gl_spy::faults().present = false;
  EXPECT_THAT(TakeLog(), ElementsAre("W: A view's picture could not be presented (EGL error 0x3000)"));
}

TEST_F(GraphicsViewX11Test, NothingIsPresentedOfAnImageThatCannotBeDrawnTo) {
  const test::XWindow window(x11(), 120, 90);
  const auto view = MakeView(window, 120, 90);
  gl_spy::faults().incomplete = true;
  Draw(view.get());
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("frame_buffer status")));
  gl_spy::StartTrace();
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_THAT(TakeTrace(), Not(::testing::Contains(HasSubstr("blit"))));
  gl_spy::faults().incomplete = false;
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsViewX11Test, DrawsOffScreenWhenItsContextCannotBeMadeCurrentInTheWindow) {
  const test::XWindow window(x11(), 120, 90);
  gl_spy::faults().window_surface = true;
  const auto view = MakeView(window.handle(), 120, 90);
  gl_spy::faults().window_surface = false;
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("A view cannot be shown: no surface for its window")));
  EXPECT_TRUE(window.ComesToHold(0));
  Painter painter(context(), test::TestCard(120, 90));
  view->Attach(&painter);
  Frames(2);
  EXPECT_EQ(painter.draws, 2);
  view->Detach();
}

}  // namespace
