// Versions and extensions. Entered by the thread that has the GL context current.
#include "graphics/opengl/gl_version.h"

#include <cstring>

#include "graphics/opengl/gl.h"

bool HasGL(int version, const char* extension) {
  GLint major = 0, minor = 0, count = 0;
  glGetIntegerv(GL_MAJOR_VERSION, &major);
  glGetIntegerv(GL_MINOR_VERSION, &minor);
  if (10 * major + minor >= version) return true;
  glGetIntegerv(GL_NUM_EXTENSIONS, &count);
  for (GLint i = 0; i < count; ++i) {
    const auto* const name = reinterpret_cast<const char*>(glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i)));
    if (name && std::strcmp(name, extension) == 0) return true;
  }
  return false;
}
