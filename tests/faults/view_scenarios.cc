// Views in windows of an X server.
#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/faults/hosts.h"
#include "tests/support/x_window.h"

namespace faults {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr unsigned int kFrames = 8;
constexpr unsigned int kFrameMs = 100;  // The patience with each of them.
constexpr unsigned int kLookMs = 2;     // From one look at the window to the next.
constexpr int kSmaller = 8;             // By how much the view is, every other time.

class View : public Host {
 public:
  ~View() override {
    Clear();
    if (GsDevice* const device = GsDevice::DefaultDevice()) device->UninitThreadContext();
    GsDevice::DestroyDefaultDevice();
  }
  void MakeDevice() override {
    if (GsDevice::CreateDefaultDevice(false)) GsDevice::DefaultDevice()->InitThreadContext();
  }
  void MakeObjects() override {
    Clear();
    GsDevice* const device = GsDevice::DefaultDevice();
    scene_ = MakeScene(16, 16, device);
    item_ = MakeItem<GsPictureItem>(gs_vec2(16, 16), gs_vec3(0, 0, 0), device);
    scene_->AddItem(item_);
    window_ = std::make_unique<test::XWindow>(x11_, kWidth, kHeight);
    GsWindowInfo info;
    info.window = window_->handle();
    view_ = std::make_unique<GsViewImpl>(info, Unsigned(kWidth), Unsigned(kHeight), device);
    view_->SetScene(scene_);
    view_->Attch();
  }
  // Another colour, and another size, which the window comes to show.
  Digest Work() override {
    GsDevice* const device = GsDevice::DefaultDevice();
    if (!device) return kNothing;
    ++rounds_;
    const unsigned char colour[4] = {static_cast<unsigned char>(40 * rounds_), 200, 30, 255};
    const bool smaller = rounds_ % 2 == 1;
    item_->Update(colour, 4, 1, 1);
    item_->Resize(gs_vec2(16, 16));
    view_->SetBackgroundColor(1, 0, 0, 1);
    view_->Resize(Unsigned(smaller ? kWidth - kSmaller : kWidth), Unsigned(kHeight));
    // A few frames, each with some patience: a resize takes two, and the window is shown by a thread of its own.
    for (unsigned int frame = 0; frame < kFrames && !WindowsAreGone(); ++frame) {
      device->RunFrame(time_ += 40000000);
      for (unsigned int look = 0; look < kFrameMs / kLookMs; ++look) {
        if (Shows(colour, smaller)) return DigestOf("shown", 5);
        std::this_thread::sleep_for(std::chrono::milliseconds(kLookMs));
      }
    }
    return kNothing;
  }
  bool WorksWithoutWindows() override {
    GsDevice* const device = GsDevice::DefaultDevice();
    if (!device) return false;
    const unsigned int before = view_->Counts().drawn;
    device->RunFrame(time_ += 40000000);
    return view_->Counts().drawn == before + 1;
  }

 private:
  bool Shows(const unsigned char (&colour)[4], bool smaller) const {
    const test::Picture picture = window_->Read();
    if (picture.width != kWidth) return false;
    const unsigned char* const middle = picture.at(kWidth / 2, kHeight / 2);
    const unsigned char* const edge = picture.at(kWidth - 2, kHeight / 2);
    return std::equal(colour, colour + 3, middle) && (edge[0] == 255) == !smaller;
  }
  static unsigned int Unsigned(int value) { return static_cast<unsigned int>(value); }
  void Clear() {
    if (view_) view_->Detach();
    view_.reset();
    window_.reset();
    item_ = nullptr;
    scene_ = nullptr;
  }

  test::XConnection x11_;
  SceneRef scene_;
  scoped_refptr<GsPictureItem> item_;
  std::unique_ptr<test::XWindow> window_;
  std::unique_ptr<GsViewImpl> view_;
  int rounds_ = 0;
  std::uint64_t time_ = 0;
};

}  // namespace

std::vector<Scenario> ViewScenarios() { return {MakeScenario<View>("view", "window")}; }

}  // namespace faults
