#include "tests/public/view_scenes.h"

#include <algorithm>
#include <cmath>

#include "tests/support/comes_true.h"

namespace host {

Fit::Fit(int scene_width, int scene_height, int view_width, int view_height) {
  const auto sw = static_cast<float>(scene_width);
  const auto sh = static_cast<float>(scene_height);
  const auto vw = static_cast<float>(view_width);
  const auto vh = static_cast<float>(view_height);
  scale = sw / sh >= vw / vh ? (vw - 10) / sw : (vh - 10) / sh;
  width = std::round(sw * scale);
  height = std::round(sh * scale);
}

test::Canvas ViewOf(const test::Picture& scene, int width, int height, const test::Color& background) {
  const Fit fit(scene.width, scene.height, width, height);
  test::Canvas canvas(width, height, background);
  canvas.DrawPicture({0, 0, fit.width, fit.height}, scene);
  return canvas;
}

PatternItem::PatternItem(const test::Picture& picture, GsDevice* device)
    : Item(gs_vec2(static_cast<float>(picture.width), static_cast<float>(picture.height)), device),
      own_texture_(MakeTexture(picture, device)) {
  texture = own_texture_.get();
}

PatternScene::PatternScene(int width, int height, GsDevice* device)
    : picture_(MakePattern(width, height, 255)),
      scene_(MakeScene(static_cast<unsigned int>(width), static_cast<unsigned int>(height), device)),
      item_(MakeRef<RefCounted<PatternItem>>(picture_, device)) {
  scene_->AddItem(item_);
}

View::View(void* window, int width, int height, GsScene* scene)
    : GsViewImpl({window}, static_cast<unsigned int>(width), static_cast<unsigned int>(height), nullptr) {
  SetBackgroundColor(kBackdrop.r, kBackdrop.g, kBackdrop.b, kBackdrop.a);
  SetScene(scene);
  Attch();
}

test::Picture WindowWith(int width, int height, const std::vector<Placed>& pictures) {
  test::Picture window = test::Flat(width, height, 0x00f000);
  for (const Placed& placed : pictures) {
    for (int y = 0; y < placed.picture.height; ++y) {
      for (int x = 0; x < placed.picture.width; ++x) {
        const int to_x = placed.x + x, to_y = placed.y + y;
        if (to_x < 0 || to_y < 0 || to_x >= width || to_y >= height) continue;
        for (int c = 0; c < 4; ++c) window.at(to_x, to_y)[c] = placed.picture.at(x, y)[c];
      }
    }
  }
  return window;
}

void DrivenViewTest::SetUp() {
  log::Clear();
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  device = GsDevice::DefaultDevice();
  ASSERT_TRUE(device->InitThreadContext());
}

void DrivenViewTest::TearDown() {
  if (device) device->UninitThreadContext();
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(log::Complaints(), "");
}

void DrivenViewTest::Frame() { DriveFrame(device, ++timestamp_); }

void DrivenViewTest::Frames(int count) {
  for (int i = 0; i < count; ++i) Frame();
}

void DrivenViewTest::FramesUntilComplaint() {
  EXPECT_TRUE(test::ComesTrue([this] {
    Frame();
    return !log::Complaints().empty();
  }));
  Frames(20);
}

int DrivenViewTest::TakeComplaints(std::string* text) {
  *text = log::Complaints();
  log::Clear();
  return static_cast<int>(std::count(text->begin(), text->end(), '\n'));
}

int DrivenViewTest::TakeComplaints(const GsView& view, std::string* text) {
  EXPECT_TRUE(test::ComesTrue([&view] {
    const GsViewCounts counts = view.Counts();
    return counts.drawn == counts.presented + counts.skipped;
  }));
  return TakeComplaints(text);
}

void ThreadedViewTest::SetUp() {
  log::Clear();
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  device = GsDevice::DefaultDevice();
  device->SetFps(100);
  ASSERT_TRUE(PassFrames(device, 3));
}

void ThreadedViewTest::TearDown() {
  GsDevice::DestroyDefaultDevice();
  EXPECT_EQ(log::Complaints(), "");
}

}  // namespace host
