// The platform's OpenGL contexts: the seam between the engine and a platform with its window systems. Each platform
// implements it in a folder of its own, Linux in linux/native_context_egl.cc.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_
#define QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "foundation/thread_annotations.h"

// One OpenGL 3.2 core context, without a drawable or with a host's window for one. A context is used by one thread at a
// time: whoever makes it current holds its lock.
class QUARN_CAPABILITY("mutex") NativeContext {
 public:
  enum class Error { kNone, kNoPixelFormat, kNoContext };

  // What a thread has current: a context of the library's or of the host's own, by whichever interface. Only the
  // platform's sources look inside.
  struct Current {
    void* display = nullptr;
    void* context = nullptr;
    std::uintptr_t draw = 0;
    std::uintptr_t read = 0;
    unsigned int api = 0;
    bool foreign = false;  // Whether it belongs to another interface than the one that the library uses.
  };

  // Makes a context that shares textures and buffers with `share`, unless that is null. On failure returns null and
  // says in *error what was missing: a display and configuration that offer OpenGL, or the context itself.
  static std::unique_ptr<NativeContext> Create(NativeContext* share, Error* error);
  // Frees what the platform keeps for the calling thread. For a thread of the library that ends.
  static void ReleaseThread();
  // Leaves no context current on the calling thread.
  static void ClearCurrent();
  // Makes current on the calling thread what was so before: none, mostly.
  static void Restore(const Current& previous);

  NativeContext() = default;
  virtual ~NativeContext() = default;
  NativeContext(const NativeContext&) = delete;
  NativeContext& operator=(const NativeContext&) = delete;

  // The context's own lock, which is recursive. Another thread than the one that holds it may unlock it, when it knows
  // that the holder has done with the context.
  virtual void Lock() = 0;
  // Takes it where nobody else has it, and returns whether it did.
  virtual bool TryLock() = 0;
  virtual void Unlock() = 0;
  // Makes the context current on the calling thread; returns false when that fails, and then the thread has what it
  // had. The first failure in a row is logged, and its end. *previous is what Restore wants later.
  virtual bool MakeCurrent(Current* previous) = 0;
  // Whether the calling thread has bound it and has it current.
  virtual bool IsCurrent() const = 0;

  // Lock and MakeCurrent in one; holds nothing when it returns false.
  bool Bind();
  // Whether the calling thread has bound it. A callback of the host's may have made another current since.
  bool IsBound() const { return bound_thread_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  // Takes back the thread's last Bind: what was current then is so again. Does nothing on a thread that has bound
  // nothing.
  void Unbind();

  // Whether there is a window system to present with.
  virtual bool HasWindowSystem() const = 0;
  // All that follows belongs on the window thread (window_thread.h): on some platforms a window may be used by the
  // thread that made it only.
  //
  // Makes a place of `width` x `height` pixels for pictures in a window of the host's, where MoveWindow has said: from
  // the next MakeCurrent on it is the default framebuffer. When there is none to be had, the log says so, once; kNotYet
  // is worth another call, with the same window, for the window system may not have heard of it yet.
  enum class Place { kNotYet, kMade, kNever };
  virtual Place AttachWindow(void* window, unsigned int width, unsigned int height) = 0;
  // Takes that place out of the window again, and forgets the window: the next one may be another. The context is
  // current nowhere.
  virtual void DetachWindow() = 0;
  // Whether a picture can be presented now. False for ever once the window has gone; the log has said so then.
  virtual bool CanPresent() = 0;
  // Gives the place another size, which holds from the next MakeCurrent on; where a picture may have been begun, from
  // the one after its Present. The context is current nowhere. Does nothing without a place.
  virtual void ResizeWindow(unsigned int width, unsigned int height) = 0;
  // Puts the upper left corner of the place, this one's and those of later ones, that many pixels to the right of the
  // host's window's, and below: (0, 0) at first. It may lie outside.
  virtual void MoveWindow(int x, int y) = 0;
  // With the context current: the size of the place. Leaves both alone where there is none.
  virtual void WindowSize(unsigned int* width, unsigned int* height) = 0;
  // How many pixels of pictures lie on a unit that the host's window is measured in. 1 without a place, and on a
  // platform that measures in pixels.
  virtual float WindowScale() const { return 1; }
  // `on_scale` is called with it on the window thread whenever it changes. To be set before there is a place.
  virtual void SetOnScale(std::function<void(float)> on_scale) = 0;
  // What the window system shows in the place where there is no picture yet, each part 0 to 1: where the place has
  // grown or was covered. Until it is told, what is below comes through. Does nothing without a place.
  virtual void SetWindowBackground(float r, float g, float b) = 0;
  // With the context current: how many refreshes of the screen lie between two pictures; with 0 presenting waits for
  // none. Does nothing without a window.
  virtual void SetSwapInterval(int interval) = 0;
  // Whether the window system wants a picture now. It may not, for as long as it has not shown the last one, or does
  // not show the window: what SetOnReady was given is called when it does.
  virtual bool ReadyToPresent() = 0;
  // `on_ready` is called on the window thread. To be set before there is a place.
  virtual void SetOnReady(std::function<void()> on_ready) = 0;
  // With the context current: shows what the default framebuffer holds, which is undefined afterwards. Returns whether
  // the window system has taken it.
  virtual bool Present() = 0;

 private:
  // The thread that has the context bound, and what Restore wants for each Bind that is open: more than one only if a
  // callback of the host's changed the current context.
  std::atomic<std::thread::id> bound_thread_{};
  std::vector<Current> previous_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_
