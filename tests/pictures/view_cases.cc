// Views, without a window: they are drawn all the same, and the host reads what is there in its Draw.
#include <deque>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/pictures/gl_state.h"
#include "tests/pictures/stage.h"

namespace pictures {
namespace {

// Work for the main thread, which the case runs when it likes.
struct MainQueue {
  MainQueue() { qn_set_main_queue(Post, this); }
  ~MainQueue() {
    Run();
    qn_set_main_queue(nullptr, nullptr);
  }
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    static_cast<MainQueue*>(user)->works.emplace_back(function, argument);
  }
  void Run() {
    while (!works.empty()) {
      const auto work = works.front();
      works.pop_front();
      work.first(work.second);
    }
  }
  std::deque<std::pair<QnMainQueueFunction, void*>> works;
};

class View : public GsViewImpl {
 public:
  View(Stage* stage, int width, int height, std::string name)
      : GsViewImpl(GsWindowInfo(), Unsigned(width), Unsigned(height), stage->device()),
        stage_(stage),
        name_(std::move(name)) {}
  ~View() override {
    Detach();
    SetScene(nullptr);
  }
  void Draw() override {
    stage_->record()->Line("draw " + name_ + " " + GlState());
    DefaultDraw();
    if (width() > 0 && height() > 0 && width() < 2000 && height() < 2000) {
      RecordTarget(stage_, name_, static_cast<int>(width()), static_cast<int>(height()));
    }
  }

 private:
  Stage* const stage_;
  const std::string name_;
};

Scene* EditedScene(Stage* stage, int width, int height) {
  Scene* const scene = stage->MakeScene(width, height);
  stage->MakeItem(scene, Vec(width, height), gs_vec2(), stage->MakeTexture(width, height, 1, Alpha::kMixed));
  Item* const hovered = stage->MakeItem(scene, gs_vec2(30, 20), gs_vec2(-10, 4), stage->MakeTexture(30, 20, 2));
  hovered->SetHovered(true);
  Item* const selected = stage->MakeItem(scene, gs_vec2(26, 16), gs_vec2(12.5f, -3), stage->MakeTexture(26, 16, 3));
  selected->SetSelected(true);
  selected->SetRotation(0.4f);
  Item* const both = stage->MakeItem(scene, gs_vec2(10, 10), gs_vec2(0, 12), stage->MakeTexture(10, 10, 4));
  both->SetSelected(true);
  both->SetHovered(true);
  Item* const hidden = stage->MakeItem(scene, gs_vec2(10, 10), gs_vec2(5, 5));
  hidden->SetSelected(true);
  hidden->SetVisible(false);
  return scene;
}

void Sizes(Stage* stage, int width, int height) {
  MainQueue queue;
  Scene* const scene = EditedScene(stage, 96, 54);
  View view(stage, width, height, "view");
  view.Attch();
  stage->Frame();
  view.SetScene(scene);
  stage->record()->Line("scale " + std::to_string(view.scale()));
  stage->Frames(2);
  view.SetClampX(3);
  view.SetClampY(-7.5f);
  view.SetBackgroundColor(0.2f, 0.4f, 0.6f, 0.5f);
  stage->Frame();
  view.SetClampX(std::numeric_limits<float>::quiet_NaN());
  stage->Frame();
  view.SetScene(nullptr);
  stage->Frame();
}

void BesideOutputs(Stage* stage) {
  MainQueue queue;
  Scene* const scene = EditedScene(stage, 96, 54);
  stage->MakeOutput(scene, 96, 54, kGsFormatRGBA);
  stage->MakeOutput(scene, 48, 27, kGsFormatNV12);
  View first(stage, 120, 80, "first");
  View second(stage, 61, 83, "second");
  first.SetScene(scene);
  second.SetScene(scene);
  second.Attch();
  first.Attch();
  stage->Frames(2);
  second.Detach();
  stage->Frame();
  second.Attch();
  stage->Frame();
}

void Resizes(Stage* stage) {
  MainQueue queue;
  Scene* const scene = EditedScene(stage, 96, 54);
  View view(stage, 100, 60, "view");
  view.SetScene(scene);
  view.Attch();
  stage->Frame();
  for (const auto& [width, height] : {std::pair<int, int>{140, 60}, {50, 90}, {0, 0}, {64, 64}}) {
    view.Resize(Unsigned(width), Unsigned(height));
    stage->Frame();  // Drawn into the image of before.
    stage->record()->Line(std::to_string(queue.works.size()) + " works");
    queue.Run();
    stage->Frame();
  }
}

// A view that the host draws by itself.
class PlainView : public GsView {
 public:
  PlainView(Stage* stage, GsTexture* texture)
      : GsView(GsWindowInfo(), 40, 30, stage->device()), stage_(stage), texture_(texture) {}
  ~PlainView() override { Detach(); }
  void Draw() override {
    GsContext context(stage_->device());
    context.SetViewport(0, 0, 40, 30);
    if (context.BindShader("rgba")) {
      GsTextureBinder binder(texture_);
      context.DrawRect(gs_transform(gs_vec2(3, 2), gs_vec2(30, 20), 0.2f), gs_vec2(40, 30));
      context.UnbindShader();
    }
    RecordTarget(stage_, "plain", 40, 30);
  }

 private:
  Stage* const stage_;
  GsTexture* const texture_;
};

void Plain(Stage* stage) {
  MainQueue queue;
  PlainView view(stage, stage->MakeTexture(30, 20, 9, Alpha::kMixed));
  view.SetBackgroundColor(0.5f, 0.25f, 0.125f, 1);
  view.Attch();
  stage->Frames(2);
}

}  // namespace

std::vector<Case> ViewCases() {
  std::vector<Case> cases;
  for (const auto& [width, height] :
       {std::pair<int, int>{106, 64}, {200, 120}, {201, 77}, {53, 32}, {8, 8}, {1, 1}, {0, 5}, {20, 300}}) {
    const int w = width;
    const int h = height;
    cases.push_back(
        {"views/" + std::to_string(w) + "x" + std::to_string(h), [=](Stage* stage) { Sizes(stage, w, h); }, true});
  }
  cases.push_back({"views/beside outputs", BesideOutputs, true});
  cases.push_back({"views/resizes", Resizes, true});
  cases.push_back({"views/plain", Plain, true});
  return cases;
}

}  // namespace pictures
