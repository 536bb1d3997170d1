// The half of a view that presents: it copies finished pictures to the host's window.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_
#define QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_

#include <atomic>
#include <memory>

#include "foundation/mutex.h"
#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/cgl/view_images.h"
#include "graphics/opengl/gl.h"

// Owns the view's context and its images. The window system may keep the window thread waiting at any point, so
// whatever the view asks for is left here, the newest in the place of what was asked for before, and done when the
// window thread comes to it. Nothing here waits, and nothing reaches back to the view, which may be gone by then.
//
// Thread: what is public belongs to the view: the thread that makes, draws, resizes or destroys it, under the lock of
// the device's context; but where it says otherwise. What is asked for is done on the window thread; without a window
// system, which nobody would have to wait for, it is done at once.
class ViewPresenter {
 public:
  using Size = ViewImages::Size;
  using Picture = ViewImages::Picture;

  // The context shares the objects of the device's. Ended by HandOverEnd, and by nothing else.
  static ViewPresenter* Create(std::unique_ptr<NativeContext> context);
  ViewPresenter(const ViewPresenter&) = delete;
  ViewPresenter& operator=(const ViewPresenter&) = delete;

  // The view's context. Any thread may lock and bind it.
  NativeContext* context() const { return context_.get(); }
  // What the pictures are in.
  ViewImages& images() { return images_; }
  const ViewImages& images() const { return images_; }
  // Whether pictures can be presented: there is a place in the host's window for them, as far as is known.
  bool can_present() const { return can_present_; }
  // Whether it may come to that when HandOverWindow is called again.
  bool may_find_window() const { return may_find_window_; }

  // Pixels of a picture for each unit of the host's window, as far as is known. Thread: any.
  float window_scale() const { return window_scale_; }

  // Makes a place for pictures of that size in the host's window.
  void HandOverWindow(void* host_window, Size size);
  // The same once more, while that window has not been found.
  void HandOverSearch(Size size);
  // Leaves the host's window and makes a place in another, of the size that was last asked for. The window that it has
  // already it keeps, where that still shows pictures. Thread: any.
  void HandOverOtherWindow(void* host_window);
  // Where the place lies in the host's window, this one and every later one. Thread: any.
  void HandOverPosition(int x, int y);
  // Gives the place another size, after the picture that waits; {0, 0} leaves it the one that it has.
  void HandOverSize(Size size);
  // Shows the picture that was finished last.
  void HandOverPicture();
  // The view's context was locked, and is free again: what could not be done meanwhile is done now. Thread: any.
  void GoOn();
  // The view is gone, and its images are closed. Deletes this, as the last thing that is done here; what was asked for
  // and is not begun is not done any more. Where the window thread takes no more work, or never comes to this, the
  // presenter stays.
  void HandOverEnd();

 private:
  // What is asked for, and not begun.
  struct Asked {
    bool window = false;
    bool other_window = false;  // Whether the present window is to be left for it.
    bool move = false;
    bool resize = false;
    Size size = {0, 0};
    bool size_comes_first = false;  // Whether the picture that waits came after it.
  };

  explicit ViewPresenter(std::unique_ptr<NativeContext> context);
  ~ViewPresenter() = default;

  // What the place should be, by all that was asked for.
  struct Wanted {
    void* host_window = nullptr;
    Size size = {0, 0};
    int x = 0;
    int y = 0;
  };

  // Has DoWhatIsAsked run, if that is not so already. Returns false when it cannot be.
  bool TrySchedule() QUARN_REQUIRES(mutex_);
  // The same for what there are no pictures without.
  void Schedule() QUARN_REQUIRES(mutex_);
  // On the window thread.
  void DoWhatIsAsked();
  void LeaveWindowFor(void* host_window);
  void AttachToWindow(Wanted wanted);
  void ResizeWindow(Size size);
  void ResizeAfterPicture(Size size);
  void PresentPicture();
  void CopyPicture(const Picture& picture);
  void Delete();

  const std::unique_ptr<NativeContext> context_;
  const bool has_window_system_;
  ViewImages images_;

  // Written by the window thread, and where that cannot be reached; read by the view.
  std::atomic<bool> can_present_{true};
  std::atomic<bool> may_find_window_{false};
  std::atomic<float> window_scale_{1};

  std::atomic<bool> closed_{false};  // Whether the view is gone.
  Mutex mutex_;
  Asked asked_ QUARN_GUARDED_BY(mutex_);
  Wanted wanted_ QUARN_GUARDED_BY(mutex_);
  bool scheduled_ QUARN_GUARDED_BY(mutex_) = false;

  // The window thread's alone.
  NativeContext::Place place_ = NativeContext::Place::kNotYet;
  void* host_window_ = nullptr;  // Where it was last tried to make it.
  // The textures' framebuffer objects are not shared: this one, of the view's context, is what the image is read by.
  GLuint read_frame_buffer_ = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_VIEW_PRESENTER_H_
