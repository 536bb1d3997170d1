// The EGL display of the process.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_EGL_DISPLAY_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_EGL_DISPLAY_H_

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <atomic>
#include <functional>
#include <memory>

#include "graphics/opengl/cgl/linux/window_system.h"
#include "graphics/opengl/cgl/native_context.h"

// One display serves the process, for contexts cannot share objects across displays: a window system's where one can be
// opened, else a surfaceless one, else the first EGL device that will do. It is never terminated: the host may use the
// same one. A host may terminate it all the same, which is the end of its contexts: it is chosen and initialised again
// for the next context that shares with none.
struct EglDisplay {
  EGLDisplay display = EGL_NO_DISPLAY;
  EGLConfig config = EGL_NO_CONFIG_KHR;  // None where contexts can do without, so that any window can be presented to.
  bool flush_control = false;            // Whether changing contexts can be told not to flush.

  WindowSystem* window_system = nullptr;        // Null where the display has no windows.
  EGLConfig window_config = EGL_NO_CONFIG_KHR;  // Of all windows' surfaces.
  EGLint window_visual = 0;                     // The EGL_NATIVE_VISUAL_ID of that configuration.
};

// Runs `change`, which changes what the window systems of kWindowSystems answer, and lets no display be chosen
// meanwhile. Returns false, and does not run it, where the process has its display already. Thread: any.
bool ChangeWindowSystem(const std::function<void()>& change);

// The window system of the process's display; null without either. Thread: any.
const WindowSystem* ChosenWindowSystem();

// Whether EGL has an extension that belongs to no display. Thread: any.
bool HasEglClientExtension(const char* name);

// A context of the process's display.
//
// Thread: any.
class EglContext {
 public:
  // Makes one that shares objects with `share`, unless that is null. Returns null, with the reason in *error, when
  // there is none.
  static std::unique_ptr<EglContext> Create(const EglContext* share, NativeContext::Error* error);
  EglContext(const EglDisplay& display, EGLContext handle) : display_(display), handle_(handle) {}
  // Takes it out of the display as well, unless it is lost.
  ~EglContext();
  EglContext(const EglContext&) = delete;
  EglContext& operator=(const EglContext&) = delete;

  const EglDisplay& display() const { return display_; }
  EGLContext handle() const { return handle_; }
  // Whether the context is gone. From then on its handle may be another context's, and so may those of its surfaces:
  // nothing may be asked of them.
  bool lost() const { return lost_.load(std::memory_order_relaxed); }
  // Returns whether it was lost before.
  bool SetLost() { return lost_.exchange(true, std::memory_order_relaxed); }

 private:
  const EglDisplay display_;
  const EGLContext handle_;
  std::atomic<bool> lost_{false};
};

// Makes a drawable of a window that the display's window system made for its window_config; EGL_NO_SURFACE on failure.
EGLSurface CreateEglSurface(const EglDisplay& display, NativeWindow* window);

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_EGL_DISPLAY_H_
