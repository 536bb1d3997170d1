// EGL and OpenGL 3.2 core with nothing around them: what the two bare loops share.
#ifndef QUARN_BENCHMARKS_BARE_GL_H_
#define QUARN_BENCHMARKS_BARE_GL_H_

#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <GL/glcorearb.h>

#include <array>
#include <string>

#include "benchmarks/loops.h"

// A GL context without a window. It stays current from one frame of a round to the next; the engine's loop takes it
// away in between rounds.
class BareContext {
 public:
  BareContext();
  ~BareContext();
  BareContext(const BareContext&) = delete;
  BareContext& operator=(const BareContext&) = delete;

  bool ok() const { return context_ != EGL_NO_CONTEXT; }
  void MakeCurrent() const;  // Unless it is.
  void ClearCurrent() const;

 private:
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
};

// The attributes a_pos and a_tex_coord get the locations 0 and 1. The sources have no version line.
GLuint LinkProgram(const std::string& vertex, const std::string& fragment);

GLuint MakeTexture(GLenum format, unsigned int width, unsigned int height, GLenum filter, const void* pixels);
// The image whose rows begin at the bottom, as a texture wants them.
std::vector<unsigned char> FlippedImage(unsigned int frame);

// A texture to draw into, attached once.
struct Target {
  GLuint texture = 0;
  GLuint frame_buffer = 0;
};
Target MakeTarget(GLenum format, unsigned int width, unsigned int height, GLenum filter);

// The rows Y, U and V of the RGB-to-YUV conversion of limited-range BT.709, in the arithmetic of the engine.
std::array<float, 12> YuvRows();

#endif  // QUARN_BENCHMARKS_BARE_GL_H_
