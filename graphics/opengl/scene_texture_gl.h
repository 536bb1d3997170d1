// A scene's render target, which other scenes may show, and the scene itself.
#ifndef QUARN_GRAPHICS_OPENGL_SCENE_TEXTURE_GL_H_
#define QUARN_GRAPHICS_OPENGL_SCENE_TEXTURE_GL_H_

#include <memory>

#include "graphics/opengl/graphics_texture_gl.h"

class GraphicsScene;

// Sampled while a scene is drawn, it notes with the context which scene is shown in which. A target must not be sampled
// while it is drawn into: then the picture of the frame before is, of which only a scene that is shown in itself keeps
// a copy. A target that was never drawn into holds anything: what is sampled then is opaque black.
//
// Render thread, with the context's lock held and the GL context current.
class SceneTextureGL : public GraphicsTextureGL {
 public:
  // `scene` is only compared.
  SceneTextureGL(GraphicsContextGL* context, const GraphicsScene* scene, unsigned int width, unsigned int height);
  ~SceneTextureGL() override;

  bool BindShaderResource(int slot) override;
  // Before the scene is drawn anew: copies its picture, if the scene is shown in itself, and lets go of the last copy
  // if it is not. Where memory is missing for the copy, the scene finds black in itself, and the log says so once.
  void KeepPicture();
  // The target has been cleared.
  void NoteDrawn() { drawn_ = true; }

 private:
  bool MakeCopy();

  const GraphicsScene* const scene_;
  std::unique_ptr<GraphicsTextureGL> copy_;
  bool copy_failed_ = false;  // So that it is not tried again in every frame.
  bool drawn_ = false;
};

#endif  // QUARN_GRAPHICS_OPENGL_SCENE_TEXTURE_GL_H_
