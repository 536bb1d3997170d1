// What a view shows, pixel by pixel: the fitted scene, the frames and handles of its items, the guide lines. The view
// draws into a texture, so no window is needed.
#include <quarn/gs_view.h>

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <quarn/gs_context.h>
#include <quarn/gs_device.h>
#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "graphics/graphics_view_impl.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/overlay_model.h"

namespace {

using ::testing::ElementsAre;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kPi = 3.14159265358979323846;
constexpr float Degrees(double degrees) { return static_cast<float>(degrees / 180.0 * kPi); }

constexpr test::Color kBlue = {0, 0, 1, 1};
constexpr test::Color kRed = {1, 0, 0, 1};
constexpr test::Color kGreen = {0, 1, 0, 1};
constexpr test::Color kBackground = {0.5f, 0.25f, 0.75f, 1};

// Draws what the platform's view draws before it presents: the background and the callback's drawing, into a target.
class OffscreenView : public GraphicsViewImpl {
 public:
  OffscreenView(GraphicsContextGL* context, unsigned int width, unsigned int height)
      : GraphicsViewImpl(width, height), context_(context), target_(context, width, height) {
    EXPECT_TRUE(target_.Init(true));
  }
  void Attach(DrawCallback* callback) override {
    context_->AddView(this);
    GraphicsViewImpl::Attach(callback);
  }
  void Detach() override {
    context_->RemoveView(this);
    GraphicsViewImpl::Detach();
  }
  void Draw() override {
    const ScopedBind bind(context_);
    ASSERT_TRUE(bind.ok());
    ASSERT_TRUE(target_.BindRenderTarget());
    {
      MutexLocker<Mutex> lock(background_mutex_);
      glClearColor(background_.r, background_.g, background_.b, background_.a);
    }
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    GraphicsViewImpl::Draw();
    glDisable(GL_BLEND);
    target_.ReleaseRenderTarget();
  }

  test::Picture Picture() { return test::ReadTarget(context_, &target_); }

 private:
  GraphicsContextGL* context_;
  GraphicsTextureGL target_;
};

// The platform's device, but for its views.
class OffscreenDevice : public GraphicsDeviceCGL {
 public:
  GraphicsView* CreateView(const InternalWindowInfo&, unsigned int width, unsigned int height) override {
    return new OffscreenView(static_cast<GraphicsContextGL*>(gs_context()), width, height);
  }
};

}  // namespace

// The linker leads GraphicsDevice::Create() here.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" GraphicsDevice* __wrap__ZN14GraphicsDevice6CreateEv();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" GraphicsDevice* __wrap__ZN14GraphicsDevice6CreateEv() { return new OffscreenDevice; }

namespace {

// Fills its scene with a picture; has no frame of its own.
class Backdrop : public GsItem {
 public:
  explicit Backdrop(const test::Picture& picture)
      : GsItem(gs_vec2(static_cast<float>(picture.width), static_cast<float>(picture.height)), nullptr),
        texture_(picture.pixels.data(), static_cast<unsigned int>(picture.width) * 4, GsTexture::kTextureRGBA,
                 static_cast<unsigned int>(picture.width), static_cast<unsigned int>(picture.height), nullptr) {}
  void Draw() override {
    GsContextDefault::SetViewport(0, 0, texture_.width(), texture_.height());
    ASSERT_TRUE(GsContextDefault::BindShader("rgba"));
    const GsTextureBinder binder(&texture_);
    GsContextDefault::DrawRect(gs_transform(pos(), size()), size());
    GsContextDefault::UnbindShader();
  }

 private:
  GsTexture texture_;
};

// An item as a test states it, in scene pixels.
struct Framed {
  float x, y, width, height;
  float rotation = 0.0f;
  bool hovered = false;
  bool selected = false;
  bool visible = true;
};

scoped_refptr<GsItem> MakeItem(const Framed& framed) {
  scoped_refptr<GsItem> item = MakeRef<RefCounted<GsItem>>(gs_vec2(framed.width, framed.height), nullptr);
  item->MoveTo(gs_vec2(framed.x, framed.y));
  item->SetRotation(framed.rotation);
  item->SetHovered(framed.hovered);
  item->SetSelected(framed.selected);
  item->SetVisible(framed.visible);
  return item;
}

// The judge's way to a frame: a ring two pixels thick round the item's scaled and turned rectangle, and squares on its
// corners and on the middles of its sides.
void DrawFrame(const Framed& framed, float scale, test::Canvas* canvas) {
  if (!framed.visible || !(framed.hovered || framed.selected)) return;
  const test::Color color = framed.selected ? kRed : kBlue;
  const float width = framed.width * scale;
  const float height = framed.height * scale;
  const test::Placement ring = {framed.x * scale, framed.y * scale, width + 2, height + 2, framed.rotation};
  canvas->Draw(ring, [&](float u, float v) {
    const float x = u * ring.width;
    const float y = v * ring.height;
    const bool inside = x >= 2 && x < width && y > 2 && y <= height;
    return inside ? test::kTransparentBlack : color;
  });
  if (!framed.selected) return;
  const double cosine = std::cos(static_cast<double>(framed.rotation));
  const double sine = std::sin(static_cast<double>(framed.rotation));
  for (const int i : {-1, 0, 1}) {
    for (const int j : {-1, 0, 1}) {
      if (i == 0 && j == 0) continue;
      const double x = i * framed.width / 2.0;
      const double y = j * framed.height / 2.0;
      canvas->DrawSolid(
          {static_cast<float>((framed.x + x * cosine - y * sine) * static_cast<double>(scale)),
           static_cast<float>((framed.y + x * sine + y * cosine) * static_cast<double>(scale)), 8, 8, framed.rotation},
          color);
    }
  }
}

struct Case {
  const char* name;
  int view_width, view_height, scene_width, scene_height;
  // What the scene should be drawn with and as large as.
  float scale;
  float drawn_width, drawn_height;
  std::vector<Framed> items;
  float clamp_x = kNaN;
  float clamp_y = kNaN;
  // The share of pixels that may be off: a turned edge may pass a pixel's centre by less than a float can tell.
  double share = 0.0;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

std::string NameOf(const ::testing::TestParamInfo<Case>& tested) { return tested.param.name; }

class GsViewImplPictureTest : public ::testing::Test {
 protected:
  GsViewImplPictureTest() {
    unsetenv("DISPLAY");
    gl_spy::Reset();
    objects_before_ = gl_spy::LiveObjects();
    EXPECT_TRUE(GsDevice::CreateDefaultDevice(false));
    EXPECT_TRUE(device()->InitThreadContext());
  }
  ~GsViewImplPictureTest() override {
    {
      const test::CurrentContext current(static_cast<GraphicsContextGL*>(device()->impl()->gs_context()));
      EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    device()->UninitThreadContext();
    GsDevice::DestroyDefaultDevice();
    EXPECT_EQ(gl_spy::LiveObjects(), objects_before_);
    std::vector<std::string> complaints;
    for (const LogCapture::Line& line : log_.Lines()) {
      if (line.level == Logger::Level::Warn || line.level == Logger::Level::Error) complaints.push_back(line.text);
    }
    EXPECT_THAT(complaints, ElementsAre("device create success"));
  }

  static GsDevice* device() { return GsDevice::DefaultDevice(); }

  static test::Picture Frame(const GsView& view) {
    device()->OutputFrame(0, 0);
    device()->DrawDisplay();
    return static_cast<OffscreenView*>(view.impl())->Picture();
  }

 private:
  LogCapture log_;
  int objects_before_ = 0;
};

// A view of a scene that shows the test card, with items.
class Editor {
 public:
  explicit Editor(const Case& c)
      : case_(c),
        card_(test::TestCard(c.scene_width, c.scene_height)),
        scene_(MakeRef<RefCounted<GsScene>>(Unsigned(c.scene_width), Unsigned(c.scene_height), nullptr)),
        view_({}, Unsigned(c.view_width), Unsigned(c.view_height), nullptr) {
    scene_->AddItem(MakeRef<RefCounted<Backdrop>>(card_));
    for (const Framed& framed : c.items) scene_->AddItem(MakeItem(framed));
    view_.SetScene(scene_);
    view_.SetBackgroundColor(kBackground.r, kBackground.g, kBackground.b, kBackground.a);
    view_.SetClampX(c.clamp_x);
    view_.SetClampY(c.clamp_y);
    view_.Attch();
  }
  ~Editor() { view_.Detach(); }

  GsViewImpl& view() { return view_; }

  // Only the scene has edges that may lie exactly on pixels' centres.
  test::Picture Expected(const test::Edges& edges = {}) const {
    test::Canvas canvas(case_.view_width, case_.view_height, kBackground);
    canvas.DrawPicture({0, 0, case_.drawn_width, case_.drawn_height}, card_, /*blend=*/true, edges);
    for (const Framed& framed : case_.items) DrawFrame(framed, case_.scale, &canvas);
    const float width = static_cast<float>(case_.view_width);
    const float height = static_cast<float>(case_.view_height);
    if (!std::isnan(case_.clamp_x)) canvas.DrawSolid({case_.clamp_x, 0, 2, height}, kGreen);
    if (!std::isnan(case_.clamp_y)) canvas.DrawSolid({0, case_.clamp_y, width, 2}, kGreen);
    return canvas.picture();
  }

 private:
  static unsigned int Unsigned(int size) { return static_cast<unsigned int>(size); }

  const Case case_;
  const test::Picture card_;
  const scoped_refptr<RefCounted<GsScene>> scene_;
  GsViewImpl view_;
};

class GsViewImplPicturesTest : public GsViewImplPictureTest, public ::testing::WithParamInterface<Case> {};

TEST_P(GsViewImplPicturesTest, ShowsWhatTheReferenceDraws) {
  const Case& c = GetParam();
  Editor editor(c);
  EXPECT_FLOAT_EQ(editor.view().scale(), c.scale);
  EXPECT_TRUE(test::PicturesMatchWithEdges(Frame(editor.view()),
                                           [&](const test::Edges& edges) { return editor.Expected(edges); },
                                           {/*difference=*/2, c.share}));
}

constexpr bool kYes = true;
constexpr bool kNo = false;

// A view of 310 x 210 pixels shows a scene of 300 x 200 at its own size.
Case AtFullSize(const char* name, std::vector<Framed> items, float clamp_x = kNaN, float clamp_y = kNaN,
                double share = 0.0) {
  return {name, 310, 210, 300, 200, 1, 300, 200, std::move(items), clamp_x, clamp_y, share};
}

// A turned edge.
constexpr double kTurned = 0.0002;

Framed Hovered(float x, float y, float width, float height, float rotation = 0) {
  return {x, y, width, height, rotation, kYes, kNo, kYes};
}
Framed Selected(float x, float y, float width, float height, float rotation = 0) {
  return {x, y, width, height, rotation, kNo, kYes, kYes};
}

INSTANTIATE_TEST_SUITE_P(
    Frames, GsViewImplPicturesTest,
    ::testing::Values(AtFullSize("NothingMarked", {{10, 20, 80, 60}}), AtFullSize("Hovered", {Hovered(10, 20, 80, 60)}),
                      AtFullSize("Selected", {Selected(10, 20, 80, 60)}),
                      AtFullSize("HoveredAndSelected", {{10, 20, 80, 60, 0, kYes, kYes, kYes}}),
                      AtFullSize("Invisible", {{10, 20, 80, 60, 0, kYes, kYes, kNo}}),
                      AtFullSize("TurnedByLessThanTheThreshold", {Selected(10, 20, 80, 60, 5e-7f)}),
                      AtFullSize("Turned30", {Selected(10, 20, 80, 60, Degrees(30))}, kNaN, kNaN, kTurned),
                      AtFullSize("Turned45", {Hovered(-30, -10, 80, 60, Degrees(45))}, kNaN, kNaN, kTurned),
                      AtFullSize("Turned90", {Selected(10, 20, 80, 60, Degrees(90))}, kNaN, kNaN, kTurned),
                      AtFullSize("TurnedBack200", {Selected(-40, 5, 91, 33, Degrees(-200))}, kNaN, kNaN, kTurned),
                      AtFullSize("LaterOnTop",
                                 {Selected(0, 0, 100, 80), Hovered(20, 20, 100, 80), Selected(40, -10, 60, 120),
                                  Hovered(-20, -30, 100, 80, Degrees(15))},
                                 kNaN, kNaN, kTurned),
                      AtFullSize("HalfOutside",
                                 {Selected(150, -100, 80, 60), Hovered(-150, 100, 40, 40), Hovered(0, -120, 60, 20)}),
                      AtFullSize("WithoutSize", {Selected(30, 30, 0, 0)})),
    NameOf);

INSTANTIATE_TEST_SUITE_P(Guides, GsViewImplPicturesTest,
                         ::testing::Values(AtFullSize("Upright", {}, 0), AtFullSize("Level", {}, kNaN, 0),
                                           AtFullSize("Both", {}, 60, -40), AtFullSize("BothNegative", {}, -75, 33),
                                           AtFullSize("OverFrames", {Selected(0, 0, 100, 80)}, 50, 40),
                                           AtFullSize("AtTheRim", {}, 155, -105), AtFullSize("Outside", {}, 400, 1e9f),
                                           AtFullSize("Infinite", {}, std::numeric_limits<float>::infinity(),
                                                      -std::numeric_limits<float>::infinity())),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(
    Scales, GsViewImplPicturesTest,
    ::testing::Values(
        // Half, limited by the width, with a band above and below.
        Case{"Down", 310, 250, 600, 400, 0.5f, 300, 200, {Selected(100, 60, 200, 100), Hovered(-150, -50, 60, 60)}},
        // Half, limited by the height.
        Case{"DownByTheHeight", 400, 210, 200, 400, 0.5f, 100, 200, {Selected(10, 60, 100, 80)}, -50, 25},
        Case{"Up", 310, 220, 100, 60, 3, 300, 180, {Hovered(10, -6, 30, 20), Selected(-20, 10, 24, 12)}},
        Case{"UpTurned",
             310,
             220,
             100,
             60,
             3,
             300,
             180,
             {Selected(10, -6, 30, 20, Degrees(30)), Hovered(-20, 10, 24, 12, Degrees(-200))},
             kNaN,
             kNaN,
             kTurned},
        // A scale that no pixel grid fits.
        Case{"Odd",
             333,
             287,
             192,
             108,
             323.0f / 192.0f,
             323,
             182,
             {Selected(20, 10, 50, 40, Degrees(17)), Hovered(-40, -20, 33, 21)},
             40.25f,
             -30.75f,
             kTurned}),
    NameOf);

// What sets the picture apart from the background, at places known without any reference.
TEST_F(GsViewImplPictureTest, ColoursLieWhereTheyShould) {
  Case c = AtFullSize("", {Hovered(-60, 20, 40, 20), Selected(50, -30, 80, 60)}, 0, 90);
  Editor editor(c);
  const test::Picture picture = Frame(editor.view());
  const auto at = [&picture](int x, int y) {
    const unsigned char* const pixel = picture.at(155 + x, 105 + y);
    return std::vector<int>(pixel, pixel + 4);
  };
  const std::vector<int> blue = {0, 0, 255, 255};
  const std::vector<int> red = {255, 0, 0, 255};
  const std::vector<int> green = {0, 255, 0, 255};
  for (const int y : {-105, 0, 104}) {
    EXPECT_EQ(at(-1, y), green);
    EXPECT_EQ(at(0, y), green);
    EXPECT_NE(at(-2, y), green);
    EXPECT_NE(at(1, y), green);
  }
  EXPECT_EQ(at(-155, 89), green);
  EXPECT_EQ(at(154, 90), green);
  EXPECT_EQ(at(-81, 20), blue);  // Left side.
  EXPECT_EQ(at(-40, 20), blue);  // Right side.
  EXPECT_EQ(at(-60, 9), blue);   // Top side.
  EXPECT_EQ(at(-60, 30), blue);  // Bottom side.
  EXPECT_EQ(at(-81, 9), blue);   // Sides meet at the corners.
  EXPECT_NE(at(-78, 12), blue);  // No handle there.
  EXPECT_NE(at(-82, 20), blue);
  EXPECT_NE(at(-60, 20), blue);  // Nothing inside.
  EXPECT_EQ(at(6, -64), red);    // The upper left handle reaches out.
  EXPECT_EQ(at(13, -57), red);
  EXPECT_EQ(at(93, -30), red);  // The handle on the right.
  EXPECT_NE(at(93, -40), red);
  const std::vector<int> background = {128, 64, 191, 255};
  EXPECT_EQ(at(-155, -105), background);
  EXPECT_EQ(at(-151, 0), background);
  EXPECT_NE(at(-150, 0), background);
  EXPECT_NE(at(149, 99), background);
  EXPECT_EQ(at(150, 0), background);
  EXPECT_EQ(at(10, 100), background);
}

TEST_F(GsViewImplPictureTest, ChangesShowInTheNextFrame) {
  Case c = AtFullSize("", {}, 20);
  Editor with(c);
  EXPECT_TRUE(test::PicturesMatch(Frame(with.view()), with.Expected(), {2}));
  c.clamp_x = kNaN;
  const Editor without(c);
  with.view().SetClampX(kNaN);
  EXPECT_TRUE(test::PicturesMatch(Frame(with.view()), without.Expected(), {2}));
  with.view().SetScene(nullptr);
  EXPECT_TRUE(
      test::PicturesMatch(Frame(with.view()), test::Canvas(c.view_width, c.view_height, kBackground).picture(), {}));
}

// An item that shows its rectangle in white.
class White : public GsItem {
 public:
  using GsItem::GsItem;
  void Draw() override {
    GsContextDefault::SetViewport(0, 0, 300, 200);
    ASSERT_TRUE(GsContextDefault::BindShader("rgba"));
    const GsTextureBinder binder(&texture_);
    GsContextDefault::DrawRect(gs_transform(pos(), size(), rotation()), gs_vec2(300, 200));
    GsContextDefault::UnbindShader();
  }

 private:
  const unsigned char white_[4] = {255, 255, 255, 255};
  GsTexture texture_{white_, 4, GsTexture::kTextureRGBA, 1, 1, nullptr};
};

// What is drawn is hit: of a random item, handles where the selected item is red and the hovered one is not blue, and
// the item where it is white. Pixels whose middle lies on an edge are the driver's to decide.
TEST_F(GsViewImplPictureTest, WhatIsDrawnIsHit) {
  constexpr double kClose = 0.05;
  scoped_refptr<RefCounted<GsScene>> scene = MakeRef<RefCounted<GsScene>>(300u, 200u, nullptr);
  const auto item = MakeRef<RefCounted<White>>(gs_vec2(), nullptr);
  scene->AddItem(item);
  GsViewImpl view({}, 310, 210, nullptr);
  view.SetScene(scene);
  view.Attch();
  ASSERT_EQ(view.scale(), 1.0f);
  std::mt19937 random(7);
  const auto between = [&random](double low, double high) {
    return static_cast<float>(low + (high - low) * static_cast<double>(random()) / 4294967296.0);
  };
  int handles = 0, bodies = 0, beside = 0, left_out = 0;
  for (int round = 0; round < 16; ++round) {
    item->MoveTo(gs_vec2(between(-140, 140), between(-90, 90)));
    item->Resize(gs_vec2(between(1, 160), between(1, 120)));
    item->SetRotation(between(-7, 7));
    item->SetHovered(true);
    item->SetSelected(false);
    const test::Picture frame = Frame(view);
    item->SetHovered(false);
    const test::Picture plain = Frame(view);
    item->SetSelected(true);
    const test::Picture selected = Frame(view);
    for (int row = 0; row < 210; ++row) {
      for (int column = 0; column < 310; ++column) {
        const double x = column + 0.5 - 155, y = row + 0.5 - 105;
        const test::OverlayHit model = test::HitOverlay(*item, x, y, 1, kClose);
        if (model.close) {
          ++left_out;
          continue;
        }
        const auto is = [&](const test::Picture& picture, int red, int green, int blue) {
          const unsigned char* const pixel = picture.at(column, row);
          return pixel[0] == red && pixel[1] == green && pixel[2] == blue;
        };
        const GsHit hit = view.HitTest(gs_vec2(static_cast<float>(column) + 0.5f, static_cast<float>(row) + 0.5f));
        const bool red = is(selected, 255, 0, 0);
        if (red && !is(frame, 0, 0, 255)) {
          ++handles;
          EXPECT_EQ(static_cast<int>(hit.handle), kGsHandleTopLeft + model.handle)
              << column << ", " << row << " in round " << round;
          EXPECT_EQ(hit.item.get(), item.get());
        } else if (!red) {
          const bool white = is(plain, 255, 255, 255);
          const bool canvas = column >= 5 && column < 305 && row >= 5 && row < 205;
          if (canvas) {
            EXPECT_EQ(hit.handle, white ? kGsHandleBody : kGsHandleNone) << column << ", " << row << ", " << round;
          }
          EXPECT_TRUE(hit.handle == kGsHandleBody || hit.handle == kGsHandleNone) << column << ", " << row;
          ++(white ? bodies : beside);
        }
      }
    }
  }
  EXPECT_GT(handles, 2000);
  EXPECT_GT(bodies, 20000);
  EXPECT_GT(beside, 200000);
  EXPECT_LT(left_out, 10000);
  view.Detach();
}

// No room for the margin: an enormous scale, at which no driver is exact. An item whose corner lies on the scene's
// centre has that handle in the middle all the same.
TEST_F(GsViewImplPictureTest, AViewSmallerThanTheMarginIsDrawnAllTheSame) {
  for (const int side : {1, 5, 9}) {
    const Case c = {"", side, side, 40, 40, 0, 0, 0, {Selected(10, 10, 20, 20), Hovered(-10, 13, 1, 1, 1)}};
    Editor editor(c);
    EXPECT_GT(editor.view().scale(), 1e8f);
    const test::Picture picture = Frame(editor.view());
    const unsigned char* const pixel = picture.at(side / 2, side / 2);
    EXPECT_THAT(std::vector<int>(pixel, pixel + 4), ElementsAre(255, 0, 0, 255));
  }
}

}  // namespace
