// Several scenes, scenes within scenes, and lists of items that change.
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <string>
#include <vector>

#include "tests/pictures/gl_state.h"
#include "tests/pictures/stage.h"

namespace pictures {
namespace {

Scene* NoisyScene(Stage* stage, int width, int height, std::uint32_t seed) {
  Scene* const scene = stage->MakeScene(width, height);
  stage->MakeItem(scene, Vec(width, height), gs_vec2(), stage->MakeTexture(width, height, seed));
  stage->MakeItem(scene, gs_vec2(20, 14), gs_vec2(3.5f, -2), stage->MakeTexture(20, 14, seed + 1, Alpha::kMixed))
      ->SetRotation(0.3f);
  return scene;
}

void SeveralScenes(Stage* stage) {
  Scene* const first = NoisyScene(stage, 64, 36, 1);
  Scene* const second = NoisyScene(stage, 33, 47, 3);
  Scene* const third = NoisyScene(stage, 5, 5, 5);
  Item* const shared = stage->MakeItem(first, gs_vec2(12, 12), gs_vec2(1, 1), stage->MakeTexture(12, 12, 6));
  second->AddItem(shared);
  stage->MakeOutput(first, 64, 36, kGsFormatRGBA);
  stage->MakeOutput(second, 33, 47, kGsFormatNV12);
  stage->MakeOutput(first, 32, 18, kGsFormatI420);
  stage->MakeOutput(second, 66, 94, kGsFormatRGBA);
  stage->MakeOutput(third, 6, 4, kGsFormatI420);
  stage->MakeOutput(first, 64, 36, kGsFormatNV12);
  stage->Frame();
  shared->MoveTo(gs_vec2(4.25f, 2));
  stage->Frame();
  first->RemoveItem(shared);
  stage->Frame();
}

// One scene's picture as an item of another: copied by the host, from the texture that it is handed.
void SceneInScene(Stage* stage) {
  Scene* const inner = NoisyScene(stage, 40, 30, 10);
  Item* const moving = stage->MakeItem(inner, gs_vec2(9, 9), gs_vec2(), stage->MakeTexture(9, 9, 12));
  Scene* const outer = NoisyScene(stage, 64, 48, 13);
  GsTexture* const copy = stage->MakeTexture(40, 30, 14);
  stage->MakeItem(outer, gs_vec2(40, 30), gs_vec2(-8, 3), copy);
  stage->MakeItem(outer, gs_vec2(31, 19), gs_vec2(9, -6.5f), copy)->SetRotation(-0.6f);
  TextureOutput* const texture_output = stage->MakeTextureOutput(inner, 40, 30);
  texture_output->on_texture = [=](GsTexture* texture) {
    const std::vector<unsigned char> pixels = ReadTexture(texture);
    stage->record()->Picture("inner", pixels.data(), 160, 30);
    copy->Update(pixels.data(), 160, GsTexture::kTextureRGBA, 40, 30);
  };
  stage->MakeOutput(outer, 64, 48, kGsFormatRGBA);
  for (int i = 0; i < 4; ++i) {
    moving->MoveTo(Vec(3 * i - 5, i));
    stage->Frame();
  }
}

// The host draws the texture that it is handed into a target of its own.
void DrawsTheTexture(Stage* stage) {
  Scene* const scene = NoisyScene(stage, 40, 30, 15);
  stage->MakeOutput(scene, 40, 30, kGsFormatRGBA);
  for (int i = 0; i < 2; ++i) {
    stage->MakeTextureOutput(scene, 40, 30)->on_texture = [=](GsTexture* texture) {
      stage->record()->Line(GlState());
      GLuint target = 0;
      GLuint frame_buffer = 0;
      glGenTextures(1, &target);
      glBindTexture(GL_TEXTURE_2D, target);
      glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 50, 34, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
      glBindTexture(GL_TEXTURE_2D, 0);
      glGenFramebuffers(1, &frame_buffer);
      glBindFramebuffer(GL_FRAMEBUFFER, frame_buffer);
      glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
      glClearColor(0.2f, 0.4f, 0.6f, 0.5f);
      glClear(GL_COLOR_BUFFER_BIT);
      GsContext context(stage->device());
      context.SetViewport(0, 0, 50, 34);
      if (context.BindShader("rgba")) {
        GsTextureBinder binder(texture);
        context.DrawRect(gs_transform(gs_vec2(2, 1), gs_vec2(40, 30)), gs_vec2(50, 34));
        context.DrawRect(gs_transform(gs_vec2(-2, 1.5f), gs_vec2(20, 10), 0.4f), gs_vec2(50, 34));
        context.UnbindShader();
      }
      RecordTarget(stage, "target", 50, 34);
      glBindFramebuffer(GL_FRAMEBUFFER, 0);
      glDeleteFramebuffers(1, &frame_buffer);
      glDeleteTextures(1, &target);
    };
  }
  stage->Frames(2);
}

void Backgrounds(Stage* stage) {
  Scene* const scene = stage->MakeScene(48, 32);
  stage->MakeItem(scene, gs_vec2(20, 14), gs_vec2(), stage->MakeTexture(20, 14, 20, Alpha::kMixed));
  stage->MakeOutput(scene, 48, 32, kGsFormatRGBA);
  stage->MakeOutput(scene, 30, 30, kGsFormatRGBA);
  stage->MakeOutput(scene, 48, 32, kGsFormatNV12);
  constexpr float kColors[][4] = {
      {0, 0, 0, 0}, {1, 0.5f, 0.25f, 0.5f}, {0.1f, 0.9f, 0.3f, 1}, {0.3f, 0.3f, 0.3f, 0.01f}};
  for (const auto& color : kColors) {
    scene->draw = [&color](Scene* self) {
      glClearColor(color[0], color[1], color[2], color[3]);
      glClear(GL_COLOR_BUFFER_BIT);
      self->DrawItems();
    };
    stage->Frame();
  }
  scene->draw = [](Scene*) {};
  stage->Frame();
  scene->draw = nullptr;
  stage->Frame();
}

void ItemsComeAndGo(Stage* stage) {
  Scene* const scene = NoisyScene(stage, 48, 32, 30);
  stage->MakeOutput(scene, 48, 32, kGsFormatRGBA);
  stage->Frame();
  std::vector<Item*> items;
  for (int i = 0; i < 4; ++i) {
    items.push_back(stage->MakeItem(scene, gs_vec2(12, 12), Vec(7 * i - 12, 2 * i),
                                    stage->MakeTexture(12, 12, Unsigned(31 + i), Alpha::kMixed)));
    stage->Frame();
  }
  scene->RemoveItem(items[1]);
  scene->RemoveItem(items[1]);
  scene->AddItem(items[0]);
  stage->Frame();
  scene->AddItem(items[1]);
  stage->Frame();
  items[0]->draw = [=](Item* self) {
    self->DrawPicture();
    scene->RemoveItem(items[2]);
  };
  items[3]->tick = [=](Item*) { scene->AddItem(items[2]); };
  stage->Frames(3);
  items[0]->draw = [=](Item* self) {
    self->DrawPicture();
    scene->RemoveItem(self);
  };
  stage->Frames(2);
  stage->Remove(items[3]);
  stage->Frame();
}

void NotInUse(Stage* stage) {
  Scene* const scene = NoisyScene(stage, 32, 32, 40);
  Scene* const other = NoisyScene(stage, 32, 32, 42);
  stage->Frame();
  Output* const output = stage->MakeOutput(other, 32, 32, kGsFormatRGBA);
  stage->Frame();
  scene->Attach();
  stage->Frame();
  scene->Detach();
  stage->Remove(output);
  stage->Frame();
  Scene* const inert = stage->MakeScene(0, 10);
  stage->MakeItem(inert, gs_vec2(5, 5));
  stage->MakeOutput(inert, 10, 10, kGsFormatRGBA)->silent = true;
  stage->MakeOutput(nullptr, 10, 10, kGsFormatRGBA)->silent = true;
  stage->MakeOutput(scene, 0, 10, kGsFormatRGBA)->silent = true;
  stage->Frame();
}

// The device ends with all of it in place.
void QueuedTasks(Stage* stage) {
  Scene* const scene = NoisyScene(stage, 32, 32, 50);
  stage->MakeOutput(scene, 32, 32, kGsFormatRGBA);
  stage->device()->QueueTask(
      [](void* argument) {
        auto* const on = static_cast<Stage*>(argument);
        on->record()->Line(GlState());
        on->device()->QueueTask([](void* again) { static_cast<Stage*>(again)->record()->Line("another task"); }, on);
      },
      stage);
  stage->Frames(3);
}

}  // namespace

std::vector<Case> SceneCases() {
  return {{"scenes/several", SeveralScenes},
          {"scenes/in a scene", SceneInScene},
          {"scenes/drawn by the host", DrawsTheTexture},
          {"scenes/backgrounds", Backgrounds},
          {"scenes/items come and go", ItemsComeAndGo},
          {"scenes/not in use", NotInUse},
          {"scenes/queued tasks", QueuedTasks}};
}

}  // namespace pictures
