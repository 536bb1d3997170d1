#include "studio/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <quarn/qn_log.h>

#include "studio/av.h"

namespace studio {
namespace {

void PrintLog(int level, const char* format, va_list args, void* /*user*/) {
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, args);
  const char tag = level == kQnLogError ? 'E' : level == kQnLogWarning ? 'W' : level == kQnLogInfo ? 'I' : 'D';
  std::fprintf(stderr, "%c: %s\n", tag, text);
}

void PrintProblems(int level, const char* format, va_list args, void* user) {
  if (level <= kQnLogWarning) PrintLog(level, format, args, user);
}

thread_local char av_error[512] = "";

void KeepAvError(void* source, int level, const char* format, va_list args) {
  va_list shown;
  va_copy(shown, args);
  av_log_default_callback(source, level, format, shown);
  va_end(shown);
  if (level >= 0 && (level & 0xff) > AV_LOG_ERROR) return;  // The other bits are a colour.
  int prefix = 0;                                           // Without the name of what speaks.
  av_log_format_line2(source, level, format, args, av_error, sizeof(av_error), &prefix);
}

}  // namespace

std::string TakeAvError() {
  std::string text = av_error;
  av_error[0] = '\0';
  text.erase(text.find_last_not_of(" .\n") + 1);
  return text;
}

void ShowLog(LogShown shown) {
  av_log_set_callback(KeepAvError);
  if (shown != LogShown::kEverything) {
    av_log_set_level(AV_LOG_QUIET);
    setenv("SVT_LOG", "0", 0);  // An encoder that prints past FFmpeg's log: errors only.
  }
  qn_set_log_handle(shown == LogShown::kNothing    ? nullptr
                    : shown == LogShown::kProblems ? PrintProblems
                                                   : PrintLog,
                    nullptr);
}

std::string Printable(std::string text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    // UTF-8 has two bytes for each of the controls behind ASCII.
    const bool is_second = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    if ((byte < 0x20 && byte != '\n') || byte == 0x7F) text[i] = '?';
    if (is_second) text.replace(i, 2, "?");
  }
  return text;
}

}  // namespace studio
