#include "tests/fuzz/quiet_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "foundation/logger.h"

namespace {

class QuietLogger : public Logger {
 public:
  QuietLogger() : Logger("fuzz"), printed_(std::getenv("QUARN_FUZZ_LOG") != nullptr) {}
  void Log(Level, const char* format, va_list args) override {
    char line[512];
    std::vsnprintf(line, sizeof(line), format, args);
    if (printed_) std::fprintf(stderr, "%s\n", line);
  }
  void Log(Level, const char* text) override {
    if (printed_) std::fprintf(stderr, "%s\n", text);
  }

 private:
  const bool printed_;
};

}  // namespace

void KeepLogQuiet() {
  static QuietLogger* const logger = new QuietLogger;
  Logger::SetDefaultLogger(logger);
}
