// The thread for windows. Entered by render threads and by the host's.
#include "graphics/opengl/cgl/window_thread.h"

#include <cstdint>
#include <utility>

#include "graphics/frame_times.h"
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

bool WindowThread::HandOver(std::function<void()> work) {
  const FrameSpan wait(FramePart::kWindowWait);
  const std::uint64_t number = worker_.Post(std::move(work));
  return worker_.WaitFor(number, kViewWorkPatience);
}
