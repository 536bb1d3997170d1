// The process-wide logger. Any thread logs; a message never interleaves with another.
#ifndef QUARN_FOUNDATION_LOGGER_H_
#define QUARN_FOUNDATION_LOGGER_H_

#include <cstdarg>
#include <memory>
#include <string>

#include "foundation/mutex.h"

// Formats messages behind a tag and writes them as lines.
class Logger {
 public:
  enum class Level : int { Debug = 0, Info = 1, Warn = 2, Error = 3 };

  // A handler takes the level as an int.
  using Handler = void (*)(int level, const char* format, va_list args, void* user);

  // Without memory for its buffer it formats on the stack.
  explicit Logger(std::string tag);
  virtual ~Logger();
  // Formats "[tag] message" into the buffer, cut to 4,095 characters, and passes it on as a line.
  virtual void Log(Level level, const char* format, va_list args);
  // Writes a finished line.
  virtual void Log(Level level, const char* text) = 0;

  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Never null: a LoggerStd with the tag "Quarn" until another is set, memory or not. The logger lives for the rest of
  // the process.
  static Logger* default_logger();
  // The previous logger is neither destroyed nor notified.
  static void SetDefaultLogger(Logger* logger);

  void Debug(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void Info(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void Warn(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void Error(const char* format, ...) __attribute__((format(printf, 2, 3)));

 protected:
  static constexpr int kBufferSize = 4096;

  std::string tag_;
  Mutex mutex_;                                              // Held from formatting to the end of writing a line.
  std::unique_ptr<char[]> buffer_ QUARN_GUARDED_BY(mutex_);  // Null without memory.
};

// Prints to standard output what is at least as grave as the level asks for.
class LoggerStd : public Logger {
 public:
  using Logger::Log;
  using Logger::Logger;
  void Log(Level level, const char* text) override;

  // For all of its kind: the least grave messages that are printed. Debug, as until set, prints all, those of
  // other levels too; one beyond Error prints nothing.
  // Thread: any.
  static void SetLevel(Level least);
};

// Hands every message to a handler, unformatted and without a tag.
class LoggerHook : public Logger {
 public:
  LoggerHook(std::string tag, Handler handler, void* user);
  void Log(Level level, const char* format, va_list args) override;
  void Log(Level level, const char* text) override;

 private:
  Handler handler_;
  void* user_;
};

#endif  // QUARN_FOUNDATION_LOGGER_H_
