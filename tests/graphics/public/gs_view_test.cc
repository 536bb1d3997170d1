// The host's side of every view.
#include <quarn/gs_view.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <quarn/gs_scene.h>

#include "tests/graphics/public/facade_test.h"
#include "tests/graphics/public/lock_probe.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Counts its references without deleting itself, and records what is called.
class TestScene : public GsScene {
 public:
  explicit TestScene(std::string name = "host", GsDevice* device = nullptr)
      : GsScene(640, 480, device), name_(std::move(name)) {}
  void AddRef() override {
    ++references;
    fake::Record(name_ + " AddRef");
  }
  void Release() override {
    --references;
    fake::Record(name_ + " Release");
  }

  std::atomic<int> references{0};

 private:
  std::string name_;
};

class TestView : public GsView {
 public:
  explicit TestView(GsDevice* device = nullptr) : GsView({&window_}, 320, 200, device) {}
  void Draw() override {
    ++drawn;
    if (on_draw) on_draw();
  }
  FakeView* engine() const { return static_cast<FakeView*>(impl()); }
  void* window() { return &window_; }

  int drawn = 0;
  std::function<void()> on_draw;

 private:
  char window_ = 0;
};

class GsViewTest : public FacadeWithDeviceTest {};

TEST_F(GsViewTest, CountsItsPictures) {
  const TestView view;
  view.engine()->pictures = {7, 4, 2};
  const GsViewCounts counts = view.Counts();
  EXPECT_EQ(counts.drawn, 7u);
  EXPECT_EQ(counts.presented, 4u);
  EXPECT_EQ(counts.skipped, 2u);
}

TEST_F(GsViewTest, OwnsAnEngineView) {
  {
    TestView view;
    ASSERT_NE(view.engine(), nullptr);
    EXPECT_EQ(view.engine()->window, view.window());
    EXPECT_EQ(view.width(), 320u);
    EXPECT_EQ(view.height(), 200u);
    EXPECT_EQ(view.scene(), nullptr);
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateView 320 200", "view.~"));
}

TEST_F(GsViewTest, MayBeOfAnotherDeviceThanTheDefaultOne) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  TestView view(&other);
  view.Attch();
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 0);
  other.DrawDisplay();
  EXPECT_EQ(view.drawn, 1);
  view.Detach();
}

TEST_F(GsViewTest, ResizeReachesTheEngine) {
  TestView view;
  view.Resize(1, 0);
  EXPECT_EQ(view.width(), 1u);
  EXPECT_EQ(view.height(), 0u);
  EXPECT_EQ(fake::Count("view.Resize 1 0"), 1);
}

TEST_F(GsViewTest, TheBackgroundReachesTheEngine) {
  TestView view;
  view.SetBackgroundColor(0.1f, 0.2f, 0.3f, 0.4f);
  EXPECT_THAT(view.engine()->background(), ElementsAre(0.1f, 0.2f, 0.3f, 0.4f));
}

TEST_F(GsViewTest, ItsPlaceAndItsWindowReachTheEngine) {
  TestView view;
  int other = 0;
  fake::ClearCalls();
  view.Move(-5, 7);
  view.SetWindow({&other});
  EXPECT_EQ(view.engine()->window, &other);
  view.SetWindow({});
  EXPECT_EQ(view.engine()->window, nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("view.Move -5 7", "view.SetWindow", "view.SetWindow"));
}

TEST_F(GsViewTest, TellsTheScaleOfItsWindow) {
  TestView view;
  EXPECT_EQ(view.WindowScale(), 1);
  view.engine()->scale = 1.5f;
  EXPECT_EQ(view.WindowScale(), 1.5f);
}

TEST_F(GsViewTest, IsDrawnWhileAttached) {
  TestView view;
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 0);
  view.Attch();
  device()->DrawDisplay();
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 2);
  view.Detach();
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 2);
  view.Detach();
  view.Attch();
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 3);
  view.Detach();
}

TEST_F(GsViewTest, AttchIsIdempotent) {
  TestView view;
  view.Attch();
  view.Attch();
  EXPECT_EQ(fake::Count("view.Attach"), 1);
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 1);
  view.Detach();
}

TEST_F(GsViewTest, DrawsNothingByDefault) {
  GsView view({}, 4, 4, nullptr);
  view.Attch();
  fake::ClearCalls();
  device()->DrawDisplay();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.DrawDisplay"));
  view.Detach();
}

TEST_F(GsViewTest, ViewsAreDrawnInTheOrderOfAttaching) {
  TestView first;
  TestView second;
  first.on_draw = [] { fake::Record("first"); };
  second.on_draw = [] { fake::Record("second"); };
  second.Attch();
  first.Attch();
  fake::ClearCalls();
  device()->DrawDisplay();
  EXPECT_THAT(fake::Calls(), ElementsAre("device.DrawDisplay", "second", "first"));
  first.Detach();
  second.Detach();
}

TEST_F(GsViewTest, MayDetachItselfInDraw) {
  TestView view;
  view.on_draw = [&view] { view.Detach(); };
  view.Attch();
  device()->DrawDisplay();
  device()->DrawDisplay();
  EXPECT_EQ(view.drawn, 1);
}

TEST_F(GsViewTest, DetachWaitsForADrawInProgress) {
  // The draw probes the lock that a detach takes first.
  ProbedContext* const context = ProbedContext::PutInto(engine());
  TestView view;
  view.on_draw = [context] { context->Probe(); };
  view.Attch();
  device()->DrawDisplay();
  view.Detach();
  EXPECT_EQ(context->probes(), 1);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST_F(GsViewTest, AttachingHoldsTheContextsLock) {
  ProbedContext* const context = ProbedContext::PutInto(engine());
  fake::options().on_call = [context](const std::string& call) {
    if (call == "view.Attach" || call == "view.Detach") context->Probe();
  };
  TestView view;
  view.Attch();
  view.Detach();
  EXPECT_EQ(context->probes(), 2);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST_F(GsViewTest, LeavesTheRegistryWhenDestroyedAttached) {
  {
    TestView view;
    view.Attch();
  }
  EXPECT_THAT(errors(), ElementsAre("[GsView] destroyed while attached: call Detach first"));
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateView 320 200", "view.Attach", "view.Detach", "view.~"));
  device()->DrawDisplay();
}

TEST_F(GsViewTest, WorksOnAnEngineWithoutAContext) {
  fake::options().context = false;
  MakeDevice();
  TestView view;
  TestScene scene;
  view.SetScene(&scene);
  view.Attch();
  view.Detach();
  view.SetScene(nullptr);
  EXPECT_EQ(fake::Count("view.Attach"), 1);
  EXPECT_EQ(fake::Count("view.Detach"), 1);
  EXPECT_THAT(errors(), IsEmpty());
}

// Has no engine view, but a scene.
void ExpectInert(TestView& view, TestScene& scene) {
  EXPECT_EQ(view.Counts().drawn, 0u);
  EXPECT_EQ(view.impl(), nullptr);
  view.Resize(3, 4);
  EXPECT_EQ(view.width(), 0u);
  EXPECT_EQ(view.height(), 0u);
  view.SetBackgroundColor(1, 1, 1, 1);
  view.Move(1, 2);
  EXPECT_EQ(view.WindowScale(), 1);
  view.SetWindow({});
  view.SetScene(&scene);
  EXPECT_EQ(view.scene(), &scene);
  EXPECT_EQ(scene.references, 1);
  view.Attch();
  view.Detach();
  view.SetScene(nullptr);
  EXPECT_EQ(scene.references, 0);
}

TEST_F(GsViewTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  TestView view;
  TestScene scene;
  ExpectInert(view, scene);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsViewTest, IsInertWhenTheEngineMakesNoView) {
  TestScene scene;
  fake::options().objects = false;
  TestView view;
  ExpectInert(view, scene);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsViewTest, AnInertViewMayBeDestroyedAttached) {
  GsDevice::DestroyDefaultDevice();
  TestView view;
  view.Attch();
}

TEST_F(GsViewTest, SetSceneTakesTheSceneIntoUse) {
  TestView view;
  TestScene scene;
  fake::ClearCalls();
  view.SetScene(&scene);
  EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "scene.Attach", "scene.AddRef"));
  EXPECT_EQ(view.scene(), &scene);
  fake::ClearCalls();
  view.SetScene(nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "scene.Detach", "host Release"));
  EXPECT_EQ(view.scene(), nullptr);
}

TEST_F(GsViewTest, TheNewSceneIsTakenBeforeTheOldOneIsLetGo) {
  TestView view;
  TestScene first("first");
  TestScene second("second");
  view.SetScene(&first);
  fake::ClearCalls();
  view.SetScene(&second);
  EXPECT_THAT(fake::Calls(), ElementsAre("second AddRef", "scene.Attach", "scene.AddRef", "scene.ReleaseRef",
                                         "scene.Detach", "first Release"));
  view.SetScene(nullptr);
}

TEST_F(GsViewTest, TheSameSceneAgainStaysAttached) {
  TestView view;
  TestScene scene;
  view.SetScene(&scene);
  fake::ClearCalls();
  view.SetScene(&scene);
  EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "scene.AddRef", "scene.ReleaseRef", "host Release"));
  EXPECT_EQ(scene.references, 1);
  EXPECT_EQ(view.scene(), &scene);
  view.SetScene(nullptr);
}

TEST_F(GsViewTest, NoSceneAgainChangesNothing) {
  TestView view;
  fake::ClearCalls();
  view.SetScene(nullptr);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsViewTest, ASceneIsAttachedWhileAnyViewUsesIt) {
  TestView first;
  TestView second;
  TestScene scene;
  first.SetScene(&scene);
  second.SetScene(&scene);
  EXPECT_EQ(fake::Count("scene.Attach"), 1);
  EXPECT_EQ(scene.references, 2);
  first.SetScene(nullptr);
  EXPECT_EQ(fake::Count("scene.Detach"), 0);
  second.SetScene(nullptr);
  EXPECT_EQ(fake::Count("scene.Detach"), 1);
}

TEST_F(GsViewTest, ASceneNeedsNoAttachedView) {
  // In use, and so rendered, whether or not the view is drawn.
  TestView view;
  TestScene scene;
  view.SetScene(&scene);
  EXPECT_TRUE(scene.impl()->HasRef());
  view.Attch();
  view.Detach();
  EXPECT_TRUE(scene.impl()->HasRef());
  view.SetScene(nullptr);
  EXPECT_FALSE(scene.impl()->HasRef());
}

TEST_F(GsViewTest, AnInertSceneIsHeldWithoutBeingAttached) {
  fake::options().objects = false;
  TestScene scene;
  fake::options().objects = true;
  TestView view;
  fake::ClearCalls();
  view.SetScene(&scene);
  EXPECT_EQ(view.scene(), &scene);
  view.SetScene(nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "host Release"));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsViewTest, ScenePtrTakesAReference) {
  TestView view;
  EXPECT_EQ(view.scene_ptr().get(), nullptr);
  TestScene scene;
  view.SetScene(&scene);
  {
    const scoped_refptr<GsScene> held = view.scene_ptr();
    EXPECT_EQ(held.get(), &scene);
    EXPECT_EQ(scene.references, 2);
  }
  EXPECT_EQ(scene.references, 1);
  view.SetScene(nullptr);
}

TEST_F(GsViewTest, ASceneOfAnotherDeviceIsHeldWithAnError) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  TestView view;
  TestScene scene("host", &other);
  log_.Clear();
  view.SetScene(&scene);
  EXPECT_THAT(errors(), ElementsAre("[GsView] the scene is of another device: it is not shown"));
  EXPECT_EQ(view.scene(), &scene);
  EXPECT_TRUE(scene.impl()->HasRef());
  view.SetScene(nullptr);
}

TEST_F(GsViewTest, DestructionDeletesTheEngineViewAndThenLetsGoOfTheScene) {
  TestScene scene;
  {
    TestView view;
    view.SetScene(&scene);
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("view.~", "scene.ReleaseRef", "scene.Detach", "host Release"));
  EXPECT_EQ(scene.references, 0);
}

TEST_F(GsViewTest, DestructionReleasesASceneWithoutAnEngineScene) {
  fake::options().objects = false;
  TestScene scene;
  fake::options().objects = true;
  {
    TestView view;
    view.SetScene(&scene);
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("view.~", "host Release"));
}

// The render thread takes the view's mutex with the context's lock held. A scene that is attached or detached takes the
// context's lock, so the mutex must be free meanwhile: another thread can ask for the scene.
TEST_F(GsViewTest, ScenesAreTakenAndLetGoWithoutTheMutex) {
  TestScene first;
  TestScene second;
  int asked = 0;
  {
    TestView view;
    fake::options().on_call = [&](const std::string& call) {
      if (call.rfind("scene.", 0) != 0 && call.rfind("host", 0) != 0) return;
      std::thread asker([&] { view.scene(); });
      asker.join();  // Or never: the test would run into its time limit.
      ++asked;
    };
    view.SetScene(&first);
    view.SetScene(&second);
    view.SetScene(nullptr);
    fake::options().on_call = nullptr;
  }
  EXPECT_EQ(asked, 12);
}

TEST(GsViewSlotTest, VirtualOperationsKeepTheirOrder) {
  EXPECT_EQ(Slot(&GsView::SetScene), 2);
  EXPECT_EQ(Slot(&GsView::Resize), 3);
  EXPECT_EQ(Slot(&GsView::Draw), 4);
  EXPECT_EQ(Slot(&GsViewImpl::SetScene), 2);
  EXPECT_EQ(Slot(&GsViewImpl::Resize), 3);
  EXPECT_EQ(Slot(&GsViewImpl::Draw), 4);
}

}  // namespace
