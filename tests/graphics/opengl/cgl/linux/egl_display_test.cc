// The EGL display of the process, where EGL has no memory to answer at first.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <gtest/gtest.h>

namespace {

bool has_memory = true;

}  // namespace

// The linker sends the library's calls to the first.
extern "C" {
const char* __real_eglQueryString(EGLDisplay display, EGLint name);
const char* __wrap_eglQueryString(EGLDisplay display, EGLint name) {
  return has_memory ? __real_eglQueryString(display, name) : nullptr;
}
}

namespace {

using Error = NativeContext::Error;

TEST(EglDisplayTest, AsksAnewWhatEglCanDoWhereItHadNoAnswer) {
  constexpr char kExtension[] = "EGL_EXT_platform_base";
  has_memory = false;
  EXPECT_FALSE(HasEglClientExtension(kExtension));
  auto error = Error::kNone;
  EXPECT_EQ(EglContext::Create(nullptr, &error), nullptr) << "which display is the best is not known";
  EXPECT_EQ(error, Error::kNoPixelFormat);

  has_memory = true;
  EXPECT_TRUE(HasEglClientExtension(kExtension));
  EXPECT_NE(EglContext::Create(nullptr, &error), nullptr);
  EXPECT_EQ(error, Error::kNone);
}

}  // namespace
