#include "tests/stress/thread_world.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

namespace stress {

namespace {

// How long something that the library is about to do may take, on a machine that is busy otherwise.
constexpr auto kPatience = std::chrono::seconds(30);

std::unique_ptr<GsTexture> MakeTexture(GsDevice* device, unsigned char value) {
  const std::vector<unsigned char> pixels(kSide * kSide * 4, value);
  return std::make_unique<GsTexture>(pixels.data(), kSide * 4, GsTexture::kTextureRGBA, kSide, kSide, device);
}

bool ComesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// In how many places of the scenes' lists an item stands.
int TimesListed(const std::vector<scoped_refptr<Scene>>& scenes, const GsItem* item) {
  struct Search {
    const GsItem* item;
    int found;
  } search{item, 0};
  for (const auto& scene : scenes) {
    scene->EnumItems(
        [](GsItem* listed, void* user) {
          auto* const s = static_cast<Search*>(user);
          if (listed == s->item) ++s->found;
          return true;
        },
        &search);
  }
  return search.found;
}

}  // namespace

void ExpectReferences(const char* what, std::size_t number, int expected, const std::function<int()>& count) {
  if (ComesTrue([&] { return count() == expected; })) return;
  findings.Add(std::string(what) + " " + std::to_string(number) + " has " + std::to_string(count()) +
               " references; there are " + std::to_string(expected) + " that hold it");
}

void Rest::Wait(const std::function<void()>& look) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (++waiting_ == kThreads) {
    look();
    waiting_ = 0;
    ++round_;
    changed_.notify_all();
    return;
  }
  const int round = round_;
  changed_.wait(lock, [&] { return round_ != round; });
}

World::World() {
  GsDevice::CreateDefaultDevice(false);
  device = GsDevice::DefaultDevice();
  device->SetFps(500);
  driven.Init();
  for (unsigned char i = 0; i < 3; ++i) {
    textures.push_back(MakeTexture(device, static_cast<unsigned char>(60 + 60 * i)));
    constants.push_back(std::make_unique<GsConstantBuffer>(16u, device));
  }
  videos.push_back(std::make_unique<GsVideoTexture>(kSide, kSide, GsVideoTexture::kLayoutNV12, device));
  for (unsigned int i = 0; i < 2; ++i) filters.push_back(std::make_unique<Filter>(device, textures[i].get()));
  for (unsigned int i = 0; i < 3; ++i) scenes.push_back(MakeRef<Scene>(8 + i, 8u, device));
  for (unsigned int i = 0; i < 6; ++i) {
    GsTexture* const texture = i < 3 ? textures[i].get() : videos[0].get();
    items.push_back(MakeRef<Item>(device, texture));
  }
  for (unsigned int i = 0; i < 3; ++i) pictures.push_back(MakeRef<PictureItem>(device));
  driven_scene = MakeRef<Scene>(8u, 8u, &driven);
  driven_texture = MakeTexture(&driven, 100);
  for (unsigned int i = 0; i < 3; ++i) driven_items.push_back(MakeRef<Item>(&driven, driven_texture.get()));
  device->Start();
}

World::~World() { GsDevice::DestroyDefaultDevice(); }

void World::CheckReferences(const std::vector<const HeldScenes*>& held) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    ExpectReferences("item", i, 1 + TimesListed(scenes, items[i]), [&] { return items[i]->count(); });
  }
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    ExpectReferences("picture item", i, 1 + TimesListed(scenes, pictures[i]), [&] { return pictures[i]->count(); });
  }
  for (std::size_t i = 0; i < driven_items.size(); ++i) {
    ExpectReferences("driven item", i, 1 + TimesListed({driven_scene}, driven_items[i]),
                     [&] { return driven_items[i]->count(); });
  }
  const auto all = [&](const Scene* scene) {
    int count = 1;
    for (const HeldScenes* const scenes_of_one : held) {
      count += static_cast<int>(std::count(scenes_of_one->begin(), scenes_of_one->end(), scene));
    }
    for (const auto& picture : pictures) count += picture->shown_scene() == scene ? 1 : 0;
    return count;
  };
  for (std::size_t i = 0; i < scenes.size(); ++i) {
    ExpectReferences("scene", i, all(scenes[i]), [&] { return scenes[i]->count(); });
  }
  ExpectReferences("driven scene", 0, all(driven_scene), [&] { return driven_scene->count(); });
}

void World::TakeApart() {
  for (int thread = 0; thread < kThreads; ++thread) {
    const auto at = static_cast<std::size_t>(thread);
    if (!ComesTrue([&] { return ran_[at] == queued_[at]; })) findings.Add("a task that was queued has not run");
  }
  sound.TakeApart();
  for (const auto& picture : pictures) picture->ShowScene(nullptr);
  for (const auto& scene : scenes) {
    for (const auto& item : items) scene->RemoveItem(item);
    for (const auto& picture : pictures) scene->RemoveItem(picture);
  }
  for (const auto& item : driven_items) driven_scene->RemoveItem(item);
  CheckReferences({});
  // The host's references are the last ones: each object goes with its own.
  scenes.clear();
  items.clear();
  pictures.clear();
  driven_items.clear();
  driven_scene = nullptr;
  filters.clear();
  if (live_objects != 0) findings.Add(std::to_string(live_objects) + " objects outlive their last reference");
  textures.clear();
  videos.clear();
  constants.clear();
  driven_texture.reset();
}

void World::QueueTask(int thread) {
  const int number = queued_[static_cast<std::size_t>(thread)]++;
  device->QueueTask(
      [](void* user) {
        const std::unique_ptr<Task> task(static_cast<Task*>(user));
        task->world->RunTask(*task);
      },
      new Task{this, thread, number});
}

void World::RunTask(const Task& task) {
  const int number = ran_[static_cast<std::size_t>(task.thread)]++;
  if (number != task.number) findings.Add("a thread's tasks do not run in their order");
}

}  // namespace stress
