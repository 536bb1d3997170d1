// What an item that shows a picture asks of the engine.
#include <quarn/gs_picture_item.h>

#include <memory>
#include <new>
#include <string>

#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "graphics/context_lock.h"
#include "graphics/draw_target.h"
#include "graphics/graphics_context_impl.h"
#include "tests/graphics/public/facade_test.h"
#include "tests/support/allocation_counter.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using PictureItem = RefCounted<GsPictureItem>;

constexpr unsigned char kPixel[] = {1, 2, 3, 4};

// Records what is drawn with; there are the programs "rgba" and "own".
class DrawingContext : public GraphicsContextImpl {
 public:
  bool BindShader(const char* name) override {
    if (recording) fake::Record(std::string("BindShader ") + name);
    if (!has_memory) throw std::bad_alloc();
    return added || std::string(name) == "rgba" || std::string(name) == "own";
  }
  void UnbindShader() override { Note("UnbindShader"); }
  void SetViewPort(unsigned int, unsigned int, unsigned int, unsigned int) override { Note("SetViewPort"); }
  void DrawRect(const internal_transform&, const internal_vec2&) override { Note("DrawRect"); }
  void Note(const char* call) const {
    if (recording) fake::Record(call);
  }
  bool recording = true;
  bool has_memory = true;
  bool added = false;
};

class GsPictureItemTest : public FacadeWithDeviceTest {
 protected:
  GsPictureItemTest() {
    auto context = std::make_unique<DrawingContext>();
    context_ = context.get();
    engine()->context = std::move(context);
  }

  void Draw(GsPictureItem* item) {
    const ContextLock lock(context_);
    const DrawTarget target(context_, 64, 36);
    fake::ClearCalls();
    item->Draw();
  }

  DrawingContext* context_ = nullptr;
};

TEST_F(GsPictureItemTest, APlainPictureIsDrawnWithOneRectangleOfRgba) {
  const auto item = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  Draw(item);
  EXPECT_THAT(fake::Calls(), ElementsAre("SetViewPort", "BindShader rgba", "texture.BindShaderResource 0", "DrawRect",
                                         "UnbindShader", "texture.ReleaseShaderResource"));
}

TEST_F(GsPictureItemTest, AProgramOfTheHostsHasConstantsAndAPlainPictureNone) {
  const auto item = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  item->SetShader("own");
  Draw(item);
  EXPECT_THAT(fake::Calls(), Contains("BindShader own"));
  EXPECT_THAT(fake::Calls(), Contains("buffer.Bind 0"));
  EXPECT_THAT(fake::Calls(), Contains("buffer.Unbind"));
  Draw(item);
  EXPECT_THAT(fake::Calls(), Not(Contains("buffer.Update 32"))) << "nothing has changed";
  item->SetOpacity(0.5f);
  Draw(item);
  EXPECT_THAT(fake::Calls(), Contains("buffer.Update 32"));
  item->SetOpacity(1.0f);
  item->SetShader("rgba");
  Draw(item);
  EXPECT_THAT(fake::Calls(), Not(Contains("buffer.Bind 0")));
}

TEST_F(GsPictureItemTest, SteadyFramesTakeNothingFromTheHeap) {
  const auto item = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  fake::options().binds = false;
  context_->recording = false;
  Draw(item);
  const ContextLock lock(context_);
  const DrawTarget target(context_, 64, 36);
  const AllocationCounter counter;
  for (int frame = 0; frame < 10; ++frame) {
    item->TickSource();
    item->Draw();
  }
  EXPECT_EQ(counter.count(), 0u);
}

TEST_F(GsPictureItemTest, DrawsNothingWithoutAPicture) {
  const auto item = MakeRef<PictureItem>();
  EXPECT_EQ(item->size().x, 0.0f);
  Draw(item);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  fake::options().objects = false;
  const auto failed = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  Draw(failed);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsPictureItemTest, DrawsNothingWithoutItsConstantsAndSaysSoOnce) {
  const auto item = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  item->SetShader("own");
  fake::options().objects = false;
  for (int i = 0; i < 2; ++i) {
    Draw(item);
    EXPECT_THAT(fake::Calls(), ElementsAre("SetViewPort", "BindShader own", "texture.BindShaderResource 0",
                                           "UnbindShader", "texture.ReleaseShaderResource"));
  }
  EXPECT_THAT(errors(), ElementsAre("[GsPictureItem] nothing is drawn: its constants could not be bound"));
}

TEST_F(GsPictureItemTest, DrawsNothingWithoutMemoryAndSaysSoOnce) {
  const auto item = MakeRef<PictureItem>(kPixel, 4u, 1u, 1u);
  context_->has_memory = false;
  for (int i = 0; i < 2; ++i) {
    Draw(item);
    EXPECT_THAT(fake::Calls(), Not(Contains("DrawRect")));
  }
  EXPECT_THAT(errors(), ElementsAre("[GsPictureItem] nothing is drawn: no memory"));
}

TEST_F(GsPictureItemTest, TheTickNotesTheSceneThatIsShown) {
  const auto scene = MakeRef<RefCounted<GsScene>>(8u, 8u, nullptr);
  const auto shown = MakeRef<RefCounted<GsScene>>(8u, 8u, nullptr);
  const auto item = MakeRef<PictureItem>();
  const GsSceneHold hold(scene);
  item->ShowScene(shown);
  EXPECT_TRUE(shown->impl()->HasRef());
  scene->AddItem(item);
  item->TickSource();
  EXPECT_TRUE(context_->shown_scenes().empty()) << "not in a frame";
  {
    const ContextLock lock(context_);
    item->SetVisible(false);
    item->TickSource();
    EXPECT_TRUE(context_->shown_scenes().empty()) << "hidden";
    item->SetVisible(true);
    item->TickSource();
    EXPECT_FALSE(context_->shown_scenes().empty());
  }
  item->ShowScene(nullptr);
  EXPECT_FALSE(shown->impl()->HasRef());
  EXPECT_TRUE(context_->shown_scenes().empty()) << "out of use";
}

}  // namespace
