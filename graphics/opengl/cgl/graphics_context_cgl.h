// The drawing context on a native OpenGL context.
//
// Two locks guard GL: the engine's context lock, taken first, and the native context's own, which BindContext takes.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_

#include <atomic>
#include <memory>
#include <thread>

#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/graphics_context_gl.h"

class GraphicsContextCGL : public GraphicsContextGL {
 public:
  GraphicsContextCGL();
  // Deletes the programs and shared objects with the native context current, then that context.
  ~GraphicsContextCGL() override;

  int BindContext() override;
  void UnbindContext() override;

  // Makes a native context, or null with an error line.
  static std::unique_ptr<NativeContext> CreateContext(NativeContext* share);
  // Makes the native context, the built-in programs and the shared objects. Returns true in any case: without a native
  // context the device still exists, and draws nothing.
  bool Build();
  // Whether the native context exists.
  bool available() const { return native_ != nullptr; }

  // The longest side of a texture in pixels; 0 without a native context.
  unsigned int max_texture_size() const { return max_texture_size_; }

 private:
  std::unique_ptr<NativeContext> native_;
  unsigned int max_texture_size_ = 0;
  // The thread between a BindContext that returned 1 and its UnbindContext, and how many such pairs are open on it:
  // more than one only if a host's callback changed the current context.
  std::atomic<std::thread::id> bound_thread_{};
  int bound_count_ = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
