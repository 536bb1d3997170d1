// A program that does with GL what its argument says: "nothing" wrong, or leave an "object" or a "context", or make an
// "error", on purpose or not. gl_watch has to find it.
#include "graphics/opengl/gl.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <optional>
#include <string>

#include "tests/support/gl_watch.h"

int main(int count, char** words) {
  const std::string wrong = count > 1 ? words[1] : "";
  const EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  if (!eglInitialize(display, nullptr, nullptr) || !eglBindAPI(EGL_OPENGL_API)) return 2;
  const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 2, EGL_NONE};
  const EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
  if (!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) return 2;
  GLuint textures[2] = {};
  glGenTextures(2, textures);
  glDeleteTextures(wrong == "object" ? 1 : 2, textures);
  {
    std::optional<test::WrongOnPurpose> on_purpose;
    if (wrong == "purpose") on_purpose.emplace();
    if (wrong == "error" || wrong == "purpose") glEnable(0xFFFF);
  }
  eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  if (wrong != "context") eglDestroyContext(display, context);
  return 0;
}
