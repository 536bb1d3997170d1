// The guards in which GL work is done.
//
// Whoever works takes the context's lock, makes the context current, works only if that succeeded, and in the end makes
// it not current if it was not before. Any thread.
#ifndef QUARN_GRAPHICS_OPENGL_GL_SCOPE_H_
#define QUARN_GRAPHICS_OPENGL_GL_SCOPE_H_

#include "foundation/thread_annotations.h"
#include "graphics/context_lock.h"
#include "graphics/opengl/graphics_context_gl.h"

// Makes a context current for as long as it lives. If it was not current before, none is current afterwards. The caller
// holds the context's lock.
class ScopedBind {
 public:
  // With a null context nothing is bound, and ok() is false.
  explicit ScopedBind(GraphicsContextGL* context)
      : context_(context), result_(context ? context->BindContext() : GraphicsContextGL::kBindFailed) {}
  ~ScopedBind() {
    if (result_ == GraphicsContextGL::kMadeCurrent) context_->UnbindContext();
  }
  ScopedBind(const ScopedBind&) = delete;
  ScopedBind& operator=(const ScopedBind&) = delete;

  // Whether the context is current.
  bool ok() const { return result_ != GraphicsContextGL::kBindFailed; }
  // Whether it was so before.
  bool nested() const { return result_ == GraphicsContextGL::kWasCurrent; }

 private:
  GraphicsContextGL* context_;
  int result_;
};

// Holds a context's lock and makes the context current for as long as it lives.
class QUARN_SCOPED_CAPABILITY GLScope {
 public:
  // With a null context nothing is locked either.
  //
  // Blocks: for whoever holds the lock.
  explicit GLScope(GraphicsContextGL* context) QUARN_ACQUIRE(context) QUARN_NO_THREAD_SAFETY_ANALYSIS;
  ~GLScope() QUARN_RELEASE() QUARN_NO_THREAD_SAFETY_ANALYSIS;
  GLScope(const GLScope&) = delete;
  GLScope& operator=(const GLScope&) = delete;

  // Whether the context is current.
  bool ok() const { return bind_.ok(); }

 private:
  const ContextLock lock_;  // First, so that the lock is given back last.
  ScopedBind bind_;
};

inline GLScope::GLScope(GraphicsContextGL* context) : lock_(context), bind_(context) {}

inline GLScope::~GLScope() = default;

#endif  // QUARN_GRAPHICS_OPENGL_GL_SCOPE_H_
