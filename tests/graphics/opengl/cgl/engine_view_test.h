// What the tests of the engine's view in X11 windows have in common. A process keeps the display that it once chose, so
// one X server serves all of it.
#ifndef QUARN_TESTS_GRAPHICS_OPENGL_CGL_ENGINE_VIEW_TEST_H_
#define QUARN_TESTS_GRAPHICS_OPENGL_CGL_ENGINE_VIEW_TEST_H_

#include <cstdlib>
#include <string>
#include <vector>

#include "graphics/opengl/cgl/window_thread.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

// Frames do not wait for the window thread, and skip pictures when it is late, as it is on a busy machine. Here
// every picture is presented, and what comes of it has come when a call returns.
class EngineViewTest : public GlTest {
 protected:
  EngineViewTest() {
    EXPECT_NE(TheXServer().display(), "") << "Xvfb did not start";
    setenv("DISPLAY", TheXServer().display().c_str(), 1);
  }
  void TearDown() override {
    WaitForTheWindowThread();  // The end of a view may be among its works.
    GlTest::TearDown();
  }

  static test::XServer& TheXServer() {
    static test::XServer server;
    return server;
  }
  static void WaitForTheWindowThread() {
    EXPECT_TRUE(test::ComesTrue([] { return WindowThread::Get().HandOver([] {}); }));
  }

  static void Draw(GraphicsView* view) {
    view->Draw();
    WaitForTheWindowThread();
  }
  void Frames(int count) {
    for (int i = 0; i < count; ++i) {
      device()->DrawDisplay();
      WaitForTheWindowThread();
    }
  }
  static std::vector<std::string> TakeTrace() {
    WaitForTheWindowThread();
    return gl_spy::TakeTrace();
  }
  std::vector<std::string> TakeLog() {
    WaitForTheWindowThread();
    return GlTest::TakeLog();
  }
};

#endif  // QUARN_TESTS_GRAPHICS_OPENGL_CGL_ENGINE_VIEW_TEST_H_
