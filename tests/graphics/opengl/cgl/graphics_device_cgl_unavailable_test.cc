// A device on a machine without a usable OpenGL: it exists, says why it draws nothing, and draws nothing. ctest runs
// this program once for each reason, with the environment that makes it and the message that it makes.
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include <quarn/glsl_src.h>

#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_filter.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_output.h"
#include "graphics/graphics_scene.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_filter_gl.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;

class UnavailableDeviceTest : public GlTest {
 protected:
  void SetUp() override {
    const char* const expected = std::getenv("QUARN_TEST_EXPECTED_ERROR");
    ASSERT_NE(expected, nullptr) << "run this test through ctest, which sets its environment";
    EXPECT_TRUE(unavailable_.Init());
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E: ") + expected));
    ASSERT_NE(unavailable_.gs_context(), nullptr);
  }
  GraphicsContextCGL* unavailable_context() { return static_cast<GraphicsContextCGL*>(unavailable_.gs_context()); }

  GraphicsDeviceCGL unavailable_;
};

TEST_F(UnavailableDeviceTest, InitSucceedsAndSaysWhatIsMissing) {
  EXPECT_FALSE(unavailable_context()->available());
  EXPECT_EQ(unavailable_context()->BindContext(), GraphicsContextGL::kBindFailed);
  unavailable_context()->UnbindContext();
}

TEST_F(UnavailableDeviceTest, FactoriesAnswerNullSilently) {
  EXPECT_EQ(unavailable_.CreateView(InternalWindowInfo{}, 4, 4), nullptr);
  EXPECT_EQ(unavailable_.CreateScene(4, 4), nullptr);
  EXPECT_EQ(unavailable_.CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4)), nullptr);
  EXPECT_EQ(unavailable_.CreateTexture(static_cast<void*>(nullptr)), nullptr);
  EXPECT_EQ(unavailable_.CreateConstantBuffer(16, nullptr), nullptr);
  EXPECT_EQ(unavailable_.CreateOutput(nullptr, 4, 4), nullptr);
  EXPECT_FALSE(unavailable_.AddShader("name", glsl_src[1], glsl_src[2]));
}

TEST_F(UnavailableDeviceTest, FilterIsRefusedByItsOwnInit) {
  EXPECT_EQ(unavailable_.CreateFilter(4, 4), nullptr);
  // A size is judged first: the context exists.
  EXPECT_EQ(unavailable_.CreateFilter(0, 4), nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: A filter of 0x4 cannot be made: a side is zero"));
}

TEST_F(UnavailableDeviceTest, FramesPassWithItsTicksAndWithoutDrawing) {
  class Tick : public GraphicsItem::TickCallback {
   public:
    void OnTick() override { ++ticks; }
    int ticks = 0;
  } tick;
  GraphicsItem item(unavailable_context());
  item.Attach(&tick);
  EXPECT_EQ(unavailable_.TickSource(1000, 0), 1000u);
  EXPECT_EQ(tick.ticks, 1);
  unavailable_.HandleFilter();
  unavailable_.OutputFrame(1, 1);
  unavailable_.DrawDisplay();
  item.Detach();
  EXPECT_EQ(gl_spy::Draws(), 0);
}

TEST_F(UnavailableDeviceTest, TasksAreDropped) {
  bool called = false;
  const auto task = [](void* flag) { *static_cast<bool*>(flag) = true; };
  unavailable_.QueueTask(task, &called);
  unavailable_.DoTask();
  EXPECT_FALSE(called);
}

TEST_F(UnavailableDeviceTest, RendersItsFramesAndStops) {
  EXPECT_TRUE(unavailable_.Start());
  unavailable_.Stop();
}

TEST_F(UnavailableDeviceTest, EachDeviceSaysItAnew) {
  GraphicsDeviceCGL another;
  EXPECT_TRUE(another.Init());
  EXPECT_THAT(TakeLog(), ElementsAre(std::string("E: ") + std::getenv("QUARN_TEST_EXPECTED_ERROR")));
}

}  // namespace
