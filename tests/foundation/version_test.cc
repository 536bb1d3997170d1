#include <quarn/version.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(VersionTest, LibraryAndHeadersAgree) { EXPECT_EQ(quarn_version(), static_cast<unsigned int>(QUARN_VERSION)); }

TEST(VersionTest, NumbersCompareAsVersionsDo) {
  EXPECT_LT(QUARN_VERSION_NUMBER(0, 1, 0), QUARN_VERSION_NUMBER(0, 1, 1));
  EXPECT_LT(QUARN_VERSION_NUMBER(0, 1, 999), QUARN_VERSION_NUMBER(0, 2, 0));
  EXPECT_LT(QUARN_VERSION_NUMBER(0, 999, 999), QUARN_VERSION_NUMBER(1, 0, 0));
}

// QUARN_TEST_VERSION is the version that the build, the package and the pkg-config file have.
TEST(VersionTest, BuildHasTheVersionOfTheHeader) {
  EXPECT_EQ(std::string(QUARN_TEST_VERSION), std::to_string(QUARN_VERSION_MAJOR) + "." +
                                                 std::to_string(QUARN_VERSION_MINOR) + "." +
                                                 std::to_string(QUARN_VERSION_PATCH));
}

}  // namespace
