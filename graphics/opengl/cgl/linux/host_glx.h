// The other interface to OpenGL under X11, which a host may use beside the library.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_HOST_GLX_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_HOST_GLX_H_

#include "graphics/opengl/cgl/native_context.h"

// A thread has a context of EGL or of GLX current, never of both: where a host uses GLX, its context must be put aside
// before EGL can have the thread. The library does not link GLX; it looks for the one that a host has loaded.
//
// Thread: any, each for what it has current itself.
class HostGlx {
 public:
  // Null while nobody in the process has loaded GLX.
  static const HostGlx* Loaded();

  // Leaves the thread without its GLX context and keeps that in *previous; false when it has none.
  bool PutAside(NativeContext::Current* previous) const;
  // Makes current again what PutAside has kept; false when that fails.
  bool Restore(const NativeContext::Current& previous) const;

 private:
  explicit HostGlx(void* library);

  void* (*get_context_)() = nullptr;
  void* (*get_display_)() = nullptr;
  unsigned long (*get_drawable_)() = nullptr;
  unsigned long (*get_read_drawable_)() = nullptr;
  int (*make_current_)(void*, unsigned long, unsigned long, void*) = nullptr;  // Null unless all five were found.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_HOST_GLX_H_
