#include "graphics/graphics_view_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/event.h"
#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class Callback : public GraphicsView::DrawCallback {
 public:
  void Draw() override {
    ++draws;
    if (draw) draw();
  }
  std::function<void()> draw;
  int draws = 0;
};

// Shows what only the views of a backend see.
class TestView : public GraphicsViewImpl {
 public:
  using GraphicsViewImpl::GraphicsViewImpl;
  std::pair<unsigned int, unsigned int> drawn() {
    MutexLocker<Mutex> lock(size_mutex_);
    return {drawn_width_, drawn_height_};
  }
  std::vector<float> background() {
    MutexLocker<Mutex> lock(background_mutex_);
    return {background_.r, background_.g, background_.b, background_.a};
  }
};

TEST(GraphicsViewImplTest, BothSizesStartAsTheConstructors) {
  TestView view(640, 480);
  EXPECT_EQ(view.width(), 640u);
  EXPECT_EQ(view.height(), 480u);
  EXPECT_THAT(view.drawn(), Pair(640u, 480u));
}

TEST(GraphicsViewImplTest, ResizeTakesEffectAtTheNextDraw) {
  TestView view(640, 480);
  view.Resize(320, 200);
  EXPECT_EQ(view.width(), 320u);
  EXPECT_EQ(view.height(), 200u);
  EXPECT_THAT(view.drawn(), Pair(640u, 480u));
  view.Resize(32, 20);
  view.Draw();
  EXPECT_THAT(view.drawn(), Pair(32u, 20u));
}

TEST(GraphicsViewImplTest, TheNewSizeIsInForceWhenTheCallbackDraws) {
  TestView view(640, 480);
  Callback callback;
  std::pair<unsigned int, unsigned int> drawn;
  callback.draw = [&] { drawn = view.drawn(); };
  view.Attach(&callback);
  view.Resize(0, 7);
  view.Draw();
  EXPECT_THAT(drawn, Pair(0u, 7u));
}

TEST(GraphicsViewImplTest, BackgroundIsOpaqueBlackUntilSet) {
  TestView view(1, 1);
  EXPECT_THAT(view.background(), ElementsAre(0.0f, 0.0f, 0.0f, 1.0f));
  view.SetBackgroundColor(0.25f, 0.5f, 0.75f, 0.0f);
  EXPECT_THAT(view.background(), ElementsAre(0.25f, 0.5f, 0.75f, 0.0f));
}

TEST(GraphicsViewImplTest, DrawsThroughTheCallbackWhileAttached) {
  TestView view(1, 1);
  Callback callback;
  view.Draw();
  view.Attach(&callback);
  view.Draw();
  EXPECT_EQ(callback.draws, 1);
  view.Detach();
  view.Draw();
  EXPECT_EQ(callback.draws, 1);
}

TEST(GraphicsViewImplTest, DetachWaitsForADrawInProgress) {
  TestView view(1, 1);
  Callback callback;
  std::thread detacher;
  std::vector<std::string> journal;
  callback.draw = [&] {
    Event about_to(false);
    detacher = std::thread([&] {
      about_to.Signal();
      view.Detach();
      journal.push_back("detached");
    });
    about_to.Wait();
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    journal.push_back("drawn");
  };
  view.Attach(&callback);
  view.Draw();
  detacher.join();
  EXPECT_THAT(journal, ElementsAre("drawn", "detached"));
}

TEST(GraphicsViewImplTest, MayBeResizedColouredAndDetachedInItsDraw) {
  TestView view(1, 1);
  Callback callback;
  callback.draw = [&] {
    view.Resize(2, 3);
    view.SetBackgroundColor(1, 1, 1, 1);
    view.Detach();
  };
  view.Attach(&callback);
  view.Draw();
  EXPECT_THAT(view.drawn(), Pair(1u, 1u));
  view.Draw();
  EXPECT_EQ(callback.draws, 1);
  EXPECT_THAT(view.drawn(), Pair(2u, 3u));
}

TEST(GraphicsViewImplTest, BindRenderTargetWarnsAndFails) {
  LogCapture log;
  GraphicsViewImpl view(1, 1);
  EXPECT_FALSE(view.BindRenderTarget());
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "GraphicsView::BindRenderTarget is unimplemented"}));
}

TEST(GraphicsViewImplTest, UnbindRenderTargetWarns) {
  LogCapture log;
  GraphicsViewImpl view(1, 1);
  view.UnbindRenderTarget();
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "GraphicsView::UnbindRenderTarget is unimplemented"}));
}

TEST(GraphicsViewImplTest, TheOtherDefaultsAreSilentAndNeutral) {
  LogCapture log;
  GraphicsViewImpl view(1, 1);
  view.SetPresentationTime(1);
  EXPECT_EQ(view.frame_buffer_texture(), nullptr);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(GraphicsViewImplTest, ViewThatDoesNotPresentAndNoViewHaveDrawnNothing) {
  GraphicsViewImpl view(1, 1);
  EXPECT_EQ(ToPresented(&view), nullptr);
  EXPECT_EQ(ToPresented(nullptr), nullptr);
  EXPECT_EQ(ReadViewCounts(&view).drawn, 0u);
  EXPECT_EQ(ReadViewCounts(nullptr).drawn, 0u);
}

}  // namespace
