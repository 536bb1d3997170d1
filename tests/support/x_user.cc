#include "tests/support/x_user.h"

#include <xcb/xtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

namespace test {
namespace {

constexpr std::uint8_t kLeftButton = 1;
constexpr std::uint32_t kXdndVersion = 5;

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

xcb_atom_t Atom(xcb_connection_t* x, const char* name) {
  const auto cookie = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, cookie, nullptr));
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

// Gives what was asked for to who asked.
void HandOver(xcb_connection_t* x, const xcb_selection_request_event_t& request, const std::string& text) {
  xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, request.property, request.target, 8,
                      static_cast<std::uint32_t>(text.size()), text.data());
  xcb_selection_notify_event_t notify = {};
  notify.response_type = XCB_SELECTION_NOTIFY;
  notify.requestor = request.requestor;
  notify.selection = request.selection;
  notify.target = request.target;
  notify.property = request.property;
  notify.time = request.time;
  xcb_send_event(x, 0, request.requestor, 0, reinterpret_cast<const char*>(&notify));
  xcb_flush(x);
}

}  // namespace

XUser::XUser(const XConnection& connection, xcb_window_t window) : connection_(connection), window_(window) {
  xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_PARENT, window_, XCB_CURRENT_TIME);
  connection_.Sync();
}

void XUser::MoveTo(int x, int y) { Fake(XCB_MOTION_NOTIFY, 0, ToScreen(x, y)); }

void XUser::Press() { Fake(XCB_BUTTON_PRESS, kLeftButton); }

void XUser::Release() { Fake(XCB_BUTTON_RELEASE, kLeftButton); }

void XUser::Click(int x, int y) { Drag(x, y, x, y); }

void XUser::Drag(int from_x, int from_y, int to_x, int to_y) {
  MoveTo(from_x, from_y);
  Press();
  MoveTo(to_x, to_y);
  Release();
}

void XUser::HoldKey(std::uint32_t keysym) {
  // A key that is pressed again within 2 ms is taken for one that was held, and repeats: nobody is that fast.
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  FakeKey(XCB_KEY_PRESS, keysym);
}

void XUser::LetKeyGo(std::uint32_t keysym) { FakeKey(XCB_KEY_RELEASE, keysym); }

void XUser::Key(std::uint32_t keysym) {
  HoldKey(keysym);
  LetKeyGo(keysym);
}

void XUser::Key(std::uint32_t held, std::uint32_t keysym) {
  HoldKey(held);
  Key(keysym);
  LetKeyGo(held);
}

// The protocol of drag and drop, from the source's side; the messages that say where the pointer is are left at one.
bool XUser::DropFile(const std::string& path, int x, int y) {
  xcb_connection_t* const c = connection_.get();
  MoveTo(x, y);
  XWindowOptions hidden;
  hidden.mapped = false;
  const XWindow source(connection_, 1, 1, hidden);
  const xcb_atom_t uri_list = Atom(c, "text/uri-list"), selection = Atom(c, "XdndSelection");
  const xcb_atom_t status = Atom(c, "XdndStatus"), finished = Atom(c, "XdndFinished");
  xcb_set_selection_owner(c, source.id(), selection, XCB_CURRENT_TIME);
  const Point point = ToScreen(x, y);
  SendToWindow("XdndEnter", source.id(), kXdndVersion << 24, uri_list, 0, 0);
  SendToWindow("XdndPosition", source.id(), 0, static_cast<std::uint32_t>(point.x << 16 | point.y), XCB_CURRENT_TIME,
               Atom(c, "XdndActionCopy"));
  connection_.Sync();
  enum { kWaiting, kTaken, kRefused } answer = kWaiting;
  ComesTrue([&] {
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
      const int type = event->response_type & 0x7f;
      if (type == XCB_SELECTION_REQUEST) {
        HandOver(c, reinterpret_cast<const xcb_selection_request_event_t&>(*event), "file://" + path + "\r\n");
      } else if (type == XCB_CLIENT_MESSAGE) {
        const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
        if (message.type == finished) {
          answer = kTaken;
        } else if (message.type == status && (message.data.data32[1] & 1) == 0) {
          answer = kRefused;
        } else if (message.type == status) {
          SendToWindow("XdndDrop", source.id(), 0, XCB_CURRENT_TIME, 0, 0);
        }
      }
    }
    return answer != kWaiting;
  });
  return answer == kTaken;
}

void XUser::SendToWindow(const char* type, xcb_window_t source, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                         std::uint32_t d) const {
  xcb_client_message_event_t message = {};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window_;
  message.type = Atom(connection_.get(), type);
  const std::uint32_t data[5] = {source, a, b, c, d};
  std::memcpy(message.data.data32, data, sizeof(data));
  xcb_send_event(connection_.get(), 0, window_, 0, reinterpret_cast<const char*>(&message));
  connection_.Sync();
}

std::string XUser::Title() const {
  xcb_connection_t* const c = connection_.get();
  const auto cookie = xcb_get_property(c, 0, window_, Atom(c, "_NET_WM_NAME"), XCB_GET_PROPERTY_TYPE_ANY, 0, 1000);
  const Reply<xcb_get_property_reply_t> name(xcb_get_property_reply(c, cookie, nullptr));
  if (!name) return "";
  return {static_cast<const char*>(xcb_get_property_value(name.get())),
          static_cast<std::size_t>(xcb_get_property_value_length(name.get()))};
}

void XUser::Fake(std::uint8_t type, std::uint8_t detail, Point point) {
  xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, connection_.screen()->root,
                      static_cast<std::int16_t>(point.x), static_cast<std::int16_t>(point.y), 0);
  connection_.Sync();
}

void XUser::FakeKey(std::uint8_t type, std::uint32_t keysym) {
  const xcb_setup_t* const setup = xcb_get_setup(connection_.get());
  const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  const auto cookie = xcb_get_keyboard_mapping(connection_.get(), setup->min_keycode, count);
  const Reply<xcb_get_keyboard_mapping_reply_t> map(xcb_get_keyboard_mapping_reply(connection_.get(), cookie, nullptr));
  ASSERT_NE(map, nullptr);
  const xcb_keysym_t* const keysyms = xcb_get_keyboard_mapping_keysyms(map.get());
  for (int i = 0; i < count; ++i) {
    if (keysyms[i * map->keysyms_per_keycode] != keysym) continue;
    Fake(type, static_cast<std::uint8_t>(setup->min_keycode + i));
    return;
  }
  FAIL() << "no key for " << keysym;
}

XUser::Point XUser::ToScreen(int x, int y) const {
  const auto cookie = xcb_translate_coordinates(connection_.get(), window_, connection_.screen()->root,
                                                static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
  const Reply<xcb_translate_coordinates_reply_t> point(
      xcb_translate_coordinates_reply(connection_.get(), cookie, nullptr));
  return point ? Point{point->dst_x, point->dst_y} : Point();
}

}  // namespace test
