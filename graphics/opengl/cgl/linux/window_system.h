// The seam between EGL and a window system: all that contexts and displays ask of one. What a window system's own
// headers declare stays in the sources that implement this.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_

#include <EGL/egl.h>

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
  };
  // Makes a window inside the host's. kMade comes with *window; kNotYet means that the window system does not know the
  // host's window, which may still come. When there is none to be had, the log says so: for kNotYet once, and then also
  // when it has come after all.
  //
  // Blocks: until the window system has answered.
  virtual NativeContext::Place CreateWindow(const WindowRequest& request, std::unique_ptr<NativeWindow>* window) = 0;

  // Takes in what the window system has sent, for its windows and for the driver. Returns whether it is still there;
  // when it is not, the log says so, once.
  virtual bool Poll() = 0;
};

// Each finds its window system at the first call at which there is one, and answers the same from then on; null
// without. Thread: any.
WindowSystem* OpenX11WindowSystem();  // x11_window_system.cc

// The window systems of this platform, in the order in which a display is looked for with them.
struct WindowSystemKind {
  const char* egl_extension;  // Without it among EGL's client extensions the window system is not even looked for.
  WindowSystem* (*open)();
};
constexpr WindowSystemKind kWindowSystems[] = {
    {"EGL_EXT_platform_xcb", &OpenX11WindowSystem},
};
// What the log says of a view where there is none of them.
constexpr char kNoWindowSystemMessage[] = "A view cannot be shown: there is no X11 display";

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WINDOW_SYSTEM_H_
