// The host's handle on shader constants: checks and forwarding. Any thread creates and updates; the render thread
// binds.
#include <quarn/gs_constant_buffer.h>

#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_device.h"
#include "graphics/public/device_resolve.h"

GsConstantBuffer::GsConstantBuffer(const void* data, unsigned int size, GsDevice* device) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (engine && size > 0) impl_ = engine->CreateConstantBuffer(size, data);
}

GsConstantBuffer::GsConstantBuffer(unsigned int size, GsDevice* device) : GsConstantBuffer(nullptr, size, device) {}

GsConstantBuffer::~GsConstantBuffer() { delete impl_; }

bool GsConstantBuffer::Bind(int slot) { return impl_ && impl_->Bind(slot); }

void GsConstantBuffer::Unbind() {
  if (impl_) impl_->Unbind();
}

void GsConstantBuffer::Update(const void* data, unsigned int size) {
  if (impl_ && data) impl_->Update(data, size);
}
