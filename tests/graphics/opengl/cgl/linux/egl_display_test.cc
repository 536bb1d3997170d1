// The EGL display of the process, where EGL has no memory to answer at first, or lacks an extension.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>

#include "foundation/workarounds.h"
#include "tests/support/run_in_fork.h"

namespace {

bool has_memory = true;
// Every answer of EGL's has `lacking` exchanged for `instead`.
std::string lacking, instead;
bool asked_to_leave_out_flushes = false;

}  // namespace

// The linker sends the library's calls to the first.
extern "C" {
const char* __real_eglQueryString(EGLDisplay display, EGLint name);
const char* __wrap_eglQueryString(EGLDisplay display, EGLint name) {
  const char* const answer = has_memory ? __real_eglQueryString(display, name) : nullptr;
  if (!answer || lacking.empty()) return answer;
  static std::deque<std::string> answers;  // They stay, as EGL's do.
  std::string& changed = answers.emplace_back(answer);
  const std::size_t at = changed.find(lacking);
  if (at != std::string::npos) changed.replace(at, lacking.size(), instead);
  return changed.c_str();
}
EGLContext __real_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes);
EGLContext __wrap_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes) {
  for (const EGLint* attribute = attributes; *attribute != EGL_NONE; attribute += 2) {
    asked_to_leave_out_flushes |= attribute[0] == EGL_CONTEXT_RELEASE_BEHAVIOR_KHR;
  }
  return __real_eglCreateContext(display, config, share, attributes);
}
}

namespace {

using Error = NativeContext::Error;

// What becomes of a process's first context, for the choice of the display is for good.
enum Made { kNone = 10, kOnADisplay, kWithoutFlushes };  // No exit code of a sanitizer's.
int MakeContextWithout(const std::string& extension, const std::string& in_its_place) {
  return test::RunInFork([&] {
    lacking = extension;
    instead = in_its_place;
    auto error = Error::kNone;
    const std::unique_ptr<EglContext> context = EglContext::Create(nullptr, &error);
    if (!context || error != Error::kNone) return kNone;
    return asked_to_leave_out_flushes ? kWithoutFlushes : kOnADisplay;
  });
}

const auto kMade = testing::AnyOf(kOnADisplay, kWithoutFlushes);

TEST(EglDisplayTest, AsksAnewWhatEglCanDoWhereItHadNoAnswer) {
  EXPECT_EQ(test::RunInFork([] {
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
              return testing::Test::HasFailure() ? 1 : 0;
            }),
            0);
}

TEST(EglDisplayTest, TakesADeviceWhereThereIsNoPlatformWithoutWindows) {
  EXPECT_THAT(MakeContextWithout("", ""), kMade);
  EXPECT_THAT(MakeContextWithout("EGL_MESA_platform_surfaceless", "EGL_MESA_platform_other"), kMade);
}

TEST(EglDisplayTest, TakesNoDisplayThatAlwaysWantsASurface) {
  const std::string needed = "EGL_KHR_surfaceless_context";
  EXPECT_EQ(MakeContextWithout(needed, "EGL_other"), kNone);
  // Names of which it is a part are others.
  EXPECT_EQ(MakeContextWithout(needed, needed + "2"), kNone);
  EXPECT_EQ(MakeContextWithout(needed, "EGL_" + needed), kNone);
  EXPECT_THAT(MakeContextWithout(needed, needed + "2 " + needed), kMade);
}

TEST(EglDisplayTest, AsksADriverToLeaveOutFlushesWhereThatIsKnownThere) {
  const int has_it = test::RunInFork([] {
    auto error = Error::kNone;
    const std::unique_ptr<EglContext> context = EglContext::Create(nullptr, &error);
    return context && context->display().flush_control && IsUsed(Workaround::kNoReleaseFlush) ? 11 : 10;
  });
  if (has_it == 10) GTEST_SKIP() << "This driver does not know it, or it is turned off.";
  EXPECT_EQ(MakeContextWithout("", ""), kWithoutFlushes);
  EXPECT_EQ(MakeContextWithout("EGL_KHR_context_flush_control", "EGL_other"), kOnADisplay);
}

}  // namespace
