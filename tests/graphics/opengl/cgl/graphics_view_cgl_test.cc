// The engine's view without a window system: everything but the presentation, which the tests with an X server judge.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <EGL/egl.h>
#include <gmock/gmock.h>

#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/qn_main_queue.h>

#include "graphics/internal_types.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/gl_watch.h"
#include "tests/support/host_context.h"
#include "tests/support/host_loop.h"

namespace {

using test::HostLoop;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

// Where an error was noticed, as a regular expression.
constexpr char kPlace[] = " \\| graphics/opengl/cgl/graphics_view_cgl\\.cc \\([0-9]+\\)";
constexpr char kNoDisplay[] =
    "W: A view cannot be shown: there is no X11 display, and no Wayland display of the host's";

struct Size {
  GLint width = 0;
  GLint height = 0;
  bool operator==(const Size& other) const { return width == other.width && height == other.height; }
};
void PrintTo(const Size& size, std::ostream* out) { *out << size.width << "x" << size.height; }

// What a frame of the view finds: counts the frames and looks at what it is to draw into.
class Probe : public GraphicsView::DrawCallback {
 public:
  void Draw() override {
    ++draws;
    GLint texture = 0;
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                          GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME, &texture);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(texture));
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &target.width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &target.height);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (look) look();
  }

  int draws = 0;
  Size target;  // What the last frame was drawn into.
  std::function<void()> look;
};

class GraphicsViewCGLTest : public GlTest {
 protected:
  // A view that has said that it cannot be shown.
  std::unique_ptr<GraphicsView> MakeView(unsigned int width, unsigned int height) {
    std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, width, height));
    EXPECT_NE(view, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre(kNoDisplay));
    return view;
  }
  void RunOnAnotherThread(const std::function<void()>& work) {
    std::thread thread([&] {
      work();
      NativeContext::ReleaseThread();
    });
    thread.join();
  }
};

TEST_F(GraphicsViewCGLTest, IsMadeByTheDevice) {
  const auto view = MakeView(40, 30);
  EXPECT_NE(dynamic_cast<GraphicsViewCGL*>(view.get()), nullptr);
  EXPECT_EQ(view->width(), 40u);
  EXPECT_EQ(view->height(), 30u);
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

TEST_F(GraphicsViewCGLTest, IsNotMadeBeforeTheDeviceHasAContext) {
  GraphicsDeviceCGL unbuilt;
  EXPECT_EQ(unbuilt.CreateView(InternalWindowInfo{}, 4, 4), nullptr);
}

TEST_F(GraphicsViewCGLTest, SaysOnceThatItCannotBeShownAndDrawsAllTheSame) {
  const auto view = MakeView(40, 30);
  Probe probe;
  view->Attach(&probe);
  for (int i = 0; i < 5; ++i) device()->DrawDisplay();
  view->Detach();
  EXPECT_EQ(probe.draws, 5);
  EXPECT_EQ(probe.target, (Size{40, 30}));
  EXPECT_EQ(ToPresented(view.get())->window_scale(), 1);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsViewCGLTest, WithoutAContextDoesNothing) {
  GraphicsViewCGL view(nullptr, InternalWindowInfo{}, 4, 4);
  Probe probe;
  EXPECT_FALSE(view.Init());
  view.Attach(&probe);
  view.Draw();
  EXPECT_EQ(probe.draws, 0);
  EXPECT_FALSE(view.BindRenderTarget());
  view.UnbindRenderTarget();
  view.Resize(8, 8);
  EXPECT_EQ(view.width(), 8u);
  view.Draw();
  view.Detach();
}

TEST_F(GraphicsViewCGLTest, WithoutAUsableContextDoesNothing) {
  GraphicsContextCGL unbuilt;
  GraphicsViewCGL view(&unbuilt, InternalWindowInfo{}, 4, 4);
  Probe probe;
  view.Attach(&probe);
  unbuilt.DrawViews();
  EXPECT_EQ(probe.draws, 0);
  EXPECT_FALSE(view.BindRenderTarget());
  view.UnbindRenderTarget();
  view.Detach();
}

TEST_F(GraphicsViewCGLTest, InitSucceedsWithoutAViewContextAndDrawDoesNothing) {
  gl_spy::faults().create_context = true;
  const std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 4, 4));
  gl_spy::faults().create_context = false;
  ASSERT_NE(view, nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to create context"));
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  device()->DrawDisplay();
  view->Resize(8, 8);
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 0);
  EXPECT_EQ(loop.size(), 0u);
  EXPECT_FALSE(view->BindRenderTarget());
  view->UnbindRenderTarget();
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, InitMakesTheImageThenTheViewsContext) {
  gl_spy::StartTrace();
  const std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 40, 30));
  EXPECT_THAT(gl_spy::TakeTrace(), ElementsAre("make current",
                                               "check",  // Made by the texture's Init.
                                               "flush", "check", "clear current",
                                               // The view's.
                                               "make current", "flush", "check", "clear current"));
  EXPECT_THAT(TakeLog(), ElementsAre(kNoDisplay));
}

TEST_F(GraphicsViewCGLTest, InitChecksForErrorsAfterBothSteps) {
  gl_spy::faults().errors = {GL_NO_ERROR, GL_INVALID_VALUE, GL_INVALID_ENUM};  // The first is the texture's.
  const std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 4, 4));
  EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex("W: INVALID_VALUE" + std::string(kPlace)), kNoDisplay,
                                     MatchesRegex("W: INVALID_ENUM" + std::string(kPlace))));
}

TEST_F(GraphicsViewCGLTest, InitLeavesCurrentWhatACallbackHasCurrent) {
  std::unique_ptr<GraphicsView> view;
  {
    const test::CurrentContext current(context());
    const EGLContext before = eglGetCurrentContext();
    view = MakeView(4, 4);
    EXPECT_EQ(eglGetCurrentContext(), before);
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent);
  }
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

TEST_F(GraphicsViewCGLTest, IsDrawnWhileAttached) {
  const auto view = MakeView(4, 4);
  Probe probe;
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 0);
  view->Attach(&probe);
  view->Attach(&probe);
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 1) << "attached twice, drawn once";
  view->Detach();
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 1);
}

TEST_F(GraphicsViewCGLTest, ViewsAreDrawnInTheOrderOfTheirAttaching) {
  const auto first = MakeView(4, 4);
  const auto second = MakeView(4, 4);
  std::vector<int> order;
  Probe one, two;
  one.look = [&] { order.push_back(1); };
  two.look = [&] { order.push_back(2); };
  second->Attach(&two);
  first->Attach(&one);
  device()->DrawDisplay();
  EXPECT_THAT(order, ElementsAre(2, 1));
  second->Detach();
  first->Detach();
}

TEST_F(GraphicsViewCGLTest, LeavesTheRegistryWhenDestroyedWhileAttached) {
  Probe probe;
  auto view = MakeView(4, 4);
  view->Attach(&probe);
  view.reset();
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 0);
}

TEST_F(GraphicsViewCGLTest, FrameIsDrawnInTheStatedOrder) {
  const auto view = MakeView(40, 30);
  view->SetBackgroundColor(0.25f, 0.5f, 0.75f, 1.0f);
  Probe probe;
  const EGLContext none = EGL_NO_CONTEXT;
  EGLContext during = none;
  probe.look = [&] { during = eglGetCurrentContext(); };
  view->Attach(&probe);
  gl_spy::StartTrace();
  view->Draw();
  EXPECT_THAT(gl_spy::TakeTrace(), ElementsAre("make current", "clear colour 0.25 0.5 0.75 1", "check", "clear 0x4000",
                                               "check", "enable 0xbe2", "check", "blend 0x302 0x303", "check", "check",
                                               "disable 0xbe2", "check", "flush", "check", "check", "clear current"));
  EXPECT_EQ(probe.draws, 1);
  EXPECT_NE(during, none);
  EXPECT_EQ(eglGetCurrentContext(), none);
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, EveryStepOfAFrameIsChecked) {
  const auto view = MakeView(40, 30);
  gl_spy::faults().errors = std::deque<GLenum>(9, GL_OUT_OF_MEMORY);
  {
    const test::CurrentContext current(context());  // For the first check: before the frame makes it so.
    view->Draw();
  }
  EXPECT_THAT(gl_spy::faults().errors, IsEmpty());
  EXPECT_THAT(TakeLog(), AllOf(SizeIs(9), Each(MatchesRegex("W: OUT_OF_MEMORY" + std::string(kPlace)))));
}

TEST_F(GraphicsViewCGLTest, HostsErrorsAreLeftToTheHost) {
  const test::WrongOnPurpose wrong;  // And what cannot be deleted goes with its context.
  const int objects = gl_spy::LiveObjects();
  HostLoop loop;
  const test::HostContext host;
  const auto host_error = [] { glEnable(0xFFFF); };
  host_error();
  auto view = MakeView(40, 30);
  view->Draw();
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));

  // The same where the library's context cannot be made current, throughout.
  gl_spy::faults().make_current = true;
  host_error();
  std::unique_ptr<GraphicsView> another(device()->CreateView(InternalWindowInfo{}, 4, 4));
  view->Resize(64, 48);
  view->Draw();
  gl_spy::StartTrace();
  loop.Run();
  EXPECT_THAT(gl_spy::TakeTrace(), Not(Contains("flush")));
  view.reset();
  another.reset();
  gl_spy::faults().make_current = false;
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_THAT(TakeLog(), Each(AnyOf(kNoDisplay, "E: Failed to make the context current (EGL error 0x3000)")));
  gl_spy::SetLiveObjects(objects);
  DestroyDevice();
}

TEST_F(GraphicsViewCGLTest, HostsContextThatACallbackLeavesIsNotDrawnWith) {
  const auto view = MakeView(4, 4);
  Probe probe;
  test::HostContext host;
  glEnable(GL_BLEND);
  probe.look = [&] {
    host.MakeCurrent();
    const test::WrongOnPurpose wrong;
    glEnable(0xFFFF);
  };
  view->Attach(&probe);
  device()->DrawDisplay();
  EXPECT_TRUE(host.IsCurrent());
  EXPECT_TRUE(glIsEnabled(GL_BLEND));
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  const test::CurrentContext current(context());
  EXPECT_FALSE(glIsEnabled(GL_BLEND));
  GLint target = -1;
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
  EXPECT_EQ(target, 0);
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, CallbackFindsTheBackgroundAndBlending) {
  const auto view = MakeView(4, 4);
  view->SetBackgroundColor(1.0f, 0.0f, 0.2f, 0.6f);
  Probe probe;
  unsigned char pixel[4] = {};
  bool blends = false;
  probe.look = [&] {
    blends = glIsEnabled(GL_BLEND);
    GLint target = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(target));
    glReadPixels(3, 3, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  };
  view->Attach(&probe);
  device()->DrawDisplay();
  EXPECT_TRUE(blends);
  EXPECT_THAT(pixel, ElementsAre(255, 0, 51, 153));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, DrawLeavesCurrentWhatWasCurrent) {
  const auto view = MakeView(4, 4);
  const test::CurrentContext current(context());
  const EGLContext before = eglGetCurrentContext();
  view->Draw();
  EXPECT_EQ(eglGetCurrentContext(), before);
}

TEST_F(GraphicsViewCGLTest, DrawIsSkippedWhenTheContextCannotBeBound) {
  const auto view = MakeView(4, 4);
  Probe probe;
  view->Attach(&probe);
  gl_spy::faults().make_current = true;
  device()->DrawDisplay();
  gl_spy::faults().make_current = false;
  EXPECT_EQ(probe.draws, 0);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 1);
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, DetachWaitsForAFrameInProgress) {
  const auto view = MakeView(4, 4);
  Probe probe;
  std::promise<void> drawing, go_on;
  bool drawn = false;
  probe.look = [&] {
    drawing.set_value();
    go_on.get_future().wait();
    drawn = true;
  };
  view->Attach(&probe);
  std::thread render([&] {
    device()->DrawDisplay();
    NativeContext::ReleaseThread();
  });
  drawing.get_future().wait();
  std::thread letter([&] { go_on.set_value(); });
  view->Detach();
  EXPECT_TRUE(drawn);
  letter.join();
  render.join();
}

// Binding, as the interface of views has it.

TEST_F(GraphicsViewCGLTest, BindRenderTargetMakesItsOwnContextCurrent) {
  const auto view = MakeView(4, 4);
  log().Clear();
  EXPECT_TRUE(view->BindRenderTarget());
  EXPECT_TRUE(log().Has(Logger::Level::Debug, "BindRenderTarget"));
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent) << "it is not the device's";
  context()->UnbindContext();
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT);
  view->UnbindRenderTarget();
  EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}

TEST_F(GraphicsViewCGLTest, BindRenderTargetHoldsTheViewsContextUntilUnbound) {
  const auto view = MakeView(4, 4);
  ASSERT_TRUE(view->BindRenderTarget());
  std::promise<bool> bound;
  std::future<bool> result = bound.get_future();
  std::thread other([&] {
    bound.set_value(view->BindRenderTarget());
    view->UnbindRenderTarget();
    NativeContext::ReleaseThread();
  });
  // It can only wait; the time says how long it is watched.
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  view->UnbindRenderTarget();
  EXPECT_TRUE(result.get());
  other.join();
}

TEST_F(GraphicsViewCGLTest, FailedBindRenderTargetHoldsNothing) {
  const auto view = MakeView(4, 4);
  gl_spy::faults().make_current = true;
  EXPECT_FALSE(view->BindRenderTarget());
  view->UnbindRenderTarget();
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre(StartsWith("E: Failed to make the context current")));
  RunOnAnotherThread([&] {
    EXPECT_TRUE(view->BindRenderTarget());
    view->UnbindRenderTarget();
  });
}

// Sizes.

TEST_F(GraphicsViewCGLTest, ResizeIsCompletedOnTheMainQueue) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  view->Resize(64, 48);
  EXPECT_EQ(view->width(), 64u);
  EXPECT_EQ(view->height(), 48u);
  EXPECT_EQ(loop.size(), 0u) << "the next Draw asks for it";
  for (int i = 0; i < 3; ++i) device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 3);
  EXPECT_EQ(probe.target, (Size{40, 30})) << "the image is still the old one";
  EXPECT_EQ(loop.Run(), 1u) << "one change of size is queued once";
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{64, 48}));
  EXPECT_EQ(loop.size(), 0u);
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ResizeWorkMakesTheImageThenUpdatesTheViewsContext) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  view->Resize(64, 48);
  view->Draw();
  gl_spy::StartTrace();
  loop.Run();
  // There is no window to update.
  EXPECT_THAT(gl_spy::TakeTrace(), ElementsAre("make current", "check", "flush", "clear current"));
}

TEST_F(GraphicsViewCGLTest, ResizeWorkTakesTheSizeThatIsAskedForWhenItRuns) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  view->Resize(64, 48);
  device()->DrawDisplay();
  view->Resize(20, 10);
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{20, 10}));
  EXPECT_EQ(loop.Run(), 1u) << "to the view it is a change all the same";
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{20, 10}));
  view->Detach();
}

// The work has made an image of a size that no frame has seen.
TEST_F(GraphicsViewCGLTest, ResizeThereAndBackWhileTheWorkRunsEndsWithTheLastSize) {
  for (const auto& between : {std::pair{20u, 10u}, std::pair{0u, 48u}, std::pair{0u, 0u}}) {
    const auto view = MakeView(40, 30);
    HostLoop loop;
    Probe probe;
    view->Attach(&probe);
    view->Resize(64, 48);
    device()->DrawDisplay();
    view->Resize(between.first, between.second);
    loop.Run();
    view->Resize(64, 48);
    device()->DrawDisplay();
    loop.Run();
    device()->DrawDisplay();
    EXPECT_EQ(probe.target, (Size{64, 48}));
    EXPECT_EQ(loop.Run(), 0u);
    view->Detach();
  }
}

TEST_F(GraphicsViewCGLTest, ResizeToTheSizeThatItHasQueuesNothing) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  view->Resize(41, 31);
  view->Resize(40, 30);
  view->Draw();
  EXPECT_EQ(loop.size(), 0u);
}

TEST_F(GraphicsViewCGLTest, ResizeWorkKeepsTheImageWhereTheContextIsCurrentAlready) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  view->Resize(64, 48);
  device()->DrawDisplay();
  {
    const test::CurrentContext current(context());
    loop.Run();
    EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kWasCurrent) << "what was current is current still";
  }
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{40, 30}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ResizeWorkThatCannotBindTheContextLeavesTheImageToTheNextFrame) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  view->Resize(64, 48);
  device()->DrawDisplay();
  gl_spy::faults().make_current = true;
  loop.Run();
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), AllOf(Contains(StartsWith("E: Failed to make the context current")), Each(StartsWith("E: "))));
  EXPECT_EQ(context()->BindContext(), GraphicsContextGL::kMadeCurrent) << "something is held that was never bound";
  context()->UnbindContext();
  EXPECT_EQ(probe.draws, 1);
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 2);
  EXPECT_EQ(probe.target, (Size{64, 48}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ZeroSizeDrawsNothing) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  for (const auto& size : {std::pair{0u, 30u}, std::pair{40u, 0u}, std::pair{0u, 0u}}) {
    view->Resize(size.first, size.second);
    device()->DrawDisplay();
    device()->DrawDisplay();
  }
  EXPECT_EQ(probe.draws, 0);
  EXPECT_EQ(loop.size(), 0u);
  // The size before is a change after that.
  view->Resize(40, 30);
  device()->DrawDisplay();
  EXPECT_EQ(loop.Run(), 1u);
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 2);
  EXPECT_EQ(probe.target, (Size{40, 30}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ZeroSizeWhenTheResizeWorkRunsKeepsAnImageOfOnePixel) {
  const auto view = MakeView(40, 30);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  view->Resize(64, 48);
  device()->DrawDisplay();
  view->Resize(0, 48);
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 1);
  view->Resize(64, 48);
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{1, 1}));
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{64, 48}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, MadeWithoutASizeComesToLifeWithOne) {
  const auto view = MakeView(0, 0);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 0);
  view->Resize(16, 9);
  device()->DrawDisplay();
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{16, 9}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, SizeThatNoTextureHasDrawsNothingAndSaysSoOnce) {
  const unsigned int limit = context()->max_texture_size();
  const std::string says = " cannot be drawn: a side is longer than " + std::to_string(limit);
  const auto view = MakeView(4, 4);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  for (const unsigned int side : {limit + 1, 0x80000000u, 0xFFFFFFFFu}) {
    view->Resize(3, side);
    for (int i = 0; i < 3; ++i) device()->DrawDisplay();
    EXPECT_EQ(loop.Run(), 1u);
    for (int i = 0; i < 3; ++i) device()->DrawDisplay();
    EXPECT_EQ(probe.draws, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("W: A view of 3x" + std::to_string(side) + says));
  }
  view->Resize(3, limit);
  device()->DrawDisplay();
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{3, static_cast<GLint>(limit)}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, MadeWithASizeThatNoTextureHasComesToLifeWithAnother) {
  const std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 0xFFFFFFFF, 4));
  ASSERT_NE(view, nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre(StartsWith("W: A view of 4294967295x4 cannot be drawn"), kNoDisplay));
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  device()->DrawDisplay();
  view->Resize(16, 9);
  device()->DrawDisplay();
  loop.Run();
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{16, 9}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ResizeStormEndsWithTheLastSize) {
  const auto view = MakeView(40, 30);
  Probe probe;
  view->Attach(&probe);
  for (unsigned int i = 1; i <= 200; ++i) {
    view->Resize(i * 37 % 64, i * 61 % 48);
    device()->DrawDisplay();  // The library's own thread completes each of them when it comes to it.
  }
  view->Resize(50, 20);
  device()->DrawDisplay();
  std::promise<void> done;
  // What is queued last runs last.
  const auto last = MakeView(4, 4);
  last->Resize(5, 5);
  Probe other;
  last->Attach(&other);
  while (!(other.target == Size{5, 5})) device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{50, 20}));
  last->Detach();
  view->Detach();
}

// Without an image: a frame keeps the lock of the view's context.

TEST_F(GraphicsViewCGLTest, WithoutAnImageDrawKeepsTheLockAndTeardownDoesNotHang) {
  gl_spy::faults().gen_textures = true;
  std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 4, 4));
  gl_spy::faults().gen_textures = false;
  ASSERT_NE(view, nullptr);
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create texture failed", kNoDisplay));
  Probe probe;
  view->Attach(&probe);
  RunOnAnotherThread([&] {
    device()->DrawDisplay();
    device()->DrawDisplay();
  });
  EXPECT_EQ(probe.draws, 0);
  view->Detach();
  view.reset();
}

TEST_F(GraphicsViewCGLTest, LockThatADrawKeptComesBackWithTheNextImage) {
  gl_spy::faults().gen_textures = true;
  const std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{}, 4, 4));
  gl_spy::faults().gen_textures = false;
  TakeLog();
  HostLoop loop;
  std::promise<void> first_drawn, draw_again, drawn_again;
  std::thread render([&] {
    view->Draw();
    first_drawn.set_value();
    draw_again.get_future().wait();
    view->Draw();
    drawn_again.set_value();
    NativeContext::ReleaseThread();
  });
  first_drawn.get_future().wait();
  std::promise<bool> bound;
  std::future<bool> result = bound.get_future();
  std::thread other([&] {
    bound.set_value(view->BindRenderTarget());
    view->UnbindRenderTarget();
    NativeContext::ReleaseThread();
  });
  // It can only wait; the time says how long it is watched.
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout) << "the lock is not held";
  view->Resize(8, 8);
  draw_again.set_value();
  drawn_again.get_future().wait();
  loop.Run();
  EXPECT_TRUE(result.get());
  other.join();
  render.join();
  Probe probe;
  view->Attach(&probe);
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{8, 8}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ImageThatCouldNotBeMadeForAnotherSizeIsTriedAgain) {
  const auto view = MakeView(4, 4);
  Probe probe;
  view->Attach(&probe);
  HostLoop loop;
  view->Resize(8, 8);
  device()->DrawDisplay();
  gl_spy::faults().gen_textures = true;
  loop.Run();
  gl_spy::faults().gen_textures = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: GraphicsTextureGL create texture failed"));
  device()->DrawDisplay();
  EXPECT_EQ(probe.target, (Size{8, 8}));
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ImageThatCannotBeDrawnToIsTriedAgainInTheNextFrame) {
  const auto view = MakeView(4, 4);
  Probe probe;
  view->Attach(&probe);
  for (int episode = 1; episode <= 2; ++episode) {
    log().Clear();
    gl_spy::faults().incomplete = true;
    for (int i = 0; i < 3; ++i) device()->DrawDisplay();
    gl_spy::faults().incomplete = false;
    EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("frame_buffer status")));
    EXPECT_FALSE(log().Has(Logger::Level::Info, "A view's image can be drawn to again"));
    device()->DrawDisplay();
    EXPECT_EQ(probe.draws, episode);
    EXPECT_TRUE(log().Has(Logger::Level::Info, "A view's image can be drawn to again"));
  }
  view->Detach();
}

TEST_F(GraphicsViewCGLTest, ImageThatCannotBeDrawnToIsSaidOnce) {
  const auto view = MakeView(4, 4);
  HostLoop loop;
  Probe probe;
  view->Attach(&probe);
  gl_spy::faults().incomplete = true;
  for (int i = 0; i < 3; ++i) device()->DrawDisplay();
  gl_spy::faults().incomplete = false;
  EXPECT_EQ(probe.draws, 0);
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("frame_buffer status")));
  // Nor does the next image say it again.
  gl_spy::faults().incomplete = true;
  view->Resize(8, 8);
  device()->DrawDisplay();
  loop.Run();
  for (int i = 0; i < 3; ++i) device()->DrawDisplay();
  gl_spy::faults().incomplete = false;
  device()->DrawDisplay();
  EXPECT_EQ(probe.draws, 1);
  view->Detach();
}

// Lifetimes.

TEST_F(GraphicsViewCGLTest, ResizeWorkMayComeAfterTheView) {
  HostLoop loop;
  auto view = MakeView(40, 30);
  view->Resize(64, 48);
  view->Draw();
  view.reset();
  gl_spy::StartTrace();
  EXPECT_EQ(loop.Run(), 1u);
  EXPECT_THAT(gl_spy::TakeTrace(), IsEmpty());
}

TEST_F(GraphicsViewCGLTest, ResizeWorkMayComeAfterTheDevice) {
  HostLoop loop;
  auto view = MakeView(40, 30);
  view->Resize(64, 48);
  view->Draw();
  view.reset();
  DestroyDevice();
  EXPECT_EQ(loop.Run(), 1u);
}

TEST_F(GraphicsViewCGLTest, ResizeWorkMayNeverRun) {
  HostLoop loop;
  const auto view = MakeView(40, 30);
  for (unsigned int i = 1; i <= 10; ++i) {
    view->Resize(40 + i, 30);
    view->Draw();
  }
  EXPECT_EQ(loop.size(), 10u);
}

TEST_F(GraphicsViewCGLTest, DestructionUnderTheContextsLockDoesNotWaitForResizeWork) {
  HostLoop loop;
  auto view = MakeView(40, 30);
  view->Resize(64, 48);
  view->Draw();
  std::promise<void> running;
  std::thread main_thread;
  {
    MutexLocker<GraphicsContextGL> lock(*context());
    main_thread = std::thread([&] {
      running.set_value();
      loop.Run();  // Gets no further than the lock.
      NativeContext::ReleaseThread();
    });
    running.get_future().wait();
    view.reset();
  }
  main_thread.join();
}

TEST_F(GraphicsViewCGLTest, DestructionAndDeviceMeetResizeWorkAtAnyPoint) {
  for (int i = 0; i < 40; ++i) {
    auto own = std::make_unique<GraphicsDeviceCGL>();
    ASSERT_TRUE(own->Init());
    HostLoop loop;
    std::unique_ptr<GraphicsView> view(own->CreateView(InternalWindowInfo{}, 4, 4));
    view->Resize(8, 8);
    view->Draw();
    std::thread main_thread([&] {
      loop.Run();
      NativeContext::ReleaseThread();
    });
    for (int spin = 0; spin < i * 200; ++spin) std::this_thread::yield();
    view.reset();
    own.reset();
    main_thread.join();
  }
  TakeLog();
}

TEST_F(GraphicsViewCGLTest, DestructionWaitsForAFrameInProgress) {
  auto view = MakeView(4, 4);
  Probe probe;
  std::promise<void> drawing, go_on;
  bool drawn = false;
  probe.look = [&] {
    drawing.set_value();
    go_on.get_future().wait();
    drawn = true;
  };
  view->Attach(&probe);
  std::thread render([&] {
    device()->DrawDisplay();
    NativeContext::ReleaseThread();
  });
  drawing.get_future().wait();
  std::thread letter([&] { go_on.set_value(); });
  view.reset();
  EXPECT_TRUE(drawn);
  letter.join();
  render.join();
}

// The views of one device are made while its frames are drawn: the order of the locks is that of the frames.
TEST_F(GraphicsViewCGLTest, ViewsComeAndGoWhileFramesAreDrawn) {
  ASSERT_TRUE(device()->Start());
  device()->SetFps(1000);
  Probe probe;
  for (int i = 0; i < 20; ++i) {
    const auto view = MakeView(16, 16);
    view->Attach(&probe);
    view->Resize(20, 20);
    view->Detach();
  }
  device()->Stop();
}

}  // namespace
