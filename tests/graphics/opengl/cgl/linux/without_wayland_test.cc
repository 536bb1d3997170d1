// A build without Wayland: what it answers to a host that names a connection.
#include <gmock/gmock.h>

#include "graphics/opengl/cgl/linux/window_system.h"
#include "tests/support/log_capture.h"

// The table of window systems wants it.
WindowSystem* OpenX11WindowSystem() { return nullptr; }

namespace {

TEST(WithoutWaylandTest, RefusesEveryConnection) {
  LogCapture log;
  EXPECT_FALSE(TakeWaylandDisplay(&log));
  EXPECT_THAT(log.Lines(),
              ::testing::ElementsAre(LogCapture::Line{
                  Logger::Level::Warn, "The Wayland display is not taken: this build of the library has no Wayland"}));
  EXPECT_EQ(OpenWaylandWindowSystem(), nullptr);
  EXPECT_TRUE(LeaveWaylandDisplay()) << "there is none";
}

}  // namespace
