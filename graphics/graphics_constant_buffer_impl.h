// Defaults of a constant buffer.
#ifndef QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_IMPL_H_

#include "graphics/graphics_constant_buffer.h"

class GraphicsConstantBufferImpl : public GraphicsConstantBuffer {
 public:
  void Update(const void* data, unsigned int size) override;
  bool Bind(int slot) override;
  void Unbind() override;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_IMPL_H_
