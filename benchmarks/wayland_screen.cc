#include "benchmarks/wayland_screen.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
// The protocol's names first, then its tables.
#include <xdg-shell-client-protocol.h>
// The tables are C.
#include <xdg-shell-protocol.c>

#include <cstring>

struct WaylandScreen::Listeners {
  static void Global(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
    auto* const s = static_cast<WaylandScreen*>(data);
    const auto bind = [&](auto** object, const wl_interface& wanted) {
      if (std::strcmp(interface, wanted.name) != 0) return;
      *reinterpret_cast<void**>(object) = wl_registry_bind(registry, name, &wanted, 1);
    };
    bind(&s->surfaces_, wl_compositor_interface);
    bind(&s->shm_, wl_shm_interface);
    bind(&s->shell_, xdg_wm_base_interface);
  }
  static void GlobalRemove(void*, wl_registry*, std::uint32_t) {}
  static constexpr wl_registry_listener kRegistry = {Global, GlobalRemove};

  static void Configure(void* data, xdg_surface* surface, std::uint32_t serial) {
    xdg_surface_ack_configure(surface, serial);
    static_cast<WaylandScreen*>(data)->configured_ = true;
  }
  static constexpr xdg_surface_listener kSurface = {Configure};
};

WaylandScreen::WaylandScreen(int width, int height)
    : compositor_({test::WaylandCompositor::kWeston, width, height, 1}) {
  display_ = wl_display_connect(compositor_.socket().c_str());
  if (compositor_.socket().empty() || !display_) return;
  wl_registry_add_listener(wl_display_get_registry(display_), &Listeners::kRegistry, this);
  wl_display_roundtrip(display_);
  if (!surfaces_ || !shm_ || !shell_) return;
  wl_surface* const surface = wl_compositor_create_surface(surfaces_);
  xdg_surface* const shell_surface = xdg_wm_base_get_xdg_surface(shell_, surface);
  xdg_surface_add_listener(shell_surface, &Listeners::kSurface, this);
  xdg_toplevel_set_fullscreen(xdg_surface_get_toplevel(shell_surface), nullptr);
  wl_surface_commit(surface);
  while (!configured_ && wl_display_dispatch(display_) >= 0) {
  }
  const int stride = 4 * width, size = stride * height;
  const int file = memfd_create("window", MFD_CLOEXEC);
  if (ftruncate(file, size) != 0) return;  // Black.
  wl_shm_pool* const pool = wl_shm_create_pool(shm_, file, size);
  wl_surface_attach(surface, wl_shm_pool_create_buffer(pool, 0, width, height, stride, WL_SHM_FORMAT_XRGB8888), 0, 0);
  window_ = surface;
  Commit();
}

void WaylandScreen::Commit() {
  wl_surface_commit(window_);
  wl_display_roundtrip(display_);
}
