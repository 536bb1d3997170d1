// Pictures of scenes as other scenes sample them. Render thread.
#include "graphics/opengl/scene_texture_gl.h"

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/scoped_binding.h"

namespace {

// GL has no image in its texture 0, and what is sampled from there is opaque black.
constexpr GLuint kBlack = 0;

}  // namespace

SceneTextureGL::SceneTextureGL(GraphicsContextGL* context, const GraphicsScene* scene, unsigned int width,
                               unsigned int height)
    : GraphicsTextureGL(context, width, height), scene_(scene) {}

SceneTextureGL::~SceneTextureGL() = default;

bool SceneTextureGL::BindShaderResource(int slot) {
  if (!CanSample()) return false;
  context()->NoteShown(scene_);
  if (context()->drawn_scene() == scene_) {
    BindToUnit(slot, copy_ ? copy_->name() : kBlack);
  } else {
    BindToUnit(slot, drawn_ ? name() : kBlack);
  }
  return true;
}

void SceneTextureGL::KeepPicture() {
  if (!context()->shown_scenes().InItself(scene_)) {
    copy_.reset();
    copy_failed_ = false;
    return;
  }
  if (!readable() || copy_failed_) return;
  if (!copy_ && !MakeCopy()) return;
  const ScopedTexture bound(GL_TEXTURE_2D, copy_->name());
  BindReadFrameBuffer();
  glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 0, 0, static_cast<GLsizei>(width()), static_cast<GLsizei>(height()));
  CheckGLError(__FILE__, __LINE__);
  ReleaseReadFrameBuffer();
}

bool SceneTextureGL::MakeCopy() {
  copy_failed_ = true;
  EvenWithoutMemory("The picture of a scene that is shown in itself", [this] {
    auto copy = std::make_unique<GraphicsTextureGL>(context(), width(), height());
    if (copy->Init(false)) copy_ = std::move(copy);
  });
  copy_failed_ = !copy_;
  return !copy_failed_;
}
