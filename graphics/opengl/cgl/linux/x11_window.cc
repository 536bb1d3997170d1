// X11 windows for views. Only the window thread enters, and may have to wait for the server.
#include "graphics/opengl/cgl/linux/x11_window.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "foundation/logger.h"
#include "graphics/opengl/cgl/linux/x11_window_system.h"

namespace {

// A side as the server takes it.
std::uint16_t Side(unsigned int size) { return static_cast<std::uint16_t>(std::clamp(size, 1u, 32767u)); }

// A coordinate as the server takes it. One that is beyond its limits is beyond every window, and stays so.
std::int16_t Coordinate(int value) { return static_cast<std::int16_t>(std::clamp(value, -32768, 32767)); }

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

// What an error of the server's says about the host's window.
const char* ErrorName(std::uint8_t code) {
  switch (code) {
    case XCB_MATCH: return "it takes no pictures, or is on another screen";
    case XCB_ALLOC: return "the X server is out of memory";
    default: return "the X server refuses it";
  }
}

// The error that making a window in the host's would come to, which has the server look at it; 0 for none.
std::uint8_t ErrorOf(xcb_connection_t* xcb, const xcb_screen_t* screen, xcb_window_t host) {
  const xcb_get_geometry_cookie_t asked_where = xcb_get_geometry(xcb, host);
  const xcb_get_window_attributes_cookie_t asked_what = xcb_get_window_attributes(xcb, host);
  xcb_generic_error_t* error = nullptr;
  const X11Reply<xcb_get_geometry_reply_t> where{xcb_get_geometry_reply(xcb, asked_where, nullptr)};
  const X11Reply<xcb_get_window_attributes_reply_t> what{xcb_get_window_attributes_reply(xcb, asked_what, &error)};
  const X11Reply<xcb_generic_error_t> owned{error};
  if (error) return error->error_code;
  const bool takes_pictures = what && what->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
  return !where || (takes_pictures && where->root == screen->root) ? 0 : XCB_MATCH;
}

}  // namespace

std::unique_ptr<X11Window> X11Window::Create(X11WindowSystem* system, const WindowSystem::WindowRequest& request,
                                             bool* missing) {
  const auto handle = reinterpret_cast<std::uintptr_t>(request.host_window);
  const auto visual = static_cast<xcb_visualid_t>(request.visual);
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
  xcb_connection_t* const xcb = system->xcb();
  const auto refused = [&](std::uint8_t code) {
    *missing = code == XCB_WINDOW;
    if (!*missing) Logger::default_logger()->Warn("A view cannot be shown in window 0x%x: %s", host, ErrorName(code));
    return nullptr;
  };
  if (const std::uint8_t code = ErrorOf(xcb, system->screen(), host)) return refused(code);
  std::uint8_t depth = 0;
  const xcb_visualtype_t* const type = FindVisual(system->screen(), visual, &depth);
  std::unique_ptr<X11Window> window(new X11Window(system, host, request));
  window->visual_ = type;
  window->colormap_ = xcb_generate_id(xcb);
  const xcb_void_cookie_t colormap =
      xcb_create_colormap_checked(xcb, XCB_COLORMAP_ALLOC_NONE, window->colormap_, system->screen()->root, visual);
  xcb_discard_reply(xcb, colormap.sequence);

  // The values stand in the order of the mask's bits. There is no background yet: the host's window comes through until
  // there is a picture. What the window holds stays in place when its size changes, so that nothing flashes. It begins
  // in the root, where a window manager is to leave it alone. Of all events only its end is wanted.
  const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, XCB_GRAVITY_NORTH_WEST, 1, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                  window->colormap_};
  const std::uint32_t mask = XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY | XCB_CW_OVERRIDE_REDIRECT |
                             XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
  const xcb_void_cookie_t create =
      xcb_create_window_checked(xcb, depth, window->id_, system->screen()->root, window->x_, window->y_, window->width_,
                                window->height_, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask, values);
  if (const X11Reply<xcb_generic_error_t> error{xcb_request_check(xcb, create)}) return refused(error->error_code);
  // With an input region the pointer would enter this window at each press, and the host's window be told that it has
  // gone inside: there are toolkits that let go of the pointer then, and never hear of a release outside.
  if (system->has_shapes()) {
    const xcb_void_cookie_t shape = xcb_shape_rectangles_checked(
        xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window->id_, 0, 0, 0, nullptr);
    xcb_discard_reply(xcb, shape.sequence);
  }
  // As late as can be: a driver that makes a surface without the server may crash.
  return system->Poll() ? std::move(window) : nullptr;
}

void X11Window::Enter() {
  xcb_connection_t* const xcb = system_->xcb();
  const xcb_void_cookie_t enter = xcb_reparent_window_checked(xcb, id_, host_window_, x_, y_);
  if (const X11Reply<xcb_generic_error_t> error{xcb_request_check(xcb, enter)}) {
    // The host's window has gone. This one is still in the root, unmapped, until its end, and counts as gone.
    destroyed_ = true;
    return;
  }
  xcb_discard_reply(xcb, xcb_map_window_checked(xcb, id_).sequence);
  xcb_flush(xcb);
}

X11Window::X11Window(X11WindowSystem* system, xcb_window_t host_window, const WindowSystem::WindowRequest& request)
    : system_(system),
      host_window_(host_window),
      id_(xcb_generate_id(system->xcb())),
      width_(Side(request.width)),
      height_(Side(request.height)),
      x_(Coordinate(request.x)),
      y_(Coordinate(request.y)) {
  system_->Add(this);
}

X11Window::~X11Window() {
  system_->Remove(this);
  // Both may be gone already; the errors are discarded.
  xcb_connection_t* const xcb = system_->xcb();
  xcb_discard_reply(xcb, xcb_destroy_window_checked(xcb, id_).sequence);
  if (colormap_ != XCB_NONE) xcb_discard_reply(xcb, xcb_free_colormap_checked(xcb, colormap_).sequence);
  xcb_flush(xcb);
}

bool X11Window::Alive() const { return system_->Poll() && !destroyed_; }

void X11Window::LogGone() const {
  Logger::default_logger()->Warn("A view shows nothing any more: its window 0x%x is gone", host_window_);
}

void X11Window::Resize(unsigned int width, unsigned int height) {
  if (Side(width) == width_ && Side(height) == height_) return;
  width_ = Side(width);
  height_ = Side(height);
  const std::uint32_t values[] = {width_, height_};
  Configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
}

void X11Window::Move(int x, int y) {
  if (Coordinate(x) == x_ && Coordinate(y) == y_) return;
  x_ = Coordinate(x);
  y_ = Coordinate(y);
  const std::uint32_t values[] = {static_cast<std::uint32_t>(x_), static_cast<std::uint32_t>(y_)};
  Configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
}

void X11Window::Configure(std::uint16_t what, const std::uint32_t* values) {
  xcb_connection_t* const xcb = system_->xcb();
  xcb_discard_reply(xcb, xcb_configure_window_checked(xcb, id_, what, values).sequence);
  xcb_flush(xcb);
}

void X11Window::SetBackground(float r, float g, float b) {
  if (!visual_) return;
  const std::uint32_t red = visual_->red_mask, green = visual_->green_mask, blue = visual_->blue_mask;
  // Bits that belong to no colour are opacity, where they mean anything.
  const std::uint32_t pixel = InBits(r, red) | InBits(g, green) | InBits(b, blue) | ~(red | green | blue);
  if (background_ == pixel) return;
  background_ = pixel;
  xcb_connection_t* const xcb = system_->xcb();
  xcb_discard_reply(xcb, xcb_change_window_attributes_checked(xcb, id_, XCB_CW_BACK_PIXEL, &pixel).sequence);
  xcb_flush(xcb);
}
