// What every GL resource shares: the context that it lives in.
#ifndef QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_
#define QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_

#include "foundation/mutex.h"
#include "graphics/context_object.h"
#include "graphics/opengl/graphics_context_gl.h"

class GLObject : public ContextObject {
 public:
  // Without a context an object does no GL work.
  explicit GLObject(GraphicsContextGL* context) : ContextObject(context) {}

  GraphicsContextGL* context() const { return static_cast<GraphicsContextGL*>(context_impl()); }
};

// Makes a context current for as long as it lives. If it was not current before, none is current afterwards. The caller
// holds the context's lock.
class ScopedBind {
 public:
  explicit ScopedBind(GraphicsContextGL* context) : context_(context), result_(context->BindContext()) {}
  ~ScopedBind() {
    if (result_ == 1) context_->UnbindContext();
  }
  ScopedBind(const ScopedBind&) = delete;
  ScopedBind& operator=(const ScopedBind&) = delete;

  // Whether the context is current.
  bool ok() const { return result_ != -1; }
  // Whether it was so before.
  bool nested() const { return result_ == 0; }

 private:
  GraphicsContextGL* context_;
  int result_;
};

#endif  // QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_
