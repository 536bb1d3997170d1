#include "graphics/opengl/graphics_output_gl.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/glsl_src.h>

#include "foundation/event.h"
#include "graphics/graphics_scene.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_scene_gl.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

using OutputFormat = GraphicsOutput::OutputFormat;

constexpr unsigned int kFps = 30;
constexpr unsigned long long kInterval = 33333333;
constexpr GraphicsFormatInternal kFrameFormats[] = {kFormatUnknown, kFormatUnknown, kFormatRGBA,
                                                    kFormatBGRA,    kFormatI420,    kFormatNV12};

// Keeps what it is given; can be made to hold each delivery until it is let go, as a slow host does.
class Receiver : public GraphicsOutput::OutputCallback {
 public:
  struct Delivery {
    unsigned long long timestamp;
    GraphicsFormatInternal format;
    std::vector<test::Picture> planes;
    std::thread::id thread;
  };

  explicit Receiver(OutputFormat format) : OutputCallback(format) {}

  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
    Delivery delivery = {timestamp, frame.format, Planes(frame), std::this_thread::get_id()};
    std::unique_lock<std::mutex> lock(mutex_);
    deliveries_.push_back(std::move(delivery));
    changed_.notify_all();
    changed_.wait(lock, [this] { return !held_; });
  }

  void Hold() {
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = true;
  }
  void Release() {
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = false;
    changed_.notify_all();
  }
  // The deliveries so far, once there are `count`.
  std::vector<Delivery> WaitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return deliveries_.size() >= count; }))
        << "only " << deliveries_.size() << " deliveries of " << count;
    return deliveries_;
  }

 private:
  static std::vector<test::Picture> Planes(const GraphicsFrame& frame) {
    const int w = static_cast<int>(frame.width);
    const int h = static_cast<int>(frame.height);
    const auto plane = [&frame](int i, int width, int height, int channels) {
      return test::Picture(frame.data[i], frame.linesize[i], width, height, channels);
    };
    switch (frame.format) {
      case kFormatI420: return {plane(0, w, h, 1), plane(1, w / 2, h / 2, 1), plane(2, w / 2, h / 2, 1)};
      case kFormatNV12: return {plane(0, w, h, 1), plane(1, w / 2, h / 2, 2)};
      default: return {plane(0, w, h, 4)};
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Delivery> deliveries_;
  bool held_ = false;
};

class TextureReceiver : public GraphicsOutput::OutputCallback {
 public:
  TextureReceiver() : OutputCallback(GraphicsOutput::kOutputTexture) {}
  void OnOutputTexture(GraphicsTexture* given, unsigned long long time) override {
    ++calls;
    texture = given;
    timestamp = time;
    thread = std::this_thread::get_id();
    current_context = eglGetCurrentContext();
  }
  int calls = 0;
  GraphicsTexture* texture = nullptr;
  unsigned long long timestamp = 0;
  std::thread::id thread;
  EGLContext current_context = EGL_NO_CONTEXT;
};

// A scene of any size and texture.
class BareScene : public GraphicsScene {
 public:
  BareScene(unsigned int width, unsigned int height, GraphicsTexture* texture)
      : width_(width), height_(height), texture_(texture) {}
  void Attach(DrawCallback*) override {}
  void Detach() override {}
  unsigned int width() override { return width_; }
  unsigned int height() override { return height_; }
  void Draw() override {}
  void AddRef() override {}
  void ReleaseRef() override {}
  bool HasRef() override { return true; }
  GraphicsTexture* texture() override { return texture_; }

 private:
  unsigned int width_;
  unsigned int height_;
  GraphicsTexture* texture_;
};

class GraphicsOutputGLTest : public GlTest {
 protected:
  void TearDown() override {
    scene_.reset();
    GlTest::TearDown();
  }

  // The scene shows this picture from now on.
  GraphicsSceneGL* Show(const test::Picture& picture) {
    class Callback : public GraphicsScene::DrawCallback {
     public:
      Callback(GraphicsContextGL* drawing_context, const test::Picture& shown)
          : context_(drawing_context),
            size_(static_cast<float>(shown.width), static_cast<float>(shown.height)),
            texture_(test::MakeTexture(drawing_context, shown)) {}
      void Draw() override {
        context_->SetViewPort(0, 0, texture_->width(), texture_->height());
        EXPECT_TRUE(context_->BindShader("rgba"));
        texture_->BindShaderResource(0);
        context_->DrawRect(size_, size_);
        texture_->ReleaseShaderResource();
        context_->UnbindShader();
      }

     private:
      GraphicsContextGL* context_;
      internal_vec2 size_;
      std::unique_ptr<GraphicsTextureGL> texture_;
    } callback(context(), picture);
    if (!scene_) {
      scene_ = std::make_unique<GraphicsSceneGL>(context(), static_cast<unsigned int>(picture.width),
                                                 static_cast<unsigned int>(picture.height));
      EXPECT_TRUE(scene_->Init());
    }
    scene_->Attach(&callback);
    MutexLocker<GraphicsContextGL> lock(*context());
    scene_->Draw();
    scene_->Detach();
    return scene_.get();
  }

  std::unique_ptr<GraphicsOutputGL> MakeOutput(GraphicsScene* scene, int width, int height) {
    auto output = std::make_unique<GraphicsOutputGL>(context(), scene, static_cast<unsigned int>(width),
                                                     static_cast<unsigned int>(height), kFps);
    EXPECT_TRUE(output->Init());
    return output;
  }

  // What an output of that size and format delivers of a scene that shows `source`.
  std::vector<test::Picture> Deliver(const test::Picture& source, int width, int height, OutputFormat format) {
    scene_.reset();
    const auto output = MakeOutput(Show(source), width, height);
    Receiver receiver(format);
    output->Attach(&receiver);
    context()->DoOutput(1000, 1);
    const Receiver::Delivery delivery = receiver.WaitFor(1)[0];
    output->Detach();
    EXPECT_EQ(delivery.timestamp, 1000u);
    EXPECT_EQ(delivery.format, kFrameFormats[format]);
    return delivery.planes;
  }

  static test::Picture Plain(int width, int height, const test::Color& color) {
    return test::Canvas(width, height, color).picture();
  }
  // A picture that is told from others by its red.
  static test::Picture Numbered(int number) {
    return Plain(16, 8, {static_cast<float>(10 * number) / 255.0f, 0, 0, 1});
  }
  static int NumberOf(const Receiver::Delivery& delivery) { return (delivery.planes[0].at(4, 4)[0] + 5) / 10; }

  std::unique_ptr<GraphicsSceneGL> scene_;
};

struct ResourceCase {
  OutputFormat format;
  int width;
  int height;
  std::vector<std::size_t> pack_buffers;  // Bytes.
  bool constant_buffer;
};

class OutputResourcesTest : public GraphicsOutputGLTest, public ::testing::WithParamInterface<ResourceCase> {};

TEST_P(OutputResourcesTest, AreMadeByAttachAndKeptUntilDestruction) {
  auto output = MakeOutput(Show(test::TestCard(32, 16)), GetParam().width, GetParam().height);
  const int objects = gl_spy::LiveObjects();
  const std::size_t uploads_before = gl_spy::Uploads().size();
  Receiver receiver(GetParam().format);
  output->Attach(&receiver);
  // A texture, a framebuffer and a pack buffer a plane.
  const int expected = static_cast<int>(GetParam().pack_buffers.size()) * 3 + (GetParam().constant_buffer ? 1 : 0);
  EXPECT_EQ(gl_spy::LiveObjects(), objects + expected);
  std::vector<std::size_t> pack_buffers;
  std::vector<std::size_t> constant_buffers;
  const std::vector<gl_spy::Upload> uploads = gl_spy::Uploads();
  for (std::size_t i = uploads_before; i < uploads.size(); ++i) {
    if (uploads[i].target == GL_PIXEL_PACK_BUFFER) pack_buffers.push_back(uploads[i].bytes.size());
    if (uploads[i].target == GL_UNIFORM_BUFFER) constant_buffers.push_back(uploads[i].bytes.size());
  }
  EXPECT_EQ(pack_buffers, GetParam().pack_buffers);
  EXPECT_EQ(constant_buffers, std::vector<std::size_t>(GetParam().constant_buffer ? 1 : 0, 32));
  output->Detach();
  EXPECT_EQ(gl_spy::LiveObjects(), objects + expected);
  output->Attach(&receiver);
  EXPECT_EQ(gl_spy::LiveObjects(), objects + expected) << "a second attach replaces them";
  output->Detach();
  output.reset();
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

INSTANTIATE_TEST_SUITE_P(
    All, OutputResourcesTest,
    ::testing::Values(ResourceCase{GraphicsOutput::kOutputNone, 64, 36, {}, false},
                      ResourceCase{GraphicsOutput::kOutputTexture, 64, 36, {}, false},
                      ResourceCase{GraphicsOutput::kOutputRGBA, 64, 36, {64 * 36 * 4}, false},
                      ResourceCase{GraphicsOutput::kOutputBGRA, 64, 36, {64 * 36 * 4}, false},
                      ResourceCase{GraphicsOutput::kOutputI420, 64, 36, {64 * 36, 64 * 9, 64 * 9}, true},
                      ResourceCase{GraphicsOutput::kOutputNV12, 64, 36, {64 * 36, 64 * 18}, true},
                      ResourceCase{GraphicsOutput::kOutputI420, 641, 359, {230119, 57529, 57529}, true},
                      ResourceCase{GraphicsOutput::kOutputNV12, 641, 359, {230119, 115059}, true}),
    [](const ::testing::TestParamInfo<ResourceCase>& param_info) {
      return "Format" + std::to_string(param_info.param.format) + "Width" + std::to_string(param_info.param.width);
    });

TEST_F(GraphicsOutputGLTest, WithoutAContextNothingHappens) {
  GraphicsOutputGL output(nullptr, nullptr, 16, 8, kFps);
  ASSERT_TRUE(output.Init());
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output.Attach(&receiver);
  output.Output(1, 1);
  output.ConvertFormat(nullptr, GraphicsOutput::kOutputRGBA);
  output.ReadPixel(GraphicsOutput::kOutputRGBA);
  output.OutputRawPixel(GraphicsOutput::kOutputRGBA, 1, 1);
  output.Detach();
}

struct SizeCase {
  const char* name;
  int source_width;
  int source_height;
  int width;
  int height;
};

// Rounding of the conversion, and the 8-bit weights with which drivers mix texels.
constexpr test::Tolerance kTolerance = {2, 0.0};

class OutputPictureTest : public GraphicsOutputGLTest, public ::testing::WithParamInterface<SizeCase> {
 protected:
  const test::Picture source_ = test::TestCard(GetParam().source_width, GetParam().source_height);
  std::vector<test::Picture> DeliverAs(OutputFormat format) {
    return Deliver(source_, GetParam().width, GetParam().height, format);
  }
  // Whether a delivered plane is the one of the reference.
  testing::AssertionResult IsFitted(const test::Picture& rgba) {
    return test::PicturesMatchWithEdges(
        rgba,
        [this](const test::Edges& edges) {
          return test::FitPicture(source_, GetParam().width, GetParam().height, edges);
        },
        kTolerance);
  }
  testing::AssertionResult IsConverted(const test::Picture& plane, test::Picture test::YuvPlanes::*which) {
    return test::PicturesMatchWithEdges(
        plane,
        [this, which](const test::Edges& edges) {
          return test::ConvertToYuv(source_, GetParam().width, GetParam().height, edges).*which;
        },
        kTolerance);
  }
};

TEST_P(OutputPictureTest, RGBA) { EXPECT_TRUE(IsFitted(DeliverAs(GraphicsOutput::kOutputRGBA)[0])); }

TEST_P(OutputPictureTest, I420) {
  const std::vector<test::Picture> planes = DeliverAs(GraphicsOutput::kOutputI420);
  EXPECT_TRUE(IsConverted(planes[0], &test::YuvPlanes::y));
  EXPECT_TRUE(IsConverted(planes[1], &test::YuvPlanes::u));
  EXPECT_TRUE(IsConverted(planes[2], &test::YuvPlanes::v));
}

TEST_P(OutputPictureTest, NV12) {
  const std::vector<test::Picture> planes = DeliverAs(GraphicsOutput::kOutputNV12);
  EXPECT_TRUE(IsConverted(planes[0], &test::YuvPlanes::y));
  EXPECT_TRUE(IsConverted(planes[1], &test::YuvPlanes::uv));
}

INSTANTIATE_TEST_SUITE_P(
    All, OutputPictureTest,
    ::testing::Values(SizeCase{"SameSize", 128, 72, 128, 72}, SizeCase{"WideToNarrow", 128, 72, 128, 96},
                      SizeCase{"NarrowToWide", 128, 96, 128, 72}, SizeCase{"ReducedToOddHeight", 128, 72, 80, 60},
                      SizeCase{"ReducedToOddWidth", 54, 72, 80, 60}, SizeCase{"Enlarged", 64, 36, 160, 90},
                      SizeCase{"OddSameSize", 641, 359, 641, 359}, SizeCase{"OddFitted", 320, 180, 641, 359},
                      SizeCase{"SameHeight", 64, 48, 40, 48}, SizeCase{"SameWidth", 64, 48, 64, 36},
                      SizeCase{"ThreeByThree", 3, 3, 3, 3}, SizeCase{"TwoByTwo", 2, 2, 2, 2},
                      SizeCase{"ThreeByTwo", 64, 64, 3, 2}),
    [](const ::testing::TestParamInfo<SizeCase>& param_info) { return std::string(param_info.param.name); });

TEST_F(GraphicsOutputGLTest, WideSceneInANarrowOutputLeavesBlackAboveAndBelow) {
  const test::Picture white = Plain(160, 90, {1, 1, 1, 1});
  const test::Picture rgba = Deliver(white, 160, 120, GraphicsOutput::kOutputRGBA)[0];
  // 160 wide and 160 / (16 / 9) = 90 high: rows 15 to 104.
  for (const int y : {0, 14, 105, 119})
    EXPECT_THAT(std::vector<int>(rgba.at(80, y), rgba.at(80, y) + 4), ElementsAre(0, 0, 0, 255)) << y;
  for (const int y : {15, 104}) EXPECT_THAT(std::vector<int>(rgba.at(0, y), rgba.at(0, y) + 4), Each(255)) << y;
  const std::vector<test::Picture> planes = Deliver(white, 160, 120, GraphicsOutput::kOutputI420);
  EXPECT_EQ(*planes[0].at(80, 14), 0) << "zero, not the black of video";
  EXPECT_EQ(*planes[0].at(80, 15), 235);
  EXPECT_EQ(*planes[1].at(40, 6), 0);
  EXPECT_EQ(*planes[1].at(40, 8), 128);
  EXPECT_EQ(*planes[2].at(40, 6), 0);
  EXPECT_EQ(*planes[2].at(40, 8), 128);
}

TEST_F(GraphicsOutputGLTest, NarrowSceneInAWideOutputLeavesBlackAtTheSides) {
  const test::Picture white = Plain(160, 120, {1, 1, 1, 1});
  const test::Picture rgba = Deliver(white, 160, 90, GraphicsOutput::kOutputRGBA)[0];
  // 90 high and 90 * 4 / 3 = 120 wide: columns 20 to 139.
  for (const int x : {0, 19, 140, 159})
    EXPECT_THAT(std::vector<int>(rgba.at(x, 45), rgba.at(x, 45) + 4), ElementsAre(0, 0, 0, 255)) << x;
  for (const int x : {20, 139}) EXPECT_THAT(std::vector<int>(rgba.at(x, 0), rgba.at(x, 0) + 4), Each(255)) << x;
  const std::vector<test::Picture> planes = Deliver(white, 160, 90, GraphicsOutput::kOutputNV12);
  EXPECT_EQ(*planes[0].at(19, 45), 0);
  EXPECT_EQ(*planes[0].at(20, 45), 235);
  EXPECT_THAT(std::vector<int>(planes[1].at(9, 20), planes[1].at(9, 20) + 2), Each(0));
  EXPECT_THAT(std::vector<int>(planes[1].at(10, 20), planes[1].at(10, 20) + 2), Each(128));
}

TEST_F(GraphicsOutputGLTest, PrimaryColoursHaveTheirVideoLevels) {
  // Limited-range BT.709, from the standard's table of 100 % bars.
  const struct {
    test::Color color;
    int y, u, v;
  } bars[] = {{{1, 0, 0, 1}, 63, 102, 240},
              {{0, 1, 0, 1}, 173, 42, 26},
              {{0, 0, 1, 1}, 32, 240, 118},
              {{0, 0, 0, 1}, 16, 128, 128},
              {{1, 1, 1, 1}, 235, 128, 128}};
  for (const auto& bar : bars) {
    const std::vector<test::Picture> planes = Deliver(Plain(4, 4, bar.color), 4, 4, GraphicsOutput::kOutputI420);
    EXPECT_NEAR(*planes[0].at(1, 1), bar.y, 1);
    EXPECT_NEAR(*planes[1].at(1, 1), bar.u, 1);
    EXPECT_NEAR(*planes[2].at(1, 1), bar.v, 1);
  }
}

TEST_F(GraphicsOutputGLTest, BGRAIsOpaqueBlack) {
  const test::Picture delivered = Deliver(test::TestCard(32, 16), 32, 16, GraphicsOutput::kOutputBGRA)[0];
  EXPECT_TRUE(test::PicturesMatch(delivered, Plain(32, 16, test::kOpaqueBlack), {}));
}

TEST_F(GraphicsOutputGLTest, BGRAUsesTheProgramThatAHostAddsForIt) {
  ASSERT_TRUE(device()->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
  const test::Picture card = test::TestCard(32, 16);
  const test::Picture delivered = Deliver(card, 32, 24, GraphicsOutput::kOutputBGRA)[0];
  test::Picture expected = test::FitPicture(card, 32, 24);
  for (std::size_t i = 0; i < expected.pixels.size(); i += 4) std::swap(expected.pixels[i], expected.pixels[i + 2]);
  EXPECT_TRUE(test::PicturesMatch(delivered, expected, {1}));
}

// A scene's own size needs no pass for RGBA, and one for all planes of YUV. A pass for each plane, which is how it goes
// where a host has left scissors on, makes the same bytes; drivers that weigh texels in floats may round one otherwise.
TEST_F(GraphicsOutputGLTest, PictureOfTheScenesSizeIsTheSameByWhicheverWay) {
  struct Way {
    OutputFormat format;
    int width;
    int draws;  // Rectangles.
    std::vector<gl_spy::Read> reads;
  };
  const Way ways[] = {
      {GraphicsOutput::kOutputRGBA, 60, 0, {{60, 36, GL_RGBA}}},
      {GraphicsOutput::kOutputNV12, 60, 0, {{15, 36, GL_RGBA}, {15, 18, GL_RGBA}}},
      {GraphicsOutput::kOutputI420, 64, 0, {{16, 36, GL_RGBA}, {8, 18, GL_RGBA}, {8, 18, GL_RGBA}}},
      {GraphicsOutput::kOutputI420, 60, 3, {{60, 36, GL_RED}, {30, 18, GL_RED}, {30, 18, GL_RED}}},
      {GraphicsOutput::kOutputNV12, 62, 2, {{62, 36, GL_RED}, {31, 18, GL_RG}}},
  };
  for (const Way& way : ways) {
    SCOPED_TRACE(std::to_string(way.format) + ", " + std::to_string(way.width));
    test::Picture noise(way.width, 36, 4);
    std::minstd_rand random(1);
    for (unsigned char& value : noise.pixels) value = static_cast<unsigned char>(random() >> 8);
    scene_.reset();
    const auto output = MakeOutput(Show(noise), way.width, 36);
    Receiver receiver(way.format);
    output->Attach(&receiver);
    gl_spy::Reset();
    const int draws = gl_spy::Draws();
    context()->DoOutput(1, 1);
    EXPECT_EQ(gl_spy::Draws() - draws, way.draws);
    const std::vector<gl_spy::Read> reads = gl_spy::Reads();
    ASSERT_EQ(reads.size(), way.reads.size());
    for (std::size_t i = 0; i < reads.size(); ++i) {
      EXPECT_EQ(reads[i].width, way.reads[i].width);
      EXPECT_EQ(reads[i].height, way.reads[i].height);
      EXPECT_EQ(reads[i].format, way.reads[i].format);
    }
    {
      const test::CurrentContext current(context());
      glEnable(GL_SCISSOR_TEST);
      glScissor(0, 0, way.width, 36);
    }
    const int passes = gl_spy::Draws();
    context()->DoOutput(2, 1);
    EXPECT_EQ(gl_spy::Draws() - passes, static_cast<int>(reads.size()));
    {
      const test::CurrentContext current(context());
      glDisable(GL_SCISSOR_TEST);
    }
    const std::vector<Receiver::Delivery> deliveries = receiver.WaitFor(2);
    for (std::size_t i = 0; i < reads.size(); ++i) {
      EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[i], deliveries[1].planes[i], {1})) << "plane " << i;
    }
    output->Detach();
  }
}

TEST_F(GraphicsOutputGLTest, WhateverWayAFrameGoesItLeavesTheSameViewportAndUnit) {
  struct Row {
    OutputFormat format;
    int width, height;  // What the last pass's target has.
  };
  for (const Row& row : {Row{GraphicsOutput::kOutputRGBA, 64, 36}, Row{GraphicsOutput::kOutputNV12, 32, 18},
                         Row{GraphicsOutput::kOutputI420, 32, 18}}) {
    SCOPED_TRACE(row.format);
    scene_.reset();
    const auto output = MakeOutput(Show(test::TestCard(64, 36)), 64, 36);
    Receiver receiver(row.format);
    output->Attach(&receiver);
    {
      const test::CurrentContext current(context());
      for (const bool scissors : {false, true}) {
        (scissors ? glEnable : glDisable)(GL_SCISSOR_TEST);
        glScissor(0, 0, 64, 36);
        glActiveTexture(GL_TEXTURE2);
        glViewport(1, 2, 3, 4);
        context()->DoOutput(1, 1);
        GLint viewport[4], unit = 0;
        glGetIntegerv(GL_VIEWPORT, viewport);
        glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
        EXPECT_THAT(viewport, ElementsAre(0, 0, row.width, row.height));
        EXPECT_EQ(unit, GL_TEXTURE0);
      }
      glDisable(GL_SCISSOR_TEST);
    }
    receiver.WaitFor(2);
    output->Detach();
  }
}

TEST_F(GraphicsOutputGLTest, PlanesThatCannotBePackedAreDrawnOneByOne) {
  const auto output = MakeOutput(Show(test::TestCard(64, 36)), 64, 36);
  Receiver receiver(GraphicsOutput::kOutputNV12);
  output->Attach(&receiver);
  gl_spy::faults().gen_framebuffers = true;
  const int draws = gl_spy::Draws();
  context()->DoOutput(1, 1);
  gl_spy::faults().gen_framebuffers = false;
  context()->DoOutput(2, 1);
  EXPECT_EQ(gl_spy::Draws(), draws + 4) << "nor is it tried again";
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create FrameBuffer failed"));
  receiver.WaitFor(2);  // Detaching drops what has not been delivered.
  output->Detach();
  output->Attach(&receiver);
  context()->DoOutput(3, 1);
  EXPECT_EQ(gl_spy::Draws(), draws + 4) << "until it is attached again";
  const std::vector<Receiver::Delivery> deliveries = receiver.WaitFor(3);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(test::PicturesMatch(deliveries[0].planes[i], deliveries[2].planes[i], {1}));
  }
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, SceneThatWasNeverDrawnIsNotReadItself) {
  GraphicsSceneGL scene(context(), 32, 16);
  ASSERT_TRUE(scene.Init());
  const auto output = MakeOutput(&scene, 32, 16);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  const int draws = gl_spy::Draws();
  context()->DoOutput(1, 1);
  EXPECT_EQ(gl_spy::Draws(), draws + 1);
  receiver.WaitFor(1);
  output->Detach();
}

// Red and blue are exchanged on the way to memory where the host's program is the built-in one by another name.
TEST_F(GraphicsOutputGLTest, BGRAOfTheScenesSizeIsReadFromIt) {
  ASSERT_TRUE(device()->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]));
  const test::Picture card = test::TestCard(32, 16);
  scene_.reset();
  const auto output = MakeOutput(Show(card), 32, 16);
  Receiver receiver(GraphicsOutput::kOutputBGRA);
  output->Attach(&receiver);
  const int draws = gl_spy::Draws();
  context()->DoOutput(1, 1);
  EXPECT_EQ(gl_spy::Draws(), draws);
  test::Picture expected = card;
  for (std::size_t i = 0; i < expected.pixels.size(); i += 4) std::swap(expected.pixels[i], expected.pixels[i + 2]);
  EXPECT_EQ(receiver.WaitFor(1)[0].planes[0].pixels, expected.pixels);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, HostsProgramIsDrawnWithAtTheScenesSizeToo) {
  const std::string red = "out vec4 FragColor;\nvoid main() { FragColor = vec4(1.0, 0.0, 0.0, 1.0); }\n";
  ASSERT_TRUE(device()->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], red.c_str()));
  const auto output = MakeOutput(Show(test::TestCard(32, 16)), 32, 16);
  Receiver receiver(GraphicsOutput::kOutputBGRA);
  output->Attach(&receiver);
  context()->DoOutput(1, 1);
  EXPECT_EQ(receiver.WaitFor(1)[0].planes[0].pixels, Plain(32, 16, {1, 0, 0, 1}).pixels);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, FullHdNV12ReadsTheBytesOfItsPlanes) {
  const std::size_t uploads_before = gl_spy::Uploads().size();
  const auto output = MakeOutput(Show(test::TestCard(64, 36)), 1920, 1080);
  Receiver receiver(GraphicsOutput::kOutputNV12);
  output->Attach(&receiver);
  context()->DoOutput(1, 1);
  receiver.WaitFor(1);
  output->Detach();
  std::vector<std::size_t> pack_buffers;
  const std::vector<gl_spy::Upload> uploads = gl_spy::Uploads();
  for (std::size_t i = uploads_before; i < uploads.size(); ++i) {
    if (uploads[i].target == GL_PIXEL_PACK_BUFFER) pack_buffers.push_back(uploads[i].bytes.size());
  }
  EXPECT_THAT(pack_buffers, ElementsAre(2073600u, 1036800u));
  const std::vector<gl_spy::Read> reads = gl_spy::Reads();
  ASSERT_EQ(reads.size(), 2u);
  EXPECT_EQ(reads[0].width, 1920);
  EXPECT_EQ(reads[0].height, 1080);
  EXPECT_EQ(reads[0].format, static_cast<GLenum>(GL_RED));
  EXPECT_EQ(reads[1].width, 960);
  EXPECT_EQ(reads[1].height, 540);
  EXPECT_EQ(reads[1].format, static_cast<GLenum>(GL_RG));
}

TEST_F(GraphicsOutputGLTest, PlaneWithoutPixelsIsReportedOnceAndCommitsNothing) {
  const std::pair<int, int> sizes[] = {{1, 4}, {4, 1}, {1, 1}};
  for (const auto& [width, height] : sizes) {
    for (const OutputFormat format : {GraphicsOutput::kOutputI420, GraphicsOutput::kOutputNV12}) {
      scene_.reset();
      const auto output = MakeOutput(Show(test::TestCard(16, 8)), width, height);
      Receiver receiver(format);
      output->Attach(&receiver);
      for (int i = 0; i < 3; ++i) context()->DoOutput(1, 1);
      const std::string message = "E: Output of " + std::to_string(width) + "x" + std::to_string(height) +
                                  " delivers nothing: a plane of its layout could not be made";
      EXPECT_THAT(TakeLog(), ElementsAre(message));
      EXPECT_THAT(gl_spy::Reads(), IsEmpty());
      // The stages by themselves refuse, too.
      output->ConvertFormat(static_cast<GraphicsTextureGL*>(scene_->texture()), format);
      output->ReadPixel(format);
      output->OutputRawPixel(format, 1, 1);
      // The output still serves another layout, whose frames come first.
      output->Detach();
      Receiver other(GraphicsOutput::kOutputRGBA);
      output->Attach(&other);
      context()->DoOutput(7, 1);
      EXPECT_EQ(other.WaitFor(1)[0].timestamp, 7u);
      output->Detach();
      EXPECT_THAT(receiver.WaitFor(0), IsEmpty());
      gl_spy::Reset();
    }
  }
}

// Of an odd size the buffers have what the picture's area comes to, and the readback fills what the planes' own sizes
// do.
TEST_F(GraphicsOutputGLTest, BuffersAreMadeForThePlanesAndTheConstants) {
  struct Row {
    OutputFormat format;
    std::vector<std::size_t> pack_buffers;
    std::vector<std::size_t> constant_buffers;
  };
  const Row rows[] = {
      {GraphicsOutput::kOutputRGBA, {140}, {}},
      {GraphicsOutput::kOutputI420, {35, 8, 8}, {32}},
      {GraphicsOutput::kOutputNV12, {35, 17}, {32}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.format);
    const auto output = MakeOutput(Show(test::TestCard(7, 5)), 7, 5);
    Receiver receiver(row.format);
    const std::size_t before = gl_spy::Uploads().size();
    output->Attach(&receiver);
    const std::vector<gl_spy::Upload> uploads = gl_spy::Uploads();
    output->Detach();
    std::vector<std::size_t> pack_buffers, constant_buffers;
    for (std::size_t i = before; i < uploads.size(); ++i) {
      (uploads[i].target == GL_PIXEL_PACK_BUFFER ? pack_buffers : constant_buffers).push_back(uploads[i].bytes.size());
    }
    EXPECT_EQ(pack_buffers, row.pack_buffers);
    EXPECT_EQ(constant_buffers, row.constant_buffers);
  }
}

TEST_F(GraphicsOutputGLTest, ResourceThatCannotBeMadeIsReportedOnceAnAttach) {
  const auto output = MakeOutput(Show(test::TestCard(16, 8)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputNV12);
  gl_spy::faults().gen_framebuffers = true;
  output->Attach(&receiver);
  gl_spy::faults().gen_framebuffers = false;
  EXPECT_EQ(TakeLog(), std::vector<std::string>(2, "E: GraphicsTextureGL create FrameBuffer failed"));
  context()->DoOutput(1, 1);
  context()->DoOutput(2, 1);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Output of 16x8 delivers nothing: a plane of its layout could not be made"));
  output->Attach(&receiver);
  context()->DoOutput(3, 1);
  EXPECT_EQ(receiver.WaitFor(1)[0].timestamp, 3u);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, FramesComeUprightOnTheOutputThreadInOrder) {
  const auto output = MakeOutput(Show(Numbered(1)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  context()->DoOutput(1000, 1);
  receiver.WaitFor(1);
  Show(Numbered(2));
  context()->DoOutput(2000, 3);
  const std::vector<Receiver::Delivery> deliveries = receiver.WaitFor(4);
  output->Detach();
  EXPECT_EQ(NumberOf(deliveries[0]), 1);
  for (std::size_t i = 1; i < 4; ++i) {
    EXPECT_EQ(NumberOf(deliveries[i]), 2);
    EXPECT_EQ(deliveries[i].timestamp, 2000 + (i - 1) * kInterval);
  }
  EXPECT_NE(deliveries[0].thread, std::this_thread::get_id());
}

TEST_F(GraphicsOutputGLTest, FullPoolDropsThePictureAfterItsConversion) {
  const auto output = MakeOutput(Show(Numbered(0)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  receiver.Hold();
  output->Attach(&receiver);
  // The first is held in its delivery, and keeps its place.
  for (int i = 1; i <= 6; ++i) {
    Show(Numbered(i));
    context()->DoOutput(static_cast<unsigned long long>(i) * 1000, 1);
  }
  Show(Numbered(7));
  context()->DoOutput(7000, 2);
  EXPECT_EQ(gl_spy::Reads().size(), 7u) << "read back, and then dropped";
  receiver.Release();
  std::vector<Receiver::Delivery> deliveries = receiver.WaitFor(8);
  for (int i = 1; i <= 6; ++i) EXPECT_EQ(NumberOf(deliveries[static_cast<std::size_t>(i) - 1]), i);
  // The newest stands in for what was dropped.
  EXPECT_EQ(NumberOf(deliveries[6]), 6);
  EXPECT_EQ(deliveries[6].timestamp, 6000 + kInterval);
  EXPECT_EQ(NumberOf(deliveries[7]), 6);
  EXPECT_EQ(deliveries[7].timestamp, 6000 + 2 * kInterval);
  Show(Numbered(8));
  context()->DoOutput(9000000000, 1);
  deliveries = receiver.WaitFor(9);
  EXPECT_EQ(NumberOf(deliveries[8]), 8);
  EXPECT_EQ(deliveries[8].timestamp, 9000000000u);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, FrameIsCommittedEvenWhenItsPixelsCannotBeMapped) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  gl_spy::faults().map_buffer = true;
  context()->DoOutput(1000, 1);
  context()->DoOutput(2000, 1);
  gl_spy::faults().map_buffer = false;
  EXPECT_EQ(receiver.WaitFor(1)[0].timestamp, 1000u);
  const std::string line = "W: A picture of an output could not be read back: it may show anything";
  EXPECT_THAT(TakeLog(), Contains(line).Times(1));
  context()->DoOutput(3000, 1);
  gl_spy::faults().map_buffer = true;
  context()->DoOutput(4000, 1);
  gl_spy::faults().map_buffer = false;
  EXPECT_THAT(TakeLog(), Contains(line).Times(1)) << "one was read back meanwhile";
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, TextureIsHandedOverOnTheCallersThreadWithTheContextCurrent) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  TextureReceiver receiver;
  output->Attach(&receiver);
  context()->DoOutput(1234, 5);
  EXPECT_EQ(receiver.calls, 1);
  EXPECT_EQ(receiver.texture, scene_->texture());
  EXPECT_EQ(receiver.timestamp, 1234u);
  EXPECT_EQ(receiver.thread, std::this_thread::get_id());
  EXPECT_NE(receiver.current_context, EGL_NO_CONTEXT);
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  GraphicsFrame* frame = nullptr;
  EXPECT_FALSE(output->LockFrame(&frame, 1, 1)) << "no frames are pooled";
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, OtherFormatsAreUnimplemented) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  for (const int format : {0, 6, 99}) {
    Receiver receiver(static_cast<OutputFormat>(format));
    output->Attach(&receiver);
    context()->DoOutput(1, 1);
    context()->DoOutput(2, 1);
    output->Detach();
    EXPECT_THAT(TakeLog(), ElementsAre("E: gl output raw is unimplemented", "E: gl output raw is unimplemented"));
    EXPECT_THAT(receiver.WaitFor(0), IsEmpty());
  }
}

TEST_F(GraphicsOutputGLTest, SceneWithoutASizeOrTextureDoesNothing) {
  Show(Numbered(3));
  BareScene no_width(0, 8, scene_->texture());
  BareScene no_height(16, 0, scene_->texture());
  BareScene no_texture(16, 8, nullptr);
  BareScene whole(16, 8, scene_->texture());
  for (GraphicsScene* const scene :
       std::initializer_list<GraphicsScene*>{&no_width, &no_height, &no_texture, nullptr}) {
    const auto output = MakeOutput(scene, 16, 8);
    TextureReceiver texture_receiver;
    output->Attach(&texture_receiver);
    context()->DoOutput(1, 1);
    EXPECT_EQ(texture_receiver.calls, 0);
    output->Detach();
    Receiver receiver(GraphicsOutput::kOutputRGBA);
    output->Attach(&receiver);
    context()->DoOutput(1, 1);
    EXPECT_THAT(gl_spy::Reads(), IsEmpty());
    // Nothing is queued: all six places are free.
    for (int i = 0; i < 6; ++i) {
      ASSERT_TRUE(output->LockFrame(nullptr, 1, 1));
      output->UnlockFrame();
    }
    receiver.WaitFor(6);
    output->Detach();
  }
  const auto output = MakeOutput(&whole, 16, 8);
  TextureReceiver receiver;
  output->Attach(&receiver);
  context()->DoOutput(1, 1);
  EXPECT_EQ(receiver.calls, 1);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, OnlyAnAttachedOutputWorks) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  context()->DoOutput(1, 1);
  output->Output(1, 1);
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  output->Attach(&receiver);
  output->Detach();
  context()->DoOutput(2, 1);
  output->Output(2, 1);
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  output->Attach(nullptr);
  output->Output(3, 1);
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  EXPECT_THAT(receiver.WaitFor(0), IsEmpty());
}

TEST_F(GraphicsOutputGLTest, StagesRefuseAFormatThatIsNotAttached) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  auto* const texture = static_cast<GraphicsTextureGL*>(scene_->texture());
  const int draws = gl_spy::Draws();
  for (const OutputFormat format : {GraphicsOutput::kOutputI420, GraphicsOutput::kOutputNV12,
                                    GraphicsOutput::kOutputNone, GraphicsOutput::kOutputTexture}) {
    output->ConvertFormat(texture, format);
    output->ReadPixel(format);
    output->OutputRawPixel(format, 1, 1);
  }
  EXPECT_EQ(gl_spy::Draws(), draws);
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  output->Detach();
  EXPECT_THAT(receiver.WaitFor(0), IsEmpty());
}

TEST_F(GraphicsOutputGLTest, AttachingAnotherFormatWhileFramesQueueDiscardsThem) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver first(GraphicsOutput::kOutputRGBA);
  Receiver second(GraphicsOutput::kOutputNV12);
  first.Hold();
  output->Attach(&first);
  for (int i = 1; i <= 5; ++i) context()->DoOutput(static_cast<unsigned long long>(i), 1);
  first.WaitFor(1);
  // Attach waits for the call that is running; a host that is let go later is as good as one that is slow.
  std::thread host([&first] { first.Release(); });
  output->Attach(&second);
  host.join();
  const std::size_t delivered_to_first = first.WaitFor(1).size();
  context()->DoOutput(100, 2);
  context()->DoOutput(200, 1);
  const std::vector<Receiver::Delivery> deliveries = second.WaitFor(3);
  EXPECT_EQ(deliveries[0].timestamp, 100u);
  EXPECT_EQ(deliveries[1].timestamp, 100 + kInterval);
  EXPECT_EQ(deliveries[2].timestamp, 200u);
  for (const Receiver::Delivery& delivery : deliveries) EXPECT_EQ(delivery.format, kFormatNV12);
  EXPECT_EQ(first.WaitFor(1).size(), delivered_to_first) << "nothing comes to a receiver that is not attached";
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, ContextThatCannotBeMadeCurrentCommitsNothing) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  gl_spy::faults().make_current = true;
  context()->DoOutput(1, 1);
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  EXPECT_THAT(gl_spy::Reads(), IsEmpty());
  context()->DoOutput(2, 1);
  EXPECT_EQ(receiver.WaitFor(1)[0].timestamp, 2u);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, ContextThatCannotBeMadeCurrentHandsNoTextureOver) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  TextureReceiver receiver;
  output->Attach(&receiver);
  gl_spy::faults().make_current = true;
  context()->DoOutput(1, 1);
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  EXPECT_EQ(receiver.calls, 0);
  context()->DoOutput(2, 1);
  EXPECT_EQ(receiver.timestamp, 2u);
  output->Detach();
}

// The call that a detach waits for attaches the output again: the context must not keep it.
TEST_F(GraphicsOutputGLTest, DetachLeavesNothingRegisteredThatItsCallAttached) {
  class CountingOutput : public GraphicsOutputGL {
   public:
    using GraphicsOutputGL::GraphicsOutputGL;
    ~CountingOutput() override { StopThread(); }
    void Output(unsigned long long timestamp, int count) override {
      ++visits;
      GraphicsOutputGL::Output(timestamp, count);
    }
    std::atomic<int> visits{0};
  };
  class StubbornReceiver : public GraphicsOutput::OutputCallback {
   public:
    StubbornReceiver(GraphicsContextGL* context, CountingOutput* output)
        : OutputCallback(GraphicsOutput::kOutputRGBA), context_(context), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      entered.Signal();
      // Until the detach has taken it out of the registry.
      for (int visits = -1; visits != output_->visits;) {
        visits = output_->visits;
        context_->DoOutput(2, 1);
      }
      output_->Attach(this);
    }
    Event entered{false};

   private:
    GraphicsContextGL* context_;
    CountingOutput* output_;
  };
  auto output = std::make_unique<CountingOutput>(context(), Show(Numbered(3)), 16u, 8u, kFps);
  ASSERT_TRUE(output->Init());
  StubbornReceiver receiver(context(), output.get());
  output->Attach(&receiver);
  context()->DoOutput(1, 1);
  receiver.entered.Wait();
  output->Detach();
  const int visits = output->visits;
  context()->DoOutput(3, 1);
  EXPECT_EQ(output->visits, visits);
  context()->RemoveOutput(output.get());  // For the rest of the test's sake.
}

TEST_F(GraphicsOutputGLTest, ErrorsNameTheFileAndNeverStopTheOutput) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputRGBA);
  output->Attach(&receiver);
  gl_spy::faults().errors = {GL_OUT_OF_MEMORY, GL_OUT_OF_MEMORY};  // After the clear colour and the clear.
  context()->DoOutput(1, 1);
  const std::string line = "W: OUT_OF_MEMORY \\| graphics/opengl/graphics_output_gl\\.cc \\([0-9]+\\)";
  EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(line), MatchesRegex(line)));
  EXPECT_EQ(NumberOf(receiver.WaitFor(1)[0]), 3);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, PlanesWhoseTargetsCannotBeBoundAreNotDrawn) {
  const auto output = MakeOutput(Show(Numbered(3)), 16, 8);
  Receiver receiver(GraphicsOutput::kOutputI420);
  output->Attach(&receiver);
  gl_spy::faults().incomplete = true;
  const int draws = gl_spy::Draws();
  context()->DoOutput(1, 1);
  gl_spy::faults().incomplete = false;
  EXPECT_EQ(gl_spy::Draws(), draws);
  EXPECT_THAT(TakeLog(), AllOf(SizeIs(3), Each(MatchesRegex("E: frame_buffer status: .*"))));
  receiver.WaitFor(1);
  output->Detach();
}

TEST_F(GraphicsOutputGLTest, LeavesTheDriversStateAsItWas) {
  const auto output = MakeOutput(Show(Numbered(3)), 15, 7);
  Receiver receiver(GraphicsOutput::kOutputI420);
  output->Attach(&receiver);
  const test::CurrentContext current(context());
  context()->DoOutput(1, 1);
  for (const auto& [name, value] :
       {std::pair<GLenum, GLint>(GL_PACK_ALIGNMENT, 4), std::pair<GLenum, GLint>(GL_PIXEL_PACK_BUFFER_BINDING, 0),
        std::pair<GLenum, GLint>(GL_DRAW_FRAMEBUFFER_BINDING, 0),
        std::pair<GLenum, GLint>(GL_READ_FRAMEBUFFER_BINDING, 0), std::pair<GLenum, GLint>(GL_CURRENT_PROGRAM, 0),
        std::pair<GLenum, GLint>(GL_TEXTURE_BINDING_2D, 0)}) {
    GLint actual = -1;
    glGetIntegerv(name, &actual);
    EXPECT_EQ(actual, value) << name;
  }
  receiver.WaitFor(1);
  output->Detach();
}

}  // namespace
