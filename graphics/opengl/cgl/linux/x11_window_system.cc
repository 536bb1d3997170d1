// The connection to the X server. Any thread opens it and asks about configurations; only the window thread makes
// windows and takes in what the server sends, and may have to wait for the server there.
#include "graphics/opengl/cgl/linux/x11_window_system.h"

#include <EGL/eglext.h>
#include <xcb/shape.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"
#include "foundation/workarounds.h"
#include "graphics/opengl/cgl/linux/x11_window.h"

#ifndef EGL_PLATFORM_XCB_EXT
#define EGL_PLATFORM_XCB_EXT 0x31DC
#define EGL_PLATFORM_XCB_SCREEN_EXT 0x31DE
#endif

namespace {

xcb_screen_t* ScreenOf(xcb_connection_t* connection, int number) {
  auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; screen.rem > 1 && number > 0; --number) xcb_screen_next(&screen);
  return screen.data;
}

}  // namespace

// On the server that DISPLAY names.
WindowSystem* OpenX11WindowSystem() {
  static NeverDestroyed<Mutex> mutex;
  static X11WindowSystem* opened = nullptr;
  MutexLocker<Mutex> lock(mutex.get());
  if (!opened) {
    int screen = 0;
    // Until somebody owns it: memory may be missing.
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> connection(xcb_connect(nullptr, &screen),
                                                                              &xcb_disconnect);
    if (xcb_connection_has_error(connection.get())) return nullptr;
    if (IsUsed(Workaround::kRequestLength)) xcb_get_maximum_request_length(connection.get());
    opened = new X11WindowSystem(connection.get(), screen);
    static_cast<void>(connection.release());  // The window system owns it.
  }
  return opened;
}

X11WindowSystem::X11WindowSystem(xcb_connection_t* connection, int screen_number)
    : connection_(connection),
      egl_attributes_{EGL_PLATFORM_XCB_SCREEN_EXT, screen_number, EGL_NONE},
      screen_(ScreenOf(connection, screen_number)) {
  const xcb_query_extension_reply_t* const shape = xcb_get_extension_data(connection, &xcb_shape_id);
  has_shapes_ = shape && shape->present;
}

WindowSystem::EglPlatform X11WindowSystem::egl_platform() const {
  return {EGL_PLATFORM_XCB_EXT, connection_, egl_attributes_};
}

WindowSystem::Fit X11WindowSystem::FitOf(EGLDisplay display, EGLConfig config) const {
  EGLint visual = 0;
  if (!eglGetConfigAttrib(display, config, EGL_NATIVE_VISUAL_ID, &visual) || visual == 0) return Fit::kNone;
  return static_cast<xcb_visualid_t>(visual) == screen_->root_visual ? Fit::kBest : Fit::kUsable;
}

NativeContext::Place X11WindowSystem::CreateWindow(const WindowRequest& request,
                                                   std::unique_ptr<NativeWindow>* window) {
  const auto id = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(request.host_window));
  bool missing = false;
  *window = X11Window::Create(this, request, &missing);
  if (missing && !request.looked_for_before) {
    Logger::default_logger()->Warn(
        "A view cannot be shown in window 0x%x: there is no such window, or the connection that made it was not "
        "flushed; it is looked for again for a while",
        id);
  }
  if (!*window) return missing ? NativeContext::Place::kNotYet : NativeContext::Place::kNever;
  if (request.looked_for_before) Logger::default_logger()->Info("The window 0x%x of a view is there now", id);
  return NativeContext::Place::kMade;
}

bool X11WindowSystem::Poll() {
  while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) Dispatch(*event);
  if (!lost_ && xcb_connection_has_error(connection_)) {
    lost_ = true;
    Logger::default_logger()->Warn("The X server is gone: views show nothing any more");
  }
  return !lost_;
}

void X11WindowSystem::Dispatch(const xcb_generic_event_t& event) {
  // Of all that comes only this one matters. Errors of requests to a window that is gone are to be expected.
  if ((event.response_type & 0x7f) != XCB_DESTROY_NOTIFY) return;
  const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
  for (X11Window* window : windows_) {
    if (window->id() == gone) window->NoteDestroyed();
  }
}

void X11WindowSystem::Add(X11Window* window) { windows_.push_back(window); }

void X11WindowSystem::Remove(X11Window* window) { windows_.erase(std::find(windows_.begin(), windows_.end(), window)); }
