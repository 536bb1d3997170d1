// What platform objects share: the context that they were made with.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_

class GraphicsContextCGL;

class GsObjectCGL {
 public:
  // The context is not owned.
  explicit GsObjectCGL(GraphicsContextCGL* context) : context_(context) {}
  virtual ~GsObjectCGL() = default;

  GraphicsContextCGL* context() const { return context_; }

 private:
  GraphicsContextCGL* context_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GS_OBJECT_CGL_H_
