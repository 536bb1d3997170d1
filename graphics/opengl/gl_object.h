// What every GL resource shares: the context that it lives in.
#ifndef QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_
#define QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_

#include "graphics/context_object.h"
#include "graphics/opengl/gl_scope.h"
#include "graphics/opengl/graphics_context_gl.h"

class GLObject : public ContextObject {
 public:
  // Without a context an object does no GL work.
  explicit GLObject(GraphicsContextGL* context) : ContextObject(context) {}

  GraphicsContextGL* context() const { return static_cast<GraphicsContextGL*>(context_impl()); }
};

#endif  // QUARN_GRAPHICS_OPENGL_GL_OBJECT_H_
