#include "foundation/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

// Keeps its lines.
class LoggerToMemory : public Logger {
 public:
  using Logger::Log;
  using Logger::Logger;
  void Log(Level level, const char* text) override {
    levels.push_back(level);
    lines.emplace_back(text);
  }

  std::vector<Level> levels;
  std::vector<std::string> lines;
};

// Logs once more for every line it writes.
class LoggerThatLogs : public Logger {
 public:
  using Logger::Log;
  using Logger::Logger;
  void Log(Level, const char* text) override {
    lines.emplace_back(text);
    if (lines.size() == 1) Info("again");
  }

  std::vector<std::string> lines;
};

// Formats that no compiler would let pass.
void LogInfo(Logger& logger, const char* format, ...) {
  va_list args;
  va_start(args, format);
  logger.Log(Logger::Level::Info, format, args);
  va_end(args);
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The default logger as it is before anybody asked for it.
class DefaultLoggerTest : public testing::Test {
 protected:
  void SetUp() override {
    previous_ = Logger::default_logger();
    Logger::SetDefaultLogger(nullptr);
  }
  void TearDown() override { Logger::SetDefaultLogger(previous_); }

  Logger* previous_ = nullptr;
};

TEST(LoggerTest, LevelsCountFromDebugToError) {
  EXPECT_EQ(static_cast<int>(Logger::Level::Debug), 0);
  EXPECT_EQ(static_cast<int>(Logger::Level::Info), 1);
  EXPECT_EQ(static_cast<int>(Logger::Level::Warn), 2);
  EXPECT_EQ(static_cast<int>(Logger::Level::Error), 3);
}

TEST(LoggerTest, FormatsBehindTheTag) {
  LoggerToMemory logger("Tag");
  logger.Debug("a%d", 1);
  logger.Info("b%s", "2");
  logger.Warn("c%c", '3');
  logger.Error("d");
  EXPECT_THAT(logger.lines, ElementsAre("[Tag] a1", "[Tag] b2", "[Tag] c3", "[Tag] d"));
  EXPECT_THAT(logger.levels,
              ElementsAre(Logger::Level::Debug, Logger::Level::Info, Logger::Level::Warn, Logger::Level::Error));
}

TEST(LoggerTest, TagIsNotAFormat) {
  LoggerToMemory logger("100%s");
  logger.Info("x");
  EXPECT_THAT(logger.lines, ElementsAre("[100%s] x"));
}

TEST(LoggerTest, EmptyTagAndMessageLeaveTheBrackets) {
  LoggerToMemory logger("");
  LogInfo(logger, "");
  EXPECT_THAT(logger.lines, ElementsAre("[] "));
}

TEST(LoggerTest, LongMessageIsCutTo4095CharactersWithItsTag) {
  LoggerToMemory logger("Quarn");
  logger.Info("%s", std::string(5000, 'x').c_str());
  EXPECT_THAT(logger.lines, ElementsAre("[Quarn] " + std::string(4095 - 8, 'x')));
}

TEST(LoggerTest, MessageThatJustFitsIsWhole) {
  LoggerToMemory logger("Quarn");
  logger.Info("%s!", std::string(4095 - 9, 'x').c_str());
  EXPECT_THAT(logger.lines, ElementsAre("[Quarn] " + std::string(4095 - 9, 'x') + "!"));
}

TEST(LoggerTest, TagLongerThanTheBufferIsCutTo4095Characters) {
  for (const std::size_t length : {4091u, 4092u, 4093u, 4094u, 4095u, 4096u, 10000u}) {
    const std::string tag(length, 't');
    LoggerToMemory logger(tag);
    logger.Info("message");
    EXPECT_THAT(logger.lines, ElementsAre(("[" + tag + "] message").substr(0, 4095)));
  }
}

TEST(LoggerTest, MessageThatCannotBeFormattedIsLoggedAsItsFormat) {
  LoggerToMemory logger("Quarn");
  logger.Info("%s", std::string(5000, 'x').c_str());
  // A character that the "C" locale, in which the test runs, has no bytes for.
  const wchar_t* const unprintable = L"\u20ac";
  LogInfo(logger, "wide %ls", unprintable);
  EXPECT_EQ(logger.lines.at(1), "[Quarn] wide %ls");
  // Nor does the fallback pass the end of the buffer.
  LogInfo(logger, ("%ls" + std::string(5000, 'y')).c_str(), unprintable);
  EXPECT_EQ(logger.lines.at(2).size(), 4095u);
}

TEST(LoggerTest, NullFormatLogsNothing) {
  LoggerToMemory logger("Quarn");
  LogInfo(logger, nullptr);
  EXPECT_TRUE(logger.lines.empty());
}

TEST(LoggerTest, WriterMayLog) {
  LoggerThatLogs logger("Quarn");
  logger.Info("first");
  EXPECT_THAT(logger.lines, ElementsAre("[Quarn] first", "[Quarn] again"));
}

TEST(LoggerTest, ThreadsShareTheBufferInTurns) {
  LoggerToMemory logger("Quarn");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 200; ++n) logger.Info("%s", std::string(100, static_cast<char>('a' + i)).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (char c = 'a'; c < 'e'; ++c) {
    EXPECT_EQ(std::count(logger.lines.begin(), logger.lines.end(), "[Quarn] " + std::string(100, c)), 200);
  }
}

TEST(LoggerStdTest, PrintsAPrefixForEveryLevel) {
  LoggerStd logger("Tag");
  testing::internal::CaptureStdout();
  logger.Debug("one");
  logger.Info("two");
  logger.Warn("three");
  logger.Error("four");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "D:[Tag] one\nI:[Tag] two\nW:[Tag] three\nE:[Tag] four\n");
}

TEST(LoggerStdTest, WarningsAndErrorsAreWrittenAtOnce) {
  LoggerStd logger("Tag");
  testing::internal::CaptureStdout();
  const auto written = [] {
    struct stat file = {};
    return fstat(fileno(stdout), &file) == 0 ? file.st_size : -1;
  };
  logger.Info("one");
  logger.Warn("two");
  EXPECT_EQ(written(), 24);
  logger.Error("three");
  EXPECT_EQ(written(), 38);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "I:[Tag] one\nW:[Tag] two\nE:[Tag] three\n");
}

TEST(LoggerStdTest, PrintsNoPrefixForOtherLevels) {
  LoggerStd logger("Tag");
  testing::internal::CaptureStdout();
  logger.Log(static_cast<Logger::Level>(-1), "below");
  logger.Log(static_cast<Logger::Level>(4), "above");
  logger.Log(Logger::Level::Error, "level");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "below\nabove\nE:level\n");
}

TEST(LoggerStdTest, TextIsNotAFormat) {
  LoggerStd logger("Tag");
  testing::internal::CaptureStdout();
  logger.Info("%s", "%d %s %n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "I:[Tag] %d %s %n\n");
}

TEST(LoggerStdTest, NullTextPrintsNothing) {
  LoggerStd logger("Tag");
  testing::internal::CaptureStdout();
  logger.Log(Logger::Level::Info, static_cast<const char*>(nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(LoggerStdTest, LinesOfSeveralThreadsAndLoggersStayWhole) {
  LoggerStd shared("Shared");
  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      LoggerStd own("Own");
      for (int n = 0; n < 200; ++n) {
        shared.Warn("%s", std::string(300, static_cast<char>('a' + i)).c_str());
        own.Info("%s", std::string(300, static_cast<char>('a' + i)).c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> lines = SplitLines(testing::internal::GetCapturedStdout());
  EXPECT_EQ(lines.size(), 1600u);
  for (char c = 'a'; c < 'e'; ++c) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "W:[Shared] " + std::string(300, c)), 200);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "I:[Own] " + std::string(300, c)), 200);
  }
}

TEST(LoggerHookTest, HandsEverythingToTheHandlerUnformatted) {
  struct Call {
    int level;
    std::string format;
    int arg;
    void* user;
  };
  std::vector<Call> calls;
  LoggerHook logger(
      "Tag",
      [](int level, const char* format, va_list args, void* user) {
        static_cast<std::vector<Call>*>(user)->push_back({level, format, va_arg(args, int), user});
      },
      &calls);
  testing::internal::CaptureStdout();
  logger.Warn("x=%d", 5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].level, 2);
  EXPECT_EQ(calls[0].format, "x=%d");
  EXPECT_EQ(calls[0].arg, 5);
  EXPECT_EQ(calls[0].user, &calls);
}

TEST(LoggerHookTest, FinishedLineGoesNowhere) {
  int calls = 0;
  LoggerHook logger(
      "Tag", [](int, const char*, va_list, void* user) { ++*static_cast<int*>(user); }, &calls);
  testing::internal::CaptureStdout();
  logger.Log(Logger::Level::Error, "text");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(calls, 0);
}

TEST(LoggerHookTest, NullHandlerAndNullFormatDoNothing) {
  LoggerHook silent("Tag", nullptr, nullptr);
  silent.Error("lost");
  int calls = 0;
  LoggerHook logger(
      "Tag", [](int, const char*, va_list, void* user) { ++*static_cast<int*>(user); }, &calls);
  LogInfo(logger, nullptr);
  EXPECT_EQ(calls, 0);
}

TEST_F(DefaultLoggerTest, IsMadeOnFirstUseAndPrintsWithTheTagQuarn) {
  testing::internal::CaptureStdout();
  Logger::default_logger()->Info("starting graphics render thread");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "I:[Quarn] starting graphics render thread\n");
  EXPECT_NE(dynamic_cast<LoggerStd*>(Logger::default_logger()), nullptr);
}

TEST_F(DefaultLoggerTest, IsTheSameForAllWhoAskFirst) {
  std::vector<Logger*> answers(8, nullptr);
  std::vector<std::thread> threads;
  for (Logger*& answer : answers) threads.emplace_back([&answer] { answer = Logger::default_logger(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_NE(answers[0], nullptr);
  EXPECT_THAT(answers, testing::Each(answers[0]));
}

TEST_F(DefaultLoggerTest, ReplacingItLeavesThePreviousAlive) {
  LoggerToMemory first("First");
  LoggerToMemory second("Second");
  Logger::SetDefaultLogger(&first);
  EXPECT_EQ(Logger::default_logger(), &first);
  Logger::SetDefaultLogger(&second);
  EXPECT_EQ(Logger::default_logger(), &second);
  Logger::default_logger()->Info("x");
  EXPECT_TRUE(first.lines.empty());
  first.Info("still here");
  EXPECT_THAT(first.lines, ElementsAre("[First] still here"));
  EXPECT_THAT(second.lines, ElementsAre("[Second] x"));
}

}  // namespace
