// Runs tests of views in a Wayland compositor of the tests' own: the last two arguments say which, "sway" or "weston",
// and its scale. "in" and a folder before them name one that another process runs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/wayland/view_host.h"

namespace {

std::unique_ptr<test::WaylandCompositor> compositor;

}  // namespace

test::WaylandCompositor& host::TheCompositor() { return *compositor; }

test::WaylandConnection& host::TheConnection() {
  static auto* const connection = new test::WaylandConnection(TheCompositor());
  return *connection;
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  if (argc < 3) {
    std::fputs("which compositor is missing: sway or weston, and its scale\n", stderr);
    return 1;
  }
  test::WaylandCompositor::Options options;
  const bool is_weston = std::strcmp(argv[argc - 2], "weston") == 0;
  options.kind = is_weston ? test::WaylandCompositor::kWeston : test::WaylandCompositor::kSway;
  options.scale = std::strtod(argv[argc - 1], nullptr);
  const bool is_somebody_elses = argc > 4 && std::strcmp(argv[argc - 4], "in") == 0;
  options.width = 640;  // 426 and two thirds units at a scale of 1.5, of which a compositor says the whole ones.
  compositor = is_somebody_elses ? std::make_unique<test::WaylandCompositor>(options, argv[argc - 3])
                                 : std::make_unique<test::WaylandCompositor>(options);
  if (compositor->socket().empty()) {
    std::fputs("these tests want sway and weston, and are not skipped\n", stderr);
    return 1;
  }
  host::log::Install();
  if (!qn_set_native_display(kQnNativeDisplayWayland, host::TheConnection().get())) {
    std::fprintf(stderr, "the display is not taken:\n%s", host::log::Complaints().c_str());
    return 1;
  }
  const int result = RUN_ALL_TESTS();
  compositor.reset();
  return result;
}
