// The thread that talks to the window system: a seam of its own, for some window systems want it to be the main thread,
// and some want windows to be used by the thread that made them only.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_
#define QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_

#include <functional>

#include "foundation/never_destroyed.h"
#include "foundation/worker.h"

// There is one for the process, from the first work on. A window system can stop answering at any point, and those who
// draw must not stop with it: they post. Only who makes or ends a view waits, in HandOver, and there only so long.
class WindowThread {
 public:
  // The process's. It outlives everything that might still draw at exit; one that hangs in the window system when the
  // process ends is left there.
  static WindowThread& Get();

  // Has `work` run after all that was posted before. Returns false when it is dropped: there is no such thread, or no
  // memory, which the log says; or the process ends.
  //
  // Thread: any.
  bool Post(std::function<void()> work);
  // The same, and waits for it, a quarter of a second at most; once that was in vain, not at all until the window
  // system has caught up. Returns true when the work is known to be done; else it is done later, or, where there is no
  // such thread, never.
  //
  // Thread: any. With the context's lock held it would keep frames waiting, and a work that takes that lock.
  bool HandOver(std::function<void()> work);

  // Whether somebody has waited in vain, and the window system has not caught up yet.
  bool lags() const { return worker_.lags(); }

 private:
  friend class NeverDestroyed<WindowThread>;

  WindowThread();

  Worker worker_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_
