#include "tests/wayland/view_host.h"

namespace host {

void ViewTest::SetUp() {
  ASSERT_TRUE(wayland.ok());
  DrivenViewTest::SetUp();
}

::testing::AssertionResult ViewTest::Shows(test::WaylandWindow& window, const test::Picture& expected,
                                           const test::Tolerance& tolerance) {
  return window.ComesToShow(expected, tolerance, [&] {
    window.Commit();
    Frame();
  });
}

void LiveViewTest::SetUp() {
  ASSERT_TRUE(wayland.ok());
  ThreadedViewTest::SetUp();
}

::testing::AssertionResult LiveViewTest::Shows(test::WaylandWindow& window, const test::Canvas& expected) {
  return window.ComesToShow(expected.picture(), kViewTolerance, [&] { window.Commit(); });
}

}  // namespace host
