// X11 as a window system for views.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_SYSTEM_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_SYSTEM_H_

#include <xcb/xcb.h>

#include <memory>
#include <vector>

#include "graphics/opengl/cgl/linux/window_system.h"

class X11Window;

// The library's own connection to the X server, so that nothing that the host does to its connection concerns us, and
// an error is an answer instead of the end of the process. The GL driver sends its requests on it too.
class X11WindowSystem : public WindowSystem {
 public:
  // On a connection that works, which it never closes.
  X11WindowSystem(xcb_connection_t* connection, int screen_number);

  EglPlatform egl_platform() const override;
  // Best is the screen's own visual, so that a picture on its way to the screen changes its format as rarely as can be.
  Fit FitOf(EGLDisplay display, EGLConfig config) const override;
  NativeContext::Place CreateWindow(const WindowRequest& request, std::unique_ptr<NativeWindow>* window) override;
  bool Poll() override;

  xcb_connection_t* xcb() const { return connection_; }
  const xcb_screen_t* screen() const { return screen_; }
  // Whether windows can have a region that takes input.
  bool has_shapes() const { return has_shapes_; }
  // A window is known here from its making to its end, and is told when the server destroys it.
  void Add(X11Window* window);
  void Remove(X11Window* window);

 private:
  void Dispatch(const xcb_generic_event_t& event);

  xcb_connection_t* const connection_;
  const EGLint egl_attributes_[3];
  const xcb_screen_t* screen_ = nullptr;
  bool has_shapes_ = false;
  // What follows belongs to the window thread.
  std::vector<X11Window*> windows_;
  bool lost_ = false;  // Whether the log has said that the server is gone.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_SYSTEM_H_
