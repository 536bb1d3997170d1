// What is being drawn into.
#include "graphics/draw_target.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "graphics/context_lock.h"
#include "graphics/graphics_context_impl.h"
#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ViewportContext : public GraphicsContextImpl {
 public:
  void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) override {
    viewports.push_back({x, y, width, height});
  }
  std::vector<std::vector<unsigned int>> viewports;
};

class DrawTargetTest : public ::testing::Test {
 protected:
  // The size that the calling thread is told.
  std::vector<float> Size() const {
    const internal_vec2 size = DrawTargetSize(&context_);
    return {size.x, size.y};
  }

  ViewportContext context_;
};

TEST_F(DrawTargetTest, HasItsSizeForAsLongAsItLives) {
  const ContextLock lock(&context_);
  EXPECT_THAT(Size(), ElementsAre(0, 0));
  {
    const DrawTarget outer(&context_, 640, 360);
    EXPECT_THAT(Size(), ElementsAre(640, 360));
    {
      const DrawTarget inner(&context_, 20, 10);
      EXPECT_THAT(Size(), ElementsAre(20, 10));
    }
    EXPECT_THAT(Size(), ElementsAre(640, 360));
  }
  EXPECT_THAT(Size(), ElementsAre(0, 0));
}

TEST_F(DrawTargetTest, MakesTheWholeOfItTheViewport) {
  const ContextLock lock(&context_);
  const DrawTarget target(&context_, 640, 360);
  EXPECT_THAT(context_.viewports, ElementsAre(ElementsAre(0u, 0u, 640u, 360u)));
}

// No float has these numbers: the nearest to the second does not fit into an unsigned number.
TEST_F(DrawTargetTest, TheWholeOfItIsTheViewportAgainToThePixel) {
  const ContextLock lock(&context_);
  SetWholeViewport(&context_);
  EXPECT_THAT(context_.viewports, IsEmpty());
  const DrawTarget target(&context_, 16777217, 4294967295);
  context_.viewports.clear();
  SetWholeViewport(&context_);
  EXPECT_THAT(context_.viewports, ElementsAre(ElementsAre(0u, 0u, 16777217u, 4294967295u)));
}

TEST_F(DrawTargetTest, IsUnknownToOtherThreads) {
  const ContextLock lock(&context_);
  const DrawTarget target(&context_, 640, 360);
  std::vector<float> told;
  std::thread([&] { told = Size(); }).join();
  EXPECT_THAT(told, ElementsAre(0, 0));
}

TEST_F(DrawTargetTest, OfNoContextItDoesNothing) {
  const DrawTarget target(nullptr, 640, 360);
  EXPECT_EQ(DrawTargetSize(nullptr).x, 0.0f);
  SetWholeViewport(nullptr);
  ReportNoDrawTarget(nullptr);
}

TEST_F(DrawTargetTest, ThatThereIsNoneIsReportedOnce) {
  const LogCapture log;
  ReportNoDrawTarget(&context_);
  ReportNoDrawTarget(&context_);
  const auto lines = log.Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, Logger::Level::Error);
  EXPECT_EQ(lines[0].text,
            "DrawRect without a target size does nothing: nothing is being drawn into on this thread; call it inside a "
            "Draw");
}

}  // namespace
