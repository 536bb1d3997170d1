// Quarn's main-thread work on Qt's event loop. Copy it into your program.
//
//   QApplication app(argc, argv);
//   QtMainQueue queue;                // after the application, before the first view
//   app.exec();
//   ...                               // views go first, then the queue, then the application
#ifndef QUARN_EXAMPLES_MAIN_LOOP_QT_MAIN_QUEUE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_QT_MAIN_QUEUE_H_

#include <QCoreApplication>
#include <QMetaObject>

#include <quarn/qn_main_queue.h>

// Routes the work to the application's event loop for as long as it lives. What is posted and not yet run when it goes
// away runs if the loop goes on, and is dropped with the application otherwise.
//
// Posting runs two things where it is called, on Quarn's render thread with locks of Quarn's held: the application's
// compressEvent and the wakeUp of the main thread's event dispatcher. A program that has overridden one of them must
// not call Quarn there, nor wait for the main thread. Event filters are free to: they run on the main thread, when the
// event is delivered.
class QtMainQueue {
 public:
  QtMainQueue() { qn_set_main_queue(Post, QCoreApplication::instance()); }
  ~QtMainQueue() { qn_set_main_queue(nullptr, nullptr); }  // From here on nobody posts.
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

 private:
  // Queued even on the main thread: the work must not run under the locks of whoever posts.
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    QMetaObject::invokeMethod(
        static_cast<QCoreApplication*>(user), [function, argument] { function(argument); }, Qt::QueuedConnection);
  }
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_QT_MAIN_QUEUE_H_
