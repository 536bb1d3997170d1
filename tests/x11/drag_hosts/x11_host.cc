// drag-host-x11: a plain window, and the server's implicit grab.
#include <xcb/xcb.h>

#include <cstdlib>

#include "drag_host.h"

int main() {
  xcb_connection_t* const x11 = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(x11) || !StartEngine()) return 1;
  const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(x11)).data;
  const std::uint32_t window = xcb_generate_id(x11);
  const std::uint32_t events[] = {XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                  XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_ENTER_WINDOW};
  xcb_create_window(x11, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, kDragHostWidth, kDragHostHeight, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, events);
  xcb_change_property(x11, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 13, "drag-host-x11");
  xcb_map_window(x11, window);
  xcb_flush(x11);
  {
    const DragHostView view(window);
    for (bool ends = false; !ends;) {
      xcb_generic_event_t* const event = xcb_wait_for_event(x11);
      if (!event) return 1;
      const auto* const input = reinterpret_cast<const xcb_button_press_event_t*>(event);
      switch (event->response_type & 0x7f) {
        case XCB_BUTTON_PRESS: Say("press", input->event_x, input->event_y); break;
        case XCB_MOTION_NOTIFY: Say("move", input->event_x, input->event_y); break;
        case XCB_BUTTON_RELEASE:
          Say("release", input->event_x, input->event_y);
          ends = true;
          break;
        case XCB_ENTER_NOTIFY:
          // What would tell of something inside of which the host knows nothing.
          if (input->detail == XCB_NOTIFY_DETAIL_INFERIOR) Say("enter", input->event_x, input->event_y);
          break;
      }
      std::free(event);
    }
  }
  GsDevice::DestroyDefaultDevice();
  xcb_disconnect(x11);
}
