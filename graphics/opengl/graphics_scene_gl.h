// A scene's render target.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_SCENE_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_SCENE_GL_H_

#include <memory>

#include "graphics/graphics_scene_impl.h"
#include "graphics/opengl/gl_object.h"

class SceneTextureGL;

class GraphicsSceneGL : public GraphicsSceneImpl, public GLObject {
 public:
  GraphicsSceneGL(GraphicsContextGL* context, unsigned int width, unsigned int height);
  ~GraphicsSceneGL() override;

  // Makes the target. Must succeed before anything is drawn.
  bool Init();
  // Registers with the context, then stores the callback; and the reverse.
  void Attach(DrawCallback* callback) override;
  void Detach() override;
  // Clears the target to opaque black and has the callback draw into it. Render thread.
  void Draw() override;
  // The target, owned by the scene; null before Init.
  GraphicsTexture* texture() override;

 private:
  std::unique_ptr<SceneTextureGL> texture_;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_SCENE_GL_H_
