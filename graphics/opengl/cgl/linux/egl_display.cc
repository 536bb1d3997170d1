// The choice of the display, and what is made on it. Entered by every thread that makes a context or a window surface.
#include "graphics/opengl/cgl/linux/egl_display.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"
#include "foundation/workarounds.h"

namespace {

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

// Finds a configuration for windows, the one that suits the window system best. Without any the display has no windows.
// Returns false where EGL does not answer.
bool ChooseWindowConfig(WindowSystem* window_system, EglDisplay* display) {
  const EGLint attributes[] = {EGL_SURFACE_TYPE,
                               EGL_WINDOW_BIT,
                               EGL_RENDERABLE_TYPE,
                               EGL_OPENGL_BIT,
                               EGL_RED_SIZE,
                               8,
                               EGL_GREEN_SIZE,
                               8,
                               EGL_BLUE_SIZE,
                               8,
                               EGL_NONE};
  constexpr EGLint kMaxConfigs = 256;
  EGLConfig configs[kMaxConfigs];
  EGLint count = 0;
  if (!eglChooseConfig(display->display, attributes, configs, kMaxConfigs, &count)) return false;
  for (EGLint i = 0; i < count; ++i) {
    const WindowSystem::Fit fit = window_system->FitOf(display->display, configs[i]);
    if (fit == WindowSystem::Fit::kNone) continue;
    // The first that fits is taken, and gives way only to one that fits best.
    if (display->window_system && fit != WindowSystem::Fit::kBest) continue;
    EGLint visual = 0;
    if (!eglGetConfigAttrib(display->display, configs[i], EGL_NATIVE_VISUAL_ID, &visual)) continue;
    display->window_system = window_system;
    display->window_config = configs[i];
    display->window_visual = visual;
    if (fit == WindowSystem::Fit::kBest) break;
  }
  return true;
}

// Fills *result and returns true when contexts without a drawable can be made on the display.
bool OpenDisplay(EGLDisplay display, WindowSystem* window_system, EglDisplay* result) {
  if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) return false;
  const char* const extensions = eglQueryString(display, EGL_EXTENSIONS);
  if (!HasExtension(extensions, "EGL_KHR_surfaceless_context")) return false;
  if (!eglBindAPI(EGL_OPENGL_API)) return false;
  *result = EglDisplay();
  result->display = display;
  result->flush_control = HasExtension(extensions, "EGL_KHR_context_flush_control");
  if (window_system && !ChooseWindowConfig(window_system, result)) return false;
  if (HasExtension(extensions, "EGL_KHR_no_config_context")) return true;
  if (result->window_system) {
    result->config = result->window_config;
    return true;
  }
  const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_DONT_CARE, EGL_NONE};
  EGLint count = 0;
  return eglChooseConfig(display, attributes, &result->config, 1, &count) && count > 0;
}

EGLContext MakeContext(const EglDisplay& display, EGLContext share) {
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
  if (display.flush_control && IsUsed(Workaround::kNoReleaseFlush))
    add(EGL_CONTEXT_RELEASE_BEHAVIOR_KHR, EGL_CONTEXT_RELEASE_BEHAVIOR_NONE_KHR);
  attributes[n] = EGL_NONE;
  return eglCreateContext(display.display, display.config, share, attributes);
}

// The API that the calling thread has chosen, and that the host may count on, comes back at the end.
class ScopedOpenGlApi {
 public:
  ScopedOpenGlApi() : previous_(eglQueryAPI()) { eglBindAPI(EGL_OPENGL_API); }
  ~ScopedOpenGlApi() { eglBindAPI(previous_); }
  ScopedOpenGlApi(const ScopedOpenGlApi&) = delete;
  ScopedOpenGlApi& operator=(const ScopedOpenGlApi&) = delete;

 private:
  const EGLenum previous_;
};

// The process's display, and the EGL functions that reach one.
class DisplayChooser {
 public:
  static DisplayChooser& Get() {
    static NeverDestroyed<DisplayChooser> chooser;  // Threads may still draw at exit.
    return chooser.get();
  }

  std::unique_ptr<EglContext> CreateContext(const EglContext* share, NativeContext::Error* error) {
    MutexLocker<Mutex> lock(mutex_);
    const ScopedOpenGlApi api;
    const EGLContext handle = share ? CreateShared(*share, error) : CreateOnSomeDisplay(error);
    if (handle == EGL_NO_CONTEXT) return nullptr;
    // Two contexts never have one handle: the earlier one went with a display that was terminated.
    for (EglContext* const earlier : contexts_) {
      if (earlier->handle() == handle) earlier->SetLost();
    }
    // Until somebody owns it: memory may be missing.
    const auto destroy = [display = chosen_.display](EGLContext unowned) { eglDestroyContext(display, unowned); };
    std::unique_ptr<void, decltype(destroy)> made(handle, destroy);
    contexts_.reserve(contexts_.size() + 1);
    auto context = std::make_unique<EglContext>(chosen_, handle);
    static_cast<void>(made.release());  // The context owns it.
    contexts_.push_back(context.get());
    return context;
  }

  bool ChangeWindowSystem(const std::function<void()>& change) {
    MutexLocker<Mutex> lock(mutex_);
    if (chosen_.display != EGL_NO_DISPLAY) return false;
    change();
    return true;
  }

  const WindowSystem* ChosenWindowSystem() {
    MutexLocker<Mutex> lock(mutex_);
    return chosen_.window_system;
  }

  // Asked anew each time: where there was no memory to answer, there may be later.
  static bool HasClientExtension(const char* name) {
    return HasExtension(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), name);
  }

  void DestroyContext(EglContext* context) {
    MutexLocker<Mutex> lock(mutex_);
    contexts_.erase(std::remove(contexts_.begin(), contexts_.end(), context), contexts_.end());
    if (!context->lost()) eglDestroyContext(context->display().display, context->handle());
  }

 private:
  friend class NeverDestroyed<DisplayChooser>;

  DisplayChooser() = default;

  EGLContext CreateShared(const EglContext& share, NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    *error = NativeContext::Error::kNoContext;
    return share.lost() ? EGL_NO_CONTEXT : Try(share.display(), share.handle(), error);
  }

  EGLContext CreateOnSomeDisplay(NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    if (chosen_.display != EGL_NO_DISPLAY) {
      if (const EGLContext context = Try(chosen_, EGL_NO_CONTEXT, error)) return context;
      const EGLint reason = eglGetError();
      if (reason != EGL_NOT_INITIALIZED && reason != EGL_BAD_DISPLAY) return EGL_NO_CONTEXT;
      // A host has terminated it, and with it all that was made there.
      for (EglContext* const context : contexts_) context->SetLost();
      chosen_ = EglDisplay();
    }
    *error = NativeContext::Error::kNoPixelFormat;
    // Without an answer it is not known what there is, and the choice would be one for the process.
    const char* const extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!extensions) return EGL_NO_CONTEXT;
    // The first display on which a context can really be made is the process's from then on.
    if (const EGLContext context = TryWindowSystems(extensions, error)) return context;
    if (const EGLContext context = TrySurfaceless(extensions, error)) return context;
    return TryDevices(error);
  }

  EGLContext Try(const EglDisplay& display, EGLContext share, NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    const EGLContext context = MakeContext(display, share);
    if (context == EGL_NO_CONTEXT) {
      *error = NativeContext::Error::kNoContext;
      return EGL_NO_CONTEXT;
    }
    chosen_ = display;
    *error = NativeContext::Error::kNone;
    return context;
  }

  // `window_system` is null for a display without windows.
  EGLContext TryDisplay(const WindowSystem::EglPlatform& platform, WindowSystem* window_system,
                        NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    const auto get_platform_display =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!get_platform_display) return EGL_NO_CONTEXT;
    const EGLDisplay found = get_platform_display(platform.platform, platform.native_display, platform.attributes);
    EglDisplay display;
    if (!OpenDisplay(found, window_system, &display)) return EGL_NO_CONTEXT;
    return Try(display, EGL_NO_CONTEXT, error);
  }

  EGLContext TryWindowSystems(const char* extensions, NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    for (const WindowSystemKind& kind : kWindowSystems) {
      if (!HasExtension(extensions, kind.egl_extension)) continue;
      WindowSystem* const window_system = kind.open();
      if (!window_system) continue;
      // Twice: a driver that lacked memory for a moment would cost the process its windows for good.
      for (int i = 0; i < 2; ++i) {
        if (const EGLContext context = TryDisplay(window_system->egl_platform(), window_system, error)) return context;
      }
      window_system->LogNoEgl();
    }
    return EGL_NO_CONTEXT;
  }

  EGLContext TrySurfaceless(const char* extensions, NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    if (!HasExtension(extensions, "EGL_MESA_platform_surfaceless")) return EGL_NO_CONTEXT;
    return TryDisplay({EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr}, nullptr, error);
  }

  EGLContext TryDevices(NativeContext::Error* error) QUARN_REQUIRES(mutex_) {
    constexpr EGLint kMaxDevices = 16;
    EGLDeviceEXT devices[kMaxDevices];
    EGLint count = 0;
    const auto query_devices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    if (!query_devices || !query_devices(kMaxDevices, devices, &count)) return EGL_NO_CONTEXT;
    for (EGLint i = 0; i < count; ++i) {
      if (const EGLContext context = TryDisplay({EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr}, nullptr, error)) {
        return context;
      }
    }
    return EGL_NO_CONTEXT;
  }

  Mutex mutex_;
  EglDisplay chosen_ QUARN_GUARDED_BY(mutex_);
  std::vector<EglContext*> contexts_ QUARN_GUARDED_BY(mutex_);  // All of the process that are not destroyed yet.
};

}  // namespace

std::unique_ptr<EglContext> EglContext::Create(const EglContext* share, NativeContext::Error* error) {
  return DisplayChooser::Get().CreateContext(share, error);
}

EglContext::~EglContext() { DisplayChooser::Get().DestroyContext(this); }

bool ChangeWindowSystem(const std::function<void()>& change) {
  return DisplayChooser::Get().ChangeWindowSystem(change);
}

const WindowSystem* ChosenWindowSystem() { return DisplayChooser::Get().ChosenWindowSystem(); }

bool HasEglClientExtension(const char* name) { return DisplayChooser::HasClientExtension(name); }

EGLSurface CreateEglSurface(const EglDisplay& display, NativeWindow* window) {
  const auto create = reinterpret_cast<PFNEGLCREATEPLATFORMWINDOWSURFACEEXTPROC>(
      eglGetProcAddress("eglCreatePlatformWindowSurfaceEXT"));
  return create ? create(display.display, display.window_config, window->egl_window(), nullptr) : EGL_NO_SURFACE;
}
