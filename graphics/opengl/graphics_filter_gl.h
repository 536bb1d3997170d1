// A filter's render target.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_FILTER_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_FILTER_GL_H_

#include <memory>

#include "graphics/graphics_filter_impl.h"
#include "graphics/opengl/gl_object.h"

class GraphicsTextureGL;

// The target keeps the size of Init; a later Resize changes only what is reported.
class GraphicsFilterGL : public GraphicsFilterImpl, public GLObject {
 public:
  GraphicsFilterGL(GraphicsContextGL* context, unsigned int width, unsigned int height);
  // Takes itself out of the context's registry if it is still attached.
  ~GraphicsFilterGL() override;

  // Makes the target. Must succeed before anything is drawn.
  bool Init();
  // Registers with the context, then stores the callback; and the reverse.
  void Attach(DrawCallback* callback) override;
  void Detach() override;
  // Clears the target to opaque black and has the callback draw into it. Render thread.
  void Draw() override;
  // The target, owned by the filter; null before Init.
  GraphicsTexture* texture() override;

 private:
  std::unique_ptr<GraphicsTextureGL> texture_;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_FILTER_GL_H_
