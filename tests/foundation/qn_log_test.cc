#include <quarn/qn_log.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "foundation/logger.h"
#include "tests/support/log_capture.h"

namespace {

std::atomic<void*> watched_block{nullptr};
std::atomic<bool> watched_block_freed{false};

}  // namespace

// Memory as usual, but for the report that a watched object was destroyed. Never inlined: the compiler would see malloc
// and delete side by side and warn that they do not match.
__attribute__((noinline)) void* operator new(std::size_t size) {
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
__attribute__((noinline)) void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
__attribute__((noinline)) void operator delete(void* block) noexcept {
  if (block && block == watched_block) watched_block_freed = true;
  std::free(block);
}
__attribute__((noinline)) void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Calls qn_log_va with a list of its own.
void LogVa(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  qn_log_va(level, format, args);
  va_end(args);
}

struct Message {
  int level;
  std::string format;
  std::string text;

  bool operator==(const Message& other) const {
    return level == other.level && format == other.format && text == other.text;
  }
};

void PrintTo(const Message& message, std::ostream* out) {
  *out << message.level << " \"" << message.format << "\" \"" << message.text << '"';
}

// A host's handler and its state.
struct Host {
  std::vector<Message> messages;
  std::function<void()> on_message;

  static void Handle(int level, const char* format, va_list args, void* user) {
    Host* const host = static_cast<Host*>(user);
    char text[256];
    std::vsnprintf(text, sizeof(text), format, args);
    host->messages.push_back({level, format, text});
    if (host->on_message) host->on_message();
  }
};

// A hook cannot be undone through the public interface; here the logger of before comes back, and what hook is left
// stays silent.
class QnLogTest : public testing::Test {
 protected:
  void SetUp() override {
    previous_ = Logger::default_logger();
    Logger::SetDefaultLogger(nullptr);
  }
  void TearDown() override {
    qn_set_log_level(kQnLogDebug);
    qn_set_log_handle(nullptr, nullptr);
    Logger::SetDefaultLogger(previous_);
  }

  Logger* previous_ = nullptr;
};

TEST_F(QnLogTest, PrintsTaggedLinesWithoutAHandler) {
  testing::internal::CaptureStdout();
  qn_log(30, "x=%d", 5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "I:[Quarn] x=5\n");
}

TEST_F(QnLogTest, MapsPublicLevels) {
  testing::internal::CaptureStdout();
  qn_log(10, "%s", "error");
  qn_log(20, "%s", "warning");
  qn_log(30, "%s", "info");
  qn_log(40, "%s", "debug");
  LogVa(10, "%d", 1);
  LogVa(20, "%d", 2);
  LogVa(30, "%d", 3);
  LogVa(40, "%d", 4);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "E:[Quarn] error\nW:[Quarn] warning\nI:[Quarn] info\nD:[Quarn] debug\n"
            "E:[Quarn] 1\nW:[Quarn] 2\nI:[Quarn] 3\nD:[Quarn] 4\n");
}

TEST_F(QnLogTest, OtherLevelsLogNothing) {
  Host host;
  testing::internal::CaptureStdout();
  for (const int level : {-1, 0, 1, 2, 3, 9, 11, 25, 39, 41, 50}) {
    qn_log(level, "%s", "lost");
    LogVa(level, "lost");
  }
  qn_set_log_handle(&Host::Handle, &host);
  qn_log(25, "lost");
  qn_log(50, "lost");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(host.messages, IsEmpty());
}

TEST_F(QnLogTest, LongMessageIsCutTo4095CharactersWithItsTag) {
  testing::internal::CaptureStdout();
  qn_log(20, "%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "W:[Quarn] " + std::string(4095 - 8, 'x') + "\n");
}

TEST_F(QnLogTest, NullFormatLogsNothing) {
  Host host;
  testing::internal::CaptureStdout();
  LogVa(30, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  qn_set_log_handle(&Host::Handle, &host);
  LogVa(30, nullptr);
  EXPECT_THAT(host.messages, IsEmpty());
}

TEST_F(QnLogTest, LogsThroughTheDefaultLogger) {
  LogCapture log;
  qn_log(kQnLogWarning, "x=%d", 5);
  EXPECT_THAT(log.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, "x=5"}));
}

TEST_F(QnLogTest, HandlerReceivesEngineMessagesUnformatted) {
  Host host;
  testing::internal::CaptureStdout();
  qn_set_log_handle(&Host::Handle, &host);
  Logger::default_logger()->Warn("%s | %s (%d)", "a", "b", 3);
  Logger::default_logger()->Error("e");
  Logger::default_logger()->Info("i");
  Logger::default_logger()->Debug("d");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(host.messages, ElementsAre(Message{20, "%s | %s (%d)", "a | b (3)"}, Message{10, "e", "e"},
                                         Message{30, "i", "i"}, Message{40, "d", "d"}));
}

TEST_F(QnLogTest, HandlerReceivesTheHostsOwnMessages) {
  Host host;
  qn_set_log_handle(&Host::Handle, &host);
  qn_log(10, "a%d", 1);
  qn_log(20, "b%d", 2);
  LogVa(30, "c%d", 3);
  LogVa(40, "d%d", 4);
  EXPECT_THAT(host.messages, ElementsAre(Message{10, "a%d", "a1"}, Message{20, "b%d", "b2"}, Message{30, "c%d", "c3"},
                                         Message{40, "d%d", "d4"}));
}

TEST_F(QnLogTest, EveryOtherEngineLevelReachesTheHandlerAsDebug) {
  Host host;
  qn_set_log_handle(&Host::Handle, &host);
  const auto log = [](int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Logger::default_logger()->Log(static_cast<Logger::Level>(level), format, args);
    va_end(args);
  };
  log(7, "x");
  log(-1, "y");
  EXPECT_THAT(host.messages, ElementsAre(Message{40, "x", "x"}, Message{40, "y", "y"}));
}

TEST_F(QnLogTest, NullHandlerSilencesTheLog) {
  Host host;
  testing::internal::CaptureStdout();
  qn_set_log_handle(nullptr, &host);
  qn_log(10, "lost");
  Logger::default_logger()->Error("lost");
  qn_set_log_handle(&Host::Handle, &host);
  qn_set_log_handle(nullptr, nullptr);
  qn_log(10, "lost");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(host.messages, IsEmpty());
}

TEST_F(QnLogTest, NewHandlerTakesThePlaceOfTheOld) {
  Host first;
  Host second;
  qn_set_log_handle(&Host::Handle, &first);
  qn_set_log_handle(&Host::Handle, &second);
  qn_log(30, "x");
  EXPECT_THAT(first.messages, IsEmpty());
  EXPECT_THAT(second.messages, ElementsAre(Message{30, "x", "x"}));
}

TEST_F(QnLogTest, NewHookDestroysTheOldOneButNotTheStandardLogger) {
  Host host;
  Logger* const standard = Logger::default_logger();
  watched_block = standard;
  watched_block_freed = false;
  qn_set_log_handle(&Host::Handle, &host);
  EXPECT_FALSE(watched_block_freed);
  watched_block = Logger::default_logger();
  EXPECT_NE(watched_block, standard);
  qn_set_log_handle(&Host::Handle, &host);
  EXPECT_TRUE(watched_block_freed);
  watched_block = nullptr;
}

// Before any test sets a handler: it cannot be undone, so this has a process of its own.
TEST_F(QnLogTest, NoHandlerIsReadBackUntilOneIsSet) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        QnLogHandler handler = &Host::Handle;
        void* user = &handler;
        const bool set = qn_get_log_handle(&handler, &user);
        std::exit(!set && handler == &Host::Handle && user == &handler ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(QnLogTest, HandlerInPlaceIsReadBack) {
  Host host;
  qn_set_log_handle(&Host::Handle, &host);
  QnLogHandler handler = nullptr;
  void* user = nullptr;
  EXPECT_TRUE(qn_get_log_handle(&handler, &user));
  EXPECT_EQ(handler, &Host::Handle);
  EXPECT_EQ(user, &host);
  EXPECT_TRUE(qn_get_log_handle(nullptr, nullptr));

  qn_set_log_handle(nullptr, nullptr);
  EXPECT_TRUE(qn_get_log_handle(&handler, &user));
  EXPECT_EQ(handler, nullptr);
  EXPECT_EQ(user, nullptr);

  // What was read back can be put back.
  qn_set_log_handle(&Host::Handle, &host);
  qn_log(30, "x");
  EXPECT_THAT(host.messages, ElementsAre(Message{30, "x", "x"}));
}

TEST_F(QnLogTest, LevelSaysHowMuchIsPrinted) {
  const auto printed = [](int level) {
    qn_set_log_level(level);
    testing::internal::CaptureStdout();
    qn_log(10, "e");
    qn_log(20, "w");
    Logger::default_logger()->Info("i");
    Logger::default_logger()->Debug("d");
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(qn_log_level(), kQnLogDebug);
  EXPECT_EQ(printed(kQnLogDebug), "E:[Quarn] e\nW:[Quarn] w\nI:[Quarn] i\nD:[Quarn] d\n");
  EXPECT_EQ(printed(1000), "E:[Quarn] e\nW:[Quarn] w\nI:[Quarn] i\nD:[Quarn] d\n");
  EXPECT_EQ(printed(kQnLogInfo), "E:[Quarn] e\nW:[Quarn] w\nI:[Quarn] i\n");
  EXPECT_EQ(printed(39), "E:[Quarn] e\nW:[Quarn] w\nI:[Quarn] i\n");
  EXPECT_EQ(printed(kQnLogWarning), "E:[Quarn] e\nW:[Quarn] w\n");
  EXPECT_EQ(printed(kQnLogError), "E:[Quarn] e\n");
  EXPECT_EQ(printed(9), "");
  EXPECT_EQ(printed(0), "");
  EXPECT_EQ(printed(-1), "");
  EXPECT_EQ(qn_log_level(), -1);
}

TEST_F(QnLogTest, HandlerReceivesEverythingWhateverTheLevel) {
  Host host;
  qn_set_log_handle(&Host::Handle, &host);
  qn_set_log_level(0);
  qn_log(40, "d");
  EXPECT_THAT(host.messages, ElementsAre(Message{40, "d", "d"}));
}

TEST_F(QnLogTest, HandlerMayLog) {
  Host host;
  host.on_message = [&] {
    if (host.messages.size() < 3) qn_log(20, "nested");
  };
  qn_set_log_handle(&Host::Handle, &host);
  qn_log(30, "outer");
  EXPECT_THAT(host.messages, ElementsAre(Message{30, "outer", "outer"}, Message{20, "nested", "nested"},
                                         Message{20, "nested", "nested"}));
}

TEST_F(QnLogTest, HandlerMayInstallAnother) {
  Host first;
  Host second;
  first.on_message = [&] { qn_set_log_handle(&Host::Handle, &second); };
  qn_set_log_handle(&Host::Handle, &first);
  qn_log(30, "x");
  qn_log(30, "y");
  EXPECT_THAT(first.messages, ElementsAre(Message{30, "x", "x"}));
  EXPECT_THAT(second.messages, ElementsAre(Message{30, "y", "y"}));
}

TEST_F(QnLogTest, HandlerIsCalledBySeveralThreadsAtOnce) {
  // The first call stays in the handler until the second has come in.
  struct Meeting {
    std::atomic<int> inside{0};
    std::promise<void> both;
    bool met = false;
  } meeting;
  qn_set_log_handle(
      [](int, const char*, va_list, void* user) {
        Meeting* const m = static_cast<Meeting*>(user);
        if (++m->inside == 2) {
          m->both.set_value();
        } else {
          m->met = m->both.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        }
      },
      &meeting);
  std::thread first([] { qn_log(30, "first"); });
  std::thread second([] { qn_log(30, "second"); });
  first.join();
  second.join();
  EXPECT_TRUE(meeting.met);
}

TEST_F(QnLogTest, ThreadsMayInstallAtOnce) {
  std::vector<std::thread> threads;
  Host hosts[4];
  for (Host& host : hosts) {
    threads.emplace_back([&host] {
      for (int n = 0; n < 100; ++n) qn_set_log_handle(&Host::Handle, &host);
    });
  }
  for (std::thread& thread : threads) thread.join();
  qn_log(30, "x");
  std::size_t received = 0;
  for (const Host& host : hosts) received += host.messages.size();
  EXPECT_EQ(received, 1u);
}

}  // namespace
