// The error check that follows every GL call that can fail.
#ifndef QUARN_GRAPHICS_OPENGL_GL_ERROR_H_
#define QUARN_GRAPHICS_OPENGL_GL_ERROR_H_

#include "foundation/logger.h"
#include "graphics/opengl/gl.h"

// How many checks of the process have found that GL had run out of memory: more than before means that what was stored
// meanwhile may not be.
unsigned int GLOutOfMemoryCount();
void NoteGLOutOfMemory();

// Logs one pending GL error, if there is one, with the place of the check, and returns its code. Further pending errors
// wait for the next check, and unknown ones have no name (Kept: C44). An error never stops the work.
static inline GLenum CheckGLError(const char* file, int line) {
  const GLenum error = glGetError();
  if (error == GL_NO_ERROR) return error;
  if (error == GL_OUT_OF_MEMORY) NoteGLOutOfMemory();
  const char* name = "";
  switch (error) {
    case GL_INVALID_ENUM: name = "INVALID_ENUM"; break;
    case GL_INVALID_VALUE: name = "INVALID_VALUE"; break;
    case GL_INVALID_OPERATION: name = "INVALID_OPERATION"; break;
    case GL_OUT_OF_MEMORY: name = "OUT_OF_MEMORY"; break;
    case GL_INVALID_FRAMEBUFFER_OPERATION: name = "INVALID_FRAMEBUFFER_OPERATION"; break;
    default: break;
  }
  Logger::default_logger()->Warn("%s | %s (%d)", name, file, line);
  return error;
}

#endif  // QUARN_GRAPHICS_OPENGL_GL_ERROR_H_
