// Loaded before all else (LD_PRELOAD) into a test of any kind: stands between it and its driver, and has it fail when
//
// - the driver tells of an error or of undefined behaviour (KHR_debug; contexts are made debug contexts for that),
// - the last context that shares some objects ends, and one of them is still there,
// - the process ends, and a context is still there.
//
// What the driver is, and what it says of performance, portability and old functions, is listed: in the file that
// QUARN_GL_WATCH_LIST names, or on the error output. Tests that mean to do wrong
// say so: gl_watch.h.
//
// Any thread calls GL.
#include "graphics/opengl/gl.h"

#include <EGL/egl.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#define QUARN_WATCH_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Objects that some contexts share, by their kinds. Framebuffers and vertex arrays are one context's, and counted here
// all the same: they go before it does.
using Objects = std::map<std::string, std::set<GLuint>>;

struct Context {
  EGLDisplay display;
  std::shared_ptr<Objects> objects;
};

struct Watch {
  std::mutex mutex;
  std::map<EGLContext, Context> contexts;  // In a program that is not watched there are none.
  std::set<EGLContext> listening;
  std::set<std::string> notes;
  int failures = 0;
  int expecting = 0;
  const pid_t process = getpid();
  const bool on;
  explicit Watch(bool is_on) : on(is_on) {}
};

bool IsWatched();

// Never destroyed: a driver's threads run on.
Watch& watch() {
  static Watch* const instance = new Watch(IsWatched());
  return *instance;
}

// The next function of this name: what the test would call.
template <class Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// With the watch's mutex held.
void Report(const std::string& what) {
  std::fflush(stdout);
  std::fprintf(stderr, "gl_watch: %s%s\n", what.c_str(), watch().expecting > 0 ? " (expected)" : "");
  if (watch().expecting > 0) return;
  ++watch().failures;
  void* frames[24];
  backtrace_symbols_fd(frames, backtrace(frames, 24), STDERR_FILENO);
}

void OnMessage(GLenum, GLenum type, GLuint, GLenum, GLsizei, const GLchar* text, const void*) {
  std::lock_guard<std::mutex> lock(watch().mutex);
  if (type == GL_DEBUG_TYPE_ERROR || type == GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR) {
    Report(std::string("the driver says: ") + text);
  } else if (type == GL_DEBUG_TYPE_PERFORMANCE || type == GL_DEBUG_TYPE_PORTABILITY ||
             type == GL_DEBUG_TYPE_DEPRECATED_BEHAVIOR) {
    watch().notes.insert(std::string("it says: ") + text);
  }
}

// Has a driver that can speak do so. Only what is said in the call itself can be told where it comes from.
void Listen(EGLContext context) {
  {
    std::lock_guard<std::mutex> lock(watch().mutex);
    if (!watch().listening.insert(context).second) return;
  }
  {
    const std::string driver = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    const std::string version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    std::lock_guard<std::mutex> lock(watch().mutex);
    watch().notes.insert("driver: " + driver + ", OpenGL " + version);
  }
  using Callback = void (*)(GLDEBUGPROC, const void*);
  const auto set = reinterpret_cast<Callback>(eglGetProcAddress("glDebugMessageCallback"));
  if (!set) return;
  glEnable(GL_DEBUG_OUTPUT);
  glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
  set(OnMessage, nullptr);
}

// With the mutex held.
void End(EGLContext context) {
  const auto found = watch().contexts.find(context);
  if (found == watch().contexts.end()) return;
  const std::shared_ptr<Objects> objects = std::move(found->second.objects);
  watch().contexts.erase(found);
  watch().listening.erase(context);
  if (objects.use_count() > 1) return;
  std::string left;
  for (const auto& [kind, names] : *objects) {
    if (!names.empty()) left += " " + std::to_string(names.size()) + " " + kind;
  }
  if (!left.empty()) Report("a context has ended, and nobody has deleted" + left);
}

void Add(const char* kind, GLsizei n, const GLuint* names) {
  const EGLContext current = eglGetCurrentContext();
  std::lock_guard<std::mutex> lock(watch().mutex);
  const auto found = watch().contexts.find(current);
  if (found == watch().contexts.end()) return;
  for (GLsizei i = 0; i < n; ++i) {
    if (names[i] != 0) (*found->second.objects)[kind].insert(names[i]);
  }
}

void Remove(const char* kind, GLsizei n, const GLuint* names) {
  const EGLContext current = eglGetCurrentContext();
  std::lock_guard<std::mutex> lock(watch().mutex);
  const auto found = watch().contexts.find(current);
  if (found == watch().contexts.end()) return;
  for (GLsizei i = 0; i < n; ++i) (*found->second.objects)[kind].erase(names[i]);
}

// What a test starts, compositors for instance, has contexts of its own, and so has what starts the test.
bool IsWatched() {
  const std::string name = program_invocation_short_name;
  const auto ends_with = [&name](const std::string& end) {
    return name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
  };
  // One counts what is allocated, and would count the watch's.
  return (ends_with("_test") && name != "public_allocation_test") || name.rfind("quarn-", 0) == 0;
}

__attribute__((destructor)) void Finish() {
  if (getpid() != watch().process) return;
  std::lock_guard<std::mutex> lock(watch().mutex);
  if (!watch().contexts.empty()) {
    Report("the process ends, and so many contexts are there: " + std::to_string(watch().contexts.size()));
  }
  const char* const list = std::getenv("QUARN_GL_WATCH_LIST");
  std::FILE* const notes = list ? std::fopen(list, "a") : nullptr;
  for (const std::string& note : watch().notes) std::fprintf(notes ? notes : stderr, "%s\n", note.c_str());
  if (notes) std::fclose(notes);
  if (watch().failures == 0) return;
  std::fprintf(stderr, "gl_watch: failures: %d\n", watch().failures);
  std::fflush(nullptr);
  _exit(1);
}

}  // namespace

QUARN_WATCH_EXPORT void quarn_gl_watch_expect(int more) {
  std::lock_guard<std::mutex> lock(watch().mutex);
  watch().expecting += more;
}

QUARN_WATCH_EXPORT EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share,
                                               const EGLint* attributes) {
  static const auto real = Real<decltype(&eglCreateContext)>("eglCreateContext");
  if (!watch().on) return real(display, config, share, attributes);
  std::vector<EGLint> debug = {EGL_CONTEXT_OPENGL_DEBUG, EGL_TRUE};
  for (const EGLint* at = attributes; at && *at != EGL_NONE; at += 2) debug.insert(debug.end(), {at[0], at[1]});
  debug.push_back(EGL_NONE);
  EGLContext context = real(display, config, share, debug.data());
  if (context == EGL_NO_CONTEXT) context = real(display, config, share, attributes);
  if (context == EGL_NO_CONTEXT) return context;
  std::lock_guard<std::mutex> lock(watch().mutex);
  const auto shared = watch().contexts.find(share);
  watch().contexts[context] = {display,
                               shared == watch().contexts.end() ? std::make_shared<Objects>() : shared->second.objects};
  return context;
}

QUARN_WATCH_EXPORT EGLBoolean eglDestroyContext(EGLDisplay display, EGLContext context) {
  static const auto real = Real<decltype(&eglDestroyContext)>("eglDestroyContext");
  {
    std::lock_guard<std::mutex> lock(watch().mutex);
    End(context);
  }
  return real(display, context);
}

// It ends what was made there, objects and all.
QUARN_WATCH_EXPORT EGLBoolean eglTerminate(EGLDisplay display) {
  static const auto real = Real<decltype(&eglTerminate)>("eglTerminate");
  {
    std::lock_guard<std::mutex> lock(watch().mutex);
    for (auto context = watch().contexts.begin(); context != watch().contexts.end();) {
      const bool here = context->second.display == display;
      if (here) watch().listening.erase(context->first);
      context = here ? watch().contexts.erase(context) : std::next(context);
    }
  }
  return real(display);
}

QUARN_WATCH_EXPORT EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context) {
  static const auto real = Real<decltype(&eglMakeCurrent)>("eglMakeCurrent");
  const EGLBoolean result = real(display, draw, read, context);
  if (result && context != EGL_NO_CONTEXT && watch().on) Listen(context);
  return result;
}

#define QUARN_WATCH_NAMES(kind)                                                 \
  QUARN_WATCH_EXPORT void glGen##kind(GLsizei n, GLuint* names) {               \
    static const auto real = Real<decltype(&glGen##kind)>("glGen" #kind);       \
    real(n, names);                                                             \
    Add(#kind, n, names);                                                       \
  }                                                                             \
  QUARN_WATCH_EXPORT void glDelete##kind(GLsizei n, const GLuint* names) {      \
    static const auto real = Real<decltype(&glDelete##kind)>("glDelete" #kind); \
    Remove(#kind, n, names);                                                    \
    real(n, names);                                                             \
  }

QUARN_WATCH_NAMES(Textures)
QUARN_WATCH_NAMES(Framebuffers)
QUARN_WATCH_NAMES(Renderbuffers)
QUARN_WATCH_NAMES(Buffers)
QUARN_WATCH_NAMES(VertexArrays)
QUARN_WATCH_NAMES(Queries)

// The one whose name a call answers.
#define QUARN_WATCH_NAME(kind, parameters, arguments)                           \
  QUARN_WATCH_EXPORT GLuint glCreate##kind parameters {                         \
    static const auto real = Real<decltype(&glCreate##kind)>("glCreate" #kind); \
    const GLuint name = real arguments;                                         \
    Add(#kind, 1, &name);                                                       \
    return name;                                                                \
  }                                                                             \
  QUARN_WATCH_EXPORT void glDelete##kind(GLuint name) {                         \
    static const auto real = Real<decltype(&glDelete##kind)>("glDelete" #kind); \
    Remove(#kind, 1, &name);                                                    \
    real(name);                                                                 \
  }

QUARN_WATCH_NAME(Shader, (GLenum type), (type))
QUARN_WATCH_NAME(Program, (), ())
