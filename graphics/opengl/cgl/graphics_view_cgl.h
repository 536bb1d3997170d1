// A view on the platform: each frame is drawn off-screen in the device's context and then copied into the host's
// window, through a native context of the view's own.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "graphics/graphics_view_impl.h"
#include "graphics/opengl/cgl/gs_object_cgl.h"
#include "graphics/opengl/cgl/native_context.h"
#include "graphics/opengl/cgl/search_schedule.h"
#include "graphics/opengl/gl.h"

class GraphicsTextureGL;
struct InternalWindowInfo;

// Host threads make, attach, resize and destroy it; the render thread draws; a change of size is completed on the main
// queue.
class GraphicsViewCGL : public GraphicsViewImpl, public GsObjectCGL {
 public:
  // Does no GL work; Init must follow. The context is not owned.
  GraphicsViewCGL(GraphicsContextCGL* context, const InternalWindowInfo& info, unsigned int width, unsigned int height);
  // Waits for a Draw in progress and for a change of size in progress.
  ~GraphicsViewCGL() override;

  // Makes the view's context and off-screen image, and a place in the window. Returns false without a context only: a
  // view that cannot be shown says so in the log, and draws all the same.
  bool Init();

  void Attach(DrawCallback* callback) override;
  void Detach() override;
  bool BindRenderTarget() override;
  void UnbindRenderTarget() override;
  void Resize(unsigned int width, unsigned int height) override;
  // On the render thread.
  void Draw() override;

 private:
  // The size last asked for, both sides of one call.
  struct Size {
    std::uint32_t width;
    std::uint32_t height;
  };
  // A frame that is finished.
  struct Picture {
    GLuint texture = 0;      // What it is in; 0 while there is no picture.
    Size image = {0, 0};     // The texture's size: not the picture's own while that changes.
    Size size = {0, 0};      // The picture's. It lies at the texture's lower left corner.
    GLsync drawn = nullptr;  // Passed when it is finished.
    Color background = {0, 0, 0, 1};
  };
  // What work on the main queue knows of the view: it may come when the view, or the device, is gone.
  struct Link;
  // The part of the view that the window thread works with.
  struct Window;

  Size RequestedSize();
  // Whether there is something to draw, and a texture can have that size.
  bool CanDraw(Size size) const;
  // Of the off-screen image: one pixel for a size that cannot be drawn, so that there always is one.
  Size PictureSize(Size requested) const;
  void Update();
  // The part of Update that belongs to the main thread; under the context's lock.
  void UpdateOnMainThread();
  void MakeFrameTexture(Size requested);
  // Draws a frame of that size into the off-screen image, with the device's context current.
  void DrawFrame(Size size);
  // Logs that the off-screen image can be drawn to again, and keeps it from logging in each frame that it cannot.
  void NoteTarget(bool bound);
  void GiveBackKeptLock();
  // Has the window thread look for the host's window, for pictures of that size.
  void AttachToWindow(Size size);

  // The view's own context, which shares the device's objects; null until Init, and for ever if that fails. The window
  // thread uses it.
  NativeContext* view_context_ = nullptr;
  void* const native_view_;
  std::unique_ptr<GraphicsTextureGL> frame_texture_;
  std::uint32_t last_width_;
  std::uint32_t last_height_;

  // Owns the view's context. The window thread deletes it, with the last work that it is given.
  Window* window_ = nullptr;
  // Images that could not be deleted when they were dropped.
  std::vector<std::unique_ptr<GraphicsTextureGL>> dropped_;
  Picture picture_;             // The last frame.
  bool image_untried_ = false;  // Whether the image is missing because it could not even be tried to make one.
  bool target_failed_ = false;  // Whether the last frame could not be drawn into its image.
  SearchSchedule search_;       // For a window that was not there.
  std::atomic<bool> search_again_{false};
  bool lock_kept_ = false;  // Whether a Draw without an image has kept the view context's lock.
  std::shared_ptr<Link> link_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_VIEW_CGL_H_
