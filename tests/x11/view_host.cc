#include "tests/x11/view_host.h"

namespace host {

void ViewTest::SetUp() {
  ASSERT_TRUE(x11.ok());
  DrivenViewTest::SetUp();
}

::testing::AssertionResult ViewTest::Shows(const test::XWindow& window, const test::Picture& expected,
                                           const test::Tolerance& tolerance) {
  return window.ComesToShow(expected, tolerance, [this] { Frame(); });
}

void LiveViewTest::SetUp() {
  ASSERT_TRUE(x11.ok());
  ThreadedViewTest::SetUp();
}

}  // namespace host
