#include "tests/support/gl_spy.h"

#include <EGL/egl.h>

#include <mutex>

namespace gl_spy {
namespace {

std::mutex mutex;
std::vector<Upload> uploads;
std::vector<Read> reads;
int draws = 0;
int live_objects = 0;

void AddObjects(GLsizei n, const GLuint* names) {
  std::lock_guard<std::mutex> lock(mutex);
  for (GLsizei i = 0; i < n; ++i) live_objects += names[i] != 0;
}

void RemoveObjects(GLsizei n, const GLuint* names) {
  std::lock_guard<std::mutex> lock(mutex);
  for (GLsizei i = 0; i < n; ++i) live_objects -= names[i] != 0;
}

}  // namespace

Faults& faults() {
  static Faults instance;
  return instance;
}

std::vector<Upload> Uploads() {
  std::lock_guard<std::mutex> lock(mutex);
  return uploads;
}

std::vector<Read> Reads() {
  std::lock_guard<std::mutex> lock(mutex);
  return reads;
}

int Draws() {
  std::lock_guard<std::mutex> lock(mutex);
  return draws;
}

int LiveObjects() {
  std::lock_guard<std::mutex> lock(mutex);
  return live_objects;
}

void Reset() {
  faults() = Faults();
  std::lock_guard<std::mutex> lock(mutex);
  uploads.clear();
  reads.clear();
  draws = 0;
}

}  // namespace gl_spy

using gl_spy::faults;

extern "C" {

// The linker's names: __real_X is X, and whoever calls X gets __wrap_X.
// NOLINTBEGIN(bugprone-reserved-identifier)

GLenum __real_glGetError();
GLenum __wrap_glGetError();
GLenum __wrap_glGetError() {
  if (faults().errors.empty()) return __real_glGetError();
  const GLenum error = faults().errors.front();
  faults().errors.pop_front();
  return error;
}

#define QUARN_SPY_NAMES(gen, del, fault)              \
  void __real_##gen(GLsizei n, GLuint* names);        \
  void __wrap_##gen(GLsizei n, GLuint* names);        \
  void __wrap_##gen(GLsizei n, GLuint* names) {       \
    if (fault) {                                      \
      for (GLsizei i = 0; i < n; ++i) names[i] = 0;   \
      return;                                         \
    }                                                 \
    __real_##gen(n, names);                           \
    gl_spy::AddObjects(n, names);                     \
  }                                                   \
  void __real_##del(GLsizei n, const GLuint* names);  \
  void __wrap_##del(GLsizei n, const GLuint* names);  \
  void __wrap_##del(GLsizei n, const GLuint* names) { \
    gl_spy::RemoveObjects(n, names);                  \
    __real_##del(n, names);                           \
  }

QUARN_SPY_NAMES(glGenTextures, glDeleteTextures, faults().gen_textures)
QUARN_SPY_NAMES(glGenFramebuffers, glDeleteFramebuffers, faults().gen_framebuffers)
QUARN_SPY_NAMES(glGenBuffers, glDeleteBuffers, faults().gen_buffers)
QUARN_SPY_NAMES(glGenVertexArrays, glDeleteVertexArrays, false)

#undef QUARN_SPY_NAMES

GLuint __real_glCreateShader(GLenum type);
GLuint __wrap_glCreateShader(GLenum type);
GLuint __wrap_glCreateShader(GLenum type) {
  const GLuint name = __real_glCreateShader(type);
  gl_spy::AddObjects(1, &name);
  return name;
}

void __real_glDeleteShader(GLuint shader);
void __wrap_glDeleteShader(GLuint shader);
void __wrap_glDeleteShader(GLuint shader) {
  gl_spy::RemoveObjects(1, &shader);
  __real_glDeleteShader(shader);
}

GLuint __real_glCreateProgram();
GLuint __wrap_glCreateProgram();
GLuint __wrap_glCreateProgram() {
  const GLuint name = __real_glCreateProgram();
  gl_spy::AddObjects(1, &name);
  return name;
}

void __real_glDeleteProgram(GLuint program);
void __wrap_glDeleteProgram(GLuint program);
void __wrap_glDeleteProgram(GLuint program) {
  gl_spy::RemoveObjects(1, &program);
  __real_glDeleteProgram(program);
}

void __real_glGetShaderiv(GLuint shader, GLenum name, GLint* value);
void __wrap_glGetShaderiv(GLuint shader, GLenum name, GLint* value);
void __wrap_glGetShaderiv(GLuint shader, GLenum name, GLint* value) {
  __real_glGetShaderiv(shader, name, value);
  if (faults().empty_logs && name == GL_INFO_LOG_LENGTH) *value = 1;
}

void __real_glGetProgramiv(GLuint program, GLenum name, GLint* value);
void __wrap_glGetProgramiv(GLuint program, GLenum name, GLint* value);
void __wrap_glGetProgramiv(GLuint program, GLenum name, GLint* value) {
  __real_glGetProgramiv(program, name, value);
  if (faults().empty_logs && name == GL_INFO_LOG_LENGTH) *value = 1;
}

void __real_glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage);
void __wrap_glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage);
void __wrap_glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
  gl_spy::Upload upload = {target, std::vector<unsigned char>(static_cast<std::size_t>(size)), data != nullptr, usage};
  if (data)
    upload.bytes.assign(static_cast<const unsigned char*>(data), static_cast<const unsigned char*>(data) + size);
  {
    std::lock_guard<std::mutex> lock(gl_spy::mutex);
    gl_spy::uploads.push_back(std::move(upload));
  }
  __real_glBufferData(target, size, data, usage);
}

void __real_glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels);
void __wrap_glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels);
void __wrap_glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels) {
  {
    std::lock_guard<std::mutex> lock(gl_spy::mutex);
    gl_spy::reads.push_back({width, height, format});
  }
  __real_glReadPixels(x, y, width, height, format, type, pixels);
}

void __real_glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices);
void __wrap_glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices);
void __wrap_glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices) {
  {
    std::lock_guard<std::mutex> lock(gl_spy::mutex);
    ++gl_spy::draws;
  }
  __real_glDrawElements(mode, count, type, indices);
}

void* __real_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access);
void* __wrap_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access);
void* __wrap_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access) {
  return faults().map_buffer ? nullptr : __real_glMapBufferRange(target, offset, length, access);
}

EGLBoolean __real_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context);
EGLBoolean __wrap_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context);
EGLBoolean __wrap_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context) {
  if (faults().make_current && context != EGL_NO_CONTEXT) return EGL_FALSE;
  return __real_eglMakeCurrent(display, draw, read, context);
}

// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
