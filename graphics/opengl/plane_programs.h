// The programs that draw planes of pictures, and pictures of planes.
#ifndef QUARN_GRAPHICS_OPENGL_PLANE_PROGRAMS_H_
#define QUARN_GRAPHICS_OPENGL_PLANE_PROGRAMS_H_

#include <memory>

#include "graphics/opengl/graphics_shader_gl.h"
#include "graphics/opengl/try_again.h"

// One of each, which all objects of a context share. Each covers the viewport (GraphicsContextGL::DrawViewPort). Used
// with the GL context current.
class PlanePrograms {
 public:
  enum Kind : int {
    // From a picture, four bytes of a plane to a texel (PackedPlanes).
    kLuma,           // A plane of luma: each pixel is one of the picture.
    kChroma,         // A plane of U or of V: each pixel is the mean of four.
    kInterleavedUV,  // The same of both, in turn.
    // To a picture (GraphicsVideoTextureGL).
    kFromThreePlanes,  // Y, U and V.
    kFromTwoPlanes,    // Y, and U and V in turn.
    kKinds,
  };
  struct Program {
    explicit Program(const char* name) : shader(name) {}

    GraphicsShaderGL shader;
    GLint rows = -1;  // Locations of the uniforms.
    GLint origin = -1;
    GLint size = -1;
  };

  // The program, which is built when it is first asked for; null, with the compiler's message in the log, where it
  // cannot be. One for which GL had no memory is tried again.
  Program* Get(Kind kind);
  // Deletes them.
  void Release();
  // Lets go of them without a GL call: they die with their context.
  void Forget();

 private:
  std::unique_ptr<Program> programs_[kKinds];
  bool failed_[kKinds] = {};  // For good.
  TryAgain tries_[kKinds];
};

#endif  // QUARN_GRAPHICS_OPENGL_PLANE_PROGRAMS_H_
