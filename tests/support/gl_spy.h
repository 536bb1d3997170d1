// Stands between the engine and OpenGL: counts the objects that live, keeps what was uploaded, read and drawn, and
// makes calls fail on demand. Linked with --wrap, which quarn_gl_support brings along.
//
// Any thread may call GL; a test sets faults while no other thread draws.
#ifndef QUARN_TESTS_SUPPORT_GL_SPY_H_
#define QUARN_TESTS_SUPPORT_GL_SPY_H_

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "graphics/opengl/gl.h"

namespace gl_spy {

struct Faults {
  bool gen_textures = false;                // glGenTextures yields 0.
  bool gen_framebuffers = false;            // glGenFramebuffers yields 0.
  bool gen_buffers = false;                 // glGenBuffers yields 0.
  bool create_program = false;              // glCreateProgram yields 0.
  bool map_buffer = false;                  // glMapBufferRange yields null.
  bool make_current = false;                // eglMakeCurrent refuses every context.
  bool window_current = false;              // eglMakeCurrent refuses every context with a window.
  bool create_context = false;              // eglCreateContext yields none.
  bool present = false;                     // eglSwapBuffers fails.
  bool window_surface = false;              // No surface can be made for a window.
  std::function<void()> at_window_surface;  // Called, once, when a surface is about to be made for a window.
  GLint rectangle_limit = 0;                // What GL_MAX_RECTANGLE_TEXTURE_SIZE is; 0: what it really is.
  bool incomplete = false;                  // glCheckFramebufferStatus finds every framebuffer unsupported.
  bool fences_pending = false;              // glClientWaitSync finds no fence passed.
  bool empty_logs = false;                  // Compiler and linker have nothing to say.
  int failed_links = 0;                     // So many of the next programs are not linked.
  std::deque<GLenum> errors;                // What glGetError answers next, one a call, before the real errors.
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
// glWaitSync calls.
int FenceWaits();

// From here on the calls that make up a frame of a view are kept, each with its arguments where they
// matter: error checks, the clear, blending, flushes, blits, draws, changes of the current context, and presentation.
void StartTrace();
// The calls since then, in their order.
std::vector<std::string> TakeTrace();

// Textures, buffers, framebuffers, vertex arrays, shaders and programs, of all contexts.
int LiveObjects();
// For objects that have died with their context and were deleted by nobody.
void SetLiveObjects(int count);

// eglDestroyContext calls.
int DestroyedContexts();

// Forgets the faults and what was kept, but not the objects.
void Reset();

}  // namespace gl_spy

#endif  // QUARN_TESTS_SUPPORT_GL_SPY_H_
