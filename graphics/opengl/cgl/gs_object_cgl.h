// What platform objects share: the context that they were made with.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_

#include "graphics/context_object.h"
#include "graphics/opengl/cgl/graphics_context_cgl.h"

class GsObjectCGL : public ContextObject {
 public:
  explicit GsObjectCGL(GraphicsContextCGL* context) : ContextObject(context) {}

  GraphicsContextCGL* context() const { return static_cast<GraphicsContextCGL*>(context_impl()); }
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_
