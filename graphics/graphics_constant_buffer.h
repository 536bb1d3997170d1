// A block of shader constants.
#ifndef QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_H_
#define QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_H_

class GraphicsConstantBuffer {
 public:
  virtual ~GraphicsConstantBuffer() = default;
  virtual void Update(const void* data, unsigned int size) = 0;
  virtual bool Bind(int slot) = 0;
  virtual void Unbind() = 0;
};

// Has a buffer that belongs to another object of the host's not be counted among the buffers that a host may leave
// behind. Null for no buffer.
void CountAsPart(GraphicsConstantBuffer* buffer);

#endif  // QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_H_
