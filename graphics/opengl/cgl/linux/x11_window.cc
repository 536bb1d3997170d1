// X11 windows for views. Only the window thread enters, but for X11Connection::Get; whoever talks to the server may
// have to wait for it.
#include "graphics/opengl/cgl/linux/x11_window.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"

namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

// A side as the server takes it.
std::uint16_t Side(unsigned int size) { return static_cast<std::uint16_t>(std::clamp(size, 1u, 32767u)); }

// The visual of that name and its depth; null where the screen has none.
const xcb_visualtype_t* FindVisual(const xcb_screen_t* screen, xcb_visualid_t visual, std::uint8_t* its_depth) {
  *its_depth = screen->root_depth;
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem; xcb_depth_next(&depth)) {
    for (auto type = xcb_depth_visuals_iterator(depth.data); type.rem; xcb_visualtype_next(&type)) {
      if (type.data->visual_id != visual) continue;
      *its_depth = depth.data->depth;
      return type.data;
    }
  }
  return nullptr;
}

// A part of a colour, 0 to 1, in the bits that a visual has for it.
std::uint32_t InBits(float part, std::uint32_t mask) {
  if (mask == 0) return 0;
  const std::uint32_t lowest = mask & ~(mask - 1);
  const double value = part > 0 ? std::min(static_cast<double>(part), 1.0) : 0.0;
  const std::uint32_t highest = mask / lowest;
  return static_cast<std::uint32_t>(std::lround(value * highest)) * lowest;
}

xcb_screen_t* ScreenOf(xcb_connection_t* connection, int number) {
  auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; screen.rem > 1 && number > 0; --number) xcb_screen_next(&screen);
  return screen.data;
}

// Which of the server's errors it was.
const char* ErrorName(std::uint8_t code) {
  switch (code) {
    case XCB_MATCH: return "it takes no pictures, or is on another screen";
    case XCB_ALLOC: return "the X server is out of memory";
    default: return "the X server refuses it";
  }
}

}  // namespace

X11Connection* X11Connection::Get() {
  static NeverDestroyed<Mutex> mutex;
  static X11Connection* opened = nullptr;
  MutexLocker<Mutex> lock(mutex.get());
  if (!opened) {
    int screen = 0;
    xcb_connection_t* const connection = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(connection)) {
      xcb_disconnect(connection);
      return nullptr;
    }
    xcb_get_maximum_request_length(connection);  // Asked once, for drivers that cannot do without the answer.
    opened = new X11Connection(connection, screen);
  }
  return opened;
}

X11Connection::X11Connection(xcb_connection_t* connection, int screen_number)
    : connection_(connection), screen_number_(screen_number), screen_(ScreenOf(connection, screen_number)) {
  const xcb_query_extension_reply_t* const shape = xcb_get_extension_data(connection, &xcb_shape_id);
  has_shapes_ = shape && shape->present;
}

bool X11Connection::Poll() {
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) Dispatch(*event);
  if (!lost_ && xcb_connection_has_error(connection_)) {
    lost_ = true;
    Logger::default_logger()->Warn("The X server is gone: views show nothing any more");
  }
  return !lost_;
}

void X11Connection::Dispatch(const xcb_generic_event_t& event) {
  // Of all that comes only this one matters. Errors of requests to a window that is gone are to be expected.
  if ((event.response_type & 0x7f) != XCB_DESTROY_NOTIFY) return;
  const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
  for (X11Window* window : windows_) {
    if (window->id() == gone) window->destroyed_ = true;
  }
}

void X11Connection::Add(X11Window* window) { windows_.push_back(window); }

void X11Connection::Remove(X11Window* window) { windows_.erase(std::find(windows_.begin(), windows_.end(), window)); }

std::unique_ptr<X11Window> X11Window::Create(X11Connection* connection, void* host_window, xcb_visualid_t visual,
                                             unsigned int width, unsigned int height, bool* missing) {
  const auto handle = reinterpret_cast<std::uintptr_t>(host_window);
  const auto host = static_cast<xcb_window_t>(handle);
  if (handle == 0) {
    Logger::default_logger()->Warn("A view cannot be shown: it was given no window");
    return nullptr;
  }
  if (host != handle) {
    Logger::default_logger()->Warn("A view cannot be shown in window 0x%llx: there is no such window",
                                   static_cast<unsigned long long>(handle));
    return nullptr;
  }
  xcb_connection_t* const xcb = connection->xcb();
  std::uint8_t depth = 0;
  const xcb_visualtype_t* const type = FindVisual(connection->screen(), visual, &depth);
  std::unique_ptr<X11Window> window(new X11Window(connection, host, width, height));
  window->visual_ = type;
  window->colormap_ = xcb_generate_id(xcb);
  const xcb_void_cookie_t colormap =
      xcb_create_colormap_checked(xcb, XCB_COLORMAP_ALLOC_NONE, window->colormap_, connection->screen()->root, visual);
  xcb_discard_reply(xcb, colormap.sequence);

  // In the order of the bits. No background yet: the host's window comes through until there is a picture. What is
  // there stays in place when the size changes, so that nothing flashes. A window manager is to leave it alone, should
  // the host's window be the root. Only its end is of interest.
  const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, XCB_GRAVITY_NORTH_WEST, 1, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                  window->colormap_};
  const std::uint32_t mask = XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY | XCB_CW_OVERRIDE_REDIRECT |
                             XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
  const xcb_void_cookie_t create =
      xcb_create_window_checked(xcb, depth, window->id_, host, 0, 0, window->width_, window->height_, 0,
                                XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask, values);
  if (const Reply<xcb_generic_error_t> error{xcb_request_check(xcb, create)}) {
    *missing = error->error_code == XCB_WINDOW;
    if (!*missing) {
      Logger::default_logger()->Warn("A view cannot be shown in window 0x%x: %s", host, ErrorName(error->error_code));
    }
    return nullptr;
  }
  if (!connection->Poll()) return nullptr;
  // Without it the pointer would enter this window at each press, and the host's be told that it went inside: there are
  // toolkits that let go of the pointer then, and never hear of a release outside.
  if (connection->has_shapes()) {
    const xcb_void_cookie_t shape = xcb_shape_rectangles_checked(
        xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window->id_, 0, 0, 0, nullptr);
    xcb_discard_reply(xcb, shape.sequence);
  }
  xcb_discard_reply(xcb, xcb_map_window_checked(xcb, window->id_).sequence);
  xcb_flush(xcb);
  return window;
}

X11Window::X11Window(X11Connection* connection, xcb_window_t host_window, unsigned int width, unsigned int height)
    : connection_(connection),
      host_window_(host_window),
      id_(xcb_generate_id(connection->xcb())),
      width_(Side(width)),
      height_(Side(height)) {
  connection_->Add(this);
}

X11Window::~X11Window() {
  connection_->Remove(this);
  // Whether they still exist is of no interest.
  xcb_connection_t* const xcb = connection_->xcb();
  xcb_discard_reply(xcb, xcb_destroy_window_checked(xcb, id_).sequence);
  if (colormap_ != XCB_NONE) xcb_discard_reply(xcb, xcb_free_colormap_checked(xcb, colormap_).sequence);
  xcb_flush(xcb);
}

bool X11Window::Alive() const { return connection_->Poll() && !destroyed_; }

void X11Window::Resize(unsigned int width, unsigned int height) {
  if (Side(width) == width_ && Side(height) == height_) return;
  width_ = Side(width);
  height_ = Side(height);
  const std::uint32_t values[] = {width_, height_};
  xcb_connection_t* const xcb = connection_->xcb();
  const xcb_void_cookie_t configure =
      xcb_configure_window_checked(xcb, id_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
  xcb_discard_reply(xcb, configure.sequence);
  xcb_flush(xcb);
}

void X11Window::SetBackground(float r, float g, float b) {
  if (!visual_) return;
  const std::uint32_t red = visual_->red_mask, green = visual_->green_mask, blue = visual_->blue_mask;
  // What is no colour is opacity, if it is anything.
  const std::uint32_t pixel = InBits(r, red) | InBits(g, green) | InBits(b, blue) | ~(red | green | blue);
  if (background_ == pixel) return;
  background_ = pixel;
  xcb_connection_t* const xcb = connection_->xcb();
  xcb_discard_reply(xcb, xcb_change_window_attributes_checked(xcb, id_, XCB_CW_BACK_PIXEL, &pixel).sequence);
  xcb_flush(xcb);
}
