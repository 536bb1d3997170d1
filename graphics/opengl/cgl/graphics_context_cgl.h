// The drawing context on a native OpenGL context.
//
// Two locks guard GL: the engine's context lock, taken first, and the native context's own, which BindContext takes.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_

#include <memory>

#include "foundation/rw_mutex.h"
#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/graphics_context_gl.h"

class GraphicsContextCGL;

// Leads work that may come late, or on a thread of the host's, to a context that may be gone by then.
class ContextHandle {
 public:
  explicit ContextHandle(GraphicsContextCGL* context) : context_(context) {}
  ContextHandle(const ContextHandle&) = delete;
  ContextHandle& operator=(const ContextHandle&) = delete;

  // Calls use(context), or nothing when the context is gone. The context lives at least as long as that call.
  template <class Use>
  void With(Use use) {
    mutex_.ReadLock();
    if (context_) use(context_);
    mutex_.ReadUnlock();
  }
  // Nothing reaches the context from here on.
  //
  // Blocks: for uses in progress.
  void Close() {
    mutex_.WriteLock();
    context_ = nullptr;
    mutex_.WriteUnlock();
  }

 private:
  RWMutex mutex_;
  GraphicsContextCGL* context_ QUARN_GUARDED_BY(mutex_);
};

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
  // context that can be made current the device still exists, and draws nothing.
  bool Build();
  // Whether the native context exists, and could be made current to begin with.
  bool available() const { return native_ != nullptr; }

  // The longest side of a texture in pixels; 0 without a native context.
  unsigned int max_texture_size() const { return max_texture_size_; }
  // The same of a rectangle texture, which is what external images are.
  unsigned int max_rectangle_size() const { return max_rectangle_size_; }

  // Null where there is none.
  NativeContext* native() const { return native_.get(); }
  std::shared_ptr<ContextHandle> handle() const { return handle_; }

 private:
  std::unique_ptr<NativeContext> native_;
  unsigned int max_texture_size_ = 0;
  unsigned int max_rectangle_size_ = 0;
  const std::shared_ptr<ContextHandle> handle_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_CONTEXT_CGL_H_
