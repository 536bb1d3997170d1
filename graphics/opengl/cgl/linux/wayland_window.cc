// Surfaces inside the host's. The window thread enters, and in it the listeners, from WaylandWindowSystem::Poll.
#include "graphics/opengl/cgl/linux/wayland_window.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/opengl/cgl/linux/wayland_scale.h"
#include "graphics/opengl/cgl/linux/wayland_window_system.h"

namespace {

// What compositors reckon with without an overflow, and more than any screen has.
constexpr int kLongest = 32767;

unsigned int Side(unsigned int pixels) { return std::clamp(pixels, 1u, static_cast<unsigned int>(kLongest)); }
int Coordinate(int pixels) { return std::clamp(pixels, -kLongest - 1, kLongest); }

}  // namespace

std::unique_ptr<WaylandWindow> WaylandWindow::Create(WaylandWindowSystem* system,
                                                     const WindowSystem::WindowRequest& request) {
  if (!request.host_window) {
    Logger::default_logger()->Warn("A view cannot be shown: it was given no window");
    return nullptr;
  }
  auto* const proxy = static_cast<wl_proxy*>(request.host_window);
  if (std::strcmp(wl_proxy_get_class(proxy), wl_surface_interface.name) != 0) {
    Logger::default_logger()->Warn("A view cannot be shown: its window is a %s, not a wl_surface",
                                   wl_proxy_get_class(proxy));
    return nullptr;
  }
  std::unique_ptr<WaylandWindow> window(new WaylandWindow(system, request));
  if (window->MakeSurfaces(static_cast<wl_surface*>(request.host_window))) return window;
  Logger::default_logger()->Warn("A view cannot be shown: no surface of its own inside its window");
  return nullptr;
}

WaylandWindow::WaylandWindow(WaylandWindowSystem* system, const WindowSystem::WindowRequest& request)
    : system_(system),
      on_ready_(request.on_ready),
      on_scale_(request.on_scale),
      width_(Side(request.width)),
      height_(Side(request.height)),
      x_(Coordinate(request.x)),
      y_(Coordinate(request.y)) {
  system_->Add(this);
}

bool WaylandWindow::MakeSurfaces(wl_surface* host_surface) {
  static const wl_surface_listener surface_listener = {&WaylandWindow::OnEnter, &WaylandWindow::OnLeave};
  static const wp_fractional_scale_v1_listener scale_listener = {&WaylandWindow::OnPreferredScale};
  if (!MakeSubsurface(host_surface, &anchor_, &anchor_place_) || !MakeSubsurface(anchor_, &surface_, &place_)) {
    return false;
  }
  wl_surface_add_listener(surface_, &surface_listener, this);
  if (system_->viewporter()) viewport_ = wp_viewporter_get_viewport(system_->viewporter(), surface_);
  if (viewport_ && system_->fractional_scales()) {
    fractional_scale_ = wp_fractional_scale_manager_v1_get_fractional_scale(system_->fractional_scales(), surface_);
    if (fractional_scale_) wp_fractional_scale_v1_add_listener(fractional_scale_, &scale_listener, this);
  }
  wl_surface_attach(anchor_, system_->clear_pixel(), 0, 0);
  wl_surface_damage(anchor_, 0, 0, 1, 1);
  TakeInScale();
  SetBufferSize();
  egl_window_ = wl_egl_window_create(surface_, static_cast<int>(buffer_width_), static_cast<int>(buffer_height_));
  // The anchor's pixel, and the place in it.
  wl_surface_commit(anchor_);
  wl_display_flush(system_->display());
  return egl_window_;
}

bool WaylandWindow::MakeSubsurface(wl_surface* parent, wl_surface** surface, wl_subsurface** subsurface) {
  *surface = wl_compositor_create_surface(system_->compositor());
  if (!*surface) return false;
  *subsurface = wl_subcompositor_get_subsurface(system_->subcompositor(), *surface, parent);
  wl_region* const no_input = wl_compositor_create_region(system_->compositor());
  const bool made = *subsurface && no_input;
  if (made) {
    wl_subsurface_set_desync(*subsurface);
    wl_surface_set_input_region(*surface, no_input);
  }
  if (no_input) wl_region_destroy(no_input);
  return made;
}

WaylandWindow::~WaylandWindow() {
  if (egl_window_) wl_egl_window_destroy(egl_window_);
  if (frame_) wl_callback_destroy(frame_);
  if (place_taken_) wl_callback_destroy(place_taken_);
  if (fractional_scale_) wp_fractional_scale_v1_destroy(fractional_scale_);
  if (viewport_) wp_viewport_destroy(viewport_);
  if (place_) wl_subsurface_destroy(place_);
  if (surface_) wl_surface_destroy(surface_);
  if (anchor_place_) wl_subsurface_destroy(anchor_place_);
  if (anchor_) wl_surface_destroy(anchor_);
  wl_display_flush(system_->display());
  // Last: the connection may be closed from then on.
  system_->Remove(this);
}

bool WaylandWindow::Alive() const { return system_->Poll(); }

void WaylandWindow::LogGone() const {}  // A window's end is not told: only the connection's, which is logged there.

void WaylandWindow::Resize(unsigned int width, unsigned int height) {
  width_ = Side(width);
  height_ = Side(height);
  SetBufferSize();
  wl_egl_window_resize(egl_window_, static_cast<int>(buffer_width_), static_cast<int>(buffer_height_), 0, 0);
}

void WaylandWindow::SetBufferSize() {
  buffer_scale_ = viewport_ ? 1 : scale_ / kWaylandScaleOne;
  const auto whole = [&](unsigned int side) { return (side + buffer_scale_ - 1) / buffer_scale_ * buffer_scale_; };
  buffer_width_ = whole(width_);
  buffer_height_ = whole(height_);
}

void WaylandWindow::SetViewport(unsigned int width, unsigned int height) {
  const WaylandSide across = ToWaylandSide(width, scale_);
  const WaylandSide down = ToWaylandSide(height, scale_);
  const bool whole = across.pixels == width && down.pixels == height;
  const wl_fixed_t none = wl_fixed_from_int(-1);
  wp_viewport_set_source(viewport_, whole ? none : 0, whole ? none : 0,
                         whole ? none : wl_fixed_from_double(across.pixels),
                         whole ? none : wl_fixed_from_double(down.pixels));
  wp_viewport_set_destination(viewport_, across.units, down.units);
}

void WaylandWindow::Move(int x, int y) {
  x_ = Coordinate(x);
  y_ = Coordinate(y);
  SendPlace();
}

void WaylandWindow::SendPlace() {
  static const wl_callback_listener listener = {&WaylandWindow::OnPlaceTaken};
  const int x = ToWaylandUnits(x_, scale_);
  const int y = ToWaylandUnits(y_, scale_);
  if (place_taken_ || (x == sent_x_ && y == sent_y_)) return;
  sent_x_ = x;
  sent_y_ = y;
  wl_subsurface_set_position(place_, x, y);
  wl_surface_commit(anchor_);
  place_taken_ = wl_display_sync(system_->display_on_queue());
  if (place_taken_) wl_callback_add_listener(place_taken_, &listener, this);
  wl_display_flush(system_->display());
}

void WaylandWindow::OnPlaceTaken(void* data, wl_callback* callback, std::uint32_t) {
  wl_callback_destroy(callback);
  From(data)->place_taken_ = nullptr;
  From(data)->SendPlace();
}

float WaylandWindow::scale() const { return static_cast<float>(scale_) / static_cast<float>(kWaylandScaleOne); }

bool WaylandWindow::Ready() {
  was_unready_ = frame_ != nullptr;
  return !frame_;
}

void WaylandWindow::BeginPresent() {
  static const wl_callback_listener listener = {&WaylandWindow::OnFrame};
  if (viewport_) {
    SetViewport(buffer_width_, buffer_height_);
  } else {
    wl_surface_set_buffer_scale(surface_, static_cast<int>(buffer_scale_));
  }
  if (frame_) wl_callback_destroy(frame_);
  frame_ = wl_surface_frame(surface_);
  if (frame_) wl_callback_add_listener(frame_, &listener, this);
}

void WaylandWindow::EndPresent(bool taken) {
  if (!taken) {
    // Nothing was committed, so nothing will be answered.
    if (frame_) wl_callback_destroy(std::exchange(frame_, nullptr));
    return;
  }
  // There are compositors that look at a subsurface inside another only when that is committed: weston 10 for its first
  // picture, cage 0.1.4 for each.
  wl_surface_commit(anchor_);
  wl_display_flush(system_->display());
  shown_width_ = buffer_width_;
  shown_height_ = buffer_height_;
  // Another scale of the buffers begins with a picture.
  if (!viewport_ && buffer_scale_ != scale_ / kWaylandScaleOne) Resize(width_, height_);
}

void WaylandWindow::OnFrame(void* data, wl_callback* callback, std::uint32_t) {
  WaylandWindow* const window = From(data);
  wl_callback_destroy(callback);
  window->frame_ = nullptr;
  if (std::exchange(window->was_unready_, false) && window->on_ready_) window->on_ready_();
}

void WaylandWindow::OnEnter(void* data, wl_surface*, wl_output* output) {
  // Called by C, which passes no exception on.
  EvenWithoutMemory("The scale of a view", [&] { From(data)->entered_.push_back(output); });
}

void WaylandWindow::OnLeave(void* data, wl_surface*, wl_output* output) { From(data)->NoteLeft(output); }

void WaylandWindow::NoteLeft(wl_output* output) {
  entered_.erase(std::remove(entered_.begin(), entered_.end(), output), entered_.end());
}

void WaylandWindow::OnPreferredScale(void* data, wp_fractional_scale_v1*, std::uint32_t scale) {
  From(data)->preferred_scale_ = scale;
}

void WaylandWindow::TakeInScale() {
  const WaylandOutputs& outputs = system_->outputs();
  const unsigned int scale = !viewport_             ? outputs.WholeScaleOf(entered_) * kWaylandScaleOne
                             : preferred_scale_ > 0 ? preferred_scale_
                                                    : outputs.ScaleOf(entered_);
  if (scale == scale_) return;
  scale_ = scale;
  if (on_scale_) on_scale_(this->scale());
  SendPlace();
  if (!viewport_ || shown_width_ == 0) return;
  SetViewport(shown_width_, shown_height_);
  wl_surface_commit(surface_);
  wl_surface_commit(anchor_);  // As after a picture.
}
