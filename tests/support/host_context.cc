#include "tests/support/host_context.h"

#include <EGL/eglext.h>
#include <gtest/gtest.h>

namespace test {

HostContext::HostContext(Api api)
    : api_(api == Api::kOpenGl ? EGL_OPENGL_API : EGL_OPENGL_ES_API), display_(SharedDisplay()) {
  EXPECT_TRUE(eglInitialize(display_, nullptr, nullptr));
  eglBindAPI(api_);
  const EGLint core[] = {
      EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, 2, EGL_CONTEXT_OPENGL_PROFILE_MASK,
      EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
  const EGLint es[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
  context_ = eglCreateContext(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, api == Api::kOpenGl ? core : es);
  MakeCurrent();
}

HostContext::~HostContext() {
  eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  Destroy();
  eglReleaseThread();
}

void HostContext::MakeCurrent() {
  eglBindAPI(api_);
  EXPECT_TRUE(eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_));
}

bool HostContext::IsCurrent() const { return eglGetCurrentContext() == context_ && eglQueryAPI() == api_; }

void HostContext::Destroy() {
  if (context_ != EGL_NO_CONTEXT) eglDestroyContext(display_, context_);
  context_ = EGL_NO_CONTEXT;
}

EGLDisplay SharedDisplay() {
  const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  return get(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
}

void TerminateSharedDisplay() { EXPECT_TRUE(eglTerminate(SharedDisplay())); }

}  // namespace test
