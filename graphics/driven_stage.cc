// The stages of a frame that a host runs itself: on its thread, the render thread of the device.
#include "graphics/driven_stage.h"

#include "foundation/logger.h"
#include "graphics/graphics_device_impl.h"

namespace {

// The device where its host drives it; else null.
GraphicsDeviceImpl* Driven(GraphicsDevice* device) {
  auto* const impl = dynamic_cast<GraphicsDeviceImpl*>(device);
  return impl && !impl->clock().looping() ? impl : nullptr;
}

}  // namespace

DrivenStage::DrivenStage(GraphicsDevice* device, std::optional<FramePart> part) : device_(Driven(device)) {
  if (!device_) return;
  measured_.emplace(&device_->frame_times());
  if (part) span_.emplace(*part);
}

void DrivenStage::BeforeOutput() {
  if (device_) device_->clock().BeginStage();
}

void DrivenStage::Output(std::uint64_t timestamp, unsigned int count) {
  if (!device_) return;
  device_->clock().BeginOutput(timestamp, count);
  device_->frame_times().CountFrame(count);
}

bool BeginDrivenFrame(GraphicsDevice* device, std::uint64_t timestamp) {
  GraphicsDeviceImpl* const driven = Driven(device);
  if (!driven) {
    Logger::default_logger()->Error("RunFrame is for a device without a render thread of its own: stop it first");
    return false;
  }
  driven->clock().BeginFrame(timestamp);
  return true;
}
