// Quarn's main-thread work on a GLib main loop (GLib, GTK, GNOME). Copy it into your program.
//
//   GLibMainQueue queue;              // before the first view
//   g_main_loop_run(loop);
//   ...                               // views go first, then the queue
#ifndef QUARN_EXAMPLES_MAIN_LOOP_GLIB_MAIN_QUEUE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_GLIB_MAIN_QUEUE_H_

#include <glib.h>

#include <quarn/qn_main_queue.h>

// Routes the work to the loop of `context`, null for the default one, for as long as it lives. What is posted and not
// yet run when it goes away runs if the loop goes on, and is dropped with the context otherwise.
//
// Attaching a source runs no code of the program's, but GLib's messages: on Quarn's render thread, with locks of
// Quarn's held. A handler of g_log_set_handler or g_log_set_writer_func must not call Quarn, nor wait for the main
// thread.
class GLibMainQueue {
 public:
  explicit GLibMainQueue(GMainContext* context = nullptr)
      : context_(g_main_context_ref(context ? context : g_main_context_default())) {
    qn_set_main_queue(Post, context_);
  }
  ~GLibMainQueue() {
    qn_set_main_queue(nullptr, nullptr);  // From here on nobody posts.
    g_main_context_unref(context_);
  }
  GLibMainQueue(const GLibMainQueue&) = delete;
  GLibMainQueue& operator=(const GLibMainQueue&) = delete;

 private:
  struct Work {
    QnMainQueueFunction function;
    void* argument;
  };

  // A source each, of one priority, which keeps their order. Not g_main_context_invoke: on the loop's own thread it
  // runs the work at once, under the locks of whoever posts.
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, Run, new Work{function, argument}, Free);
    g_source_attach(source, static_cast<GMainContext*>(user));
    g_source_unref(source);
  }

  static gboolean Run(gpointer data) {
    const Work* const work = static_cast<Work*>(data);
    work->function(work->argument);
    return G_SOURCE_REMOVE;
  }

  static void Free(gpointer data) { delete static_cast<Work*>(data); }

  GMainContext* const context_;
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_GLIB_MAIN_QUEUE_H_
