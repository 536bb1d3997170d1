// One thread of a stress round: what it calls next comes from its seed alone, whatever the other threads do.
#ifndef QUARN_TESTS_STRESS_THREAD_CALLS_H_
#define QUARN_TESTS_STRESS_THREAD_CALLS_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include <quarn/quarn.h>

#include "tests/stress/thread_world.h"

namespace stress {

class Caller {
 public:
  Caller(World* world, unsigned int seed, int thread);
  virtual ~Caller() = default;
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  // Before the first call, on the caller's thread, and after the last one.
  virtual void Begin() {}
  virtual void End();
  // One more call, or a few that belong together.
  virtual void Call();
  // All threads rest: whether what the caller has to itself has the references that it should have.
  virtual void CheckReferences();

  // What it does, for who wants to know why it does not go on.
  const char* now() const { return now_; }
  const HeldScenes& held() const { return held_; }

 protected:
  struct Kind {
    const char* name;
    unsigned int share;  // How often, beside the others.
    void (Caller::*call)();
  };
  static const Kind kKinds[];

  void ChangeList();
  void WalkList();
  void ChangeValues();
  void ComeAndGo();
  void UpdateTextures();
  void PassTextures();
  void ChangeFilters();
  void UseRawOutput();
  void UseTextureOutput();
  void HoldScene();
  void ChangePictures();
  void AskDevice();
  void QueueTask();
  void UseView();
  void PushSound();
  void ChangeSound();
  void ChangeDrivenScene();
  void UseFlat();

  unsigned int Below(unsigned int end) { return stress::Below(random_, end); }
  GsScene* AnyScene() { return world_->scenes[Below(static_cast<unsigned int>(world_->scenes.size()))]; }
  GsItem* AnyItem();
  GsTexture* AnyTexture() { return world_->textures[Below(static_cast<unsigned int>(world_->textures.size()))].get(); }
  void Hold(GsScene* scene) { held_.push_back(scene); }
  void LetGo(GsScene* scene);
  // What an output's callback does besides looking, told by the number of its call.
  void Answer(RawOutput* output, unsigned int salt, unsigned long long call);

  struct Raw {
    GsScene* scene = nullptr;
    bool started = false;
    std::unique_ptr<RawOutput> output;
  };
  void EndRaw(Raw* raw);

  World* world_;
  const int thread_;
  Random random_;
  std::atomic<const char*> now_{"nothing"};
  HeldScenes held_;

  Raw raw_[2];
  GsScene* texture_scene_ = nullptr;
  bool texture_started_ = false;
  std::unique_ptr<TextureOutput> texture_output_;
  std::unique_ptr<View> view_;
  bool view_attached_ = false;
  scoped_refptr<Item> item_;  // Nobody else's.
  GsScene* item_scene_ = nullptr;
  scoped_refptr<Scene> own_scene_;
  std::unique_ptr<GsSceneHold> hold_;
  std::unique_ptr<Filter> filter_;
};

// The one that drives the frames of a device, and so knows how many pictures each of its outputs was given.
class Driver : public Caller {
 public:
  Driver(World* world, unsigned int seed, int thread) : Caller(world, seed, thread) {}

  void Begin() override;
  void End() override;
  void Call() override;

 private:
  struct Output {
    std::unique_ptr<RawOutput> output;
    bool started = false;
    std::uint64_t made = 0;
  };
  void RunFrame();
  void UseOutput(Output* output);
  void StopOutput(Output* output);

  Output outputs_[3];
  std::uint64_t time_ = 0;
};

}  // namespace stress

#endif  // QUARN_TESTS_STRESS_THREAD_CALLS_H_
