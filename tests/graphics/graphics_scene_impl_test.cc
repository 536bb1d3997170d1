#include "graphics/graphics_scene_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "foundation/event.h"

namespace {

using ::testing::ElementsAre;

class CountingCallback : public GraphicsScene::DrawCallback {
 public:
  void Draw() override { ++draws; }
  int draws = 0;
};

TEST(GraphicsSceneImplTest, KeepsItsSizeAndHasNoTexture) {
  GraphicsSceneImpl scene(640, 480);
  EXPECT_EQ(scene.width(), 640u);
  EXPECT_EQ(scene.height(), 480u);
  EXPECT_EQ(scene.texture(), nullptr);
}

TEST(GraphicsSceneImplTest, IsInUseWhileReferencesAreHeld) {
  GraphicsSceneImpl scene(1, 1);
  EXPECT_FALSE(scene.HasRef());
  scene.AddRef();
  EXPECT_TRUE(scene.HasRef());
  scene.AddRef();
  scene.ReleaseRef();
  EXPECT_TRUE(scene.HasRef());
  scene.ReleaseRef();
  EXPECT_FALSE(scene.HasRef());
}

TEST(GraphicsSceneImplTest, DrawsThroughTheCallbackWhileAttached) {
  GraphicsSceneImpl scene(1, 1);
  CountingCallback callback;
  scene.Draw();
  scene.Attach(&callback);
  scene.Draw();
  EXPECT_EQ(callback.draws, 1);
  scene.Detach();
  scene.Draw();
  EXPECT_EQ(callback.draws, 1);
}

TEST(GraphicsSceneImplTest, DetachWaitsForADrawInProgress) {
  class BusyCallback : public GraphicsScene::DrawCallback {
   public:
    explicit BusyCallback(GraphicsScene* scene) : scene_(scene) {}
    void Draw() override {
      Event about_to(false);
      detacher = std::thread([&about_to, this] {
        about_to.Signal();
        scene_->Detach();
        journal.push_back("detached");
      });
      about_to.Wait();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      journal.push_back("drawn");
    }
    std::thread detacher;
    std::vector<std::string> journal;

   private:
    GraphicsScene* scene_;
  };
  GraphicsSceneImpl scene(1, 1);
  BusyCallback callback(&scene);
  scene.Attach(&callback);
  scene.Draw();
  callback.detacher.join();
  EXPECT_THAT(callback.journal, ElementsAre("drawn", "detached"));
}

}  // namespace
