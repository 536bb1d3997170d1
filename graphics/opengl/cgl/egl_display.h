// The EGL display of the process.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_EGL_DISPLAY_H_
#define QUARN_GRAPHICS_OPENGL_CGL_EGL_DISPLAY_H_

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/cgl/x11_window.h"

struct EglDisplay {
  EGLDisplay display = EGL_NO_DISPLAY;
  EGLConfig config = EGL_NO_CONFIG_KHR;  // None where contexts can do without, so that any window can be presented to.
  bool flush_control = false;            // Whether changing contexts can be told not to flush.

  // For windows; null where the display has none.
  X11Connection* x11 = nullptr;
  EGLConfig window_config = EGL_NO_CONFIG_KHR;
  xcb_visualid_t window_visual = 0;  // Of that configuration.
};

// One display serves the process, for contexts cannot share objects across displays: an X11 display where one can be
// opened, else a surfaceless one, else the first EGL device that will do. It is never terminated: the host may use the
// same one.
//
// Makes a context of that display, which shares objects with `share`; EGL_NO_CONTEXT, with the reason in *error, when
// there is none. Thread: any.
EGLContext CreateEglContext(EGLContext share, EglDisplay* display, NativeContext::Error* error);

// Makes a drawable of an X11 window whose visual is the display's window_visual.
EGLSurface CreateEglSurface(const EglDisplay& display, xcb_window_t window);

#endif  // QUARN_GRAPHICS_OPENGL_CGL_EGL_DISPLAY_H_
