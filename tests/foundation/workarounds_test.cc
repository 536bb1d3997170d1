// The names of workarounds, and how the environment turns them off.
#include "foundation/workarounds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Line = LogCapture::Line;

constexpr std::uint32_t kAll = 0xff;

std::uint32_t Bit(Workaround workaround) { return 1u << static_cast<int>(workaround); }

class WorkaroundsTest : public ::testing::Test {
 protected:
  LogCapture log_;
};

TEST_F(WorkaroundsTest, AllAreUsedUnlessToldOtherwise) {
  EXPECT_EQ(UsedWorkarounds(nullptr), kAll);
  EXPECT_EQ(UsedWorkarounds(""), kAll);
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(WorkaroundsTest, AreTurnedOffByName) {
  EXPECT_EQ(UsedWorkarounds("-glx-aside"), kAll & ~Bit(Workaround::kGlxAside));
  EXPECT_EQ(UsedWorkarounds("-steady-window,-request-length"),
            kAll & ~Bit(Workaround::kSteadyWindow) & ~Bit(Workaround::kRequestLength));
  EXPECT_THAT(log_.Lines(), ElementsAre(Line{Logger::Level::Info, "The workaround \"glx-aside\" is turned off"},
                                        Line{Logger::Level::Info, "The workaround \"steady-window\" is turned off"},
                                        Line{Logger::Level::Info, "The workaround \"request-length\" is turned off"}));
}

TEST_F(WorkaroundsTest, EveryNameTurnsOneOff) {
  EXPECT_EQ(UsedWorkarounds("-steady-window,-look-before-swap,-glx-aside,-draw-to-back,-no-release-flush,"
                            "-exit-handlers,-request-length,-finish-to-read"),
            0u);
}

TEST_F(WorkaroundsTest, UnknownNamesAreToldOf) {
  EXPECT_EQ(UsedWorkarounds("glx-aside,-glx,,-"), kAll);
  const auto complaint = [](const std::string& name) {
    return Line{Logger::Level::Warn,
                "QUARN_WORKAROUNDS names no workaround by \"" + name + "\": it takes -name,-name,..."};
  };
  EXPECT_THAT(log_.Lines(), ElementsAre(complaint("glx-aside"), complaint("-glx"), complaint("-")));
}

// In a process of its own, which has not read the variable yet.
TEST_F(WorkaroundsTest, AreUsedAsTheEnvironmentHadItFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto used = [] {
    std::uint32_t bits = 0;
    for (int i = 0; i < 8; ++i) bits |= IsUsed(static_cast<Workaround>(i)) ? 1u << i : 0u;
    return bits;
  };
  const auto read_twice = [&] {
    setenv("QUARN_WORKAROUNDS", "-glx-aside", 1);
    const std::uint32_t first = used();
    setenv("QUARN_WORKAROUNDS", "-draw-to-back", 1);
    std::exit(first == (kAll & ~Bit(Workaround::kGlxAside)) && used() == first ? 0 : 1);
  };
  EXPECT_EXIT(read_twice(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
