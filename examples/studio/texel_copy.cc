#include "studio/texel_copy.h"

#include <algorithm>

#define GL_GLEXT_PROTOTYPES  // For glCopyImageSubData, which libOpenGL has.
#include <GL/gl.h>
#include <GL/glext.h>

namespace studio {
namespace {

// Copies of images came with OpenGL 4.3. Asked once: all contexts of a process are of one driver.
bool HasCopies() {
  static const bool has = [] {
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    return major > 4 || (major == 4 && minor >= 3);
  }();
  return has;
}

// The texture that is drawn into; 0 where that is none.
GLuint TargetTexture() {
  GLint target = 0, kind = GL_NONE, name = 0;
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
  if (target == 0) return 0;
  const auto ask = [](GLenum what, GLint* answer) {
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, what, answer);
  };
  ask(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &kind);
  if (kind != GL_TEXTURE) return 0;
  ask(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME, &name);
  return static_cast<GLuint>(name);
}

GLuint NameOf(GsTexture* texture) {
  GLint unit = GL_TEXTURE0, name = 0;
  glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
  const GsTextureBinder binder(texture);
  glActiveTexture(GL_TEXTURE0);
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &name);
  glActiveTexture(static_cast<GLenum>(unit));
  return static_cast<GLuint>(name);
}

}  // namespace

bool CopyTexels(GsTexture* texture, Size size, int left, int top, Size target) {
  if (!HasCopies()) return false;
  const int x = std::max(left, 0), width = std::min(left + size.width, target.width) - x;
  const int y = std::max(top, 0), height = std::min(top + size.height, target.height) - y;
  if (width <= 0 || height <= 0) return true;
  const GLuint from = NameOf(texture), to = TargetTexture();
  if (from == 0 || to == 0) return false;
  // Rows go from the bottom up.
  glCopyImageSubData(from, GL_TEXTURE_2D, 0, x - left, top + size.height - y - height, 0, to, GL_TEXTURE_2D, 0, x,
                     target.height - y - height, 0, width, height, 1);
  return true;
}

}  // namespace studio
