// The EGL display of the process with windows: of which configuration they are.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <EGL/egl.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/x_server.h"

namespace {

// The call with that number is refused, of those that ask for the visual of a configuration.
constexpr int kRefused = 2;
int visuals_asked_for = 0;

}  // namespace

// The linker sends the library's calls to the first.
extern "C" {
EGLBoolean __real_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute, EGLint* value);
EGLBoolean __wrap_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute, EGLint* value) {
  if (attribute == EGL_NATIVE_VISUAL_ID && ++visuals_asked_for == kRefused) return EGL_FALSE;
  return __real_eglGetConfigAttrib(display, config, attribute, value);
}
}

namespace {

// It is the process's, so windows would be made for a visual that does not exist, and refused, for good.
TEST(EglDisplayX11Test, TakesNoConfigurationWhoseVisualItDoesNotKnow) {
  const test::XServer server;
  ASSERT_NE(server.display(), "") << "Xvfb did not start";
  setenv("DISPLAY", server.display().c_str(), 1);
  auto error = NativeContext::Error::kNone;
  const std::unique_ptr<EglContext> context = EglContext::Create(nullptr, &error);
  ASSERT_NE(context, nullptr);
  EXPECT_GT(visuals_asked_for, kRefused);
  ASSERT_NE(context->display().window_system, nullptr);
  EXPECT_NE(context->display().window_visual, 0);
}

}  // namespace
