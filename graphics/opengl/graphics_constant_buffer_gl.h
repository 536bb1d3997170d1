// A uniform buffer with its bytes mirrored in memory.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_CONSTANT_BUFFER_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_CONSTANT_BUFFER_GL_H_

#include <memory>

#include "graphics/graphics_constant_buffer_impl.h"
#include "graphics/opengl/gl_object.h"

// Update and the destructor may run on any thread: they take the context's lock. Bind and Unbind belong to a draw;
// Bind does nothing on a thread that has not the context current.
class GraphicsConstantBufferGL : public GraphicsConstantBufferImpl, public GLObject {
 public:
  // Copies `size` bytes.
  GraphicsConstantBufferGL(GraphicsContextGL* context, const void* data, unsigned int size);
  // `size` zero bytes.
  GraphicsConstantBufferGL(GraphicsContextGL* context, unsigned int size);
  ~GraphicsConstantBufferGL() override;

  // Another Init makes the buffer anew.
  bool Init();
  void Update(const void* data, unsigned int size) override;
  // Binds the buffer to point s + 1 for slot s, and claims the point. Point 0, which is the matrices', and those below
  // it, which do not exist, are not claimed.
  bool Bind(int slot) override;
  // Gives the point back. The buffer stays bound there until the next draw finds the point unclaimed.
  void Unbind() override;

 private:
  bool Create();
  void Delete();
  void Upload();
  // Whether the GL buffer has the shadow's bytes, as far as is known.
  bool HasBytes() const;

  std::unique_ptr<unsigned char[]> shadow_;  // The bytes, of which the GL buffer has a copy.
  unsigned int size_;
  GLuint buffer_ = 0;
  bool uploaded_ = false;  // Whether the shadow's bytes were sent to the GL buffer.
  // How often GL had run out of memory when they were. Once it has again they may not be there, and are sent anew.
  unsigned int out_of_memory_before_ = 0;
  int binding_ = -1;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_CONSTANT_BUFFER_GL_H_
