// The drawing context on a native OpenGL context.
//
// Two locks guard GL: the engine's context lock, taken first, and the native context's own, which BindContext takes.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_

#include <memory>

#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/graphics_context_gl.h"

class GraphicsContextCGL : public GraphicsContextGL {
 public:
  GraphicsContextCGL() = default;
  // Closes it, if nobody has.
  ~GraphicsContextCGL() override;

  int BindContext() override;
  void UnbindContext() override;

  // Makes a native context, or null with an error line.
  static std::unique_ptr<NativeContext> CreateContext(NativeContext* share);
  // Makes the native context, the built-in programs and the shared objects. Returns true in any case: without a native
  // context that can be made current the device still exists, and draws nothing.
  bool Build();
  // The end of the device: deletes the programs and shared objects with the native context current, then that context.
  // Objects that are left hold what remains, which is never available() again.
  //
  // Blocks: for whoever holds the lock.
  void Close();
  // Whether the native context exists, could be made current to begin with, and is this process's.
  bool available() const { return native_ && !of_another_process(); }

  // Null where there is none.
  NativeContext* native() const { return native_.get(); }

 private:
  std::unique_ptr<NativeContext> native_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
