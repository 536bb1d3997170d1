// What a view works with on the window thread.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_WINDOW_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_WINDOW_H_

#include <atomic>
#include <memory>
#include <utility>

#include "graphics/opengl/cgl/graphics_view_cgl.h"
#include "graphics/opengl/cgl/window_thread.h"

// The window system may keep the window thread waiting at any point. What render threads and hosts ask of it is handed
// over whole, and nothing here reaches back to the view, which may be gone when its turn comes.
struct GraphicsViewCGL::Window {
  explicit Window(std::unique_ptr<NativeContext> view_context)
      : context(std::move(view_context)), has_thread(context->HasWindows()) {}

  // Has work(this) run on the window thread; without a window system, which nobody has to wait for, at once.
  template <class Work>
  void Run(Work work) {
    if (has_thread) {
      WindowThread::Get().HandOver([this, work] { work(this); });
    } else {
      work(this);
    }
  }

  // The works. Attach may be tried again.
  void Attach(void* native_view, Size size);
  void Resize(Size size);
  void Present();
  void Delete();

  void Copy();

  const std::unique_ptr<NativeContext> context;
  const bool has_thread;
  // The textures' framebuffer objects are not shared: this one, of the view's context, is what the image is read by.
  GLuint read_frame_buffer = 0;
  NativeContext::Place place = NativeContext::Place::kNotYet;
  std::atomic<bool> can_present{false};
  std::atomic<bool> may_come{false};  // Whether it may come to that when Attach is tried again.
  std::atomic<bool> closed{false};    // Whether the view is gone: nothing but Delete counts any more.

  Picture picture;  // To present. Not touched while the window thread lags: it may be at work on it.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_WINDOW_H_
