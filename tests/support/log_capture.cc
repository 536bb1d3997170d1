#include "tests/support/log_capture.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <utility>

LogCapture::Recorder::Recorder(LogCapture* capture) : Logger("Test"), capture_(capture) {}

void LogCapture::Recorder::Log(Level level, const char* format, va_list args) {
  if (!format) return;
  va_list measured;
  va_copy(measured, args);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) {
    capture_->Add(level, format);
    return;
  }
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, args);
  text.pop_back();
  capture_->Add(level, std::move(text));
}

void LogCapture::Recorder::Log(Level level, const char* text) { capture_->Add(level, text); }

LogCapture::LogCapture() : recorder_(this), previous_(Logger::default_logger()) {
  Logger::SetDefaultLogger(&recorder_);
}

LogCapture::~LogCapture() { Logger::SetDefaultLogger(previous_); }

std::vector<LogCapture::Line> LogCapture::Lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::size_t LogCapture::Count(Logger::Level level, const std::string& text) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return CountLocked(level, text);
}

bool LogCapture::Has(Logger::Level level, const std::string& text) const { return Count(level, text) > 0; }

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

bool LogCapture::WaitFor(Logger::Level level, const std::string& text) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return added_.wait_for(lock, std::chrono::seconds(10), [&] { return CountLocked(level, text) > 0; });
}

void LogCapture::Add(Logger::Level level, std::string text) {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.push_back({level, std::move(text)});
  added_.notify_all();
}

std::size_t LogCapture::CountLocked(Logger::Level level, const std::string& text) const {
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), Line{level, text}));
}

void PrintTo(const LogCapture::Line& line, std::ostream* out) {
  *out << "DIWE"[static_cast<int>(line.level)] << ": " << line.text;
}
