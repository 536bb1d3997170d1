// Where items lie, and what they are made of.
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

constexpr float kPi = 3.14159265358979f;

struct Placement {
  gs_vec2 pos;
  gs_vec2 size;
  float rotation;
};

// One scene a placement, each over a noisy background, all in one case. RGBA shows the scene itself, NV12 what is
// sampled of it.
void ShowEach(Stage* stage, int width, int height, GsTexture* texture, const std::vector<Placement>& placements) {
  GsTexture* const background = stage->MakeTexture(width, height, 99);
  Scene* const scene = stage->MakeScene(width, height);
  stage->MakeItem(scene, Vec(width, height), gs_vec2(), background);
  Item* const item = stage->MakeItem(scene, gs_vec2(), gs_vec2(), texture);
  stage->MakeOutput(scene, width, height, kGsFormatRGBA);
  stage->MakeOutput(scene, width, height, kGsFormatNV12);
  for (const Placement& placement : placements) {
    item->MoveTo(placement.pos);
    item->Resize(placement.size);
    item->SetRotation(placement.rotation);
    stage->Frame();
  }
}

// A case for each combination of even and odd scenes and textures: where whole pixels lie depends on all four.
template <class Make>
void AddParities(std::vector<Case>* cases, const std::string& name, Make placements_of) {
  for (const auto& [width, height] : {std::pair<int, int>{96, 54}, {97, 55}}) {
    for (const auto& [texture_width, texture_height] : {std::pair<int, int>{32, 18}, {33, 17}}) {
      for (const Alpha alpha : {Alpha::kOpaque, Alpha::kMixed}) {
        const int scene_width = width;
        const int scene_height = height;
        const int item_width = texture_width;
        const int item_height = texture_height;
        cases->push_back({"items/" + name + " " + std::to_string(width) + " " + std::to_string(texture_width) +
                              (alpha == Alpha::kMixed ? " mixed" : " opaque"),
                          [=](Stage* stage) {
                            ShowEach(stage, scene_width, scene_height,
                                     stage->MakeTexture(item_width, item_height, 7, alpha),
                                     placements_of(Vec(item_width, item_height), Vec(scene_width, scene_height)));
                          }});
      }
    }
  }
}

// The centre of an item whose upper left corner lies `left` and `top` from that of the scene.
gs_vec2 At(const gs_vec2& size, const gs_vec2& scene, float left, float top) {
  return gs_vec2(left + size.x / 2 - scene.x / 2, top + size.y / 2 - scene.y / 2);
}

std::vector<Placement> WholePixels(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  for (const auto& [left, top] :
       {std::pair<float, float>{0, 0}, {1, 0}, {0, 1}, {5, 9}, {-3, -2}, {70, 40}, {80, -7}}) {
    placements.push_back({At(size, scene, left, top), size, 0.0f});
  }
  return placements;
}

std::vector<Placement> PartsOfPixels(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  for (const float part : {0.5f, 0.25f, 0.75f, 0.1f, 0.01f, 0.001f, 1.0f / 256, 1.0f / 512, 1.0f / 4096, 1e-5f}) {
    placements.push_back({At(size, scene, 5 + part, 9), size, 0.0f});
    placements.push_back({At(size, scene, 5 - part, 9 + part), size, 0.0f});
  }
  return placements;
}

std::vector<Placement> Outside(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  const float right = scene.x - size.x;
  const float bottom = scene.y - size.y;
  for (const auto& [left, top] : {std::pair<float, float>{-size.x + 1, 3},
                                  {-size.x, 3},
                                  {-size.x - 1, 3},
                                  {right + size.x - 1, 3},
                                  {right + size.x, 3},
                                  {3, -size.y + 1},
                                  {3, -size.y},
                                  {3, bottom + size.y - 1},
                                  {3, bottom + size.y},
                                  {-size.x / 2, -size.y / 2},
                                  {right + size.x / 2, bottom + size.y / 2},
                                  {-1000, 0},
                                  {1e6f, 1e6f}}) {
    placements.push_back({At(size, scene, left, top), size, 0.0f});
  }
  return placements;
}

std::vector<Placement> Flips(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  const gs_vec2 pos = At(size, scene, 5, 9);
  for (const gs_vec2& sign : {gs_vec2(-1, 1), gs_vec2(1, -1), gs_vec2(-1, -1)}) {
    const gs_vec2 flipped(size.x * sign.x, size.y * sign.y);
    placements.push_back({pos, flipped, 0.0f});
    placements.push_back({pos + gs_vec2(0.5f, 0.25f), flipped, 0.0f});
    placements.push_back({pos, flipped, kPi / 2});
    placements.push_back({pos, flipped * 1.5f, 0.3f});
  }
  return placements;
}

std::vector<Placement> Turns(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  for (const float angle : {kPi / 2, -kPi / 2, kPi, -kPi, 3 * kPi / 2, 2 * kPi, 4 * kPi, kPi / 4, 0.3f, -1.2f, 1e-4f,
                            1e-6f, 1e-7f, -0.0f, 100.0f}) {
    placements.push_back({At(size, scene, 20, 15), size, angle});
    placements.push_back({gs_vec2(0, 0), size, angle});
    placements.push_back({gs_vec2(0.5f, 0.5f), size, angle});
  }
  return placements;
}

std::vector<Placement> Scales(const gs_vec2& size, const gs_vec2& scene) {
  std::vector<Placement> placements;
  for (const float scale : {2.0f, 3.0f, 0.5f, 0.333f, 1.0001f, 0.9999f, 1.5f, 7.3f, 0.01f, 0.0f}) {
    placements.push_back({At(size * scale, scene, 5, 9), size * scale, 0.0f});
    placements.push_back({gs_vec2(0.4f, -0.2f), size * scale, 0.0f});
    placements.push_back({At(size, scene, 5, 9), gs_vec2(size.x * scale, size.y), 0.0f});
    placements.push_back({gs_vec2(0, 0), gs_vec2(size.x, size.y * scale), 0.7f});
  }
  return placements;
}

std::vector<Placement> Extremes(const gs_vec2& size, const gs_vec2& /*scene*/) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  return {{gs_vec2(kNan, 0), size, 0},
          {gs_vec2(0, kInfinity), size, 0},
          {gs_vec2(), gs_vec2(kNan, 5), 0},
          {gs_vec2(), gs_vec2(kInfinity, 5), 0},
          {gs_vec2(), size, kNan},
          {gs_vec2(), size, kInfinity},
          {gs_vec2(), gs_vec2(1e9f, 1e9f), 0},
          {gs_vec2(), gs_vec2(1e-30f, 5), 0},
          {gs_vec2(), size, 0}};
}

// Items at random places, moving: each number of items that matters to what is kept from draw to draw.
void Crowd(Stage* stage, int count, bool exact) {
  Random random(Unsigned(count) * 2 + (exact ? 1 : 0));
  Scene* const scene = stage->MakeScene(160, 90);
  std::vector<GsTexture*> textures;
  for (int i = 0; i < 5; ++i) {
    textures.push_back(
        stage->MakeTexture(8 + 9 * i, 6 + 7 * i, Unsigned(50 + i), i % 2 ? Alpha::kMixed : Alpha::kOpaque));
  }
  std::vector<Item*> items;
  for (int i = 0; i < count; ++i) {
    GsTexture* const texture = textures[static_cast<std::size_t>(random.Below(5))];
    const gs_vec2 size = Vec(texture->width(), texture->height());
    Item* const item = stage->MakeItem(scene, exact ? size : gs_vec2(random.Between(2, 80), random.Between(2, 60)),
                                       exact ? CentreOf(scene, size, random.Below(170) - 20, random.Below(100) - 20)
                                             : gs_vec2(random.Between(-90, 90), random.Between(-50, 50)),
                                       texture);
    if (!exact) item->SetRotation(random.Between(-4, 4));
    item->SetZ(random.Below(3));
    items.push_back(item);
  }
  stage->MakeOutput(scene, 160, 90, kGsFormatRGBA);
  stage->MakeOutput(scene, 160, 90, kGsFormatI420);
  for (int frame = 0; frame < 3; ++frame) {
    for (Item* const item : items) {
      item->MoveTo(item->pos() + (exact ? Vec(random.Below(5) - 2, random.Below(3) - 1)
                                        : gs_vec2(random.Between(-3, 3), random.Between(-2, 2))));
      if (!exact) item->SetRotation(item->rotation() + 0.1f);
    }
    if (frame == 1) scene->OrderItem();
    stage->Frame();
  }
}

void Alphas(Stage* stage) {
  Scene* const scene = stage->MakeScene(64, 48);
  stage->MakeItem(scene, Vec(64, 48), gs_vec2(), stage->MakeTexture(64, 48, 5, Alpha::kMixed));
  int x = -20;
  for (const Alpha alpha : {Alpha::kOpaque, Alpha::kMixed, Alpha::kNone, Alpha::kSteps}) {
    stage->MakeItem(scene, Vec(16, 12), Vec(x, 3), stage->MakeTexture(16, 12, 6, alpha));
    stage->MakeItem(scene, Vec(16, 12), Vec(x, 8), stage->MakeTexture(16, 12, 8, alpha));
    x += 11;
  }
  for (const unsigned char alpha : {0, 1, 64, 127, 128, 129, 254, 255}) {
    stage->MakeItem(scene, Vec(6, 6), Vec(x - 60, -10), stage->MakeColor(255, 128, 3, alpha));
    x += 5;
  }
  stage->MakeOutput(scene, 64, 48, kGsFormatRGBA);
  stage->MakeOutput(scene, 64, 48, kGsFormatNV12);
  stage->Frames(2);
}

void OrderAndVisibility(Stage* stage) {
  Scene* const scene = stage->MakeScene(32, 32);
  std::vector<Item*> items;
  for (int i = 0; i < 6; ++i) {
    items.push_back(stage->MakeItem(scene, Vec(16, 16), Vec(i - 3, 2 * i - 6),
                                    stage->MakeTexture(16, 16, Unsigned(i), Alpha::kMixed)));
  }
  stage->MakeOutput(scene, 32, 32, kGsFormatRGBA);
  stage->Frame();
  for (int i = 0; i < 6; ++i) items[static_cast<std::size_t>(i)]->SetZ((i * 7) % 4);
  stage->Frame();
  scene->OrderItem();
  stage->Frame();
  items[2]->SetVisible(false);
  items[5]->SetVisible(false);
  stage->Frame();
  items[2]->SetVisible(true);
  stage->Frame();
}

}  // namespace

std::vector<Case> ItemCases() {
  std::vector<Case> cases;
  AddParities(&cases, "whole pixels", WholePixels);
  AddParities(&cases, "parts of pixels", PartsOfPixels);
  AddParities(&cases, "outside", Outside);
  AddParities(&cases, "flips", Flips);
  AddParities(&cases, "turns", Turns);
  AddParities(&cases, "scales", Scales);
  AddParities(&cases, "extremes", Extremes);
  for (const int count : {0, 1, 2, 3, 8, 9, 16, 33, 64}) {
    cases.push_back(
        {"items/" + std::to_string(count) + " anywhere", [=](Stage* stage) { Crowd(stage, count, false); }});
    cases.push_back({"items/" + std::to_string(count) + " exact", [=](Stage* stage) { Crowd(stage, count, true); }});
  }
  cases.push_back({"items/alphas", Alphas});
  cases.push_back({"items/order and visibility", OrderAndVisibility});
  for (const int size : {200, 1000}) {
    cases.push_back({"items/larger than the scene " + std::to_string(size), [size](Stage* stage) {
                       ShowEach(stage, 96, 54, stage->MakeTexture(size, size + 1, 4, Alpha::kMixed),
                                {{gs_vec2(), Vec(size, size + 1), 0},
                                 {gs_vec2(0, 0.5f), Vec(size, size + 1), 0},
                                 {gs_vec2(11, -17.5f), Vec(size, size + 1), 0},
                                 {gs_vec2(), Vec(96, 54), 0},
                                 {gs_vec2(), Vec(size, size + 1), 0.7f}});
                     }});
  }
  return cases;
}

}  // namespace pictures
