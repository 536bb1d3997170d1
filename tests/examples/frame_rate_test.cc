#include "studio/frame_rate.h"

#include <gtest/gtest.h>

#include <string>

#include "studio/error.h"

namespace studio {
namespace {

TEST(FrameRateTest, ReadsWholeRatesFractionsAndDecimals) {
  EXPECT_EQ(ParseFrameRate("30"), (FrameRate{30, 1}));
  EXPECT_EQ(ParseFrameRate("30000/1001"), (FrameRate{30000, 1001}));
  EXPECT_EQ(ParseFrameRate("60/2"), (FrameRate{30, 1}));
  EXPECT_EQ(ParseFrameRate("12.5"), (FrameRate{25, 2}));
  EXPECT_EQ(ParseFrameRate("1000"), (FrameRate{1000, 1}));
}

TEST(FrameRateTest, KnowsTelevisionsRatesByTheirShortNames) {
  EXPECT_EQ(ParseFrameRate("23.976"), (FrameRate{24000, 1001}));
  EXPECT_EQ(ParseFrameRate("23.98"), (FrameRate{24000, 1001}));
  EXPECT_EQ(ParseFrameRate("29.97"), (FrameRate{30000, 1001}));
  EXPECT_EQ(ParseFrameRate("59.94"), (FrameRate{60000, 1001}));
  EXPECT_EQ(ParseFrameRate("119.88"), (FrameRate{120000, 1001}));
}

TEST(FrameRateTest, RefusesOthers) {
  for (const std::string text : {"0", "0.5", "1001", "-30", "30/0", "30/-1", "1/30", "30.5/1.5", "", "/", "30/", "fast",
                                 "1e9/1e7", "nan", "inf", "30fps", "30/1/1"}) {
    EXPECT_THROW(ParseFrameRate(text), UsageError) << text;
  }
}

TEST(FrameRateTest, PlacesFramesExactlyForADay) {
  const FrameRate rate{30000, 1001};
  EXPECT_EQ(rate.TimeNs(0), 0);
  EXPECT_EQ(rate.TimeNs(1), 33366667);
  EXPECT_EQ(rate.TimeNs(30000), 1001000000000);
  const std::int64_t last = std::int64_t{24} * 3600 * 30000 / 1001;
  for (const std::int64_t index : {std::int64_t{1}, std::int64_t{29}, std::int64_t{30001}, last}) {
    EXPECT_EQ(rate.IndexAt(rate.TimeNs(index)), index);
    EXPECT_EQ(rate.IndexAt(rate.TimeNs(index) + rate.TimeNs(1) / 2 - 1), index);
    EXPECT_EQ(rate.IndexAt(rate.TimeNs(index) - rate.TimeNs(1) / 2 + 1), index);
  }
}

TEST(FrameRateTest, IsWrittenAsItIsRead) {
  EXPECT_EQ((FrameRate{30, 1}.Text()), "30");
  EXPECT_EQ((FrameRate{30000, 1001}.Text()), "30000/1001");
}

}  // namespace
}  // namespace studio
