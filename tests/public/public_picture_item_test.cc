// Items that show pictures and scenes, and what they draw into, compared with what a CPU draws.
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/public/host.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/gl_watch.h"

namespace {

using host::MakeItem;
using host::MakePattern;
using host::MakeScene;
using host::MakeTexture;
using test::Picture;

using PictureItem = RefCounted<GsPictureItem>;

constexpr int kWidth = 64;
constexpr int kHeight = 36;

scoped_refptr<GsPictureItem> MakePictureItem(const Picture& picture, GsDevice* device) {
  const auto width = static_cast<unsigned int>(picture.width);
  return MakeRef<PictureItem>(picture.pixels.data(), width * 4, width, static_cast<unsigned int>(picture.height),
                              device);
}

// A part of a picture, with its edges repeated beyond it.
Picture Crop(const Picture& picture, int x, int y, int width, int height) {
  Picture part(width, height, 4);
  for (int row = 0; row < height; ++row) std::copy_n(picture.at(x, y + row), width * 4, part.at(0, row));
  return part;
}

Picture Mirrored(const Picture& picture) {
  Picture mirrored(picture.width, picture.height, 4);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) std::copy_n(picture.at(picture.width - 1 - x, y), 4, mirrored.at(x, y));
  }
  return mirrored;
}

Picture Faded(Picture picture, float opacity) {
  for (std::size_t i = 3; i < picture.pixels.size(); i += 4) {
    picture.pixels[i] = static_cast<unsigned char>(std::lround(static_cast<float>(picture.pixels[i]) * opacity));
  }
  return picture;
}

Picture Plain(unsigned char r, unsigned char g, unsigned char b, int width = kWidth, int height = kHeight) {
  return test::Canvas(width, height,
                      {static_cast<float>(r) / 255, static_cast<float>(g) / 255, static_cast<float>(b) / 255, 1.0f})
      .picture();
}

class PictureTest : public host::DrivenTest {
 protected:
  // A frame of the device, and what a receiver has of it.
  Picture Next(host::Receiver* receiver) {
    const std::size_t count = receiver->deliveries().size() + 1;
    Frame(++frames_);
    const auto deliveries = receiver->WaitFor(count);
    return deliveries.size() < count ? Picture() : deliveries.back().planes[0];
  }
  static unsigned char RedOf(const Picture& picture) { return picture.width > 0 ? picture.at(1, 1)[0] : 0; }

 private:
  std::uint64_t frames_ = 0;
};

class GsPictureItemTest : public PictureTest {
 protected:
  void SetUp() override {
    PictureTest::SetUp();
    scene = MakeScene(kWidth, kHeight, &device);
    receiver.emplace(scene, kWidth, kHeight, kGsFormatRGBA, &device);
    ASSERT_TRUE(receiver->Start());
  }
  void TearDown() override {
    receiver.reset();
    if (complaints) {
      EXPECT_EQ(host::log::Complaints(), "");
    }
    PictureTest::TearDown();
  }
  Picture Shown() { return Next(&*receiver); }

  scoped_refptr<host::Scene> scene;
  std::optional<host::Receiver> receiver;
  bool complaints = true;
};

TEST_F(GsPictureItemTest, DrawsItsPixelsAsAnItemOfTheHostsDoes) {
  const Picture pattern = MakePattern(20, 14, -1);
  const auto item = MakePictureItem(pattern, &device);
  EXPECT_EQ(item->size().x, 20.0f);
  EXPECT_EQ(item->size().y, 14.0f);
  const auto texture = MakeTexture(pattern, &device);
  const auto other = MakeItem(gs_vec2(20, 14), &device);
  other->texture = texture.get();
  for (GsItem* const one : {static_cast<GsItem*>(item.get()), static_cast<GsItem*>(other.get())}) {
    one->MoveTo(gs_vec2(5.5f, -3));
    one->Resize(gs_vec2(31, 19));
    one->SetRotation(0.4f);
  }
  scene->AddItem(item);
  const Picture shown = Shown();
  scene->RemoveItem(item);
  scene->AddItem(other);
  EXPECT_TRUE(test::PicturesMatch(shown, Shown(), {}));
  test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
  canvas.DrawPicture({5.5f, -3, 31, 19, 0.4f}, pattern);
  EXPECT_TRUE(test::PicturesMatch(shown, canvas.picture(), {2, 0.002}));
}

TEST_F(GsPictureItemTest, IsARectangleOfOneColour) {
  const auto item = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight),
                                         gs_vec3(1, 0.2f, -std::numeric_limits<float>::infinity()), &device);
  scene->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(255, 51, 0), {}));
  const auto odd = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(NAN, 7, 1), &device);
  scene->AddItem(odd);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 255, 255), {}));
}

TEST_F(GsPictureItemTest, FadesFlipsAndCropsAsThePartAloneWouldBeDrawn) {
  const Picture pattern = MakePattern(24, 16, -1);
  const auto item = MakePictureItem(pattern, &device);
  item->Resize(gs_vec2(40, 30));
  item->SetRotation(-0.2f);
  scene->AddItem(item);
  const auto expect = [&](const Picture& part, const char* what) {
    test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
    canvas.DrawPicture({0, 0, 40, 30, -0.2f}, part);
    EXPECT_TRUE(test::PicturesMatch(Shown(), canvas.picture(), {3, 0.003})) << what;
  };
  item->SetOpacity(0.5f);
  EXPECT_EQ(item->opacity(), 0.5f);
  expect(Faded(pattern, 0.5f), "faded");
  item->SetOpacity(1.0f);
  item->SetFlip(true, false);
  expect(Mirrored(pattern), "mirrored");
  item->SetFlip(false, true);
  expect(pattern.Flipped(), "upside down");
  item->SetFlip(false, false);
  item->SetCrop(gs_vec2(5, 3), gs_vec2(11, 7));
  const Picture part = Crop(pattern, 5, 3, 11, 7);
  expect(part, "cropped: nothing of the pixels beside it");
  item->SetFlip(true, true);
  item->SetOpacity(0.25f);
  expect(Faded(Mirrored(part).Flipped(), 0.25f), "all of it");
  item->SetFlip(false, false);
  item->SetOpacity(1.0f);
  item->SetCrop(gs_vec2(9, 9), gs_vec2());
  expect(pattern, "whole");
}

TEST_F(GsPictureItemTest, AnOpacityOfZeroShowsNothing) {
  const auto item = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 1, 1), &device);
  item->SetOpacity(0.0f);
  scene->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 0, 0), {}));
}

TEST_F(GsPictureItemTest, RefusesWhatIsNoNumber) {
  complaints = false;
  const auto item = MakePictureItem(MakePattern(8, 8, 255), &device);
  item->SetOpacity(0.5f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float opacity : {nan, -0.1f, 1.1f, std::numeric_limits<float>::infinity()}) item->SetOpacity(opacity);
  EXPECT_EQ(item->opacity(), 0.5f);
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsPictureItem] no opacity of "), 4);
  item->SetCrop(gs_vec2(nan, 0), gs_vec2(1, 1));
  item->SetCrop(gs_vec2(0, 0), gs_vec2(1, -1));
  item->SetCrop(gs_vec2(0, 0), gs_vec2(std::numeric_limits<float>::infinity(), 1));
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsPictureItem] no part of a picture: "), 3);
  scene->AddItem(item);
  item->SetCrop(gs_vec2(-1e30f, 1e30f), gs_vec2(1e-30f, 1e30f));
  item->Resize(gs_vec2(nan, 1e30f));
  EXPECT_EQ(Shown().width, kWidth);
}

TEST_F(GsPictureItemTest, TakesOtherPixels) {
  const Picture before = MakePattern(kWidth, kHeight, 255);
  const auto item = MakePictureItem(before, &device);
  scene->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Shown(), before, {}));
  const Picture after = before.Flipped();
  item->Update(after.pixels.data(), kWidth * 4, kWidth, kHeight);
  EXPECT_TRUE(test::PicturesMatch(Shown(), after, {}));
}

TEST_F(GsPictureItemTest, AnUpdateThatDoesNotFitIsToldOf) {
  complaints = false;
  const Picture pattern = MakePattern(kWidth, kHeight, 255);
  const auto item = MakePictureItem(pattern, &device);
  scene->AddItem(item);
  item->Update(pattern.pixels.data(), kWidth * 4, kWidth, kHeight - 1);
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsTexture] an update of 64 x 35 pixels"), 1);
  item->Update(nullptr, 0, kWidth, kHeight);
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "no pixel data"), 1);
  EXPECT_TRUE(test::PicturesMatch(Shown(), pattern, {}));
  const auto without = MakeRef<PictureItem>(&device);
  without->Update(pattern.pixels.data(), kWidth * 4, kWidth, kHeight);
  item->SetTexture(nullptr);
  item->Update(pattern.pixels.data(), kWidth * 4, kWidth, kHeight);
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "the item has no picture of its own"), 2);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 0, 0), {}));
}

TEST_F(GsPictureItemTest, SharesATexture) {
  const Picture pattern = MakePattern(16, 12, 255);
  std::shared_ptr<GsTexture> texture = MakeTexture(pattern, &device);
  const auto left = MakeRef<PictureItem>(&device);
  const auto right = MakeRef<PictureItem>(gs_vec2(10, 10), gs_vec3(1, 1, 1), &device);
  left->SetTexture(texture);
  right->SetTexture(texture);
  EXPECT_EQ(left->size().x, 16.0f);
  EXPECT_EQ(left->size().y, 12.0f);
  EXPECT_EQ(right->size().x, 10.0f);
  left->MoveTo(gs_vec2(-16, 0));
  right->MoveTo(gs_vec2(16, 0));
  right->Resize(gs_vec2(16, 12));
  texture.reset();
  scene->AddItem(left);
  scene->AddItem(right);
  test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
  canvas.DrawPicture({-16, 0, 16, 12}, pattern);
  canvas.DrawPicture({16, 0, 16, 12}, pattern);
  EXPECT_TRUE(test::PicturesMatch(Shown(), canvas.picture(), {}));
}

TEST_F(GsPictureItemTest, APlainPictureIsTheSameThroughTheProgramForParts) {
  const Picture pattern = MakePattern(20, 14, -1);
  const auto item = MakePictureItem(pattern, &device);
  item->Resize(gs_vec2(33, 21));
  item->SetRotation(0.3f);
  scene->AddItem(item);
  const Picture plain = Shown();
  item->SetCrop(gs_vec2(0, 0), gs_vec2(20, 14));
  EXPECT_TRUE(test::PicturesMatch(Shown(), plain, {1}));
}

// Shows what its program is given.
constexpr char kConstantsSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "layout(std140) uniform u_buf0 { vec4 part; vec4 look; };\n"
    "void main() {\n"
    "  vec4 rgba = texture(u_tex0, part.xy + part.zw * v_tex_coord);\n"
    "  FragColor = vec4(rgba.bgr, rgba.a * look.x);\n"
    "}\n";

TEST_F(GsPictureItemTest, GivesAProgramOfTheHostsItsPictureAndWhatIsToBecomeOfIt) {
  ASSERT_TRUE(device.AddShader("exchanged", glsl_src[kGsGlslRgba + 1], kConstantsSource));
  Picture pattern = MakePattern(24, 16, 255);
  const auto item = MakePictureItem(pattern, &device);
  item->Resize(gs_vec2(48, 32));
  item->SetShader("exchanged");
  scene->AddItem(item);
  for (std::size_t i = 0; i < pattern.pixels.size(); i += 4) std::swap(pattern.pixels[i], pattern.pixels[i + 2]);
  const auto expect = [&](const Picture& picture) {
    test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
    canvas.DrawPicture({0, 0, 48, 32}, picture);
    EXPECT_TRUE(test::PicturesMatch(Shown(), canvas.picture(), {2, 0.002}));
  };
  expect(pattern);
  item->SetOpacity(0.5f);
  item->SetFlip(false, true);
  expect(Faded(pattern, 0.5f).Flipped());
  for (const char* const own : {"rgba", static_cast<const char*>(nullptr)}) {
    item->SetShader("exchanged");
    item->SetShader(own);
    item->SetOpacity(1.0f);
    item->SetFlip(false, false);
    Picture back = pattern;
    for (std::size_t i = 0; i < back.pixels.size(); i += 4) std::swap(back.pixels[i], back.pixels[i + 2]);
    expect(back);
  }
}

TEST_F(GsPictureItemTest, WithoutItsProgramNothingIsDrawnAndToldOfOnce) {
  complaints = false;
  const auto item = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 1, 1), &device);
  item->SetShader("missing");
  scene->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 0, 0), {}));
  Shown();
  EXPECT_EQ(host::log::Complaints(), "[GsPictureItem] nothing is drawn: there is no program of that name\n");
  ASSERT_TRUE(device.AddShader("missing", glsl_src[kGsGlslRgba + 1], glsl_src[kGsGlslRgba + 2]));
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(255, 255, 255), {}));
}

TEST_F(GsPictureItemTest, FitsEveryCanvasThatItIsIn) {
  const Picture pattern = MakePattern(20, 14, 255);
  const auto item = MakePictureItem(pattern, &device);
  const auto small = MakeScene(24, 18, &device);
  scene->AddItem(item);
  small->AddItem(item);
  host::Receiver of_small(small, 24, 18, kGsFormatRGBA, &device);
  ASSERT_TRUE(of_small.Start());
  test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
  canvas.DrawPicture({0, 0, 20, 14}, pattern);
  EXPECT_TRUE(test::PicturesMatch(Shown(), canvas.picture(), {}));
  test::Canvas small_canvas(24, 18, test::kOpaqueBlack);
  small_canvas.DrawPicture({0, 0, 20, 14}, pattern);
  EXPECT_TRUE(test::PicturesMatch(of_small.WaitFor(1).at(0).planes[0], small_canvas.picture(), {}));
}

TEST_F(GsPictureItemTest, DoesNotMindTheViewportOfAnItemBefore) {
  const auto before = MakeItem(gs_vec2(4, 4), &device);
  before->on_draw = [this] { GsContext(&device).SetViewport(3, 3, 5, 5); };
  const auto item = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(0, 1, 0), &device);
  scene->AddItem(before);
  scene->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 255, 0), {}));
}

TEST_F(GsPictureItemTest, OutsideOfADrawItDrawsNothing) {
  complaints = false;
  const auto item = MakeRef<PictureItem>(gs_vec2(4, 4), gs_vec3(0, 1, 0), &device);
  item->Draw();
  item->Draw();
  item->TickSource();
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "nothing is being drawn into"), 1);
}

TEST_F(GsPictureItemTest, WithoutAPictureItDrawsNothing) {
  complaints = false;
  const unsigned char pixel[4] = {255, 255, 255, 255};
  scene->AddItem(MakeRef<PictureItem>(&device));
  scene->AddItem(MakeRef<PictureItem>(nullptr, 0u, 8u, 8u, &device));
  scene->AddItem(MakeRef<PictureItem>(pixel, 4u, 0u, 8u, &device));
  scene->AddItem(MakeRef<PictureItem>(pixel, 0u, 0xFFFFFFFFu, 0xFFFFFFFFu, &device));
  EXPECT_TRUE(test::PicturesMatch(Shown(), Plain(0, 0, 0), {}));
}

TEST(GsPictureItemWithoutADeviceTest, IsInert) {
  ASSERT_EQ(GsDevice::DefaultDevice(), nullptr);
  const unsigned char pixel[4] = {1, 2, 3, 4};
  const auto item = MakeRef<PictureItem>(pixel, 4u, 1u, 1u);
  const auto plain = MakeRef<PictureItem>(gs_vec2(1, 1), gs_vec3(1, 1, 1));
  const auto scene = MakeRef<RefCounted<GsScene>>(8u, 8u, nullptr);
  EXPECT_EQ(scene->texture(), nullptr);
  item->Update(pixel, 4, 1, 1);
  item->SetTexture(std::make_shared<GsTexture>(static_cast<GraphicsTexture*>(nullptr)));
  item->SetShader("any");
  item->SetOpacity(0.5f);
  item->ShowScene(scene);
  EXPECT_EQ(item->shown_scene(), scene.get());
  item->TickSource();
  item->Draw();
  item->ShowScene(nullptr);
  const GsSceneHold hold(scene);
  EXPECT_EQ(hold.scene(), scene.get());
  EXPECT_EQ(GsContextDefault::target_size().x, 0.0f);
  GsContextDefault::DrawRect(gs_transform(gs_vec2(), gs_vec2(1, 1)));
}

TEST(GsPictureItemWithoutADeviceTest, OutlivesItsDevice) {
  auto device = std::make_unique<GsDevice>();
  ASSERT_TRUE(device->Init());
  const auto item = MakePictureItem(MakePattern(4, 4, 255), device.get());
  const auto scene = MakeScene(8, 8, device.get());
  item->SetOpacity(0.5f);
  item->ShowScene(scene);
  host::log::Clear();
  const test::WrongOnPurpose wrong;  // What GL has of them goes with the context.
  device.reset();
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "destroyed before its objects: 1 scene, 1 item;"), 1)
      << host::log::Complaints();
  item->Update(MakePattern(4, 4, 0).pixels.data(), 16, 4, 4);
  item->TickSource();
  item->Draw();
  item->ShowScene(nullptr);
}

// What is drawn into.
class TargetSizeTest : public PictureTest {};

TEST_F(TargetSizeTest, IsThatOfTheSceneFilterOrViewWhoseDrawRuns) {
  std::vector<std::pair<std::string, gs_vec2>> seen;
  GsContext context(&device);
  const auto look = [&](const char* where) { seen.emplace_back(where, context.target_size()); };
  class Filter : public GsFilter {
   public:
    Filter(GsDevice* device, std::function<void()> draw) : GsFilter(30, 20, device), draw_(std::move(draw)) {}
    ~Filter() override { Detach(); }
    void Draw() override { draw_(); }

   private:
    std::function<void()> draw_;
  };
  class View : public GsView {
   public:
    View(GsDevice* device, std::function<void()> draw) : GsView({}, 50, 40, device), draw_(std::move(draw)) {}
    ~View() override { Detach(); }
    void Draw() override { draw_(); }

   private:
    std::function<void()> draw_;
  };
  Filter filter(&device, [&] { look("filter"); });
  filter.Attach();
  filter.Resize(3, 2);  // The target keeps its size.
  View view(&device, [&] { look("view"); });
  view.Attch();
  const auto item = MakeItem(gs_vec2(4, 4), &device);
  item->on_tick = [&] { look("tick"); };
  item->on_draw = [&] { look("item"); };
  const auto scene = MakeScene(64, 36, &device);
  const auto small = MakeScene(12, 10, &device);
  scene->AddItem(item);
  small->AddItem(item);
  const GsSceneHold hold(scene);
  const GsSceneHold other(small);
  look("outside");
  Frame(1);
  view.Resize(60, 50);
  device.DrawDisplay();
  const std::vector<std::pair<std::string, gs_vec2>> expected = {
      {"outside", gs_vec2()},    {"tick", gs_vec2()},       {"filter", gs_vec2(30, 20)}, {"item", gs_vec2(64, 36)},
      {"item", gs_vec2(12, 10)}, {"view", gs_vec2(50, 40)}, {"view", gs_vec2(60, 50)}};
  ASSERT_EQ(seen.size(), expected.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].first, expected[i].first);
    EXPECT_EQ(seen[i].second.x, expected[i].second.x) << seen[i].first << " " << i;
    EXPECT_EQ(seen[i].second.y, expected[i].second.y) << seen[i].first << " " << i;
  }
}

// An item that sets no viewport and knows no size.
class BareItem : public GsItem {
 public:
  BareItem(GsTexture* texture, GsDevice* device)
      : GsItem(gs_vec2(20, 14), device), texture_(texture), device_(device) {}
  void Draw() override {
    GsContext context(device_);
    const GsTextureBinder binder(texture_);
    if (context.BindShader("rgba")) context.DrawRect(gs_transform(pos(), size(), rotation()));
    context.UnbindShader();
  }

 private:
  GsTexture* texture_;
  GsDevice* device_;
};

TEST_F(TargetSizeTest, AnItemNeedsNeitherViewportNorSize) {
  const Picture pattern = MakePattern(20, 14, 255);
  const auto texture = MakeTexture(pattern, &device);
  const auto item = MakeRef<RefCounted<BareItem>>(texture.get(), &device);
  const auto small = MakeScene(24, 18, &device);
  const auto large = MakeScene(100, 70, &device);
  small->AddItem(item);
  large->AddItem(item);
  host::Receiver of_small(small, 24, 18, kGsFormatRGBA, &device);
  host::Receiver of_large(large, 100, 70, kGsFormatRGBA, &device);
  ASSERT_TRUE(of_small.Start());
  ASSERT_TRUE(of_large.Start());
  Frame(1);
  test::Canvas small_canvas(24, 18, test::kOpaqueBlack);
  small_canvas.DrawPicture({0, 0, 20, 14}, pattern);
  test::Canvas large_canvas(100, 70, test::kOpaqueBlack);
  large_canvas.DrawPicture({0, 0, 20, 14}, pattern);
  EXPECT_TRUE(test::PicturesMatch(of_small.WaitFor(1).at(0).planes[0], small_canvas.picture(), {}));
  EXPECT_TRUE(test::PicturesMatch(of_large.WaitFor(1).at(0).planes[0], large_canvas.picture(), {}));
}

// Scenes in scenes. What a scene shows of the frame is the red of its rectangle.
class SceneInSceneTest : public PictureTest {
 protected:
  // A rectangle over the whole canvas whose red is the number of its ticks times ten.
  class Counting : public GsPictureItem {
   public:
    explicit Counting(GsDevice* device) : GsPictureItem(kPixel, 4, 1, 1, device) { Resize(gs_vec2(200, 200)); }
    void TickSource() override {
      GsPictureItem::TickSource();
      const unsigned char pixel[4] = {static_cast<unsigned char>(10 * ++ticks), 0, 0, 255};
      Update(pixel, 4, 1, 1);
    }
    int ticks = 0;

   private:
    static constexpr unsigned char kPixel[4] = {0, 0, 0, 255};
  };

  scoped_refptr<Counting> MakeCounting() { return MakeRef<RefCounted<Counting>>(&device); }
  scoped_refptr<GsPictureItem> MakeShowing(GsScene* shown) {
    auto item = MakeRef<PictureItem>(&device);
    item->ShowScene(shown);
    return item;
  }
};

TEST_F(SceneInSceneTest, ShowsThePictureOfTheSameFrameWhicheverWasThereFirst) {
  for (const bool shown_first : {false, true}) {
    const auto camera = MakeScene(kWidth, kHeight, &device);
    const auto program = MakeScene(kWidth, kHeight, &device);
    camera->AddItem(MakeCounting());
    std::optional<GsSceneHold> hold;
    if (shown_first) hold.emplace(camera);
    host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
    ASSERT_TRUE(receiver.Start());
    const auto item = MakeShowing(camera);
    EXPECT_EQ(item->size().x, static_cast<float>(kWidth));
    EXPECT_EQ(item->shown_scene(), camera.get());
    program->AddItem(item);
    for (int frame = 1; frame <= 4; ++frame) EXPECT_EQ(RedOf(Next(&receiver)), 10 * frame) << shown_first;
  }
}

// What blending leaves in a scene's alpha is nobody's business where the scene is shown.
TEST_F(SceneInSceneTest, IsOpaqueWhateverItIsMadeOf) {
  const auto camera = MakeScene(kWidth, kHeight, &device);
  const auto faded = MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 0, 0), &device);
  faded->SetOpacity(0.5f);
  camera->AddItem(faded);
  const auto program = MakeScene(kWidth, kHeight, &device);
  program->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(0, 1, 0), &device));
  const auto inset = MakeShowing(camera);
  program->AddItem(inset);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  const Picture whole = Next(&receiver);
  EXPECT_TRUE(test::PicturesMatch(whole, Plain(128, 0, 0), {1}));
  EXPECT_EQ(whole.at(1, 1)[1], 0) << "nothing of what lies below";
  inset->SetOpacity(0.5f);
  const Picture half = Next(&receiver);
  EXPECT_NEAR(half.at(1, 1)[0], 64, 1);
  EXPECT_NEAR(half.at(1, 1)[1], 128, 1);
}

TEST_F(SceneInSceneTest, ACutBehindTheTicksShowsThePictureOfTheSameFrame) {
  const auto program = MakeScene(kWidth, kHeight, &device);
  const auto inset = MakeRef<PictureItem>(&device);
  inset->Resize(gs_vec2(kWidth, kHeight));
  const auto cutter = MakeItem(gs_vec2(1, 1), &device);
  program->AddItem(inset);
  program->AddItem(cutter);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  std::vector<scoped_refptr<host::Scene>> cameras;
  cutter->on_tick = [&] {  // Behind the tick of the inset.
    cameras.push_back(MakeScene(kWidth, kHeight, &device));
    cameras.back()->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 0, 0), &device));
    inset->ShowScene(cameras.back());
  };
  for (int frame = 1; frame <= 3; ++frame) EXPECT_EQ(RedOf(Next(&receiver)), 255) << frame;
  cutter->on_tick = nullptr;
}

// An output of another size samples the scene, which must not be taken for one that is shown in itself.
TEST_F(SceneInSceneTest, ADrawThatFindsNoMemoryCostsItsFrameOnly) {
  const auto scene = MakeScene(kWidth, kHeight, &device);
  scene->AddItem(MakeCounting());
  const auto failing = MakeItem(gs_vec2(1, 1), &device);
  bool fail = false;
  failing->on_draw = [&] {
    if (std::exchange(fail, false)) throw std::bad_alloc();
  };
  scene->AddItem(failing);
  host::Receiver receiver(scene, kWidth / 2, kHeight / 2, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_EQ(RedOf(Next(&receiver)), 10);
  fail = true;
  Frame(1000);
  for (int frame = 3; frame <= 5; ++frame) EXPECT_EQ(RedOf(Next(&receiver)), 10 * frame);
}

TEST_F(SceneInSceneTest, ATextureTakesThePlaceOfTheScene) {
  const auto camera = MakeScene(kWidth, kHeight, &device);
  camera->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 0, 0), &device));
  const auto program = MakeScene(kWidth, kHeight, &device);
  const auto item = MakeShowing(camera);
  program->AddItem(item);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(255, 0, 0), {}));
  item->SetTexture(host::MakeColor(0, 255, 0, 255, &device));
  EXPECT_EQ(item->shown_scene(), nullptr);
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(0, 255, 0), {}));
  item->ShowScene(camera);
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(255, 0, 0), {}));
  item->ShowScene(nullptr);
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(0, 255, 0), {}));
}

TEST_F(SceneInSceneTest, AChainIsOfOneFrame) {
  std::vector<scoped_refptr<host::Scene>> chain;
  for (int i = 0; i < 5; ++i) chain.push_back(MakeScene(kWidth, kHeight, &device));
  host::Receiver receiver(chain[0], kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i]->AddItem(MakeShowing(chain[i + 1]));
  chain.back()->AddItem(MakeCounting());
  for (int frame = 1; frame <= 3; ++frame) EXPECT_EQ(RedOf(Next(&receiver)), 10 * frame);
}

TEST_F(SceneInSceneTest, AnItemOfTheHostsIsRightFromTheSecondFrameOn) {
  const auto program = MakeScene(kWidth, kHeight, &device);
  const auto camera = MakeScene(kWidth, kHeight, &device);
  camera->AddItem(MakeCounting());
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  const GsSceneHold hold(camera);
  const auto item = MakeItem(gs_vec2(kWidth, kHeight), &device);
  item->texture = camera->texture();
  program->AddItem(item);
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(0, 0, 0), {})) << "no picture yet: black";
  for (int frame = 2; frame <= 4; ++frame) EXPECT_EQ(RedOf(Next(&receiver)), 10 * frame);
}

TEST_F(SceneInSceneTest, IsUpright) {
  const Picture pattern = MakePattern(kWidth, kHeight, 255);
  const auto program = MakeScene(kWidth, kHeight, &device);
  const auto camera = MakeScene(kWidth, kHeight, &device);
  camera->AddItem(MakePictureItem(pattern, &device));
  const auto item = MakeShowing(camera);
  program->AddItem(item);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), pattern, {}));
  item->SetCrop(gs_vec2(0, 0), gs_vec2(kWidth, kHeight / 2));
  item->Resize(gs_vec2(kWidth, kHeight / 2));
  item->MoveTo(gs_vec2(0, kHeight / 4));
  test::Canvas canvas(kWidth, kHeight, test::kOpaqueBlack);
  canvas.DrawPicture({0, kHeight / 4, kWidth, kHeight / 2}, Crop(pattern, 0, 0, kWidth, kHeight / 2));
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), canvas.picture(), {1}));
}

TEST_F(SceneInSceneTest, OfTwoThatShowEachOtherOneShowsTheFrameBefore) {
  const auto first = MakeScene(kWidth, kHeight, &device);
  const auto second = MakeScene(kWidth, kHeight, &device);
  const auto in_first = MakeShowing(second);
  const auto in_second = MakeShowing(first);
  // Each shows the other in its left half, and a count in its right half.
  for (const auto& [scene, item] : {std::pair(first, in_first), std::pair(second, in_second)}) {
    const auto counting = MakeCounting();
    counting->Resize(gs_vec2(kWidth / 2, kHeight));
    counting->MoveTo(gs_vec2(kWidth / 4, 0));
    item->Resize(gs_vec2(kWidth / 2, kHeight));
    item->MoveTo(gs_vec2(-kWidth / 4, 0));
    item->SetCrop(gs_vec2(kWidth / 2, 0), gs_vec2(kWidth / 2, kHeight));
    scene->AddItem(counting);
    scene->AddItem(item);
  }
  host::Receiver of_first(first, kWidth, kHeight, kGsFormatRGBA, &device);
  host::Receiver of_second(second, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(of_first.Start());
  ASSERT_TRUE(of_second.Start());
  for (int frame = 1; frame <= 4; ++frame) {
    const Picture a = Next(&of_first);
    const auto of_b = of_second.WaitFor(static_cast<std::size_t>(frame));
    ASSERT_EQ(of_b.size(), static_cast<std::size_t>(frame));
    const int left[] = {RedOf(a), RedOf(of_b.back().planes[0])};
    EXPECT_EQ(std::max(left[0], left[1]), 10 * frame) << "one is of this frame";
    EXPECT_EQ(std::min(left[0], left[1]), 10 * (frame - 1)) << "the other of the one before";
  }
  in_first->ShowScene(nullptr);
  in_second->ShowScene(nullptr);
}

TEST_F(SceneInSceneTest, InItselfShowsItsFrameBefore) {
  const auto scene = MakeScene(kWidth, kHeight, &device);
  const auto counting = MakeCounting();
  const auto inset = MakeShowing(scene);
  inset->Resize(gs_vec2(kWidth / 2, kHeight / 2));
  inset->MoveTo(gs_vec2(-kWidth / 4, -kHeight / 4));
  scene->AddItem(counting);
  scene->AddItem(inset);
  host::Receiver receiver(scene, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  const auto at = [](const Picture& picture, int x, int y) { return static_cast<int>(picture.at(x, y)[0]); };
  for (int frame = 1; frame <= 6; ++frame) {
    const Picture picture = Next(&receiver);
    ASSERT_EQ(picture.width, kWidth);
    EXPECT_EQ(at(picture, 60, 30), 10 * frame);
    EXPECT_EQ(at(picture, 28, 14), 10 * (frame - 1)) << "the right lower part of the frame before";
    EXPECT_EQ(at(picture, 12, 6), 10 * std::max(0, frame - 2)) << "and of the one before that";
  }
  inset->SetVisible(false);
  EXPECT_EQ(at(Next(&receiver), 28, 14), 70);
  inset->SetVisible(true);
  EXPECT_EQ(at(Next(&receiver), 28, 14), 70);
  inset->ShowScene(nullptr);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(SceneInSceneTest, AnItemOfTheHostsMayShowItsOwnScene) {
  const auto scene = MakeScene(kWidth, kHeight, &device);
  const auto counting = MakeCounting();
  const auto inset = MakeItem(gs_vec2(kWidth / 2, kHeight / 2), &device);
  inset->texture = scene->texture();
  inset->MoveTo(gs_vec2(-kWidth / 4, -kHeight / 4));
  scene->AddItem(counting);
  scene->AddItem(inset);
  host::Receiver receiver(scene, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  for (int frame = 1; frame <= 4; ++frame) {
    const Picture picture = Next(&receiver);
    ASSERT_EQ(picture.width, kWidth);
    EXPECT_EQ(picture.at(28, 14)[0], 10 * (frame - 1));
  }
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(SceneInSceneTest, IsRenderedAsLongAsItIsShown) {
  const auto camera = MakeScene(kWidth, kHeight, &device);
  const auto counting = MakeCounting();
  camera->AddItem(counting);
  const auto item = MakeShowing(camera);
  Frame(1);
  EXPECT_EQ(counting->ticks, 1) << "also where nobody draws the item";
  item->ShowScene(nullptr);
  EXPECT_EQ(item->shown_scene(), nullptr);
  Frame(2);
  EXPECT_EQ(counting->ticks, 1);
  {
    GsSceneHold hold(camera);
    GsSceneHold moved(std::move(hold));
    EXPECT_EQ(hold.scene(), nullptr);
    EXPECT_EQ(moved.scene(), camera.get());
    Frame(3);
    EXPECT_EQ(counting->ticks, 2);
    hold = std::move(moved);
    EXPECT_EQ(hold.scene(), camera.get());
    Frame(4);
    EXPECT_EQ(counting->ticks, 3);
    hold = GsSceneHold();
    Frame(5);
    EXPECT_EQ(counting->ticks, 3);
    hold = GsSceneHold(camera);
  }
  Frame(6);
  EXPECT_EQ(counting->ticks, 3);
}

TEST_F(SceneInSceneTest, AnItemHoldsTheSceneThatItShows) {
  std::atomic<int> destroyed{0};
  scoped_refptr<GsPictureItem> item = MakeRef<PictureItem>(&device);
  {
    const auto camera = MakeScene(kWidth, kHeight, &device);
    camera->destroyed = &destroyed;
    item->ShowScene(camera);
  }
  EXPECT_EQ(destroyed, 0);
  item->ShowScene(nullptr);
  EXPECT_EQ(destroyed, 1);
  {
    const auto camera = MakeScene(kWidth, kHeight, &device);
    camera->destroyed = &destroyed;
    item->ShowScene(camera);
  }
  item = nullptr;
  EXPECT_EQ(destroyed, 2);
  {
    const auto scene = MakeScene(kWidth, kHeight, &device);
    scene->destroyed = &destroyed;
    item = MakeShowing(scene);
    scene->AddItem(item);
  }
  Frame(1);
  EXPECT_EQ(destroyed, 2) << "a scene that is shown in itself keeps itself";
  item->ShowScene(nullptr);
  EXPECT_EQ(destroyed, 3);
}

TEST_F(SceneInSceneTest, OfAnotherDeviceIsHeldAndNotShown) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  const auto program = MakeScene(kWidth, kHeight, &device);
  const auto camera = MakeScene(kWidth, kHeight, &other);
  host::log::Clear();
  const auto item = MakeShowing(camera);
  EXPECT_EQ(host::log::Complaints(), "[GsPictureItem] the scene is of another device: it is not shown\n");
  item->Resize(gs_vec2(kWidth, kHeight));
  program->AddItem(item);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  EXPECT_TRUE(test::PicturesMatch(Next(&receiver), Plain(0, 0, 0), {}));
  item->ShowScene(nullptr);
}

TEST_F(SceneInSceneTest, FadesFromOneSceneToAnother) {
  const auto red = MakeScene(kWidth, kHeight, &device);
  const auto blue = MakeScene(kWidth, kHeight, &device);
  red->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 0, 0), &device));
  blue->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(0, 0, 1), &device));
  const auto program = MakeScene(kWidth, kHeight, &device);
  program->AddItem(MakeShowing(red));
  const auto after = MakeShowing(blue);
  program->AddItem(after);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  for (const int step : {0, 1, 2, 3, 4}) {
    after->SetOpacity(static_cast<float>(step) / 4);
    const Picture picture = Next(&receiver);
    ASSERT_EQ(picture.width, kWidth);
    EXPECT_NEAR(picture.at(9, 9)[0], 255 - 255 * step / 4, 1);
    EXPECT_NEAR(picture.at(9, 9)[2], 255 * step / 4, 1);
  }
}

// Host threads change everything while frames are drawn.
class PictureItemThreadsTest : public host::ThreadedTest {};

TEST_F(PictureItemThreadsTest, SettersMayRunWhileFramesAreDrawn) {
  const auto program = MakeScene(kWidth, kHeight, device);
  const auto camera = MakeScene(kWidth, kHeight, device);
  camera->AddItem(MakeRef<PictureItem>(gs_vec2(kWidth, kHeight), gs_vec3(1, 0, 0), device));
  const auto item = MakePictureItem(MakePattern(16, 16, 255), device);
  program->AddItem(item);
  host::Receiver receiver(program, kWidth, kHeight, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  std::atomic<bool> stop{false};
  std::thread scenes([&] {
    while (!stop) {
      item->ShowScene(camera);
      item->ShowScene(program);
      item->ShowScene(nullptr);
      {
        const auto brief = MakeScene(8, 8, device);
        item->ShowScene(brief);
      }
      item->ShowScene(nullptr);
    }
  });
  std::thread looks([&] {
    const Picture pattern = MakePattern(16, 16, 128);
    for (int i = 0; !stop; ++i) {
      item->SetOpacity(static_cast<float>(i % 3) / 2);
      item->SetFlip(i % 2 == 0, i % 5 == 0);
      item->SetCrop(gs_vec2(1, 1), gs_vec2(static_cast<float>(i % 4), 3));
      item->SetShader(i % 7 == 0 ? "rgba" : nullptr);
      item->Update(pattern.pixels.data(), 64, 16, 16);
      if (i % 10 == 9) item->SetTexture(MakeTexture(pattern, device));
    }
  });
  EXPECT_TRUE(host::PassFrames(device, 30));
  stop = true;
  scenes.join();
  looks.join();
  receiver.Stop();
  EXPECT_TRUE(host::ThreadedDeviceWorks(device));
}

}  // namespace
