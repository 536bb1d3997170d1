// Blocks of constants: when they are updated, and who shares them.
#include <string>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

const char kMix[] = "a mix";
const char kMixSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform u_buf0 { vec4 factor; };\n"
    "uniform u_buf1 { vec4 first; vec4 second; };\n"
    "void main() { FragColor = texture(u_tex0, v_tex_coord) * factor + first + second.wzyx; }\n";
const char kLarge[] = "a large block";
const char kLargeSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform u_buf0 { vec4 values[256]; };\n"
    "void main() { FragColor = texture(u_tex0, v_tex_coord) * values[int(gl_FragCoord.x) * 4 % 256]; }\n";

struct Set {
  Scene* scene;
  std::vector<Item*> items;
};

// Tinted items on a scene of 64 x 36, one to one and over each other.
Set TintedItems(Stage* stage, int count, GsConstantBuffer* constants) {
  stage->AddProgram(kTint, kTintSource);
  stage->AddProgram(kMix, kMixSource);
  stage->AddProgram(kLarge, kLargeSource);
  Set set;
  set.scene = stage->MakeScene(64, 36);
  stage->MakeItem(set.scene, Vec(64, 36), gs_vec2(), stage->MakeTexture(64, 36, 1));
  for (int i = 0; i < count; ++i) {
    Item* const item = stage->MakeItem(set.scene, Vec(16, 12), Vec(9 * (i % 6) - 24, 4 * (i / 6) - 12),
                                       stage->MakeTexture(16, 12, Unsigned(i), Alpha::kMixed));
    item->program = kTint;
    if (constants) item->constants = {{0, constants}};
    set.items.push_back(item);
  }
  stage->MakeOutput(set.scene, 64, 36, kGsFormatRGBA);
  stage->MakeOutput(set.scene, 64, 36, kGsFormatNV12);
  return set;
}

std::vector<float> Tint(int i) {
  const auto part = [i](int factor) { return static_cast<float>((i * factor) % 11) / 10.0f; };
  return {part(3), part(5), part(7), part(2)};
}

void Update(GsConstantBuffer* constants, const std::vector<float>& values) {
  constants->Update(values.data(), static_cast<unsigned int>(values.size() * sizeof(float)));
}

void OnceAndForAll(Stage* stage) {
  TintedItems(stage, 5, stage->MakeConstants(Tint(3)));
  stage->Frames(3);
}

void BetweenFrames(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(0));
  TintedItems(stage, 5, constants);
  for (int i = 1; i < 6; ++i) {
    Update(constants, Tint(i));
    if (i == 4) Update(constants, Tint(9));
    stage->Frame();
  }
}

void BeforeEachDraw(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(0));
  const Set set = TintedItems(stage, 12, constants);
  auto next = std::make_shared<int>(0);
  for (Item* const item : set.items) {
    item->draw = [=](Item* self) {
      Update(constants, Tint(++*next));
      self->DrawPicture();
    };
  }
  stage->Frames(3);
}

// The buffer stays bound while it changes.
void BetweenRectangles(Stage* stage, int count) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(0));
  const Set set = TintedItems(stage, 1, constants);
  auto next = std::make_shared<int>(0);
  set.items[0]->draw = [=](Item* self) {
    GsContext context(stage->device());
    context.SetViewport(0, 0, 64, 36);
    if (!context.BindShader(kTint)) return;
    GsTextureBinder binder(self->textures[0]);
    constants->Bind(0);
    for (int i = 0; i < count; ++i) {
      context.DrawRect(gs_transform(self->pos() + Vec(i % 40, i / 40), self->size()), gs_vec2(64, 36));
      Update(constants, Tint(++*next));
    }
    constants->Unbind();
    context.UnbindShader();
  };
  stage->Frames(2);
}

void ChangedInTicks(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(0));
  const Set set = TintedItems(stage, 4, constants);
  auto next = std::make_shared<int>(0);
  for (Item* const item : set.items) {
    item->tick = [=](Item*) { Update(constants, Tint(++*next)); };
  }
  stage->Frames(3);
}

void OneForEachItem(Stage* stage) {
  const Set set = TintedItems(stage, 12, nullptr);
  int i = 0;
  std::vector<GsConstantBuffer*> buffers;
  for (Item* const item : set.items) {
    buffers.push_back(stage->MakeConstants(Tint(++i)));
    item->constants = {{0, buffers.back()}};
  }
  stage->Frame();
  Update(buffers[3], Tint(90));
  stage->Frame();
  for (GsConstantBuffer* const buffer : buffers) Update(buffer, Tint(++i));
  stage->Frame();
}

void WithAndWithout(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(8));
  const Set set = TintedItems(stage, 6, constants);
  set.items[1]->constants.clear();
  set.items[3]->program = "rgba";
  set.items[4]->constants.clear();
  stage->Frame();
  for (Item* const item : set.items) item->constants.clear();
  stage->Frame();
}

void TwoSlots(Stage* stage) {
  GsConstantBuffer* const factor = stage->MakeConstants(Tint(8));
  GsConstantBuffer* const pair = stage->MakeConstants({0.1f, 0.0f, 0.2f, 0.1f, 0.3f, 0.1f, 0.0f, 0.05f});
  const Set set = TintedItems(stage, 5, nullptr);
  for (Item* const item : set.items) item->program = kMix;
  set.items[0]->constants = {{0, factor}, {1, pair}};
  set.items[1]->constants = {{1, pair}};
  set.items[2]->constants = {{0, pair}};
  set.items[3]->constants = {{1, factor}, {0, factor}};  // One slot at a time.
  set.items[4]->constants = {{0, factor}, {0, pair}};
  stage->Frame();
  Update(pair, {0.5f});  // The first bytes.
  stage->Frame();
  Update(factor, {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f});  // Cut.
  pair->Update(nullptr, 16);
  pair->Update(pair, 0);
  stage->Frame();
}

void OddSlots(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(8));
  const Set set = TintedItems(stage, 2, nullptr);
  set.items[0]->draw = [=](Item* self) {
    for (const int slot : {-1, 10, 9, 1, 1000000}) {
      stage->record()->Line(constants->Bind(slot) ? "bound" : "not bound");
      self->DrawPicture();
      constants->Unbind();
    }
    constants->Unbind();
    constants->Bind(0);
    constants->Bind(1);
    self->DrawPicture();
    constants->Unbind();
    self->DrawPicture();
  };
  stage->Frames(2);
}

void LeftBound(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(8));
  GsConstantBuffer* const other = stage->MakeConstants(Tint(5));
  const Set set = TintedItems(stage, 4, nullptr);
  set.items[1]->draw = [=](Item* self) {
    constants->Bind(0);
    self->DrawPicture();
  };
  set.items[3]->draw = [=](Item* self) {
    other->Bind(0);
    self->DrawPicture();
    other->Unbind();
  };
  stage->Frames(2);
}

void MadeAnew(Stage* stage) {
  const Set set = TintedItems(stage, 3, nullptr);
  for (int i = 0; i < 4; ++i) {
    const std::vector<float> values = Tint(i + 1);
    GsConstantBuffer constants(values.data(), 16, stage->device());
    for (Item* const item : set.items) item->constants = {{0, &constants}};
    stage->Frame();
    for (Item* const item : set.items) item->constants.clear();
  }
  stage->Frame();
}

void Large(Stage* stage) {
  std::vector<float> values(1024);
  Random random(3);
  for (float& value : values) value = random.Between(0, 1);
  GsConstantBuffer* const constants = stage->MakeConstants(values);
  const Set set = TintedItems(stage, 4, constants);
  for (Item* const item : set.items) item->program = kLarge;
  set.items[2]->constants.clear();
  stage->Frame();
  Update(constants, {0.1f, 0.2f, 0.3f, 0.4f});
  stage->Frame();
  GsConstantBuffer* const zeros = stage->Keep(std::make_unique<GsConstantBuffer>(4096u, stage->device()));
  GsConstantBuffer* const none = stage->Keep(std::make_unique<GsConstantBuffer>(0u, stage->device()));
  set.items[0]->constants = {{0, zeros}};
  set.items[1]->constants = {{0, none}};
  stage->Frame();
}

// The same bytes again and again, and bytes that change back: what a cache of uploads could mistake.
void TheSameBytes(Stage* stage) {
  GsConstantBuffer* const constants = stage->MakeConstants(Tint(4));
  const Set set = TintedItems(stage, 6, constants);
  auto next = std::make_shared<int>(0);
  for (Item* const item : set.items) {
    item->draw = [=](Item* self) {
      constexpr int kOrder[] = {4, 4, 5, 4, 6, 6, 4, 4, 4};
      Update(constants, Tint(kOrder[++*next % 9]));
      self->DrawPicture();
      if (*next % 2) self->DrawPicture();
    };
  }
  stage->Frames(4);
}

}  // namespace

std::vector<Case> ConstantCases() {
  return {{"constants/once", OnceAndForAll},
          {"constants/between frames", BetweenFrames},
          {"constants/before each draw", BeforeEachDraw},
          {"constants/between rectangles", [](Stage* stage) { BetweenRectangles(stage, 6); }},
          {"constants/between many rectangles", [](Stage* stage) { BetweenRectangles(stage, 700); }},
          {"constants/in ticks", ChangedInTicks},
          {"constants/one for each item", OneForEachItem},
          {"constants/with and without", WithAndWithout},
          {"constants/two slots", TwoSlots},
          {"constants/odd slots", OddSlots},
          {"constants/left bound", LeftBound},
          {"constants/made anew", MadeAnew},
          {"constants/large", Large},
          {"constants/the same bytes", TheSameBytes}};
}

}  // namespace pictures
