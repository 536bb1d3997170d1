#include "tests/stress/thread_calls.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

namespace stress {

namespace {

constexpr GsFormat kFormats[] = {kGsFormatRGBA, kGsFormatBGRA, kGsFormatI420, kGsFormatNV12};

const std::vector<unsigned char>& Pixels() {
  static const std::vector<unsigned char> pixels(kSide * kSide * 4, 200);
  return pixels;
}

void Update(GsTexture* texture) { texture->Update(Pixels().data(), kSide * 4, GsTexture::kTextureRGBA, kSide, kSide); }

}  // namespace

const Caller::Kind Caller::kKinds[] = {
    {"the list of a scene", 12, &Caller::ChangeList},
    {"a walk", 6, &Caller::WalkList},
    {"values of an item", 6, &Caller::ChangeValues},
    {"an item of its own", 8, &Caller::ComeAndGo},
    {"an update", 5, &Caller::UpdateTextures},
    {"textures that pass", 3, &Caller::PassTextures},
    {"a filter", 4, &Caller::ChangeFilters},
    {"a raw output", 14, &Caller::UseRawOutput},
    {"a texture output", 8, &Caller::UseTextureOutput},
    {"a hold on a scene", 6, &Caller::HoldScene},
    {"a picture item", 6, &Caller::ChangePictures},
    {"the device", 4, &Caller::AskDevice},
    {"a task", 3, &Caller::QueueTask},
    {"a view", 6, &Caller::UseView},
    {"a push", 8, &Caller::PushSound},
    {"a mixer", 6, &Caller::ChangeSound},
    {"the driven scene", 4, &Caller::ChangeDrivenScene},
    {"flat functions", 2, &Caller::UseFlat},
};

Caller::Caller(World* world, unsigned int seed, int thread)
    : world_(world), thread_(thread), random_(seed * 1000 + static_cast<unsigned int>(thread)) {}

GsItem* Caller::AnyItem() {
  const unsigned int which = Below(static_cast<unsigned int>(world_->items.size() + world_->pictures.size()));
  if (which < world_->items.size()) return world_->items[which];
  return world_->pictures[which - world_->items.size()];
}

void Caller::LetGo(GsScene* scene) { held_.erase(std::find(held_.begin(), held_.end(), scene)); }

void Caller::Call() {
  unsigned int sum = 0;
  for (const Kind& kind : kKinds) sum += kind.share;
  unsigned int at = Below(sum);
  const Kind* kind = kKinds;
  for (; at >= kind->share; ++kind) at -= kind->share;
  now_ = kind->name;
  (this->*kind->call)();
  now_ = "nothing";
}

void Caller::ChangeList() {
  GsScene* const scene = AnyScene();
  GsItem* const item = AnyItem();
  switch (Below(5)) {
    case 0:
    case 1: scene->AddItem(item); break;
    case 2:
    case 3: scene->RemoveItem(item); break;
    default: scene->OrderItem();
  }
}

void Caller::WalkList() {
  GsScene* const scene = AnyScene();
  // An item that one thread has to itself is not another one's to remove.
  struct Walk {
    GsScene* scene;
    GsItem* removed;
    unsigned int left;
  } walk{scene, Below(4) == 0 ? AnyItem() : nullptr, 1 + Below(8)};
  scene->EnumItems(
      [](GsItem* item, void* user) {
        auto* const w = static_cast<Walk*>(user);
        item->SetHovered(!item->hovered());
        if (item == w->removed) w->scene->RemoveItem(item);
        return --w->left > 0;
      },
      &walk);
  if (scene->item_count() > 100) findings.Add("a scene has more items than there are");
}

void Caller::ChangeValues() {
  GsItem* const item = AnyItem();
  item->MoveTo(gs_vec2(static_cast<float>(Below(8)), static_cast<float>(Below(8))));
  item->Resize(gs_vec2(static_cast<float>(1 + Below(8)), 8));
  item->SetRotation(static_cast<float>(Below(4)));
  item->SetZ(static_cast<int>(Below(10)));
  item->SetVisible(Below(4) != 0);
  item->SetSelected(Below(2) != 0);
  if (!(item->size().x >= 1 && item->pos().y <= 8)) findings.Add("an item has values that nobody has set");
}

void Caller::ComeAndGo() {
  if (!item_) {
    item_ = MakeRef<Item>(world_->device, AnyTexture());
    item_->gate.Shut();
    return;
  }
  if (!item_scene_) {
    item_scene_ = AnyScene();
    item_->gate.Open();
    item_scene_->AddItem(item_);
    return;
  }
  item_scene_->RemoveItem(item_);
  item_->gate.Shut();
  item_scene_ = nullptr;
  if (Below(2)) item_ = nullptr;
}

void Caller::UpdateTextures() {
  switch (Below(3)) {
    case 0: Update(AnyTexture()); break;
    case 1: {
      const unsigned char* const planes[] = {Pixels().data(), Pixels().data()};
      const unsigned int strides[] = {kSide, kSide};
      if (!world_->videos[0]->Update(planes, strides)) findings.Add("a picture of video was refused");
      break;
    }
    default: {
      const float values[4] = {1, 0, 1, 0};
      world_->constants[Below(3)]->Update(values, sizeof(values));
    }
  }
}

void Caller::PassTextures() {
  GsTexture texture(Pixels().data(), kSide * 4, GsTexture::kTextureRGBA, kSide, kSide, world_->device);
  Update(&texture);
  GsConstantBuffer constants(32u, world_->device);
  if (!texture.valid() || !constants.valid()) findings.Add("a texture or a constant buffer is inert");
  const scoped_refptr<PictureItem> picture =
      MakeRef<PictureItem>(Pixels().data(), kSide * 4, kSide, kSide, world_->device);
  picture->Update(Pixels().data(), kSide * 4, kSide, kSide);
}

void Caller::ChangeFilters() {
  Filter* const shared = world_->filters[Below(2)].get();
  switch (Below(6)) {
    case 0: shared->Attach(); break;
    case 1: shared->Detach(); break;
    case 2: shared->Resize(kSide, kSide + Below(2)); break;
    case 3:
      if (!filter_) {
        filter_ = std::make_unique<Filter>(world_->device, AnyTexture());
        filter_->gate.Shut();
      }
      filter_->gate.Open();
      filter_->Attach();
      break;
    case 4:
      if (!filter_) break;
      filter_->Detach();
      filter_->gate.Shut();
      break;
    default: filter_.reset();
  }
}

void Caller::Answer(RawOutput* output, unsigned int salt, unsigned long long call) {
  Random random(salt + static_cast<unsigned int>(call));
  const auto any = [&random](unsigned int end) { return stress::Below(random, end); };
  switch (any(12)) {
    case 0: Update(world_->textures[any(3)].get()); break;
    case 1: world_->scenes[any(3)]->AddItem(world_->items[any(6)]); break;
    case 2: world_->scenes[any(3)]->RemoveItem(world_->items[any(6)]); break;
    case 3: std::this_thread::sleep_for(std::chrono::milliseconds(any(8))); break;
    case 4: output->BeginAnew(); break;
    default: break;
  }
}

void Caller::EndRaw(Raw* raw) {
  if (!raw->output) return;
  raw->output->End();
  raw->output->Check();
  raw->started = false;
}

void Caller::UseRawOutput() {
  Raw& raw = raw_[Below(2)];
  const unsigned int salt = Below(1000000);
  if (!raw.output) {
    raw.scene = AnyScene();
    raw.output = std::make_unique<RawOutput>(raw.scene, 2 + Below(9), 2 + Below(9), kFormats[Below(4)], world_->device);
    raw.output->on_frame = [this, output = raw.output.get(), salt](unsigned long long call) {
      Answer(output, salt, call);
    };
    Hold(raw.scene);
    return;
  }
  switch (Below(8)) {
    case 0:
    case 1:
    case 2:
      raw.output->Begin();
      raw.started = true;
      break;
    case 3:
    case 4: EndRaw(&raw); break;
    case 5: raw.output->WaitForRoom(Below(3)); break;
    case 6: raw.output->Flush(Below(5)); break;
    default:
      EndRaw(&raw);
      raw.output.reset();
      LetGo(raw.scene);
  }
}

void Caller::UseTextureOutput() {
  const bool restarts = Below(2) != 0;
  if (!texture_output_) {
    texture_scene_ = AnyScene();
    texture_output_ = std::make_unique<TextureOutput>(texture_scene_, world_->device);
    if (restarts) {
      texture_output_->on_texture = [output = texture_output_.get()](unsigned long long call) {
        if (call % 5 == 4) output->Stop();
        if (call % 5 == 4) output->Start();
      };
    }
    Hold(texture_scene_);
    return;
  }
  switch (Below(4)) {
    case 0:
    case 1: texture_output_->Begin(); break;
    case 2:
      texture_output_->End();
      texture_output_->Check();
      break;
    default:
      texture_output_->End();
      texture_output_->Check();
      texture_output_.reset();
      LetGo(texture_scene_);
  }
}

void Caller::HoldScene() {
  if (!own_scene_) {
    own_scene_ = MakeRef<Scene>(8u, 8u, world_->device);
    own_scene_->gate.Shut();
  }
  if (!hold_) {
    own_scene_->gate.Open();
    hold_ = std::make_unique<GsSceneHold>(own_scene_);
  } else {
    hold_.reset();
    own_scene_->gate.Shut();
    if (own_scene_->count() != 1) findings.Add("a hold that has ended keeps its scene");
    if (Below(2)) own_scene_ = nullptr;
  }
}

void Caller::ChangePictures() {
  const auto& picture = world_->pictures[Below(3)];
  switch (Below(6)) {
    case 0: picture->ShowScene(AnyScene()); break;
    case 1: picture->ShowScene(nullptr); break;
    case 2: picture->SetTexture(world_->textures[Below(3)]); break;
    case 3: picture->SetOpacity(static_cast<float>(Below(5)) / 4); break;
    case 4: picture->SetCrop(gs_vec2(1, 1), gs_vec2(2, 2)); break;
    default: picture->SetFlip(Below(2) != 0, Below(2) != 0);
  }
}

void Caller::QueueTask() { world_->QueueTask(thread_); }

void Caller::PushSound() { (Below(2) ? world_->sound.driven : world_->sound.timed).Push(random_); }

void Caller::ChangeSound() {
  const bool driven = Below(16) != 0;  // The other one keeps its callers for up to a block of 50 ms.
  (driven ? world_->sound.driven : world_->sound.timed).Change(random_, driven);
}

void Caller::ChangeDrivenScene() {
  GsItem* const item = world_->driven_items[Below(3)];
  if (Below(2)) {
    world_->driven_scene->AddItem(item);
  } else {
    world_->driven_scene->RemoveItem(item);
  }
  if (Below(2)) Update(world_->driven_texture.get());
}

}  // namespace stress
