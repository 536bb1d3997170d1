// The thread for windows. Entered by render threads, which post, and by the host's.
#include "graphics/opengl/cgl/window_thread.h"

#include <utility>

#include "graphics/opengl/cgl/view_worker.h"

WindowThread& WindowThread::Get() {
  static NeverDestroyed<WindowThread> thread;
  struct AtExit {
    ~AtExit() { thread.get().worker_.StopWithin(kViewWorkPatience); }
  };
  static const AtExit at_exit;
  return thread.get();
}

WindowThread::WindowThread() : worker_(ViewWorkerRole("quarn-window")) {}

bool WindowThread::Post(std::function<void()> work) { return worker_.Post(std::move(work)) != 0; }

bool WindowThread::HandOver(std::function<void()> work) {
  return worker_.WaitFor(worker_.Post(std::move(work)), kViewWorkPatience);
}
