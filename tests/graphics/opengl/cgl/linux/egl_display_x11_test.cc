// The EGL display of the process where there are windows, and one call of EGL's fails.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <EGL/egl.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <string>

#include "graphics/opengl/cgl/linux/x11_window_system.h"
#include "tests/support/global_new.h"
#include "tests/support/run_in_fork.h"
#include "tests/support/x_server.h"

namespace {

std::string failing;  // A function.
int left = 0;         // Which of its calls fails, counted down.

bool no_memory_for_x11 = false;

bool Fails(const char* function) { return failing == function && --left == 0; }

}  // namespace

void* global_new::Allocate(std::size_t size, std::size_t alignment, const void*) noexcept {
  if (no_memory_for_x11 && size == sizeof(X11WindowSystem)) return nullptr;
  return alignment > 0 ? std::aligned_alloc(alignment, size) : std::malloc(size);
}

// The linker sends the library's calls here.
extern "C" {
EGLBoolean __real_eglChooseConfig(EGLDisplay display, const EGLint* wanted, EGLConfig* configs, EGLint size, EGLint* n);
EGLBoolean __wrap_eglChooseConfig(EGLDisplay display, const EGLint* wanted, EGLConfig* configs, EGLint size,
                                  EGLint* n) {
  return Fails("eglChooseConfig") ? EGL_FALSE : __real_eglChooseConfig(display, wanted, configs, size, n);
}
EGLContext __real_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes);
EGLContext __wrap_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes) {
  return Fails("eglCreateContext") ? EGL_NO_CONTEXT : __real_eglCreateContext(display, config, share, attributes);
}
EGLBoolean __real_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute, EGLint* value);
EGLBoolean __wrap_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute, EGLint* value) {
  return Fails("eglGetConfigAttrib") ? EGL_FALSE : __real_eglGetConfigAttrib(display, config, attribute, value);
}
EGLBoolean __real_eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor);
EGLBoolean __wrap_eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
  return Fails("eglInitialize") ? EGL_FALSE : __real_eglInitialize(display, major, minor);
}
const char* __real_eglQueryString(EGLDisplay display, EGLint name);
const char* __wrap_eglQueryString(EGLDisplay display, EGLint name) {
  return Fails("eglQueryString") ? nullptr : __real_eglQueryString(display, name);
}
}

namespace {

// The choice is for good, and each process has one.
class EglDisplayX11Test : public testing::Test {
 protected:
  EglDisplayX11Test() {
    EXPECT_NE(server_.display(), "") << "Xvfb did not start";
    setenv("DISPLAY", server_.display().c_str(), 1);
  }
  // How many contexts had to be asked for until there was one, on a display whose windows can be made; 0: it has none.
  static int TriesForWindows(const std::string& function, int call) {
    return test::RunInFork([&] {
      failing = function;
      left = call;
      int tries = 0;
      auto error = NativeContext::Error::kNone;
      std::unique_ptr<EglContext> context;
      while (!context && tries < 3) {
        ++tries;
        context = EglContext::Create(nullptr, &error);
      }
      const bool has_windows = context && context->display().window_system && context->display().window_visual != 0;
      return has_windows && left <= 0 ? tries : 0;
    });
  }

 private:
  const test::XServer server_;
};

TEST_F(EglDisplayX11Test, KeepsItsWindowsWhereACallFailsOnce) {
  EXPECT_EQ(TriesForWindows("eglInitialize", 1), 1);
  EXPECT_EQ(TriesForWindows("eglQueryString", 1), 2) << "what EGL can do is not known";
  EXPECT_EQ(TriesForWindows("eglQueryString", 2), 1);
  EXPECT_EQ(TriesForWindows("eglChooseConfig", 1), 1);
  EXPECT_EQ(TriesForWindows("eglCreateContext", 1), 1);
}

TEST_F(EglDisplayX11Test, TakesNoConfigurationOfWhichItKnowsTooLittle) {
  EXPECT_EQ(TriesForWindows("eglGetConfigAttrib", 1), 1);
  EXPECT_EQ(TriesForWindows("eglGetConfigAttrib", 2), 1) << "what its visual is, once it has been found to fit";
}

TEST_F(EglDisplayX11Test, LeavesNoConnectionWhereMemoryIsMissing) {
  enum Found { kAllAsItShouldBe, kNothingFailed, kLeftOpen, kNoWindowsAfterwards };
  EXPECT_EQ(test::RunInFork([] {
              const auto descriptors = [] {
                return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
              };
              const auto before = descriptors();
              no_memory_for_x11 = true;
              try {
                OpenX11WindowSystem();
                return kNothingFailed;
              } catch (const std::bad_alloc&) {
              }
              no_memory_for_x11 = false;
              if (descriptors() != before) return kLeftOpen;
              return OpenX11WindowSystem() ? kAllAsItShouldBe : kNoWindowsAfterwards;
            }),
            kAllAsItShouldBe);
}

}  // namespace
