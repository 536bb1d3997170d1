// Drawing operations, forwarded to the engine's context.
#include <quarn/gs_context.h>

#include <memory>

#include "graphics/context_lock.h"
#include "graphics/draw_target.h"
#include "graphics/internal_types.h"
#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Records what reaches the engine.
class RecordingContext : public GraphicsContextImpl {
 public:
  bool BindShader(const char* name) override {
    fake::Record(std::string("BindShader ") + name);
    return true;
  }
  void UnbindShader() override { fake::Record("UnbindShader"); }
  void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) override {
    fake::Record("SetViewPort " + std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(width) + " " +
                 std::to_string(height));
  }
  void DrawRect(const internal_transform& transform, const internal_vec2& target_size) override {
    fake::Record("DrawRect");
    last_transform = transform;
    last_target_size = target_size;
  }
  void DrawVertexArray(GraphicsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                       unsigned int index_count, const internal_transform& transform,
                       const internal_vec2& target_size) override {
    fake::Record("DrawVertexArray " + std::to_string(vertex_count) + " " + std::to_string(index_count));
    last_vertices = vertices;
    last_indices = indices;
    last_transform = transform;
    last_target_size = target_size;
  }

  internal_transform last_transform{internal_vec2(0, 0)};
  internal_vec2 last_target_size{0, 0};
  GraphicsVertex* last_vertices = nullptr;
  unsigned int* last_indices = nullptr;
};

class GsContextTest : public FacadeWithDeviceTest {
 protected:
  GsContextTest() {
    auto context = std::make_unique<RecordingContext>();
    recorded_ = context.get();
    engine()->context = std::move(context);
  }

  void ExpectPlacement() {
    EXPECT_EQ(recorded_->last_transform.pos.x, 1.0f);
    EXPECT_EQ(recorded_->last_transform.pos.y, 2.0f);
    EXPECT_EQ(recorded_->last_transform.size.x, 3.0f);
    EXPECT_EQ(recorded_->last_transform.size.y, 4.0f);
    EXPECT_EQ(recorded_->last_transform.rotation, 5.0f);
    EXPECT_EQ(recorded_->last_target_size.x, 640.0f);
    EXPECT_EQ(recorded_->last_target_size.y, 480.0f);
  }

  RecordingContext* recorded_ = nullptr;
  const gs_transform transform_{gs_vec2(1, 2), gs_vec2(3, 4), 5.0f};
  const gs_vec2 target_size_{640, 480};
};

TEST_F(GsContextTest, ForwardsToTheEngine) {
  GsContext context(device());
  EXPECT_TRUE(context.BindShader("rgba"));
  context.SetViewport(1, 2, 3, 4);
  context.DrawRect(transform_, target_size_);
  ExpectPlacement();
  context.UnbindShader();
  EXPECT_THAT(fake::Calls(), ElementsAre("BindShader rgba", "SetViewPort 1 2 3 4", "DrawRect", "UnbindShader"));
}

TEST_F(GsContextTest, KnowsWhatIsBeingDrawnInto) {
  GsContext context(device());
  const ContextLock lock(recorded_);
  {
    const DrawTarget target(recorded_, 640, 480);
    EXPECT_EQ(context.target_size().x, 640.0f);
    EXPECT_EQ(context.target_size().y, 480.0f);
    EXPECT_EQ(GsContextDefault::target_size().x, 640.0f);
    context.DrawRect(transform_);
    ExpectPlacement();
    recorded_->last_target_size = internal_vec2(0, 0);
    GsContextDefault::DrawRect(transform_);
    ExpectPlacement();
  }
  EXPECT_EQ(context.target_size().x, 0.0f);
  EXPECT_EQ(context.target_size().y, 0.0f);
  EXPECT_THAT(fake::Calls(), ElementsAre("SetViewPort 0 0 640 480", "DrawRect", "DrawRect"));
}

TEST_F(GsContextTest, OutsideOfADrawARectangleWithoutATargetSizeIsRefused) {
  log_.Clear();
  GsContext(device()).DrawRect(transform_);
  GsContextDefault::DrawRect(transform_);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), ElementsAre(testing::StartsWith("DrawRect without a target size does nothing")));
}

TEST_F(GsContextTest, PassesVerticesUnchanged) {
  GsVertex vertices[3] = {};
  unsigned int indices[6] = {};
  GsContext(device()).DrawVertexArray(vertices, 3, indices, 6, transform_, target_size_);
  EXPECT_THAT(fake::Calls(), ElementsAre("DrawVertexArray 3 6"));
  EXPECT_EQ(static_cast<void*>(recorded_->last_vertices), static_cast<void*>(vertices));
  EXPECT_EQ(recorded_->last_indices, indices);
  ExpectPlacement();
}

TEST_F(GsContextTest, RefusesANullName) {
  EXPECT_FALSE(GsContext(device()).BindShader(nullptr));
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsContextTest, NullMeansNoDeviceEvenWithADefaultOne) {
  GsContext context(nullptr);
  EXPECT_FALSE(context.BindShader("rgba"));
  context.UnbindShader();
  context.SetViewport(0, 0, 1, 1);
  context.DrawRect(transform_, target_size_);
  context.DrawRect(transform_);
  EXPECT_EQ(context.target_size().x, 0.0f);
  context.DrawVertexArray(nullptr, 0, nullptr, 0, transform_, target_size_);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsContextTest, DoesNothingOnADeviceWithoutAnEngine) {
  GsDevice empty;
  GsContext context(&empty);
  EXPECT_FALSE(context.BindShader("rgba"));
  context.DrawRect(transform_, target_size_);
  context.DrawRect(transform_);
  EXPECT_EQ(context.target_size().x, 0.0f);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsContextTest, DoesNothingOnAnEngineWithoutAContext) {
  engine()->context.reset();
  GsContext context(device());
  EXPECT_FALSE(context.BindShader("rgba"));
  context.UnbindShader();
  context.SetViewport(0, 0, 1, 1);
  context.DrawRect(transform_, target_size_);
  context.DrawVertexArray(nullptr, 0, nullptr, 0, transform_, target_size_);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsContextTest, DefaultOperationsReachTheDefaultDevice) {
  EXPECT_TRUE(GsContextDefault::BindShader("to_bgra"));
  GsContextDefault::SetViewport(5, 6, 7, 8);
  GsContextDefault::DrawRect(transform_, target_size_);
  ExpectPlacement();
  GsContextDefault::DrawVertexArray(nullptr, 0, nullptr, 0, transform_, target_size_);
  GsContextDefault::UnbindShader();
  EXPECT_THAT(fake::Calls(), ElementsAre("BindShader to_bgra", "SetViewPort 5 6 7 8", "DrawRect", "DrawVertexArray 0 0",
                                         "UnbindShader"));
}

TEST_F(GsContextTest, EveryDrawVertexArrayOfTheBaseWarns) {
  engine()->context = std::make_unique<GraphicsContextImpl>();
  log_.Clear();
  GsContext context(device());
  context.DrawVertexArray(nullptr, 0, nullptr, 0, transform_, target_size_);
  context.DrawVertexArray(nullptr, 0, nullptr, 0, transform_, target_size_);
  EXPECT_THAT(warnings(), ElementsAre("DrawVertexArray is unimplemented", "DrawVertexArray is unimplemented"));
}

TEST_F(GsContextTest, OperationsOfTheBaseWarn) {
  engine()->context = std::make_unique<GraphicsContextImpl>();
  log_.Clear();
  GsContext context(device());
  EXPECT_FALSE(context.BindShader("rgba"));
  context.UnbindShader();
  context.SetViewport(0, 0, 1, 1);
  context.DrawRect(transform_, target_size_);
  EXPECT_THAT(warnings(), ElementsAre("BindShader is unimplemented", "UnbindShader is unimplemented",
                                      "SetViewPort is unimplemented", "DrawRect is unimplemented"));
}

class GsContextDefaultTest : public FacadeTest {};

TEST_F(GsContextDefaultTest, DoesNothingWithoutADefaultDevice) {
  const gs_transform transform(gs_vec2(), gs_vec2(1, 1));
  EXPECT_FALSE(GsContextDefault::BindShader("rgba"));
  GsContextDefault::UnbindShader();
  GsContextDefault::SetViewport(0, 0, 1, 1);
  GsContextDefault::DrawRect(transform, gs_vec2(1, 1));
  GsContextDefault::DrawRect(transform);
  EXPECT_EQ(GsContextDefault::target_size().x, 0.0f);
  GsContextDefault::DrawVertexArray(nullptr, 0, nullptr, 0, transform, gs_vec2(1, 1));
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(warnings(), IsEmpty());
}

}  // namespace
