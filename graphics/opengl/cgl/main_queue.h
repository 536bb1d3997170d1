// Work for the host's main thread: a seam of its own, because every platform and toolkit has its own main loop. Here a
// host routes it with qn_set_main_queue.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_MAIN_QUEUE_H_
#define QUARN_GRAPHICS_OPENGL_CGL_MAIN_QUEUE_H_

#include <functional>

// Has `work` run once, soon, on the host's main thread, or on a thread of the library's own until the host has named a
// queue. What is posted earlier runs earlier. It may never run.
//
// Thread: any. Does not wait for the work.
void PostToMainQueue(std::function<void()> work);

#endif  // QUARN_GRAPHICS_OPENGL_CGL_MAIN_QUEUE_H_
