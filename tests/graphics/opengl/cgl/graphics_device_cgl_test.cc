#include "graphics/opengl/cgl/graphics_device_cgl.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <quarn/glsl_src.h>
#include <quarn/qn_external_image.h>

#include "graphics/frame_times.h"
#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_filter.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_output.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/host_context.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char kGreen[] = "out vec4 c;\nvoid main() { c = vec4(0.0, 1.0, 0.0, 1.0); }\n";
constexpr char kRed[] = "out vec4 c;\nvoid main() { c = vec4(1.0, 0.0, 0.0, 1.0); }\n";

constexpr char kNotMadeCurrent[] = "E: Failed to make the context current (EGL error 0x3000)";

bool IsContextCurrent() { return eglGetCurrentContext() != EGL_NO_CONTEXT; }

// Objects that only note that they are walked.
class ProbeFilter : public GraphicsFilter {
 public:
  void Attach(DrawCallback*) override {}
  void Detach() override {}
  void Draw() override {
    ++draws;
    context_current = IsContextCurrent();
  }
  unsigned int width() override { return 0; }
  unsigned int height() override { return 0; }
  void Resize(unsigned int, unsigned int) override {}
  GraphicsTexture* texture() override { return nullptr; }
  int draws = 0;
  bool context_current = false;
};

class ProbeScene : public GraphicsScene {
 public:
  void Attach(DrawCallback*) override {}
  void Detach() override {}
  unsigned int width() override { return 0; }
  unsigned int height() override { return 0; }
  void Draw() override { ++draws; }
  void AddRef() override {}
  void ReleaseRef() override {}
  bool HasRef() override { return true; }
  GraphicsTexture* texture() override { return nullptr; }
  int draws = 0;
};

class ProbeOutput : public GraphicsOutput {
 public:
  bool Init() override { return true; }
  void Output(unsigned long long timestamp, int count) override {
    timestamps.push_back(timestamp);
    counts.push_back(count);
  }
  void Attach(OutputCallback*) override {}
  void Detach() override {}
  std::vector<unsigned long long> timestamps;
  std::vector<int> counts;
};

class ProbeView : public GraphicsView {
 public:
  void Attach(DrawCallback*) override {}
  void Detach() override {}
  bool BindRenderTarget() override { return false; }
  void UnbindRenderTarget() override {}
  unsigned int width() override { return 0; }
  unsigned int height() override { return 0; }
  void Resize(unsigned int, unsigned int) override {}
  void SetBackgroundColor(float, float, float, float) override {}
  void Draw() override { ++draws; }
  void SetPresentationTime(long long) override {}
  GraphicsTexture* frame_buffer_texture() override { return nullptr; }
  int draws = 0;
};

class ProbeTick : public GraphicsItem::TickCallback {
 public:
  void OnTick() override {
    ++ticks;
    context_current = IsContextCurrent();
  }
  int ticks = 0;
  bool context_current = false;
};

// The factory made something, which is destroyed.
template <class T>
bool Made(T* object) {
  const std::unique_ptr<T> owner(object);
  return owner != nullptr;
}

class GraphicsDeviceCGLTest : public GlTest {
 protected:
  // A task that runs a function.
  static void Call(void* function) { (*static_cast<std::function<void()>*>(function))(); }

  void UnavailableContext(bool refuse) { gl_spy::faults().make_current = refuse; }
};

TEST_F(GraphicsDeviceCGLTest, IsWhatThePlatformMakes) {
  const std::unique_ptr<GraphicsDevice> made(GraphicsDevice::Create());
  EXPECT_NE(dynamic_cast<GraphicsDeviceCGL*>(made.get()), nullptr);
}

TEST_F(GraphicsDeviceCGLTest, DoesNothingBeforeInit) {
  GraphicsDeviceCGL unready;
  EXPECT_EQ(unready.gs_context(), nullptr);
  EXPECT_FALSE(unready.AddShader("green", glsl_src[1], kGreen));
  EXPECT_EQ(unready.CreateScene(4, 4), nullptr);
  EXPECT_EQ(unready.CreateFilter(4, 4), nullptr);
  EXPECT_EQ(unready.CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4)), nullptr);
  EXPECT_EQ(unready.CreateTexture(static_cast<void*>(nullptr)), nullptr);
  EXPECT_EQ(unready.CreateConstantBuffer(16, nullptr), nullptr);
  EXPECT_EQ(unready.CreateOutput(nullptr, 4, 4), nullptr);
  EXPECT_EQ(unready.TickSource(77, 3), 77u);
  unready.HandleFilter();
  unready.OutputFrame(1, 1);
  unready.DrawDisplay();
  bool called = false;
  std::function<void()> task = [&called] { called = true; };
  unready.HandleTask(&Call, &task);
  EXPECT_FALSE(called);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsDeviceCGLTest, MakesEveryObject) {
  const std::unique_ptr<GraphicsScene> scene(device()->CreateScene(16, 8));
  ASSERT_NE(scene, nullptr);
  EXPECT_EQ(scene->width(), 16u);
  EXPECT_EQ(scene->texture()->height(), 8u);
  EXPECT_TRUE(Made(device()->CreateFilter(16, 8)));
  EXPECT_TRUE(Made(device()->CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4))));
  const float values[4] = {};
  EXPECT_TRUE(Made(device()->CreateConstantBuffer(16, values)));
  EXPECT_TRUE(Made(device()->CreateConstantBuffer(16, nullptr)));
  EXPECT_TRUE(Made(device()->CreateOutput(scene.get(), 16, 8)));
  const std::vector<unsigned char> pixels(4 * 4 * 4);
  QnExternalImage image(4, 4, QnExternalImage::kPixelFormatBGRA, 16, pixels.data());
  EXPECT_TRUE(Made(device()->CreateTexture(static_cast<void*>(&image))));
  EXPECT_FALSE(IsContextCurrent());
}

TEST_F(GraphicsDeviceCGLTest, ConstantBuffersTakeTheirDataOrZeros) {
  const unsigned char bytes[] = {1, 2, 3, 4};
  EXPECT_TRUE(Made(device()->CreateConstantBuffer(4, bytes)));
  EXPECT_THAT(gl_spy::Uploads().back().bytes, ElementsAre(1, 2, 3, 4));
  EXPECT_TRUE(Made(device()->CreateConstantBuffer(4, nullptr)));
  EXPECT_THAT(gl_spy::Uploads().back().bytes, ElementsAre(0, 0, 0, 0));
}

TEST_F(GraphicsDeviceCGLTest, SizesOfZeroAreRefused) {
  EXPECT_EQ(device()->CreateScene(0, 4), nullptr);
  EXPECT_EQ(device()->CreateScene(4, 0), nullptr);
  EXPECT_EQ(device()->CreateFilter(0, 4), nullptr);
  EXPECT_EQ(device()->CreateOutput(nullptr, 4, 0), nullptr);
  EXPECT_EQ(device()->CreateTexture(GraphicsFrame()), nullptr);
  QnExternalImage image(0, 4, QnExternalImage::kPixelFormatBGRA, 16, "");
  EXPECT_EQ(device()->CreateTexture(static_cast<void*>(&image)), nullptr);
  EXPECT_EQ(device()->CreateTexture(static_cast<void*>(nullptr)), nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: A scene of 0x4 cannot be made: a side is zero",
                                     "E: A scene of 4x0 cannot be made: a side is zero",
                                     "E: A filter of 0x4 cannot be made: a side is zero",
                                     "E: An output of 4x0 cannot be made: a side is zero",
                                     "E: A texture of 0x0 cannot be made: a side is zero",
                                     "E: A texture of 0x4 cannot be made: a side is zero"));
}

TEST_F(GraphicsDeviceCGLTest, SizesBeyondTheDriversAreRefused) {
  const unsigned int limit = context()->max_texture_size();
  const unsigned int large = limit + 1;
  const unsigned int largest = std::numeric_limits<unsigned int>::max();
  EXPECT_EQ(device()->CreateScene(large, 4), nullptr);
  EXPECT_EQ(device()->CreateFilter(4, large), nullptr);
  EXPECT_EQ(device()->CreateOutput(nullptr, largest, largest), nullptr);
  EXPECT_EQ(device()->CreateTexture(GraphicsFrame(kFormatR8, large, 1)), nullptr);
  const std::string l = std::to_string(large);
  const std::string end = " cannot be made: a side is longer than " + std::to_string(limit);
  EXPECT_THAT(TakeLog(),
              ElementsAre("E: A scene of " + l + "x4" + end, "E: A filter of 4x" + l + end,
                          "E: An output of 4294967295x4294967295" + end, "E: A texture of " + l + "x1" + end));
}

TEST_F(GraphicsDeviceCGLTest, ExternalImagesHaveTheLimitOfRectangleTextures) {
  gl_spy::faults().rectangle_limit = 64;
  GraphicsDeviceCGL limited;
  ASSERT_TRUE(limited.Init());
  QnExternalImage fits(64, 1, QnExternalImage::kPixelFormatBGRA, 256, "");
  QnExternalImage wide(65, 1, QnExternalImage::kPixelFormatBGRA, 260, "");
  QnExternalImage high(1, 65, QnExternalImage::kPixelFormatBGRA, 4, "");
  EXPECT_TRUE(Made(limited.CreateTexture(static_cast<void*>(&fits))));
  EXPECT_EQ(limited.CreateTexture(static_cast<void*>(&wide)), nullptr);
  EXPECT_EQ(limited.CreateTexture(static_cast<void*>(&high)), nullptr);
  EXPECT_TRUE(Made(limited.CreateTexture(GraphicsFrame(kFormatRGBA, 65, 1))));
  EXPECT_THAT(TakeLog(), ElementsAre("E: A texture of 65x1 cannot be made: a side is longer than 64",
                                     "E: A texture of 1x65 cannot be made: a side is longer than 64"));
}

TEST_F(GraphicsDeviceCGLTest, FirstMakeCurrentThatFailsLeavesItWithoutPictures) {
  GraphicsDeviceCGL unavailable;
  UnavailableContext(true);
  EXPECT_TRUE(unavailable.Init());
  UnavailableContext(false);
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
  EXPECT_EQ(unavailable.CreateScene(4, 4), nullptr);
  EXPECT_EQ(unavailable.CreateFilter(4, 4), nullptr);
  EXPECT_EQ(unavailable.CreateView(InternalWindowInfo{}, 4, 4), nullptr);
  EXPECT_EQ(unavailable.CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4)), nullptr);
  EXPECT_EQ(unavailable.CreateConstantBuffer(16, nullptr), nullptr);
  EXPECT_EQ(unavailable.CreateOutput(nullptr, 4, 4), nullptr);
  EXPECT_FALSE(unavailable.AddShader("green", glsl_src[1], kGreen));
  ProbeTick callback;
  GraphicsItem item(static_cast<GraphicsContextCGL*>(unavailable.gs_context()));
  item.Attach(&callback);
  EXPECT_EQ(unavailable.TickSource(7, 6), 7u);
  unavailable.HandleFilter();
  unavailable.OutputFrame(1, 1);
  unavailable.DrawDisplay();
  item.Detach();
  EXPECT_EQ(callback.ticks, 1) << "items go on, as on a machine without OpenGL";
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsDeviceCGLTest, FactoriesAnswerNullWhenTheirObjectsInitFails) {
  UnavailableContext(true);
  EXPECT_EQ(device()->CreateScene(4, 4), nullptr);
  EXPECT_EQ(device()->CreateFilter(4, 4), nullptr);
  EXPECT_EQ(device()->CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4)), nullptr);
  EXPECT_EQ(device()->CreateConstantBuffer(16, nullptr), nullptr);
  UnavailableContext(false);
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent, "E: A constant buffer of 16 bytes could not be made"));
  EXPECT_EQ(device()->CreateTexture(GraphicsFrame(kFormatBGRA, 4, 4)), nullptr);
  EXPECT_THAT(TakeLog(), IsEmpty()) << "a layout without a texture fails without a word";
}

TEST_F(GraphicsDeviceCGLTest, ConstantsThatCannotBeMadeAreToldOf) {
  gl_spy::faults().gen_buffers = true;
  EXPECT_EQ(device()->CreateConstantBuffer(16, nullptr), nullptr);
  gl_spy::faults().gen_buffers = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: A constant buffer of 16 bytes could not be made"));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderPrefixesAndRegisters) {
  EXPECT_TRUE(device()->AddShader("green", glsl_src[1], kGreen));
  EXPECT_FALSE(IsContextCurrent());
  const test::CurrentContext current(context());
  EXPECT_TRUE(context()->BindShader("green"));
  context()->UnbindShader();
}

TEST_F(GraphicsDeviceCGLTest, AddShaderPutsVersionAndPlatformInFront) {
  const std::string check = "#if __VERSION__ != 150 || !defined(MACOSX)\n#error\n#endif\n";
  EXPECT_TRUE(device()->AddShader("checked", (check + glsl_src[1]).c_str(), (check + kGreen).c_str()));
}

TEST_F(GraphicsDeviceCGLTest, OutputsAreRefusedForTheScenesOfAnotherDevice) {
  GraphicsDeviceCGL another;
  ASSERT_TRUE(another.Init());
  const std::unique_ptr<GraphicsScene> scene(another.CreateScene(4, 4));
  ASSERT_NE(scene, nullptr);
  EXPECT_EQ(device()->CreateOutput(scene.get(), 4, 4), nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: An output cannot be made for a scene of another device"));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderOfATakenNameSucceedsAndKeepsTheEarlierProgram) {
  ASSERT_TRUE(device()->AddShader("mine", glsl_src[1], kGreen));
  const int objects = gl_spy::LiveObjects();
  EXPECT_TRUE(device()->AddShader("mine", glsl_src[1], kRed));
  EXPECT_EQ(gl_spy::LiveObjects(), objects) << "the newcomer is destroyed";
  const test::CurrentContext current(context());
  GraphicsTextureGL target(context(), 2, 2);
  ASSERT_TRUE(target.Init(true));
  ASSERT_TRUE(target.BindRenderTarget());
  context()->SetViewPort(0, 0, 2, 2);
  ASSERT_TRUE(context()->BindShader("mine"));
  context()->DrawRect(internal_vec2(2, 2), internal_vec2(2, 2));
  context()->UnbindShader();
  target.ReleaseRenderTarget();
  const test::Picture drawn = test::ReadTarget(context(), &target);
  EXPECT_TRUE(test::PicturesMatch(drawn, test::Canvas(2, 2, {0, 1, 0, 1}).picture(), {}));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderFailsForASourceWithItsOwnVersionLine) {
  EXPECT_FALSE(device()->AddShader("v", (std::string("#version 150\n") + glsl_src[1]).c_str(), kGreen));
  EXPECT_FALSE(device()->AddShader("f", glsl_src[1], (std::string("#version 150\n") + kGreen).c_str()));
  EXPECT_THAT(
      TakeLog(),
      ElementsAre(StartsWith("E: Error compiling vertex shader:"), "E: The program \"v\" could not be built",
                  StartsWith("E: Error compiling fragment shader:"), "E: The program \"f\" could not be built"));
  const test::CurrentContext current(context());
  EXPECT_FALSE(context()->BindShader("v"));
  EXPECT_FALSE(context()->BindShader("f"));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderNamesTheProgramThatItCannotBuild) {
  EXPECT_FALSE(
      device()->AddShader("glow", glsl_src[1], "vec4 missing(); out vec4 c; void main() { c = missing(); }\n"));
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error", StartsWith("E: Error linking program:"),
                                     "E: The program \"glow\" could not be built"));
  gl_spy::faults().empty_logs = true;
  EXPECT_FALSE(device()->AddShader("mute", glsl_src[1], "nonsense"));
  EXPECT_THAT(TakeLog(), ElementsAre("E: The program \"mute\" could not be built"));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderRefusesNull) {
  EXPECT_FALSE(device()->AddShader(nullptr, glsl_src[1], kGreen));
  EXPECT_FALSE(device()->AddShader("n", nullptr, kGreen));
  EXPECT_FALSE(device()->AddShader("n", glsl_src[1], nullptr));
}

TEST_F(GraphicsDeviceCGLTest, AddShaderFailsWhenTheContextCannotBeMadeCurrent) {
  UnavailableContext(true);
  EXPECT_FALSE(device()->AddShader("green", glsl_src[1], kGreen));
  UnavailableContext(false);
  EXPECT_THAT(TakeLog(), ElementsAre(kNotMadeCurrent));
}

TEST_F(GraphicsDeviceCGLTest, TickStageTicksItemsWithTheContextCurrent) {
  ProbeTick callback;
  GraphicsItem item(context());
  item.Attach(&callback);
  EXPECT_EQ(device()->TickSource(5000, 4000), 5000u);
  EXPECT_EQ(callback.ticks, 1);
  EXPECT_TRUE(callback.context_current);
  EXPECT_FALSE(IsContextCurrent());
  {
    const test::CurrentContext current(context());
    device()->TickSource(6000, 5000);
    EXPECT_TRUE(IsContextCurrent()) << "what was current before stays so";
  }
  UnavailableContext(true);
  EXPECT_EQ(device()->TickSource(7000, 6000), 7000u);
  UnavailableContext(false);
  EXPECT_EQ(callback.ticks, 2);
  EXPECT_EQ(TakeLog().size(), 1u);
  item.Detach();
}

TEST_F(GraphicsDeviceCGLTest, FilterStageDoesNotMakeTheContextCurrent) {
  ProbeFilter filter;
  context()->AddFilter(&filter);
  device()->HandleFilter();
  context()->RemoveFilter(&filter);
  EXPECT_EQ(filter.draws, 1);
  EXPECT_FALSE(filter.context_current);
}

TEST_F(GraphicsDeviceCGLTest, OutputStageRendersScenesAndThenOutputs) {
  ProbeScene scene;
  ProbeOutput output;
  context()->AddScene(&scene);
  context()->AddOutput(&output);
  device()->OutputFrame(1000, 2);
  EXPECT_EQ(scene.draws, 1);
  EXPECT_THAT(output.timestamps, ElementsAre(1000u));
  EXPECT_THAT(output.counts, ElementsAre(2));
  device()->OutputFrame(2000, 0);
  EXPECT_EQ(scene.draws, 2);
  EXPECT_THAT(output.counts, ElementsAre(2)) << "a count of 0 is no output";
  context()->RemoveScene(&scene);
  context()->RemoveOutput(&output);
}

TEST_F(GraphicsDeviceCGLTest, OutputStageTellsScenesFromOutputs) {
  // Notes how much of the frame's time was scenes when the outputs had their turn.
  class Witness : public ProbeOutput {
   public:
    explicit Witness(FrameTimes* times) : times_(times) {}
    void Output(unsigned long long, int) override { scenes_ended = times_->End(1).scenes_ns != kGsNotMeasured; }
    bool scenes_ended = false;

   private:
    FrameTimes* const times_;
  };
  FrameTimes times;
  Witness output(&times);
  context()->AddOutput(&output);
  const MeasuredFrames measured(&times);
  times.Begin(0);
  device()->OutputFrame(1000, 1);
  EXPECT_TRUE(output.scenes_ended);
  EXPECT_NE(times.End(1).outputs_ns, kGsNotMeasured);
  times.Begin(0);
  device()->OutputFrame(2000, 0);
  context()->RemoveOutput(&output);
  const GsFrameTime& without_output = times.End(1);
  EXPECT_NE(without_output.scenes_ns, kGsNotMeasured);
  EXPECT_EQ(without_output.outputs_ns, kGsNotMeasured);
}

TEST_F(GraphicsDeviceCGLTest, OutputStageCutsTheCountToWhatAnOutputTakes) {
  ProbeOutput output;
  context()->AddOutput(&output);
  device()->OutputFrame(1, 2147483647u);
  device()->OutputFrame(1, 2147483648u);
  device()->OutputFrame(1, 4294967295u);
  context()->RemoveOutput(&output);
  EXPECT_THAT(output.counts, ElementsAre(2147483647, 2147483647, 2147483647));
}

TEST_F(GraphicsDeviceCGLTest, DisplayStageDrawsEveryView) {
  ProbeView first;
  ProbeView second;
  context()->AddView(&first);
  context()->AddView(&second);
  device()->DrawDisplay();
  context()->RemoveView(&first);
  context()->RemoveView(&second);
  EXPECT_EQ(first.draws, 1);
  EXPECT_EQ(second.draws, 1);
}

TEST_F(GraphicsDeviceCGLTest, TasksRunWithTheContextCurrent) {
  bool current = false;
  std::function<void()> task = [&current] { current = IsContextCurrent(); };
  device()->QueueTask(&Call, &task);
  device()->DoTask();
  EXPECT_TRUE(current);
  EXPECT_FALSE(IsContextCurrent());
}

TEST_F(GraphicsDeviceCGLTest, TasksAreDroppedWhenTheContextCannotBeMadeCurrent) {
  bool called = false;
  std::function<void()> task = [&called] { called = true; };
  UnavailableContext(true);
  device()->QueueTask(&Call, &task);
  device()->DoTask();
  UnavailableContext(false);
  device()->DoTask();
  EXPECT_FALSE(called);
  EXPECT_EQ(TakeLog().size(), 1u);
}

TEST_F(GraphicsDeviceCGLTest, ThreadContextIsOnlyTheFlag) {
  EXPECT_TRUE(device()->InitThreadContext());
  EXPECT_TRUE(device()->IsInternalRenderThread());
  EXPECT_FALSE(IsContextCurrent());
  device()->UninitThreadContext();
  EXPECT_FALSE(device()->IsInternalRenderThread());
}

TEST_F(GraphicsDeviceCGLTest, RenderThreadRunsTasks) {
  struct Seen {
    bool render_thread;
    bool current;
  };
  std::promise<Seen> promise;
  std::function<void()> task = [&] { promise.set_value({device()->IsInternalRenderThread(), IsContextCurrent()}); };
  ASSERT_TRUE(device()->Start());
  device()->QueueTask(&Call, &task);
  const Seen seen = promise.get_future().get();
  device()->Stop();
  EXPECT_TRUE(seen.render_thread);
  EXPECT_TRUE(seen.current);
}

TEST_F(GraphicsDeviceCGLTest, LeavesTheRestToTheDefaults) {
  EXPECT_EQ(device()->CreateTexture(kFormatRGBA, 4, 4), nullptr);
  EXPECT_EQ(device()->CreateTextureExternal(), nullptr);
  EXPECT_EQ(device()->CreateDuplicator("screen"), nullptr);
  device()->EnterThreadContext();
  device()->LeaveThreadContext();
  EXPECT_EQ(device()->native_obj(), nullptr);
  device()->ClearFrameList();
  EXPECT_THAT(TakeLog(),
              ElementsAre("W: CreateTexture(format, width, height) is unimplemented",
                          "W: CreateTextureExternal is unimplemented", "W: CreateDuplicator is unimplemented",
                          "W: GraphicsDevice::EnterThreadContext is unimplemented",
                          "W: GraphicsDevice::LeaveThreadContext is unimplemented"));
}

TEST_F(GraphicsDeviceCGLTest, SeveralDevicesAreApart) {
  GraphicsDeviceCGL second;
  ASSERT_TRUE(second.Init());
  ASSERT_TRUE(second.AddShader("only_there", glsl_src[1], kGreen));
  const test::CurrentContext current(context());
  EXPECT_FALSE(context()->BindShader("only_there"));
}

// Without a device of the fixture's: it would be lost as well.
class LostDeviceTest : public GlTest {
 protected:
  void SetUp() override {}
};

TEST_F(LostDeviceTest, GoesOnWithoutPicturesAndSaysItOnce) {
  GraphicsDeviceCGL lost;
  ASSERT_TRUE(lost.Init());
  const std::unique_ptr<GraphicsScene> scene(lost.CreateScene(4, 4));
  const std::unique_ptr<GraphicsFilter> filter(lost.CreateFilter(4, 4));
  const std::unique_ptr<GraphicsView> view(lost.CreateView(InternalWindowInfo{}, 4, 4));
  const std::unique_ptr<GraphicsTexture> texture(lost.CreateTexture(GraphicsFrame(kFormatRGBA, 4, 4)));
  const std::unique_ptr<GraphicsConstantBuffer> constants(lost.CreateConstantBuffer(16, nullptr));
  ASSERT_NE(constants, nullptr);
  EXPECT_EQ(TakeLog().size(), 1u) << "there is no display for the view";
  scene->AddRef();
  scene->Attach(nullptr);
  filter->Attach(nullptr);
  view->Attach(nullptr);
  test::TerminateSharedDisplay();
  const unsigned char bytes[16] = {};
  for (int frame = 1; frame <= 5; ++frame) {
    EXPECT_EQ(lost.TickSource(7, 6), 7u);
    lost.HandleFilter();
    lost.OutputFrame(7, 1);
    lost.DrawDisplay();
    lost.QueueTask([](void*) {}, nullptr);
    lost.DoTask();
    texture->Update(GraphicsFrame(kFormatRGBA, 4, 4));
    constants->Update(bytes, 16);
    EXPECT_EQ(lost.CreateScene(4, 4), nullptr);
    EXPECT_FALSE(lost.AddShader("green", glsl_src[1], kGreen));
  }
  EXPECT_THAT(TakeLog(), ElementsAre(StartsWith("E: The GL context is lost")));
  scene->Detach();
  filter->Detach();
  view->Detach();

  GraphicsDeviceCGL another;
  ASSERT_TRUE(another.Init());
  EXPECT_TRUE(Made(another.CreateScene(4, 4)));
  EXPECT_TRUE(another.AddShader("green", glsl_src[1], kGreen));
}

TEST_F(LostDeviceTest, RendersItsFramesAndStops) {
  GraphicsDeviceCGL lost;
  ASSERT_TRUE(lost.Init());
  lost.SetFps(1000);
  ASSERT_TRUE(lost.Start());
  test::TerminateSharedDisplay();
  EXPECT_TRUE(log().WaitFor(Logger::Level::Error,
                            "The GL context is lost, as when a host terminates its EGL display: the device goes on "
                            "without pictures, and a new one will have them again"));
  lost.Stop();
  EXPECT_EQ(TakeLog().size(), 1u);
}

}  // namespace
