// Textures of every layout, and their updates.
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

// A scene that shows a texture one to one, turned, and scaled, over noise.
Scene* ShowTexture(Stage* stage, GsTexture* texture, std::vector<Item*>* items = nullptr) {
  Scene* const scene = stage->MakeScene(80, 60);
  stage->MakeItem(scene, Vec(80, 60), gs_vec2(), stage->MakeTexture(80, 60, 1));
  const gs_vec2 size = texture ? Vec(texture->width(), texture->height()) : gs_vec2(10, 10);
  Item* const exact = stage->MakeItem(scene, size, CentreOf(scene, size, 4, 5), texture);
  Item* const turned = stage->MakeItem(scene, size, gs_vec2(11, 7), texture);
  turned->SetRotation(0.8f);
  Item* const scaled = stage->MakeItem(scene, gs_vec2(30, 20), gs_vec2(20.5f, -15.25f), texture);
  if (items) *items = {exact, turned, scaled};
  stage->MakeOutput(scene, 80, 60, kGsFormatRGBA);
  stage->MakeOutput(scene, 80, 60, kGsFormatNV12);
  return scene;
}

struct TextureLayout {
  const char* name;
  GsTexture::Format format;
  int channels;
};
constexpr TextureLayout kTextureLayouts[] = {{"rgba", GsTexture::kTextureRGBA, 4},
                                             {"bgra", GsTexture::kTextureBGRA, 4},
                                             {"r8", GsTexture::kTextureR8, 1},
                                             {"rg8", GsTexture::kTextureRG8, 2},
                                             {"rgba16", GsTexture::kTextureRGBA16, 8}};

void Layouts(Stage* stage, const TextureLayout& layout, int width, int height) {
  const int padding = 5;
  std::vector<unsigned char> pixels = Noise(width * layout.channels + padding, height, 1, 20);
  const unsigned int stride = Unsigned(width * layout.channels + padding);
  GsTexture* const texture = stage->Keep(std::make_unique<GsTexture>(
      pixels.data(), stride, layout.format, Unsigned(width), Unsigned(height), stage->device()));
  ShowTexture(stage, texture);
  stage->Frame();
  for (std::uint32_t i = 0; i < 2; ++i) {
    pixels = Noise(width * layout.channels + padding, height, 1, 21 + i);
    texture->Update(pixels.data(), stride, layout.format, Unsigned(width), Unsigned(height));
    stage->Frame();
  }
}

void Strides(Stage* stage) {
  const std::vector<unsigned char> pixels = Noise(64, 20, 4, 30);
  for (const unsigned int stride : {0u, 4u, 40u, 77u, 256u}) {
    GsTexture* const texture = stage->Keep(
        std::make_unique<GsTexture>(pixels.data(), stride, GsTexture::kTextureRGBA, 19u, 13u, stage->device()));
    ShowTexture(stage, texture);
    stage->Frame();
  }
}

void RefusedUpdates(Stage* stage) {
  GsTexture* const texture = stage->MakeTexture(20, 10, 40);
  ShowTexture(stage, texture);
  stage->Frame();
  const std::vector<unsigned char> pixels = Noise(40, 40, 4, 41);
  texture->Update(pixels.data(), 80, GsTexture::kTextureRGBA, 19, 10);
  texture->Update(pixels.data(), 80, GsTexture::kTextureRGBA, 20, 11);
  stage->Frame();
  texture->Update(pixels.data(), 80, GsTexture::kTextureBGRA, 20, 10);
  texture->Update(pixels.data(), 80, GsTexture::kTextureR8, 20, 10);
  texture->Update(nullptr, 80, GsTexture::kTextureRGBA, 20, 10);
  texture->Update(nullptr);
  stage->Frame();
  texture->Update(pixels.data(), 80, GsTexture::kTextureRGBA, 20, 10);
  stage->Frame();
  texture->Update(pixels.data(), 80, GsTexture::kTextureRGBA, 1, 1);
  stage->Frame();
}

void UpdatesInCallbacks(Stage* stage) {
  GsTexture* const texture = stage->MakeTexture(20, 10, 50, Alpha::kMixed);
  std::vector<Item*> items;
  ShowTexture(stage, texture, &items);
  std::uint32_t seed = 51;
  const auto update = [texture, &seed](Alpha alpha) {
    texture->Update(Noise(20, 10, 4, seed++, alpha).data(), 80, GsTexture::kTextureRGBA, 20, 10);
  };
  items[0]->tick = [&](Item*) { update(Alpha::kOpaque); };
  stage->Frames(2);
  items[1]->draw =
      [&](Item* self) {  // What is drawn behind it shows the new picture, what is drawn before the old one.
        update(Alpha::kMixed);
        self->DrawPicture();
        update(Alpha::kMixed);
      };
  stage->Frames(2);
  items[0]->tick = nullptr;
  items[1]->draw = [&](Item* self) {  // Bound while it changes.
    GsContext context(stage->device());
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(self->textures[0]);
    for (int i = 0; i < 3; ++i) {
      context.DrawRect(gs_transform(self->pos() + Vec(4 * i, 0), self->size()), gs_vec2(80, 60));
      update(Alpha::kMixed);
    }
    context.UnbindShader();
  };
  stage->Frames(2);
}

void UpdatesFromAnotherThread(Stage* stage) {
  GsTexture* const texture = stage->MakeTexture(20, 10, 60);
  ShowTexture(stage, texture);
  for (std::uint32_t i = 0; i < 3; ++i) {
    std::thread([=] {
      texture->Update(Noise(20, 10, 4, 61 + i, Alpha::kMixed).data(), 80, GsTexture::kTextureRGBA, 20, 10);
    }).join();
    stage->Frame();
  }
}

void ChangedTextures(Stage* stage) {
  std::vector<Item*> items;
  ShowTexture(stage, nullptr, &items);
  stage->Frame();
  for (const int size : {10, 11, 10, 1, 40}) {
    GsTexture* const texture = stage->MakeTexture(size, size, Unsigned(70 + size), Alpha::kMixed);
    for (Item* const item : items) item->textures[0] = texture;
    stage->Frame();
  }
  // One that is gone, and one in its place: a name of GL may come again.
  for (std::uint32_t i = 0; i < 4; ++i) {
    const std::vector<unsigned char> pixels = Noise(10, 10, 4, 80 + i, Alpha::kMixed);
    const GsTexture texture(pixels.data(), 40, GsTexture::kTextureRGBA, 10, 10, stage->device());
    for (Item* const item : items) item->textures[0] = const_cast<GsTexture*>(&texture);
    stage->Frame();
    for (Item* const item : items) item->textures[0] = nullptr;
  }
  stage->Frame();
}

void ManyUpdates(Stage* stage) {
  Scene* const scene = stage->MakeScene(80, 60);
  std::vector<GsTexture*> textures;
  for (int i = 0; i < 12; ++i) {
    textures.push_back(stage->MakeTexture(9 + i, 14 - i, Unsigned(i), Alpha::kMixed));
    stage->MakeItem(scene, Vec(9 + i, 14 - i), Vec(5 * i - 28, 3 * (i % 4)), textures.back());
  }
  stage->MakeOutput(scene, 80, 60, kGsFormatRGBA);
  for (std::uint32_t frame = 0; frame < 3; ++frame) {
    for (int i = 0; i < 12; ++i) {
      if (frame == 1 && i % 3) continue;  // Some of them.
      textures[static_cast<std::size_t>(i)]->Update(
          Noise(9 + i, 14 - i, 4, 100 * frame + Unsigned(i), Alpha::kMixed).data(), Unsigned(4 * (9 + i)),
          GsTexture::kTextureRGBA, Unsigned(9 + i), Unsigned(14 - i));
    }
    stage->Frame();
  }
}

const char kRectangle[] = "a rectangle texture";
const char kRectangleSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2DRect u_tex0;\n"
    "void main() {\n"
    "  FragColor = texture(u_tex0, vec2(v_tex_coord.x, 1.0 - v_tex_coord.y) * vec2(textureSize(u_tex0)));\n"
    "}\n";

void ExternalImages(Stage* stage, std::uint32_t format, bool in_file) {
  stage->AddProgram(kRectangle, kRectangleSource);
  constexpr unsigned int kWidth = 21;
  constexpr unsigned int kHeight = 11;
  constexpr unsigned int kPitch = 96;
  constexpr std::size_t kOffset = 12;
  const int fd = in_file ? memfd_create("quarn-pictures", 0) : -1;
  std::vector<unsigned char> pixels = Noise(kPitch, kHeight, 1, 90);
  const auto image = [&] {
    return in_file ? QnExternalImage(kWidth, kHeight, format, kPitch, fd, kOffset)
                   : QnExternalImage(kWidth, kHeight, format, kPitch, pixels.data());
  };
  const auto fill = [&](std::uint32_t seed) {
    pixels = Noise(kPitch, kHeight, 1, seed);
    if (in_file && pwrite(fd, pixels.data(), pixels.size(), kOffset) < 0) stage->record()->Line("not written");
  };
  fill(90);
  QnExternalImage first = image();
  GsTexture* const texture = stage->Keep(std::make_unique<GsTexture>(static_cast<void*>(&first), stage->device()));
  std::vector<Item*> items;
  ShowTexture(stage, texture, &items);
  for (Item* const item : items) item->program = kRectangle;
  stage->Frame();  // It holds no pixels yet.
  for (std::uint32_t i = 0; i < 3; ++i) {
    fill(91 + i);
    QnExternalImage next = image();
    texture->Update(static_cast<void*>(&next));
    stage->Frame();
  }
  QnExternalImage other(kWidth + 1, kHeight, format, kPitch, pixels.data());
  texture->Update(static_cast<void*>(&other));
  stage->Frame();
  items[0]->program = "rgba";  // A sampler of another kind.
  stage->Frame();
  if (fd >= 0) close(fd);
}

void Inert(Stage* stage) {
  const std::vector<unsigned char> pixels = Noise(10, 10, 4, 95);
  stage->Keep(std::make_unique<GsTexture>(pixels.data(), 40, GsTexture::kTextureRGBA, 0, 10, stage->device()));
  stage->Keep(std::make_unique<GsTexture>(nullptr, 40, GsTexture::kTextureRGBA, 10, 10, stage->device()));
  stage->Keep(
      std::make_unique<GsTexture>(pixels.data(), 40, static_cast<GsTexture::Format>(9), 10, 10, stage->device()));
  stage->Keep(std::make_unique<GsTexture>(pixels.data(), 0, GsTexture::kTextureRGBA, 1u << 20, 1, stage->device()));
  GsTexture* const texture = stage->Keep(std::make_unique<GsTexture>(GsTexture::kTextureRGBA, 10, 10, stage->device()));
  ShowTexture(stage, texture);
  stage->Frame();
  texture->Update(pixels.data(), 40, GsTexture::kTextureRGBA, 10, 10);
  stage->Frame();
}

}  // namespace

std::vector<Case> TextureCases() {
  std::vector<Case> cases;
  for (const TextureLayout& layout : kTextureLayouts) {
    for (const auto& [width, height] : {std::pair<int, int>{20, 10}, {21, 9}, {1, 1}, {1, 7}, {7, 1}}) {
      const int w = width;
      const int h = height;
      cases.push_back({std::string("textures/") + layout.name + " " + std::to_string(w) + "x" + std::to_string(h),
                       [=](Stage* stage) { Layouts(stage, layout, w, h); }});
    }
  }
  cases.push_back({"textures/wide", [](Stage* stage) {
                     ShowTexture(stage, stage->MakeTexture(3000, 2, 31));
                     stage->Frame();
                   }});
  cases.push_back({"textures/strides", Strides});
  cases.push_back({"textures/refused updates", RefusedUpdates});
  cases.push_back({"textures/updates in callbacks", UpdatesInCallbacks});
  cases.push_back({"textures/updates from another thread", UpdatesFromAnotherThread});
  cases.push_back({"textures/changed between frames", ChangedTextures});
  cases.push_back({"textures/many updates", ManyUpdates});
  cases.push_back({"textures/inert", Inert});
  for (const bool in_file : {false, true}) {
    const std::string where = in_file ? " in a file" : " in memory";
    cases.push_back({"textures/external bgra" + where,
                     [=](Stage* stage) { ExternalImages(stage, QnExternalImage::kPixelFormatBGRA, in_file); }});
    cases.push_back({"textures/external l10r" + where,
                     [=](Stage* stage) { ExternalImages(stage, QnExternalImage::kPixelFormatL10R, in_file); }});
  }
  return cases;
}

}  // namespace pictures
