// OpenGL contexts on Linux, through EGL. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/native_context.h"

#include <atomic>
#include <functional>
#include <utility>

#include "foundation/logger.h"
#include "foundation/transferable_mutex.h"
#include "foundation/workarounds.h"
#include "graphics/opengl/cgl/linux/egl_display.h"
#include "graphics/opengl/cgl/linux/host_glx.h"
#include "graphics/opengl/cgl/linux/native_window.h"
#include "graphics/opengl/cgl/linux/window_system.h"
#include "graphics/opengl/gl.h"
#include "graphics/opengl/gl_version.h"

namespace {

// What hangs on the debug callback of the GL context that is current.
const void* DebugParameter() {
  void* parameter = nullptr;
  glGetPointerv(GL_DEBUG_CALLBACK_USER_PARAM, &parameter);
  return parameter;
}

// What a context is left with must not stay: a driver that lacked memory for a moment gets a second chance.
bool SurelyMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context) {
  if (eglMakeCurrent(display, draw, read, context)) return true;
  return eglMakeCurrent(display, draw, read, context);
}

EGLSurface Surface(std::uintptr_t handle) { return reinterpret_cast<EGLSurface>(handle); }

class NativeContextEgl : public NativeContext {
 public:
  // `shares`: whether it shares the objects of another context, and is lost with it.
  NativeContextEgl(std::unique_ptr<EglContext> context, bool shares)
      : context_(std::move(context)), display_(context_->display()), shares_(shares) {}
  ~NativeContextEgl() override { NativeContextEgl::DetachWindow(); }

  void Lock() override { mutex_.Lock(); }
  bool TryLock() override { return mutex_.TryLock(); }
  void Unlock() override { mutex_.Unlock(); }

  bool MakeCurrent(Current* previous) override {
    if (context_->lost()) {
      ReportLost();
      return false;
    }
    *previous = Current();
    previous->api = eglQueryAPI();
    previous->context = eglGetCurrentContext();  // Of that interface.
    if (previous->context != EGL_NO_CONTEXT) {
      previous->display = eglGetCurrentDisplay();
      previous->draw = reinterpret_cast<std::uintptr_t>(eglGetCurrentSurface(EGL_DRAW));
      previous->read = reinterpret_cast<std::uintptr_t>(eglGetCurrentSurface(EGL_READ));
    }
    if (previous->api != EGL_OPENGL_API) eglBindAPI(EGL_OPENGL_API);  // Each thread has a choice of its own.
    EGLint error = EGL_SUCCESS;
    if (TryMakeCurrent(previous, &error)) {
      if (!std::exchange(mark_tried_, true)) Mark();
      if (failing_.exchange(false, std::memory_order_relaxed)) {
        Logger::default_logger()->Info("The context can be made current again");
      }
      return true;
    }
    eglBindAPI(previous->api);
    if (IsLoss(error)) {
      context_->SetLost();
      ReportLost();
    } else if (!failing_.exchange(true, std::memory_order_relaxed)) {
      Logger::default_logger()->Error("Failed to make the context current (EGL error 0x%04x)",
                                      static_cast<unsigned int>(error));
    }
    return false;
  }

  // Asked before every drawing operation, and to ask EGL is a system call where libEGL looks out for forks. The mark is
  // a fence, known to this context and to those that share its objects, and the parameter of the debug callback, which
  // is each context's own. A host that sets a debug callback replaces that; then EGL is asked.
  bool IsCurrent() const override {
    if (!IsBound() || context_->lost()) return false;
    if (mark_ && glIsSync(mark_) && DebugParameter() == this) return true;
    return eglGetCurrentContext() == context_->handle();
  }

  bool HasWindowSystem() const override { return display_.window_system != nullptr; }

  Place AttachWindow(void* window, unsigned int width, unsigned int height) override {
    if (!display_.window_system) {
      Logger::default_logger()->Warn(kNoWindowSystemMessage);
      return Place::kNever;
    }
    has_buffer_ = false;
    const Place place = display_.window_system->CreateWindow(
        {window, width, height, display_.window_visual, window_missing_, x_, y_, on_ready_, on_scale_}, &window_);
    if (place == Place::kNotYet) window_missing_ = true;
    if (place != Place::kMade) return place;
    surface_ = CreateEglSurface(display_, window_.get());
    if (surface_ != EGL_NO_SURFACE) {
      window_->Enter();
      return Place::kMade;
    }
    Logger::default_logger()->Warn("A view cannot be shown: no surface for its window (EGL error 0x%04x)",
                                   static_cast<unsigned int>(eglGetError()));
    window_.reset();
    return Place::kNever;
  }

  void DetachWindow() override {
    if (surface_ != EGL_NO_SURFACE && !context_->lost()) eglDestroySurface(display_.display, surface_);
    surface_ = EGL_NO_SURFACE;
    window_.reset();
    window_missing_ = present_failed_ = false;
    next_width_ = next_height_ = 0;
  }

  bool CanPresent() override {
    if (!window_) return false;
    if (window_->Alive()) return true;
    // When it is the whole window system that has gone, the log has said that.
    if (display_.window_system->Poll()) window_->LogGone();
    DetachWindow();
    return false;
  }

  bool ReadyToPresent() override { return window_ && window_->Ready(); }

  void SetOnReady(std::function<void()> on_ready) override { on_ready_ = std::move(on_ready); }

  void SetOnScale(std::function<void(float)> on_scale) override { on_scale_ = std::move(on_scale); }

  void SetSwapInterval(int interval) override {
    if (window_) eglSwapInterval(display_.display, interval);
  }

  void WindowSize(unsigned int* width, unsigned int* height) override {
    if (!window_) return;
    *width = window_->width();
    *height = window_->height();
  }

  void SetWindowBackground(float r, float g, float b) override {
    if (window_) window_->SetBackground(r, g, b);
  }

  void ResizeWindow(unsigned int width, unsigned int height) override {
    next_width_ = width;
    next_height_ = height;
    if (window_ && !(has_buffer_ && IsUsed(Workaround::kSteadyWindow))) window_->Resize(width, height);
  }

  float WindowScale() const override { return window_ ? window_->scale() : 1; }
  void MoveWindow(int x, int y) override {
    x_ = x;
    y_ = y;
    if (window_) window_->Move(x, y);
  }

  bool Present() override {
    if (!window_ || (IsUsed(Workaround::kLookBeforeSwap) && !window_->Alive())) return false;
    window_->BeginPresent();
    const bool taken = eglSwapBuffers(display_.display, surface_);
    window_->EndPresent(taken);
    if (!taken) {
      if (std::exchange(present_failed_, true)) return false;
      Logger::default_logger()->Warn("A view's picture could not be presented (EGL error 0x%04x)",
                                     static_cast<unsigned int>(eglGetError()));
      return false;
    }
    has_buffer_ = false;
    if (next_width_ != 0) window_->Resize(next_width_, next_height_);
    return true;
  }

  const EglContext* egl_context() const { return context_.get(); }

 private:
  // Makes the context, which is current, known to IsCurrent. Those of views, which do not draw, need no mark.
  void Mark() {
    if (shares_ || !HasGL(43, "GL_KHR_debug") || DebugParameter()) return;
    glDebugMessageCallback(nullptr, this);
    mark_ = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  }

  // Whether a context that cannot be made current for that reason never can be again.
  static bool IsLoss(EGLint error) {
    return error == EGL_NOT_INITIALIZED || error == EGL_BAD_DISPLAY || error == EGL_BAD_CONTEXT ||
           error == EGL_CONTEXT_LOST;
  }

  bool TryMakeCurrent() {
    if (!eglMakeCurrent(display_.display, surface_, surface_, context_->handle())) return false;
    has_buffer_ = surface_ != EGL_NO_SURFACE;
    return true;
  }

  // The same on a thread where a GLX context of the host's may be in the way: that is put aside in *previous.
  bool TryMakeCurrent(Current* previous, EGLint* error) {
    if (TryMakeCurrent()) return true;
    *error = eglGetError();
    if (*error != EGL_BAD_ACCESS || previous->context != EGL_NO_CONTEXT) return false;
    const HostGlx* const glx = IsUsed(Workaround::kGlxAside) ? HostGlx::Loaded() : nullptr;
    if (!glx || !glx->PutAside(previous)) return false;
    if (TryMakeCurrent()) return true;
    Restore(*previous);
    return false;
  }

  // Says in the log, once, that the context is lost; not of a view's context, which is lost with its device's.
  void ReportLost() {
    if (shares_ || loss_reported_.exchange(true, std::memory_order_relaxed)) return;
    Logger::default_logger()->Error(
        "The GL context is lost, as when a host terminates its EGL display: the device goes on without pictures, and a "
        "new one will have them again");
  }

  const std::unique_ptr<EglContext> context_;
  const EglDisplay& display_;
  const bool shares_;
  std::atomic<bool> failing_{false};  // Whether it could not be made current when that was last tried.
  std::atomic<bool> loss_reported_{false};
  bool mark_tried_ = false;
  GLsync mark_ = nullptr;  // The fence, which dies with the context; null where that could not be marked.
  TransferableMutex mutex_;
  // What follows belongs to the window thread.
  std::unique_ptr<NativeWindow> window_;
  EGLSurface surface_ = EGL_NO_SURFACE;  // None without a window.
  std::function<void()> on_ready_;
  std::function<void(float)> on_scale_;
  bool window_missing_ = false;  // Whether the window system did not know the host's window at first.
  bool present_failed_ = false;  // Whether the log has said that presenting failed.
  // Whether a driver may have a buffer for the next picture. It takes the window's size when the context is made
  // current and keeps it, so that the window must not change until that picture is presented.
  bool has_buffer_ = false;
  unsigned int next_width_ = 0;  // What ResizeWindow asked for.
  unsigned int next_height_ = 0;
  int x_ = 0;  // What MoveWindow asked for.
  int y_ = 0;
};

}  // namespace

std::unique_ptr<NativeContext> NativeContext::Create(NativeContext* share, Error* error) {
  std::unique_ptr<EglContext> context =
      EglContext::Create(share ? static_cast<NativeContextEgl*>(share)->egl_context() : nullptr, error);
  if (!context) return nullptr;
  return std::make_unique<NativeContextEgl>(std::move(context), share != nullptr);
}

void NativeContext::ReleaseThread() { eglReleaseThread(); }

void NativeContext::ClearCurrent() {
  const EGLDisplay display = eglGetCurrentDisplay();
  if (display != EGL_NO_DISPLAY) SurelyMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

void NativeContext::Restore(const Current& previous) {
  bool restored = true;
  if (!previous.context || previous.foreign) ClearCurrent();
  eglBindAPI(previous.api);
  if (previous.foreign) {
    const HostGlx* const glx = HostGlx::Loaded();
    restored = glx && glx->Restore(previous);
  } else if (previous.context) {
    restored = SurelyMakeCurrent(previous.display, Surface(previous.draw), Surface(previous.read), previous.context);
  }
  if (restored) return;
  ClearCurrent();
  Logger::default_logger()->Error("The host's GL context could not be made current again");
}
