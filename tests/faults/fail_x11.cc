// How requests to an X server fail, and how it goes away.
#include <sys/socket.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <atomic>
#include <cstdlib>

#include "tests/faults/lost_connections.h"
#include "tests/faults/stub.h"

namespace faults {
namespace {

// The library has one a process.
std::atomic<xcb_connection_t*> connection{nullptr};

// No server has it.
constexpr xcb_window_t kNoWindow = 0x0ead0ead;

xcb_connection_t* Connect(const char* display, int* screen) {
  connection = nullptr;
  xcb_connection_t* const made = xcb_connect(display, screen);
  connection = made;
  return made;
}

void Disconnect(xcb_connection_t* which) {
  connection = nullptr;
  xcb_disconnect(which);
}

// What the server refuses, in place of what was asked.
xcb_void_cookie_t BadRequest() { return xcb_destroy_window_checked(connection, kNoWindow); }

xcb_generic_error_t* CheckBadly(xcb_connection_t* which, xcb_void_cookie_t cookie) {
  if (xcb_generic_error_t* const error = xcb_request_check(which, cookie)) return error;
  auto* const error = static_cast<xcb_generic_error_t*>(std::calloc(1, sizeof(xcb_generic_error_t)));
  error->error_code = XCB_ALLOC;
  return error;
}

// As when the connection goes while the answer is waited for.
template <class Reply>
Reply* Lost(Reply* reply) {
  std::free(reply);
  return nullptr;
}

}  // namespace

bool MayLoseX11(const char* name) {
  xcb_connection_t* const present = connection;
  if (present && Decide(kX11Lost, name) == Fate::kFails) {
    shutdown(xcb_get_file_descriptor(present), SHUT_RDWR);
  }
  return false;
}

#define REQUEST(function) QUARN_FAULT_ANSWER(function, kX11, MayLoseX11, BadRequest())
// Of requests whose answer nobody waits for, since the window may go at any time: they may be lost, not refused.
#define UNHEARD(function) QUARN_FAULT(function, kX11, MayLoseX11, nullptr)
#define ANSWER(function, answer) QUARN_FAULT_ANSWER(function, kX11, MayLoseX11, answer)
// Of functions that ask nothing of the server: to them a loss is none yet.
#define LOCAL(function, answer) QUARN_FAULT_ANSWER(function, kX11, nullptr, answer)
#define REPLY(function) \
  QUARN_FAULT(function, kX11, MayLoseX11, [](auto... arguments) { return Lost(function(arguments...)); })

std::vector<Import> X11Imports() {
  Import connect = QUARN_FAULT(Connect, kX11, nullptr,
                               [](const char*, int* screen) { return xcb_connect("no such display", screen); });
  connect.name = "xcb_connect";
  Import disconnect = QUARN_FAULT(Disconnect, kX11, nullptr, nullptr);
  disconnect.name = "xcb_disconnect";
  return {
      connect,
      disconnect,
      UNHEARD(xcb_change_window_attributes_checked),
      UNHEARD(xcb_configure_window_checked),
      REQUEST(xcb_create_colormap_checked),
      REQUEST(xcb_create_window_checked),
      UNHEARD(xcb_destroy_window_checked),
      UNHEARD(xcb_free_colormap_checked),
      UNHEARD(xcb_map_window_checked),
      REQUEST(xcb_reparent_window_checked),
      UNHEARD(xcb_shape_rectangles_checked),
      LOCAL(xcb_connection_has_error, int{XCB_CONN_ERROR}),
      ANSWER(xcb_flush, 0),
      LOCAL(xcb_generate_id, ~std::uint32_t{0}),
      ANSWER(xcb_get_extension_data, static_cast<const xcb_query_extension_reply_t*>(nullptr)),
      ANSWER(xcb_get_geometry, xcb_get_geometry(connection, kNoWindow)),
      ANSWER(xcb_get_window_attributes, xcb_get_window_attributes(connection, kNoWindow)),
      ANSWER(xcb_get_maximum_request_length, std::uint32_t{0}),
      ANSWER(xcb_poll_for_event, static_cast<xcb_generic_event_t*>(nullptr)),
      REPLY(xcb_get_geometry_reply),
      REPLY(xcb_get_window_attributes_reply),
      QUARN_FAULT(xcb_request_check, kX11, MayLoseX11, &CheckBadly),
      QUARN_FAULT(xcb_discard_reply, kX11, MayLoseX11, nullptr),
  };
}

}  // namespace faults
