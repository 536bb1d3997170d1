// Constants for shaders. Words and tags: quarn.h.
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
// inside a frame callback.
class QUARN_EXPORT GsConstantBuffer {
 public:
  // A buffer with a copy of the host's bytes.
  //
  // `data`: the bytes; null means zeros.
  // `size`: bytes, at least 1; of 0, and where memory is missing, the buffer is inert.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  GsConstantBuffer(const void* data, unsigned int size, GsDevice* device = nullptr);
  // A buffer of zeros.
  //
  // `size`: bytes, at least 1; of 0, and where memory is missing, the buffer is inert.
  //
  // Blocks: stage.
  explicit GsConstantBuffer(unsigned int size, GsDevice* device = nullptr);
  // Destroys the buffer. Unbind first.
  //
  // Blocks: stage.
  virtual ~GsConstantBuffer();

  GsConstantBuffer(const GsConstantBuffer&) = delete;
  GsConstantBuffer& operator=(const GsConstantBuffer&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Makes a block of what is drawn next read this buffer. A buffer serves one slot at a time: Unbind before it takes
  // another.
  //
  // `slot`: the number of the block, 0 for u_buf0 to 9 for u_buf9: no block reads another.
  // Returns false when there is no buffer, and at any other time than inside a frame callback.
  //
  // Thread: render, inside a frame callback.
  bool Bind(int slot);
  // Gives the block back: it reads zeros again.
  //
  // Thread: render, inside a frame callback.
  void Unbind();
  // Replaces the first bytes; what is not reached stays.
  //
  // `data`: the bytes; null is ignored.
  // `size`: how many bytes, 0 or more; what goes past the buffer's end is cut.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  void Update(const void* data, unsigned int size);

 private:
  GraphicsConstantBuffer* impl_ = nullptr;
};

#endif  // QUARN_GS_CONSTANT_BUFFER_H_
