// What the threads of a stress round share, and what must be true of it when they rest.
#ifndef QUARN_TESTS_STRESS_THREAD_WORLD_H_
#define QUARN_TESTS_STRESS_THREAD_WORLD_H_

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <quarn/quarn.h>

#include "tests/stress/thread_checks.h"
#include "tests/stress/thread_sound.h"

namespace stress {

constexpr int kThreads = 8;
constexpr unsigned int kSide = 8;  // Of every picture: what is looked for does not depend on how much is drawn.

// Lets threads wait for each other, and the last one to come look around before they go on.
class Rest {
 public:
  void Wait(const std::function<void()>& look);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
  int round_ = 0;
};

// Which scenes one thread holds references on, itself or through the library. Its own thread changes it; others read it
// while all threads rest.
using HeldScenes = std::vector<GsScene*>;

// Looks until an object has as many references as there are that hold it, for a while: a frame in hand may still walk
// over a list that has been exchanged, and hold what was in it.
void ExpectReferences(const char* what, std::size_t number, int expected, const std::function<int()>& count);

class World {
 public:
  World();
  ~World();

  // All threads rest: whether each scene and each item has the references that somebody holds, no more and no less.
  void CheckReferences(const std::vector<const HeldScenes*>& held);
  // At the end of a round, once the threads have gone: takes everything apart, and looks whether something is left.
  void TakeApart();

  // A queued task: tells of its thread's tasks in their order.
  struct Task {
    World* world;
    int thread;
    int number;
  };
  void QueueTask(int thread);

  // The frames of this one run on a thread of the library's.
  GsDevice* device = nullptr;
  // Those of this one on the first thread of the round.
  GsDevice driven;

  std::vector<scoped_refptr<Scene>> scenes;  // Of `device`.
  std::vector<scoped_refptr<Item>> items;
  std::vector<scoped_refptr<PictureItem>> pictures;
  std::vector<std::shared_ptr<GsTexture>> textures;
  std::vector<std::unique_ptr<GsVideoTexture>> videos;
  std::vector<std::unique_ptr<GsConstantBuffer>> constants;
  std::vector<std::unique_ptr<Filter>> filters;
  scoped_refptr<Scene> driven_scene;  // Of `driven`.
  std::vector<scoped_refptr<Item>> driven_items;
  std::unique_ptr<GsTexture> driven_texture;
  Sound sound;
  Rest rest;

 private:
  void RunTask(const Task& task);

  std::array<std::atomic<int>, kThreads> queued_{};
  std::array<std::atomic<int>, kThreads> ran_{};
};

}  // namespace stress

#endif  // QUARN_TESTS_STRESS_THREAD_WORLD_H_
