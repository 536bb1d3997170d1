// How OpenGL fails.
#include <EGL/egl.h>

#include <atomic>

#include "graphics/opengl/gl.h"
#include "tests/faults/stub.h"

namespace faults {
namespace {

// The context that has run out of memory, until it is asked.
std::atomic<EGLContext> out_of_memory{EGL_NO_CONTEXT};

// Whether this call runs out of memory.
bool RunsOut(const char* name) {
  if (Decide(kGlMemory, name) != Fate::kFails) return false;
  out_of_memory = eglGetCurrentContext();
  return true;
}

// Of a call that stores something: then it does nothing.
bool StoresNothing(const char* name) { return RunsOut(name); }

// Of any other: it is done all the same.
bool IsDone(const char* name) {
  RunsOut(name);
  return false;
}

GLenum GetError() {
  EGLContext current = eglGetCurrentContext();
  if (current != EGL_NO_CONTEXT && out_of_memory.compare_exchange_strong(current, EGL_NO_CONTEXT)) {
    return GL_OUT_OF_MEMORY;
  }
  return glGetError();
}

void NoNames(GLsizei count, GLuint* names) {
  for (GLsizei i = 0; i < count; ++i) names[i] = 0;
}

}  // namespace

// What fails in a way of its own, and what a lack of memory makes of it.
#define NO_NAMES(function) QUARN_FAULT(function, kGl, StoresNothing, NoNames)
#define ANSWER(function, answer) QUARN_FAULT_ANSWER(function, kGl, StoresNothing, answer)
#define RUNS_OUT(function) \
  QUARN_FAULT(function, kGl, StoresNothing, [](auto...) { out_of_memory = eglGetCurrentContext(); })
#define STORES(function) QUARN_FAULT(function, kGl, StoresNothing, nullptr)
#define DONE(function) QUARN_FAULT(function, kGl, IsDone, nullptr)

std::vector<Import> GlImports() {
  Import get_error = QUARN_FAULT(GetError, kGl, nullptr, nullptr);
  get_error.name = "glGetError";
  return {
      get_error,
      NO_NAMES(glGenBuffers),
      NO_NAMES(glGenFramebuffers),
      NO_NAMES(glGenSamplers),
      NO_NAMES(glGenTextures),
      NO_NAMES(glGenVertexArrays),
      ANSWER(glCreateProgram, GLuint{0}),
      ANSWER(glCreateShader, GLuint{0}),
      ANSWER(glFenceSync, GLsync{nullptr}),
      ANSWER(glMapBufferRange, static_cast<void*>(nullptr)),
      RUNS_OUT(glCompileShader),
      RUNS_OUT(glLinkProgram),
      STORES(glBufferData),
      STORES(glBufferStorage),
      STORES(glTexImage2D),
      QUARN_FAULT_ANSWER(glCheckFramebufferStatus, kGl, IsDone, GLenum{GL_FRAMEBUFFER_UNSUPPORTED}),
      QUARN_FAULT_ANSWER(glClientWaitSync, kGl, IsDone, GLenum{GL_WAIT_FAILED}),
      QUARN_FAULT(glUnmapBuffer, kGl, IsDone,
                  [](GLenum target) {
                    glUnmapBuffer(target);
                    return GLboolean{GL_FALSE};
                  }),
      DONE(glActiveTexture),
      DONE(glAttachShader),
      DONE(glBindAttribLocation),
      DONE(glBindBuffer),
      DONE(glBindBufferRange),
      DONE(glBindFramebuffer),
      DONE(glBindSampler),
      DONE(glBindTexture),
      DONE(glBindVertexArray),
      DONE(glBlendFunc),
      DONE(glBlitFramebuffer),
      DONE(glClear),
      DONE(glClearColor),
      DONE(glColorMask),
      DONE(glCopyTexSubImage2D),
      DONE(glDebugMessageCallback),
      DONE(glDeleteBuffers),
      DONE(glDeleteFramebuffers),
      DONE(glDeleteProgram),
      DONE(glDeleteSamplers),
      DONE(glDeleteShader),
      DONE(glDeleteSync),
      DONE(glDeleteTextures),
      DONE(glDeleteVertexArrays),
      DONE(glDisable),
      DONE(glDrawArrays),
      DONE(glDrawBuffer),
      DONE(glDrawElements),
      DONE(glEnable),
      DONE(glEnableVertexAttribArray),
      DONE(glFinish),
      DONE(glFlush),
      DONE(glFramebufferTexture2D),
      DONE(glGetBooleanv),
      DONE(glGetFloatv),
      DONE(glGetIntegerv),
      DONE(glGetPointerv),
      DONE(glGetProgramInfoLog),
      DONE(glGetProgramiv),
      DONE(glGetShaderInfoLog),
      DONE(glGetShaderiv),
      DONE(glGetStringi),
      DONE(glGetUniformBlockIndex),
      DONE(glGetUniformLocation),
      DONE(glIsEnabled),
      DONE(glIsSync),
      DONE(glPixelStorei),
      DONE(glPolygonMode),
      DONE(glReadPixels),
      DONE(glSamplerParameteri),
      DONE(glShaderSource),
      DONE(glTexParameteri),
      DONE(glTexSubImage2D),
      DONE(glUniform1i),
      DONE(glUniform2f),
      DONE(glUniform4fv),
      DONE(glUniformBlockBinding),
      DONE(glUseProgram),
      DONE(glVertexAttribPointer),
      DONE(glViewport),
      DONE(glWaitSync),
  };
}

}  // namespace faults
