// Who uses a scene, from when to when.
#include "graphics/public/gs_scene_use.h"

#include <thread>
#include <type_traits>
#include <utility>

#include <quarn/gs_scene.h>

#include "tests/graphics/public/facade_test.h"
#include "tests/graphics/public/lock_probe.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Records what is called.
class TestScene : public GsScene {
 public:
  explicit TestScene(std::string name = "host") : GsScene(640, 480, nullptr), name_(std::move(name)) {}
  void AddRef() override { fake::Record(name_ + " AddRef"); }
  void Release() override { fake::Record(name_ + " Release"); }

 private:
  const std::string name_;
};

class GsSceneUseTest : public FacadeWithDeviceTest {};

TEST_F(GsSceneUseTest, TheFirstUserAttachesAndTheLastDetaches) {
  TestScene scene;
  fake::ClearCalls();
  {
    const GsSceneUse first(&scene);
    EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "scene.Attach", "scene.AddRef"));
    EXPECT_TRUE(scene.impl()->HasRef());
    fake::ClearCalls();
    {
      const GsSceneUse second(&scene);
      EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "scene.AddRef"));
      fake::ClearCalls();
    }
    EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "host Release"));
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "scene.Detach", "host Release"));
  EXPECT_FALSE(scene.impl()->HasRef());
}

TEST_F(GsSceneUseTest, OfNoSceneItDoesNothing) {
  {
    GsSceneUse none;
    const GsSceneUse of_null(nullptr);
    const GsSceneUse adopted = GsSceneUse::Adopt(nullptr);
    EXPECT_EQ(none.Leave(), nullptr);
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsSceneUseTest, MovesWithoutCounting) {
  static_assert(!std::is_copy_constructible_v<GsSceneUse> && !std::is_copy_assignable_v<GsSceneUse>);
  TestScene scene;
  {
    GsSceneUse first(&scene);
    fake::ClearCalls();
    GsSceneUse second(std::move(first));
    GsSceneUse third;
    third = std::move(second);
    EXPECT_THAT(fake::Calls(), IsEmpty());
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "scene.Detach", "host Release"));
}

TEST_F(GsSceneUseTest, AssignmentExchanges) {
  TestScene old_scene("old");
  TestScene new_scene("new");
  GsSceneUse use(&old_scene);
  {
    GsSceneUse other(&new_scene);
    fake::ClearCalls();
    use = std::move(other);
    EXPECT_THAT(fake::Calls(), IsEmpty());
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "scene.Detach", "old Release"));
}

TEST_F(GsSceneUseTest, IsLeftToAPointerAndAdoptedFromIt) {
  TestScene scene;
  GsScene* kept = nullptr;
  {
    GsSceneUse use(&scene);
    kept = use.Leave();
    fake::ClearCalls();
  }
  EXPECT_EQ(kept, &scene);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_TRUE(scene.impl()->HasRef());
  { const GsSceneUse use = GsSceneUse::Adopt(kept); }
  EXPECT_THAT(fake::Calls(), ElementsAre("scene.ReleaseRef", "scene.Detach", "host Release"));
}

TEST_F(GsSceneUseTest, AnInertSceneIsOnlyCounted) {
  GsDevice::DestroyDefaultDevice();
  fake::ClearCalls();
  TestScene scene;
  { const GsSceneUse use(&scene); }
  EXPECT_THAT(fake::Calls(), ElementsAre("host AddRef", "host Release"));
}

TEST_F(GsSceneUseTest, TheLastReferenceMayDeleteTheScene) {
  class OwnedScene : public GsScene {
   public:
    OwnedScene() : GsScene(8, 8, nullptr) {}
    ~OwnedScene() override { fake::Record("deleted"); }
  };
  scoped_refptr<GsScene> scene = MakeRef<RefCounted<OwnedScene>>();
  {
    const GsSceneUse use(scene);
    scene = nullptr;
    EXPECT_EQ(fake::Count("deleted"), 0);
  }
  EXPECT_EQ(fake::Count("deleted"), 1);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsSceneUseTest, TheWholeSequenceHoldsTheContextsLock) {
  ProbedContext* const context = ProbedContext::PutInto(engine());
  fake::options().on_call = [context](const std::string& call) {
    if (call == "scene.AddRef" || call == "scene.ReleaseRef") context->Probe();
  };
  TestScene scene;
  { const GsSceneUse use(&scene); }
  EXPECT_EQ(context->probes(), 2);
  EXPECT_EQ(context->intrusions(), 0);
}

TEST_F(GsSceneUseTest, ViewersOnSeveralThreadsAgree) {
  class CountedScene : public GsScene {
   public:
    using GsScene::GsScene;
    void AddRef() override {}
    void Release() override {}
  };
  CountedScene scene(8, 8, nullptr);
  const auto use_often = [&scene] {
    for (int i = 0; i < 300; ++i) const GsSceneUse use(&scene);
  };
  std::thread first(use_often);
  std::thread second(use_often);
  first.join();
  second.join();
  EXPECT_FALSE(scene.impl()->HasRef());
  EXPECT_EQ(fake::Count("scene.Attach"), fake::Count("scene.Detach"));
}

}  // namespace
