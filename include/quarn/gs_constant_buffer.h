// Constants for shaders.
#ifndef QUARN_GS_CONSTANT_BUFFER_H_
#define QUARN_GS_CONSTANT_BUFFER_H_

#include <quarn/export.h>

class GraphicsConstantBuffer;
class GsDevice;

// A block of bytes that a shader program reads as its uniform block u_buf0 to u_buf9. The bytes are the host's to lay
// out as the block expects (a vec4 is four floats); there are at least as many as the block has. A block without a
// buffer reads zeros, up to 256 bytes.
//
// Thread: any for creating, updating and destroying (not while a frame draws with the buffer); Bind and Unbind render,
// inside a Draw, TickSource, OnTexture or queued task.
class QUARN_EXPORT GsConstantBuffer {
 public:
  // `size` bytes, at least 1, copied from `data`; zeros when `data` is null. A null `device` means the default device.
  //
  // Blocks: for the running stage of a frame.
  GsConstantBuffer(const void* data, unsigned int size, GsDevice* device);
  // `size` zero bytes.
  //
  // Blocks: for the running stage of a frame.
  GsConstantBuffer(unsigned int size, GsDevice* device);
  // Unbind first. Blocks: for the running stage of a frame.
  virtual ~GsConstantBuffer();

  GsConstantBuffer(const GsConstantBuffer&) = delete;
  GsConstantBuffer& operator=(const GsConstantBuffer&) = delete;

  // Makes the block u_buf`slot` of what is drawn next read this buffer. `slot` is 0 to 9: no block reads another. A
  // buffer serves one slot at a time: Unbind before it takes another. Returns false when there is no buffer, and at any
  // other time than inside such a call.
  bool Bind(int slot);
  // Gives the block back: it reads zeros again.
  void Unbind();
  // Replaces the first `size` bytes; what goes past the end is cut, what is not reached stays. Null data is ignored.
  //
  // Blocks: for the running stage of a frame.
  void Update(const void* data, unsigned int size);

 private:
  GraphicsConstantBuffer* impl_ = nullptr;
};

#endif  // QUARN_GS_CONSTANT_BUFFER_H_
