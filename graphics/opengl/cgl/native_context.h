// The platform's OpenGL contexts: the seam between the engine and a window system. One file implements it on each
// platform.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_
#define QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_

#include <memory>

// One OpenGL 3.2 core context without a drawable. A context is used by one thread at a time: whoever makes it current
// holds its lock.
class NativeContext {
 public:
  enum class Error { kNone, kNoPixelFormat, kNoContext };

  // Makes a context that shares textures and buffers with `share`, unless that is null. On failure returns null and
  // says in *error what was missing: a display and configuration that offer OpenGL, or the context itself.
  static std::unique_ptr<NativeContext> Create(NativeContext* share, Error* error);
  // Frees what the platform keeps for the calling thread. For a thread of the library that ends.
  static void ReleaseThread();
  // Leaves no context current on the calling thread.
  static void ClearCurrent();

  virtual ~NativeContext() = default;

  // The context's own lock, which is recursive.
  virtual void Lock() = 0;
  virtual void Unlock() = 0;
  // Makes the context current on the calling thread; returns false, with a line in the log, when that fails.
  virtual bool MakeCurrent() = 0;
  virtual bool IsCurrent() const = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_NATIVE_CONTEXT_H_
