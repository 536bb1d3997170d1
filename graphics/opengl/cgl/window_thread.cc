// The thread for windows. Entered by render threads and by the host's.
#include "graphics/opengl/cgl/window_thread.h"

#include <chrono>
#include <utility>

#include "foundation/never_destroyed.h"
#include "graphics/frame_times.h"
#include "graphics/opengl/cgl/work_thread.h"

namespace {

constexpr std::chrono::milliseconds kPatience(250);

// Outlives everything that might still draw at exit.
WorkThread& TheThread() {
  static NeverDestroyed<WorkThread> thread("quarn-window");
  struct AtExit {
    ~AtExit() { thread.get().StopWithin(kPatience); }  // One that hangs in the window system is left there.
  };
  static const AtExit at_exit;
  return thread.get();
}

}  // namespace

bool RunOnWindowThread(std::function<void()> work) {
  const FrameSpan wait(FramePart::kWindowWait);
  WorkThread& thread = TheThread();
  return thread.WaitFor(thread.Post(std::move(work)), kPatience);
}

bool WindowThreadLags() { return TheThread().lags(); }
