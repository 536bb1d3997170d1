// The seam between EGL and a window system: all that contexts and displays ask of one. What a window system's own
// headers declare stays in the sources that implement this.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_

#include <EGL/egl.h>

#include <functional>
#include <memory>

#include "graphics/opengl/cgl/linux/native_window.h"
#include "graphics/opengl/cgl/native_context.h"

// One connection to a window system. It serves the process and is never closed, for an EGL display on it is for ever.
//
// Thread: CreateWindow and Poll belong to the window thread, the rest to any.
class WindowSystem {
 public:
  WindowSystem() = default;
  virtual ~WindowSystem() = default;
  WindowSystem(const WindowSystem&) = delete;
  WindowSystem& operator=(const WindowSystem&) = delete;

  // What eglGetPlatformDisplayEXT takes for its display. The attributes may be null, and stay the window system's.
  struct EglPlatform {
    EGLenum platform;
    void* native_display;
    const EGLint* attributes;
  };
  virtual EglPlatform egl_platform() const = 0;

  // How well a configuration of that display, which can do windows and OpenGL with 8 bits a colour, suits its windows:
  // not at all, or so that pictures change their format on the way to the screen, or best.
  enum class Fit { kNone, kUsable, kBest };
  virtual Fit FitOf(EGLDisplay display, EGLConfig config) const = 0;

  struct WindowRequest {
    void* host_window;  // As the host names it: an id or a pointer.
    unsigned int width;
    unsigned int height;
    EGLint visual;           // The EGL_NATIVE_VISUAL_ID of the configuration that its surface will have.
    bool looked_for_before;  // Whether the answer to the same request was kNotYet.
    int x = 0;               // Where its upper left corner lies in the host's window.
    int y = 0;
    std::function<void()> on_ready = nullptr;       // Called on the window thread when a window that was not ready is.
    std::function<void(float)> on_scale = nullptr;  // And when its scale changes, with the new one: see NativeWindow.
  };
  // Makes a window inside the host's. kMade comes with *window; kNotYet means that the window system does not know the
  // host's window, which may still come. When there is none to be had, the log says so: for kNotYet once, and then also
  // when it has come after all.
  //
  // Blocks: until the window system has answered, where it has to.
  virtual NativeContext::Place CreateWindow(const WindowRequest& request, std::unique_ptr<NativeWindow>* window) = 0;

  // Takes in what the window system has sent, for its windows and for the driver. Returns whether it is still there;
  // when it is not, the log says so, once.
  virtual bool Poll() = 0;

  // Says in the log that EGL cannot draw on this window system's display, where that was asked for.
  virtual void LogNoEgl() const {}
};

// Each finds its window system at the first call at which there is one, and answers the same from then on; null
// without. Thread: any.
WindowSystem* OpenX11WindowSystem();      // x11_window_system.cc
WindowSystem* OpenWaylandWindowSystem();  // wayland_display.cc, on the connection that the host has named

// Has OpenWaylandWindowSystem answer a connection of the host's, or null again. Both return whether that is so now; the
// log says why not. Once the process has an EGL display they change nothing. TakeWaylandDisplay may throw where memory
// is missing.
//
// Thread: any. TakeWaylandDisplay waits for the compositor to answer, a few seconds at most.
bool TakeWaylandDisplay(void* display);
bool LeaveWaylandDisplay();

// The window systems of this platform, in the order in which a display is looked for with them.
struct WindowSystemKind {
  const char* egl_extension;  // Without it among EGL's client extensions the window system is not even looked for.
  WindowSystem* (*open)();
};
constexpr char kWaylandEglExtension[] = "EGL_EXT_platform_wayland";
constexpr WindowSystemKind kWindowSystems[] = {
    {kWaylandEglExtension, &OpenWaylandWindowSystem},  // First, for a host has asked for it.
    {"EGL_EXT_platform_xcb", &OpenX11WindowSystem},
};
// What the log says of a view where there is none of them.
constexpr char kNoWindowSystemMessage[] =
    "A view cannot be shown: there is no X11 display, and no Wayland display of the host's";

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_
