// Sizes of scenes and outputs, in every layout.
#include <string>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

struct Layout {
  const char* name;
  GsFormat format;
};
constexpr Layout kLayouts[] = {
    {"rgba", kGsFormatRGBA}, {"bgra", kGsFormatBGRA}, {"i420", kGsFormatI420}, {"nv12", kGsFormatNV12}};

struct Size {
  int width;
  int height;
};

std::string Name(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

bool Delivers(GsFormat format, Size size) {
  const bool planar = format == kGsFormatI420 || format == kGsFormatNV12;
  return !planar || (size.width > 1 && size.height > 1);
}

// A background that fills whole pixels, and items that are mixed, moved by parts of pixels, turned and coloured.
void Fill(Stage* stage, Scene* scene) {
  const int width = static_cast<int>(scene->width());
  const int height = static_cast<int>(scene->height());
  stage->MakeItem(scene, Vec(width, height), gs_vec2(), stage->MakeTexture(width, height, 1));
  const gs_vec2 whole = Vec(width / 2, height / 2);
  stage->MakeItem(scene, whole, CentreOf(scene, whole, 1, 1),
                  stage->MakeTexture(width / 2 + 1, height / 2 + 1, 2, Alpha::kMixed));
  stage->MakeItem(scene, whole, gs_vec2(0.3f, 0.7f), stage->MakeTexture(31, 17, 3, Alpha::kMixed))->SetRotation(0.5f);
  stage->AddProgram(kTint, kTintSource);
  Item* const tinted = stage->MakeItem(scene, Vec(width / 3 + 1, height / 3 + 1), Vec(width / 4, height / 4),
                                       stage->MakeTexture(20, 20, 4, Alpha::kSteps));
  tinted->program = kTint;
  tinted->constants = {{0, stage->MakeConstants({1.0f, 0.5f, 0.25f, 0.6f})}};
}

// Moves the second item, so that the pictures differ from frame to frame.
void PlayTwoFrames(Stage* stage, Scene* scene) {
  stage->Frame();
  scene->EnumItems(
      [](GsItem* item, void*) {
        item->MoveTo(item->pos() + gs_vec2(1.0f, 0.0f));
        return true;
      },
      nullptr);
  stage->Frame();
}

void AddOutput(Stage* stage, Scene* scene, Size size, GsFormat format) {
  stage->MakeOutput(scene, size.width, size.height, format)->silent = !Delivers(format, size);
}

}  // namespace

std::vector<Case> SizeCases() {
  std::vector<Case> cases;
  constexpr Size kSizes[] = {{1, 1},    {2, 2},    {1, 2},     {3, 5},     {16, 1},   {1, 16},   {64, 64},   {97, 3},
                             {160, 90}, {161, 91}, {320, 180}, {333, 187}, {719, 41}, {41, 719}, {1280, 720}};
  for (const Size size : kSizes) {
    cases.push_back({"sizes/all " + Name(size), [size](Stage* stage) {
                       Scene* const scene = stage->MakeScene(size.width, size.height);
                       Fill(stage, scene);
                       stage->AddBgraProgram();
                       for (const Layout& layout : kLayouts) AddOutput(stage, scene, size, layout.format);
                       PlayTwoFrames(stage, scene);
                     }});
  }
  for (const Size size : {Size{160, 90}, Size{161, 91}, Size{64, 33}}) {
    for (const Layout layout : kLayouts) {
      cases.push_back({"sizes/alone " + Name(size) + " " + layout.name, [size, layout](Stage* stage) {
                         Scene* const scene = stage->MakeScene(size.width, size.height);
                         Fill(stage, scene);
                         AddOutput(stage, scene, size, layout.format);  // Without the program, BGRA is black.
                         PlayTwoFrames(stage, scene);
                       }});
    }
  }
  struct Scaled {
    Size scene;
    Size output;
  };
  constexpr Scaled kScaled[] = {{{320, 180}, {160, 90}},  {{320, 180}, {161, 91}},  {{320, 180}, {400, 225}},
                                {{320, 180}, {640, 360}}, {{320, 180}, {400, 150}}, {{320, 180}, {200, 300}},
                                {{320, 180}, {319, 180}}, {{320, 180}, {320, 181}}, {{320, 180}, {1, 1}},
                                {{320, 180}, {2, 2}},     {{161, 91}, {253, 77}},   {{161, 91}, {67, 131}},
                                {{161, 91}, {322, 182}},  {{90, 160}, {131, 75}},   {{1, 1}, {40, 20}},
                                {{3, 5}, {33, 17}},       {{160, 90}, {80, 45}},    {{160, 90}, {320, 180}}};
  for (const Scaled& scaled : kScaled) {
    cases.push_back({"sizes/scaled " + Name(scaled.scene) + " to " + Name(scaled.output), [scaled](Stage* stage) {
                       Scene* const scene = stage->MakeScene(scaled.scene.width, scaled.scene.height);
                       Fill(stage, scene);
                       stage->AddBgraProgram();
                       for (const Layout& layout : kLayouts) AddOutput(stage, scene, scaled.output, layout.format);
                       PlayTwoFrames(stage, scene);
                     }});
  }
  for (const Scaled& scaled :
       {Scaled{{1920, 1080}, {1920, 1080}}, Scaled{{1920, 1080}, {1280, 720}}, Scaled{{1280, 720}, {1920, 1080}}}) {
    for (const Layout layout : kLayouts) {
      if (layout.format == kGsFormatBGRA) continue;
      cases.push_back({"sizes/large " + Name(scaled.scene) + " to " + Name(scaled.output) + " " + layout.name,
                       [scaled, layout](Stage* stage) {
                         Scene* const scene = stage->MakeScene(scaled.scene.width, scaled.scene.height);
                         Fill(stage, scene);
                         AddOutput(stage, scene, scaled.output, layout.format);
                         stage->Frame();
                       }});
    }
  }
  return cases;
}

}  // namespace pictures
