// Runs tests of views in an X server of the tests' own: Xvfb, or with "xwayland" as the last argument the server of a
// Wayland compositor.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/x11/view_host.h"

namespace {

auto kind = test::XServer::kXvfb;

}  // namespace

test::XServer& host::TheXServer() {
  static test::XServer server(kind);
  return server;
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  if (argc > 1 && std::strcmp(argv[argc - 1], "xwayland") == 0) kind = test::XServer::kXWayland;
  if (host::TheXServer().display().empty()) {
    std::fputs("the X server did not start: these tests want Xvfb, cage and Xwayland, and are not skipped\n", stderr);
    return 1;
  }
  setenv("DISPLAY", host::TheXServer().display().c_str(), 1);
  host::log::Install();
  return RUN_ALL_TESTS();
}
