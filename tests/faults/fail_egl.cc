// How EGL fails.
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <atomic>
#include <cstring>

#include "tests/faults/lost_connections.h"
#include "tests/faults/stub.h"

namespace faults {
namespace {

// What the thread that failed is told.
thread_local EGLint error = EGL_SUCCESS;

template <class R>
R Bad(R answer) {
  error = EGL_BAD_ALLOC;
  return answer;
}

EGLBoolean BadlyDone(EGLBoolean /*done*/) { return Bad<EGLBoolean>(EGL_FALSE); }

EGLint GetError() {
  const EGLint real = eglGetError();
  const EGLint told = error != EGL_SUCCESS ? error : real;
  error = EGL_SUCCESS;
  return told;
}

using Function = __eglMustCastToProperFunctionPointerType;

// A function that is asked for by name: its import stands for what was found, once it was.
template <class Tag, class R, class... A>
Function Found(const char* name, bool (*before)(const char*), R (*type)(A...), Function found, R answer) {
  (void)type;
  static R failed;
  failed = answer;
  const Import import =
      MakeImport<Tag>(name, kEgl, before, reinterpret_cast<R (*)(A...)>(found), [](A...) { return Bad(failed); });
  return reinterpret_cast<Function>(import.stub);
}

Function GetProcAddress(const char* name) {
  const Function found = eglGetProcAddress(name);
  if (!found) return found;
  const auto is = [name](const char* wanted) { return std::strcmp(name, wanted) == 0; };
  struct Display {};
  struct Devices {};
  struct Surface {};
  if (is("eglGetPlatformDisplayEXT")) {
    return Found<Display>("eglGetPlatformDisplayEXT", MayLoseConnection, PFNEGLGETPLATFORMDISPLAYEXTPROC(), found,
                          EGL_NO_DISPLAY);
  }
  if (is("eglQueryDevicesEXT")) {
    return Found<Devices>("eglQueryDevicesEXT", MayLoseConnection, PFNEGLQUERYDEVICESEXTPROC(), found,
                          EGLBoolean{EGL_FALSE});
  }
  if (is("eglCreatePlatformWindowSurfaceEXT")) {
    // A driver crashes where the connection is lost in the middle of this; the library looks just before.
    return Found<Surface>("eglCreatePlatformWindowSurfaceEXT", nullptr, PFNEGLCREATEPLATFORMWINDOWSURFACEEXTPROC(),
                          found, EGL_NO_SURFACE);
  }
  return found;
}

}  // namespace

#define ANSWER(function, answer) QUARN_FAULT_ANSWER(function, kEgl, MayLoseConnection, Bad(answer))
#define REFUSED(function) ANSWER(function, EGLBoolean{EGL_FALSE})
// What is to go is gone, though the driver has something to complain about.
#define DONE(function) \
  QUARN_FAULT(function, kEgl, MayLoseConnection, [](auto... a) { return BadlyDone(function(a...)); })
#define NEVER(function) QUARN_FAULT(function, kEgl, nullptr, nullptr)

std::vector<Import> EglImports() {
  Import get_error = QUARN_FAULT(GetError, kEgl, nullptr, nullptr);
  get_error.name = "eglGetError";
  Import get_address = QUARN_FAULT_ANSWER(GetProcAddress, kEgl, nullptr, Bad(Function{nullptr}));
  get_address.name = "eglGetProcAddress";
  return {
      get_error,
      get_address,
      REFUSED(eglBindAPI),
      REFUSED(eglChooseConfig),
      REFUSED(eglGetConfigAttrib),
      REFUSED(eglInitialize),
      REFUSED(eglMakeCurrent),
      REFUSED(eglSwapBuffers),
      REFUSED(eglSwapInterval),
      DONE(eglDestroyContext),
      DONE(eglDestroySurface),
      DONE(eglReleaseThread),
      ANSWER(eglCreateContext, EGL_NO_CONTEXT),
      ANSWER(eglQueryString, static_cast<const char*>(nullptr)),
      NEVER(eglGetCurrentContext),
      NEVER(eglGetCurrentDisplay),
      NEVER(eglGetCurrentSurface),
      NEVER(eglQueryAPI),
  };
}

}  // namespace faults
