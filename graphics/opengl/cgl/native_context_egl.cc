// OpenGL contexts on Linux, through EGL. Entered by every thread that does GL work.
//
// One display serves the process, for contexts cannot share objects across displays: an X11 display where one can be
// opened (through a connection of our own, so that nothing that the host does to its connection concerns us), else a
// surfaceless one, else the first EGL device that will do. It is never terminated: the host may use the same one.
#include "graphics/opengl/cgl/native_context.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <xcb/xcb.h>

#include <cstring>

#include "foundation/logger.h"
#include "foundation/mutex.h"

#ifndef EGL_PLATFORM_XCB_EXT
#define EGL_PLATFORM_XCB_EXT 0x31DC
#define EGL_PLATFORM_XCB_SCREEN_EXT 0x31DE
#endif

namespace {

struct Display {
  EGLDisplay display = EGL_NO_DISPLAY;
  EGLConfig config = EGL_NO_CONFIG_KHR;  // None where contexts can do without, so that any window can be presented to.
  bool flush_control = false;            // Whether changing contexts can be told not to flush.
};

bool HasExtension(const char* extensions, const char* name) {
  if (!extensions) return false;
  const std::size_t length = std::strlen(name);
  for (const char* found = std::strstr(extensions, name); found; found = std::strstr(found + length, name)) {
    const bool starts = found == extensions || found[-1] == ' ';
    const bool ends = found[length] == ' ' || found[length] == '\0';
    if (starts && ends) return true;
  }
  return false;
}

// Fills *result from an EGL display when contexts without a drawable can be made on it.
bool OpenDisplay(EGLDisplay display, Display* result) {
  if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) return false;
  const char* const extensions = eglQueryString(display, EGL_EXTENSIONS);
  if (!HasExtension(extensions, "EGL_KHR_surfaceless_context")) return false;
  if (!eglBindAPI(EGL_OPENGL_API)) return false;
  result->display = display;
  result->config = EGL_NO_CONFIG_KHR;
  result->flush_control = HasExtension(extensions, "EGL_KHR_context_flush_control");
  if (HasExtension(extensions, "EGL_KHR_no_config_context")) return true;
  const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_DONT_CARE, EGL_NONE};
  EGLint count = 0;
  return eglChooseConfig(display, attributes, &result->config, 1, &count) && count > 0;
}

EGLContext CreateEglContext(const Display& display, EGLContext share) {
  eglBindAPI(EGL_OPENGL_API);
  EGLint attributes[16];
  int n = 0;
  const auto add = [&](EGLint name, EGLint value) {
    attributes[n++] = name;
    attributes[n++] = value;
  };
  add(EGL_CONTEXT_MAJOR_VERSION, 3);
  add(EGL_CONTEXT_MINOR_VERSION, 2);
  add(EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT);
  // The engine flushes where it means to.
  if (display.flush_control) add(EGL_CONTEXT_RELEASE_BEHAVIOR_KHR, EGL_CONTEXT_RELEASE_BEHAVIOR_NONE_KHR);
  attributes[n] = EGL_NONE;
  return eglCreateContext(display.display, display.config, share, attributes);
}

class NativeContextEgl : public NativeContext {
 public:
  NativeContextEgl(EGLDisplay display, EGLContext context) : display_(display), context_(context) {}
  ~NativeContextEgl() override { eglDestroyContext(display_, context_); }

  void Lock() override QUARN_NO_THREAD_SAFETY_ANALYSIS { lock_.Lock(); }
  void Unlock() override QUARN_NO_THREAD_SAFETY_ANALYSIS { lock_.Unlock(); }

  bool MakeCurrent() override {
    eglBindAPI(EGL_OPENGL_API);  // The choice is each thread's own.
    if (eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_)) return true;
    Logger::default_logger()->Error("Failed to make the context current (EGL error 0x%04x)",
                                    static_cast<unsigned int>(eglGetError()));
    return false;
  }

  bool IsCurrent() const override { return eglGetCurrentContext() == context_; }

  EGLContext egl_context() const { return context_; }

 private:
  EGLDisplay display_;
  EGLContext context_;
  Mutex lock_;
};

// The process's display, and the EGL functions that reach one.
class DisplayChooser {
 public:
  static DisplayChooser& Get() {
    static DisplayChooser* const chooser = new DisplayChooser;  // Outlives everything that might still draw at exit.
    return *chooser;
  }

  std::unique_ptr<NativeContext> CreateContext(NativeContextEgl* share, NativeContext::Error* error) {
    MutexLocker<Mutex> lock(mutex_);
    *error = NativeContext::Error::kNoPixelFormat;
    if (chosen_.display != EGL_NO_DISPLAY) return Try(chosen_, share, error);
    // The first display on which a context can really be made is the process's from then on.
    if (std::unique_ptr<NativeContext> context = TryX11(error)) return context;
    if (std::unique_ptr<NativeContext> context = TrySurfaceless(error)) return context;
    return TryDevices(error);
  }

 private:
  DisplayChooser()
      : client_extensions_(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS)),
        get_platform_display_(
            reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"))),
        query_devices_(reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"))) {}

  std::unique_ptr<NativeContext> Try(const Display& display, NativeContextEgl* share, NativeContext::Error* error)
      QUARN_REQUIRES(mutex_) {
    const EGLContext context = CreateEglContext(display, share ? share->egl_context() : EGL_NO_CONTEXT);
    if (context == EGL_NO_CONTEXT) {
      *error = NativeContext::Error::kNoContext;
      return nullptr;
    }
    chosen_ = display;
    *error = NativeContext::Error::kNone;
    return std::make_unique<NativeContextEgl>(display.display, context);
  }

  std::unique_ptr<NativeContext> TryDisplay(EGLenum platform, void* native, const EGLint* attributes,
                                            NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    Display display;
    if (!get_platform_display_ || !OpenDisplay(get_platform_display_(platform, native, attributes), &display)) {
      return nullptr;
    }
    return Try(display, nullptr, error);
  }

  std::unique_ptr<NativeContext> TryX11(NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    if (!HasExtension(client_extensions_, "EGL_EXT_platform_xcb")) return nullptr;
    if (!x11_connection_) {
      xcb_connection_t* const connection = xcb_connect(nullptr, &x11_screen_);
      if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return nullptr;
      }
      x11_connection_ = connection;
    }
    const EGLint attributes[] = {EGL_PLATFORM_XCB_SCREEN_EXT, x11_screen_, EGL_NONE};
    return TryDisplay(EGL_PLATFORM_XCB_EXT, x11_connection_, attributes, error);
  }

  std::unique_ptr<NativeContext> TrySurfaceless(NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    if (!HasExtension(client_extensions_, "EGL_MESA_platform_surfaceless")) return nullptr;
    return TryDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr, error);
  }

  std::unique_ptr<NativeContext> TryDevices(NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    constexpr EGLint kMaxDevices = 16;
    EGLDeviceEXT devices[kMaxDevices];
    EGLint count = 0;
    if (!query_devices_ || !query_devices_(kMaxDevices, devices, &count)) return nullptr;
    for (EGLint i = 0; i < count; ++i) {
      if (auto context = TryDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr, error)) return context;
    }
    return nullptr;
  }

  const char* const client_extensions_;
  const PFNEGLGETPLATFORMDISPLAYEXTPROC get_platform_display_;
  const PFNEGLQUERYDEVICESEXTPROC query_devices_;
  Mutex mutex_;
  Display chosen_ QUARN_GUARDED_BY(mutex_);
  // Never closed: an EGL display on it is for ever.
  xcb_connection_t* x11_connection_ QUARN_GUARDED_BY(mutex_) = nullptr;
  int x11_screen_ QUARN_GUARDED_BY(mutex_) = 0;
};

}  // namespace

std::unique_ptr<NativeContext> NativeContext::Create(NativeContext* share, Error* error) {
  return DisplayChooser::Get().CreateContext(static_cast<NativeContextEgl*>(share), error);
}

void NativeContext::ReleaseThread() { eglReleaseThread(); }

void NativeContext::ClearCurrent() {
  const EGLDisplay display = eglGetCurrentDisplay();
  if (display != EGL_NO_DISPLAY) eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}
