// The host's main thread, for the work that a window system wants done there. Words and tags: quarn.h.
//
// A host need not call qn_set_main_queue, for a thread of the library's own does that work otherwise; it does where the
// second stage of a resize is to run on its main loop.
#ifndef QUARN_QN_MAIN_QUEUE_H_
#define QUARN_QN_MAIN_QUEUE_H_

#include <quarn/export.h>

extern "C" {

// Work of the library, to be run once.
//
// `argument`: what came with the function.
//
// Thread: the host's main thread.
// Callback safety: the host holds no lock under which it calls the library.
// Blocks: stage.
typedef void (*QnMainQueueFunction)(void* argument);

// Queues work to the host's main loop and returns without running it: the main thread calls function(argument) once,
// soon, holding no lock of the host's under which it calls the library. Works queued earlier run earlier. A host whose
// loop has ended may drop the work: views keep their last size, and what was dropped a little memory until the process
// ends.
//
// `function`, `argument`: the work.
// `user`: what was given to qn_set_main_queue.
//
// Thread: any, one call at a time, also the render thread.
// Callback safety: runs with locks of the library held: it must not call the library, nor wait for the main thread. The
// same is forbidden to what a toolkit runs while something is posted to it, such as a watch over its event queue; and
// to whatever holds a lock that posting takes, on any thread.
typedef void (*QnMainQueuePost)(QnMainQueueFunction function, void* argument, void* user);

// Routes the main-thread work of views, the second stage of a resize, to the host's loop.
//
// Work that was queued before stays where it was queued. When the call returns, the previous `post` is not running and
// will not be called again. See examples/main-loop/ for GLib, Qt and SDL.
//
// `post`: queues the work; null goes back to the default: a thread of the library's own runs the work, in order.
// `user`: passed to it with each.
//
// Thread: any, but not inside a `post`.
// Blocks: for a running `post`, so hold no lock that it takes.
// Ownership: `user` stays the host's and must outlive the last `post`.
QUARN_EXPORT void qn_set_main_queue(QnMainQueuePost post, void* user);

}  // extern "C"

#endif  // QUARN_QN_MAIN_QUEUE_H_
