// How requests to a Wayland compositor fail, and how it goes away.
#include <sys/socket.h>
#include <wayland-client-core.h>
#include <wayland-egl-core.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "tests/faults/lost_connections.h"
#include "tests/faults/scenario.h"
#include "tests/faults/stub.h"
#include "tests/support/wayland_arguments.h"

namespace faults {
namespace {

// The host's, as the library knows it.
std::atomic<wl_display*> connection{nullptr};

template <class R>
R Refuse(int reason, R answer) {
  errno = reason;
  return answer;
}

template <class R>
R* NoMemory() {
  return Refuse<R*>(ENOMEM, nullptr);
}

std::atomic<int> window_objects{0};

// All else is the connection's, and stays.
bool IsForAWindow(const char* interface) {
  for (const char* const name :
       {"wl_surface", "wl_subsurface", "wl_region", "wl_callback", "wp_viewport", "wp_fractional_scale_v1"}) {
    if (std::strcmp(interface, name) == 0) return true;
  }
  return false;
}

void Destroy(wl_proxy* proxy) {
  if (IsForAWindow(wl_proxy_get_class(proxy))) --window_objects;
  wl_proxy_destroy(proxy);
}

// With it the library begins to use a connection.
wl_event_queue* CreateQueue(wl_display* display) {
  connection = display;
  return wl_display_create_queue(display);
}

// All requests; those that make an object may fail, and are named by what they make.
wl_proxy* Marshal(wl_proxy* proxy, std::uint32_t request, const wl_interface* interface, std::uint32_t version,
                  std::uint32_t flags, ...) {
  MayLoseWayland("wl_proxy_marshal_flags");
  if (interface && Decide(kWayland, interface->name) == Fate::kFails) return NoMemory<wl_proxy>();
  va_list list;
  va_start(list, flags);
  test::WaylandArguments arguments = test::TakeWaylandArguments(proxy, request, list);
  va_end(list);
  if (interface && IsForAWindow(interface->name)) ++window_objects;
  if ((flags & WL_MARSHAL_FLAG_DESTROY) && IsForAWindow(wl_proxy_get_class(proxy))) --window_objects;
  return wl_proxy_marshal_array_flags(proxy, request, interface, version, flags, arguments.values);
}

}  // namespace

int WindowObjects() { return window_objects; }

bool MayLoseWayland(const char* name) {
  wl_display* const present = connection;
  if (present && Decide(kWaylandLost, name) == Fate::kFails) shutdown(wl_display_get_fd(present), SHUT_RDWR);
  return false;
}

#define ANSWER(function, answer) QUARN_FAULT_ANSWER(function, kWayland, MayLoseWayland, answer)
#define NEVER(function) QUARN_FAULT(function, kWayland, nullptr, nullptr)

std::vector<Import> WaylandImports() {
  Import create_queue = QUARN_FAULT_ANSWER(CreateQueue, kWayland, nullptr, NoMemory<wl_event_queue>());
  create_queue.name = "wl_display_create_queue";
  return {
      create_queue,
      {"wl_proxy_marshal_flags", reinterpret_cast<void*>(&Marshal)},
      {"wl_proxy_destroy", reinterpret_cast<void*>(&Destroy)},
      ANSWER(wl_proxy_create_wrapper, NoMemory<void>()),
      ANSWER(wl_egl_window_create, NoMemory<wl_egl_window>()),
      ANSWER(wl_display_flush, Refuse(EAGAIN, -1)),
      ANSWER(wl_display_prepare_read_queue, Refuse(EAGAIN, -1)),
      ANSWER(wl_display_dispatch_queue_pending, Refuse(ENOMEM, -1)),
      QUARN_FAULT(wl_display_read_events, kWayland, MayLoseWayland,
                  [](wl_display* display) {
                    wl_display_cancel_read(display);
                    return Refuse(ENOMEM, -1);
                  }),
      NEVER(wl_display_cancel_read),
      NEVER(wl_display_get_error),
      NEVER(wl_display_get_fd),
      NEVER(wl_display_get_protocol_error),
      NEVER(wl_egl_window_destroy),
      NEVER(wl_egl_window_resize),
      NEVER(wl_event_queue_destroy),
      NEVER(wl_proxy_add_listener),
      NEVER(wl_proxy_get_class),
      NEVER(wl_proxy_get_version),
      NEVER(wl_proxy_set_queue),
      NEVER(wl_proxy_wrapper_destroy),
  };
}

}  // namespace faults
