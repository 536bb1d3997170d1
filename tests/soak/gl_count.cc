#include "tests/soak/gl_count.h"

#include <EGL/egl.h>
#include <GL/glcorearb.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <tuple>

namespace soak {
namespace {

enum Kind {
  kTextures,
  kFramebuffers,
  kBuffers,
  kVertexArrays,
  kShaders,
  kPrograms,
  kSamplers,
  kSyncs,
  kContexts,
  kSurfaces
};

std::array<std::atomic<long>, std::tuple_size<GLCounts>::value> counts{};

// The contexts that share no other one's objects: a device's.
std::mutex devices_mutex;
std::set<EGLContext> devices;

// The driver's function of a name.
template <class Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void CountNames(Kind kind, GLsizei count, const GLuint* names, long step) {
  for (GLsizei i = 0; i < count; ++i) {
    if (names[i] != 0) counts[kind] += step;
  }
}

}  // namespace

GLCounts ReadGLCounts() {
  GLCounts result;
  std::copy(counts.begin(), counts.end(), result.begin());
  return result;
}

}  // namespace soak

using soak::CountNames;
using soak::Next;

#define QUARN_COUNTED extern "C" __attribute__((visibility("default")))
#define QUARN_COUNTED_NAMES(kind, Kind)                                                \
  QUARN_COUNTED void glGen##Kind(GLsizei count, GLuint* names) {                       \
    static const auto next = Next<void (*)(GLsizei, GLuint*)>("glGen" #Kind);          \
    next(count, names);                                                                \
    CountNames(soak::kind, count, names, 1);                                           \
  }                                                                                    \
  QUARN_COUNTED void glDelete##Kind(GLsizei count, const GLuint* names) {              \
    static const auto next = Next<void (*)(GLsizei, const GLuint*)>("glDelete" #Kind); \
    CountNames(soak::kind, count, names, -1);                                          \
    next(count, names);                                                                \
  }

QUARN_COUNTED_NAMES(kTextures, Textures)
QUARN_COUNTED_NAMES(kFramebuffers, Framebuffers)
QUARN_COUNTED_NAMES(kBuffers, Buffers)
QUARN_COUNTED_NAMES(kVertexArrays, VertexArrays)
QUARN_COUNTED_NAMES(kSamplers, Samplers)

QUARN_COUNTED GLuint glCreateShader(GLenum type) {
  static const auto next = Next<GLuint (*)(GLenum)>("glCreateShader");
  const GLuint name = next(type);
  CountNames(soak::kShaders, 1, &name, 1);
  return name;
}

QUARN_COUNTED void glDeleteShader(GLuint name) {
  static const auto next = Next<void (*)(GLuint)>("glDeleteShader");
  CountNames(soak::kShaders, 1, &name, -1);
  next(name);
}

QUARN_COUNTED GLuint glCreateProgram() {
  static const auto next = Next<GLuint (*)()>("glCreateProgram");
  const GLuint name = next();
  CountNames(soak::kPrograms, 1, &name, 1);
  return name;
}

QUARN_COUNTED void glDeleteProgram(GLuint name) {
  static const auto next = Next<void (*)(GLuint)>("glDeleteProgram");
  CountNames(soak::kPrograms, 1, &name, -1);
  next(name);
}

QUARN_COUNTED GLsync glFenceSync(GLenum condition, GLbitfield flags) {
  static const auto next = Next<GLsync (*)(GLenum, GLbitfield)>("glFenceSync");
  const GLsync sync = next(condition, flags);
  if (sync) ++soak::counts[soak::kSyncs];
  return sync;
}

QUARN_COUNTED void glDeleteSync(GLsync sync) {
  static const auto next = Next<void (*)(GLsync)>("glDeleteSync");
  if (sync) --soak::counts[soak::kSyncs];
  next(sync);
}

QUARN_COUNTED EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext shared,
                                          const EGLint* attributes) {
  static const auto next = Next<EGLContext (*)(EGLDisplay, EGLConfig, EGLContext, const EGLint*)>("eglCreateContext");
  const EGLContext context = next(display, config, shared, attributes);
  if (context == EGL_NO_CONTEXT) return context;
  ++soak::counts[soak::kContexts];
  if (shared == EGL_NO_CONTEXT) {
    const std::lock_guard<std::mutex> lock(soak::devices_mutex);
    soak::devices.insert(context);
  }
  return context;
}

QUARN_COUNTED EGLBoolean eglDestroyContext(EGLDisplay display, EGLContext context) {
  static const auto next = Next<EGLBoolean (*)(EGLDisplay, EGLContext)>("eglDestroyContext");
  const EGLBoolean destroyed = next(display, context);
  if (!destroyed) return destroyed;
  --soak::counts[soak::kContexts];
  const std::lock_guard<std::mutex> lock(soak::devices_mutex);
  if (soak::devices.erase(context) > 0 && soak::counts[soak::kSyncs] > 0) --soak::counts[soak::kSyncs];
  return destroyed;
}

// The library asks for this one by its name.
namespace {

using CreateSurface = EGLSurface (*)(EGLDisplay, EGLConfig, void*, const EGLint*);
std::atomic<CreateSurface> create_surface{nullptr};

EGLSurface CountSurface(EGLDisplay display, EGLConfig config, void* window, const EGLint* attributes) {
  const EGLSurface surface = create_surface.load()(display, config, window, attributes);
  if (surface != EGL_NO_SURFACE) ++soak::counts[soak::kSurfaces];
  return surface;
}

}  // namespace

QUARN_COUNTED __eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name) {
  using Function = __eglMustCastToProperFunctionPointerType;
  static const auto next = Next<Function (*)(const char*)>("eglGetProcAddress");
  const Function function = next(name);
  if (!function || std::strcmp(name, "eglCreatePlatformWindowSurfaceEXT") != 0) return function;
  create_surface = reinterpret_cast<CreateSurface>(function);
  return reinterpret_cast<Function>(&CountSurface);
}

QUARN_COUNTED EGLBoolean eglDestroySurface(EGLDisplay display, EGLSurface surface) {
  static const auto next = Next<EGLBoolean (*)(EGLDisplay, EGLSurface)>("eglDestroySurface");
  const EGLBoolean destroyed = next(display, surface);
  if (destroyed) --soak::counts[soak::kSurfaces];
  return destroyed;
}
