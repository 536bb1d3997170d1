// Outputs that come and go, wait, and are asked for more than one picture a frame.
#include <string>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

Scene* MovingScene(Stage* stage, int width, int height) {
  Scene* const scene = stage->MakeScene(width, height);
  stage->MakeItem(scene, Vec(width, height), gs_vec2(), stage->MakeTexture(width, height, 1));
  stage->MakeItem(scene, gs_vec2(14, 10), gs_vec2(-9, 0), stage->MakeTexture(14, 10, 2, Alpha::kMixed))->tick =
      [](Item* self) { self->MoveTo(self->pos() + gs_vec2(1.5f, 0.5f)); };
  return scene;
}

void ManyAtOnce(Stage* stage) {
  Scene* const scene = MovingScene(stage, 80, 45);
  stage->AddBgraProgram();
  for (const auto& [width, height] : {std::pair<int, int>{80, 45}, {40, 22}, {81, 45}, {160, 90}, {45, 80}}) {
    for (const GsFormat format : {kGsFormatRGBA, kGsFormatNV12, kGsFormatI420, kGsFormatBGRA}) {
      stage->MakeOutput(scene, width, height, format);
    }
  }
  stage->MakeTextureOutput(scene, 80, 45);
  stage->Frames(3);
}

void StartAndStop(Stage* stage) {
  Scene* const scene = MovingScene(stage, 64, 36);
  Output* const first = stage->MakeOutput(scene, 64, 36, kGsFormatRGBA);
  stage->Frame();
  Output* const second = stage->MakeOutput(scene, 64, 36, kGsFormatNV12);
  stage->Frame();
  first->Stop();
  stage->Frame();
  first->Start();
  stage->Frame();
  second->Stop();
  first->Stop();
  stage->Frame();
  first->Start();
  first->Start();
  second->Start();
  stage->Frame();
  stage->Remove(first);
  stage->Frame();
  stage->MakeOutput(scene, 64, 36, kGsFormatI420);
  stage->Frame();
}

void Counts(Stage* stage) {
  Scene* const scene = MovingScene(stage, 64, 36);
  stage->MakeOutput(scene, 64, 36, kGsFormatRGBA);
  stage->MakeOutput(scene, 32, 18, kGsFormatI420);
  for (const unsigned int count : {1u, 2u, 3u, 1u, 0u, 5u, 1u}) stage->Frame(count);
}

void SlowReceiver(Stage* stage, GsFormat format) {
  Scene* const scene = MovingScene(stage, 64, 36);
  Output* const output = stage->MakeOutput(scene, 64, 36, format);
  stage->Frames(2);
  output->SetGate(false);
  for (int i = 0; i < 10; ++i) stage->Drive();
  output->SetGate(true);
  output->Collect(10);
  stage->Frames(2);
}

void ProgramBetweenFrames(Stage* stage) {
  Scene* const scene = MovingScene(stage, 64, 36);
  stage->MakeOutput(scene, 64, 36, kGsFormatBGRA);
  stage->MakeOutput(scene, 40, 40, kGsFormatBGRA);
  stage->Frame();
  stage->AddBgraProgram();
  stage->Frame();
  stage->AddBgraProgram();
  stage->Frame();
}

void BadFormats(Stage* stage) {
  Scene* const scene = MovingScene(stage, 16, 16);
  for (const std::uint32_t format : {0u, 3u, 6u, 77u}) stage->MakeOutput(scene, 16, 16, static_cast<GsFormat>(format));
  for (const auto& [width, height] : {std::pair<int, int>{1, 8}, {8, 1}, {1, 1}}) {
    stage->MakeOutput(scene, width, height, kGsFormatI420)->silent = true;
    stage->MakeOutput(scene, width, height, kGsFormatNV12)->silent = true;
    stage->MakeOutput(scene, width, height, kGsFormatRGBA);
  }
  stage->MakeOutput(scene, 1 << 20, 8, kGsFormatRGBA)->silent = true;
  stage->Frames(2);
}

void FrameRates(Stage* stage) {
  Scene* const scene = MovingScene(stage, 16, 16);
  for (const unsigned int fps : {0u, 1u, 25u, 1000000000u, 1000000001u}) {
    stage->device()->SetFps(fps);
    stage->MakeOutput(scene, 16, 16, kGsFormatRGBA);
    stage->Frame(2);
  }
}

// Programs that replace nothing: names of built-in ones are taken.
void TakenNames(Stage* stage) {
  for (const char* const name : {"rgba", "to_y", "to_u", "to_v", "to_uv", "to_bgra"}) {
    stage->AddProgram(name, "out vec4 FragColor;\nvoid main() { FragColor = vec4(1.0); }\n");
    stage->AddProgram(name, "this is no program");
  }
  Scene* const scene = MovingScene(stage, 32, 32);
  stage->MakeOutput(scene, 32, 32, kGsFormatRGBA);
  stage->MakeOutput(scene, 32, 32, kGsFormatI420);
  stage->MakeOutput(scene, 32, 32, kGsFormatNV12);
  stage->Frames(2);
}

}  // namespace

std::vector<Case> OutputCases() {
  std::vector<Case> cases = {
      {"outputs/many at once", ManyAtOnce}, {"outputs/start and stop", StartAndStop},
      {"outputs/counts", Counts},           {"outputs/a program between frames", ProgramBetweenFrames},
      {"outputs/bad formats", BadFormats},  {"outputs/frame rates", FrameRates},
      {"outputs/taken names", TakenNames}};
  for (const GsFormat format : {kGsFormatRGBA, kGsFormatNV12}) {
    cases.push_back(
        {"outputs/slow receiver " + std::to_string(format), [format](Stage* stage) { SlowReceiver(stage, format); }});
  }
  return cases;
}

}  // namespace pictures
