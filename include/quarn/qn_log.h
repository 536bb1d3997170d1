// Log messages of the library and of the host: one stream for both. Words and tags: quarn.h.
//
// Without a handler, lines go to standard output as a level prefix ("D:", "I:", "W:" or "E:"), "[Quarn] " and
// the message; tag and message together are cut to 4,095 characters, the level prefix comes besides.
#ifndef QUARN_QN_LOG_H_
#define QUARN_QN_LOG_H_

#include <cstdarg>

#include <quarn/export.h>

// Levels of the flat entry points and of a handler.
enum QnLogLevel : int {
  kQnLogError = 10,    // Something that was asked for will not happen.
  kQnLogWarning = 20,  // It goes on, but differently.
  kQnLogInfo = 30,     // What a person who runs a host wants to know.
  kQnLogDebug = 40,    // The rest.
};

// Receives every message, unformatted.
//
// `level`: a QnLogLevel.
// `format`, `args`: those of a printf call. A handler that reads `args` twice copies it first (va_copy).
// `user`: what was given to qn_set_log_handle.
//
// Thread: any, several at once: the library's threads and the host's log as they run, so a handler guards its own
// state.
// Callback safety: messages come with locks of the library held. A handler takes no lock under which the host
// calls the library, and calls nothing of the library but qn_log.
// Ownership: `format` and `args` are valid during the call only.
typedef void (*QnLogHandler)(int level, const char* format, va_list args, void* user);

extern "C" {

// Logs a message.
//
// `level`: a QnLogLevel; any other value logs nothing.
// `format`: printf's; null logs nothing.
//
// Thread: any.
// Blocks: for the handler; without one, for other messages that are being written.
QUARN_EXPORT void qn_log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Logs a message with an argument list.
//
// `level`, `format`: as qn_log takes them.
// `args`: printf's; used up by the call.
//
// Thread: any.
// Blocks: for the handler; without one, for other messages that are being written.
QUARN_EXPORT void qn_log_va(int level, const char* format, va_list args);

// Sends every later message to a handler in place of standard output, which cannot be brought back. Where memory is
// missing, messages go on where they went before, with an error line there.
//
// `handler`: what receives the messages; null silences the log.
// `user`: passed to it with each.
//
// Thread: call it once at start, before any other thread logs.
// Blocks: for another call of it.
// Ownership: `user` stays the host's and must outlive the last message.
QUARN_EXPORT void qn_set_log_handle(QnLogHandler handler, void* user);

// Reads back what qn_set_log_handle was given last, for a handler that passes on what it does not keep, or that is to
// be put back later.
//
// `handler`, `user`: receive the two; null for what is not asked for. Left alone where the result is false.
// Returns false while messages still go to standard output, as they do until a handler is set.
//
// Thread: any.
// Blocks: for a running qn_set_log_handle.
// Ownership: `user` stays the host's.
QUARN_EXPORT bool qn_get_log_handle(QnLogHandler* handler, void** user);

// Sets how much is printed to standard output. A handler receives every message whatever the level is.
//
// `level`: messages of this QnLogLevel and of those below it in number are printed: kQnLogWarning prints errors and
// warnings. kQnLogDebug prints all of them, as it is until set; 0 prints none. In between, the next lower one counts.
//
// Thread: any.
// Blocks: no.
QUARN_EXPORT void qn_set_log_level(int level);
// Returns the level that was set last, a QnLogLevel or whatever number that was; kQnLogDebug until then.
//
// Thread: any.
// Blocks: no.
QUARN_EXPORT int qn_log_level(void);

}  // extern "C"

#endif  // QUARN_QN_LOG_H_
