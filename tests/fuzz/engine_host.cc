#include "tests/fuzz/engine_host.h"

#include <algorithm>
#include <cstdint>

#include "tests/fuzz/fuzz_check.h"

namespace fuzz {
namespace {

// What pictures are made of: as many bytes as the largest of them has.
constexpr std::uint64_t kMostPixels = 64 * 64;
const std::vector<unsigned char>& Pixels() {
  static const std::vector<unsigned char> pixels(4 * kMostPixels, 0x5A);
  return pixels;
}

}  // namespace

void EngineHost::Run(FuzzInput* input) {
  input_ = input;
  MakeDevices();
  while (!input_->empty()) {
    Step();
    kept_.clear();
  }
  DestroyObjects();
  FUZZ_CHECK(live_objects == 0);
  for (GsDevice* const device : {GsDevice::DefaultDevice(), second_.get()}) {
    if (device && traits_.after) traits_.after(device);
  }
  if (!traits_.real) DestroyDevices();
  input_ = nullptr;
}

void EngineHost::MakeDevices() {
  FUZZ_CHECK(GsDevice::CreateDefaultDevice(false));
  if (second_) return;
  second_ = std::make_unique<GsDevice>();
  FUZZ_CHECK(second_->Init());
}

void EngineHost::DestroyDevices() {
  second_.reset();
  GsDevice::DestroyDefaultDevice();
}

void EngineHost::DestroyObjects() {
  for (auto& output : raws_) output.reset();
  for (auto& output : texture_outputs_) output.reset();
  for (auto& view : views_) view.reset();
  for (auto& hold : holds_) hold = GsSceneHold();
  // Those whose texture or scene keeps them in being, too.
  std::vector<scoped_refptr<FuzzPictureItem>> all(FuzzPictureItem::all().begin(), FuzzPictureItem::all().end());
  for (auto& item : all) item->SetTexture(nullptr);
  all.clear();
  for (auto& scene : scenes_) scene = nullptr;
  for (auto& item : items_) item = nullptr;
  for (auto& item : pictures_) item = nullptr;
  for (auto& filter : filters_) filter.reset();
  for (auto& texture : textures_) texture.reset();
  for (auto& video : videos_) video.reset();
  for (auto& buffer : buffers_) buffer.reset();
  kept_.clear();
}

void EngineHost::InDraw(const void*) {
  FUZZ_CHECK(frame_device_);
  InCallback(4);
}

void EngineHost::InTick(FuzzItem*) {
  FUZZ_CHECK(frame_device_);
  InCallback(2);
}

void EngineHost::InCallback(unsigned int most_steps) {
  if (depth_ >= 3 || input_->empty()) return;
  ++depth_;
  for (unsigned int steps = input_->UpTo(most_steps); steps > 0 && !input_->empty(); --steps) Step();
  --depth_;
}

void EngineHost::Step() {
  const unsigned int what = input_->Byte();
  const unsigned int operation = what / 16;
  switch (what % 16) {
    case 0: return StepOfDevice(operation);
    case 1:
    case 2: return StepOfScene(operation);
    case 3:
    case 4: return StepOfItem(operation);
    case 5: return StepOfPicture(operation);
    case 6: return StepOfTexture(operation);
    case 7: return StepOfFilter(operation);
    case 8: return StepOfOutput(operation);
    case 9: return StepOfView(operation);
    case 10:
    case 11: return StepOfDrawing(operation);
    default: return Frame();
  }
}

void EngineHost::Frame() {
  if (in_callback()) return StepOfDrawing(input_->Byte());
  GsDevice* const picked = PickDevice();
  GsDevice* const device = picked ? picked : GsDevice::DefaultDevice();
  if (!device) return;
  frame_device_ = device;
  device->InitThreadContext();
  const std::uint8_t kind = input_->Byte();
  if (kind < 192) {
    device->RunFrame(kind, 1 + kind % 2);
  } else if (kind < 208) {
    device->RunFrame(input_->Take<std::uint64_t>(), input_->Unsigned());
  } else {
    if (kind % 2 != 0) device->TickSource();
    if (kind / 2 % 2 != 0) device->HandleFilter();
    if (kind / 4 % 2 != 0) device->OutputFrame(input_->Byte(), input_->UpTo(3));
    if (kind / 8 % 2 != 0) device->DrawDisplay();
    device->DoTask();
  }
  device->UninitThreadContext();
  frame_device_ = nullptr;
}

GsDevice* EngineHost::PickDevice() {
  const std::uint8_t which = input_->Byte();
  if (which < 160) return nullptr;
  return which < 192 ? GsDevice::DefaultDevice() : second_.get();
}

EngineHost::Sides EngineHost::PickSides() {
  if (traits_.real) return PickPictureSides();
  const unsigned int width = input_->Unsigned();
  return {width, input_->Unsigned()};
}

EngineHost::Sides EngineHost::PickPictureSides() {
  Sides sides{input_->Unsigned(), 0};
  sides.height = input_->Unsigned();
  const std::uint64_t pixels = std::uint64_t{sides.width} * sides.height;
  const bool too_long = sides.width > 32768 || sides.height > 32768;
  if (pixels <= kMostPixels || (pixels >= 0x100000000u && too_long)) return sides;
  return {sides.width % 65, sides.height % 65};
}

gs_vec2 EngineHost::PickVec() {
  const float x = input_->Float();
  return gs_vec2(x, input_->Float());
}

const char* EngineHost::PickName() {
  constexpr const char* kNames[] = {"rgba", "to_bgra", "to_rgba", "mine", "", nullptr, "to_y", "quarn: none"};
  return kNames[input_->UpTo(7)];
}

GsItem* EngineHost::PickItem() {
  const std::uint8_t which = input_->Byte();
  if (which % 2 != 0) return items_[which / 2 % kSlots];
  return pictures_[which / 2 % kSlots];
}

std::shared_ptr<GsTexture> EngineHost::PickTexture() {
  const std::uint8_t which = input_->Byte();
  const unsigned int slot = which / 8 % kSlots;
  switch (which % 8) {
    case 0:
    case 1: return videos_[slot];
    case 2:
    case 3: {
      // Its scene's: it lives with that.
      const scoped_refptr<FuzzScene> scene = scenes_[slot];
      GsTexture* const texture = scene ? scene->texture() : nullptr;
      return std::shared_ptr<GsTexture>(texture, [this, scene](GsTexture*) { Keep(scene); });
    }
    default: return textures_[slot];
  }
}

void EngineHost::StepOfDevice(unsigned int what) {
  GsDevice* const picked = PickDevice();
  GsDevice* const device = picked ? picked : GsDevice::DefaultDevice();
  if (what == 0) {
    // A device that goes leaves what was made of it.
    if (in_callback() && frame_device_ != GsDevice::DefaultDevice()) return;
    if (in_callback() || input_->Byte() >= 240) GsDevice::DestroyDefaultDevice();
    return;
  }
  if (what == 1) {
    if (!in_callback() && input_->Byte() >= 240) second_.reset();
    return;
  }
  if (what == 2 && !in_callback()) return MakeDevices();
  if (!device) return;
  switch (what) {
    case 3: device->SetFps(input_->Unsigned()); break;
    case 4: {
      const unsigned int numerator = input_->Unsigned();
      device->SetFrameRate(numerator, input_->Unsigned());
      break;
    }
    case 5: device->QueueTask([](void* host) { static_cast<EngineHost*>(host)->InCallback(3); }, this); break;
    case 6: {
      const char* const name = PickName();
      const unsigned int row = input_->UpTo(kGsGlslSrcCount / 3 - 1) * 3;
      const char* const vertex_source = input_->Byte() < 240 ? glsl_src[row + 1] : nullptr;
      device->AddShader(name, vertex_source, glsl_src[row + 2]);
      break;
    }
    case 7: {
      GsFrameTime times[4];
      FUZZ_CHECK(device->ReadFrameTimes(times, input_->UpTo(4)) <= 4);
      FUZZ_CHECK(device->fps() > 0 && device->frame_interval() > 0);
      break;
    }
    case 8: {
      if (in_callback() && frame_device_ == device) FUZZ_CHECK(!device->Start());
      if (in_callback() && frame_device_ == device) device->Stop();
      break;
    }
    case 9: device->EnterThreadContext(), device->LeaveThreadContext(), device->ClearFrameList(); break;
    case 10: {
      GsScreenDup dup(PickName(), picked);
      dup.Dup();
      FUZZ_CHECK(!dup.last_frame());
      break;
    }
    default: FUZZ_CHECK(device->IsInternalRenderThread() == (frame_device_ != nullptr)); break;
  }
}

void EngineHost::StepOfTexture(unsigned int what) {
  auto& texture = Pick(textures_);
  auto& video = Pick(videos_);
  auto& buffer = Pick(buffers_);
  const Sides sides = PickPictureSides();
  // What is read of the pixels stays within them.
  const unsigned int stride = sides.width <= 64 && sides.height <= 64 ? sides.width * 4 : 0;
  const unsigned char* const pixels = stride != 0 && input_->Byte() < 240 ? Pixels().data() : nullptr;
  const auto format = static_cast<GsTexture::Format>(what < 3 ? 0 : input_->Signed());
  GsDevice* const device = PickDevice();
  switch (what) {
    case 0:
    case 3:
      Keep(texture);
      texture = std::make_shared<GsTexture>(pixels, stride, format, sides.width, sides.height, device);
      break;
    case 1:
    case 4:
      if (texture) texture->Update(pixels, stride, format, sides.width, sides.height);
      break;
    case 2:
      Keep(texture);
      texture = nullptr;
      break;
    case 5:
      Keep(texture);
      texture = std::make_shared<GsTexture>(format, sides.width, sides.height, device);
      break;
    case 6: {
      const std::uint32_t code = input_->Flag() ? QnExternalImage::kPixelFormatBGRA : QnExternalImage::kPixelFormatL10R;
      QnExternalImage image(sides.width, sides.height, code, stride, pixels);
      if (texture && image.valid()) texture->Update(&image);
      Keep(texture);
      texture = std::make_shared<GsTexture>(&image, device);
      break;
    }
    case 7:
      Keep(video);
      video = std::make_shared<GsVideoTexture>(sides.width, sides.height,
                                               static_cast<GsVideoTexture::Layout>(input_->UpTo(3)), device);
      break;
    case 8:
      if (video) {
        video->SetColor(static_cast<GsVideoTexture::Matrix>(input_->UpTo(3)),
                        static_cast<GsVideoTexture::Range>(input_->UpTo(2)),
                        static_cast<GsVideoTexture::ChromaSite>(input_->UpTo(2)));
      }
      break;
    case 9:
      if (video && std::uint64_t{video->width()} * video->height() <= kMostPixels) {
        const unsigned char* const planes[] = {Pixels().data(), input_->Flag() ? Pixels().data() : pixels,
                                               Pixels().data()};
        const unsigned int rows = 2 * video->width();
        const unsigned int strides[] = {rows, rows, input_->Flag() ? rows : 0};
        if (video->height() <= 64 && video->width() <= 64) video->Update(planes, strides);
      }
      break;
    case 10:
      Keep(buffer);
      buffer = std::make_shared<GsConstantBuffer>(pixels, input_->Byte() < 240 ? sides.width % 1024 : 0, device);
      break;
    case 11:
      if (buffer) buffer->Update(pixels, std::min<unsigned int>(sides.width, 16384));
      break;
    case 12:
      if (buffer) buffer->Bind(input_->Signed());
      if (buffer) buffer->Unbind();
      break;
    case 13:
      Keep(buffer);
      buffer = nullptr;
      break;
    case 14:
      Keep(video);
      video = nullptr;
      break;
    default:
      if (texture) texture->SetRotation(input_->Float());
      break;
  }
}

}  // namespace fuzz
