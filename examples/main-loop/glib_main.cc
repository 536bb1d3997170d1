// main-loop-glib: a view in a plain X11 window, on a GLib main loop.
#include <glib-unix.h>
#include <xcb/xcb.h>

#include <cstdlib>

#include "demo_scene.h"
#include "glib_main_queue.h"

struct Program {
  xcb_connection_t* x11;
  GMainLoop* loop;
  xcb_atom_t delete_window;
  DemoView* view;
};

xcb_atom_t Atom(xcb_connection_t* x11, const char* name, std::uint16_t length) {
  xcb_intern_atom_reply_t* const reply = xcb_intern_atom_reply(x11, xcb_intern_atom(x11, 0, length, name), nullptr);
  const xcb_atom_t atom = reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
  return std::free(reply), atom;
}

gboolean OnX11(int /*fd*/, GIOCondition /*condition*/, gpointer data) {
  const Program& program = *static_cast<Program*>(data);
  while (xcb_generic_event_t* const event = xcb_poll_for_event(program.x11)) {
    if ((event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY) {
      const auto* const configure = reinterpret_cast<xcb_configure_notify_event_t*>(event);
      program.view->Resize(configure->width, configure->height);
    } else if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
      const auto* const message = reinterpret_cast<xcb_client_message_event_t*>(event);
      if (message->data.data32[0] == program.delete_window) g_main_loop_quit(program.loop);
    }
    std::free(event);
  }
  if (!xcb_connection_has_error(program.x11)) return G_SOURCE_CONTINUE;
  return g_main_loop_quit(program.loop), G_SOURCE_REMOVE;
}

int main() {
  xcb_connection_t* const x11 = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(x11)) return 1;
  const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(x11)).data;
  const std::uint32_t window = xcb_generate_id(x11);
  const std::uint32_t events[] = {XCB_EVENT_MASK_STRUCTURE_NOTIFY};
  xcb_create_window(x11, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 640, 360, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, events);
  const xcb_atom_t delete_window = Atom(x11, "WM_DELETE_WINDOW", 16);
  xcb_change_property(x11, XCB_PROP_MODE_REPLACE, window, Atom(x11, "WM_PROTOCOLS", 12), XCB_ATOM_ATOM, 32, 1,
                      &delete_window);
  xcb_change_property(x11, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 14, "main-loop-glib");
  xcb_map_window(x11, window);
  xcb_flush(x11);
  {
    const GsDefaultDevice device;
    if (!device.valid()) return 1;
    const GLibMainQueue queue;
    DemoView view({reinterpret_cast<void*>(static_cast<std::uintptr_t>(window))}, 640, 360);
    Program program = {x11, g_main_loop_new(nullptr, FALSE), delete_window, &view};
    g_unix_fd_add(xcb_get_file_descriptor(x11), G_IO_IN, OnX11, &program);
    OnX11(0, G_IO_IN, &program);  // What was read while waiting for replies.
    g_main_loop_run(program.loop);
    g_main_loop_unref(program.loop);
  }
  xcb_disconnect(x11);
}
