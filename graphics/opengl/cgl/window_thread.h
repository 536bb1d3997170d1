// The thread that talks to the window system: a seam of its own, for some window systems want it to be the main thread.
// Here it is one for the process. A window system can stop answering at any point, and those who draw must not stop
// with it.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_
#define QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_

#include <functional>

// Has `work` run after all that was handed over before. Waits for it, a quarter of a second at most; once that was in
// vain, not at all until the window system has caught up. Returns true when the work is known to be done; else it is
// done later, or, where there is no such thread, never.
//
// Thread: any. The work must not take the context's lock.
bool RunOnWindowThread(std::function<void()> work);

// Whether the window system has kept somebody waiting in vain and has not caught up yet.
bool WindowThreadLags();

#endif  // QUARN_GRAPHICS_OPENGL_CGL_WINDOW_THREAD_H_
