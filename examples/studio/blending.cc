#include "studio/blending.h"

#define GL_GLEXT_PROTOTYPES  // For glBlendFuncSeparate, which libOpenGL has.
#include <GL/gl.h>
#include <GL/glext.h>

namespace studio {

PremultipliedBlending::PremultipliedBlending() {
  glGetIntegerv(GL_BLEND_SRC_RGB, &before_[0]);
  glGetIntegerv(GL_BLEND_DST_RGB, &before_[1]);
  glGetIntegerv(GL_BLEND_SRC_ALPHA, &before_[2]);
  glGetIntegerv(GL_BLEND_DST_ALPHA, &before_[3]);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}

PremultipliedBlending::~PremultipliedBlending() {
  glBlendFuncSeparate(static_cast<GLenum>(before_[0]), static_cast<GLenum>(before_[1]), static_cast<GLenum>(before_[2]),
                      static_cast<GLenum>(before_[3]));
}

Unblended::Unblended() { glDisable(GL_BLEND); }

Unblended::~Unblended() { glEnable(GL_BLEND); }  // In a Draw it is on.

void ClearToTransparent() {
  GLfloat before[4];
  glGetFloatv(GL_COLOR_CLEAR_VALUE, before);
  glClearColor(0, 0, 0, 0);
  glClear(GL_COLOR_BUFFER_BIT);
  glClearColor(before[0], before[1], before[2], before[3]);
}

}  // namespace studio
