// Where memory is missing.
#ifndef QUARN_FOUNDATION_NO_MEMORY_H_
#define QUARN_FOUNDATION_NO_MEMORY_H_

#include <new>
#include <utility>

#include "foundation/logger.h"

// Calls function() for those who must not throw: a public operation, a thread's loop. Where memory is missing, says in
// the log that `what` comes to nothing. Returns whether function() came to its end.
template <class Function>
bool EvenWithoutMemory(const char* what, Function&& function) {
  try {
    std::forward<Function>(function)();
    return true;
  } catch (const std::bad_alloc&) {
    Logger::default_logger()->Error("%s comes to nothing: no memory", what);
    return false;
  }
}

#endif  // QUARN_FOUNDATION_NO_MEMORY_H_
