// The default logger, formatting, and the two loggers that write what is formatted. Any thread enters.
#include "foundation/logger.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>
#include <utility>

#include "foundation/never_destroyed.h"

namespace {

std::atomic<Logger*> default_logger_pointer{nullptr};
std::atomic<Logger::Level> least_printed{Logger::Level::Debug};

const char* LevelPrefix(Logger::Level level) {
  switch (level) {
    case Logger::Level::Debug: return "D:";
    case Logger::Level::Info: return "I:";
    case Logger::Level::Warn: return "W:";
    case Logger::Level::Error: return "E:";
  }
  return "";
}

}  // namespace

Logger::Logger(std::string tag) : tag_(std::move(tag)), buffer_(new (std::nothrow) char[kBufferSize]) {}

Logger::~Logger() = default;

void Logger::Log(Level level, const char* format, va_list args) {
  if (!format) return;
  MutexLocker<Mutex> lock(mutex_);
  char spare[kBufferSize];
  char* const buffer = buffer_ ? buffer_.get() : spare;
  buffer[0] = '\0';
  const int written = std::snprintf(buffer, kBufferSize, "[%s] ", tag_.c_str());
  // snprintf counts what it would have written: a long tag leaves room for the terminator alone.
  const int length = std::clamp(written, 0, kBufferSize - 1);
  const std::size_t room = static_cast<std::size_t>(kBufferSize - length);
  if (std::vsnprintf(buffer + length, room, format, args) < 0) {
    // The arguments cannot be formatted, and what lies in the buffer is unspecified: say at least which message it was.
    std::snprintf(buffer + length, room, "%s", format);
  }
  Log(level, buffer);
}

Logger* Logger::default_logger() {
  Logger* logger = default_logger_pointer.load(std::memory_order_acquire);
  if (logger) return logger;
  // Threads may log until the very end of the process, and without memory above all.
  static NeverDestroyed<LoggerStd> standard("Quarn");
  if (default_logger_pointer.compare_exchange_strong(logger, &standard.get(), std::memory_order_acq_rel)) {
    return &standard.get();
  }
  return logger;
}

void Logger::SetDefaultLogger(Logger* logger) { default_logger_pointer.store(logger, std::memory_order_release); }

void Logger::Debug(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(Level::Debug, format, args);
  va_end(args);
}

void Logger::Info(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(Level::Info, format, args);
  va_end(args);
}

void Logger::Warn(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(Level::Warn, format, args);
  va_end(args);
}

void Logger::Error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(Level::Error, format, args);
  va_end(args);
}

void LoggerStd::Log(Level level, const char* text) {
  const Level least = least_printed.load(std::memory_order_relaxed);
  if (!text || (least != Level::Debug && level < least)) return;
  // One call for the whole line: the stream's own lock then keeps it whole among everything that prints.
  std::printf("%s%s\n", LevelPrefix(level), text);
  // Whoever looks for why a program has died finds it in the file or pipe that the log went to.
  if (level >= Level::Warn) std::fflush(stdout);
}

void LoggerStd::SetLevel(Level least) { least_printed.store(least, std::memory_order_relaxed); }

LoggerHook::LoggerHook(std::string tag, Handler handler, void* user)
    : Logger(std::move(tag)), handler_(handler), user_(user) {}

// No lock is held around the handler, so that it may log, and take locks of its own. It may even replace this hook:
// nothing of the hook is touched after the call.
void LoggerHook::Log(Level level, const char* format, va_list args) {
  if (handler_ && format) handler_(static_cast<int>(level), format, args, user_);
}

void LoggerHook::Log(Level, const char*) {}
