// What the tests of views under X11 have in common: an X server of their own, and a host's windows.
#ifndef QUARN_TESTS_X11_VIEW_HOST_H_
#define QUARN_TESTS_X11_VIEW_HOST_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include <quarn/quarn.h>

#include "tests/public/host.h"
#include "tests/public/view_scenes.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/host_loop.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

namespace host {

// The server that DISPLAY names. A process renders on one for as long as it lives, so there is one for all tests.
test::XServer& TheXServer();

// The default device, whose frames the test drives, and a host's connection.
class ViewTest : public DrivenViewTest {
 protected:
  void SetUp() override;

  // Draws frames until the window shows the picture.
  ::testing::AssertionResult Shows(const test::XWindow& window, const test::Picture& expected,
                                   const test::Tolerance& tolerance = kViewTolerance);
  ::testing::AssertionResult Shows(const test::XWindow& window, const test::Canvas& expected) {
    return Shows(window, expected.picture());
  }

  test::XConnection x11;
};

// Views in windows, drawn by the device's own thread at 100 frames a second.
class LiveViewTest : public ThreadedViewTest {
 protected:
  void SetUp() override;

  test::XConnection x11;
};

}  // namespace host

#endif  // QUARN_TESTS_X11_VIEW_HOST_H_
