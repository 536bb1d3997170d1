// Collects what is logged while it lives. For tests that link the layers themselves.
#ifndef QUARN_TESTS_SUPPORT_LOG_CAPTURE_H_
#define QUARN_TESTS_SUPPORT_LOG_CAPTURE_H_

#include <condition_variable>
#include <cstddef>
#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/logger.h"

// Stands in as the default logger from construction to destruction, then puts the previous one back. Threads that log
// must have ended by then.
class LogCapture {
 public:
  struct Line {
    Logger::Level level;
    std::string text;  // The formatted message, whole and without a tag.

    bool operator==(const Line& other) const { return level == other.level && text == other.text; }
  };

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<Line> Lines() const;
  // How often exactly this message came.
  std::size_t Count(Logger::Level level, const std::string& text) const;
  bool Has(Logger::Level level, const std::string& text) const;
  void Clear();

  // Waits until exactly this message has come. Returns false after ten seconds without.
  bool WaitFor(Logger::Level level, const std::string& text) const;

 private:
  class Recorder : public Logger {
   public:
    explicit Recorder(LogCapture* capture);
    void Log(Level level, const char* format, va_list args) override;
    void Log(Level level, const char* text) override;

   private:
    LogCapture* capture_;
  };

  void Add(Logger::Level level, std::string text);
  std::size_t CountLocked(Logger::Level level, const std::string& text) const;

  mutable std::mutex mutex_;
  mutable std::condition_variable added_;
  std::vector<Line> lines_;
  Recorder recorder_;
  Logger* previous_;
};

// Prints a line when an expectation fails.
void PrintTo(const LogCapture::Line& line, std::ostream* out);

#endif  // QUARN_TESTS_SUPPORT_LOG_CAPTURE_H_
