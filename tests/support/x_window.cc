#include "tests/support/x_window.h"

#include <xcb/xtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace test {
namespace {

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

// The server's pixels are B G R and a byte of no meaning, or alpha.
Picture ToPicture(const xcb_get_image_reply_t* reply, int width, int height) {
  Picture picture(width, height, 4);
  const std::uint8_t* const bytes = xcb_get_image_data(reply);
  if (static_cast<std::size_t>(xcb_get_image_data_length(reply)) < picture.pixels.size()) return Picture();
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    picture.pixels[i] = bytes[i + 2];
    picture.pixels[i + 1] = bytes[i + 1];
    picture.pixels[i + 2] = bytes[i];
    picture.pixels[i + 3] = 255;
  }
  return picture;
}

xcb_atom_t Atom(xcb_connection_t* connection, const char* name) {
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

}  // namespace

XConnection::XConnection(const std::string& display) {
  int number = 0;
  connection_ = xcb_connect(display.empty() ? nullptr : display.c_str(), &number);
  if (!ok()) return;
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  while (number-- > 0) xcb_screen_next(&screens);
  screen_ = screens.data;
}

XConnection::~XConnection() { Disconnect(); }

void XConnection::Disconnect() {
  if (connection_) xcb_disconnect(connection_);
  connection_ = nullptr;
}

xcb_visualid_t XConnection::FindVisual(int depth) const {
  for (auto depths = xcb_screen_allowed_depths_iterator(screen_); depths.rem; xcb_depth_next(&depths)) {
    if (depths.data->depth != depth) continue;
    for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem; xcb_visualtype_next(&visuals)) {
      if (visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR) return visuals.data->visual_id;
    }
  }
  return 0;
}

std::uint32_t XConnection::MakePixmap(int width, int height) const {
  const std::uint32_t pixmap = xcb_generate_id(connection_);
  xcb_create_pixmap(connection_, screen_->root_depth, pixmap, screen_->root, static_cast<std::uint16_t>(width),
                    static_cast<std::uint16_t>(height));
  Sync();
  return pixmap;
}

xcb_window_t XConnection::MakeInputOnlyWindow(int width, int height) const {
  const xcb_window_t window = xcb_generate_id(connection_);
  xcb_create_window(connection_, 0, window, screen_->root, 0, 0, static_cast<std::uint16_t>(width),
                    static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0,
                    nullptr);
  xcb_map_window(connection_, window);
  Sync();
  return window;
}

xcb_window_t XConnection::FindWindow(const std::string& title) const {
  const Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection_, xcb_query_tree(connection_, screen_->root), nullptr));
  if (!tree) return 0;
  for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
    const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, window), nullptr));
    if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;  // Toolkits have hidden ones.
    const auto cookie = xcb_get_property(connection_, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 100);
    const Reply<xcb_get_property_reply_t> name(xcb_get_property_reply(connection_, cookie, nullptr));
    if (!name) continue;
    const char* const text = static_cast<const char*>(xcb_get_property_value(name.get()));
    if (title == std::string(text, static_cast<std::size_t>(xcb_get_property_value_length(name.get())))) return window;
  }
  return 0;
}

void XConnection::Sync() const {
  const Reply<xcb_get_input_focus_reply_t> reply(
      xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

Picture XConnection::ReadScreen(int x, int y, int width, int height) const {
  const auto cookie = xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, static_cast<std::int16_t>(x),
                                    static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                                    static_cast<std::uint16_t>(height), ~0u);
  const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection_, cookie, nullptr));
  return reply ? ToPicture(reply.get(), width, height) : Picture();
}

XWindow::XWindow(const XConnection& connection, int width, int height, const XWindowOptions& options)
    : connection_(connection), id_(xcb_generate_id(connection.get())), owned_(true) {
  xcb_connection_t* const x = connection_.get();
  const xcb_screen_t* const screen = connection_.screen();
  const int depth = options.depth ? options.depth : screen->root_depth;
  const xcb_visualid_t visual = depth == screen->root_depth ? screen->root_visual : connection_.FindVisual(depth);
  read_from_screen_ = depth != screen->root_depth;
  // Another visual wants a colour map of its own, and a border that is not a copy of the parent's.
  const xcb_colormap_t colormap = xcb_generate_id(x);
  xcb_create_colormap(x, XCB_COLORMAP_ALLOC_NONE, colormap, screen->root, visual);
  const std::uint32_t values[] = {options.background | 0xff000000u, 0, 1, colormap};
  xcb_create_window(x, static_cast<std::uint8_t>(depth), id_, options.parent ? options.parent : screen->root,
                    static_cast<std::int16_t>(options.x), static_cast<std::int16_t>(options.y),
                    static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP, values);
  if (options.mapped) Map();
  connection_.Sync();
}

XWindow::XWindow(const XConnection& connection, xcb_window_t id) : connection_(connection), id_(id) {}

XWindow::~XWindow() {
  if (owned_) Destroy();
}

void XWindow::Map() {
  xcb_map_window(connection_.get(), id_);
  connection_.Sync();
}

void XWindow::Unmap() {
  xcb_unmap_window(connection_.get(), id_);
  connection_.Sync();
}

void XWindow::Resize(int width, int height) {
  const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
  Configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
}

void XWindow::MoveTo(int x, int y) {
  const std::uint32_t values[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
  Configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
}

void XWindow::Raise() {
  const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
  Configure(XCB_CONFIG_WINDOW_STACK_MODE, &mode);
}

void XWindow::Lower() {
  const std::uint32_t mode = XCB_STACK_MODE_BELOW;
  Configure(XCB_CONFIG_WINDOW_STACK_MODE, &mode);
}

void XWindow::Configure(std::uint16_t mask, const std::uint32_t* values) {
  xcb_configure_window(connection_.get(), id_, mask, values);
  connection_.Sync();
}

void XWindow::Destroy() {
  if (owned_ && connection_.ok()) {
    xcb_destroy_window(connection_.get(), id_);
    connection_.Sync();
  }
  owned_ = false;
}

int XWindow::ChildCount() const {
  const Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection_.get(), xcb_query_tree(connection_.get(), id_), nullptr));
  return tree ? xcb_query_tree_children_length(tree.get()) : -1;
}

bool XWindow::ComesToHold(int count) const {
  return ComesTrue([&] { return ChildCount() == count; });
}

bool XWindow::HearsAClickAt(int x, int y) {
  xcb_connection_t* const c = connection_.get();
  const std::uint32_t events = XCB_EVENT_MASK_BUTTON_PRESS;
  xcb_change_window_attributes(c, id_, XCB_CW_EVENT_MASK, &events);
  xcb_warp_pointer(c, XCB_NONE, id_, 0, 0, 0, 0, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
  xcb_test_fake_input(c, XCB_BUTTON_PRESS, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
  xcb_test_fake_input(c, XCB_BUTTON_RELEASE, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
  connection_.Sync();  // What the window is told has come before this answer.
  bool heard = false;
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
    if ((event->response_type & 0x7f) != XCB_BUTTON_PRESS) continue;
    const auto* const press = reinterpret_cast<const xcb_button_press_event_t*>(event.get());
    heard = heard || (press->event == id_ && press->event_x == x && press->event_y == y);
  }
  return heard;
}

void XWindow::AskToClose() {
  xcb_client_message_event_t message = {};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = id_;
  message.type = Atom(connection_.get(), "WM_PROTOCOLS");
  message.data.data32[0] = Atom(connection_.get(), "WM_DELETE_WINDOW");
  xcb_send_event(connection_.get(), 0, id_, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
  connection_.Sync();
}

Picture XWindow::Read() const {
  xcb_connection_t* const x = connection_.get();
  const Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(x, xcb_get_geometry(x, id_), nullptr));
  if (!geometry) return Picture();
  if (read_from_screen_) {
    const xcb_window_t root = connection_.screen()->root;
    const Reply<xcb_translate_coordinates_reply_t> at(
        xcb_translate_coordinates_reply(x, xcb_translate_coordinates(x, id_, root, 0, 0), nullptr));
    return at ? connection_.ReadScreen(at->dst_x, at->dst_y, geometry->width, geometry->height) : Picture();
  }
  const auto cookie = xcb_get_image(x, XCB_IMAGE_FORMAT_Z_PIXMAP, id_, 0, 0, geometry->width, geometry->height, ~0u);
  const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(x, cookie, nullptr));
  return reply ? ToPicture(reply.get(), geometry->width, geometry->height) : Picture();
}

::testing::AssertionResult XWindow::ComesToShow(const Picture& expected, const Tolerance& tolerance,
                                                const std::function<void()>& between) const {
  const auto look = [&] {
    if (between) between();
    return Read();
  };
  return test::ComesToShow(
      look, [this] { return !connection_.ok(); }, expected, tolerance);
}

}  // namespace test
