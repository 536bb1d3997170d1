#include "tests/support/wayland_window.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <weston-screenshooter-client-protocol.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

namespace test {
namespace {

// In the compositor's units.
int Logical(int pixels, double scale) { return static_cast<int>(std::lround(pixels / scale)); }

std::string NewName() {
  static std::atomic<int> count{0};
  return "window-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

}  // namespace

WaylandBuffer::WaylandBuffer(wl_shm* shm, int width, int height, std::uint32_t format, int stride)
    : size_(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height)) {
  const int fd = memfd_create("picture", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, static_cast<off_t>(size_)) != 0) std::abort();
  data_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (data_ == MAP_FAILED) std::abort();
  wl_shm_pool* const pool = wl_shm_create_pool(shm, fd, static_cast<std::int32_t>(size_));
  buffer_ = wl_shm_pool_create_buffer(pool, 0, width, height, stride, format);
  wl_shm_pool_destroy(pool);
  close(fd);
}

WaylandBuffer::~WaylandBuffer() {
  wl_buffer_destroy(buffer_);
  munmap(data_, size_);
}

struct WaylandConnection::Listeners {
  static WaylandConnection* Of(void* data) { return static_cast<WaylandConnection*>(data); }

  template <class T>
  static void Bind(wl_registry* registry, std::uint32_t name, const wl_interface& interface, std::uint32_t version,
                   T** object) {
    if (!*object) *object = static_cast<T*>(wl_registry_bind(registry, name, &interface, version));
  }

  static void Global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                     std::uint32_t version) {
    WaylandConnection* const c = Of(data);
    const auto is = [interface](const wl_interface& known) { return std::strcmp(interface, known.name) == 0; };
    if (is(wl_compositor_interface))
      Bind(registry, name, wl_compositor_interface, std::min(version, 4u), &c->surfaces_);
    if (is(wl_subcompositor_interface)) Bind(registry, name, wl_subcompositor_interface, 1, &c->subsurfaces_);
    if (is(wl_shm_interface)) Bind(registry, name, wl_shm_interface, 1, &c->shm_);
    if (is(wl_seat_interface)) Bind(registry, name, wl_seat_interface, 1, &c->seat_);
    if (is(wl_output_interface)) Bind(registry, name, wl_output_interface, 2, &c->output_);
    if (is(xdg_wm_base_interface)) Bind(registry, name, xdg_wm_base_interface, 1, &c->shell_);
    if (is(wp_viewporter_interface)) Bind(registry, name, wp_viewporter_interface, 1, &c->viewporter_);
    if (is(zxdg_output_manager_v1_interface)) {
      Bind(registry, name, zxdg_output_manager_v1_interface, std::min(version, 2u), &c->output_manager_);
    }
    if (is(weston_screenshooter_interface)) {
      Bind(registry, name, weston_screenshooter_interface, 1, &c->screenshooter_);
    }
    if (is(zwlr_screencopy_manager_v1_interface)) {
      Bind(registry, name, zwlr_screencopy_manager_v1_interface, 1, &c->screencopy_);
    }
    if (is(zwlr_virtual_pointer_manager_v1_interface)) {
      Bind(registry, name, zwlr_virtual_pointer_manager_v1_interface, 1, &c->pointers_);
    }
  }
  static void GlobalRemove(void* /*data*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}
  static constexpr wl_registry_listener kRegistry = {Global, GlobalRemove};

  static void Ping(void* /*data*/, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }
  static constexpr xdg_wm_base_listener kShell = {Ping};

  static void Geometry(void* /*data*/, wl_output* /*output*/, std::int32_t /*x*/, std::int32_t /*y*/,
                       std::int32_t /*width*/, std::int32_t /*height*/, std::int32_t /*subpixel*/, const char* /*make*/,
                       const char* /*model*/, std::int32_t /*transform*/) {}
  static void Mode(void* data, wl_output* /*output*/, std::uint32_t flags, std::int32_t width, std::int32_t height,
                   std::int32_t /*refresh*/) {
    if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
    Of(data)->width_ = width;
    Of(data)->height_ = height;
  }
  static void OutputDone(void* /*data*/, wl_output* /*output*/) {}
  static void OutputScale(void* /*data*/, wl_output* /*output*/, std::int32_t /*scale*/) {}
  static constexpr wl_output_listener kOutput = {Geometry, Mode, OutputDone, OutputScale, nullptr, nullptr};

  static void LogicalPosition(void* /*data*/, zxdg_output_v1* /*output*/, std::int32_t /*x*/, std::int32_t /*y*/) {}
  static void LogicalSize(void* data, zxdg_output_v1* /*output*/, std::int32_t width, std::int32_t height) {
    Of(data)->logical_width_ = width;
    Of(data)->logical_height_ = height;
  }
  static void LogicalDone(void* /*data*/, zxdg_output_v1* /*output*/) {}
  static void Name(void* /*data*/, zxdg_output_v1* /*output*/, const char* /*name*/) {}
  static constexpr zxdg_output_v1_listener kLogicalOutput = {LogicalPosition, LogicalSize, LogicalDone, Name, Name};

  static void Capabilities(void* data, wl_seat* seat, std::uint32_t capabilities) {
    WaylandConnection* const c = Of(data);
    const bool has_pointer = (capabilities & WL_SEAT_CAPABILITY_POINTER) != 0;
    if (has_pointer == (c->pointer_ != nullptr)) return;
    if (!has_pointer) {
      wl_pointer_destroy(c->pointer_);
      c->pointer_ = nullptr;
      return;
    }
    c->pointer_ = wl_seat_get_pointer(seat);
    wl_pointer_add_listener(c->pointer_, &kPointer, c);
  }
  static constexpr wl_seat_listener kSeat = {Capabilities, nullptr};

  static void Enter(void* data, wl_pointer* /*pointer*/, std::uint32_t /*serial*/, wl_surface* surface, wl_fixed_t x,
                    wl_fixed_t y) {
    Of(data)->entered_ = surface;
    Motion(data, nullptr, 0, x, y);
  }
  static void Leave(void* data, wl_pointer* /*pointer*/, std::uint32_t /*serial*/, wl_surface* /*surface*/) {
    Of(data)->entered_ = nullptr;
  }
  static void Motion(void* data, wl_pointer* /*pointer*/, std::uint32_t /*time*/, wl_fixed_t x, wl_fixed_t y) {
    Of(data)->pointer_x_ = wl_fixed_to_double(x);
    Of(data)->pointer_y_ = wl_fixed_to_double(y);
  }
  static void Button(void* data, wl_pointer* /*pointer*/, std::uint32_t /*serial*/, std::uint32_t /*time*/,
                     std::uint32_t /*button*/, std::uint32_t state) {
    WaylandConnection* const c = Of(data);
    if (state != WL_POINTER_BUTTON_STATE_PRESSED) return;
    c->clicked_ = c->entered_;
    c->clicked_x_ = c->pointer_x_;
    c->clicked_y_ = c->pointer_y_;
  }
  static void Axis(void* /*data*/, wl_pointer* /*pointer*/, std::uint32_t /*time*/, std::uint32_t /*axis*/,
                   wl_fixed_t /*value*/) {}
  // The seat is bound in its first version, which sends no others.
  static constexpr wl_pointer_listener kPointer = [] {
    wl_pointer_listener listener = {};
    listener.enter = Enter;
    listener.leave = Leave;
    listener.motion = Motion;
    listener.button = Button;
    listener.axis = Axis;
    return listener;
  }();
};

// A screenshot on its way.
struct WaylandConnection::Shot {
  std::uint32_t format = WL_SHM_FORMAT_XRGB8888;
  int width = 0;
  int height = 0;
  int stride = 0;
  bool is_inverted = false;
  bool is_over = false;
  bool has_failed = false;

  static Shot* Of(void* data) { return static_cast<Shot*>(data); }

  static void Buffer(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t format, std::uint32_t width,
                     std::uint32_t height, std::uint32_t stride) {
    Of(data)->format = format;
    Of(data)->width = static_cast<int>(width);
    Of(data)->height = static_cast<int>(height);
    Of(data)->stride = static_cast<int>(stride);
  }
  static void Flags(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t flags) {
    Of(data)->is_inverted = (flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT) != 0;
  }
  static void Ready(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t /*seconds_high*/,
                    std::uint32_t /*seconds*/, std::uint32_t /*nanoseconds*/) {
    Of(data)->is_over = true;
  }
  static void Failed(void* data, zwlr_screencopy_frame_v1* /*frame*/) {
    Of(data)->is_over = Of(data)->has_failed = true;
  }
  static constexpr zwlr_screencopy_frame_v1_listener kFrame = {Buffer, Flags, Ready, Failed};

  static void Done(void* data, weston_screenshooter* /*screenshooter*/) { Of(data)->is_over = true; }
  static constexpr weston_screenshooter_listener kScreenshooter = {Done};

  // Of pixels B G R or R G B, and a byte of no meaning.
  Picture ToPicture(const unsigned char* data) const {
    const bool is_red_first = format == WL_SHM_FORMAT_XBGR8888 || format == WL_SHM_FORMAT_ABGR8888;
    Picture picture(data, static_cast<std::size_t>(stride), width, height, 4);
    for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
      if (!is_red_first) std::swap(picture.pixels[i], picture.pixels[i + 2]);
      picture.pixels[i + 3] = 255;
    }
    return is_inverted ? picture.Flipped() : picture;
  }
};

WaylandConnection::WaylandConnection(const WaylandCompositor& compositor)
    : compositor_(compositor), display_(wl_display_connect(compositor.socket().c_str())) {
  if (!display_) return;
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &Listeners::kRegistry, this);
  Sync();
  if (shell_) xdg_wm_base_add_listener(shell_, &Listeners::kShell, this);
  if (output_) wl_output_add_listener(output_, &Listeners::kOutput, this);
  if (seat_) wl_seat_add_listener(seat_, &Listeners::kSeat, this);
  if (output_ && output_manager_) {
    logical_output_ = zxdg_output_manager_v1_get_xdg_output(output_manager_, output_);
    zxdg_output_v1_add_listener(logical_output_, &Listeners::kLogicalOutput, this);
  }
  Sync();
}

WaylandConnection::~WaylandConnection() { Disconnect(); }

void WaylandConnection::Disconnect() {
  if (!display_) return;
  const auto destroy = [](auto* object) {
    if (object) wl_proxy_destroy(reinterpret_cast<wl_proxy*>(object));
  };
  destroy(pointers_);
  destroy(screencopy_);
  destroy(screenshooter_);
  destroy(logical_output_);
  destroy(output_manager_);
  destroy(viewporter_);
  destroy(shell_);
  destroy(output_);
  destroy(pointer_);
  destroy(seat_);
  destroy(shm_);
  destroy(subsurfaces_);
  destroy(surfaces_);
  destroy(registry_);
  wl_display_disconnect(display_);
  display_ = nullptr;
}

bool WaylandConnection::ok() const {
  return display_ && wl_display_get_error(display_) == 0 && surfaces_ && shell_ && output_ && logical_width_ > 0;
}

double WaylandConnection::scale() const {
  // The screen's width in the compositor's units is a whole number, so the ratio is known to a part of that: to what
  // scales are counted in.
  return std::round(120.0 * width_ / logical_width_) / 120.0;
}

void WaylandConnection::Sync() const {
  if (display_) wl_display_roundtrip(display_);
}

Picture WaylandConnection::ReadAll() const {
  if (!ok()) return Picture();
  Shot shot;
  std::unique_ptr<WaylandBuffer> buffer;
  const auto wait = [this](const bool* until) {
    while (!*until && wl_display_dispatch(display_) >= 0) {
    }
  };
  if (screencopy_) {
    zwlr_screencopy_frame_v1* const frame = zwlr_screencopy_manager_v1_capture_output(screencopy_, 0, output_);
    zwlr_screencopy_frame_v1_add_listener(frame, &Shot::kFrame, &shot);
    Sync();  // It is told the size, or has failed.
    if (shot.width > 0 && !shot.has_failed) {
      buffer = std::make_unique<WaylandBuffer>(shm_, shot.width, shot.height, shot.format, shot.stride);
      zwlr_screencopy_frame_v1_copy(frame, buffer->get());
      wait(&shot.is_over);
    }
    zwlr_screencopy_frame_v1_destroy(frame);
  } else if (screenshooter_) {
    shot.width = width_;
    shot.height = height_;
    shot.stride = 4 * width_;
    buffer = std::make_unique<WaylandBuffer>(shm_, shot.width, shot.height, shot.format, shot.stride);
    if (wl_proxy_get_listener(reinterpret_cast<wl_proxy*>(screenshooter_))) {
      wl_proxy_set_user_data(reinterpret_cast<wl_proxy*>(screenshooter_), &shot);
    } else {
      weston_screenshooter_add_listener(screenshooter_, &Shot::kScreenshooter, &shot);
    }
    weston_screenshooter_shoot(screenshooter_, output_, buffer->get());
    wait(&shot.is_over);
  }
  return shot.is_over && !shot.has_failed ? shot.ToPicture(buffer->data()) : Picture();
}

Picture WaylandConnection::ReadScreen(int x, int y, int width, int height) const {
  const Picture screen = ReadAll();
  if (screen.width == 0) return Picture();
  Picture part = Flat(width, height, 0);
  const int left = std::max(0, -x), right = std::min(width, screen.width - x);
  for (int row = std::max(0, -y); row < std::min(height, screen.height - y) && left < right; ++row) {
    std::copy_n(screen.at(x + left, y + row), 4 * (right - left), part.at(left, row));
  }
  return part;
}

void WaylandConnection::Click(int x, int y) {
  if (!pointers_) return;
  zwlr_virtual_pointer_v1* const pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers_, nullptr);
  Sync();  // The seat has a pointer now,
  Sync();  // and the host listens to it.
  zwlr_virtual_pointer_v1_motion_absolute(pointer, 0, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y),
                                          static_cast<std::uint32_t>(width_), static_cast<std::uint32_t>(height_));
  zwlr_virtual_pointer_v1_frame(pointer);
  for (const std::uint32_t state : {WL_POINTER_BUTTON_STATE_PRESSED, WL_POINTER_BUTTON_STATE_RELEASED}) {
    zwlr_virtual_pointer_v1_button(pointer, 0, BTN_LEFT, state);
    zwlr_virtual_pointer_v1_frame(pointer);
  }
  Sync();
  zwlr_virtual_pointer_v1_destroy(pointer);  // It would be on the screen.
  Sync();
}

wl_surface* WaylandConnection::TakeClick(double* x, double* y) {
  wl_surface* const surface = clicked_;
  clicked_ = nullptr;
  *x = clicked_x_ * scale();
  *y = clicked_y_ * scale();
  return surface;
}

struct WaylandWindow::Listeners {
  static void ConfigureSurface(void* data, xdg_surface* surface, std::uint32_t serial) {
    xdg_surface_ack_configure(surface, serial);
    static_cast<WaylandWindow*>(data)->configured_ = true;
  }
  static constexpr xdg_surface_listener kSurface = {ConfigureSurface};

  // The size is the host's own.
  static void Configure(void* /*data*/, xdg_toplevel* /*toplevel*/, std::int32_t /*width*/, std::int32_t /*height*/,
                        wl_array* /*states*/) {}
  static void Close(void* /*data*/, xdg_toplevel* /*toplevel*/) {}
  static constexpr xdg_toplevel_listener kToplevel = {Configure, Close, nullptr, nullptr};
};

WaylandWindow::WaylandWindow(WaylandConnection& connection, int width, int height, const WaylandWindowOptions& options)
    : connection_(connection),
      options_(options),
      is_in_weston_(connection.compositor().options().kind == WaylandCompositor::kWeston),
      name_(NewName()),
      x_(options.x),
      y_(options.y),
      width_(width),
      height_(height) {
  surface_ = wl_compositor_create_surface(connection_.surfaces_);
  if (connection_.viewporter_) viewport_ = wp_viewporter_get_viewport(connection_.viewporter_, surface_);
  if (options.mapped) Map();
}

WaylandWindow::~WaylandWindow() { Destroy(); }

void WaylandWindow::Map() {
  shell_surface_ = xdg_wm_base_get_xdg_surface(connection_.shell_, surface_);
  xdg_surface_add_listener(shell_surface_, &Listeners::kSurface, this);
  toplevel_ = xdg_surface_get_toplevel(shell_surface_);
  xdg_toplevel_add_listener(toplevel_, &Listeners::kToplevel, this);
  xdg_toplevel_set_app_id(toplevel_, name_.c_str());
  xdg_toplevel_set_title(toplevel_, options_.title.c_str());
  if (is_in_weston_) xdg_toplevel_set_fullscreen(toplevel_, nullptr);
  // The first commit has no picture and asks for a size.
  configured_ = false;
  wl_surface_commit(surface_);
  const bool answered = ComesTrue([this] {
    connection_.Sync();
    return configured_ || !connection_.ok();
  });
  if (!answered) std::abort();  // The compositor has given the window no size.
  Attach();
  MoveTo(x_, y_);
}

void WaylandWindow::Unmap() {
  DestroyRole();
  wl_surface_attach(surface_, nullptr, 0, 0);
  wl_surface_commit(surface_);
  background_.reset();
  connection_.Sync();
}

void WaylandWindow::Resize(int width, int height) {
  width_ = width;
  height_ = height;
  Attach();
}

void WaylandWindow::Attach() {
  const int width = Logical(width_, connection_.scale()), height = Logical(height_, connection_.scale());
  auto background =
      std::make_unique<WaylandBuffer>(connection_.shm_, width_, height_, WL_SHM_FORMAT_XRGB8888, 4 * width_);
  for (std::size_t i = 0; i < background->size(); i += 4) {
    std::memcpy(background->data() + i, &options_.background, 4);
  }
  if (viewport_) wp_viewport_set_destination(viewport_, width, height);
  // Else what others have in the window, as far as it reaches, would count as the window.
  xdg_surface_set_window_geometry(shell_surface_, 0, 0, width, height);
  wl_surface_attach(surface_, background->get(), 0, 0);
  wl_surface_damage(surface_, 0, 0, width, height);
  wl_surface_commit(surface_);
  connection_.Sync();
  background_ = std::move(background);  // Nobody reads the one before any more.
}

void WaylandWindow::Commit() {
  wl_surface_commit(surface_);
  connection_.Sync();
}

void WaylandWindow::Destroy() {
  if (!surface_) return;
  DestroyRole();
  if (viewport_) wp_viewport_destroy(viewport_);
  wl_surface_destroy(surface_);
  surface_ = nullptr;
  background_.reset();
  connection_.Sync();
}

void WaylandWindow::DestroyRole() {
  if (toplevel_) xdg_toplevel_destroy(toplevel_);
  if (shell_surface_) xdg_surface_destroy(shell_surface_);
  toplevel_ = nullptr;
  shell_surface_ = nullptr;
}

bool WaylandWindow::Command(const std::string& what) const {
  return connection_.compositor().Command("[app_id=\"^" + name_ + "$\"] " + what);
}

void WaylandWindow::MoveTo(int x, int y) {
  x_ = x;
  y_ = y;
  if (is_in_weston_) return;
  const double scale = connection_.scale();
  Command("move absolute position " + std::to_string(Logical(x, scale)) + " px " + std::to_string(Logical(y, scale)) +
          " px");
}

void WaylandWindow::Hide() { Command("move scratchpad"); }

void WaylandWindow::Show() {
  Command("scratchpad show");
  MoveTo(x_, y_);
}

void WaylandWindow::Minimize() {
  if (!toplevel_) return;
  xdg_toplevel_set_minimized(toplevel_);
  connection_.Sync();
}

Picture WaylandWindow::Read() const {
  int x = x_, y = y_;
  if (is_in_weston_) {
    const double scale = connection_.scale();
    x = static_cast<int>((connection_.logical_width_ - Logical(width_, scale)) / 2 * scale);
    y = static_cast<int>((connection_.logical_height_ - Logical(height_, scale)) / 2 * scale);
  }
  return connection_.ReadScreen(x, y, width_, height_);
}

::testing::AssertionResult WaylandWindow::ComesToShow(const Picture& expected, const Tolerance& tolerance,
                                                      const std::function<void()>& between) const {
  const auto look = [&] {
    if (between) between();
    return Read();
  };
  return test::ComesToShow(
      look, [this] { return !connection_.ok(); }, expected, tolerance);
}

}  // namespace test
