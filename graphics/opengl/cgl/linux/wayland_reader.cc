// Listens to the host's connection. The window thread starts and stops it; Listen is the thread itself.
#include "graphics/opengl/cgl/linux/wayland_reader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "foundation/logger.h"
#include "graphics/opengl/cgl/view_worker.h"

namespace {

bool CanBeRead(int fd) {
  pollfd connection = {fd, POLLIN, 0};
  return poll(&connection, 1, 0) > 0;
}

}  // namespace

WaylandReader::WaylandReader(wl_display* display, wl_event_queue* queue, std::function<bool()> arrived)
    : display_(display),
      queue_(queue),
      no_events_(wl_display_create_queue(display)),
      arrived_(std::move(arrived)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      worker_({"quarn-wayland", "Listening to the Wayland compositor",
               [] {
                 Logger::default_logger()->Error(
                     "the thread that listens to the Wayland compositor could not be created: views do not change");
               },
               nullptr}) {}

WaylandReader::~WaylandReader() {
  worker_.Stop();
  if (no_events_) wl_event_queue_destroy(no_events_);
  if (wake_ != -1) close(wake_);
}

void WaylandReader::Start() {
  listens_ = true;
  Begin();
}

void WaylandReader::Begin() {
  begun_ = worker_.Post([this] { Listen(); }) != 0;
  if (begun_) {
    tries_.NoteSuccess();
  } else {
    tries_.NoteFailure();
  }
}

void WaylandReader::Stop() {
  listens_ = false;
  Wake();
  const MutexLocker<Mutex> lock(listening_);
}

void WaylandReader::NoteTaken() {
  if (listens_ && !begun_ && tries_.IsDue()) Begin();
  if (told_.exchange(false)) Wake();
}

void WaylandReader::End() {
  listens_ = false;
  Wake();
  worker_.StopWithin(kViewWorkPatience);
}

void WaylandReader::Listen() {
  const MutexLocker<Mutex> lock(listening_);
  while (listens_) {
    const bool ended = wl_display_get_error(display_) != 0;
    if (!ended && wl_display_prepare_read_queue(display_, queue_) == 0) {
      wl_display_cancel_read(display_);
      wl_display_flush(display_);  // What a full connection did not take before.
      Wait(true);
      if (CanBeRead(wl_display_get_fd(display_))) Read();
      continue;
    }
    const bool tells = !told_.exchange(true);
    const bool heard = tells && arrived_();
    if (tells && !heard) told_ = false;
    // Where something else was told before, the end still is to be.
    if (ended && heard) return;
    Wait(false);
  }
}

void WaylandReader::Read() {
  if (wl_display_prepare_read_queue(display_, queue_) != 0) return;
  // The host may have been quicker: then nothing is there any more, and it may prepare again at once.
  if (CanBeRead(wl_display_get_fd(display_))) {
    wl_display_read_events(display_);
    // What the compositor says of the connection itself, an error above all, is dispatched with any queue.
    if (no_events_) wl_display_dispatch_queue_pending(display_, no_events_);
  } else {
    wl_display_cancel_read(display_);
  }
}

void WaylandReader::Wait(bool for_events) {
  pollfd both[] = {{wake_, POLLIN, 0}, {wl_display_get_fd(display_), POLLIN, 0}};
  poll(both, for_events ? 2 : 1, kLookAgainMs);
  std::uint64_t count = 0;
  if (both[0].revents != 0 && read(wake_, &count, sizeof(count)) < 0) return;
}

void WaylandReader::Wake() {
  const std::uint64_t one = 1;
  if (write(wake_, &one, sizeof(one)) < 0) return;  // It is awake soon anyway.
}
