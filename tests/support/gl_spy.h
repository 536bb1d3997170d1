// Stands between the engine and OpenGL: counts the objects that live, keeps what was uploaded, read and drawn, and
// makes calls fail on demand. Linked with --wrap, which quarn_gl_support brings along.
//
// Any thread may call GL; a test sets faults while no other thread draws.
#ifndef QUARN_TESTS_SUPPORT_GL_SPY_H_
#define QUARN_TESTS_SUPPORT_GL_SPY_H_

#include <deque>
#include <vector>

#include "graphics/opengl/gl.h"

namespace gl_spy {

struct Faults {
  bool gen_textures = false;      // glGenTextures yields 0.
  bool gen_framebuffers = false;  // glGenFramebuffers yields 0.
  bool gen_buffers = false;       // glGenBuffers yields 0.
  bool map_buffer = false;        // glMapBufferRange yields null.
  bool make_current = false;      // eglMakeCurrent refuses every context.
  bool empty_logs = false;        // Compiler and linker have nothing to say.
  std::deque<GLenum> errors;      // What glGetError answers next, one a call, before the real errors.
};
Faults& faults();

struct Upload {
  GLenum target;
  std::vector<unsigned char> bytes;
  bool has_data;  // Else the bytes are zeros.
  GLenum usage;
};
// glBufferData, in the order of the calls.
std::vector<Upload> Uploads();

struct Read {
  GLsizei width;
  GLsizei height;
  GLenum format;
};
// glReadPixels.
std::vector<Read> Reads();

// glDrawElements calls.
int Draws();

// Textures, buffers, framebuffers, vertex arrays, shaders and programs, of all contexts.
int LiveObjects();

// Forgets the faults and what was kept, but not the objects.
void Reset();

}  // namespace gl_spy

#endif  // QUARN_TESTS_SUPPORT_GL_SPY_H_
