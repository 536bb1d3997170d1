// The host's Wayland connection. The thread that names it opens it, and any thread asks about configurations; only the
// window thread makes windows and takes in what the compositor sends.
#include "graphics/opengl/cgl/linux/wayland_window_system.h"

#include <EGL/eglext.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "foundation/os_time.h"
#include "graphics/opengl/cgl/linux/wayland_window.h"
#include "graphics/opengl/cgl/window_thread.h"

namespace {

// As many of the interface's versions as the library knows what to do with.
constexpr std::uint32_t kCompositorVersion = 4;
constexpr std::uint32_t kXdgOutputVersion = 2;

void LogNotTaken(const char* why) { Logger::default_logger()->Warn("The Wayland display is not taken: %s", why); }

template <class Proxy, class Destroy>
void DestroyIfThere(Proxy* proxy, Destroy destroy) {
  if (proxy) destroy(proxy);
}

}  // namespace

std::unique_ptr<WaylandWindowSystem> WaylandWindowSystem::Open(wl_display* display, int patience_ms) {
  std::unique_ptr<WaylandWindowSystem> system(new WaylandWindowSystem(display, patience_ms));
  if (!system->FindGlobals() || !system->MakeClearPixel()) return nullptr;
  return system;
}

WaylandWindowSystem::WaylandWindowSystem(wl_display* display, int patience_ms)
    : display_(display),
      patience_ms_(patience_ms),
      queue_(wl_display_create_queue(display)),
      display_on_queue_(static_cast<wl_display*>(wl_proxy_create_wrapper(display))),
      reader_(display, queue_, [this] { return WindowThread::Get().Post([this] { TakeIn(); }); }) {
  if (display_on_queue_) wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(display_on_queue_), queue_);
}

WaylandWindowSystem::~WaylandWindowSystem() {
  DestroyIfThere(clear_pixel_, &wl_buffer_destroy);
  DestroyIfThere(fractional_scales_, &wp_fractional_scale_manager_v1_destroy);
  DestroyIfThere(viewporter_, &wp_viewporter_destroy);
  DestroyIfThere(shm_, &wl_shm_destroy);
  DestroyIfThere(subcompositor_, &wl_subcompositor_destroy);
  DestroyIfThere(compositor_, &wl_compositor_destroy);
  outputs_.Clear();
  DestroyIfThere(registry_, &wl_registry_destroy);
  if (display_on_queue_) wl_proxy_wrapper_destroy(display_on_queue_);
  DestroyIfThere(queue_, &wl_event_queue_destroy);
  wl_display_flush(display_);
}

bool WaylandWindowSystem::FindGlobals() {
  static const wl_registry_listener listener = {&WaylandWindowSystem::OnGlobal, &WaylandWindowSystem::OnGlobalRemove};
  if (queue_ && display_on_queue_) registry_ = wl_display_get_registry(display_on_queue_);
  if (!registry_) throw std::bad_alloc();
  wl_registry_add_listener(registry_, &listener, this);
  if (!Roundtrip()) {
    LogNotTaken(wl_display_get_error(display_) ? "its connection is broken" : "its compositor does not answer");
    return false;
  }
  const struct {
    const void* global;
    const char* why;
  } needed[] = {{compositor_, "its compositor has no wl_compositor"},
                {subcompositor_, "its compositor has no wl_subcompositor"},
                {shm_, "its compositor has no wl_shm"}};
  for (const auto& need : needed) {
    if (need.global) continue;
    LogNotTaken(need.why);
    return false;
  }
  return true;
}

bool WaylandWindowSystem::MakeClearPixel() {
  constexpr int kBytes = 4;  // Zeros, as a file has where nothing was written.
  const int file = memfd_create("quarn-pixel", MFD_CLOEXEC);
  if (file != -1 && ftruncate(file, kBytes) == 0) {
    if (wl_shm_pool* const pool = wl_shm_create_pool(shm_, file, kBytes)) {
      clear_pixel_ = wl_shm_pool_create_buffer(pool, 0, 1, 1, kBytes, WL_SHM_FORMAT_ARGB8888);
      wl_shm_pool_destroy(pool);
    }
  }
  if (file != -1) close(file);
  if (!clear_pixel_) LogNotTaken("there is no memory to share with its compositor");
  return clear_pixel_;
}

bool WaylandWindowSystem::Roundtrip() {
  static const wl_callback_listener listener = {
      [](void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; }};
  wl_callback* const callback = wl_display_sync(display_on_queue_);
  if (!callback) throw std::bad_alloc();
  bool done = false;
  wl_callback_add_listener(callback, &listener, &done);
  const std::uint64_t end_ns = os::GetTimeNs() + static_cast<std::uint64_t>(patience_ms_) * 1'000'000;
  while (!done && wl_display_get_error(display_) == 0) {
    const bool full = wl_display_flush(display_) < 0 && errno == EAGAIN;
    if (wl_display_prepare_read_queue(display_, queue_) != 0) {
      wl_display_dispatch_queue_pending(display_, queue_);
      continue;
    }
    const std::uint64_t now_ns = os::GetTimeNs();
    const int left_ms = now_ns < end_ns ? static_cast<int>((end_ns - now_ns) / 1'000'000) : 0;
    // What it did not take is sent as soon as it takes more.
    pollfd connection = {wl_display_get_fd(display_), static_cast<short>(full ? POLLIN | POLLOUT : POLLIN), 0};
    const int ready = poll(&connection, 1, left_ms);
    if (ready > 0 && connection.revents != POLLOUT) {
      wl_display_read_events(display_);
    } else {
      wl_display_cancel_read(display_);
      if (ready == 0) break;
    }
    wl_display_dispatch_queue_pending(display_, queue_);
  }
  wl_callback_destroy(callback);
  return done;
}

void WaylandWindowSystem::OnGlobal(void* data, wl_registry*, std::uint32_t name, const char* interface,
                                   std::uint32_t version) {
  // Called by C, which passes no exception on.
  EvenWithoutMemory("A global of the Wayland compositor",
                    [&] { static_cast<WaylandWindowSystem*>(data)->Bind(name, interface, version); });
}

void WaylandWindowSystem::Bind(std::uint32_t name, const char* interface, std::uint32_t version) {
  // Each but the screens is there once, or at least one is enough.
  const auto bind = [&](auto* bound, const wl_interface& wanted, std::uint32_t highest) {
    if (bound || std::strcmp(interface, wanted.name) != 0) return bound;
    void* const made = wl_registry_bind(registry_, name, &wanted, std::min(version, highest));
    if (!made) throw std::bad_alloc();
    return static_cast<decltype(bound)>(made);
  };
  compositor_ = bind(compositor_, wl_compositor_interface, kCompositorVersion);
  subcompositor_ = bind(subcompositor_, wl_subcompositor_interface, 1);
  shm_ = bind(shm_, wl_shm_interface, 1);
  viewporter_ = bind(viewporter_, wp_viewporter_interface, 1);
  fractional_scales_ = bind(fractional_scales_, wp_fractional_scale_manager_v1_interface, 1);
  outputs_.SetManager(bind(outputs_.manager(), zxdg_output_manager_v1_interface, kXdgOutputVersion));
  if (std::strcmp(interface, wl_output_interface.name) == 0) outputs_.Add(registry_, name, version);
}

void WaylandWindowSystem::OnGlobalRemove(void* data, wl_registry*, std::uint32_t name) {
  auto* const system = static_cast<WaylandWindowSystem*>(data);
  wl_output* const gone = system->outputs_.Remove(name);
  if (!gone) return;
  for (WaylandWindow* window : system->windows_) window->NoteLeft(gone);
}

WindowSystem::EglPlatform WaylandWindowSystem::egl_platform() const {
  return {EGL_PLATFORM_WAYLAND_EXT, display_, nullptr};
}

WindowSystem::Fit WaylandWindowSystem::FitOf(EGLDisplay display, EGLConfig config) const {
  EGLint alpha = 0, red = 0;
  if (!eglGetConfigAttrib(display, config, EGL_ALPHA_SIZE, &alpha) ||
      !eglGetConfigAttrib(display, config, EGL_RED_SIZE, &red)) {
    return Fit::kNone;
  }
  return alpha == 0 && red == 8 ? Fit::kBest : Fit::kUsable;
}

NativeContext::Place WaylandWindowSystem::CreateWindow(const WindowRequest& request,
                                                       std::unique_ptr<NativeWindow>* window) {
  if (!Poll()) return NativeContext::Place::kNever;
  *window = WaylandWindow::Create(this, request);
  return *window ? NativeContext::Place::kMade : NativeContext::Place::kNever;
}

void WaylandWindowSystem::TakeIn() {
  // Posted before the last window went: the host may have closed the connection since.
  if (windows_.empty()) return reader_.NoteTaken();
  Poll();
}

bool WaylandWindowSystem::Poll() {
  if (lost_) {
    reader_.NoteTaken();
    return false;
  }
  wl_display_dispatch_queue_pending(display_, queue_);
  for (WaylandWindow* window : windows_) window->TakeInScale();
  wl_display_flush(display_);
  // Before the error is looked at: an end that comes later is told anew.
  reader_.NoteTaken();
  lost_ = wl_display_get_error(display_) != 0;
  if (lost_) LogLost();
  return !lost_;
}

void WaylandWindowSystem::LogLost() const {
  const wl_interface* interface = nullptr;
  std::uint32_t id = 0;
  if (wl_display_get_error(display_) != EPROTO) {
    Logger::default_logger()->Warn("The Wayland compositor is gone: views show nothing any more");
    return;
  }
  const std::uint32_t code = wl_display_get_protocol_error(display_, &interface, &id);
  Logger::default_logger()->Warn(
      "The Wayland compositor has ended the connection, for error %u of %s: views show nothing any more", code,
      interface ? interface->name : "an object that is gone");
}

void WaylandWindowSystem::LogNoEgl() const { LogNotTaken("EGL cannot draw on it"); }

bool WaylandWindowSystem::Answers() {
  if (Roundtrip()) return true;
  Logger::default_logger()->Warn(
      "The device is not made on the Wayland display: %s",
      wl_display_get_error(display_) ? "its connection is broken" : "its compositor does not answer");
  return false;
}

void WaylandWindowSystem::Add(WaylandWindow* window) {
  windows_.push_back(window);
  if (windows_.size() == 1 && !lost_) reader_.Start();
}

void WaylandWindowSystem::Remove(WaylandWindow* window) {
  windows_.erase(std::find(windows_.begin(), windows_.end(), window));
  if (windows_.empty()) reader_.Stop();
}
