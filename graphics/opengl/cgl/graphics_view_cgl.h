// A view on the platform, and of its two halves the one that draws: each frame goes into an off-screen image in the
// device's context. The other half, ViewPresenter, copies it to the host's window in a context of the view's own, in
// its own time: no frame waits for it.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_

#include <atomic>
#include <cstdint>
#include <memory>

#include "graphics/graphics_view_impl.h"
#include "graphics/opengl/cgl/gs_object_cgl.h"
#include "graphics/opengl/cgl/search_schedule.h"
#include "graphics/opengl/cgl/view_presenter.h"
#include "graphics/opengl/try_again.h"

struct InternalWindowInfo;

// Host threads make, attach, resize and destroy it; the render thread draws; a change of size is completed on the main
// queue.
class GraphicsViewCGL : public GraphicsViewImpl, public GsObjectCGL, public PresentedView {
 public:
  // Does no GL work; Init must follow. The context is not owned.
  GraphicsViewCGL(GraphicsContextCGL* context, const InternalWindowInfo& info, unsigned int width, unsigned int height);
  // Waits for a Draw in progress and for a change of size in progress; and a moment for its window to be left, where
  // the caller keeps no frame waiting.
  ~GraphicsViewCGL() override;

  // Makes the view's context and off-screen image, and a place in the window, for which it waits as the destructor
  // does. Returns false without a context only: a view that cannot be shown says so in the log, and draws all the same.
  bool Init();

  void Attach(DrawCallback* callback) override;
  void Detach() override;
  bool BindRenderTarget() override;
  void UnbindRenderTarget() override;
  void Resize(unsigned int width, unsigned int height) override;
  // On the render thread.
  void Draw() override;
  ViewCounts counts() const override;
  void Move(int x, int y) override;
  float window_scale() const override;
  void SetWindow(const InternalWindowInfo& info) override;

 private:
  using Size = ViewPresenter::Size;
  // What work on the main queue knows of the view: it may run when the view, or the device, is gone.
  struct Link;

  // The size last asked for, both sides of one call.
  Size RequestedSize();
  // Whether a picture of that size has pixels, and a texture can hold them.
  bool FitsTexture(Size size) const;
  // Of the off-screen image: one pixel for a size that no texture fits, so that there always is an image.
  Size ImageSize(Size requested) const;
  // Has FinishResize run on the main queue.
  void Update();
  // The second stage of a change of size: makes the new image and has the window resized. On the main queue, under the
  // context's lock.
  void FinishResize();
  // Makes the first image, in the place of those that there are.
  bool MakeImage(Size requested);
  // The same for another size: where that fails, frames try again.
  void MakeImageForSize(Size requested);
  // Draws a frame of that size into an off-screen image, with the device's context current.
  void DrawFrame(Size size);
  // Has the window thread look for the window again, if it is time for that.
  void SearchWindow(Size size);
  // Logs that the off-screen images can be drawn to again, and keeps them from logging in each frame that they cannot.
  void NoteTarget(bool bound);
  void GiveBackKeptLock();

  // What follows is guarded by the lock of the device's context, but where it says otherwise.
  //
  // The view's own context, which shares the device's objects and belongs to the presenter; null until Init, and for
  // ever where it could not be made. It has a lock of its own.
  NativeContext* view_context_ = nullptr;
  void* const native_view_;  // The first one: the presenter knows the present one.
  std::uint32_t last_width_;
  std::uint32_t last_height_;

  // Null when view_context_ is. It ends itself, once the destructor has asked it to.
  ViewPresenter* presenter_ = nullptr;
  // Whether images are missing because it could not even be tried to make one, or because a change of size has failed.
  bool image_untried_ = false;
  TryAgain image_tries_;
  bool target_failed_ = false;  // Whether the last frame could not be drawn into its image.
  SearchSchedule search_;       // When to look again for a window that was not there.
  std::atomic<bool> search_again_{
      false};               // Set by the host's thread that resizes or names a window: the schedule begins anew.
  bool lock_kept_ = false;  // Whether a Draw without an image has kept the view context's lock.
  std::shared_ptr<Link> link_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_
