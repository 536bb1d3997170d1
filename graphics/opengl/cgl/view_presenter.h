// The half of a view that presents: it copies finished pictures to the host's window.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_
#define QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/gl.h"

// Owns the view's context. The window system may keep the window thread waiting at any point, so whatever the view asks
// for is handed over whole, and nothing here reaches back to the view, which may be gone when its turn comes.
//
// Thread: what is public belongs to the view: the thread that makes, draws, resizes or destroys it, under the lock of
// the device's context. What is handed over is done on the window thread; without a window system, which nobody would
// have to wait for, it is done before HandOver... returns.
class ViewPresenter {
 public:
  struct Size {
    std::uint32_t width;
    std::uint32_t height;
  };
  struct Color {
    float r, g, b, a;
  };
  // A frame that is finished.
  struct Picture {
    GLuint texture = 0;      // What it is in; 0 while there is no picture.
    Size image = {0, 0};     // The texture's size: not the picture's own while that changes.
    Size size = {0, 0};      // The picture's. It lies at the texture's lower left corner.
    GLsync drawn = nullptr;  // Passed when it is finished.
    Color background = {0, 0, 0, 1};
  };

  // The context shares the objects of the device's. Ended by HandOverEnd, and by nothing else.
  static ViewPresenter* Create(std::unique_ptr<NativeContext> context);
  ViewPresenter(const ViewPresenter&) = delete;
  ViewPresenter& operator=(const ViewPresenter&) = delete;

  // The view's context. Any thread may lock and bind it.
  NativeContext* context() const { return context_.get(); }
  // Whether pictures can be presented: there is a place in the host's window for them, as far as is known.
  bool can_present() const { return can_present_; }
  // Whether it may come to that when HandOverWindow is called again.
  bool may_find_window() const { return may_find_window_; }
  // Whether the window system keeps the window thread waiting: then no picture may be handed over.
  bool lags() const;

  // Makes a place for pictures of that size in the host's window. May be called again until that has been found.
  void HandOverWindow(void* host_window, Size size);
  // Gives the place another size; {0, 0} leaves it the one that it has.
  void HandOverSize(Size size);
  // Shows the picture. Not while it lags().
  void HandOverPicture(const Picture& picture);
  // The view is gone. Deletes this, as the last thing that is done here; whatever was handed over and not begun is not
  // done any more. Where the window thread takes no more work, or never comes to this, the presenter stays.
  void HandOverEnd();

 private:
  explicit ViewPresenter(std::unique_ptr<NativeContext> context);
  ~ViewPresenter() = default;

  void HandOver(std::function<void()> work);

  // What is handed over: on the window thread.
  void AttachToWindow(void* host_window, Size size);
  void ResizeWindow(Size size);
  void PresentPicture();
  void CopyPicture();
  void Delete();

  const std::unique_ptr<NativeContext> context_;
  const bool has_window_system_;

  // Written by the window thread, read by the view.
  std::atomic<bool> can_present_{false};
  std::atomic<bool> may_find_window_{false};

  // Written by the view, read by the window thread.
  std::atomic<bool> closed_{false};  // Whether the view is gone.
  // The picture that was handed over. The view writes it while the window thread is known to have done with the one
  // before: not while it lags.
  Picture picture_;

  // The window thread's alone.
  NativeContext::Place place_ = NativeContext::Place::kNotYet;
  // The textures' framebuffer objects are not shared: this one, of the view's context, is what the image is read by.
  GLuint read_frame_buffer_ = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_
