// A host names its connection while each allocation of that fails.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <wayland-client-core.h>

#include <cstdarg>
#include <string>

#include <quarn/quarn.h>

#include "tests/support/failing_allocations.h"

namespace {

TEST(NativeDisplayNoMemoryTest, SaysSoAndTakesNothing) {
  static int lines = 0;
  qn_set_log_handle([](int, const char*, va_list, void*) { ++lines; }, nullptr);
  int ends[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  wl_display* const display = wl_display_connect_to_fd(ends[0]);
  close(ends[1]);  // Nobody is there: the connection breaks.
  const int failures = FailingAllocations::Run([&] {
    lines = 0;
    EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, display));
    EXPECT_FALSE(qn_set_native_display(kQnNativeDisplayWayland, nullptr));
    EXPECT_TRUE(qn_set_native_display(kQnNativeDisplayNone, nullptr));
    EXPECT_EQ(lines, 2);
  });
  EXPECT_GE(failures, 1);
  wl_display_disconnect(display);
  qn_set_log_handle(nullptr, nullptr);
}

}  // namespace
