#include "tests/support/gl_spy.h"

#include <EGL/egl.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace gl_spy {
namespace {

std::mutex mutex;
std::vector<Upload> uploads;
std::vector<Read> reads;
int draws = 0;
int fence_waits = 0;
int live_objects = 0;
int destroyed_contexts = 0;
bool tracing = false;
std::vector<std::string> trace;

__attribute__((format(printf, 1, 2))) void Trace(const char* format, ...) {
  std::lock_guard<std::mutex> lock(mutex);
  if (!tracing) return;
  char text[200];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  trace.emplace_back(text);
}

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

int FenceWaits() {
  std::lock_guard<std::mutex> lock(mutex);
  return fence_waits;
}

void StartTrace() {
  std::lock_guard<std::mutex> lock(mutex);
  tracing = true;
  trace.clear();
}

std::vector<std::string> TakeTrace() {
  std::lock_guard<std::mutex> lock(mutex);
  tracing = false;
  return std::exchange(trace, {});
}

int LiveObjects() {
  std::lock_guard<std::mutex> lock(mutex);
  return live_objects;
}

void SetLiveObjects(int count) {
  std::lock_guard<std::mutex> lock(mutex);
  live_objects = count;
}

int DestroyedContexts() {
  std::lock_guard<std::mutex> lock(mutex);
  return destroyed_contexts;
}

void Reset() {
  faults() = Faults();
  std::lock_guard<std::mutex> lock(mutex);
  uploads.clear();
  reads.clear();
  draws = 0;
  fence_waits = 0;
  destroyed_contexts = 0;
}

}  // namespace gl_spy

using gl_spy::faults;

extern "C" {

// The linker's names: __real_X is X, and whoever calls X gets __wrap_X.
// NOLINTBEGIN(bugprone-reserved-identifier)

GLenum __real_glGetError();
GLenum __wrap_glGetError();
GLenum __wrap_glGetError() {
  gl_spy::Trace("check");
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
  const GLuint name = faults().create_program ? 0 : __real_glCreateProgram();
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
  if (faults().failed_links > 0 && name == GL_LINK_STATUS) {
    --faults().failed_links;
    *value = GL_FALSE;
  }
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
  gl_spy::Trace("draw");
  __real_glDrawElements(mode, count, type, indices);
}

GLenum __real_glClientWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout);
GLenum __wrap_glClientWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout);
GLenum __wrap_glClientWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout) {
  return faults().fences_pending ? static_cast<GLenum>(GL_TIMEOUT_EXPIRED)
                                 : __real_glClientWaitSync(fence, flags, timeout);
}

void __real_glWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout);
void __wrap_glWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout);
void __wrap_glWaitSync(GLsync fence, GLbitfield flags, GLuint64 timeout) {
  {
    std::lock_guard<std::mutex> lock(gl_spy::mutex);
    ++gl_spy::fence_waits;
  }
  __real_glWaitSync(fence, flags, timeout);
}

void* __real_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access);
void* __wrap_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access);
void* __wrap_glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access) {
  return faults().map_buffer ? nullptr : __real_glMapBufferRange(target, offset, length, access);
}

EGLBoolean __real_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context);
EGLBoolean __wrap_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context);
EGLBoolean __wrap_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context) {
  gl_spy::Trace("%s", context == EGL_NO_CONTEXT ? "clear current" : "make current");
  if (faults().make_current && context != EGL_NO_CONTEXT) return EGL_FALSE;
  if (faults().window_current && draw != EGL_NO_SURFACE) return EGL_FALSE;
  return __real_eglMakeCurrent(display, draw, read, context);
}

EGLContext __real_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes);
EGLContext __wrap_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes);
EGLContext __wrap_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes) {
  return faults().create_context ? EGL_NO_CONTEXT : __real_eglCreateContext(display, config, share, attributes);
}

EGLBoolean __real_eglDestroyContext(EGLDisplay display, EGLContext context);
EGLBoolean __wrap_eglDestroyContext(EGLDisplay display, EGLContext context);
EGLBoolean __wrap_eglDestroyContext(EGLDisplay display, EGLContext context) {
  {
    std::lock_guard<std::mutex> lock(gl_spy::mutex);
    ++gl_spy::destroyed_contexts;
  }
  return __real_eglDestroyContext(display, context);
}

using EglFunction = __eglMustCastToProperFunctionPointerType;
EglFunction __real_eglGetProcAddress(const char* name);
EglFunction __wrap_eglGetProcAddress(const char* name);
EglFunction __wrap_eglGetProcAddress(const char* name) {
  if (std::strstr(name, "WindowSurface")) {
    if (const auto happens = std::exchange(faults().at_window_surface, nullptr)) happens();
    if (faults().window_surface) return nullptr;
  }
  return __real_eglGetProcAddress(name);
}

EGLBoolean __real_eglSwapInterval(EGLDisplay display, EGLint interval);
EGLBoolean __wrap_eglSwapInterval(EGLDisplay display, EGLint interval);
EGLBoolean __wrap_eglSwapInterval(EGLDisplay display, EGLint interval) {
  gl_spy::Trace("swap interval %d", interval);
  return __real_eglSwapInterval(display, interval);
}

EGLBoolean __real_eglSwapBuffers(EGLDisplay display, EGLSurface surface);
EGLBoolean __wrap_eglSwapBuffers(EGLDisplay display, EGLSurface surface);
EGLBoolean __wrap_eglSwapBuffers(EGLDisplay display, EGLSurface surface) {
  gl_spy::Trace("present");
  if (faults().present) return EGL_FALSE;
  return __real_eglSwapBuffers(display, surface);
}

GLenum __real_glCheckFramebufferStatus(GLenum target);
GLenum __wrap_glCheckFramebufferStatus(GLenum target);
GLenum __wrap_glCheckFramebufferStatus(GLenum target) {
  return faults().incomplete ? static_cast<GLenum>(GL_FRAMEBUFFER_UNSUPPORTED)
                             : __real_glCheckFramebufferStatus(target);
}

void __real_glGetIntegerv(GLenum name, GLint* value);
void __wrap_glGetIntegerv(GLenum name, GLint* value);
void __wrap_glGetIntegerv(GLenum name, GLint* value) {
  __real_glGetIntegerv(name, value);
  if (name == GL_MAX_RECTANGLE_TEXTURE_SIZE && faults().rectangle_limit != 0) *value = faults().rectangle_limit;
}

void __real_glClearColor(GLfloat r, GLfloat g, GLfloat b, GLfloat a);
void __wrap_glClearColor(GLfloat r, GLfloat g, GLfloat b, GLfloat a);
void __wrap_glClearColor(GLfloat r, GLfloat g, GLfloat b, GLfloat a) {
  gl_spy::Trace("clear colour %g %g %g %g", static_cast<double>(r), static_cast<double>(g), static_cast<double>(b),
                static_cast<double>(a));
  __real_glClearColor(r, g, b, a);
}

void __real_glClear(GLbitfield mask);
void __wrap_glClear(GLbitfield mask);
void __wrap_glClear(GLbitfield mask) {
  gl_spy::Trace("clear 0x%x", mask);
  __real_glClear(mask);
}

void __real_glEnable(GLenum what);
void __wrap_glEnable(GLenum what);
void __wrap_glEnable(GLenum what) {
  gl_spy::Trace("enable 0x%x", what);
  __real_glEnable(what);
}

void __real_glDisable(GLenum what);
void __wrap_glDisable(GLenum what);
void __wrap_glDisable(GLenum what) {
  gl_spy::Trace("disable 0x%x", what);
  __real_glDisable(what);
}

void __real_glBlendFunc(GLenum source, GLenum destination);
void __wrap_glBlendFunc(GLenum source, GLenum destination);
void __wrap_glBlendFunc(GLenum source, GLenum destination) {
  gl_spy::Trace("blend 0x%x 0x%x", source, destination);
  __real_glBlendFunc(source, destination);
}

void __real_glFlush();
void __wrap_glFlush();
void __wrap_glFlush() {
  gl_spy::Trace("flush");
  __real_glFlush();
}

void __real_glBlitFramebuffer(GLint x0, GLint y0, GLint x1, GLint y1, GLint to_x0, GLint to_y0, GLint to_x1,
                              GLint to_y1, GLbitfield mask, GLenum filter);
void __wrap_glBlitFramebuffer(GLint x0, GLint y0, GLint x1, GLint y1, GLint to_x0, GLint to_y0, GLint to_x1,
                              GLint to_y1, GLbitfield mask, GLenum filter);
void __wrap_glBlitFramebuffer(GLint x0, GLint y0, GLint x1, GLint y1, GLint to_x0, GLint to_y0, GLint to_x1,
                              GLint to_y1, GLbitfield mask, GLenum filter) {
  gl_spy::Trace("blit %d %d %d %d to %d %d %d %d, 0x%x, 0x%x", x0, y0, x1, y1, to_x0, to_y0, to_x1, to_y1, mask,
                filter);
  __real_glBlitFramebuffer(x0, y0, x1, y1, to_x0, to_y0, to_x1, to_y1, mask, filter);
}

// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
