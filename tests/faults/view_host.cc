// See the header.
#include "tests/faults/view_host.h"

#include <chrono>
#include <thread>

namespace faults {
namespace {

constexpr unsigned int kFrames = 8;
constexpr unsigned int kFramesIfAllSeemsWell = 60;  // A busy machine.
constexpr unsigned int kFrameMs = 100;              // The patience with each of them.
constexpr unsigned int kLookMs = 2;                 // From one look at the window to the next.

unsigned int Unsigned(int value) { return static_cast<unsigned int>(value); }

}  // namespace

ViewHost::~ViewHost() {
  if (GsDevice* const device = GsDevice::DefaultDevice()) device->UninitThreadContext();
  GsDevice::DestroyDefaultDevice();
}

void ViewHost::MakeDevice() {
  if (GsDevice::CreateDefaultDevice(false)) GsDevice::DefaultDevice()->InitThreadContext();
}

void ViewHost::MakeObjects() {
  Clear();
  GsDevice* const device = GsDevice::DefaultDevice();
  scene_ = MakeScene(16, 16, device);
  item_ = MakeItem<GsPictureItem>(gs_vec2(16, 16), gs_vec3(0, 0, 0), device);
  scene_->AddItem(item_);
  GsWindowInfo info;
  info.window = MakeWindow();
  view_ = std::make_unique<GsViewImpl>(info, Unsigned(kWidth), Unsigned(kHeight), device);
  view_->SetScene(scene_);
  view_->Attch();
}

Digest ViewHost::Work() {
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
  const auto frames = [] { return NothingWasSaid() ? kFramesIfAllSeemsWell : kFrames; };
  for (unsigned int frame = 0; frame < frames() && !WindowsAreGone(); ++frame) {
    device->RunFrame(time_ += 40000000);
    for (unsigned int look = 0; look < kFrameMs / kLookMs; ++look) {
      if (Shows(colour, smaller)) return DigestOf("shown", 5);
      std::this_thread::sleep_for(std::chrono::milliseconds(kLookMs));
    }
  }
  return kNothing;
}

bool ViewHost::WorksWithoutWindows() {
  GsDevice* const device = GsDevice::DefaultDevice();
  if (!device) return false;
  const unsigned int before = view_->Counts().drawn;
  device->RunFrame(time_ += 40000000);
  return view_->Counts().drawn == before + 1;
}

void ViewHost::Clear() {
  if (view_) view_->Detach();
  view_.reset();
  item_ = nullptr;
  scene_ = nullptr;
}

}  // namespace faults
