// The host's handle on shader constants: checks and forwarding. Any thread creates and updates; the render thread
// binds.
#include <quarn/gs_constant_buffer.h>

#include "foundation/no_memory.h"
#include "graphics/context_object.h"
#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_device.h"
#include "graphics/public/to_engine.h"

GsConstantBuffer::GsConstantBuffer(const void* data, unsigned int size, GsDevice* device) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine || size == 0) return;
  EvenWithoutMemory("GsConstantBuffer::GsConstantBuffer", [&] { impl_ = engine->CreateConstantBuffer(size, data); });
}

GsConstantBuffer::GsConstantBuffer(unsigned int size, GsDevice* device) : GsConstantBuffer(nullptr, size, device) {}

GsConstantBuffer::~GsConstantBuffer() { delete impl_; }

bool GsConstantBuffer::valid() const {
  const auto* const object = dynamic_cast<const ContextObject*>(impl_);
  return object && object->can_draw();
}

bool GsConstantBuffer::Bind(int slot) {
  bool bound = false;
  if (impl_) EvenWithoutMemory("GsConstantBuffer::Bind", [&] { bound = impl_->Bind(slot); });
  return bound;
}

void GsConstantBuffer::Unbind() {
  if (impl_) impl_->Unbind();
}

void GsConstantBuffer::Update(const void* data, unsigned int size) {
  if (impl_ && data) impl_->Update(data, size);
}
