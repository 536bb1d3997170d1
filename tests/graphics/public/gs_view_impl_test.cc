// The fitting and the editing overlay: what is drawn, where and in which colour.
#include <quarn/gs_view.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>

#include "graphics/internal_types.h"
#include "tests/graphics/public/facade_test.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/overlay_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr float kPi = 3.14159265358979f;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

enum Color { kNoTexture, kScene, kBlue, kRed, kGreen };

// A rectangle that reached the engine.
struct Rect {
  Color color;
  float x, y, width, height, rotation;
};

bool operator==(const Rect& a, const Rect& b) {
  const auto near = [](float p, float q) { return std::fabs(p - q) <= 1e-3f * std::max(1.0f, std::fabs(q)); };
  return a.color == b.color && near(a.x, b.x) && near(a.y, b.y) && near(a.width, b.width) && near(a.height, b.height) &&
         a.rotation == b.rotation;
}

void PrintTo(const Rect& r, std::ostream* out) {
  *out << "{color " << r.color << " at (" << r.x << ", " << r.y << ") of " << r.width << " x " << r.height << " turned "
       << r.rotation << "}";
}

// Tells what is on unit 0.
Color BoundColor() {
  const FakeTexture* const texture = FakeTexture::Bound(0);
  if (!texture) return kNoTexture;
  if (!texture->frame.data[0]) return kScene;
  const unsigned char* const pixel = texture->frame.data[0];
  return pixel[0] ? kRed : pixel[1] ? kGreen : kBlue;
}

// Keeps what is drawn.
class RecordingContext : public GraphicsContextImpl {
 public:
  bool BindShader(const char* name) override {
    fake::Record(std::string("BindShader ") + name);
    return shader;
  }
  void UnbindShader() override { fake::Record("UnbindShader"); }
  void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) override {
    fake::Record("SetViewPort " + std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(width) + " " +
                 std::to_string(height));
  }
  void DrawRect(const internal_transform& transform, const internal_vec2& target_size) override {
    fake::Record("DrawRect");
    rects.push_back(
        {BoundColor(), transform.pos.x, transform.pos.y, transform.size.x, transform.size.y, transform.rotation});
    target = gs_vec2(target_size.x, target_size.y);
    if (on_rect) on_rect();
  }

  bool shader = true;
  std::vector<Rect> rects;
  gs_vec2 target;
  std::function<void()> on_rect;
};

class TestScene : public GsScene {
 public:
  TestScene(unsigned int width, unsigned int height, GsDevice* device = nullptr) : GsScene(width, height, device) {}
  void AddRef() override {}
  void Release() override { fake::Record("host Release"); }
};

class TestItem : public GsItem {
 public:
  TestItem(float x, float y, float width, float height) : GsItem(gs_vec2(width, height), nullptr) {
    MoveTo(gs_vec2(x, y));
  }
  void AddRef() override {}
  void Release() override {}
};

// Shows what a host that derives sees.
class TestView : public GsViewImpl {
 public:
  TestView(unsigned int width, unsigned int height, GsDevice* device = nullptr)
      : GsViewImpl({}, width, height, device) {}
  using GsViewImpl::DefaultDraw;
  using GsViewImpl::DrawEditingItem;
  using GsViewImpl::DrawSceneTexture;
  using GsViewImpl::ResizePreview;
};

class GsViewImplTest : public FacadeWithDeviceTest {
 protected:
  GsViewImplTest() { context_ = PutContextInto(engine()); }

  static RecordingContext* PutContextInto(FakeDevice* engine) {
    auto context = std::make_unique<RecordingContext>();
    RecordingContext* const recorded = context.get();
    engine->context = std::move(context);
    return recorded;
  }

  // What one frame draws.
  std::vector<Rect> Drawn(TestView& view) {
    context_->rects.clear();
    view.Draw();
    return context_->rects;
  }
  // What one frame draws over the scene's picture, which comes first.
  std::vector<Rect> Overlay(TestView& view) {
    std::vector<Rect> rects = Drawn(view);
    EXPECT_FALSE(rects.empty());
    if (rects.empty()) return rects;
    EXPECT_EQ(rects.front().color, kScene);
    rects.erase(rects.begin());
    return rects;
  }

  RecordingContext* context_ = nullptr;
};

// A scene of 100 x 100 at a scale of 2 in a view of 210 x 230, with an item of 40 x 20 at (10, -15).
class GsViewImplOverlayTest : public GsViewImplTest {
 protected:
  GsViewImplOverlayTest() {
    scene_.AddItem(&item_);
    view_.SetScene(&scene_);
    EXPECT_EQ(view_.scale(), 2.0f);
    fake::ClearCalls();
  }
  ~GsViewImplOverlayTest() override { view_.SetScene(nullptr); }

  TestItem item_{10, -15, 40, 20};
  TestScene scene_{100, 100};
  TestView view_{210, 230};
};

std::uint32_t Word(const unsigned char* bytes) {
  return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
         std::uint32_t{bytes[3]} << 24;
}

MATCHER_P2(IsPoint, x, y, "") { return arg.x == static_cast<float>(x) && arg.y == static_cast<float>(y); }

MATCHER_P2(IsHit, item, handle, "") { return arg.item.get() == item && static_cast<int>(arg.handle) == handle; }

void ExpectNothing(const GsHit& hit) { EXPECT_THAT(hit, IsHit(nullptr, kGsHandleNone)); }

TEST_F(GsViewImplTest, MakesABlueARedAndAGreenTexture) {
  std::vector<std::uint32_t> words;
  fake::options().on_frame = [&words](const GraphicsFrame& frame) {
    EXPECT_EQ(frame.format, kFormatRGBA);
    ASSERT_EQ(frame.width, 2u);
    ASSERT_EQ(frame.height, 2u);
    for (unsigned int y = 0; y < 2; ++y) {
      for (unsigned int x = 0; x < 2; ++x) words.push_back(Word(frame.data[0] + y * frame.linesize[0] + x * 4));
    }
  };
  const TestView view(4, 4);
  EXPECT_THAT(words, ElementsAre(0xFFFF0000, 0xFFFF0000, 0xFFFF0000, 0xFFFF0000, 0xFF0000FF, 0xFF0000FF, 0xFF0000FF,
                                 0xFF0000FF, 0xFF00FF00, 0xFF00FF00, 0xFF00FF00, 0xFF00FF00));
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateView 4 4", "device.CreateTexture(frame) 2 2",
                                         "device.CreateTexture(frame) 2 2", "device.CreateTexture(frame) 2 2"));
}

TEST_F(GsViewImplTest, DeletesItsTexturesBeforeTheEngineView) {
  TestScene scene(4, 4);
  {
    TestView view(4, 4);
    view.SetScene(&scene);
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("texture.~", "texture.~", "texture.~", "view.~", "scene.ReleaseRef",
                                         "scene.Detach", "host Release"));
}

TEST_F(GsViewImplTest, LeavesTheRegistryFirstWhenDestroyedAttached) {
  {
    TestView view(4, 4);
    view.Attch();
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("view.Detach", "texture.~", "texture.~", "texture.~", "view.~"));
  EXPECT_THAT(errors(), ElementsAre("[GsView] destroyed while attached: call Detach first"));
}

TEST_F(GsViewImplTest, StartsWithoutScaleAndOffset) {
  const TestView view(100, 100);
  EXPECT_EQ(view.scale(), 0.0f);
  EXPECT_EQ(view.offset().x, 0.0f);
  EXPECT_EQ(view.offset().y, 0.0f);
}

struct Fit {
  unsigned int view_width, view_height, scene_width, scene_height;
  float scale, drawn_width, drawn_height;
};

void PrintTo(const Fit& fit, std::ostream* out) {
  *out << fit.scene_width << " x " << fit.scene_height << " in " << fit.view_width << " x " << fit.view_height;
}

class GsViewImplFitTest : public GsViewImplTest, public testing::WithParamInterface<Fit> {};

TEST_P(GsViewImplFitTest, FitsTheSceneWithAMargin) {
  const Fit& fit = GetParam();
  TestView view(fit.view_width, fit.view_height);
  TestScene scene(fit.scene_width, fit.scene_height);
  view.SetScene(&scene);
  EXPECT_FLOAT_EQ(view.scale(), fit.scale);
  EXPECT_EQ(view.offset().x, -0.5f * static_cast<float>(fit.view_width));
  EXPECT_EQ(view.offset().y, -0.5f * static_cast<float>(fit.view_height));
  EXPECT_THAT(Drawn(view), ElementsAre(Rect{kScene, 0, 0, fit.drawn_width, fit.drawn_height, 0}));
  EXPECT_EQ(context_->target.x, static_cast<float>(fit.view_width));
  EXPECT_EQ(context_->target.y, static_cast<float>(fit.view_height));
  view.SetScene(nullptr);
}

constexpr float kAllOnes = 4294967296.0f;  // The largest unsigned number, as a float.

INSTANTIATE_TEST_SUITE_P(Sizes, GsViewImplFitTest,
                         testing::Values(Fit{1000, 1000, 1920, 1080, 0.515625f, 990, 557},  // Limited by the width.
                                         Fit{1000, 1000, 1080, 1920, 0.515625f, 557, 990},  // Limited by the height.
                                         Fit{960, 540, 1920, 1080, 950.0f / 1920.0f, 950,
                                             534},  // Equal ratios: by the width.
                                         Fit{50, 50, 40, 40, 1, 40, 40}, Fit{410, 500, 40, 40, 10, 400, 400},
                                         Fit{20, 20, 20, 5, 0.5f, 10, 3},     // 2.5 goes away from zero.
                                         Fit{20, 20, 5, 20, 0.5f, 3, 10},     //
                                         Fit{10, 100, 100, 100, 0, 0, 0},     // The margin is all there is.
                                         Fit{11, 100, 100, 50, 0.01f, 1, 1},  // 0.5 goes away from zero, too.
                                         // Less than the margin in the limiting direction: the difference is unsigned.
                                         // What is then too large for an unsigned number is clamped.
                                         Fit{9, 100, 100, 50, kAllOnes / 100, kAllOnes, kAllOnes / 2},
                                         Fit{9, 100, 6, 100, 0.9f, 5, 90},  // Not in the limiting direction.
                                         Fit{1, 1, 1, 1, kAllOnes, kAllOnes, kAllOnes},
                                         Fit{100, 4, 50, 100, kAllOnes / 100, kAllOnes / 2, kAllOnes}));

TEST_F(GsViewImplTest, ResizeFitsAtOnce) {
  TestView view(1000, 1000);
  TestScene scene(100, 100);
  view.SetScene(&scene);
  view.Resize(60, 80);
  EXPECT_EQ(fake::Count("view.Resize 60 80"), 1);
  EXPECT_EQ(view.scale(), 0.5f);
  EXPECT_EQ(view.offset().x, -30.0f);
  EXPECT_EQ(view.offset().y, -40.0f);
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, WithoutASceneScaleAndOffsetAreZero) {
  TestView view(1000, 1000);
  TestScene scene(100, 100);
  view.SetScene(&scene);
  ASSERT_NE(view.offset().x, 0.0f);
  view.SetScene(nullptr);
  EXPECT_EQ(view.scale(), 0.0f);
  EXPECT_EQ(view.offset().x, 0.0f);
  EXPECT_EQ(view.offset().y, 0.0f);
}

TEST_F(GsViewImplTest, AZeroSizeLeavesTheOffset) {
  TestView view(1000, 500);
  TestScene scene(100, 100);
  view.SetScene(&scene);
  for (const auto& [width, height] : {std::pair(0u, 500u), std::pair(1000u, 0u)}) {
    view.Resize(width, height);
    EXPECT_EQ(view.scale(), 0.0f);
    EXPECT_EQ(view.offset().x, -500.0f);
    EXPECT_EQ(view.offset().y, -250.0f);
    EXPECT_THAT(Drawn(view), IsEmpty());
    view.Resize(1000, 500);
    EXPECT_EQ(view.scale(), 4.9f);
  }
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, AnInertSceneHasNoScale) {
  TestView view(1000, 500);
  TestScene scene(100, 0);
  view.SetScene(&scene);
  EXPECT_EQ(view.scale(), 0.0f);
  EXPECT_THAT(Drawn(view), IsEmpty());
  view.DrawSceneTexture(10, 10);
  EXPECT_THAT(context_->rects, IsEmpty());
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, TheNewSceneIsFittedBeforeTheOldOneIsLetGo) {
  TestView view(1000, 1000);
  TestScene first(100, 100);
  TestScene second(10, 10);
  view.SetScene(&first);
  std::vector<float> scales;
  fake::options().on_call = [&](const std::string& call) {
    if (call == "scene.AddRef" || call == "scene.ReleaseRef") scales.push_back(view.scale());
  };
  view.SetScene(&second);
  EXPECT_THAT(scales, ElementsAre(9.9f, 99.0f));
  fake::options().on_call = nullptr;
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, AHostMayFitAgain) {
  TestView view(1000, 1000);
  TestScene scene(100, 100);
  view.SetScene(&scene);
  view.impl()->Resize(110, 110);
  EXPECT_EQ(view.scale(), 9.9f);
  view.ResizePreview();
  EXPECT_EQ(view.scale(), 1.0f);
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, DrawsNothingWithoutAScene) {
  TestView view(100, 100);
  view.SetClampX(0);
  fake::ClearCalls();
  view.Draw();
  view.DrawSceneTexture(10, 10);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsViewImplOverlayTest, DrawsTheSceneAndThenLooksForGuides) {
  view_.Draw();
  EXPECT_THAT(fake::Calls(), ElementsAre("SetViewPort 0 0 210 230", "BindShader rgba", "texture.BindShaderResource 0",
                                         "DrawRect", "UnbindShader", "texture.ReleaseShaderResource",  //
                                         "SetViewPort 0 0 210 230", "BindShader rgba", "texture.BindShaderResource 0",
                                         "texture.ReleaseShaderResource", "UnbindShader"));
  EXPECT_THAT(context_->rects, ElementsAre(Rect{kScene, 0, 0, 200, 200, 0}));
}

TEST_F(GsViewImplOverlayTest, IsDrawnByTheDeviceWhileAttached) {
  view_.Attch();
  device()->DrawDisplay();
  EXPECT_THAT(context_->rects, SizeIs(1));
  view_.Detach();
}

TEST_F(GsViewImplOverlayTest, AHoveredItemGetsABlueFrameWithoutHandles) {
  item_.SetHovered(true);
  // Left, top, right, bottom.
  EXPECT_THAT(Overlay(view_), ElementsAre(Rect{kBlue, -20, -30, 2, 42, 0}, Rect{kBlue, 20, -50, 82, 2, 0},
                                          Rect{kBlue, 60, -30, 2, 42, 0}, Rect{kBlue, 20, -10, 82, 2, 0}));
  EXPECT_EQ(context_->target.x, 210.0f);
  EXPECT_EQ(context_->target.y, 230.0f);
}

TEST_F(GsViewImplOverlayTest, ASelectedItemGetsARedFrameWithEightHandles) {
  for (const bool hovered : {false, true}) {
    item_.SetHovered(hovered);
    item_.SetSelected(true);
    EXPECT_THAT(Overlay(view_), ElementsAre(Rect{kRed, -20, -30, 2, 42, 0}, Rect{kRed, 20, -50, 82, 2, 0},
                                            Rect{kRed, 60, -30, 2, 42, 0}, Rect{kRed, 20, -10, 82, 2, 0},
                                            // The corners: top left, top right, bottom left, bottom right.
                                            Rect{kRed, -20, -50, 8, 8, 0}, Rect{kRed, 60, -50, 8, 8, 0},
                                            Rect{kRed, -20, -10, 8, 8, 0}, Rect{kRed, 60, -10, 8, 8, 0},
                                            // The middles: left, top, right, bottom.
                                            Rect{kRed, -20, -30, 8, 8, 0}, Rect{kRed, 20, -50, 8, 8, 0},
                                            Rect{kRed, 60, -30, 8, 8, 0}, Rect{kRed, 20, -10, 8, 8, 0}));
  }
}

TEST_F(GsViewImplOverlayTest, AnItemNeitherHoveredNorSelectedGetsNoFrame) { EXPECT_THAT(Overlay(view_), IsEmpty()); }

TEST_F(GsViewImplOverlayTest, AnInvisibleItemGetsNoFrame) {
  item_.SetVisible(false);
  item_.SetSelected(true);
  item_.SetHovered(true);
  EXPECT_THAT(Overlay(view_), IsEmpty());
}

TEST_F(GsViewImplOverlayTest, AFrameSetsItsOwnViewportAndLeavesNothingBound) {
  item_.SetHovered(true);
  view_.DrawEditingItem(&item_);
  EXPECT_THAT(fake::Calls(),
              ElementsAre("SetViewPort 0 0 210 230", "BindShader rgba", "texture.BindShaderResource 0", "DrawRect",
                          "DrawRect", "DrawRect", "DrawRect", "texture.ReleaseShaderResource", "UnbindShader"));
}

TEST_F(GsViewImplOverlayTest, DrawEditingItemDoesNotAskWhetherTheItemIsVisible) {
  item_.SetVisible(false);
  view_.DrawEditingItem(&item_);
  EXPECT_THAT(context_->rects, SizeIs(4));
  EXPECT_EQ(context_->rects[0].color, kBlue);
}

TEST_F(GsViewImplOverlayTest, DrawEditingItemIgnoresNull) {
  view_.DrawEditingItem(nullptr);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsViewImplOverlayTest, FramesTurnWithTheirItems) {
  item_.SetSelected(true);
  item_.SetRotation(kPi / 2);
  // A quarter clockwise: what was on top is now on the right.
  constexpr float r = kPi / 2;
  EXPECT_THAT(Overlay(view_),
              ElementsAre(Rect{kRed, 20, -70, 2, 42, r}, Rect{kRed, 40, -30, 82, 2, r}, Rect{kRed, 20, 10, 2, 42, r},
                          Rect{kRed, 0, -30, 82, 2, r}, Rect{kRed, 40, -70, 8, 8, r}, Rect{kRed, 40, 10, 8, 8, r},
                          Rect{kRed, 0, -70, 8, 8, r}, Rect{kRed, 0, 10, 8, 8, r}, Rect{kRed, 20, -70, 8, 8, r},
                          Rect{kRed, 40, -30, 8, 8, r}, Rect{kRed, 20, 10, 8, 8, r}, Rect{kRed, 0, -30, 8, 8, r}));
}

TEST_F(GsViewImplOverlayTest, CornersStayWhereTheyAreBelowTheThreshold) {
  // So large that a turn of that little would show.
  TestItem wide(0, 0, 4e6f, 0);
  scene_.AddItem(&wide);
  wide.SetHovered(true);
  for (const float rotation : {5e-7f, -5e-7f}) {
    wide.SetRotation(rotation);
    EXPECT_THAT(Overlay(view_),
                ElementsAre(Rect{kBlue, -4e6f, 0, 2, 2, rotation}, Rect{kBlue, 0, 0, 8e6f, 2, rotation},
                            Rect{kBlue, 4e6f, 0, 2, 2, rotation}, Rect{kBlue, 0, 0, 8e6f, 2, rotation}));
  }
  for (const float rotation : {2e-6f, -2e-6f}) {
    wide.SetRotation(rotation);
    const float y = 4e6f * rotation;
    EXPECT_THAT(Overlay(view_),
                ElementsAre(Rect{kBlue, -4e6f, -y, 2, 2, rotation}, Rect{kBlue, 0, 0, 8e6f, 2, rotation},
                            Rect{kBlue, 4e6f, y, 2, 2, rotation}, Rect{kBlue, 0, 0, 8e6f, 2, rotation}));
  }
  scene_.RemoveItem(&wide);
}

TEST_F(GsViewImplOverlayTest, LaterItemsLieOnTop) {
  TestItem second(0, 0, 10, 10);
  TestItem third(5, 5, 10, 10);
  scene_.AddItem(&second);
  scene_.AddItem(&third);
  item_.SetSelected(true);
  second.SetHovered(true);
  third.SetSelected(true);
  const std::vector<Rect> rects = Overlay(view_);
  ASSERT_THAT(rects, SizeIs(12 + 4 + 12));
  EXPECT_EQ(rects[0], (Rect{kRed, -20, -30, 2, 42, 0}));
  EXPECT_EQ(rects[12], (Rect{kBlue, -10, 0, 2, 22, 0}));
  EXPECT_EQ(rects[16], (Rect{kRed, 0, 10, 2, 22, 0}));
  scene_.RemoveItem(&second);
  scene_.RemoveItem(&third);
}

TEST_F(GsViewImplOverlayTest, FramesAreFoundBehindItemsWithoutOne) {
  TestItem plain(0, 0, 10, 10);
  TestItem hovered(0, 0, 10, 10);
  scene_.AddItem(&plain);
  scene_.AddItem(&hovered);
  item_.SetVisible(false);
  hovered.SetHovered(true);
  const std::vector<Rect> rects = Overlay(view_);
  ASSERT_THAT(rects, SizeIs(4));
  EXPECT_EQ(rects[0], (Rect{kBlue, -10, 0, 2, 22, 0}));
  scene_.RemoveItem(&plain);
  scene_.RemoveItem(&hovered);
}

TEST_F(GsViewImplOverlayTest, GuidesAreDrawnUntilTheyAreTakenAway) {
  EXPECT_THAT(Overlay(view_), IsEmpty());
  view_.SetClampX(0);
  EXPECT_THAT(Overlay(view_), ElementsAre(Rect{kGreen, 0, 0, 2, 230, 0}));
  view_.SetClampX(-40.5f);
  view_.SetClampY(77);
  EXPECT_THAT(Overlay(view_), ElementsAre(Rect{kGreen, -40.5f, 0, 2, 230, 0}, Rect{kGreen, 0, 77, 210, 2, 0}));
  view_.SetClampX(kNaN);
  EXPECT_THAT(Overlay(view_), ElementsAre(Rect{kGreen, 0, 77, 210, 2, 0}));
  view_.SetClampY(-kNaN);
  EXPECT_THAT(Overlay(view_), IsEmpty());
}

TEST_F(GsViewImplOverlayTest, GuidesLieOnTopOfFrames) {
  item_.SetHovered(true);
  view_.SetClampY(3);
  const std::vector<Rect> rects = Overlay(view_);
  ASSERT_THAT(rects, SizeIs(5));
  EXPECT_EQ(rects.back(), (Rect{kGreen, 0, 3, 210, 2, 0}));
}

TEST_F(GsViewImplOverlayTest, WithoutTheProgramNothingIsDrawn) {
  context_->shader = false;
  item_.SetSelected(true);
  view_.SetClampX(0);
  view_.Draw();
  EXPECT_THAT(fake::Calls(), ElementsAre("SetViewPort 0 0 210 230", "BindShader rgba",    // The scene.
                                         "SetViewPort 0 0 210 230", "BindShader rgba",    // The frame.
                                         "SetViewPort 0 0 210 230", "BindShader rgba"));  // The guides.
}

TEST_F(GsViewImplTest, WithoutTheScenesTextureTheOverlayIsDrawn) {
  TestItem item(0, 0, 10, 10);
  fake::options().scene_texture = false;
  TestScene scene(100, 100);
  TestView view(210, 210);
  item.SetHovered(true);
  scene.AddItem(&item);
  view.SetScene(&scene);
  view.SetClampX(1);
  const std::vector<Rect> rects = Drawn(view);
  ASSERT_THAT(rects, SizeIs(5));
  EXPECT_EQ(rects[0].color, kBlue);
  EXPECT_EQ(rects[4].color, kGreen);
  EXPECT_THAT(errors(), IsEmpty());
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, WithoutItsTexturesOnlyTheSceneIsDrawn) {
  TestItem hovered(0, 0, 10, 10);
  TestItem selected(0, 0, 10, 10);
  TestScene scene(100, 100);
  fake::options().on_frame = [](const GraphicsFrame&) { fake::options().objects = false; };
  TestView view(210, 210);
  fake::options().objects = true;
  hovered.SetHovered(true);
  selected.SetSelected(true);
  scene.AddItem(&hovered);
  scene.AddItem(&selected);
  view.SetScene(&scene);
  view.SetClampX(1);
  EXPECT_THAT(Drawn(view), ElementsAre(Rect{kScene, 0, 0, 200, 200, 0}));
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, ASceneOfAnotherDeviceIsNotShown) {
  TestItem item(0, 0, 10, 10);
  GsDevice other;
  ASSERT_TRUE(other.Init());
  TestScene scene(100, 100, &other);
  TestView view(210, 210);
  item.SetHovered(true);
  scene.AddItem(&item);
  view.SetScene(&scene);
  EXPECT_EQ(view.scale(), 2.0f);
  const std::vector<Rect> rects = Drawn(view);
  ASSERT_THAT(rects, SizeIs(4));
  EXPECT_EQ(rects[0].color, kBlue);
  view.SetScene(nullptr);
}

// Part of the interface: the default device's context, not that of the view's own device.
TEST_F(GsViewImplTest, DrawsWithTheDefaultDevicesContext) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  RecordingContext* const own = PutContextInto(static_cast<FakeDevice*>(other.impl()));
  TestScene scene(100, 100, &other);
  TestView view(210, 210, &other);
  view.SetScene(&scene);
  view.SetClampX(0);
  EXPECT_THAT(Drawn(view), SizeIs(2));
  EXPECT_THAT(own->rects, IsEmpty());
  GsDevice::DestroyDefaultDevice();
  fake::ClearCalls();
  view.Draw();
  EXPECT_THAT(own->rects, IsEmpty());
  EXPECT_THAT(fake::Calls(), IsEmpty());
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, DrawsNothingWhenTheDefaultDeviceHasNoContext) {
  fake::options().context = false;
  MakeDevice();
  TestScene scene(100, 100);
  TestView view(210, 210);
  view.SetScene(&scene);
  fake::ClearCalls();
  view.Draw();
  EXPECT_THAT(fake::Calls(), IsEmpty());
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  TestScene scene(100, 100);
  TestItem item(0, 0, 1, 1);
  item.SetSelected(true);
  scene.AddItem(&item);
  {
    TestView view(100, 100);
    view.SetScene(&scene);
    view.Resize(50, 50);
    view.SetClampX(1);
    view.SetClampY(1);
    view.Attch();
    view.Draw();
    view.DrawSceneTexture(10, 10);
    view.DrawEditingItem(&item);
    EXPECT_EQ(view.scale(), 0.0f);
    EXPECT_EQ(view.offset().x, 0.0f);
    EXPECT_EQ(view.width(), 0u);
    ExpectNothing(view.HitTest(gs_vec2(50, 50)));
    view.Detach();
  }
  scene.RemoveItem(&item);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsViewImplTest, IsInertWhenTheEngineMakesNothing) {
  TestScene scene(100, 100);
  fake::options().objects = false;
  TestView view(100, 100);
  view.SetScene(&scene);
  EXPECT_EQ(view.scale(), 0.0f);
  TestItem item(0, 0, 1, 1);
  fake::ClearCalls();
  view.Draw();
  view.DrawSceneTexture(1, 1);
  view.DrawEditingItem(&item);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  view.SetScene(nullptr);
}

TEST_F(GsViewImplTest, AnOverrideMayDrawMore) {
  class OwnView : public TestView {
   public:
    using TestView::TestView;
    void Draw() override {
      fake::Record("before");
      DefaultDraw();
      fake::Record("after");
    }
  };
  OwnView view(100, 100);
  view.Attch();
  fake::ClearCalls();
  device()->DrawDisplay();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.DrawDisplay", "SetViewPort 0 0 100 100", "before", "after"));
  view.Detach();
}

TEST_F(GsViewImplTest, SteadyFramesTakeNothingFromTheHeap) {
  class PlainContext : public GraphicsContextImpl {
   public:
    bool BindShader(const char*) override { return true; }
    void UnbindShader() override {}
    void SetViewPort(unsigned int, unsigned int, unsigned int, unsigned int) override {}
    void DrawRect(const internal_transform&, const internal_vec2&) override { ++rects; }
    int rects = 0;
  };
  auto owned = std::make_unique<PlainContext>();
  PlainContext* const context = owned.get();
  engine()->context = std::move(owned);
  TestItem hovered(0, 0, 10, 10);
  TestItem selected(0, 0, 10, 10);
  hovered.SetHovered(true);
  selected.SetSelected(true);
  TestScene scene(100, 100);
  scene.AddItem(&hovered);
  scene.AddItem(&selected);
  TestView view(210, 210);
  view.SetScene(&scene);
  view.SetClampX(0);
  view.SetClampY(0);
  view.Attch();
  fake::options().binds = false;
  context->DrawViews();  // The first walk over the items makes what later ones use.
  context->rects = 0;
  const AllocationCounter counter;
  for (int frame = 0; frame < 10; ++frame) context->DrawViews();
  EXPECT_EQ(counter.count(), 0u);
  EXPECT_EQ(context->rects, 10 * (1 + 4 + 12 + 2));
  view.Detach();
  view.SetScene(nullptr);
}

// Another thread cannot exchange the scene in the middle of a frame, nor of its first part alone.
TEST_F(GsViewImplOverlayTest, TheSceneIsKeptForTheWholeDraw) {
  item_.SetSelected(true);
  const std::pair<std::function<void()>, std::size_t> draws[] = {{[&] { view_.Draw(); }, 13},
                                                                 {[&] { view_.DrawSceneTexture(10, 10); }, 1}};
  for (const auto& [draw, rects] : draws) {
    std::atomic<bool> trying{false};
    std::atomic<bool> entered{false};
    std::thread intruder;
    context_->on_rect = [&] {
      if (!intruder.joinable()) {
        intruder = std::thread([&] {
          trying = true;
          view_.scene();
          entered = true;
        });
        while (!trying) std::this_thread::yield();
      }
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      EXPECT_FALSE(entered);
    };
    context_->rects.clear();
    draw();
    intruder.join();
    EXPECT_TRUE(entered);
    EXPECT_THAT(context_->rects, SizeIs(rects));
    context_->on_rect = nullptr;
  }
}

// The default device's lock, under which its own render thread draws, also for a view of another device.
TEST_F(GsViewImplTest, DrawsUnderTheDefaultContextsLock) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  TestScene scene(100, 100, &other);
  TestView view(210, 210, &other);
  view.SetScene(&scene);
  for (const std::function<void()>& draw :
       {std::function<void()>([&] { view.Draw(); }), std::function<void()>([&] { view.DrawSceneTexture(10, 10); })}) {
    std::atomic<bool> trying{false};
    std::atomic<bool> entered{false};
    std::thread intruder;
    context_->on_rect = [&] {
      intruder = std::thread([&] {
        trying = true;
        context_->Lock();
        entered = true;
        context_->Unlock();
      });
      while (!trying) std::this_thread::yield();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      EXPECT_FALSE(entered);
    };
    draw();
    intruder.join();
    context_->on_rect = nullptr;
  }
  view.SetScene(nullptr);
}

// The clamps and the reference are taken without the mutex, so they never wait for a frame.
TEST_F(GsViewImplOverlayTest, GuidesAndTheSceneDoNotWaitForADraw) {
  bool done = false;
  context_->on_rect = [&] {
    std::thread host([&] {
      view_.SetClampX(1);
      view_.SetClampY(2);
      done = view_.scene_ptr().get() == &scene_;
    });
    host.join();
  };
  view_.DrawSceneTexture(10, 10);
  EXPECT_TRUE(done);
  context_->on_rect = nullptr;
}

class GsViewImplHitTest : public GsViewImplOverlayTest {
 protected:
  // View pixels from the view's centre, as the geometry counts.
  GsHit HitAt(float x, float y) { return view_.HitTest(gs_vec2(105 + x, 115 + y)); }
};

TEST_F(GsViewImplHitTest, PointsOfViewAndSceneLeadToEachOther) {
  EXPECT_THAT(view_.ToScene(gs_vec2(105, 115)), IsPoint(0, 0));
  EXPECT_THAT(view_.ToScene(gs_vec2(0, 0)), IsPoint(-52.5f, -57.5f));
  EXPECT_THAT(view_.ToView(gs_vec2(10, -15)), IsPoint(125, 85));
  view_.Resize(317, 211);
  for (const gs_vec2& point : {gs_vec2(0, 0), gs_vec2(12.5f, 200), gs_vec2(-40, 1000)}) {
    const gs_vec2 there = view_.ToView(view_.ToScene(point));
    EXPECT_NEAR(there.x, point.x, 1e-3);
    EXPECT_NEAR(there.y, point.y, 1e-3);
  }
  view_.Resize(0, 211);  // The offset is that of before.
  EXPECT_THAT(view_.ToScene(gs_vec2(3, 4)), IsPoint(0, 0));
  EXPECT_THAT(view_.ToView(gs_vec2(3, 4)), IsPoint(0, 0));
  ExpectNothing(view_.HitTest(gs_vec2(105, 115)));
}

TEST_F(GsViewImplHitTest, AnItemIsHitInItsRectangle) {
  EXPECT_THAT(HitAt(20, -30), IsHit(&item_, kGsHandleBody));
  EXPECT_THAT(HitAt(-19, -49), IsHit(&item_, kGsHandleBody));
  ExpectNothing(HitAt(-21, -30));
  ExpectNothing(HitAt(20, -51));
  item_.SetRotation(kPi / 2);
  EXPECT_THAT(HitAt(20, -69), IsHit(&item_, kGsHandleBody));
  ExpectNothing(HitAt(-19, -49));
  item_.SetVisible(false);
  ExpectNothing(HitAt(20, -30));
}

TEST_F(GsViewImplHitTest, HandlesAreThereWhileTheItemIsSelectedAndVisible) {
  item_.SetHovered(true);
  EXPECT_THAT(HitAt(-19, -49), IsHit(&item_, kGsHandleBody));
  item_.SetSelected(true);
  const std::pair<gs_vec2, GsHandle> handles[] = {{{-20, -50}, kGsHandleTopLeft},    {{60, -50}, kGsHandleTopRight},
                                                  {{-20, -10}, kGsHandleBottomLeft}, {{60, -10}, kGsHandleBottomRight},
                                                  {{-20, -30}, kGsHandleLeft},       {{20, -50}, kGsHandleTop},
                                                  {{60, -30}, kGsHandleRight},       {{20, -10}, kGsHandleBottom}};
  for (const auto& [point, handle] : handles) {
    EXPECT_THAT(HitAt(point.x - 3.5f, point.y + 3.5f), IsHit(&item_, handle));
  }
  ExpectNothing(HitAt(-24.5f, -50));
  item_.SetVisible(false);
  ExpectNothing(HitAt(-20, -50));
}

TEST_F(GsViewImplHitTest, TheTopmostIsHitAndHandlesComeFirst) {
  TestItem over(10, -15, 40, 20);
  scene_.AddItem(&over);
  EXPECT_THAT(HitAt(-19, -49), IsHit(&over, kGsHandleBody));
  item_.SetSelected(true);
  EXPECT_THAT(HitAt(-19, -49), IsHit(&item_, kGsHandleTopLeft)) << "though the other covers it";
  EXPECT_THAT(HitAt(0, -30), IsHit(&over, kGsHandleBody));
  over.SetSelected(true);
  EXPECT_THAT(HitAt(-19, -49), IsHit(&over, kGsHandleTopLeft));
  over.SetVisible(false);
  EXPECT_THAT(HitAt(-19, -49), IsHit(&item_, kGsHandleTopLeft));
  EXPECT_THAT(HitAt(0, -30), IsHit(&item_, kGsHandleBody));
  scene_.RemoveItem(&over);
}

TEST_F(GsViewImplHitTest, WhatIsNoNumberIsNowhere) {
  item_.SetSelected(true);
  for (const float odd : {kNaN, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max()}) {
    ExpectNothing(HitAt(odd, 0));
    ExpectNothing(HitAt(0, -odd));
    view_.ToScene(gs_vec2(odd, odd));
    view_.ToView(gs_vec2(odd, odd));
  }
  item_.SetRotation(kNaN);
  ExpectNothing(HitAt(20, -30));
}

// The answer holds the item, and nothing else is held.
TEST_F(GsViewImplHitTest, TheAnswerHasAReferenceOnTheItem) {
  scoped_refptr<GsItem> counted = MakeRef<RefCounted<GsItem>>(gs_vec2(40, 20), nullptr);
  auto* const item = static_cast<RefCounted<GsItem>*>(counted.get());
  scene_.AddItem(item);
  GsHit hit = HitAt(0, 0);
  EXPECT_EQ(hit.item.get(), item);
  scene_.RemoveItem(item);
  counted = nullptr;
  EXPECT_EQ(hit.item->size().x, 40.0f);
}

// A frame that waits for the one who looks would wait for ever.
TEST_F(GsViewImplHitTest, AWalkWaitsForNoFrame) {
  std::thread render;
  std::atomic<bool> drawn{false};
  class Slow : public TestItem {
   public:
    using TestItem::TestItem;
    void AddRef() override {
      if (on_hit) on_hit();
    }
    std::function<void()> on_hit;
  };
  Slow slow(0, 0, 100, 100);
  scene_.AddItem(&slow);
  slow.on_hit = [&] {
    if (render.joinable()) return;
    render = std::thread([&] {
      view_.Draw();
      drawn = true;
    });
    while (!drawn) std::this_thread::yield();
  };
  EXPECT_THAT(HitAt(0, 0), IsHit(&slow, kGsHandleBody));
  EXPECT_TRUE(drawn);
  render.join();
  slow.on_hit = nullptr;
  scene_.RemoveItem(&slow);
}

TEST_F(GsViewImplHitTest, MayBeAskedInADraw) {
  GsHit hit;
  context_->on_rect = [&] { hit = HitAt(20, -30); };
  view_.Draw();
  context_->on_rect = nullptr;
  EXPECT_THAT(hit, IsHit(&item_, kGsHandleBody));
}

// Beside the same in double precision, on scenes of random items. Points on an edge, and between two handles, are left
// out: there the last bits decide.
TEST_F(GsViewImplTest, HitsAreThoseOfADoublePrecisionModel) {
  constexpr double kClose = 0.01;
  std::mt19937 random(20);
  const auto between = [&random](double low, double high) {
    return low + (high - low) * static_cast<double>(random()) / 4294967296.0;
  };
  int asked = 0, bodies = 0, handles = 0;
  for (int round = 0; round < 40; ++round) {
    TestScene scene(400, 300);
    TestView view(static_cast<unsigned int>(between(50, 900)), static_cast<unsigned int>(between(50, 700)));
    view.SetScene(&scene);
    std::vector<std::unique_ptr<TestItem>> items;
    for (int i = 0; i < 6; ++i) {
      const auto value = [&](double low, double high) { return static_cast<float>(between(low, high)); };
      items.push_back(std::make_unique<TestItem>(value(-220, 220), value(-170, 170), value(0, 200), value(0, 150)));
      items.back()->SetRotation(i == 0 ? 5e-7f : value(-7, 7));
      items.back()->SetSelected(random() % 2);
      items.back()->SetVisible(random() % 4 != 0);
      scene.AddItem(items.back().get());
    }
    const double s = static_cast<double>(view.scale());
    for (int i = 0; i < 400; ++i) {
      const gs_vec2 point(static_cast<float>(between(0, view.width())), static_cast<float>(between(0, view.height())));
      const double x = static_cast<double>(point.x) - view.width() / 2.0;
      const double y = static_cast<double>(point.y) - view.height() / 2.0;
      const TestItem* handle_item = nullptr;
      const TestItem* body_item = nullptr;
      int handle = 0;
      bool close = false;
      for (const auto& item : items) {
        if (!item->visible()) continue;
        const test::OverlayHit model = test::HitOverlay(*item, x, y, s, kClose);
        close = close || model.close;
        if (model.body) body_item = item.get();
        if (!item->selected() || model.handle < 0) continue;
        handle_item = item.get();
        handle = kGsHandleTopLeft + model.handle;
      }
      if (close) continue;
      ++asked;
      const GsHit hit = view.HitTest(point);
      if (handle_item) {
        ++handles;
        EXPECT_THAT(hit, IsHit(handle_item, handle));
      } else if (body_item) {
        ++bodies;
        EXPECT_THAT(hit, IsHit(body_item, kGsHandleBody));
      } else {
        ExpectNothing(hit);
      }
    }
    view.SetScene(nullptr);
    for (const auto& item : items) scene.RemoveItem(item.get());
  }
  EXPECT_GT(asked, 14000);
  EXPECT_GT(bodies, 1500);
  EXPECT_GT(handles, 100);
}

// A render thread draws while others change everything: nothing is lost, and ThreadSanitizer sees no race.
TEST_F(GsViewImplTest, MayBeChangedWhileItIsDrawn) {
  GsDevice::DestroyDefaultDevice();
  fake::options().run_loop = true;
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  context_ = PutContextInto(engine());
  std::atomic<int> rects{0};
  context_->on_rect = [&rects] { ++rects; };
  ASSERT_TRUE(engine()->Start());
  device()->SetFps(100000);
  TestItem item(0, 0, 10, 10);
  TestScene first(100, 100);
  TestScene second(50, 100);
  first.AddItem(&item);
  {
    TestView view(100, 100);
    view.Attch();
    std::thread resizer([&] {
      for (unsigned int i = 0; i < 500; ++i) {
        view.Resize(i % 50, 100);
        view.SetClampX(static_cast<float>(i));
        view.SetClampY(i % 2 ? kNaN : 0.0f);
        view.SetBackgroundColor(0, 0, 1, 1);
        EXPECT_GE(view.scale(), 0.0f);
        view.offset();
        view.HitTest(view.ToView(view.ToScene(gs_vec2(50, 50))));
        view.Move(static_cast<int>(i), 0);
      }
    });
    for (int i = 0; i < 500 || rects < 100; ++i) {
      view.SetScene(i % 3 == 0 ? &first : i % 3 == 1 ? &second : nullptr);
      item.SetSelected(i % 2 == 0);
      item.SetRotation(static_cast<float>(i));
      if (i % 50 == 0) {
        view.Detach();
        view.Attch();
      }
    }
    resizer.join();
    view.Resize(210, 210);
    view.SetScene(&first);
    EXPECT_EQ(view.scale(), 2.0f);
    view.Detach();
  }
  first.RemoveItem(&item);
  EXPECT_THAT(errors(), ElementsAre("device create success"));
}

}  // namespace
