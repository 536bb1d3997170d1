// A Wayland compositor of a benchmark's own and a host's window on all of its screen.
#ifndef QUARN_BENCHMARKS_WAYLAND_SCREEN_H_
#define QUARN_BENCHMARKS_WAYLAND_SCREEN_H_

#include <cstdint>

#include "tests/support/wayland_compositor.h"

struct wl_compositor;
struct wl_display;
struct wl_shm;
struct wl_surface;
struct xdg_wm_base;

class WaylandScreen {
 public:
  WaylandScreen(int width, int height);

  // The window's surface; null when there is no compositor.
  wl_surface* window() const { return window_; }
  wl_display* display() const { return display_; }
  test::WaylandCompositor* compositor() { return &compositor_; }
  // Does what a host does once its views are there: shows them.
  void Commit();

 private:
  struct Listeners;

  test::WaylandCompositor compositor_;
  // These last as long as the process, as the library wants it.
  wl_display* display_ = nullptr;
  wl_compositor* surfaces_ = nullptr;
  wl_shm* shm_ = nullptr;
  xdg_wm_base* shell_ = nullptr;
  bool configured_ = false;
  wl_surface* window_ = nullptr;
};

#endif  // QUARN_BENCHMARKS_WAYLAND_SCREEN_H_
