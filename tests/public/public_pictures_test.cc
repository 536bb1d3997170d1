// What outputs deliver of a scene, compared with what a CPU draws of it.
#include <EGL/egl.h>
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/public/host.h"
#include "tests/support/cpu_reference.h"

namespace {

using host::MakeItem;
using host::MakePattern;
using host::MakeScene;
using host::MakeTexture;
using test::Picture;

constexpr char kTintName[] = "a host's tint with a long name";
constexpr float kTint[] = {1.0f, 0.5f, 0.25f, 0.6f};

// Draws two pictures over each other.
class OverlayFilter : public GsFilter {
 public:
  OverlayFilter(unsigned int width, unsigned int height, GsDevice* device)
      : GsFilter(width, height, device), device_(device) {}
  ~OverlayFilter() override { Detach(); }

  void Draw() override {
    GsContext context(device_);
    const gs_vec2 target(static_cast<float>(width()), static_cast<float>(height()));
    context.SetViewport(0, 0, width(), height());
    if (!context.BindShader("rgba")) return;
    for (const auto& [placement, picture] : layers) {
      GsTextureBinder binder(picture);
      context.DrawRect(gs_transform(gs_vec2(placement.x, placement.y), gs_vec2(placement.width, placement.height),
                                    placement.rotation),
                       target);
    }
    context.UnbindShader();
  }

  std::vector<std::pair<test::Placement, GsTexture*>> layers;

 private:
  GsDevice* device_;
};

// A scene of rotated, overlapping and half-transparent items, on the GPU and on the CPU.
class Composition {
 public:
  Composition(int width, int height, GsDevice* device)
      : device_(device),
        scene_(MakeScene(static_cast<unsigned int>(width), static_cast<unsigned int>(height), device)),
        canvas_(width, height, test::kOpaqueBlack),
        tint_(kTint, sizeof(kTint), device),
        filter_(80, 40, device) {
    EXPECT_TRUE(device->AddShader(kTintName, glsl_src[kGsGlslRgba + 1], host::kTintSource));
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);

    const Picture background = MakePattern(64, 36, 255);
    Add({0, 0, w, h}, background);
    Add({-0.2f * w, -0.1f * h, 0.45f * w, 0.6f * h, 0.5f}, MakePattern(40, 30, -1));

    const Picture tinted = MakePattern(31, 17, 200);
    const test::Placement tinted_place = {0.2f * w, 0.15f * h, 0.4f * w, 0.65f * h, -0.8f};
    Item(tinted_place, tinted)->constants = &tint_;
    items_.back()->program = kTintName;
    canvas_.Draw(tinted_place, [&](float u, float v) {
      const test::Color color = test::SampleLinear(tinted, u, v);
      return test::Color{color.r * kTint[0], color.g * kTint[1], color.b * kTint[2], color.a * kTint[3]};
    });

    test::Canvas filtered(80, 40, test::kOpaqueBlack);
    const Picture left = MakePattern(20, 20, 255);
    const Picture right = MakePattern(24, 12, 128);
    const test::Placement left_place = {-15, 2, 40, 30, 0.3f};
    const test::Placement right_place = {10, -4, 50, 24};
    textures_.push_back(MakeTexture(left, device));
    filter_.layers.emplace_back(left_place, textures_.back().get());
    textures_.push_back(MakeTexture(right, device));
    filter_.layers.emplace_back(right_place, textures_.back().get());
    filtered.DrawPicture(left_place, left);
    filtered.DrawPicture(right_place, right);
    filter_.Attach();
    const test::Placement filter_place = {0, 0.25f * h, 0.5f * w, 0.4f * h, 0.2f};
    Item(filter_place, Picture())->texture = filter_.texture();
    canvas_.DrawPicture(filter_place, filtered.picture());

    Picture red(1, 1, 4);
    red.pixels = {255, 0, 0, 128};
    Add({0.45f * w, -0.45f * h, 0.3f * w, 0.3f * h, 1.2f}, red);  // Partly outside.
  }

  ~Composition() {
    for (const auto& item : items_) scene_->RemoveItem(item);
  }

  GsScene* scene() const { return scene_; }
  const Picture& expected() const { return canvas_.picture(); }

 private:
  // An item of the scene, without a picture of it on the canvas.
  host::Item* Item(const test::Placement& placement, const Picture& picture) {
    items_.push_back(MakeItem(gs_vec2(placement.width, placement.height), device_));
    host::Item* const item = items_.back();
    item->MoveTo(gs_vec2(placement.x, placement.y));
    item->SetRotation(placement.rotation);
    if (picture.width > 0) {
      textures_.push_back(MakeTexture(picture, device_));
      item->texture = textures_.back().get();
    }
    scene_->AddItem(item);
    return item;
  }

  void Add(const test::Placement& placement, const Picture& picture) {
    Item(placement, picture);
    canvas_.DrawPicture(placement, picture);
  }

  GsDevice* device_;
  scoped_refptr<host::Scene> scene_;
  test::Canvas canvas_;
  GsConstantBuffer tint_;
  OverlayFilter filter_;
  std::vector<std::unique_ptr<GsTexture>> textures_;
  std::vector<scoped_refptr<host::Item>> items_;
};

// Interpolation and blending round a little differently. A pixel whose centre lies on a turned edge falls to one side
// or the other.
constexpr test::Tolerance kTolerance = {2, 0.001};

struct Sizes {
  const char* name;
  int scene_width;
  int scene_height;
  int width;
  int height;
};

void PrintTo(const Sizes& sizes, std::ostream* out) { *out << sizes.name; }

class OutputSizesTest : public host::DrivenTest, public ::testing::WithParamInterface<Sizes> {
 protected:
  // The planes that an output of the parameter's size delivers of the composition.
  std::vector<Picture> Deliver(GsFormat format) {
    const Sizes& sizes = GetParam();
    const Composition composition(sizes.scene_width, sizes.scene_height, &device);
    source = composition.expected();
    host::Receiver receiver(composition.scene(), static_cast<unsigned int>(sizes.width),
                            static_cast<unsigned int>(sizes.height), format, &device);
    EXPECT_TRUE(receiver.Start());
    Frame(1);
    const auto deliveries = receiver.WaitFor(1);
    receiver.Stop();
    EXPECT_EQ(deliveries.size(), 1u);
    return deliveries.empty() ? std::vector<Picture>(3) : deliveries[0].planes;
  }

  void TearDown() override {
    EXPECT_EQ(host::log::Complaints(), "");
    DrivenTest::TearDown();
  }

  Picture source;
};

TEST_P(OutputSizesTest, RgbaMatchesTheReference) {
  const auto planes = Deliver(kGsFormatRGBA);
  EXPECT_TRUE(
      test::PicturesMatch(planes[0], test::FitPicture(source, GetParam().width, GetParam().height), kTolerance));
}

TEST_P(OutputSizesTest, BgraMatchesTheReferenceWithTheProgram) {
  ASSERT_TRUE(device.AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
  const auto planes = Deliver(kGsFormatBGRA);
  Picture expected = test::FitPicture(source, GetParam().width, GetParam().height);
  for (std::size_t i = 0; i < expected.pixels.size(); i += 4) std::swap(expected.pixels[i], expected.pixels[i + 2]);
  EXPECT_TRUE(test::PicturesMatch(planes[0], expected, kTolerance));
}

TEST_P(OutputSizesTest, BgraIsOpaqueBlackWithoutTheProgram) {
  const auto planes = Deliver(kGsFormatBGRA);
  const test::Canvas black(GetParam().width, GetParam().height, test::kOpaqueBlack);
  EXPECT_TRUE(test::PicturesMatch(planes[0], black.picture(), {}));
}

TEST_P(OutputSizesTest, I420MatchesTheReference) {
  const auto planes = Deliver(kGsFormatI420);
  const test::YuvPlanes expected = test::ConvertToYuv(source, GetParam().width, GetParam().height);
  EXPECT_TRUE(test::PicturesMatch(planes[0], expected.y, kTolerance));
  EXPECT_TRUE(test::PicturesMatch(planes[1], expected.u, kTolerance));
  EXPECT_TRUE(test::PicturesMatch(planes[2], expected.v, kTolerance));
}

TEST_P(OutputSizesTest, Nv12MatchesTheReference) {
  const auto planes = Deliver(kGsFormatNV12);
  const test::YuvPlanes expected = test::ConvertToYuv(source, GetParam().width, GetParam().height);
  EXPECT_TRUE(test::PicturesMatch(planes[0], expected.y, kTolerance));
  EXPECT_TRUE(test::PicturesMatch(planes[1], expected.uv, kTolerance));
}

INSTANTIATE_TEST_SUITE_P(All, OutputSizesTest,
                         ::testing::Values(Sizes{"SameSize", 320, 180, 320, 180}, Sizes{"Halved", 320, 180, 160, 90},
                                           Sizes{"Enlarged", 160, 90, 400, 225},
                                           Sizes{"WiderOutput", 320, 180, 400, 150},
                                           Sizes{"TallerOutput", 320, 180, 200, 300},
                                           Sizes{"OddSameSize", 161, 91, 161, 91}, Sizes{"OddWider", 161, 91, 253, 77},
                                           Sizes{"OddTaller", 161, 91, 67, 131}, Sizes{"TallScene", 90, 160, 131, 75}),
                         [](const auto& sizes) { return std::string(sizes.param.name); });

class GsOutputRawTest : public host::DrivenTest {};

TEST_F(GsOutputRawTest, BgraTakesUpTheProgramBetweenFrames) {
  const auto scene = MakeScene(4, 4, &device);
  const auto color = host::MakeColor(10, 20, 30, 255, &device);
  const auto item = MakeItem(gs_vec2(4, 4), &device);
  item->texture = color.get();
  scene->AddItem(item);
  host::Receiver receiver(scene, 4, 4, kGsFormatBGRA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  ASSERT_TRUE(device.AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
  Frame(2);
  const auto deliveries = receiver.WaitFor(2);
  receiver.Stop();
  ASSERT_EQ(deliveries.size(), 2u);
  const test::Canvas black(4, 4, test::kOpaqueBlack);
  EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[0], black.picture(), {}));
  test::Canvas swapped(4, 4, test::Color{30 / 255.0f, 20 / 255.0f, 10 / 255.0f, 1.0f});
  EXPECT_TRUE(test::PicturesMatch(deliveries[1].planes[0], swapped.picture(), {}));
}

TEST_F(GsOutputRawTest, OutputsOfOneSceneShowTheSamePicture) {
  const Composition composition(120, 70, &device);
  host::Receiver first(composition.scene(), 120, 70, kGsFormatRGBA, &device);
  host::Receiver second(composition.scene(), 120, 70, kGsFormatRGBA, &device);
  ASSERT_TRUE(first.Start());
  ASSERT_TRUE(second.Start());
  Frame(1);
  const auto a = first.WaitFor(1);
  const auto b = second.WaitFor(1);
  ASSERT_EQ(a.size(), 1u);
  ASSERT_EQ(b.size(), 1u);
  EXPECT_TRUE(test::PicturesMatch(a[0].planes[0], b[0].planes[0], {}));
}

TEST_F(GsOutputRawTest, SameFramesGiveTheSameBytes) {
  const Composition composition(160, 90, &device);
  host::Receiver receiver(composition.scene(), 133, 81, kGsFormatI420, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  receiver.WaitFor(1);
  Frame(2);
  const auto deliveries = receiver.WaitFor(2);
  ASSERT_EQ(deliveries.size(), 2u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[i], deliveries[1].planes[i], {}));
  }
}

class GsSceneTest : public host::DrivenTest {
 protected:
  // The colour in the middle of the scene's next frame.
  std::vector<unsigned char> NextFrame(host::Receiver* receiver) {
    const std::size_t count = receiver->deliveries().size() + 1;
    Frame(count);
    const auto deliveries = receiver->WaitFor(count);
    if (deliveries.size() < count) return {};
    const unsigned char* const pixel = deliveries.back().planes[0].at(4, 4);
    return std::vector<unsigned char>(pixel, pixel + 4);
  }
};

TEST_F(GsSceneTest, DrawsItemsInTheOrderOfTheListAndOfZ) {
  const auto red = host::MakeColor(255, 0, 0, 255, &device);
  const auto blue = host::MakeColor(0, 0, 255, 255, &device);
  const auto scene = MakeScene(8, 8, &device);
  const auto first = MakeItem(gs_vec2(8, 8), &device);
  const auto second = MakeItem(gs_vec2(8, 8), &device);
  first->texture = red.get();
  second->texture = blue.get();
  scene->AddItem(first);
  scene->AddItem(second);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  const std::vector<unsigned char> kRed = {255, 0, 0, 255};
  const std::vector<unsigned char> kBlue = {0, 0, 255, 255};
  EXPECT_EQ(NextFrame(&receiver), kBlue);
  first->SetZ(1);
  EXPECT_EQ(NextFrame(&receiver), kBlue) << "only OrderItem sorts";
  scene->OrderItem();
  EXPECT_EQ(NextFrame(&receiver), kRed);
  first->SetVisible(false);
  EXPECT_EQ(NextFrame(&receiver), kBlue);
  scene->RemoveItem(second);
  EXPECT_EQ(NextFrame(&receiver), (std::vector<unsigned char>{0, 0, 0, 255}));
}

TEST_F(GsSceneTest, TicksHiddenItemsWithoutDrawingThem) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  item->SetVisible(false);
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  Frame(2);
  EXPECT_EQ(item->ticks.value(), 2);
  EXPECT_EQ(item->draws, 0);
}

TEST_F(GsSceneTest, IsNeitherTickedNorDrawnWithoutAnOutput) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  Frame(1);
  EXPECT_EQ(item->ticks.value(), 0);
  EXPECT_EQ(item->draws, 0);
  {
    host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
    Frame(2);  // In use, though not started.
    EXPECT_EQ(item->ticks.value(), 1);
    EXPECT_EQ(item->draws, 1);
  }
  Frame(3);
  EXPECT_EQ(item->ticks.value(), 1);
  EXPECT_EQ(item->draws, 1);
}

class GsTextureTest : public host::DrivenTest {};

TEST_F(GsTextureTest, UpdateShowsInTheNextFrame) {
  const Picture before = MakePattern(9, 7, 255);
  const Picture after = before.Flipped();
  const auto texture = MakeTexture(before, &device);
  const auto scene = MakeScene(9, 7, &device);
  const auto item = MakeItem(gs_vec2(9, 7), &device);
  item->texture = texture.get();
  scene->AddItem(item);
  host::Receiver receiver(scene, 9, 7, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  texture->Update(after.pixels.data(), 9 * 4, GsTexture::kTextureRGBA, 9, 7);
  Frame(2);
  const auto deliveries = receiver.WaitFor(2);
  ASSERT_EQ(deliveries.size(), 2u);
  EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[0], before, {}));
  EXPECT_TRUE(test::PicturesMatch(deliveries[1].planes[0], after, {}));
}

class GsConstantBufferTest : public host::DrivenTest {};

TEST_F(GsConstantBufferTest, UpdateShowsInTheNextFrameAndUnbindGivesZeros) {
  ASSERT_TRUE(device.AddShader(kTintName, glsl_src[kGsGlslRgba + 1], host::kTintSource));
  const auto white = host::MakeColor(255, 255, 255, 255, &device);
  const float half[] = {0.5f, 0.5f, 0.5f, 1.0f};
  const float green[] = {0.0f, 1.0f, 0.0f, 1.0f};
  GsConstantBuffer constants(half, sizeof(half), &device);
  const auto scene = MakeScene(4, 4, &device);
  const auto item = MakeItem(gs_vec2(4, 4), &device);
  item->texture = white.get();
  item->program = kTintName;
  item->constants = &constants;
  scene->AddItem(item);
  host::Receiver receiver(scene, 4, 4, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  constants.Update(green, sizeof(green));
  Frame(2);
  item->constants = nullptr;  // The block now reads zeros: nothing shows.
  Frame(3);
  const auto deliveries = receiver.WaitFor(3);
  ASSERT_EQ(deliveries.size(), 3u);
  EXPECT_TRUE(
      test::PicturesMatch(deliveries[0].planes[0], test::Canvas(4, 4, {0.5f, 0.5f, 0.5f, 1.0f}).picture(), {1}));
  EXPECT_TRUE(test::PicturesMatch(deliveries[1].planes[0], test::Canvas(4, 4, {0, 1, 0, 1}).picture(), {}));
  EXPECT_TRUE(test::PicturesMatch(deliveries[2].planes[0], test::Canvas(4, 4, test::kOpaqueBlack).picture(), {}));
}

class GsOutputTexTest : public host::DrivenTest {};

TEST_F(GsOutputTexTest, RunsOnTheRenderThreadWithTheContextCurrent) {
  const auto scene = MakeScene(21, 13, &device);
  host::TextureReceiver receiver(scene, 21, 13, &device);
  std::thread::id thread;
  bool render_thread = false;
  EGLContext context = EGL_NO_CONTEXT;
  GLuint name = 0;
  unsigned int width = 0;
  unsigned int height = 0;
  receiver.on_texture = [&](GsTexture* texture, int) {
    thread = std::this_thread::get_id();
    render_thread = device.IsInternalRenderThread();
    context = eglGetCurrentContext();
    glGenTextures(1, &name);
    glDeleteTextures(1, &name);
    width = texture->width();
    height = texture->height();
  };
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  EXPECT_EQ(receiver.timestamps(), std::vector<std::uint64_t>{1});
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_TRUE(render_thread);
  EXPECT_NE(context, EGL_NO_CONTEXT);
  EXPECT_NE(name, 0u);
  EXPECT_EQ(width, 21u);
  EXPECT_EQ(height, 13u);
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "a frame leaves no context current";
}

TEST_F(GsOutputTexTest, StampsAsARawOutputDoes) {
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver raw(scene, 8, 8, kGsFormatRGBA, &device);
  host::TextureReceiver texture(scene, 8, 8, &device);
  ASSERT_TRUE(raw.Start());
  ASSERT_TRUE(texture.Start());
  for (const std::uint64_t timestamp : {5u, 1000u, 999u, 0u}) Frame(timestamp);
  raw.WaitFor(4);
  EXPECT_EQ(raw.timestamps(), (std::vector<std::uint64_t>{5, 1000, 999, 0}));
  EXPECT_EQ(texture.timestamps(), raw.timestamps());
}

// Draws the texture that it is handed into a target of its own, with GL of its own.
TEST_F(GsOutputTexTest, HandsOutAPictureThatAHostCanDraw) {
  const Composition composition(90, 50, &device);
  host::TextureReceiver receiver(composition.scene(), 90, 50, &device);
  Picture drawn(90, 50, 4);
  GLenum error = GL_NO_ERROR;
  receiver.on_texture = [&](GsTexture* texture, int) {
    GLuint target = 0;
    GLuint frame_buffer = 0;
    glGenTextures(1, &target);
    glBindTexture(GL_TEXTURE_2D, target);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 90, 50, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenFramebuffers(1, &frame_buffer);
    glBindFramebuffer(GL_FRAMEBUFFER, frame_buffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    GsContext context(&device);
    context.SetViewport(0, 0, 90, 50);
    if (context.BindShader("rgba")) {
      GsTextureBinder binder(texture);
      context.DrawRect(gs_transform(gs_vec2(0, 0), gs_vec2(90, 50)), gs_vec2(90, 50));
      context.UnbindShader();
    }
    glReadPixels(0, 0, 90, 50, GL_RGBA, GL_UNSIGNED_BYTE, drawn.pixels.data());
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &frame_buffer);
    glDeleteTextures(1, &target);
    error = glGetError();
  };
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  EXPECT_EQ(error, static_cast<GLenum>(GL_NO_ERROR));
  EXPECT_TRUE(test::PicturesMatch(drawn.Flipped(), composition.expected(), kTolerance));
  EXPECT_EQ(host::log::Complaints(), "");
}

}  // namespace
