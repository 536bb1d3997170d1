#include "graphics/graphics_filter_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "foundation/event.h"
#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;

class CountingCallback : public GraphicsFilter::DrawCallback {
 public:
  void Draw() override { ++draws; }
  int draws = 0;
};

TEST(GraphicsFilterImplTest, ResizeStoresTheSize) {
  GraphicsFilterImpl filter(640, 480);
  EXPECT_EQ(filter.width(), 640u);
  EXPECT_EQ(filter.height(), 480u);
  filter.Resize(320, 200);
  EXPECT_EQ(filter.width(), 320u);
  EXPECT_EQ(filter.height(), 200u);
}

TEST(GraphicsFilterImplTest, TextureWarnsAndIsNull) {
  LogCapture log;
  GraphicsFilterImpl filter(1, 1);
  EXPECT_EQ(filter.texture(), nullptr);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "GraphicsFilter::texture() is unimplemented"}));
}

TEST(GraphicsFilterImplTest, DrawsThroughTheCallbackWhileAttached) {
  GraphicsFilterImpl filter(1, 1);
  CountingCallback callback;
  filter.Draw();
  filter.Attach(&callback);
  filter.Draw();
  EXPECT_EQ(callback.draws, 1);
  filter.Detach();
  filter.Draw();
  EXPECT_EQ(callback.draws, 1);
}

TEST(GraphicsFilterImplTest, DetachWaitsForADrawInProgress) {
  class BusyCallback : public GraphicsFilter::DrawCallback {
   public:
    explicit BusyCallback(GraphicsFilter* filter) : filter_(filter) {}
    void Draw() override {
      Event about_to(false);
      detacher = std::thread([&about_to, this] {
        about_to.Signal();
        filter_->Detach();
        journal.push_back("detached");
      });
      about_to.Wait();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      journal.push_back("drawn");
    }
    std::thread detacher;
    std::vector<std::string> journal;

   private:
    GraphicsFilter* filter_;
  };
  GraphicsFilterImpl filter(1, 1);
  BusyCallback callback(&filter);
  filter.Attach(&callback);
  filter.Draw();
  callback.detacher.join();
  EXPECT_THAT(callback.journal, ElementsAre("drawn", "detached"));
}

TEST(GraphicsFilterImplTest, ResizeTakesNoLock) {
  // A draw that waits for a resize on another thread: were a lock taken, this would hang.
  class ResizingCallback : public GraphicsFilter::DrawCallback {
   public:
    explicit ResizingCallback(GraphicsFilter* filter) : filter_(filter) {}
    void Draw() override {
      std::thread([this] { filter_->Resize(2, 3); }).join();
    }

   private:
    GraphicsFilter* filter_;
  };
  GraphicsFilterImpl filter(1, 1);
  ResizingCallback callback(&filter);
  filter.Attach(&callback);
  filter.Draw();
  EXPECT_EQ(filter.width(), 2u);
  EXPECT_EQ(filter.height(), 3u);
}

}  // namespace
