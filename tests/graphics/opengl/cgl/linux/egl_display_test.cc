// The EGL display of the process, where EGL has no memory to answer at first, or lacks an extension.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>

#include "tests/support/run_in_fork.h"

namespace {

bool has_memory = true;
// Every answer of EGL's has `lacking` exchanged for `instead`.
std::string lacking, instead;

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
}

namespace {

using Error = NativeContext::Error;

// What becomes of a process's first context, for the choice of the display is for good.
enum Made { kNone, kOnADisplay };
int MakeContextWithout(const std::string& extension, const std::string& in_its_place) {
  return test::RunInFork([&] {
    lacking = extension;
    instead = in_its_place;
    auto error = Error::kNone;
    const std::unique_ptr<EglContext> context = EglContext::Create(nullptr, &error);
    return context && error == Error::kNone ? kOnADisplay : kNone;
  });
}

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
  ASSERT_EQ(MakeContextWithout("", ""), kOnADisplay);
  EXPECT_EQ(MakeContextWithout("EGL_MESA_platform_surfaceless", "EGL_MESA_platform_other"), kOnADisplay);
}

TEST(EglDisplayTest, TakesNoDisplayThatAlwaysWantsASurface) {
  const std::string needed = "EGL_KHR_surfaceless_context";
  EXPECT_EQ(MakeContextWithout(needed, "EGL_other"), kNone);
  // Names of which it is a part are others.
  EXPECT_EQ(MakeContextWithout(needed, needed + "2"), kNone);
  EXPECT_EQ(MakeContextWithout(needed, "EGL_" + needed), kNone);
  EXPECT_EQ(MakeContextWithout(needed, needed + "2 " + needed), kOnADisplay);
}

}  // namespace
