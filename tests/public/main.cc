// Runs tests of the public interface without a window system, whatever the machine has.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/public/host.h"

int main(int argc, char** argv) {
  unsetenv("DISPLAY");
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  host::log::Install();
  return RUN_ALL_TESTS();
}
