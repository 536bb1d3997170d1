// The host's GLX, found at run time. Entered by every thread that makes a context current where that fails at first,
// and by the same when it gives the context back.
#include "graphics/opengl/cgl/linux/host_glx.h"

#include <dlfcn.h>

const HostGlx* HostGlx::Loaded() {
  void* const library = dlopen("libGLX.so.0", RTLD_LAZY | RTLD_NOLOAD);
  if (!library) return nullptr;
  static const HostGlx glx(library);  // The handle is kept, so that the library stays loaded.
  return glx.make_current_ ? &glx : nullptr;
}

HostGlx::HostGlx(void* library) {
  get_context_ = reinterpret_cast<void* (*)()>(dlsym(library, "glXGetCurrentContext"));
  get_display_ = reinterpret_cast<void* (*)()>(dlsym(library, "glXGetCurrentDisplay"));
  get_drawable_ = reinterpret_cast<unsigned long (*)()>(dlsym(library, "glXGetCurrentDrawable"));
  get_read_drawable_ = reinterpret_cast<unsigned long (*)()>(dlsym(library, "glXGetCurrentReadDrawable"));
  if (!get_context_ || !get_display_ || !get_drawable_ || !get_read_drawable_) return;
  make_current_ =
      reinterpret_cast<int (*)(void*, unsigned long, unsigned long, void*)>(dlsym(library, "glXMakeContextCurrent"));
}

bool HostGlx::PutAside(NativeContext::Current* previous) const {
  void* const context = get_context_();
  if (!context) return false;
  previous->foreign = true;
  previous->context = context;
  previous->display = get_display_();
  previous->draw = get_drawable_();
  previous->read = get_read_drawable_();
  return make_current_(previous->display, 0, 0, nullptr) != 0;
}

bool HostGlx::Restore(const NativeContext::Current& previous) const {
  return make_current_(previous.display, previous.draw, previous.read, previous.context) != 0;
}
