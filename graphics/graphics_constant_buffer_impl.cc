// Defaults of a constant buffer; the GPU's part is the backend's. Any thread updates; the render thread binds.
#include "graphics/graphics_constant_buffer_impl.h"

#include "foundation/logger.h"
#include "graphics/context_object.h"

void GraphicsConstantBufferImpl::Update(const void*, unsigned int) {
  Logger::default_logger()->Warn("ConstantBuffer::Update is unimplemented");
}

bool GraphicsConstantBufferImpl::Bind(int) { return false; }

void GraphicsConstantBufferImpl::Unbind() {}

void CountAsPart(GraphicsConstantBuffer* buffer) {
  if (auto* const object = dynamic_cast<ContextObject*>(buffer)) object->CountAs(ContextObject::Kind::kPart);
}
