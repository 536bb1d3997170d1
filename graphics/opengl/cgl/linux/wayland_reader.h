// The thread that listens to the host's Wayland connection.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_READER_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_READER_H_

#include <wayland-client-core.h>

#include <atomic>
#include <functional>

#include "foundation/mutex.h"
#include "foundation/worker.h"
#include "graphics/opengl/try_again.h"

// Reads what the compositor sends and says when there is something for the library's queue; the window thread takes it
// out. The host reads the same connection, on threads of its own, and whoever prepares to read keeps all the others
// from it until he reads or cancels. So nothing is prepared here while this thread waits: it prepares when there is
// something to read, and reads at once. The host may then have read it before, which no system call tells: that is
// noticed a moment later, kLookAgainMs.
//
// Thread: any, unless it says otherwise.
class WaylandReader {
 public:
  static constexpr int kLookAgainMs = 50;

  // `arrived` is called on the thread when events are in the queue, or the connection has ended, and not again before
  // NoteTaken. It returns false where nobody will take them, and is then called again later.
  WaylandReader(wl_display* display, wl_event_queue* queue, std::function<bool()> arrived);
  // Ends the thread. Not while it listens, and with the connection open.
  ~WaylandReader();
  WaylandReader(const WaylandReader&) = delete;
  WaylandReader& operator=(const WaylandReader&) = delete;

  // Begins to listen, until Stop or the end of the connection.
  void Start();
  // When it returns, the connection is not looked at any more.
  //
  // Blocks: while a thread of the host's that has prepared to read neither reads nor cancels.
  void Stop();
  // What was in the queue is taken out. Where the thread could not be made, this tries again.
  void NoteTaken();
  // For the end of the process: ends the thread, and leaves one that the host keeps waiting.
  void End();

 private:
  void Begin();
  void Listen();
  // Reads what the compositor has sent.
  void Read();
  // Waits until something can be read, or somebody wakes the thread, and only a moment.
  void Wait(bool for_events);
  void Wake();

  wl_display* const display_;
  wl_event_queue* const queue_;
  wl_event_queue* const no_events_;  // Nobody's, so always empty.
  const std::function<bool()> arrived_;
  const int wake_;  // An eventfd; -1 where there was none to be had.
  std::atomic<bool> listens_{false};
  std::atomic<bool> told_{false};  // From `arrived` to NoteTaken.
  Mutex listening_;                // Held by the thread while it listens.
  bool begun_ = false;  // Whether the thread has been told to listen; the window thread's, as is when to try again.
  TryAgain tries_;
  Worker worker_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_READER_H_
