// The programs of planes: one of each, and what is left of them. What they draw is judged in the tests of their users.
#include "graphics/opengl/plane_programs.h"

#include <string>
#include <vector>

#include "tests/support/gl_fixture.h"

namespace {

class PlaneProgramsTest : public GlTest {};

TEST_F(PlaneProgramsTest, AreBuiltOnceEach) {
  const test::CurrentContext current(context());
  PlanePrograms programs;
  const int objects = gl_spy::LiveObjects();
  for (int kind = 0; kind < PlanePrograms::kKinds; ++kind) {
    PlanePrograms::Program* const program = programs.Get(static_cast<PlanePrograms::Kind>(kind));
    ASSERT_NE(program, nullptr) << kind;
    EXPECT_GE(program->rows, 0) << kind;
    EXPECT_EQ(programs.Get(static_cast<PlanePrograms::Kind>(kind)), program);
  }
  EXPECT_EQ(gl_spy::LiveObjects(), objects + PlanePrograms::kKinds);
  programs.Release();
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(PlaneProgramsTest, OneThatFailsIsNotTriedAgainUntilAllAreReleased) {
  const test::CurrentContext current(context());
  PlanePrograms programs;
  gl_spy::faults().failed_links = 1;
  EXPECT_EQ(programs.Get(PlanePrograms::kFromTwoPlanes), nullptr);
  EXPECT_FALSE(TakeLog().empty());
  EXPECT_EQ(programs.Get(PlanePrograms::kFromTwoPlanes), nullptr);
  EXPECT_TRUE(TakeLog().empty());
  EXPECT_NE(programs.Get(PlanePrograms::kFromThreePlanes), nullptr);
  programs.Release();
  EXPECT_NE(programs.Get(PlanePrograms::kFromTwoPlanes), nullptr);
  programs.Release();
}

TEST_F(PlaneProgramsTest, OneForWhichThereWasNoMemoryIsTriedAgain) {
  const test::CurrentContext current(context());
  PlanePrograms programs;
  gl_spy::faults().failed_links = 1;
  gl_spy::faults().errors = {GL_OUT_OF_MEMORY};
  EXPECT_EQ(programs.Get(PlanePrograms::kFromTwoPlanes), nullptr);
  EXPECT_FALSE(TakeLog().empty());
  EXPECT_NE(programs.Get(PlanePrograms::kFromTwoPlanes), nullptr);
  programs.Release();
}

}  // namespace
