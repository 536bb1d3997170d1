// The flat entry points of the log, and the translation of its levels for the host's handler. Any thread enters.
#include <quarn/qn_log.h>

#include <atomic>
#include <new>

#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"

namespace {

std::atomic<QnLogHandler> installed_handler{nullptr};
std::atomic<int> log_level{kQnLogDebug};

// The hook that qn_set_log_handle made last.
struct CurrentHook {
  Mutex mutex;
  LoggerHook* hook QUARN_GUARDED_BY(mutex) = nullptr;
  void* user QUARN_GUARDED_BY(mutex) = nullptr;
};

// A host may install a handler before the library's own statics are made, and until the end of the process.
CurrentHook& GetCurrentHook() {
  static NeverDestroyed<CurrentHook> current;
  return current.get();
}

int PublicLevel(int level) {
  switch (static_cast<Logger::Level>(level)) {
    case Logger::Level::Error: return kQnLogError;
    case Logger::Level::Warn: return kQnLogWarning;
    case Logger::Level::Info: return kQnLogInfo;
    default: return kQnLogDebug;
  }
}

// The least grave of the messages whose public level is not above `level`.
Logger::Level LeastPrinted(int level) {
  if (level >= kQnLogDebug) return Logger::Level::Debug;
  if (level >= kQnLogInfo) return Logger::Level::Info;
  if (level >= kQnLogWarning) return Logger::Level::Warn;
  if (level >= kQnLogError) return Logger::Level::Error;
  return static_cast<Logger::Level>(static_cast<int>(Logger::Level::Error) + 1);
}

void CallInstalledHandler(int level, const char* format, va_list args, void* user) {
  const QnLogHandler handler = installed_handler.load(std::memory_order_acquire);
  if (handler) handler(PublicLevel(level), format, args, user);
}

}  // namespace

void qn_log(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  qn_log_va(level, format, args);
  va_end(args);
}

void qn_log_va(int level, const char* format, va_list args) {
  switch (level) {
    case kQnLogError: Logger::default_logger()->Log(Logger::Level::Error, format, args); break;
    case kQnLogWarning: Logger::default_logger()->Log(Logger::Level::Warn, format, args); break;
    case kQnLogInfo: Logger::default_logger()->Log(Logger::Level::Info, format, args); break;
    case kQnLogDebug: Logger::default_logger()->Log(Logger::Level::Debug, format, args); break;
    default: break;
  }
}

void qn_set_log_handle(QnLogHandler handler, void* user) {
  LoggerHook* const hook = new (std::nothrow) LoggerHook("Quarn", CallInstalledHandler, user);
  if (!hook) {
    Logger::default_logger()->Error("[Log] no memory for another handler: messages go where they went before");
    return;
  }
  CurrentHook& current = GetCurrentHook();
  MutexLocker<Mutex> lock(current.mutex);
  installed_handler.store(handler, std::memory_order_release);
  Logger::SetDefaultLogger(hook);
  delete current.hook;
  current.hook = hook;
  current.user = user;
}

bool qn_get_log_handle(QnLogHandler* handler, void** user) {
  CurrentHook& current = GetCurrentHook();
  MutexLocker<Mutex> lock(current.mutex);
  if (!current.hook) return false;
  if (handler) *handler = installed_handler.load(std::memory_order_acquire);
  if (user) *user = current.user;
  return true;
}

void qn_set_log_level(int level) {
  log_level.store(level, std::memory_order_relaxed);
  LoggerStd::SetLevel(LeastPrinted(level));
}

int qn_log_level() { return log_level.load(std::memory_order_relaxed); }
