// What the threads have in common that work for views: the window thread and the main queue's own.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_VIEW_WORKER_H_
#define QUARN_GRAPHICS_OPENGL_CGL_VIEW_WORKER_H_

#include <chrono>

#include "foundation/logger.h"
#include "foundation/worker.h"
#include "graphics/opengl/cgl/native_context.h"

// How long anybody waits for a work on one of these threads, the end of the process included.
constexpr std::chrono::milliseconds kViewWorkPatience(250);

// Both make contexts current, and both say the same when they cannot work.
inline Worker::Role ViewWorkerRole(const char* thread_name) {
  return {thread_name, "Work for a view",
          [] {
            Logger::default_logger()->Error(
                "the thread for windows could not be created: a view is not shown, or not resized");
          },
          &NativeContext::ReleaseThread};
}

#endif  // QUARN_GRAPHICS_OPENGL_CGL_VIEW_WORKER_H_
