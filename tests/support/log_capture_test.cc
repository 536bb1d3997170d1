#include "tests/support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <quarn/qn_log.h>

namespace {

TEST(LogCaptureTest, RecordsWholeMessagesWithoutATag) {
  LogCapture log;
  const std::string longest(10000, 'x');
  Logger::default_logger()->Warn("%s is unimplemented", "Thing");
  Logger::default_logger()->Info("%s", longest.c_str());
  EXPECT_THAT(log.Lines(), testing::ElementsAre(LogCapture::Line{Logger::Level::Warn, "Thing is unimplemented"},
                                                LogCapture::Line{Logger::Level::Info, longest}));
  EXPECT_TRUE(log.Has(Logger::Level::Warn, "Thing is unimplemented"));
  EXPECT_FALSE(log.Has(Logger::Level::Info, "Thing is unimplemented"));
  EXPECT_FALSE(log.Has(Logger::Level::Warn, "Thing"));
  EXPECT_EQ(log.Count(Logger::Level::Warn, "Thing is unimplemented"), 1u);
  log.Clear();
  EXPECT_TRUE(log.Lines().empty());
}

TEST(LogCaptureTest, PutsThePreviousLoggerBack) {
  Logger* const before = Logger::default_logger();
  {
    LogCapture outer;
    Logger* const first = Logger::default_logger();
    EXPECT_NE(first, before);
    {
      LogCapture inner;
      qn_log(kQnLogError, "inner");
      EXPECT_TRUE(inner.Has(Logger::Level::Error, "inner"));
    }
    EXPECT_EQ(Logger::default_logger(), first);
    EXPECT_TRUE(outer.Lines().empty());
  }
  EXPECT_EQ(Logger::default_logger(), before);
}

TEST(LogCaptureTest, WaitsForAMessageOfAnotherThread) {
  LogCapture log;
  std::thread other([] { Logger::default_logger()->Debug("late %d", 1); });
  EXPECT_TRUE(log.WaitFor(Logger::Level::Debug, "late 1"));
  other.join();
}

}  // namespace
