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

#endif  // QUARN_GRAPHICS_GRAPHICS_CONSTANT_BUFFER_H_
