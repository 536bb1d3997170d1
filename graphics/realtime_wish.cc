// The render thread's scheduling class. Fulfil and End are the render thread's, the rest is any thread's.
#include "graphics/realtime_wish.h"

#include <cstring>

#include "foundation/logger.h"
#include "foundation/thread.h"

void RealtimeWish::Fulfil() {
  const bool wished = wished_.load(std::memory_order_relaxed);
  if (wished == taken_) return;
  taken_ = wished;
  const int error = SetThisThreadRealtime(wished);
  if (error == 0) {
    fulfilled_.store(wished, std::memory_order_relaxed);
  } else {
    Logger::default_logger()->Warn("The render thread does not become %s: %s", wished ? "real-time" : "ordinary again",
                                   std::strerror(error));
  }
}

void RealtimeWish::End() {
  taken_ = false;
  fulfilled_.store(false, std::memory_order_relaxed);
}
