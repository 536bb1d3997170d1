// What a host's Draw does with the drawing operations.
#include <string>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

// A scene of 64 x 36 over noise, with one item that draws as the case says, and an RGBA and an I420 output.
void Draws(Stage* stage, const std::function<void(Stage*, Item*, GsContext*)>& draw, int frames = 2) {
  Scene* const scene = stage->MakeScene(64, 36);
  stage->MakeItem(scene, Vec(64, 36), gs_vec2(), stage->MakeTexture(64, 36, 1));
  Item* const item = stage->MakeItem(scene, Vec(24, 16), Vec(3, 2), stage->MakeTexture(24, 16, 2, Alpha::kMixed));
  item->draw = [stage, draw](Item* self) {
    GsContext context(stage->device());
    context.SetViewport(0, 0, 64, 36);
    draw(stage, self, &context);
  };
  stage->MakeItem(scene, Vec(10, 10), Vec(-20, -10), stage->MakeTexture(10, 10, 3, Alpha::kMixed));  // Drawn behind it.
  stage->MakeOutput(scene, 64, 36, kGsFormatRGBA);
  stage->MakeOutput(scene, 64, 36, kGsFormatI420);
  stage->Frames(frames);
}

gs_transform Place(Item* item, float dx = 0, float dy = 0) {
  return gs_transform(item->pos() + gs_vec2(dx, dy), item->size(), item->rotation());
}

const gs_vec2 kTarget(64, 36);

void Add(std::vector<Case>* cases, const char* name, const std::function<void(Stage*, Item*, GsContext*)>& draw) {
  cases->push_back({std::string("drawing/") + name, [draw](Stage* stage) { Draws(stage, draw); }});
}

}  // namespace

std::vector<Case> DrawingCases() {
  std::vector<Case> cases;
  Add(&cases, "several rectangles", [](Stage*, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    for (int i = 0; i < 7; ++i) context->DrawRect(Place(item, static_cast<float>(3 * i - 10), 1.5f), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "the same rectangle again", [](Stage*, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    for (int i = 0; i < 3; ++i) context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "another target size", [](Stage*, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    context->DrawRect(Place(item), gs_vec2(128, 36));
    context->DrawRect(Place(item), gs_vec2(63.5f, 20));
    context->DrawRect(Place(item), gs_vec2(-64, 36));
    context->DrawRect(Place(item), gs_vec2(0, 0));
    context->UnbindShader();
  });
  Add(&cases, "other viewports", [](Stage*, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    context->SetViewport(0, 0, 32, 18);
    context->DrawRect(Place(item), kTarget);
    context->SetViewport(20, 7, 64, 36);
    context->DrawRect(Place(item), kTarget);
    context->SetViewport(1, 1, 63, 35);
    context->DrawRect(Place(item), kTarget);
    context->SetViewport(0, 0, 0, 0);
    context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "a viewport that stays for the next item", [](Stage*, Item* item, GsContext* context) {
    item->DrawPicture();
    context->SetViewport(5, 5, 20, 20);
  });
  Add(&cases, "a negative viewport", [](Stage*, Item* item, GsContext* context) {
    context->SetViewport(0, 0, 0x80000000u, 0xffffffffu);
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "without a program", [](Stage*, Item* item, GsContext* context) {
    GsTextureBinder binder(item->textures[0]);
    context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
    context->DrawRect(Place(item), kTarget);
  });
  Add(&cases, "a program that there is not", [](Stage*, Item* item, GsContext* context) {
    context->BindShader("rgba");
    GsTextureBinder binder(item->textures[0]);
    if (context->BindShader("no such program")) return;
    if (context->BindShader(nullptr)) return;
    if (context->BindShader("")) return;
    context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "a program that is left bound", [](Stage*, Item* item, GsContext* context) {
    context->BindShader("to_bgra");
    GsTextureBinder binder(item->textures[0]);
    context->DrawRect(Place(item), kTarget);
  });
  Add(&cases, "every built-in program", [](Stage* stage, Item* item, GsContext* context) {
    GsTextureBinder binder(item->textures[0]);
    GsConstantBuffer* const constants = stage->MakeConstants({0.2f, 0.5f, 0.1f, 0.05f, -0.2f, 0.4f, 0.3f, 0.5f});
    float x = -25;
    for (const char* const program : {"rgba", "to_bgra", "to_y", "to_uv", "to_u", "to_v", "to_rgba"}) {
      if (!context->BindShader(program)) continue;
      constants->Bind(0);
      context->DrawRect(Place(item, x), kTarget);
      constants->Unbind();
      context->DrawRect(Place(item, x, 9), kTarget);
      context->UnbindShader();
      x += 8;
    }
  });
  Add(&cases, "programs that change between rectangles", [](Stage*, Item* item, GsContext* context) {
    GsTextureBinder binder(item->textures[0]);
    for (int i = 0; i < 6; ++i) {
      context->BindShader(i % 2 ? "rgba" : "to_bgra");
      context->DrawRect(Place(item, static_cast<float>(5 * i - 12), 0.5f), kTarget);
    }
    context->UnbindShader();
  });
  Add(&cases, "binders in binders", [](Stage* stage, Item* item, GsContext* context) {
    GsTexture* const other = stage->MakeTexture(5, 5, 44, Alpha::kMixed);
    if (!context->BindShader("rgba")) return;
    {
      GsTextureBinder outer(item->textures[0]);
      context->DrawRect(Place(item, -9), kTarget);
      {
        GsTextureBinder inner(other);
        context->DrawRect(Place(item), kTarget);
      }
      context->DrawRect(Place(item, 9), kTarget);  // Nothing is bound any more.
    }
    context->UnbindShader();
  });
  Add(&cases, "no texture", [](Stage*, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    GsTextureBinder none;
    GsTextureBinder null(nullptr);
    context->DrawRect(Place(item), kTarget);
    context->UnbindShader();
  });
  Add(&cases, "another texture between rectangles", [](Stage* stage, Item* item, GsContext* context) {
    if (!context->BindShader("rgba")) return;
    for (int i = 0; i < 5; ++i) {
      GsTextureBinder binder(i % 2 ? item->textures[0] : stage->MakeTexture(24, 16, Unsigned(i), Alpha::kMixed));
      context->DrawRect(Place(item, static_cast<float>(4 * i - 8), static_cast<float>(i)), kTarget);
    }
    context->UnbindShader();
  });
  Add(&cases, "vertex arrays", [](Stage*, Item* item, GsContext* context) {
    GsVertex vertices[3] = {};
    unsigned int indices[3] = {0, 1, 2};
    if (!context->BindShader("rgba")) return;
    GsTextureBinder binder(item->textures[0]);
    context->DrawVertexArray(vertices, 3, indices, 3, Place(item), kTarget);
    context->UnbindShader();
  });
  cases.push_back({"drawing/four textures", [](Stage* stage) {
                     stage->AddProgram(kFour, kFourSource);
                     GsTexture* const textures[] = {
                         stage->MakeTexture(24, 16, 11, Alpha::kMixed), stage->MakeTexture(12, 8, 12, Alpha::kMixed),
                         stage->MakeTexture(7, 31, 13, Alpha::kMixed), stage->MakeTexture(24, 16, 14)};
                     GsConstantBuffer* const shares = stage->MakeConstants({0.4f, 0.3f, 0.2f, 0.1f});
                     Draws(stage, [=](Stage*, Item* item, GsContext* context) {
                       if (!context->BindShader(kFour)) return;
                       shares->Bind(0);
                       for (int count = 1; count <= 4; ++count) {
                         GsTextureBinder binder(textures[0], count > 1 ? textures[1] : nullptr,
                                                count > 2 ? textures[2] : nullptr, count > 3 ? textures[3] : nullptr);
                         context->DrawRect(Place(item, static_cast<float>(6 * count - 15)), kTarget);
                       }
                       shares->Unbind();
                       context->UnbindShader();
                     });
                   }});
  cases.push_back({"drawing/outside of frames", [](Stage* stage) {
                     GsContext context(stage->device());
                     context.SetViewport(0, 0, 1, 1);
                     stage->record()->Line(context.BindShader("rgba") ? "bound" : "not bound");
                     context.DrawRect(gs_transform(gs_vec2(), gs_vec2(1, 1)), gs_vec2(1, 1));
                     context.UnbindShader();
                     Draws(stage, [](Stage*, Item* item, GsContext*) { item->DrawPicture(); });
                   }});
  return cases;
}

}  // namespace pictures
