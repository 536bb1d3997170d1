// What the tests of views under Wayland have in common: a compositor of their own, and a host's windows. Sizes and
// places are whole in the units of every compositor that runs them: multiples of 6.
#ifndef QUARN_TESTS_WAYLAND_VIEW_HOST_H_
#define QUARN_TESTS_WAYLAND_VIEW_HOST_H_

#include <gtest/gtest.h>

#include <string>

#include <quarn/quarn.h>

#include "tests/public/host.h"
#include "tests/public/view_scenes.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/wayland_compositor.h"
#include "tests/support/wayland_window.h"

namespace host {

// One for all tests: a process renders on one connection for as long as it lives.
test::WaylandCompositor& TheCompositor();
// The connection that qn_set_native_display was given. It stays open.
test::WaylandConnection& TheConnection();

// The default device, whose frames the test drives, and a host that commits its surfaces as it likes.
class ViewTest : public DrivenViewTest {
 protected:
  void SetUp() override;

  // Draws frames, and commits the window as a host does that draws, until the window shows the picture.
  ::testing::AssertionResult Shows(test::WaylandWindow& window, const test::Picture& expected,
                                   const test::Tolerance& tolerance = kViewTolerance);
  ::testing::AssertionResult Shows(test::WaylandWindow& window, const test::Canvas& expected) {
    return Shows(window, expected.picture());
  }
  // Nothing is drawn and nothing committed until it does.
  ::testing::AssertionResult ComesToShow(const test::WaylandWindow& window, const test::Canvas& expected) {
    return window.ComesToShow(expected.picture(), kViewTolerance);
  }

  test::WaylandConnection& wayland = TheConnection();
};

// Views in windows, drawn by the device's own thread at 100 frames a second.
class LiveViewTest : public ThreadedViewTest {
 protected:
  void SetUp() override;
  // The window shows the picture, the host having committed it.
  ::testing::AssertionResult Shows(test::WaylandWindow& window, const test::Canvas& expected);

  test::WaylandConnection& wayland = TheConnection();
};

}  // namespace host

#endif  // QUARN_TESTS_WAYLAND_VIEW_HOST_H_
