#include "graphics/opengl/gl_error.h"

#include <gmock/gmock.h>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CheckGLErrorTest : public GlTest {};

TEST_F(CheckGLErrorTest, SaysNothingWithoutAnError) {
  const test::CurrentContext current(context());
  EXPECT_EQ(CheckGLError("file.cc", 7), 0u);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(CheckGLErrorTest, NamesTheKnownErrors) {
  gl_spy::faults().errors = {0x0500, 0x0501, 0x0502, 0x0505, 0x0506};
  for (const GLenum error : {0x0500u, 0x0501u, 0x0502u, 0x0505u, 0x0506u}) {
    EXPECT_EQ(CheckGLError("file.cc", static_cast<int>(error)), error);
  }
  EXPECT_THAT(TakeLog(), ElementsAre("W: INVALID_ENUM | file.cc (1280)", "W: INVALID_VALUE | file.cc (1281)",
                                     "W: INVALID_OPERATION | file.cc (1282)", "W: OUT_OF_MEMORY | file.cc (1285)",
                                     "W: INVALID_FRAMEBUFFER_OPERATION | file.cc (1286)"));
}

TEST_F(CheckGLErrorTest, LeavesTheNameOfAnUnknownErrorEmpty) {
  gl_spy::faults().errors = {0x0503};
  EXPECT_EQ(CheckGLError("file.cc", 12), 0x0503u);
  EXPECT_THAT(TakeLog(), ElementsAre("W:  | file.cc (12)"));
}

TEST_F(CheckGLErrorTest, ReadsOneErrorAtATime) {
  gl_spy::faults().errors = {0x0502, 0x0501};
  CheckGLError("file.cc", 1);
  EXPECT_THAT(TakeLog(), ElementsAre("W: INVALID_OPERATION | file.cc (1)"));
  EXPECT_EQ(gl_spy::faults().errors.size(), 1u);
  CheckGLError("file.cc", 2);
  EXPECT_THAT(TakeLog(), ElementsAre("W: INVALID_VALUE | file.cc (2)"));
}

TEST_F(CheckGLErrorTest, ReportsWhatTheDriverRefuses) {
  const test::CurrentContext current(context());
  glEnable(0xFFFF);
  EXPECT_EQ(CheckGLError("file.cc", 3), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(CheckGLError("file.cc", 4), static_cast<GLenum>(GL_NO_ERROR));
  EXPECT_THAT(TakeLog(), ElementsAre("W: INVALID_ENUM | file.cc (3)"));
}

TEST_F(CheckGLErrorTest, NamesTheFileByItsPathFromTheRoot) {
  gl_spy::faults().errors = {0x0500};
  CheckGLError(__FILE__, 5);
  EXPECT_THAT(TakeLog(), ElementsAre("W: INVALID_ENUM | tests/graphics/opengl/gl_error_test.cc (5)"));
}

}  // namespace
