// Log messages of the library and of the host: one stream for both.
//
// Without a handler, lines go to standard output as a level prefix ("D:", "I:", "W:" or "E:"), "[Quarn] " and
// the message; tag and message together are cut to 4,095 characters, the level prefix comes besides.
#ifndef QUARN_QN_LOG_H_
#define QUARN_QN_LOG_H_

#include <cstdarg>

#include <quarn/export.h>

// Levels of the flat entry points and of a handler.
enum QnLogLevel : int {
  kQnLogError = 10,
  kQnLogWarning = 20,
  kQnLogInfo = 30,
  kQnLogDebug = 40,
};

// Receives every message, unformatted: `format` and `args` are those of a printf call, `user` is what was
// given to qn_set_log_handle. `args` is valid during the call only; a handler that reads it twice copies it
// first (va_copy).
//
// Thread: any, several at once: the library's threads and the host's log as they run, so a handler guards
// its own state.
// Callback safety: messages come with locks of the library held. A handler takes no lock under which the host
// calls the library, and calls nothing of the library but qn_log.
typedef void (*QnLogHandler)(int level, const char* format, va_list args, void* user);

extern "C" {

// Logs a message. `level` is a QnLogLevel; any other value logs nothing, and so does a null format.
//
// Thread: any.
QUARN_EXPORT void qn_log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The same for an argument list.
QUARN_EXPORT void qn_log_va(int level, const char* format, va_list args);

// Sends every later message to `handler` in place of standard output. A null handler silences the log.
// Standard output cannot be brought back. Where memory is missing, messages go on where they went before, with an error
// line there.
//
// Thread: call it once at start, before any other thread logs.
// Ownership: `user` stays the host's and must outlive the last message.
QUARN_EXPORT void qn_set_log_handle(QnLogHandler handler, void* user);

}  // extern "C"

#endif  // QUARN_QN_LOG_H_
